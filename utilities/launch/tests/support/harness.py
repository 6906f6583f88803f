"""Runs the built launcher as a user does, for both products.

Exit codes are those that the product's system shows. Output has "\\n" as the end of a line.
"""
import collections
import contextlib
import ctypes
import functools
import itertools
import os
import pathlib
import re
import shutil
import subprocess
import time

import pytest

ROOT = pathlib.Path(__file__).parents[4]
VERSION = re.search(r"project\(Torvel VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text())[1]
MISMATCH = f"Version mis-match, restarting Assistant with version {VERSION}\n"
LIMITS = {"linux": 15, "windows": 60}  # seconds after which a wait counts as hanging
limit = None  # one of these
COMMANDS = sorted(re.findall(r'"(\w+)"', (ROOT / "utilities/launch/launcher/CommandTable.cpp").read_text()))
UPDATE_SET = ("TorvelAssistant.x64", "Torvel.jar", "torvel-win64.dll", "swt-win64.jar", "Slave.jar")
TARGETS = ("TorvelAssistant.exe", *UPDATE_SET[1:])  # their names where the Assistant is
JAVASOFT = "JavaSoft\\Java Runtime Environment"
Result = collections.namedtuple("Result", "code out err")
# Of a run: its output, and what its parent writes and reads.
Files = collections.namedtuple("Files", "out err report request")
story = []  # of the test: its last row and the runs since then, which a failure shows


class Hang(AssertionError):
    pass


def rows(table):
    """The rows of a table, one after the other."""
    for row in table:
        story[:] = [f"Row: {row!r:.300}"]
        yield row


def read_text(path):
    """Any byte is valid and becomes one character."""
    return path.read_bytes().decode("latin-1") if path.exists() else ""


def in_cache(*parts):
    """A path of what scripts/setup fetches. Skips the test where it could not."""
    cache = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache", "torvel")
    if not (path := cache.joinpath(*parts)).exists():
        pytest.skip(f"scripts/setup java has not fetched {'/'.join(parts)}")
    return path


def wait_until(true, what, more=0):
    """`more` are seconds that the launcher waits by itself."""
    end = time.monotonic() + limit + more
    while not true():
        if time.monotonic() >= end:
            raise Hang(f"{what} did not come within {limit + more} s")
        time.sleep(0.002)


class Run:
    """A launcher that was started: its process, or its parent's, and its files."""

    def __init__(self, product, files, process, args):
        self.product, self.files, self.process, self.pid = product, files, process, process.pid
        self.args, self.code = args, "none yet"
        story.append(self)

    def __str__(self):
        ends = (f"{path.suffix}: " + "\n      ".join(line[:300] for line in read_text(path).splitlines()[-12:])
                for path in self.files[:2])
        return "\n".join([f"Torvel {self.args!r:.500}", f"exit code: {self.code}", *ends])

    def reported(self, pattern):
        return re.search(pattern, read_text(self.files.report), re.M)

    def held_processes(self):
        """On Linux: the number of handles of other processes that the launcher has."""
        count = 0
        for file in pathlib.Path(f"/proc/{self.pid}/fd").iterdir():
            with contextlib.suppress(FileNotFoundError):  # closed since it was listed
                count += "pidfd" in os.readlink(file)
        return count

    def kill_parent(self):
        parent, self.process = self.process, self.product.watched(self)
        parent.kill()
        parent.wait()

    def wait(self, more=0):
        try:
            wait_until(lambda: self.product.has_ended(self), "the end of the launcher", more)
        except Hang:
            os.kill(self.pid, 9)
            raise
        out, err = (self.product.lines(read_text(path)) for path in (self.files.out, self.files.err))
        return Result(self.code, out, err)


class Product:
    def __init__(self, build, folder):
        self.build, self.folder, self.fakes, self.numbers = build, folder, build / "fakes", itertools.count()
        self.program = build / f"Torvel{self.exe}"

    def new_files(self):
        number = next(self.numbers)
        return Files(*(self.folder / f"{number}.{name}" for name in Files._fields))

    def fake(self, name, target):
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(self.fakes / name, target)

    def may_have_lost_a_child(self, result):
        """Wine fails to start one child in thousands, with error 1359, which only --debug prints."""
        silent = result[1:] == ("", "") or "returned error code 1359:" in result.out
        return self.windows and result.code == self.code(-1) and silent


class Linux(Product):
    windows, library, exe, path_list = False, "libjvm.so", "", ":"
    messages = {2: "The system cannot find the file specified.",
                3: "The system cannot find the path specified.",
                5: "Access is denied.", 206: "The filename or extension is too long.",
                32: "The process cannot access the file because it is being used by another process."}
    code = staticmethod(lambda code: code & 0xFF)
    path = staticmethod(str)
    lines = staticmethod(lambda text: text)

    def start(self, *args, cwd, env, own_parent=False, out=None):
        files = self.new_files()
        parent = ["/bin/sh", "-c", '"$@" & echo $! >"$0"; wait', files.report] if own_parent else []
        command = [*parent, self.program, *(arg.encode("latin-1") for arg in args)]
        env = env | {"TSAN_OPTIONS": "atexit_sleep_ms=0"}  # else it adds a second to each run
        with open(files.out, "wb") as to_file, open(files.err, "wb") as err:
            run = Run(self, files, subprocess.Popen(command, cwd=cwd, env=env, stdin=subprocess.DEVNULL,
                                                    stdout=out or to_file, stderr=err), args)
        if own_parent:
            wait_until(lambda: run.reported(r"\n"), "the launcher")
            run.pid = int(read_text(files.report))
        return run

    def watched(self, run):
        ctypes.CDLL(None).prctl(36, 1)  # PR_SET_CHILD_SUBREAPER: this process becomes the launcher's parent
        return run.process

    def has_ended(self, run):
        ended, status = os.waitpid(run.pid, os.WNOHANG)
        if ended:
            run.code = run.process.returncode = os.waitstatus_to_exitcode(status)
        return ended

    def registry(self, folder, text):
        (file := folder / "registry.reg").write_bytes(text.encode("latin-1"))
        return {"TORVEL_REGISTRY": str(file)}


EXPAND = "hex(2):43,00,00,00"  # a value of type REG_EXPAND_SZ


def registry_text(folder, keys):
    """A registry file with keys below SOFTWARE and their values. "@" is the folder. None removes a key."""
    text = "Windows Registry Editor Version 5.00\n"
    for key, values in keys.items():
        text += f"\n[{'-' if values is None else ''}HKEY_LOCAL_MACHINE\\SOFTWARE\\{key}]\n"
        for name, value in (values or {}).items():
            quoted = '"' + value.replace("@", folder).replace("\\", "\\\\") + '"'
            text += f'"{name}"={value if value == EXPAND else quoted}\n'
    return text


def wine_environment(prefix):
    """Creates the prefix too."""
    env = {"PATH": os.environ["PATH"] + ":/usr/lib/wine", "HOME": str(prefix.parent), "LC_ALL": "C.UTF-8",
           "WINEPREFIX": str(prefix), "WINEDEBUG": "-all", "WINEDLLOVERRIDES": "mscoree,mshtml="}
    prefix.mkdir(exist_ok=True)
    if not (prefix / "system.reg").exists():
        # Not captured: Wine's services would keep the pipe open.
        boot = "exec wine64 wineboot -i >/dev/null 2>&1"
        subprocess.run(boot, shell=True, env=env, check=True, timeout=600)
    subprocess.run(["wineserver", "-p60"], env=env, stderr=subprocess.DEVNULL)  # 2: it runs already
    return env


def end_wine(env):
    for option in ("-k", "-w"):
        subprocess.run(["wineserver", option], env=env)


class Windows(Product):
    windows, library, exe, path_list = True, "jvm.dll", ".exe", ";"
    messages = {2: "File not found.", 3: "Path not found.", 5: "Access denied.", 32: "Sharing violation."}
    code = staticmethod(lambda code: code & 0xFFFFFFFF)
    path = staticmethod(lambda path: "Z:" + str(path).replace("/", "\\"))

    @functools.cached_property
    def wine_env(self):
        return wine_environment(self.build / "wine")

    @staticmethod
    def lines(text):
        # A real runtime's warnings have other line ends.
        text = re.sub("^OpenJDK .* warning: .*\n", "", text, flags=re.M)
        assert not re.search(r"(?<!\r)\n", text), "a line without CR LF"
        return text.replace("\r\n", "\n")

    def start(self, *args, cwd, env, own_parent=True, stdin=None, out=None):
        files = self.new_files()
        asked = [self.path(stdin) if stdin else "NUL", self.path(files.out) if out is None else out,
                 self.path(files.err), subprocess.list2cmdline([self.path(self.program), *args]),
                 *(f"{name}={value}" for name, value in sorted(env.items()))]
        files.request.write_bytes("\n".join(asked).encode("latin-1"))
        for _ in range(3):  # Wine fails to start one program in a thousand
            run = Run(self, files, self.parent(cwd, files.report, "--of", self.path(files.request)), args)
            wait_until(lambda: run.reported(r"\n") or run.process.poll() is not None, "the launcher")
            if run.reported(r"\n"):
                return run
        raise AssertionError("the launcher's parent ended without a report")

    def parent(self, cwd, report, *asked):
        command = ["wine64", self.fakes / "parent.exe", self.path(report), *asked]
        return subprocess.Popen(command, cwd=cwd, env=self.wine_env, stdin=subprocess.DEVNULL,
                                stderr=subprocess.DEVNULL)  # only Wine's own output

    def registry(self, folder, text):
        """Writes to the registry that all runs share."""
        (file := folder / "registry.reg").write_text(text, "utf-16")
        command = ["wine64", "regedit", "/C", self.path(file)]
        for is_last in (False, False, True):  # Wine fails to start one program in a thousand
            if subprocess.run(command, env=self.wine_env, check=is_last, timeout=limit,
                              stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0:
                break
        return {}

    def watched(self, run):
        """Another process reports the exit code, since the parent is gone."""
        watcher = self.parent("/", run.files.report, run.reported(r"^\d+")[0])
        wait_until(lambda: run.reported(r"\n\d+\r\n"), "the other process")
        return watcher

    def has_ended(self, run):
        if ended := run.reported(r"^(exit|failed) (\d+)\r\n"):
            assert ended[1] == "exit", ended[0]
            run.code = int(ended[2])
            run.process.wait()
        return ended


class Workspace:
    """A workspace with its jar and the directory src/game, and, on demand, a fake Java runtime and a fake `java`.
    Its path contains a format, blanks and a quote."""

    def __init__(self, product, folder):
        self.product, self.root = product, folder / "50%s a'b"
        self.tools, self.log = folder / "tools", folder / "log"
        self.game = self.root / "src" / "game"
        self.game.mkdir(parents=True)
        self.tools.mkdir()
        self.add("bin/Torvel.jar")
        self.env = {"PATH": product.path(self.tools)}
        if not product.windows:
            self.env["TORVEL_REGISTRY"] = "/nowhere"

    def add(self, *files):
        for file in files:
            (self.root / file).parent.mkdir(parents=True, exist_ok=True)
            (self.root / file).write_text(f"new {file}")

    def add_update_set(self):
        self.add(*(f"bin/{file}" for file in UPDATE_SET))

    def native(self, *parts):
        return self.product.path(self.root.joinpath(*parts))

    def use_jvm(self, scenario="", folder=None):
        fake = "fake_jvm.dll" if self.product.windows else "fake_jvm.so"
        self.product.fake(fake, (folder or self.tools) / self.product.library)
        self.env |= {"FAKE_JVM": scenario, "FAKE_JVM_LOG": self.product.path(self.log)}
        if not self.product.windows:
            self.env["LD_LIBRARY_PATH"] = str(self.tools)

    def use_java(self, scenario=""):
        self.product.fake("fake_java" + self.product.exe, self.tools / ("java" + self.product.exe))
        self.env |= {"FAKE_JAVA": scenario, "FAKE_JAVA_LOG": self.product.path(self.log)}

    def logged(self):
        return read_text(self.log).splitlines()

    def start(self, *args, cwd=None, env=None, **how):
        return self.product.start(*args, cwd=cwd or self.root, env=self.env | (env or {}), **how)

    def run(self, *args, more=0, **how):
        result = self.start(*args, **how).wait(more)
        if self.product.may_have_lost_a_child(result):
            result = self.start(*args, **how).wait(more)
        return result

    def search(self, not_in=(), jar="bin/", lib="bin/lib/", listed=None, start=""):
        """The debug lines of a search that finds the workspace."""
        listed = listed or ("bin/", "Build/Torvel/", "build/torvel/", "build/torvel/bin/")
        return "".join(line + "\n" for line in (
            "Launching...", "Search for Torvel.jar and torvel-win64.dll in", *listed,
            *(f"Not in {self.native(part)}..." for part in not_in),
            f"Found jar in {jar}", f"Found lib in {lib}",
            f"Workspace at {self.native()}/", f"Path to original: {start}"))


def addresses_out(text):
    """Replaces each address with <p>."""
    text = re.sub(r"^(Launching \S+: )(0x)?[0-9A-Fa-f]+$", r"\1<p>", text, flags=re.M)
    return re.sub(r"^[0-9a-f]{4,}(: \S+=)", r"<p>\1", text, flags=re.M)


def failure(text):
    return f"\nLaunching Torvel failed: {text}\n"
