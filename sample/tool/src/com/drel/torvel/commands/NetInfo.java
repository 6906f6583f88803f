package com.drel.torvel.commands;

import com.drel.torvel.Arguments;
import java.net.InetAddress;
import java.net.NetworkInterface;
import java.net.SocketException;
import java.util.Collections;

/** Prints the machine's network interfaces. */
public final class NetInfo {
    private NetInfo() {}

    public static void main(String[] arguments) {
        Arguments.require("Usage: Torvel NetInfo\n\nPrints this machine's network interfaces.", 0, 0, arguments);
        try {
            for (NetworkInterface card : Collections.list(NetworkInterface.getNetworkInterfaces())) {
                System.out.println(card.getName() + (card.isUp() ? "" : " (down)"));
                for (InetAddress address : Collections.list(card.getInetAddresses())) {
                    System.out.println("  " + address.getHostAddress());
                }
            }
        } catch (SocketException e) {
            Arguments.fail("NetInfo: " + e.getMessage());
        }
    }
}
