package com.drel.torvel.build;

import java.io.IOException;
import java.io.PrintWriter;
import java.nio.file.Files;
import java.nio.file.Path;

/** Also writes the output to a log file; failed writes do not fail the build. */
final class LogSession extends BuildSession implements AutoCloseable {
    private final BuildSession session;
    private final PrintWriter log;

    LogSession(BuildSession session, Path file) throws BuildException {
        super(session.root(), session.environment());
        this.session = session;
        try {
            log = new PrintWriter(Files.newBufferedWriter(file));
        } catch (IOException e) {
            throw new BuildException("The log file " + file + " cannot be written.");
        }
    }

    @Override
    protected void put(String line, boolean isError) {
        log.println(line);
        session.put(line, isError);
    }

    @Override
    public void pause(long milliseconds) {
        session.pause(milliseconds);
    }

    @Override
    public void close() {
        log.close();
    }
}
