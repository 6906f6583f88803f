package com.drel.torvel.build;

import com.drel.torvel.Arguments;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;

/** The build verbs. Runs share the compiler, so only one may run at a time. */
public final class BuildVerb {
    private static final long LONGEST_PAUSE = 60_000;

    private final String verb;
    private final BuildSession session;
    private final Workspace workspace;
    private final Arguments arguments;
    private final String configuration;
    private final Path output;
    private final List<Path> targets;

    private BuildVerb(String verb, Arguments arguments, BuildSession session) throws BuildException {
        this.verb = verb;
        this.session = session;
        this.arguments = arguments;
        workspace = new Workspace(session.root());
        configuration = arguments.get(1);
        output = workspace.outputs("out", configuration);
        targets = workspace.targets(arguments.get(0));
    }

    /** Whether the Assistant accepts this verb. */
    public static boolean isVerb(String name) {
        switch (name) {
            case "Build":
            case "Rebuild":
            case "Clean":
            case "Tidy":
            case "Export":
            case "Validate":
            case "Scrub":
                return true;
            default:
                return false;
        }
    }

    /** The main of a verb's class: works in the current directory and exits on failure. */
    public static void main(String verb, String[] arguments) {
        int code = run(verb, arguments, new ConsoleSession());
        if (code != 0) {
            System.exit(code);
        }
    }

    /** Returns 0, 1 after errors, 2 for wrong arguments. */
    public static int run(String verb, String[] texts, BuildSession session) {
        Arguments arguments = new Arguments(texts);
        if (arguments.has("--help")) {
            session.line(usage(verb));
            return 0;
        }
        if (arguments.count() != 2) {
            session.error(arguments.count() < 2 ? "An argument is missing." : "There are too many arguments.");
            session.error("Usage: Torvel " + verb + " <targets> <configuration> [options]");
            return Arguments.USAGE_ERROR;
        }
        try {
            String log = arguments.option("--antLog");
            if (log == null) {
                return new BuildVerb(verb, arguments, session).run();
            }
            try (LogSession logged = new LogSession(session, new Workspace(session.root()).resolve(log))) {
                return new BuildVerb(verb, arguments, logged).run();
            }
        } catch (BuildException e) {
            session.error(e.getMessage());
        } catch (NoSuchFileException e) {
            session.error("No such file or directory: " + e.getMessage());
        } catch (IOException e) {
            session.error(e.toString());
        } catch (BuildSession.BuildCancelled e) {
            throw e;
        } catch (RuntimeException | Error e) {
            // The compiler wraps exceptions of its listeners, BuildCancelled included.
            session.pause(0);
            session.error("The build broke off: " + e);
        }
        return 1;
    }

    private static String usage(String verb) {
        return "Usage: Torvel " + verb + " <targets> <configuration> [options]\n"
                + "\n"
                + summary(verb) + "\n"
                + "\n"
                + "  <targets>         directories of the workspace, separated by \",\" or \";\"; both / and \\ separate\n"
                + "                    their parts. The first is taken from the current directory, the others from\n"
                + "                    the workspace root. Targets that a source imports come along by themselves.\n"
                + "  <configuration>   a name of your choice; Release leaves out what only a debugger needs\n"
                + "  --verbose         tell the workspace and the environment's SAMPLE_GREETING first\n"
                + "  --pause=<ms>      wait before each file (to watch a build run)\n"
                + "  --antLog=<file>   write the output to this file as well\n"
                + "\n"
                + "Other options are accepted and ignored. Ends with 0, with 1 after errors, with 2 if misused.";
    }

    private static String summary(String verb) {
        switch (verb) {
            case "Build":
                return "Compiles what has changed into out/<configuration>/.";
            case "Rebuild":
                return "Cleans the targets and builds them.";
            case "Clean":
                return "Deletes the targets' outputs.";
            case "Tidy":
                return "Deletes the outputs whose source is gone.";
            case "Export":
                return "Copies the outputs, which must be up to date, to export/<configuration>/.";
            case "Validate":
                return "Only parses the sources.";
            case "Scrub":
                return "Deletes the outputs of all targets and configurations.";
            default:
                return "Tells which targets each target imports.";
        }
    }

    private int run() throws BuildException, IOException {
        if (arguments.has("--verbose")) {
            session.line("Workspace: " + session.root());
            session.line("Greeting: " + session.environment().getOrDefault("SAMPLE_GREETING", "(none)"));
        }
        switch (verb) {
            case "Build":
                return build();
            case "Rebuild":
                clean();
                return build();
            case "Clean":
                return clean();
            case "Tidy":
                return tidy();
            case "Export":
                return export();
            case "Validate":
                return validate();
            case "Scrub":
                return scrub();
            default:
                return listDependencies();
        }
    }

