package com.drel.torvel;

import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/**
 * The arguments of one command: those that begin with "--" are options, the others are counted by place. An option
 * that a command does not know is left alone, since the launcher passes on its own options as well.
 */
public final class Arguments {
    /** The exit code of a command that was not given what it needs. */
    public static final int USAGE_ERROR = 2;

    private final List<String> values = new ArrayList<>();
    private final Map<String, String> options = new HashMap<>();

    public Arguments(String[] arguments) {
        for (String argument : arguments) {
            if (!argument.startsWith("--")) {
                values.add(argument);
                continue;
            }
            int equals = argument.indexOf('=');
            String name = equals < 0 ? argument : argument.substring(0, equals);
            options.putIfAbsent(name, equals < 0 ? "" : argument.substring(equals + 1));
        }
    }

    public int count() {
        return values.size();
    }

    public String get(int index) {
        return values.get(index);
    }

    public boolean has(String option) {
        return options.containsKey(option);
    }

    /** The value of an option: empty when it has none, null when it is absent. */
    public String option(String name) {
        return options.get(name);
    }

    /**
     * Opens a Java command: answers "--help" with the usage text and refuses a wrong number of arguments, both by
     * ending the program.
     */
    public static Arguments require(String usage, int least, int most, String[] arguments) {
        Arguments result = new Arguments(arguments);
        if (result.has("--help")) {
            System.out.println(usage);
            System.exit(0);
        }
        if (result.count() < least || result.count() > most) {
            System.err.println(result.count() < least ? "An argument is missing." : "There are too many arguments.");
            System.err.println(usage);
            System.exit(USAGE_ERROR);
        }
        return result;
    }

    /** Ends a Java command with an error text. */
    public static void fail(String message) {
        System.err.println(message);
        System.exit(1);
    }
}
