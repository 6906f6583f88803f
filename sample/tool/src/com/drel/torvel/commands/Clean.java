package com.drel.torvel.commands;

import com.drel.torvel.build.BuildVerb;

/** Deletes the targets' outputs. */
public final class Clean {
    private Clean() {}

    public static void main(String[] arguments) {
        BuildVerb.main("Clean", arguments);
    }
}
