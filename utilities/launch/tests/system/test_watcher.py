"""The launcher ends with its parent, wherever it is waiting, and all it had to say has left it by then."""
import pytest
from harness import read_text, wait_until

# Where it waits; what it said last. While the system loads a library, the orderly exit would wait for that.
PLACES = {"socket": "Keep-alive Connected", "child": "Found java @", "java": "Calling main...",
          "loader": "Locating JVM DLL and creating VM..."}


@pytest.mark.parametrize("where", PLACES)
def test_parent_killed(workspace, product, assistant, where):
    if where == "socket":
        assistant.scripts.append(lambda c: (c.status(), c.read_request()))
    elif where == "child":
        workspace.use_java("sleeps=3000")
    else:
        workspace.use_jvm("sleeps=60000" if where == "java" else "load-sleeps=60000")
    options = [] if where == "socket" else ["--assistant=false"]
    run = workspace.start("Build", "T", "--debug", *options, own_parent=True)
    begun = {"call", "in", "loading"}  # the fakes' words for it
    wait_until(lambda: assistant.connections[1:] or begun & {line.split()[0] for line in workspace.logged()},
               "the wait")
    # The watcher is a thread of its own and may be the last to find its place.
    if product.windows:
        wait_until(lambda: run.reported("^watched"), "the watcher")
    else:  # here its handle of the parent is to be seen, beside the two of a child
        wait_until(lambda: run.held_processes() == (3 if where == "child" else 1), "the watcher")
    said = read_text(run.files.out)
    assert PLACES[where] in said.splitlines()[-1]
    run.kill_parent()
    result = run.wait()
    assert (result.code, result.err, result.out) == (product.code(1), "", product.lines(said))
    if where == "socket":
        assistant.wait_for(assistant.closes, 2)
    if where == "child":  # which goes on without the launcher
        wait_until(lambda: workspace.logged()[-1] == "done", "the end of the child")
