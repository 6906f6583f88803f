package com.drel.torvel.commands;

/** Would show the status of the slaves. */
public final class SlaveStatus {
    private SlaveStatus() {}

    public static void main(String[] arguments) {
        NoNetwork.explain("SlaveStatus", "Usage: Torvel SlaveStatus [address]", 0, 1, arguments);
    }
}
