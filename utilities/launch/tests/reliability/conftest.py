"""Fixtures of the reliability tests, which are for the Linux product only and print their figures."""
import contextlib
import struct

import pytest
from harness import VERSION
from scripted_assistant import NULL, ScriptedAssistant, number, text


class TolerantAssistant(ScriptedAssistant):
    """An invalid or broken conversation ends alone; the others go on. `output` sends the output of a build."""
    version, directory = VERSION, "/nowhere"

    def answer(self, *lines, code=5):
        data = b"".join(map(text, lines)) + NULL + number(code)
        self.output = lambda connection, parameters: connection.send(data)

    def serve(self, index, connection):
        with contextlib.suppress(OSError, ValueError, struct.error), connection.peer:
            while (request := connection.read_text()) == "Status":
                connection.send(text(f"cwd={self.directory}|version={self.version}"))
            if request == "Restart":
                self.version = VERSION
            else:
                self.output(connection, [connection.read_text() for _ in range(connection.read_number())])
                connection.read(1)  # until the launcher ends


@pytest.fixture
def assistant():
    with TolerantAssistant() as running:
        running.answer()
        yield running


@pytest.fixture
def behind(workspace, product, tmp_path, monkeypatch):
    """Makes a shell command start the launcher, which is "$@" there, with its arguments."""
    def replace(command):
        workspace.env["PATH"] += ":/usr/bin:/bin"
        script = tmp_path / "behind"
        script.write_text(f'#!/bin/bash\nset -- "{product.program}" "$@"\n{command}\n')
        script.chmod(0o755)
        monkeypatch.setattr(product, "program", script)

    return replace
