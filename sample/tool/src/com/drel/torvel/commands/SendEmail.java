package com.drel.torvel.commands;

/** Would send an e-mail. */
public final class SendEmail {
    private SendEmail() {}

    public static void main(String[] arguments) {
        NoNetwork.explain("SendEmail", "Usage: Torvel SendEmail <to> <subject> <message>", 3, 3, arguments);
    }
}
