package com.drel.torvel.assistant;

import java.io.File;
import java.io.IOException;
import java.net.BindException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.net.Socket;
import java.util.Map;
import java.util.concurrent.LinkedBlockingQueue;
import java.util.concurrent.ThreadPoolExecutor;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;

/**
 * The resident program that runs build verbs for launchers. Listens on the loopback address, serves each connection on
 * its own thread and runs the builds one by one on another thread.
 */
public final class Assistant {
    /** The loopback address: other machines cannot connect. */
    public static final byte[] ADDRESS = {127, 0, 0, 1};
    public static final int PORT = 8118;

    private static final String PROGRAM = "TorvelAssistant.exe";
    private static final int BACKLOG = 512;
    private static final int MOST_CONNECTIONS = 1000;
    private static final int CONVERSATION_STACK = 256 << 10;
    private static final int BIND_ATTEMPTS = 50;

    private final ServerSocket listener;
    private final String status;
    private final AtomicInteger connections = new AtomicInteger();
    private final BuildQueue builds = new BuildQueue();

    private Assistant() throws IOException, InterruptedException {
        listener = listen();
        String version = Assistant.class.getPackage().getImplementationVersion();
        String directory = System.getProperty("user.dir");
        status = PropertyMap.format(Map.of(
                "version", version == null ? "unknown" : version,
                "cwd", directory,
                "pid", Long.toString(ProcessHandle.current().pid())));
        log("version " + version + " listens on port " + PORT + " in " + directory);
    }

    public static void main(String[] arguments) throws InterruptedException {
        try {
            Assistant assistant = new Assistant();
            Runtime.getRuntime().addShutdownHook(new Thread(assistant.builds::cancelRunning));
            assistant.serve();
        } catch (BindException e) {
            System.err.println("Torvel Assistant: port " + PORT + " is taken by another program: " + e.getMessage());
            System.exit(1);
        } catch (IOException e) {
            System.err.println("Torvel Assistant: cannot listen on port " + PORT + ": " + e.getMessage());
            System.exit(1);
        }
    }

    private static ServerSocket listen() throws IOException, InterruptedException {
        for (int attempt = 1;; attempt++) {
            try {
                return new ServerSocket(PORT, BACKLOG, InetAddress.getByAddress(ADDRESS));
            } catch (BindException e) {
                // After a restart the old Assistant may still hold the port.
                if (attempt == BIND_ATTEMPTS) {
                    throw e;
                }
                Thread.sleep(100);
            }
        }
    }

    private void serve() throws InterruptedException {
        while (!listener.isClosed()) {
            try {
                serve(listener.accept());
            } catch (IOException | OutOfMemoryError e) {
                // Out of descriptors or threads: wait for a connection to end.
                Thread.sleep(100);
            }
        }
    }

    private void serve(Socket socket) throws IOException {
        if (connections.incrementAndGet() > MOST_CONNECTIONS) {
            connections.decrementAndGet();
            socket.close();
            return;
        }
        boolean started = false;
        try {
            Thread thread = new Thread(null, new Connection(this, new Wire(socket)), "conversation", CONVERSATION_STACK);
            thread.setDaemon(true);
            thread.start();
            started = true;
        } finally {
            if (!started) {
                connections.decrementAndGet();
                socket.close();
            }
        }
    }

    void connectionEnded() {
        connections.decrementAndGet();
    }

    String status() {
        return status;
    }

    /** Queues a build. */
    void submit(BuildJob job) {
        builds.execute(job);
    }

    void cancel(BuildJob job) {
        job.cancel();
        builds.remove(job);
    }

    /** Starts the program that was copied to the directory and exits, after the queued builds. */
    void restart(Wire wire) {
        builds.execute(() -> startSuccessor(wire));
    }

    private void startSuccessor(Wire wire) {
        log("restarts");
        try {
            if (!listener.isClosed()) {
                new ProcessBuilder(new File(PROGRAM).getAbsolutePath())
                        .redirectOutput(ProcessBuilder.Redirect.INHERIT)
                        .redirectError(ProcessBuilder.Redirect.INHERIT)
                        .start();
                listener.close();
            }
            // Launchers that were connected before may have queued builds since. The exit comes after these. It also
            // ends this launcher's stream, so that the launcher reconnects to the successor.
            builds.execute(() -> System.exit(0));
        } catch (IOException e) {
            log("cannot restart: " + e.getMessage());
            wire.close();
        }
    }

    /** Exits; a running build is cancelled. */
    void end() {
        log("ends");
        System.exit(0);
    }

    private static void log(String text) {
        System.out.println("Torvel Assistant: " + text);
    }

    /** A single thread and its queue of builds. */
    private static final class BuildQueue extends ThreadPoolExecutor {
        private volatile BuildJob running;

        BuildQueue() {
            super(1, 1, 0, TimeUnit.SECONDS, new LinkedBlockingQueue<>());
        }

        @Override
        protected void beforeExecute(Thread thread, Runnable job) {
            running = job instanceof BuildJob ? (BuildJob) job : null;
        }

        @Override
        protected void afterExecute(Runnable job, Throwable failure) {
            running = null;
        }

        /** Cancels the running build and waits up to a second for its clean-up. */
        void cancelRunning() {
            BuildJob job = running;
            if (job != null) {
                job.cancel();
                job.awaitEnd(1000);
            }
        }
    }
}
