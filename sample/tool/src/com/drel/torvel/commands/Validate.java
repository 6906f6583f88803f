package com.drel.torvel.commands;

import com.drel.torvel.build.BuildVerb;

/** Parses the sources. */
public final class Validate {
    private Validate() {}

    public static void main(String[] arguments) {
        BuildVerb.main("Validate", arguments);
    }
}
