package com.drel.torvel.commands;

import com.drel.torvel.Arguments;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.zip.CRC32;

/** Prints the CRC-32 and the SHA-256 of a file. */
public final class Checksum {
    private static final String USAGE = "Usage: Torvel Checksum <file>\n"
            + "\n"
            + "Prints the CRC-32 and the SHA-256 of a file, which is looked for from the workspace root.";

    private Checksum() {}

    public static void main(String[] arguments) throws NoSuchAlgorithmException {
        String file = Arguments.require(USAGE, 1, 1, arguments).get(0);
        CRC32 crc = new CRC32();
        MessageDigest sha = MessageDigest.getInstance("SHA-256");
        try (InputStream in = new FileInputStream(file)) {
            byte[] bytes = new byte[1 << 16];
            for (int count = in.read(bytes); count >= 0; count = in.read(bytes)) {
                crc.update(bytes, 0, count);
                sha.update(bytes, 0, count);
            }
        } catch (IOException e) {
            // The message has the file's name and the reason.
            Arguments.fail("Checksum: " + e.getMessage());
        }
        long sum = crc.getValue();
        System.out.println("CRC-32   " + hex((byte) (sum >> 24), (byte) (sum >> 16), (byte) (sum >> 8), (byte) sum));
        System.out.println("SHA-256  " + hex(sha.digest()));
    }

    private static String hex(byte... bytes) {
        StringBuilder text = new StringBuilder();
        for (byte b : bytes) {
            text.append(Character.forDigit(b >> 4 & 15, 16)).append(Character.forDigit(b & 15, 16));
        }
        return text.toString();
    }
}
