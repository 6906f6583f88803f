"""What the reliability tests share, on top of the harness of the system tests (host only).

    pytest utilities/launch/tests/reliability --product host --build build/host [--long]

`--long` makes the full number of runs (see scripts/soak); without it each test is a sample of a few seconds.
"""
import copy
import shlex

import pytest
from sample_workspace import assembled, sample  # noqa: F401: fixtures
from tolerant_assistant import TolerantAssistant

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
    return lambda short, long: long if request.config.getoption("--long") else short


@pytest.fixture
def assistant():
    with TolerantAssistant() as running:
        yield running


@pytest.fixture
def behind(product, tmp_path):
    """The product whose launcher is run by a shell command, which gets the program and its arguments as "$@"."""

    def make(command):
        script = tmp_path / "behind"
        script.write_text(f"#!/bin/bash\nset -- {shlex.quote(str(product.program))} \"$@\"\n{command}\n")
        script.chmod(0o755)
        wrapped = copy.copy(product)
        wrapped.program = script
        return wrapped

    return make
