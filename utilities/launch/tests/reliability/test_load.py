"""Long runs and load: nothing grows, nothing is lost, and the launcher ends with its parent wherever it is."""
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


def requests_in_a_row(runner, pid, count, expected):
    """Builds, one after the other: the last fifth takes no longer than the first, and in the end the Assistant's
    process has no more descriptors and threads than before."""
    def held(what="fd"):
        return len(os.listdir(f"/proc/{pid}/{what}"))

    descriptors, threads, times = held(), held("task"), []
    for _ in range(count):
        began = time.monotonic()
        assert runner.run("Build", "game", "Release") == expected
        times.append((time.monotonic() - began) * 1000)
    first, last = min(times[:count // 5]), min(times[-count // 5:])  # the shortest: other work disturbs it least
    assert last < 1.5 * first + 5, times
    wait_until(lambda: held() <= descriptors and held("task") <= threads, "the end of all connections")
    told = f"median {sorted(times)[count // 2]:.1f} ms, shortest {first:.1f} ms, at the end {last:.1f} ms"
    return f"{count} requests, {told}", f"descriptors {descriptors}, then {held()}"


def test_requests_to_a_scripted_assistant(workspace, assistant, scale, figure):
    assistant.answer(" compiling", "!warning", code=3)
    told = requests_in_a_row(workspace, os.getpid(), scale(300, 10_000), (3, "compiling\n", "warning\n"))
    figure(f"scripted Assistant: {told[0]}")


def test_requests_to_the_sample(sample, scale, figure):
    """What its Assistant keeps on its heap is as much at the end."""
    def live_bytes():
        return int(subprocess.check_output(["jcmd", pid, "GC.class_histogram"], text=True).splitlines()[-1].split()[2])

    sample.open_assistant()
    pid = sample.status()["pid"]
    for _ in range(20):
        assert sample.run("Build", "game", "Release").code == 0
    heap = live_bytes()
    told, descriptors = requests_in_a_row(sample, pid, scale(60, 1000), (0, "Everything is up to date.\n", ""))
    grown = live_bytes() - heap
    assert grown < heap * 0.05
    figure(f"sample's Assistant: {told}; heap {heap} bytes, then {grown:+}; {descriptors}")


def test_every_line_arrives(workspace, assistant, behind, scale, figure):
    """Compared by hash at the far end of two pipes; the launcher's memory stays as it was after the first lines."""
    count, peaks, sent = scale(100_000, 1_000_000), [], [hashlib.sha256(), hashlib.sha256()]

    def output(connection, parameters):
        status = pathlib.Path("/proc", (workspace.root / "pid").read_text().strip(), "status")  # the launcher's
        for start in range(0, count, 1000):
            lines = [f"line {i} " + "x" * (i % 97) for i in range(start, start + 1000)]
            connection.send(b"".join(text(" !"[i % 7 == 0] + line) for i, line in enumerate(lines)))
            for i, line in enumerate(lines):
                sent[i % 7 == 0].update(f"{line}\n".encode())
            if start in (9000, count - 1000):
                peaks.append(int(re.search(r"VmHWM:\s*(\d+)", status.read_text())[1]))
        connection.send(NULL + number(9))

    assistant.output, began = output, time.monotonic()
    behind('set -o pipefail; { (echo $BASHPID >pid; exec "$@") 2>&3 | sha256sum >&2; } 3>&1 | sha256sum')
    result = workspace.run("Build", "T", limit=60)
    assert (result.code, result.err, result.out) == (9, *(f"{each.hexdigest()}  -\n" for each in sent))
    assert peaks[1] - peaks[0] < 256
    figure(f"relay: {count} lines in {time.monotonic() - began:.1f} s, peak memory {peaks[0]} KiB, then {peaks[1]} KiB")


def test_launchers_in_parallel(sample, scale, figure):
    """Each gets its own environment's output and its own code."""
    sample.open_assistant()
    assert sample.run("Build", "game", "Release").code == 0
    began, count, targets = time.monotonic(), scale(40, 200), ("game", "broken")
    runs = [sample.start("Build", targets[i % 2], "Release", "--verbose", env={"SAMPLE_GREETING": f"number {i}"})
            for i in range(count)]
    for i, run in enumerate(runs):
        result, told = run.wait(120), ("Everything is up to date.", "Compiling broken/Broken.java")[i % 2]
        assert (result.code, result.out) == (i % 2, f"Workspace: {sample.root}\nGreeting: number {i}\n{told}\n")
        assert result.err.endswith("Build failed: 2 errors.\n") if i % 2 else result.err == ""
    figure(f"parallel: {count} launchers in {time.monotonic() - began:.1f} s")


# Where the launcher is, and its arguments; a command lasts 0.6 s when nobody ends it, and its own code is 7.
PLACES = {"socket": "Build T", "child": "Checksum", "java": "Checksum", "full pipe": "Build endless"}


def test_parent_killed_at_any_moment(workspace, product, assistant, scale, figure):
    """With 1, or the command's own code where the parent was gone before the watcher found it; never by a signal."""
    def output(connection, parameters):
        while parameters[0] == "endless":
            connection.send(text(" " + "x" * 200) * 100)
        time.sleep(0.6)
        connection.send(NULL + number(7))

    assistant.output = output
    workspace.use_java("sleeps=600,exit=7")
    without_a_runtime = dict(workspace.env)
    workspace.use_jvm("sleeps=600,exit=7")
    count, spread = scale(25, 500), random.Random(8118)

    def run(index):
        place, moment = list(PLACES)[index % len(PLACES)], spread.uniform(0, 0.1)
        reading, writing = os.pipe()
        launcher = product.start(*PLACES[place].split(), cwd=workspace.root, own_parent=True, out=writing,
                                 env=without_a_runtime if place == "child" else workspace.env)
        os.close(writing)
        if place == "full pipe":
            os.read(reading, 1)  # the last thing that anybody reads
        time.sleep(moment)
        launcher.kill_parent()
        began, code = time.monotonic(), launcher.wait(5).code
        os.close(reading)
        return place, code, time.monotonic() - began, moment

    with ThreadPoolExecutor(4) as pool:
        results = list(pool.map(run, range(count)))
    for place, code, took, moment in results:
        own = code == 7 and place != "full pipe" and took < 1.6
        assert own or code == 1 and took < 1, (place, code, took, moment)
    times = [took for _, code, took, _ in results if code == 1]
    assert len(times) > count * 0.7
    figure(f"watcher: {count} parents killed: {len(times)} launchers ended with 1, {count - len(times)} with the "
           f"command's code; slowest {max(times) * 1000:.0f} ms")
