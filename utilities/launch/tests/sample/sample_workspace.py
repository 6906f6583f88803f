"""A sample workspace of its own for each test, and the sample's Assistant."""
import os
import pathlib
import shutil
import signal
import socket
import subprocess
from contextlib import suppress

import pytest
from harness import in_cache, wait_until
from scripted_assistant import PORT, number, text

SAMPLE = pathlib.Path(__file__).parents[4] / "sample"


class Sample:
    def __init__(self, product, folder, assembled):
        self.product, self.root, self.process = product, shutil.copytree(assembled, folder / "ws"), None
        self.native_root, self.home = product.path(self.root), folder / "assistant"
        if product.windows:
            java = product.path(in_cache("java-windows/17/bin"))
            self.env = {"PATH": f"{java}\\server;{java}"}
        else:
            self.env = {name: os.environ[name] for name in ("PATH", "JAVA_HOME", "HOME") if name in os.environ}

    def start(self, *args, cwd="", env=None, **how):
        return self.product.start(*args, cwd=self.root / cwd, env=self.env | (env or {}), **how)

    def run(self, *args, **how):
        return self.start(*args, **how).wait()

    def open_assistant(self, version=None):
        """The workspace's or one of another version, in a directory beside. What only starts it lets go of its output."""
        if self.product.windows:
            if version:
                assemble(self.product, root := self.root.with_name("other"), version)
            script = self.product.path((root if version else self.root) / "assistant.cmd")
            subprocess.run(["wine64", "cmd", "/c", script, self.product.path(self.home)], env=self.wine_env, check=True,
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=60)
        else:
            command = [SAMPLE / "assistant", self.home, *([version] if version else [])]
            self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL, env=self.env, start_new_session=True)
        wait_until(self.status, "the Assistant")

    @property
    def wine_env(self):
        return self.product.wine_env | {"WINEPATH": self.env["PATH"]}

    def end_assistant(self):
        """Whatever it does."""
        if self.process:
            os.killpg(self.process.pid, signal.SIGKILL)  # a restarted Assistant is another process of the same session
            self.process.wait()
        elif status := self.status():
            subprocess.run(["wine64", "taskkill", "/f", "/pid", status["pid"]], env=self.wine_env, check=True,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_until(lambda: not self.status(), "the Assistant's end")

    def status(self):
        """The Assistant's answer, empty without an Assistant."""
        with suppress(OSError), socket.create_connection(("127.0.0.1", PORT), 60) as peer, peer.makefile("rb") as stream:
            peer.sendall(text("Status"))
            answer = stream.read(int.from_bytes(stream.read(4), "big")).decode()
            return dict(pair.split("=", 1) for pair in answer.split("|"))
        return {}

    def ask(self, *request):
        """The strings of the Assistant's answer to a request up to the null string, as None, and the return code behind it."""
        with socket.create_connection(("127.0.0.1", PORT)) as peer, peer.makefile("rb") as stream:
            def receive():
                size = int.from_bytes(stream.read(4), "big", signed=True)
                return None if size < 0 else stream.read(size).decode()
            peer.sendall(text("Status") + text(request[0]) + number(len(request) - 1) + b"".join(map(text, request[1:])))
            receive()
            return (*iter(receive, None), None, int.from_bytes(stream.read(4), "big"))


def assemble(product, root, *version, compiler=None):
    options = [f"--windows={product.build}/TorvelAssistant.exe"] if product.windows else []
    options += [f"--compiler={compiler}"] if compiler else []
    subprocess.run([SAMPLE / "assemble", *options, root, *version], check=True)


@pytest.fixture(scope="session")
def assembled(product, tmp_path_factory):
    """On Windows with the compiler of a JDK of the version that runs it there."""
    root = tmp_path_factory.mktemp("sample") / "ws"
    assemble(product, root, compiler=next(pathlib.Path("/usr/lib/jvm").glob("java-17-*/jmods/jdk.compiler.jmod"))
             if product.windows else None)
    return root


@pytest.fixture
def sample(product, tmp_path, assembled):
    yield (made := Sample(product, tmp_path, assembled))
    made.end_assistant()
