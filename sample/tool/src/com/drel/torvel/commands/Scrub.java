package com.drel.torvel.commands;

import com.drel.torvel.build.BuildVerb;

/** Deletes all outputs. */
public final class Scrub {
    private Scrub() {}

    public static void main(String[] arguments) {
        BuildVerb.main("Scrub", arguments);
    }
}
