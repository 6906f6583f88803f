"""Options and fixtures for every folder. The product must be built.

    pytest utilities/launch/tests/FOLDER --product linux --build build/linux
    pytest utilities/launch/tests/FOLDER --product windows --build build/windows     (under Wine)

The packaging tests need the build target `package`.
"""
import pathlib
import socket

import harness
import pytest
from harness import Linux, Windows, Workspace, end_wine, registry_text
from scripted_assistant import PORT, ScriptedAssistant


def pytest_addoption(parser):
    parser.addoption("--product", choices=("linux", "windows"), default="linux")
    parser.addoption("--build", type=pathlib.Path, help="build folder, build/<product> by default")


def pytest_configure(config):
    harness.limit = harness.LIMITS[config.getoption("--product")]


def pytest_collection_modifyitems(config, items):
    """Leaves out the tests of the other product."""
    others = {"linux": "windows_only", "windows": "linux_only"}[config.getoption("--product")]
    items[:] = [item for item in items if not item.get_closest_marker(others)]


FAILED = pytest.StashKey[bool]()
hanging = {}  # modules, each with its test that hung


def needs_assistant(item):
    return {"assistant", "sample"} & set(item.fixturenames)


def pytest_runtest_setup(item):
    """After a hang, which costs a limit, no test of the module waits for an Assistant."""
    harness.story.clear()
    if item.module in hanging and needs_assistant(item):
        pytest.skip(f"not run, since {hanging[item.module]} hung")


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    """Adds to a failure what the test did last. A teardown's error stands behind the test's own failure."""
    report = (yield).get_result()
    if report.failed and call.when == "teardown" and item.stash.get(FAILED, False):
        report.sections.append(("teardown failed, too", str(report.longrepr)))
        report.outcome = "passed"
    elif report.failed:
        item.stash[FAILED] = True
        told = [*harness.story[:1], *harness.story[1:][-2:], item.funcargs.get("assistant", "")]
        report.sections.append(("what came before", "\n".join(map(str, told))))
        if call.excinfo.errisinstance(harness.Hang) and needs_assistant(item):
            hanging[item.module] = item.name


@pytest.fixture(scope="session")
def build(request):
    usual = pathlib.Path(__file__).parents[3] / "build" / request.config.getoption("--product")
    return (request.config.getoption("--build") or usual).absolute()


@pytest.fixture(scope="session")
def product(request, build, tmp_path_factory):
    with socket.socket() as probe:
        if probe.connect_ex(("127.0.0.1", PORT)) == 0:
            pytest.exit(f"port {PORT}, where the Assistant listens, is taken", 2)
    kind = {"linux": Linux, "windows": Windows}[request.config.getoption("--product")]
    made = kind(build, tmp_path_factory.mktemp("runs"))
    yield made
    if made.windows:
        end_wine(made.wine_env)


@pytest.fixture
def workspace(product, tmp_path):
    return Workspace(product, tmp_path)


@pytest.fixture
def registry(product, tmp_path):
    """Registers keys with their values. Runs need the environment that it returns."""
    yield lambda keys, folder="": product.registry(tmp_path, registry_text(folder, keys))
    if product.windows:  # its runs share one registry
        product.registry(tmp_path, registry_text("", {"Torvel": None, "JavaSoft": None}))


@pytest.fixture
def assistant():
    with ScriptedAssistant() as running:
        yield running
