package com.drel.torvel.assistant;

import java.io.BufferedInputStream;
import java.io.BufferedOutputStream;
import java.io.Closeable;
import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.IOException;
import java.net.Socket;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;

/**
 * The protocol's units on one connection, which it owns: integers of four bytes, and strings as a count of characters
 * and the characters in UTF-8. One thread may read while another writes. A framing error throws an IOException; the
 * connection is then unusable.
 *
 * <p>The launcher sends each byte of a string as the character of its value. This class converts these bytes from and
 * to the system's character set.
 */
public final class Wire implements Closeable {
    private static final int NULL_STRING = -1;
    private static final int LONGEST_STRING = 16 << 20;
    private static final Charset SYSTEM = Charset.forName(System.getProperty("sun.jnu.encoding", "UTF-8"));

    private final Socket socket;
    private final DataInputStream in;
    private final DataOutputStream out;

    public Wire(Socket socket) throws IOException {
        this.socket = socket;
        // Each line is flushed, and must not wait for the acknowledgement of the one before.
        socket.setTcpNoDelay(true);
        in = new DataInputStream(new BufferedInputStream(socket.getInputStream()));
        out = new DataOutputStream(new BufferedOutputStream(socket.getOutputStream()));
    }

    public int readInt() throws IOException {
        return in.readInt();
    }

    /** Reads a string; null for the null string. */
    public String readString() throws IOException {
        int count = in.readInt();
        if (count == NULL_STRING) {
            return null;
        }
        if (count > LONGEST_STRING) {
            throw new IOException("a string of " + count + " characters");
        }
        StringBuilder text = new StringBuilder();
        boolean isBytes = true;
        for (int i = 0; i < count; i++) {
            int code = readCharacter();
            isBytes &= code <= 0xFF;
            text.appendCodePoint(code);
        }
        String result = text.toString();
        return isBytes ? new String(result.getBytes(StandardCharsets.ISO_8859_1), SYSTEM) : result;
    }

    private int readCharacter() throws IOException {
        int lead = in.readUnsignedByte();
        if (lead < 0x80) {
            return lead;
        }
        int more = lead >> 5 == 0b110 ? 1 : lead >> 4 == 0b1110 ? 2 : lead >> 3 == 0b11110 ? 3 : 0;
        if (more == 0) {
            throw new IOException("a character that begins with byte " + lead);
        }
        int code = lead & 0x3F >> more;
        for (int i = 0; i < more; i++) {
            int next = in.readUnsignedByte();
            if (next >> 6 != 0b10) {
                throw new IOException("a character that goes on with byte " + next);
            }
            code = code << 6 | next & 0x3F;
        }
        if (!Character.isValidCodePoint(code)) {
            throw new IOException("a character beyond the last one");
        }
        return code;
    }

    public void writeInt(int value) throws IOException {
        out.writeInt(value);
    }

    public void writeString(String text) throws IOException {
        byte[] bytes = text.getBytes(SYSTEM);
        out.writeInt(bytes.length);
        out.write(new String(bytes, StandardCharsets.ISO_8859_1).getBytes(StandardCharsets.UTF_8));
    }

    public void writeNull() throws IOException {
        out.writeInt(NULL_STRING);
    }

    public void flush() throws IOException {
        out.flush();
    }

    /** Flushes and closes the output; reading goes on. */
    public void endOutput() throws IOException {
        out.flush();
        socket.shutdownOutput();
    }

    /** Waits until the peer disconnects or, against the protocol, sends more. */
    public void awaitEnd() {
        try {
            in.read();
        } catch (IOException e) {
            // A reset connection has ended, too.
        }
    }

    @Override
    public void close() {
        try {
            socket.close();
        } catch (IOException e) {
            // Closed in any case.
        }
    }
}
