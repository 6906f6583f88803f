"""A copy of the sample workspace for each test, and the sample's Assistant."""
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
from contextlib import suppress

import harness
import pytest
from harness import ROOT, Workspace, in_cache, wait_until
from scripted_assistant import PORT, text

SAMPLE = ROOT / "sample"


class Sample(Workspace):
    def __init__(self, product, folder, assembled):
        self.product, self.root, self.process = product, shutil.copytree(assembled, folder / "ws"), None
        self.native_root, self.home = product.path(self.root), folder / "a & (b)"
        if product.windows:
            java = product.path(in_cache("java-windows", jdk()[1], "bin"))
            self.env = {"PATH": f"{java}\\server;{java}"}
        else:
            kept = {"PATH", "JAVA_HOME", "HOME"} & set(os.environ)
            self.env = {name: os.environ[name] for name in kept}

    def open_assistant(self, version=None):
        """The workspace's, or one of another version from a second workspace."""
        if self.product.windows:
            if version:
                assemble(self.product, root := self.root.with_name("other"), version)
            command = ["wine64", "cmd", "/c", "assistant.cmd", home := self.product.path(self.home)]
            said = subprocess.run(command, cwd=root if version else self.root, env=self.wine_env, check=True,
                                  timeout=harness.limit, stdout=subprocess.PIPE,  # the Assistant closes it
                                  stderr=subprocess.DEVNULL).stdout.decode()
            assert said.startswith(f'The Assistant is started in "{home}": what it says '), said
        else:
            command = [SAMPLE / "assistant", self.home, *([version] if version else [])]
            # A restarted Assistant is a new process in the same session.
            self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL, env=self.env,
                                            start_new_session=True)
        wait_until(self.status, "the Assistant")

    @property
    def wine_env(self):
        return self.product.wine_env | {"WINEPATH": self.env["PATH"]}

    def end_assistant(self):
        """Also during a build."""
        if self.process:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()
        elif status := self.status():
            subprocess.run(["wine64", "taskkill", "/f", "/pid", status["pid"]], env=self.wine_env, check=True,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_until(lambda: not self.status(), "the Assistant's end")

    def status(self):
        """The Assistant's answer, empty without an Assistant."""
        with suppress(OSError), socket.create_connection(("127.0.0.1", PORT), harness.limit) as peer, \
                peer.makefile("rb") as stream:
            peer.sendall(text("Status"))
            answer = stream.read(int.from_bytes(stream.read(4), "big")).decode()
            return dict(pair.split("=", 1) for pair in answer.split("|"))
        return {}


def jdk():
    """The home and the version of the JDK at hand."""
    home = pathlib.Path(os.environ.get("JAVA_HOME") or pathlib.Path(shutil.which("javac")).resolve().parents[1])
    return home, re.search(r'^JAVA_VERSION="(\d+)', (home / "release").read_text(), re.M)[1]


def assemble(product, root, *version, compiler=None):
    options = [f"--windows={product.build}/TorvelAssistant.exe"] if product.windows else []
    options += [f"--compiler={compiler}"] if compiler else []
    subprocess.run([SAMPLE / "assemble", *options, root, *version], check=True)


@pytest.fixture(scope="session")
def assembled(product, tmp_path_factory):
    """On Windows with the compiler of the JDK version that runs it."""
    root = tmp_path_factory.mktemp("sample") / "ws"
    assemble(product, root, compiler=jdk()[0] / "jmods/jdk.compiler.jmod" if product.windows else None)
    return root


@pytest.fixture
def sample(product, tmp_path, assembled):
    yield (made := Sample(product, tmp_path, assembled))
    made.end_assistant()
