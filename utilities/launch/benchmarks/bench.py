"""The workloads that scripts/bench measures, and the tables of docs/performance.md."""

import argparse
import contextlib
import datetime
import os
import pathlib
import platform
import re
import shutil
import signal
import subprocess
import sys

from measuring import (
    ANSWER_CODE,
    HERE,
    USAGE_CODE,
    Measuring,
    MissingPeer,
    Side,
    aimed,
    environment,
    milliseconds,
    need,
    table,
)

ROOT = HERE.parents[2]
DOCUMENT = ROOT / "docs/performance.md"
BEGIN, END = "<!-- measured: begin -->", "<!-- measured: end -->"


class Bench(Measuring):
    def usage(self):
        self.compare("usage text", 101, Side([self.launcher], USAGE_CODE), "C floor",
                     lambda: Side([self.programs / "floor"], USAGE_CODE), aim=1.1, calls=True)

    def java(self):
        options = ["-Djava.library.path=bin/", "-Djava.class.path=bin/Torvel.jar:bin/swt-win64.jar", "-Xmx1024M",
                   "-Xrs", "-XX:-UseGCOverheadLimit"]
        self.compare("Java class in process", 41, Side([self.launcher, "listslaves"]), "`java`",
                     lambda: Side(["java", *options, "com/drel/torvel/commands/ListSlaves"]), aim=1.0, slack=3)

    def requests(self):
        for variables in REQUESTS:
            workload, own = f"request of one line, {variables:,} variables", self.request(1, variables=variables)
            self.compare(workload, 61, own, "floor, one message per variable",
                         lambda: self.floor(1, variables=variables, messages="each"), aim=1.0, calls=True)
            self.compare(workload, 61, own, "ng",
                         lambda: Side(self.nailgun(1), ANSWER_CODE, 1, environment=environment(variables)), calls=True)

    def relay(self):
        file = str(self.scratch / "sink")
        for lines, pairs in ((1_000, 61), (10_000, 21), (100_000, 9), (1_000_000, 7)):
            self.compare(f"{lines:,} lines to a pipe", pairs, self.request(lines), "floor",
                         lambda: self.floor(lines), "pipe", 1.1)
        self.compare("1,000,000 lines to a file", 7, self.request(1_000_000), "floor",
                     lambda: self.floor(1_000_000), file)
        self.compare("100,000 lines, each sent by itself, to a file", 9, self.request(100_000, "line"), "floor",
                     lambda: self.floor(100_000, "line"), file)
        for how, each in (("block", ""), ("line", ", each sent by itself,")):
            name = f"10,000 lines{each} to a pipe"
            self.compare(name, 21, self.request(10_000, how), "ng",
                         lambda: Side(self.nailgun(10_000), ANSWER_CODE, 10_000), calls=True)

    def windows(self):
        """Torvel.exe and the Windows floors under Wine, with output to a file: Wine's services hold pipes open."""
        file = str(self.scratch / "sink")

        def compare(workload, pairs, own, floor, aim):
            try:
                sides = self.under_wine(own), self.under_wine(floor)
            except MissingPeer as missing:
                self.rows.append([f"Torvel.exe, {workload}", "", "floor", "", f"skipped: {missing}", "", "", ""])
                return
            self.compare(f"Torvel.exe, {workload}", pairs, sides[0], "floor", lambda: sides[1], file, aim)

        compare("usage text", 41, Side([self.launcher], USAGE_CODE), Side([self.programs / "floor"], USAGE_CODE), 1.2)
        for variables in REQUESTS:
            compare(f"request of one line, {variables:,} variables", 41, self.request(1, variables=variables),
                    self.floor(1, variables=variables), 1.3)
        for lines, pairs in ((1_000, 41), (10_000, 21), (100_000, 9)):
            compare(f"{lines:,} lines", pairs, self.request(lines), self.floor(lines), 1.2)

    def climb(self):
        deep = self.deep_directory(60)
        self.compare("request of one line, 60 levels below the root", 61, self.request(1, directory=deep),
                     "at the root", lambda: self.request(1))

    def slow(self):
        sides = [("Torvel", lambda: self.request(20_000)), ("ng", lambda: Side(self.nailgun(20_000)))]
        rows = []
        for name, make in sides:
            try:
                run = self.measure(make(), "slow")
                rows.append([name, f"{20_000 - run.lines:,}", f"{run.code}, right is {ANSWER_CODE}", f"{run.peak:.1f}"])
            except MissingPeer as missing:
                rows.append([name, f"skipped: {missing}", "", ""])
        return table(["reader sleeps 2 s, 20,000 lines", "lines lost", "exit code", "peak MiB"], rows)

    def cold(self):
        """The sample's build. Must run first, because the sample's Assistant needs the port."""
        sample = self.scratch / "sample"
        subprocess.run([ROOT / "sample/assemble", sample], check=True)
        assistant = self.serve([ROOT / "sample/assistant", self.scratch / "assistant"], lambda: self.listens(8118))
        build = [self.launcher, "build", "game", "release"]

        def clear():
            shutil.rmtree(sample / "out", ignore_errors=True)

        self.compare("sample's build through its Assistant", 9, Side(build, directory=sample, prepare=clear),
                     "without Assistant", lambda: Side([*build, "--assistant=false"], directory=sample, prepare=clear))
        assistant.terminate()
        assistant.wait()

    def growth(self):
        def point(side):
            runs = [self.checked(side) for _ in range(max(3, round((5 if side.lines > 10_000 else 41) * self.share)))]
            return min(run.seconds for run in runs), max(run.peak for run in runs)

        series = [("lines", [(n, self.request(n)) for n in (1, 1_000_000)]),
                  ("variables", [(n, self.request(1, variables=n)) for n in (10, 10_000)])]
        rows = []
        for name, points in series:
            print(f"growth with {name}", file=sys.stderr)
            first_time = None
            for count, side in points:
                seconds, peak = point(side)
                if first_time is None:
                    first_count, first_time = count, seconds
                    each = ""
                else:
                    each = f"{(seconds - first_time) / (count - first_count) * 1e6:.2f}"
                rows.append([name, f"{count:,}", milliseconds(seconds), each, f"{peak:.1f}"])
        return table(["what grows", "number", "ms, best run", "µs for each more than the first", "peak MiB"], rows)

    def instructions(self):
        try:
            valgrind = need("valgrind")
        except MissingPeer as missing:
            return f"Skipped: {missing}.\n"
        fake = environment(40, TORVEL_REGISTRY=str(self.registry))
        runs = [("usage text", Side([self.launcher], USAGE_CODE), None),
                ("Java command, stand-in runtime", Side([self.launcher, "listslaves"], environment=fake), None),
                ("request of 1,000 lines, 40 variables", self.request(1_000), None),
                ("request of 10,000 lines, 40 variables", self.request(10_000), 7_000_000),
                ("request of one line, 1,000 variables", self.request(1, variables=1000), 3_800_000)]
        rows = []
        for name, side, aim in runs:
            print(f"instructions: {name}", file=sys.stderr)
            run = subprocess.run([valgrind, "--tool=callgrind", "--separate-threads=yes",
                                  f"--callgrind-out-file={self.scratch}/callgrind", *side.command],
                                 text=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, cwd=self.workspace,
                                 env=side.environment or environment(40))
            if run.returncode != side.code:
                raise RuntimeError(f"{name}: exit code {run.returncode} under valgrind\n{run.stderr}")
            # Main thread only: the watcher's work depends on the parent.
            counted = int(re.search(r"totals: (\d+)", (self.scratch / "callgrind-01").read_text())[1])
            rows.append([name, f"{counted:,}", aimed(f"{aim:,}" if aim else "", not aim or counted <= aim)])
        return table(["run", "instructions of the main thread", "aim"], rows)

    def pieces(self):
        program = self.programs / "pieces"
        if not program.exists():
            return "Skipped: Google Benchmark cannot be had.\n"
        print("pieces", file=sys.stderr)
        report = subprocess.run([program, "--benchmark_format=csv", "--benchmark_min_time=0.2"], check=True, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
        rows = []
        for line in report.splitlines():
            fields = line.split(",")
            if fields[0].startswith('"'):
                rows.append([fields[0].strip('"'), f"{float(fields[3]):,.0f}", f"{float(fields[5]) / 1e6:,.0f}"])
        return table(["piece/size", "ns of processor time", "MB/s"], rows)

    def comparison(self, chosen):
        for name in chosen:
            getattr(self, name)()
        return table(["workload", "Torvel ms", "peer", "peer ms", "ratio (quartiles)", "aim", "peak MiB, Torvel / peer",
                      "system calls, Torvel / peer"], self.rows)


REQUESTS = (40, 1000)  # variables
COMPARISONS = ["cold", "usage", "java", "requests", "relay", "climb", "windows"]
OTHERS = {"slow": "Slow reader", "growth": "Growth", "instructions": "Instructions (callgrind)", "pieces": "Pieces"}


def machine(share):
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    java = subprocess.run(["java", "-version"], text=True, stderr=subprocess.PIPE).stderr.splitlines()[1]
    return (f"{datetime.date.today()}, `scripts/bench{share}`: {model[1] if model else 'unknown processor'}, "
            f"{os.cpu_count()} cores, Linux {platform.release()}, {java}; "
            f"load average at the start {os.getloadavg()[0]:.2f}.\n")


def main():
    names = [*COMPARISONS, *OTHERS]
    parser = argparse.ArgumentParser(prog="scripts/bench")
    parser.add_argument("workloads", nargs="*", help=f"of {' '.join(names)} (default: all)")
    parser.add_argument("--build", type=pathlib.Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--share", type=float, default=1, help="this share of the pairs only, for a first look")
    parser.add_argument("--write", action="store_true", help="puts the tables into docs/performance.md as well")
    options = parser.parse_args()
    unknown = set(options.workloads) - set(names)
    if unknown or (options.write and options.workloads):
        parser.error(f"no workload {' '.join(unknown)}" if unknown else "--write needs all workloads")
    chosen = options.workloads or names

    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # ends the servers, too
    parts = [machine("" if options.share == 1 else f" --share {options.share}")]
    with contextlib.ExitStack() as stack:
        bench = Bench(options.build.resolve(), options.share, stack)
        if set(chosen) & set(COMPARISONS):
            parts.append(bench.comparison([name for name in COMPARISONS if name in chosen]))
        for name, title in OTHERS.items():
            if name in chosen:
                parts.append(f"### {title}\n\n{getattr(bench, name)()}")
    report = "\n".join(parts)
    print(report)
    if options.write:
        before, _, rest = DOCUMENT.read_text().partition(BEGIN)
        after = rest.partition(END)[2]
        DOCUMENT.write_text(f"{before}{BEGIN}\n{report}{END}{after}")


main()
