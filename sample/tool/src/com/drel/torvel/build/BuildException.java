package com.drel.torvel.build;

/** A build that cannot go on, with the text that its user is to see. */
final class BuildException extends Exception {
    private static final long serialVersionUID = 1;

    BuildException(String message) {
        super(message);
    }
}
