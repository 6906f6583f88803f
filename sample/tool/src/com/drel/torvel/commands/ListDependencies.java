package com.drel.torvel.commands;

import com.drel.torvel.build.BuildVerb;

/** Lists what the targets import. */
public final class ListDependencies {
    private ListDependencies() {}

    public static void main(String[] arguments) {
        BuildVerb.main("ListDependencies", arguments);
    }
}
