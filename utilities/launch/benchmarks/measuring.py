"""Measures the launcher against other programs: starts their servers, checks each run and compares pairs of runs.

Runs of a pair alternate; a ratio is the median of the pairs' ratios, with their quartiles. A run fails unless its exit
code and number of lines are right. Uses only 127.0.0.1.
"""

import os
import pathlib
import re
import shutil
import socket
import statistics
import subprocess
import sys
import time
from collections.abc import Callable
from typing import NamedTuple

HERE = pathlib.Path(__file__).resolve().parent
NAILGUN_JAR = pathlib.Path("/usr/share/java/nailgun-server.jar")
USAGE_CODE, ANSWER_CODE = 255, 7


class Run(NamedTuple):
    seconds: float
    peak: float  # MiB
    code: int
    lines: int


class Side(NamedTuple):
    """One side of a comparison. A run with another exit code or number of lines fails."""

    command: list
    code: int = 0
    lines: int | None = None  # None: not checked
    directory: pathlib.Path | None = None
    environment: dict | None = None
    prepare: Callable = lambda: None
    is_windows: bool = False


class MissingPeer(Exception):
    pass


def environment(count, **more):
    """`count` variables of usual length."""
    variables = {"PATH": os.environ["PATH"], "HOME": "/tmp", "LANG": "C.UTF-8", **more}
    for index in range(count - len(variables)):
        variables[f"VARIABLE_{index:05}"] = f"/opt/some/directory/number/{index:05}/of/many"
    return variables


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def milliseconds(seconds):
    return f"{seconds * 1000:.2f}" if seconds < 0.1 else f"{seconds * 1000:,.0f}"


def thousands(pattern, text):
    return f"{int(re.search(pattern, text)[1]):,}"


def aimed(aim, is_met):
    """The cell of an aim; marked where it is missed."""
    return aim if is_met else f"{aim} **missed**"


def table(heads, rows):
    lines = ["| " + " | ".join(heads) + " |", "|" + "---|" * len(heads)]
    return "\n".join(lines + ["| " + " | ".join(map(str, row)) + " |" for row in rows]) + "\n"


def need(program):
    path = shutil.which(program)
    if path is None:
        raise MissingPeer(f"{program} cannot be had")
    return path


