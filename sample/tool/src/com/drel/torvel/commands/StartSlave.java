package com.drel.torvel.commands;

/** Would start a slave on this machine. */
public final class StartSlave {
    private StartSlave() {}

    public static void main(String[] arguments) {
        NoNetwork.explain("StartSlave", "Usage: Torvel StartSlave [options]", 0, Integer.MAX_VALUE, arguments);
    }
}
