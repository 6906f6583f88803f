package com.drel.torvel.commands;

import com.drel.torvel.build.BuildVerb;

/** Compiles what has changed. */
public final class Build {
    private Build() {}

    public static void main(String[] arguments) {
        BuildVerb.main("Build", arguments);
    }
}
