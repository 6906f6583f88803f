"""The sample's Java program and Assistant, through the launcher: two independent sides of one protocol prove each other."""
import hashlib
import pathlib
import shutil
import time
import zlib

import pytest
from harness import UPDATE_SET, read_text, wait_until

COMPILED = "".join(f"Compiling {file}.java\n" for file in ("engine/World", "engine/math/Vector", "game/Game", "game/Player"))
BUILT = COMPILED + "Compiled 4 files.\n"
BROKEN = "Compiling broken/Broken.java\n"


def test_java_commands(sample):
    """In the launcher's own process, without an Assistant."""
    source = (sample.root / "game" / "Game.java").read_bytes()
    sums = f"CRC-32   {zlib.crc32(source):08x}\nSHA-256  {hashlib.sha256(source).hexdigest()}\n"
    for args, code, out in [
        (["Checksum", "game/Game.java"], 0, sums),
        (["Checksum", "nonesuch"], 1, ""),
        (["ListDependencies", "game", "Release"], 0, "game imports engine, engine/math\nengine imports nothing\n"),
        (["Build", "game", "Release"], 0, BUILT),
        (["Launch", "--configuration=Release", "game.Game", "3"], 3, "Step 3: "),
        (["Checksum", "-Xnonesuch", "--debug"], 1, "\nJava process returned 1\n"),
        (["AssistantClose"], 1, ""),
    ]:
        result = sample.run(*args)
        assert result.code == code and out in result.out and bool(result.err) == (code == 1), (args, result)


def test_update_and_builds(sample):
    """An Assistant of an older version is brought to the launcher's with real files, restarts and builds."""
    sample.open_assistant("2.8.9")
    before = sample.status()
    out = "Version mis-match, restarting Assistant with version 2.8.10\n" + BUILT
    assert (before["version"], *sample.run("Build", "game", "Release").all()) == ("2.8.9", 0, out, "")
    after = sample.status()
    assert (after["version"], after["cwd"], after["pid"] != before["pid"]) == ("2.8.10", before["cwd"], True)
    assert {file.name: file.read_bytes() for file in sample.directory.iterdir()} == {
        source.replace(".x64", ".exe"): (sample.root / "bin" / source).read_bytes() for source in UPDATE_SET}

    broken = sample.run("Build", "broken", "Release")
    assert (broken.code, broken.out) == (1, BROKEN) and broken.err.startswith("broken/Broken.java:7: error: ")
    seen = sample.run("Build", "math", "Release", "--verbose", cwd="engine", env={"SAMPLE_GREETING": "a|b=50%"})
    assert seen.all() == (0, f"Workspace: {sample.root}\nGreeting: a|b=50%\nEverything is up to date.\n", "")
    assert sample.run("AssistantClose").all() == (0, "The Assistant has ended.\n", "")
    wait_until(lambda: not sample.status(), "the Assistant's end")


def start_build(sample, **how):
    """A build of several seconds, which has begun; its launcher waits for it."""
    sample.open_assistant()
    run = sample.start("Rebuild", "game", "Release", "--pause=400", **how)
    wait_until(lambda: "Compiling" in read_text(run.files[0]), "the build's start")
    return run


def test_one_build_at_a_time(sample):
    """The second launcher waits its turn, and each gets its own output."""
    first = start_build(sample)
    second = sample.start("Build", "broken", "Release")
    assert first.wait().all() == (0, "Removed 0 files.\n" + BUILT, "")
    result = second.wait()
    assert (result.code, result.out) == (1, BROKEN)
    assert first.files[0].stat().st_mtime_ns <= second.files[0].stat().st_mtime_ns


@pytest.mark.parametrize("end", ["kill", "kill_parent"])
def test_launcher_that_goes_cancels_its_build(sample, end):
    """Within a second, whether it was killed or went with its parent; the next build is not disturbed."""
    run = start_build(sample, own_parent=end == "kill_parent")
    began = time.monotonic()
    getattr(run, end)()
    assert sample.run("Clean", "game", "Release").code == 0
    assert time.monotonic() - began < 1
    assert run.wait().code == {"kill": -9, "kill_parent": 1}[end]
    assert sample.run("Build", "game", "Release").out.endswith(BUILT)


def test_modern_java_without_the_layers_help(sample, tmp_path):
    """A runtime whose version cannot be read gets the retired collector: refused, unless the user says to ignore it."""
    home = pathlib.Path(shutil.which("java")).resolve().parents[1]
    left_out = shutil.ignore_patterns("release", "legal", "man", "jmods", "src.zip")
    java = shutil.copytree(home, tmp_path / "jdk", symlinks=True, ignore=left_out)
    env = {"PATH": str(java / "bin"), "LD_LIBRARY_PATH": str(java / "lib/server"), "TORVEL_HOST_REGISTRY": "/nowhere"}
    refused = sample.run("Checksum", "game/Game.java", "--debug", env=env)
    assert refused.code == 1 and "Unrecognized VM option 'UseConcMarkSweepGC'" in refused.out + refused.err
    accepted = sample.run("Checksum", "game/Game.java", "--debug", "-XX:+IgnoreUnrecognizedVMOptions", env=env)
    assert accepted.code == 0 and "Created VM" in accepted.out and "Created VM" not in refused.out
