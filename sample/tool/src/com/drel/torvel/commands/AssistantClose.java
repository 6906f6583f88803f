package com.drel.torvel.commands;

import com.drel.torvel.Arguments;
import com.drel.torvel.assistant.Assistant;
import com.drel.torvel.assistant.Wire;
import java.io.IOException;
import java.net.InetAddress;
import java.net.Socket;

/** Ends the Assistant that listens on this machine. */
public final class AssistantClose {
    private AssistantClose() {}

    public static void main(String[] arguments) {
        Arguments.require("Usage: Torvel AssistantClose\n\nEnds the Assistant; a build it is running is cancelled.", 0, 0,
                arguments);
        Socket socket = null;
        try {
            socket = new Socket(InetAddress.getByAddress(Assistant.ADDRESS), Assistant.PORT);
        } catch (IOException e) {
            Arguments.fail("AssistantClose: no Assistant listens on port " + Assistant.PORT + ".");
        }
        try (Wire wire = new Wire(socket)) {
            wire.writeString("Status");
            wire.flush();
            wire.readString();
            wire.writeString("Close");
            wire.flush();
            wire.awaitEnd();
            System.out.println("The Assistant has ended.");
        } catch (IOException e) {
            Arguments.fail("AssistantClose: what listens on port " + Assistant.PORT + " is no Assistant: "
                    + e.getMessage());
        }
    }
}
