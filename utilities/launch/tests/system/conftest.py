"""Runs the built launcher as a user does, for both products:

    pytest utilities/launch/tests/system --product host --build build/host
    pytest utilities/launch/tests/system --product windows --build build/windows     (under Wine)

Exit codes are compared as the product's system shows them, output as bytes with the product's own line ends taken off.
"""
import ctypes
import os
import pathlib
import re
import select
import shutil
import socket
import subprocess
import time
from dataclasses import dataclass

import pytest

from scripted_assistant import PORT, ScriptedAssistant

LIMIT = 20  # seconds after which a run counts as hanging


def pytest_addoption(parser):
    parser.addoption("--product", choices=("host", "windows"), default="host")
    parser.addoption("--build", type=pathlib.Path, help="build folder, build/<product> by default")


@dataclass
class Result:
    code: int
    out: str
    err: str
    peak_kib: int = 0  # host only

    def all(self):
        return self.code, self.out, self.err


def read_text(path):
    """Each byte as the character of that number, so that nothing is lost or refused."""
    return path.read_bytes().decode("latin-1")


class HostRun:
    """A started launcher. `wait` gives its result; `kill_parent` ends the process that started it, where it has its own."""

    def __init__(self, product, files, pid, parent=None):
        self.product, self.files, self.pid, self.parent = product, files, pid, parent

    def kill_parent(self):
        self.parent.kill()
        self.parent.wait()

    def wait(self, limit=LIMIT):
        end = time.monotonic() + limit
        while time.monotonic() < end:
            pid, status, usage = os.wait4(self.pid, os.WNOHANG)
            if pid:
                return self.product.result(os.waitstatus_to_exitcode(status), self.files, usage.ru_maxrss)
            time.sleep(0.001)
        self.kill()
        os.waitpid(self.pid, 0)
        pytest.fail(f"still running after {limit} s")

    def kill(self):
        os.kill(self.pid, 9)


class WindowsRun:
    def __init__(self, product, files, parent, pid, thread):
        self.product, self.files, self.parent, self.pid, self.thread = product, files, parent, pid, thread

    def kill_parent(self):
        parent = self.parent
        self.watch()
        parent.end()

    def watch(self, thread=0):
        """Another process waits for the launcher, whose code is seen even when its parent is gone; resumes the thread."""
        self.parent = self.product.free_parent()
        self.parent.ask(f"attach {self.pid} {thread}")
        assert self.parent.answer(LIMIT) == "attached"

    def wait(self, limit=LIMIT):
        code = int(self.parent.answer(limit).removeprefix("exit "))
        self.parent.busy = False
        if self.parent is not self.product.shared:
            self.parent.end()
        return self.product.result(code, self.files)

    def kill(self):
        helper = Parent(self.product)
        helper.ask(f"kill {self.pid}")
        helper.process.stdin.close()
        helper.process.wait(LIMIT)


class Parent:
    """A running `parent` program: what it is asked and what it answers are lines."""

    def __init__(self, product, stderr=subprocess.DEVNULL):
        self.process = subprocess.Popen([product.wine, product.fakes / "parent.exe"], env=product.wine_env, bufsize=0,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=stderr)
        self.pending, self.busy = b"", False

    def ask(self, *lines):
        self.busy = True
        self.process.stdin.write("".join(line + "\n" for line in lines).encode("latin-1"))

    def answer(self, limit):
        end = time.monotonic() + limit
        while b"\n" not in self.pending:
            if not select.select([self.process.stdout], [], [], max(0, end - time.monotonic()))[0]:
                self.end()
                pytest.fail(f"still running after {limit} s")
            data = os.read(self.process.stdout.fileno(), 4096)
            assert data, "the parent process has ended"
            self.pending += data
        line, self.pending = self.pending.split(b"\n", 1)
        return line.decode().strip()

    def end(self):
        self.process.kill()
        self.process.wait()


class Product:
    def __init__(self, build, folder):
        self.build, self.folder, self.fakes, self.count = build, folder, build / "fakes", 0
        if not self.program.exists():
            pytest.exit(f"{self.program} is not built", 2)

    def new_files(self):
        self.count += 1
        return [self.folder / f"{self.count}.{stream}" for stream in ("out", "err")]

    def result(self, code, files, peak_kib=0):
        return Result(code, *(self.lines(read_text(path)) if path.exists() else "" for path in files), peak_kib)

    def fake(self, name, target):
        """Puts the fake of that name where the launcher is to find it."""
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(self.fakes / name, target)
        return target


