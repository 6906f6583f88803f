"""Looks at the products as they are handed out:

    pytest utilities/launch/tests/packaging --product host --build build/host
    pytest utilities/launch/tests/packaging --product windows --build build/windows     (after its target `package`)
"""
import pathlib

import pytest


def pytest_addoption(parser):
    parser.addoption("--product", choices=("host", "windows"), default="host")
    parser.addoption("--build", type=pathlib.Path, help="build folder, build/<product> by default")


def pytest_collection_modifyitems(config, items):
    product = config.getoption("--product")
    other = [item for item in items if item.module.__name__ != f"test_{product}"]
    config.hook.pytest_deselected(items=other)
    items[:] = [item for item in items if item not in other]


@pytest.fixture(scope="session")
def build(request):
    root = pathlib.Path(__file__).parents[4]
    return (request.config.getoption("--build") or root / "build" / request.config.getoption("--product")).absolute()
