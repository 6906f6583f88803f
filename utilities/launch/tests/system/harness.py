"""Runs the built launcher as a user does, for both products.

Exit codes are compared as the product's system shows them, output as bytes with the product's own line ends taken off.
"""
import ctypes
import os
import re
import shutil
import socket
import subprocess
import threading
import time
from dataclasses import astuple, dataclass

import pytest
from scripted_assistant import PORT

LIMIT = 20  # seconds after which a run counts as hanging
UPDATE_SET = ("TorvelAssistant.x64", "Torvel.jar", "torvel-win64.dll", "swt-win64.jar", "Slave.jar")


@dataclass
class Result:
    code: int
    out: str
    err: str

    def all(self):
        return astuple(self)


def read_text(path):
    """Each byte as the character of that number, so that nothing is lost or refused."""
    return path.read_bytes().decode("latin-1") if path.exists() else ""


def wait_until(true, what, limit=LIMIT):
    end = time.monotonic() + limit
    while not true():
        assert time.monotonic() < end, f"{what} did not come"
        time.sleep(0.01)


class HostRun:
    """A started launcher. `wait` gives its result; `kill_parent` ends the process that started it, where it has its own."""

    def __init__(self, product, files, pid, parent=None):
        self.product, self.files, self.pid, self.parent = product, files, pid, parent

    def kill_parent(self):
        self.parent.kill()
        self.parent.wait()

    def kill(self):
        os.kill(self.pid, 9)

    def wait(self, limit=LIMIT):
        end = time.monotonic() + limit
        while not (ended := os.waitpid(self.pid, os.WNOHANG))[0]:
            if time.monotonic() > end:
                self.kill()
                pytest.fail(f"still running after {limit} s")
            time.sleep(0.001)
        return self.product.result(os.waitstatus_to_exitcode(ended[1]), self.files)


class WindowsRun:
    def __init__(self, product, files, parent, pid):
        self.product, self.files, self.parent, self.pid = product, files, parent, pid

    def kill_parent(self):
        """Another process waits for the launcher, whose code is so seen even when its parent is gone."""
        parent, self.parent = self.parent, Parent(self.product)
        self.parent.ask(f"attach {self.pid}")
        assert self.parent.answer() == "attached"
        parent.end()

    def wait(self, limit=LIMIT):
        code = int(self.parent.answer(limit).removeprefix("exit "))
        self.product.idle.append(self.parent)
        return self.product.result(code, self.files)


class Parent:
    """A running `parent` program: what it is asked and what it answers are lines."""

    def __init__(self, product):
        self.process = subprocess.Popen(["wine64", product.fakes / "parent.exe"], env=product.wine_env, encoding="latin-1",
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)

    def ask(self, *lines):
        self.process.stdin.write("".join(line + "\n" for line in lines))
        self.process.stdin.flush()

    def answer(self, limit=LIMIT):
        timer = threading.Timer(limit, self.process.kill)
        timer.start()
        line = self.process.stdout.readline()
        timer.cancel()
        assert line, f"the parent process has ended, or the launcher still runs after {limit} s"
        return line.strip()

    def end(self):
        self.process.kill()
        self.process.wait()


class Product:
    def __init__(self, build, folder):
        self.build, self.folder, self.fakes, self.count = build, folder, build / "fakes", 0
        self.program = build / f"Torvel{self.exe}"
        if not self.program.exists():
            pytest.exit(f"{self.program} is not built", 2)
        with socket.socket() as probe:
            if probe.connect_ex(("127.0.0.1", PORT)) == 0:
                pytest.exit(f"port {PORT}, where the Assistant listens, is taken", 2)

    def new_files(self):
        self.count += 1
        return [self.folder / f"{self.count}.{stream}" for stream in ("out", "err")]

    def result(self, code, files):
        return Result(code, *(self.lines(read_text(path)) for path in files))

    def fake(self, name, target):
        """Puts the fake of that name where the launcher is to find it."""
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(self.fakes / name, target)


