package com.drel.torvel.commands;

/** Would list the slaves. */
public final class ListSlaves {
    private ListSlaves() {}

    public static void main(String[] arguments) {
        NoNetwork.explain("ListSlaves", "Usage: Torvel ListSlaves", 0, 0, arguments);
    }
}
