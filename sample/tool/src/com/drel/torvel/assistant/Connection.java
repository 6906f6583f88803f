package com.drel.torvel.assistant;

import com.drel.torvel.build.BuildVerb;
import java.io.IOException;
import java.util.ArrayList;
import java.util.List;

/** Serves one launcher on its own thread. A silent connection (each launcher has one during its build) is kept open. */
final class Connection implements Runnable {
    private static final int MOST_PARAMETERS = 1 << 16;
    private static final int LONGEST_REQUEST = 24 << 20;

    private final Assistant assistant;
    private final Wire wire;

    Connection(Assistant assistant, Wire wire) {
        this.assistant = assistant;
        this.wire = wire;
    }

    @Override
    public void run() {
        try (wire) {
            converse();
        } catch (IOException | OutOfMemoryError e) {
            // The launcher is gone, or the peer is not a launcher: only this connection ends.
        } finally {
            assistant.connectionEnded();
        }
    }

    private void converse() throws IOException {
        if (!"Status".equals(wire.readString())) {
            return;
        }
        sendStatus();
        for (String request = wire.readString(); request != null; request = wire.readString()) {
            if (request.equals("Status")) {
                sendStatus();
            } else if (request.equals("Restart")) {
                assistant.restart(wire);
                wire.awaitEnd();
                return;
            } else if (request.equals("Close")) {
                assistant.end();
            } else {
                if (BuildVerb.isVerb(request)) {
                    build(request);
                }
                return;
            }
        }
    }

    private void sendStatus() throws IOException {
        wire.writeString(assistant.status());
        wire.flush();
    }

    private void build(String verb) throws IOException {
        int count = wire.readInt();
        if (count < 0 || count > MOST_PARAMETERS) {
            throw new IOException(count + " parameters");
        }
        List<String> parameters = new ArrayList<>();
        long size = 0;
        for (int i = 0; i < count; i++) {
            String parameter = wire.readString();
            size += parameter == null ? 0 : parameter.length();
            if (parameter == null || size > LONGEST_REQUEST) {
                throw new IOException("a parameter that is missing or too long");
            }
            parameters.add(parameter);
        }
        BuildJob job = new BuildJob(wire, verb, parameters.toArray(new String[0]));
        assistant.submit(job);
        // The launcher stays until it has the return code: if it leaves earlier, the build is cancelled.
        wire.awaitEnd();
        assistant.cancel(job);
    }
}