class Host(Product):
    windows, library, exe, path_list = False, "libjvm.so", "", ":"
    messages = {2: "The system cannot find the file specified.", 5: "Access is denied."}

    def __init__(self, build, folder):
        super().__init__(build, folder)
        ctypes.CDLL(None).prctl(36, 1)  # PR_SET_CHILD_SUBREAPER: a launcher whose parent has died comes here

    code = staticmethod(lambda code: code & 0xFF)
    path = staticmethod(str)
    lines = staticmethod(lambda text: text)

    def start(self, *args, cwd, env=None, own_parent=False, out=None):
        files = self.new_files()
        command = [self.program, *(arg.encode("latin-1") for arg in args)]
        env = {"PATH": "/nowhere", "TORVEL_HOST_REGISTRY": "/nowhere"} if env is None else env
        env = env | {"TSAN_OPTIONS": "atexit_sleep_ms=0"}  # a thread-checked program otherwise sleeps for a second when it ends
        if own_parent:
            script = '"$@" >"$OUT" 2>"$ERR" & echo $!; wait'
            parent = subprocess.Popen(["/bin/sh", "-c", script, "sh", *command], cwd=cwd, stdout=subprocess.PIPE,
                                      env=env | {"OUT": files[0], "ERR": files[1]})
            return HostRun(self, files, int(parent.stdout.readline()), parent)
        with open(files[0], "wb") as to_file, open(files[1], "wb") as err:
            child = subprocess.Popen(command, cwd=cwd, env=env, stdin=subprocess.DEVNULL, stdout=out or to_file, stderr=err)
        child.returncode = 0  # waited for by its id
        return HostRun(self, files, child.pid)

    def registry(self, folder, text):
        file = folder / "registry.reg"
        file.write_bytes(text.encode("latin-1"))
        return {"TORVEL_HOST_REGISTRY": str(file)}

    def finish(self):
        pass


def wine_environment(prefix):
    """With the prefix made for it."""
    env = {"PATH": os.environ["PATH"] + ":/usr/lib/wine", "HOME": str(prefix.parent), "WINEPREFIX": str(prefix),
           "WINEDEBUG": "-all", "WINEDLLOVERRIDES": "mscoree,mshtml="}
    prefix.mkdir(exist_ok=True)
    if not (prefix / "system.reg").exists():
        # No pipe: Wine's services would hold its other end.
        nowhere = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        subprocess.run(["wine64", "wineboot", "-i"], env=env, check=True, timeout=120, **nowhere)
    subprocess.run(["wineserver", "-p60"], env=env, stderr=subprocess.DEVNULL)  # 2: it runs already
    return env


def end_wine(env):
    subprocess.run(["wineserver", "-k"], env=env)
    subprocess.run(["wineserver", "-w"], env=env)


class Windows(Product):
    windows, library, exe, path_list = True, "jvm.dll", ".exe", ";"
    messages = {2: "File not found.", 5: "Access denied.", 32: "Sharing violation."}  # as Wine words them

    def __init__(self, build, folder):
        super().__init__(build, folder)
        self.wine_env, self.idle = wine_environment(build / "wine"), []

    code = staticmethod(lambda code: code & 0xFFFFFFFF)
    path = staticmethod(lambda path: "Z:" + str(path).replace("/", "\\"))

    @staticmethod
    def lines(text):
        assert not re.search(r"(?<!\r)\n", text), "a line that does not end as the system's text lines do"
        return text.replace("\r\n", "\n")

    def ask(self, *lines):
        """A parent process that has started the last line's program, and the program's id."""
        parent = self.idle.pop() if self.idle else Parent(self)
        parent.ask(*lines)
        return parent, int(parent.answer().removeprefix("started "))

    def start(self, *args, cwd, env=None, own_parent=False, hold=None):
        files = self.new_files()
        return WindowsRun(self, files, *self.ask(
            f"cwd {self.path(cwd)}", f"out {self.path(files[0])}", f"err {self.path(files[1])}",
            *(f"env {name}={value}" for name, value in sorted((env or {}).items())),
            *([f"hold {self.path(hold)}"] if hold else []), f"run {subprocess.list2cmdline([self.path(self.program), *args])}"))

    def registry(self, folder, text):
        header, body = text.split("\n", 1)
        keys = "".join(f"[-HKEY_LOCAL_MACHINE\\SOFTWARE\\{key}]\n\n" for key in ("Torvel", "JavaSoft"))
        (folder / "registry.reg").write_bytes(f"{header}\n\n{keys}{body}".replace("\n", "\r\n").encode("latin-1"))
        importer, _ = self.ask("cwd C:\\", "out NUL", "err NUL",
                               f"run C:\\windows\\regedit.exe /S {self.path(folder / 'registry.reg')}")
        assert importer.answer() == "exit 0"
        self.idle.append(importer)
        return {}

    def finish(self):
        for parent in self.idle:
            parent.end()
        end_wine(self.wine_env)


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
        return read_text(self.log).splitlines()

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


def failure(text):
    return f"\nLaunching Torvel failed: {text}\n"
