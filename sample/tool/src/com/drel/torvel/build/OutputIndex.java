package com.drel.torvel.build;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;
import java.util.concurrent.locks.LockSupport;

/**
 * The index of a configuration's output directory, stored in it: for each compiled source its size and time, the
 * sources it used and its class files. A source whose line cannot be read is compiled again.
 */
final class OutputIndex {
    private static final String FILE_NAME = "index.txt";
    private static final String LIST_SEPARATOR = "|";
    private static final int ATTEMPTS = 100;

    private final Path directory;
    private final Map<String, Entry> entries = new TreeMap<>();
    private long lastBuild;

    private static final class Entry {
        final long size;
        final long modified;
        final long build;
        final Set<String> uses;
        final List<String> classes;

        Entry(long size, long modified, long build, Set<String> uses, List<String> classes) {
            this.size = size;
            this.modified = modified;
            this.build = build;
            this.uses = uses;
            this.classes = classes;
        }
    }

    OutputIndex(Path directory) throws IOException {
        this.directory = directory;
        try {
            byte[] text = withRetries(() -> Files.readAllBytes(directory.resolve(FILE_NAME)));
            for (String line : new String(text, "UTF-8").split("\n")) {
                read(line);
            }
        } catch (NoSuchFileException e) {
            // Nothing has been built yet.
        }
    }

    private void read(String line) {
        String[] fields = line.split("\t", -1);
        if (fields.length != 6) {
            return;
        }
        try {
            long build = Long.parseLong(fields[3]);
            entries.put(fields[0], new Entry(Long.parseLong(fields[1]), Long.parseLong(fields[2]), build,
                    new TreeSet<>(list(fields[4])), list(fields[5])));
            lastBuild = Math.max(lastBuild, build);
        } catch (NumberFormatException e) {
            entries.remove(fields[0]);
        }
    }

    private static List<String> list(String field) {
        return field.isEmpty() ? List.of() : List.of(field.split("\\|"));
    }

    void save() throws IOException {
        if (entries.isEmpty()) {
            Files.deleteIfExists(directory.resolve(FILE_NAME));
            removeEmptyDirectories(directory);
            return;
        }
        StringBuilder text = new StringBuilder();
        for (Map.Entry<String, Entry> line : entries.entrySet()) {
            Entry entry = line.getValue();
            text.append(line.getKey()).append('\t').append(entry.size).append('\t').append(entry.modified)
                    .append('\t').append(entry.build)
                    .append('\t').append(String.join(LIST_SEPARATOR, entry.uses))
                    .append('\t').append(String.join(LIST_SEPARATOR, entry.classes)).append('\n');
        }
        Files.createDirectories(directory);
        Path fresh = Files.createTempFile(directory, "index", ".tmp");
        Files.write(fresh, text.toString().getBytes("UTF-8"));
        try {
            withRetries(() -> Files.move(fresh, directory.resolve(FILE_NAME), StandardCopyOption.ATOMIC_MOVE));
        } finally {
            Files.deleteIfExists(fresh);
        }
    }

    /** Windows refuses access while another build reads or replaces the file. */
    private static <T> T withRetries(Access<T> access) throws IOException {
        for (int attempt = 1;; attempt++) {
            try {
                return access.run();
            } catch (AccessDeniedException e) {
                if (attempt == ATTEMPTS) {
                    throw e;
                }
                LockSupport.parkNanos(20_000_000);
            }
        }
    }

    private interface Access<T> {
        T run() throws IOException;
    }

    /** The compiled sources, by name. */
    List<String> sources() {
        return new ArrayList<>(entries.keySet());
    }

    /** The class files of a source, as paths from the output directory. */
    List<String> classes(String source) {
        return entries.get(source).classes;
    }

    /** The sources to compile: the changed ones and all that use them. */
    Set<String> stale(SourceSet sources) {
        Map<String, Set<String>> uses = sources.uses();
        Set<String> stale = new LinkedHashSet<>();
        boolean grown = true;
        while (grown) {
            grown = false;
            for (Map.Entry<String, SourceFile> file : sources.files().entrySet()) {
                String name = file.getKey();
                if (!stale.contains(name) && isStale(name, file.getValue(), uses.get(name), stale)) {
                    stale.add(name);
                    grown = true;
                }
            }
        }
        return stale;
    }

    private boolean isStale(String name, SourceFile file, Set<String> uses, Set<String> stale) {
        Entry entry = entries.get(name);
        if (entry == null || entry.size != file.size || entry.modified != file.modified || !entry.uses.equals(uses)) {
            return true;
        }
        for (String used : uses) {
            Entry other = entries.get(used);
            if (stale.contains(used) || other == null || other.build > entry.build) {
                return true;
            }
        }
        for (String path : entry.classes) {
            if (!Files.exists(directory.resolve(path))) {
                return true;
            }
        }
        return false;
    }

    /** Records compiled sources with their class files. */
    void add(SourceSet sources, Set<String> compiled, Map<String, List<String>> classes) {
        Map<String, Set<String>> uses = sources.uses();
        lastBuild++;
        for (String name : compiled) {
            SourceFile file = sources.files().get(name);
            entries.put(name, new Entry(file.size, file.modified, lastBuild, uses.get(name),
                    classes.getOrDefault(name, List.of())));
        }
    }

    /** Deletes the class files of a failed build. */
    void discard(List<Path> files) throws IOException {
        for (Path file : files) {
            drop(file, new ArrayList<>());
        }
    }

    /** Removes a source and its class files; returns the files that existed. */
    List<Path> drop(String source) throws IOException {
        List<Path> dropped = new ArrayList<>();
        Entry entry = entries.remove(source);
        if (entry != null) {
            for (String path : entry.classes) {
                drop(directory.resolve(path), dropped);
            }
        }
        return dropped;
    }

    /** Deletes class files without a source, as a killed build leaves them; returns them. */
    List<Path> dropOrphans() throws IOException {
        List<Path> dropped = new ArrayList<>();
        if (!Files.isDirectory(directory)) {
            return dropped;
        }
        Set<Path> owned = new TreeSet<>();
        for (Entry entry : entries.values()) {
            for (String path : entry.classes) {
                owned.add(directory.resolve(path));
            }
        }
        for (Path file : FileTree.files(directory)) {
            if (file.toString().endsWith(".class") && !owned.contains(file)) {
                drop(file, dropped);
            }
        }
        return dropped;
    }

    private void drop(Path file, List<Path> dropped) throws IOException {
        if (Files.deleteIfExists(file)) {
            dropped.add(file);
        }
        removeEmptyDirectories(file.getParent());
    }

    /** Removes a directory and its parents below the workspace root, as long as they are empty. */
    private void removeEmptyDirectories(Path from) throws IOException {
        Path end = directory.getParent().getParent();
        for (Path place = from; !place.equals(end); place = place.getParent()) {
            if (Files.isDirectory(place) && !FileTree.deleteIfEmpty(place)) {
                return;
            }
        }
    }
}
