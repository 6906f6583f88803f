"""A sample workspace of its own for each test, and the sample's Assistant."""
import os
import pathlib
import shutil
import signal
import socket
import subprocess
from contextlib import suppress

import pytest
from harness import wait_until
from scripted_assistant import PORT, number, text

SAMPLE = pathlib.Path(__file__).parents[4] / "sample"


class Sample:
    def __init__(self, product, folder, assembled):
        self.product, self.root, self.process = product, shutil.copytree(assembled, folder / "ws"), None
        self.native_root = product.path(self.root)
        self.env = {name: os.environ[name] for name in ("PATH", "JAVA_HOME", "HOME") if name in os.environ}

    def start(self, *args, cwd="", env=None, **how):
        return self.product.start(*args, cwd=self.root / cwd, env=self.env | (env or {}), **how)

    def run(self, *args, **how):
        return self.start(*args, **how).wait(60)

    def open_assistant(self, version=None):
        """The workspace's own, or one of another version in a directory beside."""
        other = SAMPLE / "assistant", self.root.parent / "assistant", version
        command = other if version else [self.root / "bin/TorvelAssistant.x64"]
        self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL, env=self.env, start_new_session=True)
        wait_until(self.status, "the Assistant", 30)

    def status(self):
        """The Assistant's answer, empty without an Assistant."""
        with suppress(OSError), socket.create_connection(("127.0.0.1", PORT), 5) as peer, peer.makefile("rb") as stream:
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


@pytest.fixture(scope="session")
def assembled(tmp_path_factory):
    root = tmp_path_factory.mktemp("sample") / "ws"
    subprocess.run([SAMPLE / "assemble", root], check=True)
    return root


@pytest.fixture
def sample(product, tmp_path, assembled):
    yield (made := Sample(product, tmp_path, assembled))
    if made.process:
        os.killpg(made.process.pid, signal.SIGKILL)  # a restarted Assistant is another process of the same session
        made.process.wait()
        wait_until(lambda: not made.status(), "the Assistant's end")
