package com.drel.torvel.commands;

/** Would end a slave. */
public final class SlaveClose {
    private SlaveClose() {}

    public static void main(String[] arguments) {
        NoNetwork.explain("SlaveClose", "Usage: Torvel SlaveClose [address]", 0, 1, arguments);
    }
}
