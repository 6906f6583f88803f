package com.drel.torvel.build;

import java.nio.file.Paths;

/** A build in the current directory, with the environment and output of this process. */
final class ConsoleSession extends BuildSession {
    ConsoleSession() {
        super(Paths.get(""), System.getenv());
    }

    @Override
    protected void put(String line, boolean isError) {
        (isError ? System.err : System.out).println(line);
    }

    @Override
    public void pause(long milliseconds) {
        if (milliseconds == 0) {
            return;
        }
        try {
            Thread.sleep(milliseconds);
        } catch (InterruptedException e) {
            throw new BuildCancelled();
        }
    }
}
