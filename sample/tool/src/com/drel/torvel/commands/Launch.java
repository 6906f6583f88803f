package com.drel.torvel.commands;

import com.drel.torvel.Arguments;
import java.io.File;
import java.io.IOException;
import java.util.ArrayList;
import java.util.List;

/** Runs a program from the workspace root and ends with its exit code. */
public final class Launch {
    private static final String CONFIGURATION = "--configuration=";
    private static final String USAGE = "Usage: Torvel Launch [options] <command> [arguments]\n"
            + "\n"
            + "Runs a program from the workspace root and ends with its exit code.\n"
            + "\n"
            + "  --configuration=<name>   <command> is a Java class that Build has compiled for this configuration";

    private Launch() {}

    public static void main(String[] arguments) {
        String configuration = null;
        int command = 0;
        // Options precede the command; all arguments after it are the program's.
        while (command < arguments.length && arguments[command].startsWith("--")) {
            String option = arguments[command++];
            if (option.equals("--help")) {
                System.out.println(USAGE);
                return;
            }
            if (option.startsWith(CONFIGURATION)) {
                configuration = option.substring(CONFIGURATION.length());
            }
        }
        if (command == arguments.length) {
            System.err.println("An argument is missing.\n" + USAGE);
            System.exit(Arguments.USAGE_ERROR);
        }
        List<String> line = new ArrayList<>();
        if (configuration != null) {
            line.add(System.getProperty("java.home") + File.separator + "bin" + File.separator + "java");
            line.add("-cp");
            line.add("out" + File.separator + configuration);
        }
        while (command < arguments.length) {
            line.add(arguments[command++]);
        }
        System.exit(run(line));
    }

    private static int run(List<String> line) {
        try {
            return new ProcessBuilder(line).inheritIO().start().waitFor();
        } catch (IOException e) {
            System.err.println("Launch: " + e.getMessage());
        } catch (InterruptedException e) {
            System.err.println("Launch: interrupted");
        }
        return 1;
    }
}