    private int build() throws BuildException, IOException {
        OutputIndex index = new OutputIndex(output);
        SourceSet sources = new SourceSet(workspace, targets);
        for (String target : sources.imports().keySet()) {
            dropMissing(index, target);
        }
        Set<String> stale = index.stale(sources);
        if (stale.isEmpty()) {
            index.save();
            session.line("Everything is up to date.");
            return 0;
        }
        Compiler.Run run = Compiler.get().run(workspace, session, "Compiling", pause());
        // Imported sources first.
        Set<String> ordered = new LinkedHashSet<>(sources.files().keySet());
        ordered.retainAll(stale);
        for (String name : ordered) {
            index.drop(name);
        }
        boolean good = false;
        try {
            good = run.compile(paths(sources, ordered), output, compilerOptions());
        } finally {
            if (good) {
                index.add(sources, ordered, run.classes());
            } else {
                index.discard(run.written());
            }
            index.save();
        }
        return end(good, run, "Compiled " + files(ordered.size()) + ".");
    }

    private List<String> compilerOptions() {
        return List.of(configuration.equalsIgnoreCase("Release") ? "-g:none" : "-g", "-proc:none", "-implicit:none");
    }

    private int clean() throws IOException {
        OutputIndex index = new OutputIndex(output);
        int count = 0;
        for (String source : index.sources()) {
            if (isInTargets(source)) {
                count += report(index.drop(source));
            }
        }
        index.save();
        session.line("Removed " + files(count) + ".");
        return 0;
    }

    private int tidy() throws IOException {
        OutputIndex index = new OutputIndex(output);
        int count = 0;
        for (Path target : targets) {
            count += dropMissing(index, workspace.name(target));
        }
        count += report(index.dropOrphans());
        index.save();
        session.line("Removed " + files(count) + ".");
        return 0;
    }

    /** Deletes the outputs below a target whose source no longer exists. */
    private int dropMissing(OutputIndex index, String target) throws IOException {
        int count = 0;
        for (String source : index.sources()) {
            Path path = session.root().resolve(source);
            if (path.startsWith(session.root().resolve(target).normalize()) && !Files.exists(path)) {
                count += report(index.drop(source));
            }
        }
        return count;
    }

    private int export() throws BuildException, IOException {
        OutputIndex index = new OutputIndex(output);
        SourceSet sources = new SourceSet(workspace, targets);
        Set<String> stale = index.stale(sources);
        if (!stale.isEmpty()) {
            throw new BuildException("The output of " + stale.iterator().next() + " is not up to date: build it first.");
        }
        Path export = workspace.outputs("export", configuration);
        int count = 0;
        for (String source : sources.files().keySet()) {
            for (String path : index.classes(source)) {
                Path copy = export.resolve(path);
                session.pause(pause());
                session.line("Exporting " + workspace.name(copy));
                Files.createDirectories(copy.getParent());
                Files.copy(output.resolve(path), copy, StandardCopyOption.REPLACE_EXISTING);
                count++;
            }
        }
        session.line("Exported " + files(count) + ".");
        return 0;
    }

    private int validate() throws BuildException, IOException {
        SourceSet sources = new SourceSet(workspace, targets);
        Compiler.Run run = Compiler.get().run(workspace, session, "Validating", pause());
        boolean good = run.parse(paths(sources, sources.files().keySet()));
        return end(good, run, "Validated " + files(sources.files().size()) + ".");
    }

    private int scrub() throws IOException {
        Path out = session.root().resolve("out");
        int count = Files.isDirectory(out) ? FileTree.delete(out) : 0;
        session.line("Removed out/ with " + files(count) + ".");
        return 0;
    }

    private int listDependencies() throws IOException {
        for (Map.Entry<String, Set<String>> target : new SourceSet(workspace, targets).imports().entrySet()) {
            Set<String> imported = target.getValue();
            session.line(target.getKey() + " imports " + (imported.isEmpty() ? "nothing" : String.join(", ", imported)));
        }
        return 0;
    }

    private int end(boolean good, Compiler.Run run, String done) {
        if (good) {
            session.line(done);
            return 0;
        }
        int errors = run.errors();
        // The compiler does not report its own failures, such as a stack overflow.
        session.error(verb + " failed: " + (errors == 0 ? "the compiler broke off."
                : errors == 1 ? "1 error." : errors + " errors."));
        return 1;
    }

    private int report(List<Path> removed) {
        for (Path file : removed) {
            session.line("Removing " + workspace.name(file));
        }
        return removed.size();
    }

    private boolean isInTargets(String source) {
        Path path = session.root().resolve(source);
        for (Path target : targets) {
            if (path.startsWith(target)) {
                return true;
            }
        }
        return false;
    }

    private static List<Path> paths(SourceSet sources, Set<String> names) {
        List<Path> paths = new ArrayList<>();
        for (String name : names) {
            paths.add(sources.files().get(name).path);
        }
        return paths;
    }

    private static String files(int count) {
        return count == 1 ? "1 file" : count + " files";
    }

    private long pause() throws BuildException {
        String text = arguments.option("--pause");
        try {
            long pause = text == null ? 0 : Long.parseLong(text);
            if (pause >= 0 && pause <= LONGEST_PAUSE) {
                return pause;
            }
        } catch (NumberFormatException e) {
            // Rejected below.
        }
        throw new BuildException("--pause needs a number of milliseconds from 0 to " + LONGEST_PAUSE + ", not '" + text
                + "'.");
    }
}
