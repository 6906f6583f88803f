package com.drel.torvel.build;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.BasicFileAttributes;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Set;

/** A Java source at the time of reading: size and time, imports, identifiers and top-level types. */
final class SourceFile {
    final Path path;
    final long size;
    final long modified;
    final List<String> imports = new ArrayList<>();
    final Set<String> declared = new HashSet<>();
    final Set<String> words = new HashSet<>();

    private final String text;
    private int at;
    private int depth;

    SourceFile(Path path) throws IOException {
        BasicFileAttributes attributes = Files.readAttributes(path, BasicFileAttributes.class);
        this.path = path;
        size = attributes.size();
        modified = attributes.lastModifiedTime().toMillis();
        text = new String(Files.readAllBytes(path), StandardCharsets.UTF_8);
        scan();
    }

    private void scan() {
        String before = "";
        while (skipToWord()) {
            String word = readName(false);
            words.add(word);
            if (word.equals("import")) {
                scanImport();
            } else if (depth == 0 && isTypeKeyword(before)) {
                declared.add(word);
            }
            before = word;
        }
    }

    private void scanImport() {
        skipToWord();
        String name = readName(true);
        if (name.equals("static")) {
            skipToWord();
            name = readName(true);
        }
        imports.add(name);
        for (String part : name.split("\\.")) {
            words.add(part);
        }
    }

    private static boolean isTypeKeyword(String word) {
        return word.equals("class") || word.equals("interface") || word.equals("enum") || word.equals("record");
    }

    private String readName(boolean qualified) {
        int start = at;
        while (at < text.length()) {
            char c = text.charAt(at);
            if (!Character.isJavaIdentifierPart(c) && !(qualified && (c == '.' || c == '*'))) {
                break;
            }
            at++;
        }
        return text.substring(start, at);
    }

    /** Moves to the next word outside comments and literals; false at the end of the text. */
    private boolean skipToWord() {
        while (at < text.length()) {
            char c = text.charAt(at);
            if (Character.isJavaIdentifierStart(c)) {
                return true;
            }
            if (text.startsWith("//", at)) {
                skipPast("\n", 2);
            } else if (text.startsWith("/*", at)) {
                skipPast("*/", 2);
            } else if (text.startsWith("\"\"\"", at)) {
                skipPast("\"\"\"", 3);
            } else if (c == '"' || c == '\'') {
                skipPast(String.valueOf(c), 1);
            } else {
                depth += c == '{' ? 1 : c == '}' ? -1 : 0;
                at++;
            }
        }
        return false;
    }

    private void skipPast(String end, int opening) {
        at += opening;
        boolean literal = end.charAt(0) == '"' || end.charAt(0) == '\'';
        while (at < text.length() && !text.startsWith(end, at)) {
            at += literal && text.charAt(at) == '\\' ? 2 : 1;
        }
        at += end.length();
    }
}
