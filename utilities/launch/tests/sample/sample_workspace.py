"""A sample workspace of its own for each test, and the sample's Assistant."""
import contextlib
import os
import pathlib
import shutil
import signal
import socket
import subprocess

import pytest
from harness import wait_until
from scripted_assistant import PORT, text
from tolerant_assistant import read_text

SAMPLE = pathlib.Path(__file__).parents[4] / "sample"


class Sample:
    def __init__(self, product, folder, assembled):
        self.product, self.root, self.directory, self.process = product, folder / "ws", folder / "assistant", None
        shutil.copytree(assembled, self.root)
        self.env = {name: os.environ[name] for name in ("PATH", "JAVA_HOME", "HOME") if name in os.environ}

    def start(self, *args, cwd="", env=None, **how):
        return self.product.start(*args, cwd=self.root / cwd, env=self.env | (env or {}), **how)

    def run(self, *args, **how):
        return self.start(*args, **how).wait(60)

    def open_assistant(self, version=None):
        """Of the workspace's own version, or another."""
        command = [SAMPLE / "assistant", self.directory, version]
        if not version:
            shutil.copytree(self.root / "bin", self.directory)
            command = [(self.directory / "TorvelAssistant.x64").rename(self.directory / "TorvelAssistant.exe")]
        self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL, env=self.env, start_new_session=True)
        wait_until(self.status, "the Assistant", 30)

    def status(self):
        """The Assistant's answer, empty without an Assistant."""
        try:
            with socket.create_connection(("127.0.0.1", PORT), 5) as connection, connection.makefile("rb") as stream:
                connection.sendall(text("Status"))
                return dict(pair.split("=", 1) for pair in read_text(stream).split("|"))
        except OSError:
            return {}

    def end(self):
        """A restarted Assistant is another process of the same session."""
        if self.process:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()
            wait_until(lambda: not self.status(), "the Assistant's end")


@pytest.fixture(scope="session")
def assembled(tmp_path_factory):
    root = tmp_path_factory.mktemp("sample") / "ws"
    subprocess.run([SAMPLE / "assemble", root], check=True)
    return root


@pytest.fixture
def sample(product, tmp_path, assembled):
    made = Sample(product, tmp_path, assembled)
    yield made
    made.end()
