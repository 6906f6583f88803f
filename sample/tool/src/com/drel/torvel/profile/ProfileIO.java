package com.drel.torvel.profile;

import com.drel.torvel.commands.NoNetwork;

/** Would measure how fast data goes to another machine and back. */
public final class ProfileIO {
    private ProfileIO() {}

    public static void main(String[] arguments) {
        NoNetwork.explain("ProfileIO", "Usage: Torvel ProfileIO {read|write} {nio|blocking} [ip]", 2, 3, arguments);
    }
}
