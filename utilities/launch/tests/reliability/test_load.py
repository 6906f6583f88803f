"""Long runs and load: nothing grows, nothing is lost, and the launcher ends with its parent wherever it is."""
import hashlib
import os
import random
import statistics
import subprocess
import time
from collections import Counter
from concurrent.futures import ThreadPoolExecutor

import pytest
from sample_workspace import wait_until
from scripted_assistant import NULL, number, text


def requests_in_a_row(runner, count, expected):
    """That many builds, one after the other; the last fifth takes no longer than the first."""
    times = []
    for _ in range(count):
        runner.product.count = 0  # the files of the run before are written over
        began = time.monotonic()
        assert runner.run("Build", "game", "Release").all() == expected
        times.append((time.monotonic() - began) * 1000)
    fifth = count // 5
    first, last = min(times[:fifth]), min(times[-fifth:])  # the shortest: other work on the machine disturbs it least
    assert last < 1.5 * first + 5, times
    return f"{count} requests, median {statistics.median(times):.1f} ms, shortest {first:.1f} ms, at the end {last:.1f} ms"


def held(pid):
    """Descriptors and threads."""
    return len(os.listdir(f"/proc/{pid}/fd")), len(os.listdir(f"/proc/{pid}/task"))


def test_requests_to_a_scripted_assistant(workspace, assistant, scale, figure):
    assistant.output = assistant.answer(" compiling", "!warning", code=3)
    before = held(os.getpid())
    told = requests_in_a_row(workspace, scale(300, 10_000), (3, "compiling\n", "warning\n"))
    wait_until(lambda: held(os.getpid()) == before, "the end of every connection")
    figure(f"scripted Assistant: {told}")


def test_requests_to_the_sample(sample, scale, figure):
    """The Assistant's descriptors and threads are as many at the end, and what it keeps on its heap is as much."""
    def live_bytes():
        counted = subprocess.run(["jcmd", str(pid), "GC.class_histogram"], capture_output=True, text=True, check=True)
        return int(counted.stdout.strip().splitlines()[-1].split()[2])

    sample.open_assistant()
    pid, fresh = int(sample.status()["pid"]), (0, "Everything is up to date.\n", "")
    for _ in range(20):
        assert sample.run("Build", "game", "Release").code == 0
    heap, before = live_bytes(), held(pid)
    told = requests_in_a_row(sample, scale(60, 1000), fresh)
    wait_until(lambda: held(pid) <= before, f"{before} descriptors and threads instead of {held(pid)}")
    grown = live_bytes() - heap
    assert grown < heap * 0.05
    figure(f"sample's Assistant: {told}; heap {heap} bytes, then {grown:+}; descriptors {before[0]}, then {held(pid)[0]}")


def test_every_line_arrives(workspace, assistant, scale, figure):
    """Compared by hash at the far end of two pipes; the launcher's memory stays as it was after the first lines."""
    count = scale(100_000, 1_000_000)
    sent, received = [hashlib.sha256(), hashlib.sha256()], [hashlib.sha256(), hashlib.sha256()]
    peaks = []

    def note_peak():
        with open(f"/proc/{run.pid}/status") as status:
            peaks.append(int(status.read().split("VmHWM:")[1].split()[0]))

    def output(connection, parameters):
        for start in range(0, count, 1000):
            if start == 10_000:
                note_peak()
            lines = [f"line {i} " + "x" * (i % 97) for i in range(start, start + 1000)]
            connection.sendall(b"".join(text((" ", "!")[i % 7 == 0] + line) for i, line in enumerate(lines)))
            for i, line in enumerate(lines):
                sent[i % 7 == 0].update(f"{line}\n".encode())
        note_peak()
        connection.sendall(NULL + number(9))

    def read(stream, hashed):
        while data := stream.read1(1 << 16):
            hashed.update(data)

    assistant.output = output
    began = time.monotonic()
    with subprocess.Popen([workspace.product.program, "Build", "T"], cwd=workspace.root, env=workspace.env,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE) as run, ThreadPoolExecutor(2) as readers:
        list(readers.map(read, (run.stdout, run.stderr), received))
    assert run.returncode == 9 and [each.digest() for each in sent] == [each.digest() for each in received]
    assert peaks[1] - peaks[0] < 256
    figure(f"relay: {count} lines in {time.monotonic() - began:.1f} s, peak memory {peaks[0]} KiB, then {peaks[1]} KiB")


