package com.drel.torvel.assistant;

import com.drel.torvel.Arguments;
import com.drel.torvel.build.BuildSession;
import com.drel.torvel.build.BuildVerb;
import java.io.IOException;
import java.nio.file.InvalidPathException;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.Map;

/**
 * One build for a launcher, with its output on the launcher's connection. Runs on the build thread; any thread may
 * cancel it.
 */
final class BuildJob extends BuildSession implements Runnable {
    private final Wire wire;
    private final String verb;
    private final String[] parameters;
    private final boolean hasWorkspace;
    private boolean isCancelled;
    private boolean hasEnded;

    BuildJob(Wire wire, String verb, String[] parameters) {
        this(wire, verb, parameters, new Arguments(parameters));
    }

    private BuildJob(Wire wire, String verb, String[] parameters, Arguments given) {
        super(root(given), environment(given));
        this.wire = wire;
        this.verb = verb;
        this.parameters = parameters;
        hasWorkspace = root(given).isAbsolute();
    }

    private static Path root(Arguments given) {
        try {
            return Paths.get(given.has("--workspace") ? given.option("--workspace") : "");
        } catch (InvalidPathException e) {
            return Paths.get("");
        }
    }

    private static Map<String, String> environment(Arguments given) {
        String text = given.has("--environment") ? given.option("--environment") : "";
        boolean isQuoted = text.length() >= 2 && text.startsWith("\"") && text.endsWith("\"");
        return PropertyMap.parse(isQuoted ? text.substring(1, text.length() - 1) : text);
    }

    @Override
    public void run() {
        boolean isReported = false;
        try {
            pause(0);
            int code = build();
            wire.writeNull();
            wire.writeInt(code);
            wire.endOutput();
            isReported = true;
        } catch (BuildCancelled | IOException e) {
            // The launcher is gone.
        } finally {
            if (!isReported) {
                // A launcher that is still connected must not wait forever.
                wire.close();
            }
            synchronized (this) {
                hasEnded = true;
                notifyAll();
            }
        }
    }

    private int build() {
        if (!hasWorkspace) {
            error("The Assistant needs the workspace as an absolute path: --workspace=<directory>.");
            return Arguments.USAGE_ERROR;
        }
        return BuildVerb.run(verb, parameters, this);
    }

    @Override
    protected void put(String line, boolean isError) {
        pause(0);
        try {
            wire.writeString((isError ? "!" : " ") + line);
            wire.flush();
        } catch (IOException e) {
            cancel();
            throw new BuildCancelled();
        }
    }

    @Override
    public synchronized void pause(long milliseconds) {
        long end = System.nanoTime() + milliseconds * 1_000_000;
        for (long left = milliseconds; left > 0 && !isCancelled; left = (end - System.nanoTime()) / 1_000_000) {
            waitFor(left);
        }
        if (isCancelled) {
            throw new BuildCancelled();
        }
    }

    /** Ends the build at its next step, a queued one as soon as it starts. No effect after its end. */
    synchronized void cancel() {
        isCancelled = true;
        notifyAll();
    }

    /** Waits up to some milliseconds for the end of a running build. */
    synchronized void awaitEnd(long milliseconds) {
        if (!hasEnded) {
            waitFor(milliseconds);
        }
    }

    private void waitFor(long milliseconds) {
        try {
            wait(milliseconds);
        } catch (InterruptedException e) {
            isCancelled = true;
        }
    }
}
