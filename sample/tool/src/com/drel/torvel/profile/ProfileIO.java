package com.drel.torvel.profile;

import com.drel.torvel.Arguments;
import java.io.FileInputStream;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.channels.FileChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;

/** Measures how fast a file is written or read, through channels ("nio") or streams ("blocking"). */
public final class ProfileIO {
    private static final int BLOCK = 1 << 16;
    private static final int BLOCKS = 256;
    private static final String USAGE = "Usage: Torvel ProfileIO {read|write} {nio|blocking} [ip]\n"
            + "\n"
            + "Measures how fast a temporary file of 16 MiB is written or read. With an address the measure would\n"
            + "be of the way to that machine, but the sample has no network.";

    private ProfileIO() {}

    public static void main(String[] arguments) {
        Arguments given = Arguments.require(USAGE, 2, 3, arguments);
        boolean read = choose(given.get(0), "read", "write");
        boolean channels = choose(given.get(1), "nio", "blocking");
        if (given.count() == 3) {
            System.out.println("The sample has no network, so the way to " + given.get(2) + " is not measured.");
            return;
        }
        try {
            Path file = Files.createTempFile("torvel-profile", ".tmp");
            try {
                if (read) {
                    writeStream(file);
                }
                long start = System.nanoTime();
                if (channels) {
                    useChannel(file, read);
                } else if (read) {
                    readStream(file);
                } else {
                    writeStream(file);
                }
                long microseconds = Math.max(1, (System.nanoTime() - start) / 1000);
                System.out.println(given.get(0) + " " + given.get(1) + ": " + (long) BLOCK * BLOCKS / microseconds
                        + " MB/s");
            } finally {
                Files.delete(file);
            }
        } catch (IOException e) {
            Arguments.fail("ProfileIO: " + e);
        }
    }

    private static boolean choose(String given, String yes, String no) {
        if (!given.equals(yes) && !given.equals(no)) {
            System.err.println("'" + given + "' is neither " + yes + " nor " + no + ".\n" + USAGE);
            System.exit(Arguments.USAGE_ERROR);
        }
        return given.equals(yes);
    }

    private static void useChannel(Path file, boolean read) throws IOException {
        ByteBuffer block = ByteBuffer.allocateDirect(BLOCK);
        try (FileChannel channel =
                FileChannel.open(file, read ? StandardOpenOption.READ : StandardOpenOption.WRITE)) {
            for (int i = 0; i < BLOCKS; i++) {
                block.clear();
                while (block.hasRemaining() && (read ? channel.read(block) : channel.write(block)) >= 0) {
                    // Until the block is through.
                }
            }
        }
    }

    private static void readStream(Path file) throws IOException {
        byte[] block = new byte[BLOCK];
        try (InputStream in = new FileInputStream(file.toFile())) {
            while (in.read(block) >= 0) {
                // Only the time counts.
            }
        }
    }

    private static void writeStream(Path file) throws IOException {
        byte[] block = new byte[BLOCK];
        try (OutputStream out = new FileOutputStream(file.toFile())) {
            for (int i = 0; i < BLOCKS; i++) {
                out.write(block);
            }
        }
    }
}
