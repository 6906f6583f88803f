package com.drel.torvel.build;

import com.sun.source.util.JavacTask;
import com.sun.source.util.TaskEvent;
import com.sun.source.util.TaskListener;
import java.io.IOException;
import java.io.Writer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.ServiceLoader;
import javax.tools.Diagnostic;
import javax.tools.DiagnosticListener;
import javax.tools.FileObject;
import javax.tools.ForwardingJavaFileManager;
import javax.tools.JavaCompiler;
import javax.tools.JavaFileManager;
import javax.tools.JavaFileObject;
import javax.tools.StandardJavaFileManager;
import javax.tools.StandardLocation;
import javax.tools.ToolProvider;

/**
 * The JDK's compiler. One instance is kept for all builds, because a warm compiler is many times faster; it serves one
 * build at a time.
 *
 * <p>A Java may lack the compiler's classes. Only Run may refer to them; it is loaded only if there is a compiler.
 */
final class Compiler {
    private static Compiler shared;

    private final JavaCompiler compiler;
    private final StandardJavaFileManager files;

    private Compiler(JavaCompiler compiler) {
        this.compiler = compiler;
        files = compiler.getStandardFileManager(null, Locale.ENGLISH, StandardCharsets.UTF_8);
    }

    static Compiler get() throws BuildException {
        if (shared == null) {
            JavaCompiler compiler = find();
            if (compiler == null) {
                throw new BuildException("The Java in " + System.getProperty("java.home")
                        + " has no compiler: a build needs a JDK.");
            }
            shared = new Compiler(compiler);
        }
        return shared;
    }

    /** The compiler of this Java, else one on the class path; null if there is none. */
    private static JavaCompiler find() {
        try {
            JavaCompiler compiler = ToolProvider.getSystemJavaCompiler();
            return compiler != null ? compiler : ServiceLoader.load(JavaCompiler.class).findFirst().orElse(null);
        } catch (NoClassDefFoundError e) {
            // This Java lacks even the compiler's interface.
            return null;
        }
    }

    /** A run that announces each source with `doing` and then pauses. */
    Run run(Workspace workspace, BuildSession session, String doing, long milliseconds) {
        return new Run(this, workspace, session, doing, milliseconds);
    }

    /** One run of the compiler over some sources. */
    static final class Run implements DiagnosticListener<JavaFileObject>, TaskListener {
        private final Compiler owner;
        private final Workspace workspace;
        private final BuildSession session;
        private final String doing;
        private final long pause;
        private final Map<String, List<String>> classes = new HashMap<>();
        private final List<Path> written = new ArrayList<>();
        private int errors;

        private Run(Compiler owner, Workspace workspace, BuildSession session, String doing, long pause) {
            this.owner = owner;
            this.workspace = workspace;
            this.session = session;
            this.doing = doing;
            this.pause = pause;
        }

        /** Compiles sources into the output directory. */
        boolean compile(List<Path> sources, Path output, List<String> options) throws IOException {
            Files.createDirectories(output);
            owner.files.setLocationFromPaths(StandardLocation.CLASS_OUTPUT, List.of(output));
            owner.files.setLocationFromPaths(StandardLocation.CLASS_PATH, List.of(output));
            owner.files.setLocationFromPaths(StandardLocation.SOURCE_PATH, List.of());
            return task(new Outputs(output), sources, options).call() && errors == 0;
        }

        /** Only parses the sources. */
        boolean parse(List<Path> sources) throws IOException {
            task(owner.files, sources, List.of()).parse();
            return errors == 0;
        }

        int errors() {
            return errors;
        }

        /** The class files begun so far; incomplete after a failure or a cancellation. */
        List<Path> written() {
            return written;
        }

        /** The class files of each source, as paths from the output directory. */
        Map<String, List<String>> classes() {
            return classes;
        }

        private JavacTask task(JavaFileManager manager, List<Path> sources, List<String> options) {
            JavacTask task = (JavacTask) owner.compiler.getTask(Writer.nullWriter(), manager, this, options, null,
                    owner.files.getJavaFileObjectsFromPaths(sources));
            task.setTaskListener(this);
            return task;
        }

        @Override
        public void started(TaskEvent event) {
            if (event.getKind() == TaskEvent.Kind.PARSE) {
                session.line(doing + " " + name(event.getSourceFile()));
                session.pause(pause);
            } else {
                session.pause(0);
            }
        }

        @Override
        public void finished(TaskEvent event) {
            session.pause(0);
        }

        @Override
        public void report(Diagnostic<? extends JavaFileObject> diagnostic) {
            boolean isError = diagnostic.getKind() == Diagnostic.Kind.ERROR;
            StringBuilder text = new StringBuilder();
            if (diagnostic.getSource() != null) {
                text.append(name(diagnostic.getSource())).append(':');
                if (diagnostic.getLineNumber() != Diagnostic.NOPOS) {
                    text.append(diagnostic.getLineNumber()).append(':');
                }
                text.append(' ');
            }
            text.append(isError ? "error: " : diagnostic.getKind() == Diagnostic.Kind.NOTE ? "note: " : "warning: ");
            text.append(diagnostic.getMessage(Locale.ENGLISH).stripTrailing());
            if (isError) {
                errors++;
                session.error(text.toString());
            } else {
                session.line(text.toString());
            }
        }

        private String name(FileObject file) {
            return workspace.name(owner.files.asPath(file));
        }

        /** Records the source of each class file. */
        private final class Outputs extends ForwardingJavaFileManager<StandardJavaFileManager> {
            private final Path output;

            Outputs(Path output) {
                super(owner.files);
                this.output = output;
            }

            @Override
            public JavaFileObject getJavaFileForOutput(Location location, String className, JavaFileObject.Kind kind,
                    FileObject sibling) throws IOException {
                JavaFileObject file = super.getJavaFileForOutput(location, className, kind, sibling);
                Path path = owner.files.asPath(file);
                written.add(path);
                classes.computeIfAbsent(name(sibling), key -> new ArrayList<>())
                        .add(output.relativize(path).toString().replace('\\', '/'));
                return file;
            }
        }
    }
}
