package com.drel.torvel.commands;

/** Would show the figures that slaves collect. */
public final class BrowseMetrics {
    private BrowseMetrics() {}

    public static void main(String[] arguments) {
        NoNetwork.explain("BrowseMetrics", "Usage: Torvel BrowseMetrics [address]", 0, 1, arguments);
    }
}