def test_launchers_in_parallel(sample, scale, figure):
    """Each gets its own environment's output and its own code."""
    count = scale(40, 200)
    sample.open_assistant()
    assert sample.run("Build", "game", "Release").code == 0
    began = time.monotonic()
    runs = [sample.start("Build", ("game", "broken")[i % 2], "Release", "--verbose", env={"SAMPLE_GREETING": f"number {i}"})
            for i in range(count)]
    for i, run in enumerate(runs):
        result = run.wait(120)
        told = ("Everything is up to date.", "Compiling broken/Broken.java")[i % 2]
        assert (result.code, result.out) == (i % 2, f"Workspace: {sample.root}\nGreeting: number {i}\n{told}\n")
        assert result.err.endswith("Build failed: 2 errors.\n") if i % 2 else result.err == ""
    figure(f"parallel: {count} launchers in {time.monotonic() - began:.1f} s")


SLEEPER = """
package com.drel.torvel.commands;
public class Checksum {
    public static void main(String[] args) throws Exception { Thread.sleep(400); System.exit(7); }
}
"""
LASTS = 0.6  # seconds that a command lasts when nobody ends it; its own code is 7
# Where the launcher is, its arguments, and the latest moment after its start at which its parent is killed.
PLACES = {"socket": (["Build", "T"], 0.1), "child": (["Checksum", "--assistant=false"], 0.1), "java": (["Checksum"], 0.1),
          "hotspot": (["Checksum"], 0.5), "full pipe": (["Build", "endless"], 0.1)}


@pytest.fixture
def environments(workspace, assistant, tmp_path):
    """Of each place: a runtime that lasts, an Assistant that keeps still or one that never stops."""
    def output(connection, parameters):
        while parameters[0] == "endless":
            connection.sendall(text(" " + "x" * 200) * 100)
        time.sleep(LASTS)
        connection.sendall(NULL + number(7))

    assistant.output = output
    lasting = f"sleeps={int(LASTS * 1000)},exit=7"
    workspace.use_java(lasting)
    child = dict(workspace.env)
    workspace.use_jvm(lasting)
    (tmp_path / "Checksum.java").write_text(SLEEPER)
    subprocess.run(["javac", "-d", tmp_path / "classes", tmp_path / "Checksum.java"], check=True)
    subprocess.run(["jar", "cf", workspace.root / "bin" / "Torvel.jar", "-C", tmp_path / "classes", "."], check=True)
    return dict.fromkeys(PLACES, workspace.env) | {"child": child, "hotspot": {"PATH": os.environ["PATH"]}}


def test_parent_killed_at_any_moment(workspace, environments, tmp_path, scale, figure):
    """With 1, or with the command's own code where the parent was gone before the watcher could find it; never by a signal."""
    count, spread = scale(25, 500), random.Random(8118)

    def run(index):
        place = list(PLACES)[index % len(PLACES)]
        args, latest = PLACES[place]
        moment, out = spread.uniform(0, latest), tmp_path / f"out{index}"
        os.mkfifo(out)
        reader = os.open(out, os.O_RDWR)
        parent = subprocess.Popen(["/bin/sh", "-c", '"$@" >"$OUT" & echo $!; exec /bin/sleep 60', "sh",
                                   workspace.product.program, *args],
                                  cwd=workspace.root, env=environments[place] | {"OUT": out}, stdout=subprocess.PIPE)
        pid = int(parent.stdout.readline())
        if place == "full pipe":
            os.read(reader, 1)  # the last thing that anybody reads
        time.sleep(moment)
        parent.kill()
        began = time.monotonic()
        parent.wait()
        parent.stdout.close()
        while not (ended := os.waitpid(pid, os.WNOHANG))[0]:
            if time.monotonic() - began > 5:
                os.kill(pid, 9)
            time.sleep(0.001)
        took = time.monotonic() - began
        os.close(reader)
        return place, os.waitstatus_to_exitcode(ended[1]), took, moment

    with ThreadPoolExecutor(4) as pool:
        results = list(pool.map(run, range(count)))
    try:
        while os.waitpid(-1, 0):
            pass  # children of launchers that have ended
    except ChildProcessError:
        pass
    for place, code, took, moment in results:
        assert code == 1 and took < 1 or code == 7 and place != "full pipe" and took < LASTS + 1, (place, code, took, moment)
    codes = Counter(code for _, code, _, _ in results)
    assert codes[1] > count * 0.7
    slowest = max(took for _, code, took, _ in results if code == 1)
    figure(f"watcher: {count} parents killed: {codes[1]} launchers ended with 1, {codes[7]} with the command's code; "
           f"slowest {slowest * 1000:.0f} ms")
