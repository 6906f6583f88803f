package com.drel.torvel.build;

import java.nio.file.Path;
import java.util.Map;

/**
 * The context of one run of a build verb: workspace, environment and output. All methods are called on the thread that
 * runs the verb.
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

    /** The environment of the launcher that requested the build. */
    public final Map<String, String> environment() {
        return environment;
    }

    /** Prints output: one line or more, the last without its line feed. */
    public final void line(String text) {
        lines(text, false);
    }

    /** Prints error output: one line or more, the last without its line feed. */
    public final void error(String text) {
        lines(text, true);
    }

    private void lines(String text, boolean isError) {
        for (String line : text.split("\\R", -1)) {
            put(line, isError);
        }
    }

    /** Prints one line, given without a line feed. */
    protected abstract void put(String line, boolean isError);

    /** Waits for zero or more milliseconds; throws BuildCancelled once the build is cancelled. */
    public abstract void pause(long milliseconds);

    /** Ends a cancelled build. */
    public static final class BuildCancelled extends RuntimeException {
        private static final long serialVersionUID = 1;

        public BuildCancelled() {
            super("The build was cancelled", null, false, false);
        }
    }
}
