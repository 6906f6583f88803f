"""The launcher ends with its parent, wherever it is waiting, and runs on where it has none to watch."""
import subprocess
import time

import pytest

from conftest import LIMIT, wait_until

UNKNOWN = "Warning: Parent process unknown, cannot terminate on its exit\n"
UNOPENED = "Warning: Failed to get handle to parent process, cannot terminate on its exit\n"


@pytest.mark.parametrize("where", ["socket", "child", "java"])
def test_parent_killed(workspace, product, assistant, where):
    {"java": lambda: workspace.use_jvm("sleeps=30000"), "child": lambda: workspace.use_java("sleeps=3000"),
     "socket": lambda: assistant.scripts.append(lambda c: (c.status(), c.read_request()))}[where]()
    run = workspace.start("Build", "T", *([] if where == "socket" else ["--assistant=false"]), own_parent=True)
    wait_until(lambda: assistant.opened() == 2 or any(line.startswith(("call ", "in ")) for line in workspace.logged()), "the wait")
    time.sleep(0.2)  # the watcher is a thread of its own and may be the last to find its place
    began = time.monotonic()
    run.kill_parent()
    assert run.wait().all() == (product.code(1), "", "")
    assert time.monotonic() - began < 1
    if where == "socket":
        assistant.wait_for_closes(2, 1)
    if where == "child":  # which goes on without the launcher
        wait_until(lambda: workspace.logged()[-1] == "done", "the end of the child")


def test_parent_ended_before_the_launcher_starts(workspace, product):
    if not product.windows:
        pytest.skip("the host gives an orphan another parent at once")
    workspace.use_jvm("sleeps=300,exit=4")  # long enough for the watcher to give up
    run = workspace.start("Checksum", own_parent=True, suspended=True)
    run.parent.end()
    run.watch(run.thread)
    assert run.wait().all() == (4, UNOPENED, "")


def test_parent_out_of_sight(workspace, product):
    """The first process of a process space of its own has no parent that it could see."""
    if product.windows:
        pytest.skip("Windows has no process spaces")
    space = ["unshare", "--map-root-user", "--fork", "--pid", "--mount-proc"]
    if subprocess.run([*space, "true"], capture_output=True).returncode:
        pytest.skip("this user may not make a process space")
    workspace.use_jvm("sleeps=300,exit=4")
    run = subprocess.run([*space, product.program, "Checksum"], cwd=workspace.root, env=workspace.env | {"PATH": "/usr/bin"},
                         capture_output=True, timeout=LIMIT)
    assert (run.returncode, run.stdout.decode(), run.stderr) == (4, UNKNOWN, b"")
