package com.drel.torvel.build;

import java.nio.file.Paths;

/** A build in the current directory, with the program's own environment and output. */
final class ConsoleSession extends BuildSession {
    ConsoleSession() {
        super(Paths.get(""), System.getenv());
    }

    @Override
    public void line(String text) {
        System.out.println(text);
    }

    @Override
    public void error(String text) {
        System.err.println(text);
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
