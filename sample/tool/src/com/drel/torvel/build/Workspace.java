package com.drel.torvel.build;

import java.io.IOException;
import java.nio.file.FileVisitResult;
import java.nio.file.Files;
import java.nio.file.InvalidPathException;
import java.nio.file.Path;
import java.nio.file.SimpleFileVisitor;
import java.nio.file.attribute.BasicFileAttributes;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.List;

/**
 * Paths of the workspace. A file or target is named by its path from the workspace root, with "/"; a target is a
 * directory, and its packages are named after the directories from the root.
 */
final class Workspace {
    private final Path root;

    Workspace(Path root) throws BuildException {
        if (!Files.isDirectory(root)) {
            throw new BuildException("The workspace '" + root + "' is not a directory.");
        }
        this.root = root;
    }

    /** A path given by the user, relative to the workspace root, with either separator. */
    Path resolve(String text) throws BuildException {
        try {
            return root.resolve(text.replace('\\', '/')).normalize();
        } catch (InvalidPathException e) {
            throw new BuildException("'" + text + "' is not a path.");
        }
    }

    /** The name of a file or directory below the root; the root itself is ".". */
    String name(Path path) {
        String name = root.relativize(path).toString().replace('\\', '/');
        return name.isEmpty() ? "." : name;
    }

    /** The targets in one argument, separated by "," or ";". */
    List<Path> targets(String argument) throws BuildException {
        List<Path> targets = new ArrayList<>();
        for (String text : argument.replace(';', ',').split(",")) {
            if (text.isEmpty()) {
                continue;
            }
            Path target = resolve(text);
            if (!target.startsWith(root)) {
                throw new BuildException("Target '" + text + "' lies outside the workspace " + root + ".");
            }
            if (!Files.isDirectory(target)) {
                throw new BuildException("Target '" + text + "' is not a directory of the workspace " + root + ".");
            }
            if (!targets.contains(target)) {
                targets.add(target);
            }
        }
        if (targets.isEmpty()) {
            throw new BuildException("No target is given.");
        }
        return targets;
    }

    /** The directory of a configuration's outputs below `directory` ("out", "export"). */
    Path outputs(String directory, String configuration) throws BuildException {
        for (int i = 0; i < configuration.length(); i++) {
            char c = configuration.charAt(i);
            if (!Character.isLetterOrDigit(c) && c != '_' && (c != '-' || i == 0)) {
                throw new BuildException("Configuration '" + configuration + "' is not a plain name.");
            }
        }
        if (configuration.isEmpty()) {
            throw new BuildException("The configuration's name is empty.");
        }
        return root.resolve(directory).resolve(configuration);
    }

    /** The Java sources below a target, sorted by name, case-sensitively on all systems. */
    List<Path> sources(Path target) throws IOException {
        List<Path> sources = new ArrayList<>();
        Files.walkFileTree(target, new SimpleFileVisitor<Path>() {
            @Override
            public FileVisitResult preVisitDirectory(Path directory, BasicFileAttributes attributes) {
                return isGenerated(directory) ? FileVisitResult.SKIP_SUBTREE : FileVisitResult.CONTINUE;
            }

            @Override
            public FileVisitResult visitFile(Path file, BasicFileAttributes attributes) {
                if (attributes.isRegularFile() && file.toString().endsWith(".java")) {
                    sources.add(file);
                }
                return FileVisitResult.CONTINUE;
            }
        });
        sources.sort(Comparator.comparing(this::name));
        return sources;
    }

    /** The directory of an imported package or class ("engine.*", "engine.World"); null for a library's. */
    Path packageOf(String imported) {
        String path = imported.replace('.', '/');
        if (path.endsWith("/*")) {
            path = path.substring(0, path.length() - 2);
            if (Files.isDirectory(root.resolve(path))) {
                return root.resolve(path);
            }
        }
        // For a nested class or a static member, a shorter prefix names the source.
        while (!path.isEmpty()) {
            Path source = root.resolve(path + ".java");
            if (Files.isRegularFile(source)) {
                return source.getParent();
            }
            path = path.substring(0, Math.max(path.lastIndexOf('/'), 0));
        }
        return null;
    }

    private boolean isGenerated(Path directory) {
        if (directory.equals(root)) {
            return false;
        }
        String name = directory.getFileName().toString();
        boolean atTop = root.equals(directory.getParent());
        return name.startsWith(".") || atTop && (name.equals("out") || name.equals("bin") || name.equals("export"));
    }
}