class Measuring:
    """The peers' servers, which end with `stack`, and the rows measured by `compare`."""

    def __init__(self, build, share, stack):
        self.build, self.share, self.stack = build, share, stack
        self.launcher = str(build / "Torvel")
        self.programs = build / "benchmarks"
        self.scratch = build / "benchmarks/scratch"
        self.windows_build = build.with_name(build.name + "-windows")
        self.rows, self.nailgun_port, self.has_assistant, self.wine = [], None, False, None
        shutil.rmtree(self.scratch, ignore_errors=True)
        self.make_workspace()

    def make_workspace(self):
        self.workspace = self.scratch / "workspace"
        library = self.workspace / "bin"
        library.mkdir(parents=True)
        classes = self.scratch / "classes"
        self.compile(classes, HERE / "ListSlaves.java")
        jar = ["jar", "--create", "--no-compress", "--file"]
        subprocess.run([*jar, library / "Torvel.jar", "-C", classes, "."], check=True)
        subprocess.run([*jar, library / "swt-win64.jar", "-C", HERE, "ListSlaves.java"], check=True)
        (library / "torvel-win64.dll").touch()
        key = r"HKEY_LOCAL_MACHINE\SOFTWARE\JavaSoft\Java Runtime Environment"
        self.registry = self.scratch / "registry.reg"
        self.registry.write_text(f'REGEDIT4\n\n[{key}]\n"CurrentVersion"="1.8"\n\n[{key}\\1.8]\n'
                                 f'"RuntimeLib"="{self.build}/fakes/fake_jvm.so"\n')

    @staticmethod
    def compile(target, source, *options):
        subprocess.run(["javac", *options, "-d", target, source], check=True)

    # -- servers

    def serve(self, command, is_ready, **how):
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, **how)
        self.stack.callback(process.wait)
        self.stack.callback(process.terminate)
        for _ in range(200):
            if is_ready():
                return process
            if process.poll() is not None:
                break
            time.sleep(0.05)
        raise RuntimeError(f"{command[0]} does not serve")

    @staticmethod
    def listens(port):
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", port)) == 0

    def start_assistant(self):
        if not self.has_assistant:
            self.serve([self.programs / "assistant"], lambda: self.listens(8118))
            self.has_assistant = True

    def nailgun(self, lines):
        """Returns the command of nailgun's client; starts its server and warms it up."""
        client = need("ng-nailgun")
        if self.nailgun_port is None:
            if not NAILGUN_JAR.exists():
                raise MissingPeer("nailgun's server cannot be had")
            classes = self.scratch / "nails"
            self.compile(classes, HERE / "Lines.java", "-cp", NAILGUN_JAR)
            with socket.socket() as probe:
                probe.bind(("127.0.0.1", 0))
                port = probe.getsockname()[1]
            self.serve(["java", "-Xmx512m", "-cp", f"{NAILGUN_JAR}:{classes}",
                        "com.martiansoftware.nailgun.NGServer", f"127.0.0.1:{port}"], lambda: self.listens(port))
            self.nailgun_port = str(port)
            for _ in range(10):
                self.measure(Side(self.nailgun(10000), ANSWER_CODE, 10000))
        return [client, "--nailgun-server", "127.0.0.1", "--nailgun-port", self.nailgun_port, "Lines", str(lines)]

    def under_wine(self, side):
        """The same run with the program for Windows, without debug information as in the packages."""
        wine, strip = need("wine64"), need("x86_64-w64-mingw32-strip")
        folder = self.scratch / "windows"
        if self.wine is None:
            (prefix := folder / "wine").mkdir(parents=True)
            self.wine = {"WINEPREFIX": str(prefix), "WINEDEBUG": "-all", "WINEDLLOVERRIDES": "mscoree,mshtml="}
            run = {"env": os.environ | self.wine, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
            subprocess.run([wine, "wineboot", "-i"], check=True, **run)
            # A program that stays keeps Wine's services running.
            idle = subprocess.Popen([wine, "cmd"], stdin=subprocess.PIPE, **run)
            self.stack.callback(subprocess.run, ["wineserver", "-k"], **run)
            self.stack.callback(idle.stdin.close)
        program, *arguments = side.command
        built = pathlib.Path(program).relative_to(self.build).with_suffix(".exe")
        subprocess.run([strip, "-o", folder / built.name, self.windows_build / built], check=True)
        return side._replace(command=[windows_path(folder / built.name), *arguments], is_windows=True,
                             environment=(side.environment or environment(40)) | self.wine)

    # -- measuring

    def measure(self, side, sink="pipe"):
        side.prepare()
        stopwatch = [self.programs / "stopwatch", sink]
        if side.is_windows:  # whose parent is a program for Windows too
            stopwatch = ["wine64", self.windows_build / "benchmarks/stopwatch.exe", windows_path(sink)]
        run = {"timeout": 300, "cwd": side.directory or self.workspace, "env": side.environment or environment(40)}
        # Wine fails to start one program in thousands. Its services would keep a pipe open.
        for is_last in ([True] if not side.is_windows else [False, False, True]):
            with open(self.scratch / "measured", "w") as measured:
                code = subprocess.run([*stopwatch, *side.command], check=is_last, stdout=measured, **run).returncode
            if code == 0:
                break
        nanoseconds, kibibytes, code, lines = map(int, (self.scratch / "measured").read_text().split())
        if sink not in ("pipe", "slow"):
            with open(sink, "rb") as file:
                lines = sum(1 for _ in file)
        return Run(nanoseconds / 1e9, kibibytes / 1024, code, lines)

    @staticmethod
    def is_right(side, run):
        return run.code == side.code and (side.lines is None or run.lines == side.lines)

    def checked(self, side, sink="pipe"):
        run = self.measure(side, sink)
        if not self.is_right(side, run):
            raise RuntimeError(f"{side.command}: exit code {run.code}, {run.lines} lines")
        return run

    def tolerant(self, side, sink, failures):
        """A peer's run, repeated after a failure: nailgun's client gives up when its server has to wait for it."""
        for _ in range(10):
            run = self.measure(side, sink)
            if self.is_right(side, run):
                return run
            failures.append(run)
        return self.checked(side, sink)

    def system_calls(self, side):
        try:
            strace = need("strace")
        except MissingPeer:
            return "-"
        report = self.scratch / "strace"
        side.prepare()
        subprocess.run([strace, "-f", "-c", "-o", report, *side.command], stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, cwd=side.directory or self.workspace,
                       env=environment(40) if side.environment is None else side.environment)
        return thousands(r"(\d+)(?: +\d+)? +total", report.read_text())

    def compare(self, workload, pairs, own, name, make_peer, sink="pipe", aim=None, slack=None, calls=False):
        """Adds one row of the table. `make_peer` returns the other side or raises MissingPeer.

        `aim`: the largest ratio accepted; with `slack`, so many milliseconds more than the peer are accepted, too.
        """
        print(f"{workload}, against {name}", file=sys.stderr)
        try:
            peer = make_peer()
        except MissingPeer as missing:
            self.rows.append([workload, "", name, "", f"skipped: {missing}", "", "", ""])
            return
        owns, peers, failures = [], [], []
        self.checked(own, sink), self.tolerant(peer, sink, failures)  # warm-up
        for index in range(max(3, round(pairs * self.share))):
            for is_own in (True, False) if index % 2 == 0 else (False, True):
                if is_own:
                    owns.append(self.checked(own, sink))
                else:
                    peers.append(self.tolerant(peer, sink, failures))
        own_time, peer_time = (statistics.median(run.seconds for run in runs) for runs in (owns, peers))
        ratios = [a.seconds / b.seconds for a, b in zip(owns, peers)]
        low, ratio, high = statistics.quantiles(ratios, method="inclusive")
        over = statistics.median(a.seconds - b.seconds for a, b in zip(owns, peers)) * 1000
        memory = " / ".join(f"{max(run.peak for run in runs):.1f}" for runs in (owns, peers) if not own.is_windows)
        if failures:
            name += f" (went wrong in {len(failures)} more runs)"
        traced = f"{self.system_calls(own)} / {self.system_calls(peer)}" if calls else ""
        shown = f"{ratio:.2f} ({low:.2f} to {high:.2f})" + (f", {over:+.2f} ms" if slack else "")
        is_met = aim is None or round(ratio, 2) <= aim or (slack is not None and over <= slack)
        limit = "" if aim is None else f"{aim}, +{slack} ms" if slack else str(aim)
        self.rows.append([workload, milliseconds(own_time), name, milliseconds(peer_time), shown, aimed(limit, is_met),
                          memory, traced])

    def floor(self, lines, how="block", variables=40, messages="whole"):
        self.start_assistant()
        return Side([self.programs / "relay_floor", f"--lines={lines}", f"--sends={how}", f"--variables={messages}"],
                    ANSWER_CODE, lines, environment=environment(variables))

    def request(self, lines, how="block", variables=40, arguments=(), directory=None):
        self.start_assistant()
        command = [self.launcher, "build", f"--lines={lines}", f"--sends={how}", *arguments]
        return Side(command, ANSWER_CODE, lines, directory, environment(variables))

    def deep_directory(self, levels):
        directory = self.workspace.joinpath(*["d"] * levels)
        directory.mkdir(parents=True, exist_ok=True)
        return directory
