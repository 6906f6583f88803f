"""Long runs and load: nothing grows or is lost, a parent takes its launcher along. Times are only told."""
import hashlib
import os
import pathlib
import random
import re
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor

from harness import wait_until
from scripted_assistant import NULL, number, text


def test_requests_in_a_row(sample, scale):
    """Builds, one after the other: then the Assistant has no more descriptors, threads and live objects."""
    def held(what):
        return len(os.listdir(f"/proc/{pid}/{what}"))

    def live_bytes():
        histogram = subprocess.check_output(["jcmd", pid, "GC.class_histogram"], text=True)
        return int(histogram.splitlines()[-1].split()[2])

    sample.open_assistant()
    pid = sample.status()["pid"]
    for _ in range(20):
        assert sample.run("Build", "game", "Release").code == 0
    heap, descriptors, threads, count = live_bytes(), held("fd"), held("task"), scale(60, 5000)
    for _ in range(count):
        assert sample.run("Build", "game", "Release") == (0, "Everything is up to date.\n", "")
    wait_until(lambda: held("fd") <= descriptors and held("task") <= threads, "the end of all connections")
    grown = live_bytes() - heap
    assert grown < heap * 0.05
    print(f"requests: {count}; the Assistant's heap {heap} bytes, then {grown:+}; descriptors {descriptors}, "
          f"then {held('fd')}")


def test_every_line_arrives(workspace, assistant, behind, scale):
    """Compared by hash at the far end of two pipes; the launcher's memory stays as after the first lines."""
    count, peaks, sent = scale(100_000, 1_000_000), [], [hashlib.sha256(), hashlib.sha256()]

    def output(connection, parameters):
        status = pathlib.Path("/proc", (workspace.root / "pid").read_text().strip(), "status")
        for start in range(0, count, 1000):
            lines = [f"line {i} " + "x" * (i % 97) for i in range(start, start + 1000)]
            connection.send(b"".join(text(" !"[i % 7 == 0] + line) for i, line in enumerate(lines)))
            for i, line in enumerate(lines):
                sent[i % 7 == 0].update(f"{line}\n".encode())
            if start in (9000, count - 1000):
                peaks.append(int(re.search(r"VmHWM:\s*(\d+)", status.read_text())[1]))
        connection.send(NULL + number(9))

    assistant.output = output
    behind('set -o pipefail; { (echo $BASHPID >pid; exec "$@") 2>&3 | sha256sum >&2; } 3>&1 | sha256sum')
    result = workspace.run("Build", "T")
    assert (result.code, result.err, result.out) == (9, *(f"{each.hexdigest()}  -\n" for each in sent))
    assert peaks[1] - peaks[0] < 256
    print(f"relay: {count} lines, peak memory {peaks[0]} KiB, then {peaks[1]} KiB")


def test_launchers_in_parallel(sample, scale):
    """Each gets its own environment's output and its own code."""
    sample.open_assistant()
    assert sample.run("Build", "game", "Release").code == 0
    count, targets = scale(40, 200), ("game", "broken")
    told = ("Everything is up to date.", "Compiling broken/Broken.java")
    runs = [sample.start("Build", targets[i % 2], "Release", "--verbose", env={"SAMPLE_GREETING": f"no. {i}"})
            for i in range(count)]
    for i, run in enumerate(runs):
        result = run.wait()
        assert result.out == f"Workspace: {sample.root}\nGreeting: no. {i}\n{told[i % 2]}\n"
        assert result.code == i % 2 and result.err.endswith("Build failed: 2 errors.\n" if i % 2 else "")
    print(f"parallel: {count} launchers")


# By which the launcher waits for the Assistant, runs Java, or relays into a pipe that nobody reads any more.
COMMANDS = ("Build T", "Checksum", "Build endless")


def test_parent_killed_at_any_moment(workspace, assistant, scale):
    """The launcher ends with 1, never by a signal. Where the parent was gone before the watcher found it, the
    command runs to its own end instead, which is code 7 after two seconds."""
    def output(connection, parameters):
        while parameters[0] == "endless":
            connection.send(text(" " + "x" * 200) * 100)
        time.sleep(2)
        connection.send(NULL + number(7))

    assistant.output = output
    workspace.use_jvm("sleeps=2000,exit=7")
    count, spread = scale(25, 500), random.Random(8118)

    def run(index):
        command, moment = COMMANDS[index % len(COMMANDS)], spread.uniform(0, 0.1)
        reading, writing = os.pipe()
        launcher = workspace.start(*command.split(), own_parent=True, out=writing)
        os.close(writing)
        if command == "Build endless":
            os.read(reading, 1)  # the last thing that anybody reads
            wait_until(launcher.held_processes, "the watcher")  # without it the launcher would stay for ever
        time.sleep(moment)
        launcher.kill_parent()
        began, code = time.monotonic(), launcher.wait().code
        os.close(reading)
        return command, code, time.monotonic() - began

    with ThreadPoolExecutor(4) as pool:
        results = list(pool.map(run, range(count)))
    assert {code for _, code, _ in results} <= {1, 7}
    assert {command for command, code, _ in results if code == 1} == set(COMMANDS)
    times = [took for _, code, took in results if code == 1]
    print(f"watcher: {count} parents killed: {len(times)} launchers ended with 1, the slowest after "
          f"{max(times) * 1000:.0f} ms, and {count - len(times)} with the command's code")
