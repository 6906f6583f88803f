package com.drel.torvel.build;

import java.nio.file.Path;
import java.util.Map;

/**
 * What one run of a build verb is given by whoever runs it: the workspace, the environment, and the way for its
 * lines. All methods are called on the thread that runs the verb.
 */
public abstract class BuildSession {
    private final Path root;
    private final Map<String, String> environment;

    protected BuildSession(Path root, Map<String, String> environment) {
        this.root = root.toAbsolutePath().normalize();
        this.environment = environment;
    }

    /** The workspace root, absolute. */
    public final Path root() {
        return root;
    }

    /** The environment of the launcher that asked for the build. */
    public final Map<String, String> environment() {
        return environment;
    }

    /** Passes on a text of output: one line or more, the last without its line feed. */
    public final void line(String text) {
        lines(text, false);
    }

    /** Passes on a text of error output: one line or more, the last without its line feed. */
    public final void error(String text) {
        lines(text, true);
    }

    private void lines(String text, boolean isError) {
        for (String line : text.split("\\R", -1)) {
            put(line, isError);
        }
    }

    /** Passes on one line, which holds no line feed. */
    protected abstract void put(String line, boolean isError);

    /** Waits, for zero or more milliseconds; throws BuildCancelled as soon as nobody wants the build any more. */
    public abstract void pause(long milliseconds);

    /** Ends a build that nobody wants any more. */
    public static final class BuildCancelled extends RuntimeException {
        private static final long serialVersionUID = 1;

        public BuildCancelled() {
            super("The build was cancelled", null, false, false);
        }
    }
}
