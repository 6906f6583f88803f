package com.drel.torvel;

import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;

/**
 * The arguments of a command: those that begin with "--" are options, the others are positional. Unknown options are
 * ignored, because the launcher passes on its own.
 */
public final class Arguments {
    /** The exit code for wrong arguments. */
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

    /** Parses the arguments of a Java command. Exits after "--help", and for a wrong number of arguments. */
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

    /** Prints an error and exits with 1. */
    public static void fail(String message) {
        System.err.println(message);
        System.exit(1);
    }
}
