package com.drel.torvel.build;

import java.io.IOException;
import java.nio.file.DirectoryNotEmptyException;
import java.nio.file.FileVisitResult;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.SimpleFileVisitor;
import java.nio.file.attribute.BasicFileAttributes;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;

/** Operations on directory trees. Links are never followed. */
final class FileTree {
    private FileTree() {}

    /** All files below a directory, sorted by path. */
    static List<Path> files(Path directory) throws IOException {
        List<Path> files = new ArrayList<>();
        Files.walkFileTree(directory, new SimpleFileVisitor<Path>() {
            @Override
            public FileVisitResult visitFile(Path file, BasicFileAttributes attributes) {
                files.add(file);
                return FileVisitResult.CONTINUE;
            }
        });
        Collections.sort(files);
        return files;
    }

    /** Deletes a directory tree; returns the number of files. */
    static int delete(Path directory) throws IOException {
        int[] count = new int[1];
        Files.walkFileTree(directory, new SimpleFileVisitor<Path>() {
            @Override
            public FileVisitResult visitFile(Path file, BasicFileAttributes attributes) throws IOException {
                Files.delete(file);
                count[0]++;
                return FileVisitResult.CONTINUE;
            }

            @Override
            public FileVisitResult postVisitDirectory(Path place, IOException failure) throws IOException {
                if (failure != null) {
                    throw failure;
                }
                Files.delete(place);
                return FileVisitResult.CONTINUE;
            }
        });
        return count[0];
    }

    /** Deletes an empty directory; false if it is not empty. */
    static boolean deleteIfEmpty(Path directory) throws IOException {
        try {
            Files.delete(directory);
            return true;
        } catch (NoSuchFileException e) {
            return true;
        } catch (DirectoryNotEmptyException e) {
            return false;
        }
    }
}
