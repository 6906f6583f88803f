package com.drel.torvel.profile;

import com.drel.torvel.commands.NoNetwork;

/** Would measure the data rate to another machine. */
public final class ProfileIO {
    private ProfileIO() {}

    public static void main(String[] arguments) {
        NoNetwork.explain("ProfileIO", "Usage: Torvel ProfileIO {read|write} {nio|blocking} [ip]", 2, 3, arguments);
    }
}
