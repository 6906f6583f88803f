"""Long runs and load: nothing grows, nothing is lost, and the launcher ends with its parent wherever it is."""
import hashlib
import os
import random
import statistics
import subprocess
import threading
import time
from collections import Counter
from concurrent.futures import ThreadPoolExecutor

import pytest
from sample_workspace import wait_until
from scripted_assistant import NULL, number, text


def growth(times):
    """Of the last fifth over the first; each by its shortest, which other work on the machine disturbs least."""
    fifth = len(times) // 5
    return min(times[-fifth:]) / min(times[:fifth])


def requests_in_a_row(runner, count, expected):
    """That many builds, one after the other."""
    times = []
    for _ in range(count):
        runner.product.count = 0  # the files of the run before are written over
        began = time.monotonic()
        result = runner.run("Build", "game", "Release")
        times.append((time.monotonic() - began) * 1000)
        assert result.all() == expected
    assert growth(times) < 1.5, times
    return f"median {statistics.median(times):.1f} ms, last fifth / first fifth {growth(times):.2f}"


def held(pid):
    return len(os.listdir(f"/proc/{pid}/fd")), len(os.listdir(f"/proc/{pid}/task"))


def test_requests_to_a_scripted_assistant(workspace, assistant, scale, figure):
    count = scale(300, 10_000)
    assistant.output = assistant.answer(" compiling", "!warning", code=3)
    before = held(os.getpid())
    told = requests_in_a_row(workspace, count, (3, "compiling\n", "warning\n"))
    wait_until(lambda: held(os.getpid()) == before, "the end of every connection")
    figure(f"requests: {count} to a scripted Assistant: {told}")


def test_requests_to_the_sample(sample, scale, figure):
    """The Assistant's descriptors and threads are as many at the end, and what it keeps on its heap is as much."""
    count = scale(60, 1000)

    def live_bytes():
        counted = subprocess.run(["jcmd", str(pid), "GC.class_histogram"], capture_output=True, text=True, check=True)
        return int(counted.stdout.strip().splitlines()[-1].split()[2])

    sample.open_assistant()
    pid = sample.pid()
    assert sample.run("Build", "game", "Release").code == 0
    requests_in_a_row(sample, 20, (0, "Everything is up to date.\n", ""))
    heap, before = live_bytes(), held(pid)
    told = requests_in_a_row(sample, count, (0, "Everything is up to date.\n", ""))
    wait_until(lambda: held(pid) <= before, f"{before} descriptors and threads instead of {held(pid)}")
    assert live_bytes() < heap * 1.05
    figure(f"requests: {count} to the sample's Assistant: {told}; heap {heap // 1024} KiB, then {live_bytes() // 1024} KiB; "
           f"{before[0]} descriptors, then {held(pid)[0]}")


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
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE) as run:
        readers = [threading.Thread(target=read, args=pair) for pair in zip((run.stdout, run.stderr), received)]
        for reader in readers:
            reader.start()
        for reader in readers:
            reader.join()
    assert run.returncode == 9 and [each.digest() for each in sent] == [each.digest() for each in received]
    assert peaks[1] - peaks[0] < 256
    figure(f"lines: {count} in {time.monotonic() - began:.1f} s, peak memory {peaks[0]} KiB, then {peaks[1]} KiB")


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
    figure(f"parallel: {count} launchers, {time.monotonic() - began:.1f} s")


SLEEPER = """
package com.drel.torvel.commands;
public class Checksum {
    public static void main(String[] args) throws Exception {
        Thread.sleep(400);
        System.exit(7);
    }
}
"""
LASTS = 0.6  # seconds that a command lasts when nobody ends it; its own code is 7
# Where the launcher is, its arguments, and the latest moment after its start at which its parent is killed.
PLACES = {"socket": (["Build", "T"], 0.1), "child": (["Checksum", "--assistant=false"], 0.1), "java": (["Checksum"], 0.1),
          "hotspot": (["Checksum"], 0.5), "full pipe": (["Export", "T"], 0.1)}


@pytest.fixture
def places(workspace, assistant, tmp_path):
    """The environment of each place: a runtime that lasts, an Assistant that keeps still or one that never stops."""
    def output(connection, parameters):
        if parameters[0] == "pipe":
            while True:
                connection.sendall(text(" " + "x" * 200) * 100)
        time.sleep(LASTS)
        connection.sendall(NULL + number(7))

    assistant.output = output
    lasting = f"sleeps={int(LASTS * 1000)},exit=7"
    workspace.use_java(lasting)
    child = dict(workspace.env)
    workspace.use_jvm(lasting)
    source = tmp_path / "Checksum.java"
    source.write_text(SLEEPER)
    subprocess.run(["javac", "-d", tmp_path / "classes", source], check=True)
    subprocess.run(["jar", "cf", workspace.root / "bin" / "Torvel.jar", "-C", tmp_path / "classes", "."], check=True)
    return {"child": child, "hotspot": {"PATH": os.environ["PATH"]}}


def test_parent_killed_at_any_moment(workspace, places, tmp_path, scale, figure):
    """With 1, or with the command's own code where the parent was gone before the watcher could find it; never by a signal."""
    count, spread = scale(25, 500), random.Random(8118)

    def run(index):
        place = list(PLACES)[index % len(PLACES)]
        args, latest = PLACES[place]
        moment = spread.uniform(0, latest)
        out = tmp_path / f"out{index}"
        if place == "full pipe":
            os.mkfifo(out)
            reader = os.open(out, os.O_RDWR)
            args = ["Build", "pipe"]
        parent = subprocess.Popen(["/bin/sh", "-c", '"$@" >"$OUT" & echo $!; exec /bin/sleep 60', "sh", workspace.product.program, *args],
                                  cwd=workspace.root, env=places.get(place, workspace.env) | {"OUT": out}, stdout=subprocess.PIPE)
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
        if place == "full pipe":
            os.close(reader)
        return place, os.waitstatus_to_exitcode(ended[1]), took, moment

    with ThreadPoolExecutor(4) as pool:
        results = list(pool.map(run, range(count)))
    try:
        while True:
            os.waitpid(-1, 0)  # children of launchers that have ended
    except ChildProcessError:
        pass
    for place, code, took, moment in results:
        assert code == 1 and took < 1 or code == 7 and place != "full pipe" and took < LASTS + 1, (place, code, took, moment)
    codes = Counter(code for _, code, _, _ in results)
    assert codes[1] > count * 0.7
    slowest = max(took for _, code, took, _ in results if code == 1)
    figure(f"watcher: {count} parents killed: {codes[1]} launchers ended with 1, {codes[7]} with the command's code; "
           f"slowest {slowest * 1000:.0f} ms")
