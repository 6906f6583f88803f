package com.drel.torvel.commands;

import com.drel.torvel.build.BuildVerb;

/** Compiles everything again. */
public final class Rebuild {
    private Rebuild() {}

    public static void main(String[] arguments) {
        BuildVerb.main("Rebuild", arguments);
    }
}
