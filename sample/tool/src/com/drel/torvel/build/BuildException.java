package com.drel.torvel.build;

/** Ends a build, with a message for the user. */
final class BuildException extends Exception {
    private static final long serialVersionUID = 1;

    BuildException(String message) {
        super(message);
    }
}
