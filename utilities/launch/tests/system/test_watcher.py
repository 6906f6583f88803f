"""The launcher ends with its parent, wherever it is waiting, and runs on where it has none to watch."""
import time

import pytest
from harness import wait_until


@pytest.mark.parametrize("where", ["socket", "child", "java"])
def test_parent_killed(workspace, product, assistant, where):
    {"java": lambda: workspace.use_jvm("sleeps=30000"), "child": lambda: workspace.use_java("sleeps=3000"),
     "socket": lambda: assistant.scripts.append(lambda c: (c.status(), c.read_request()))}[where]()
    run = workspace.start("Build", "T", *([] if where == "socket" else ["--assistant=false"]), own_parent=True)
    wait_until(lambda: assistant.connections[1:] or {"call", "in"} & {line.split()[0] for line in workspace.logged()}, "the wait")
    time.sleep(0.2)  # the watcher is a thread of its own and may be the last to find its place
    began = time.monotonic()
    run.kill_parent()
    assert run.wait() == (product.code(1), "", "")
    assert time.monotonic() - began < 1
    if where == "socket":
        assistant.wait_for(assistant.closes, 2, 1)
    if where == "child":  # which goes on without the launcher
        wait_until(lambda: workspace.logged()[-1] == "done", "the end of the child")
