package com.drel.torvel.commands;

import com.drel.torvel.Arguments;

/** Replaces the commands that need other machines: prints their arguments. */
public final class NoNetwork {
    private NoNetwork() {}

    public static void explain(String command, String usage, int least, int most, String[] arguments) {
        Arguments.require(usage, least, most, arguments);
        System.out.println(command + " was called with " + arguments.length
                + (arguments.length == 1 ? " argument." : " arguments."));
        for (String argument : arguments) {
            System.out.println("  " + argument);
        }
        System.out.println("The sample has no network, so there is nothing to do.");
    }
}
