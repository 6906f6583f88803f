package com.drel.torvel.commands;

import com.drel.torvel.build.BuildVerb;

/** Deletes outputs without a source. */
public final class Tidy {
    private Tidy() {}

    public static void main(String[] arguments) {
        BuildVerb.main("Tidy", arguments);
    }
}
