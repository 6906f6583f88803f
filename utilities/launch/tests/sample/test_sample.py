"""The sample's Java program and Assistant with the launcher: two independent sides of the protocol."""
import socket

import harness
import pytest
from harness import MISMATCH, TARGETS, UPDATE_SET, VERSION, read_text, rows, wait_until
from scripted_assistant import PORT, text

SOURCES = ("engine/World", "engine/math/Vector", "game/Game", "game/Player")
COMPILED = [f"Compiling {file}.java\n" for file in SOURCES]
BUILT = "".join(COMPILED) + "Compiled 4 files.\n"


@pytest.mark.linux_only
def test_java_commands_without_an_assistant(sample):
    for args, code, out in rows([
            ("Checksum nonesuch", 1, ""), ("AssistantClose", 1, ""), ("Validate nonesuch Release", 1, ""),
            ("ListDependencies game Release", 0, "game imports engine, engine/math\nengine imports"),
            ("Build game Release", 0, BUILT), ("Launch --configuration=Release game.Game 3", 3, "Step 3: "),
            ("Checksum -Xnonesuch --debug", 1, "\nJava process returned 1\n")]):
        result = sample.run(*args.split())
        assert result.code == code and out in result.out and bool(result.err) == (code == 1)


def test_update_and_builds(sample):
    """The launcher updates an older Assistant with real files; it restarts and builds."""
    (left := sample.home / "TorvelAssistant.copies/7").mkdir(parents=True)
    (left / "Torvel.jar").touch()
    sample.open_assistant("2.8.9")
    assert left.exists() != sample.product.windows
    before = sample.status()
    out = MISMATCH + BUILT
    assert sample.run("Build", "game", "Release") == (0, out, "") and before["version"] == "2.8.9"
    after = sample.status()
    assert after["pid"] != before["pid"] and after == before | {"version": VERSION, "pid": after["pid"]}
    for source, copy in zip(UPDATE_SET, TARGETS):
        assert (sample.home / copy).read_bytes() == (sample.root / "bin" / source).read_bytes()
    env = {"SAMPLE_GREETING": "a|b=50%25"}
    seen = sample.run("Build", "math", "Release", "--verbose", cwd=sample.root / "engine", env=env)
    told = f"Workspace: {sample.native_root}\nGreeting: a|b=50%25\nEverything is up to date.\n"
    assert seen == (0, told, "")
    assert sample.run("AssistantClose") == (0, "The Assistant has ended.\n", "")
    wait_until(lambda: not sample.status(), "the Assistant's end")


@pytest.mark.parametrize("ends, pause, code", [(False, 400, 0), (True, 60000, 1)])
def test_one_build_at_a_time(sample, ends, pause, code):
    """The second launcher waits until the first build ends, here also by the end of its launcher's parent."""
    sample.open_assistant()
    first = sample.start("Rebuild", "game", "Release", f"--pause={pause}", own_parent=ends)
    wait_until(lambda: "Compiling" in read_text(first.files.out), "the build's start")
    if ends:
        first.kill_parent()
    second = sample.run("Build", "broken", "Release")
    left = "".join(COMPILED[:2]) if ends else ""
    assert (second.code, second.out) == (1, left + "Compiling broken/Broken.java\n")
    assert second.err.startswith("broken/Broken.java:7: error: ")
    assert first.wait() == (code, "Removed 0 files.\n" + (COMPILED[0] if ends else BUILT), "")


def test_build_requested_during_a_restart(sample):
    """The old Assistant still runs a build that is queued behind the restart, then it ends."""
    sample.open_assistant()
    before = sample.status()
    first = sample.start("Rebuild", "game", "Release", "--pause=60000", own_parent=True)
    wait_until(lambda: "Compiling" in read_text(first.files.out), "the build's start")
    with socket.create_connection(("127.0.0.1", PORT), harness.limit) as peer:
        peer.sendall(text("Status") + text("Restart"))
        second = sample.start("Build", "game", "Release", "--debug")
        wait_until(lambda: "Keep-alive Connected" in read_text(second.files.out), "the second request")
        first.kill_parent()
        result = second.wait()
        assert result.code == 0 and result.out.count("\nCompiled 4 files.\n") == 1, result
        first.wait()
        while peer.recv(1024):  # until the old Assistant ends
            pass
    wait_until(sample.status, "the new Assistant")
    assert sample.status()["pid"] != before["pid"]


@pytest.mark.linux_only
def test_build_that_breaks_off(sample):
    """An exception of the compiler ends the build with an exit code."""
    (sample.root / "deep").mkdir()
    (sample.root / "deep/Deep.java").write_text(f"class Deep {{ int x = {'(' * 30000}1{')' * 30000}; }}")
    sample.open_assistant()
    broken = "The build broke off: java.lang.IllegalStateException: java.lang.StackOverflowError\n"
    assert sample.run("Validate", "deep", "Release") == (1, "Validating deep/Deep.java\n", broken)