class Host(Product):
    name, windows, library, exe, path_list = "host", False, "libjvm.so", "", ":"
    messages = {2: "The system cannot find the file specified.", 5: "Access is denied."}

    def __init__(self, build, folder):
        self.program = build / "Torvel"
        super().__init__(build, folder)
        # A thread-checked program otherwise sleeps for a second when it ends.
        self.checks = {"TSAN_OPTIONS": "atexit_sleep_ms=0"} if b"__tsan_init" in self.program.read_bytes() else {}
        ctypes.CDLL(None).prctl(36, 1)  # PR_SET_CHILD_SUBREAPER: a launcher whose parent has died comes here

    code = staticmethod(lambda code: code & 0xFF)
    path = staticmethod(str)
    lines = staticmethod(lambda text: text)

    def start(self, *args, cwd, env=None, own_parent=False, out=None):
        files = self.new_files()
        command = [self.program, *(arg.encode("latin-1") for arg in args)]
        env = {"PATH": "/nowhere", "TORVEL_HOST_REGISTRY": "/nowhere"} if env is None else env
        env = env | self.checks
        if own_parent:
            script = '"$@" >"$OUT" 2>"$ERR" & echo $!; wait'
            parent = subprocess.Popen(["/bin/sh", "-c", script, "sh", *command], cwd=cwd, stdout=subprocess.PIPE,
                                      env=env | {"OUT": files[0], "ERR": files[1]})
            return HostRun(self, files, int(parent.stdout.readline()), parent)
        with open(files[0], "wb") as to_file, open(files[1], "wb") as err:
            child = subprocess.Popen(command, cwd=cwd, env=env, stdin=subprocess.DEVNULL, stdout=out or to_file, stderr=err)
        child.returncode = 0  # waited for by its id, which also tells the memory used
        return HostRun(self, files, child.pid)

    def registry(self, folder, text):
        file = folder / "registry.reg"
        file.write_bytes(text.encode("latin-1"))
        return {"TORVEL_HOST_REGISTRY": str(file)}

    def finish(self):
        pass


class Windows(Product):
    name, windows, library, exe, path_list = "windows", True, "jvm.dll", ".exe", ";"
    messages = {2: "File not found.", 5: "Access denied.", 32: "Sharing violation."}  # as Wine words them

    def __init__(self, build, folder):
        self.program = build / "Torvel.exe"
        super().__init__(build, folder)
        self.wine = shutil.which("wine64") or shutil.which("wine")
        if not self.wine:
            pytest.exit("Wine is not installed", 2)
        prefix = build / "wine"
        self.wine_env = {"PATH": os.environ["PATH"], "HOME": str(folder), "WINEPREFIX": str(prefix), "WINEDEBUG": "-all",
                         "WINEDLLOVERRIDES": "mscoree,mshtml="}
        prefix.mkdir(exist_ok=True)
        if not (prefix / "system.reg").exists():
            subprocess.run([self.wine, "wineboot", "-i"], env=self.wine_env, check=True, capture_output=True, timeout=120)
        subprocess.run(["wineserver", "-p60"], env=self.wine_env, stderr=subprocess.DEVNULL)  # 2: it runs already
        self.shared = Parent(self)

    code = staticmethod(lambda code: code & 0xFFFFFFFF)
    path = staticmethod(lambda path: "Z:" + str(path).replace("/", "\\"))

    @staticmethod
    def lines(text):
        assert not re.search(r"(?<!\r)\n", text), "a line that does not end as the system's text lines do"
        return text.replace("\r\n", "\n")

    def start(self, *args, cwd, env=None, own_parent=False, out=None, hold=None, suspended=False):
        files = self.new_files()
        parent = Parent(self, out or subprocess.DEVNULL) if own_parent or out else self.free_parent()
        line = subprocess.list2cmdline([self.path(self.program), *args])
        parent.ask(f"cwd {self.path(cwd)}", f"out {'-' if out else self.path(files[0])}", f"err {self.path(files[1])}",
                   *(f"env {name}={value}" for name, value in sorted((env or {}).items())),
                   *([f"hold {self.path(hold)}"] if hold else []), *(["suspended"] if suspended else []), f"run {line}")
        if out:
            parent.process.stdin.close()  # it ends with the run, and lets go of its end of the pipe
        pid, thread = re.fullmatch(r"started (\d+) (\d+)", parent.answer(LIMIT)).groups()
        return WindowsRun(self, files, parent, int(pid), int(thread))

    def free_parent(self):
        if self.shared.process.poll() is not None:
            self.shared = Parent(self)
        return Parent(self) if self.shared.busy else self.shared

    def registry(self, folder, text):
        header, body = text.split("\n", 1)
        keys = "".join(f"[-HKEY_LOCAL_MACHINE\\SOFTWARE\\{key}]\n\n" for key in ("Torvel", "JavaSoft"))
        (folder / "registry.reg").write_bytes(f"{header}\n\n{keys}{body}".replace("\n", "\r\n").encode("latin-1"))
        importer = self.free_parent()
        importer.ask("cwd C:\\", "out NUL", "err NUL", f"run C:\\windows\\regedit.exe /S {self.path(folder / 'registry.reg')}")
        assert [importer.answer(LIMIT).split()[0], importer.answer(LIMIT)] == ["started", "exit 0"]
        importer.busy = False
        return {}

    def finish(self):
        self.shared.end()
        subprocess.run(["wineserver", "-k"], env=self.wine_env)
        subprocess.run(["wineserver", "-w"], env=self.wine_env)


