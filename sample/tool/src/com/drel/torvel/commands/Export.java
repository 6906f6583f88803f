package com.drel.torvel.commands;

import com.drel.torvel.build.BuildVerb;

/** Copies outputs to export/. */
public final class Export {
    private Export() {}

    public static void main(String[] arguments) {
        BuildVerb.main("Export", arguments);
    }
}
