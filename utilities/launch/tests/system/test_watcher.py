"""The launcher ends when its parent ends, in every state, and has written all its output by then."""
import threading

import harness
import pytest
from harness import read_text, wait_until

# Where the launcher waits, and the last line that it printed. In "loader" another thread holds the lock of the
# system's library loader, so that exit() hangs and the launcher terminates itself.
PLACES = {"socket": "Keep-alive Connected", "child": "Found java @", "java": "Calling main...",
          "loader": "Locating JVM DLL and creating VM..."}


@pytest.mark.parametrize("where", PLACES)
def test_parent_killed(workspace, product, assistant, where):
    watched = threading.Event()
    if where == "socket":
        assistant.scripts.append(lambda c: (c.status(), c.read_request()))
    elif where == "child":
        workspace.use_java("waits")
    elif where == "java":
        workspace.use_jvm("logs-exit,sleeps=600000")
    else:  # on Windows no thread starts while the lock is held, so an Assistant keeps the launcher from it
        workspace.use_jvm("load-sleeps=600000")
        workspace.add_update_set()
        older = f"cwd={product.path(workspace.tools)}|version=2.8.9"
        assistant.scripts.append(
            lambda c: (c.status(older), watched.wait(harness.limit), assistant.stop_listening(), c.close()))
    options = ["--assistant=false"] if where in ("child", "java") else []
    run = workspace.start("Build", "T", "--debug", *options, own_parent=True)
    if product.windows:
        wait_until(lambda: run.reported("^watched"), "the watcher")
    else:  # its handle of the parent is visible, beside the two of a child
        wait_until(lambda: run.held_processes() == (3 if where == "child" else 1), "the watcher")
    watched.set()
    begun = {"call", "in", "loading"}  # first words of the fakes' last log lines
    wait_until(lambda: assistant.connections[1:] or begun & {line.split()[0] for line in workspace.logged()},
               "the wait")
    wait_until(lambda: PLACES[where] in read_text(run.files.out).rpartition("\n")[0].rpartition("\n")[2],
               "the last line")
    said = read_text(run.files.out)
    run.kill_parent()
    result = run.wait(more=10)  # which "loader" needs
    assert (result.code, result.err, result.out) == (product.code(1), "", product.lines(said))
    if where == "socket":
        wait_until(lambda: len(assistant.closes) == 2, "the end of both connections")
    if where == "java":
        assert workspace.logged()[-1] == "exit handlers"
    if where == "child":  # the child does not end with the launcher
        assert workspace.logged()[-1] != "done"
        workspace.add("end")
        wait_until(lambda: workspace.logged()[-1] == "done", "the end of the child")
