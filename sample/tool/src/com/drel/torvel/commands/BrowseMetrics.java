package com.drel.torvel.commands;

/** Would show the metrics of the slaves. */
public final class BrowseMetrics {
    private BrowseMetrics() {}

    public static void main(String[] arguments) {
        NoNetwork.explain("BrowseMetrics", "Usage: Torvel BrowseMetrics [address]", 0, 1, arguments);
    }
}
