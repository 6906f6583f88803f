package com.drel.torvel.commands;

/** Would control an output cache on another machine. */
public final class Cache {
    private Cache() {}

    public static void main(String[] arguments) {
        NoNetwork.explain("Cache", "Usage: Torvel Cache <address> <command>", 2, Integer.MAX_VALUE, arguments);
    }
}