@pytest.fixture(scope="session")
def product(request, tmp_path_factory):
    name = request.config.getoption("--product")
    root = pathlib.Path(__file__).parents[4]
    build = (request.config.getoption("--build") or root / "build" / name).absolute()
    with socket.socket() as probe:
        probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            probe.bind(("127.0.0.1", PORT))
        except OSError as error:
            pytest.exit(f"port {PORT}, where the Assistant listens, is taken: {error.strerror}", 2)
    made = {"host": Host, "windows": Windows}[name](build, tmp_path_factory.mktemp("runs"))
    yield made
    made.finish()


UPDATE_SET = ("TorvelAssistant.x64", "Torvel.jar", "torvel-win64.dll", "swt-win64.jar", "Slave.jar")


class Workspace:
    """A workspace in a path that is no format and no single word, with its jar and a directory two levels down, and, on
    demand, a fake Java runtime and a fake `java`."""

    def __init__(self, product, folder):
        self.product, self.root, self.tools, self.log = product, folder / "50%s a'b", folder / "tools", folder / "log"
        self.game = self.root / "src" / "game"
        self.game.mkdir(parents=True)
        self.tools.mkdir()
        self.add("bin/Torvel.jar")
        self.env = {"PATH": product.path(self.tools)} | ({} if product.windows else {"TORVEL_HOST_REGISTRY": "/nowhere"})

    def add(self, *files):
        for file in files:
            (self.root / file).parent.mkdir(parents=True, exist_ok=True)
            (self.root / file).write_text(f"new {file}")

    def add_update_set(self):
        self.add(*(f"bin/{file}" for file in UPDATE_SET))

    def native(self, *parts):
        return self.product.path(self.root.joinpath(*parts))

    def use_jvm(self, scenario="", fake="fake_jvm", folder=None):
        self.product.fake(fake + (".dll" if self.product.windows else ".so"), (folder or self.tools) / self.product.library)
        self.env |= {"FAKE_JVM": scenario, "FAKE_JVM_LOG": self.product.path(self.log)}
        if not self.product.windows:
            self.env["LD_LIBRARY_PATH"] = str(self.tools)

    def use_java(self, scenario=""):
        self.product.fake("fake_java" + self.product.exe, self.tools / ("java" + self.product.exe))
        self.env |= {"FAKE_JAVA": scenario, "FAKE_JAVA_LOG": self.product.path(self.log)}

    def logged(self):
        return read_text(self.log).splitlines() if self.log.exists() else []

    def start(self, *args, cwd=None, env=None, **how):
        return self.product.start(*args, cwd=cwd or self.root, env=self.env | (env or {}), **how)

    def run(self, *args, limit=LIMIT, **how):
        return self.start(*args, **how).wait(limit)

    def search(self, not_in=(), jar="bin/", lib="bin/lib/", listed=None, start=""):
        """The debug lines of a search that starts below the root, up to and with the start path."""
        listed = listed or ("bin/", "Build/Torvel/", "build/torvel/", "build/torvel/bin/")
        return "".join(line + "\n" for line in (
            "Launching...", "Search for Torvel.jar and torvel-win64.dll in", *listed,
            *(f"Not in {self.native(part)}..." for part in not_in), f"Found jar in {jar}", f"Found lib in {lib}",
            f"Workspace at {self.native()}/", f"Path to original: {start}"))


def addresses_out(text):
    """Addresses differ from run to run: each is shown as <p>."""
    text = re.sub(r"^(Launching \S+: )(0x)?[0-9A-Fa-f]+$", r"\1<p>", text, flags=re.M)
    return re.sub(r"^[0-9a-f]{4,}(: \S+=)", r"<p>\1", text, flags=re.M)


def wait_until(true, what):
    end = time.monotonic() + LIMIT
    while not true():
        assert time.monotonic() < end, f"{what} did not come"
        time.sleep(0.01)


def failure(text):
    return f"\nLaunching Torvel failed: {text}\n"


@pytest.fixture
def workspace(product, tmp_path):
    return Workspace(product, tmp_path)


@pytest.fixture
def assistant():
    with ScriptedAssistant() as running:
        yield running
