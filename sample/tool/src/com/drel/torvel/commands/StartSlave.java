package com.drel.torvel.commands;

/** Would make this machine share in the builds of others. */
public final class StartSlave {
    private StartSlave() {}

    public static void main(String[] arguments) {
        NoNetwork.explain("StartSlave", "Usage: Torvel StartSlave [options]", 0, Integer.MAX_VALUE, arguments);
    }
}
