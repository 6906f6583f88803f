package com.drel.torvel.commands;

/** A Java command that returns at once. */
public final class ListSlaves {
    private ListSlaves() {}

    public static void main(String[] arguments) {}
}
