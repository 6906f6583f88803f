package com.drel.torvel.build;

import java.io.IOException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeSet;

/** The sources of the targets and of all targets they import, imported ones first. */
final class SourceSet {
    private final Workspace workspace;
    private final Map<String, SourceFile> files = new LinkedHashMap<>();
    private final Map<String, Set<String>> imports = new LinkedHashMap<>();

    SourceSet(Workspace workspace, List<Path> targets) throws IOException {
        this.workspace = workspace;
        for (Path target : targets) {
            visit(target);
        }
    }

    private void visit(Path target) throws IOException {
        Set<String> imported = new TreeSet<>();
        if (imports.putIfAbsent(workspace.name(target), imported) != null) {
            return;
        }
        List<SourceFile> own = new ArrayList<>();
        for (Path path : workspace.sources(target)) {
            SourceFile known = files.get(workspace.name(path));
            SourceFile file = known != null ? known : new SourceFile(path);
            own.add(file);
            for (String name : file.imports) {
                Path other = workspace.packageOf(name);
                if (other != null && !other.startsWith(target) && imported.add(workspace.name(other))) {
                    visit(other);
                }
            }
        }
        for (SourceFile file : own) {
            files.putIfAbsent(workspace.name(file.path), file);
        }
    }

    /** The sources by name. */
    Map<String, SourceFile> files() {
        return files;
    }

    /** For each target, given or imported, the targets that it imports. */
    Map<String, Set<String>> imports() {
        return imports;
    }

    /**
     * For each source the others that it may depend on: those that declare a name it contains. Sometimes too many,
     * never too few.
     */
    Map<String, Set<String>> uses() {
        Map<String, Set<String>> declaring = new HashMap<>();
        for (Map.Entry<String, SourceFile> file : files.entrySet()) {
            for (String name : file.getValue().declared) {
                declaring.computeIfAbsent(name, key -> new TreeSet<>()).add(file.getKey());
            }
        }
        Map<String, Set<String>> uses = new HashMap<>();
        for (Map.Entry<String, SourceFile> file : files.entrySet()) {
            Set<String> used = new TreeSet<>();
            for (String word : file.getValue().words) {
                used.addAll(declaring.getOrDefault(word, Set.of()));
            }
            used.remove(file.getKey());
            uses.put(file.getKey(), used);
        }
        return uses;
    }
}
