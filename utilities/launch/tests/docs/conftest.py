"""Holds the documents, the manual page, the completion and the installation against the sources and the host's product."""
import pathlib

import pytest

def pytest_addoption(parser):
    parser.addoption("--product", choices=("host",), default="host")
    parser.addoption("--build", type=pathlib.Path, default=pathlib.Path(__file__).parents[4] / "build/host")


@pytest.fixture
def build(request):
    return request.config.getoption("--build").absolute()
