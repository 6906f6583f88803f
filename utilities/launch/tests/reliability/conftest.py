"""What the reliability tests share, on top of the harness of the system tests; for the host's product alone.
`--long` makes the full number of runs (see scripts/soak); without it each test is a sample of a few seconds."""
import contextlib
import socketserver
import threading

import pytest
from sample_workspace import assembled, sample  # noqa: F401: fixtures
from scripted_assistant import NULL, PORT, number, text

FIGURES = []


def pytest_addoption(parser):
    parser.addoption("--long", action="store_true", help="the full number of runs")


def pytest_terminal_summary(terminalreporter):
    terminalreporter.write("".join(f"{figure}\n" for figure in FIGURES))


@pytest.fixture
def figure():
    """Notes a line for the end of the whole run."""
    return FIGURES.append


@pytest.fixture
def scale(request):
    """Chooses between the short and the long form's number."""
    return lambda short, long: long if request.config.getoption("--long", False) else short


class TolerantAssistant(socketserver.ThreadingTCPServer):
    """For many launchers: it keeps nothing of them, and one that breaks off or speaks nonsense ends its own
    conversation and nothing else. A thread per connection; `output` writes a build's answer."""
    allow_reuse_address, daemon_threads, request_queue_size = True, True, 512
    version, directory = "2.8.10", "/nowhere"

    def answer(self, *lines, code=5):
        data = b"".join(map(text, lines)) + NULL + number(code)
        self.output = lambda connection, parameters: connection.sendall(data)

    def finish_request(self, connection, _):
        def read_text():  # ASCII alone, as the tests have nothing else
            return stream.read(int.from_bytes(stream.read(4), "big")).decode("ascii")

        with contextlib.suppress(OSError, ValueError), connection.makefile("rb") as stream:
            while (request := read_text()) == "Status":
                connection.sendall(text(f"cwd={self.directory}|version={self.version}"))
            if request == "Restart":
                self.version = "2.8.10"
            elif request:  # a build
                self.output(connection, [read_text() for _ in range(int.from_bytes(stream.read(4), "big"))])
                stream.read()  # until the launcher's end


@pytest.fixture
def assistant():
    with TolerantAssistant(("127.0.0.1", PORT), None) as running:
        running.answer()
        thread = threading.Thread(target=running.serve_forever, args=(0.05,))
        thread.start()
        yield running
        running.shutdown()
        thread.join()


@pytest.fixture
def behind(workspace, product, tmp_path, monkeypatch):
    """Has a shell command run the launcher, which is "$@" there with its arguments."""
    def replace(command):
        workspace.env["PATH"] += ":/usr/bin:/bin"
        (script := tmp_path / "behind").write_text(f'#!/bin/bash\nset -- "{product.program}" "$@"\n{command}\n')
        script.chmod(0o755)
        monkeypatch.setattr(product, "program", script)

    return replace
