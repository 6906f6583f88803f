"""The sample's Java program and Assistant, through the launcher: two independent sides of one protocol prove each other."""
import hashlib
import time
import zlib

import pytest
from harness import UPDATE_SET
from sample_workspace import wait_until

MISMATCH = "Version mis-match, restarting Assistant with version 2.8.10\n"
COMPILED = "".join(f"Compiling {file}.java\n" for file in ("engine/World", "engine/math/Vector", "game/Game", "game/Player"))
BROKEN = ("Compiling broken/Broken.java\n", "broken/Broken.java:7: error: ", "Build failed: 2 errors.\n")
FRESH = "Everything is up to date.\n"


def test_java_commands(sample):
    """In the launcher's own process, without an Assistant."""
    source = (sample.root / "game" / "Game.java").read_bytes()
    sums = f"CRC-32   {zlib.crc32(source):08x}\nSHA-256  {hashlib.sha256(source).hexdigest()}\n"
    for args, code, out in [
        (["Checksum", "game/Game.java"], 0, sums),
        (["Checksum", "nonesuch"], 1, ""),
        (["NetInfo"], 0, "  127.0.0.1\n"),
        (["ListDependencies", "game", "Release"], 0, "game imports engine, engine/math\nengine imports nothing\n"),
        (["Build", "game", "Release"], 0, COMPILED + "Compiled 4 files.\n"),
        (["Launch", "--configuration=Release", "game.Game", "3"], 3, "Step 3: "),
        (["Validate", "unfinished", "Release"], 1, "Validating unfinished/Unfinished.java\n"),
        (["AssistantClose"], 1, ""),
    ]:
        result = sample.run(*args)
        assert result.code == code and out in result.out and bool(result.err) == (code == 1), (args, result)
    assert sample.run("Checksum", "game/Game.java", env={"TORVEL_HOST_REGISTRY": "/nowhere"}).all() == (0, sums, "")


def test_update_and_builds(sample):
    """An Assistant of an older version is brought to the launcher's with real files, restarts and builds."""
    sample.open_assistant("2.8.9")
    before = sample.status()
    assert before["version"] == "2.8.9"
    assert sample.run("Build", "game", "Release").all() == (0, MISMATCH + COMPILED + "Compiled 4 files.\n", "")
    after = sample.status()
    assert (after["version"], after["cwd"], after["pid"] != before["pid"]) == ("2.8.10", before["cwd"], True)
    for source in UPDATE_SET:
        target = sample.directory / source.replace("TorvelAssistant.x64", "TorvelAssistant.exe")
        assert target.read_bytes() == (sample.root / "bin" / source).read_bytes()
    assert {path.name for path in sample.directory.iterdir()} == {"TorvelAssistant.exe", *UPDATE_SET[1:]}

    assert sample.run("Build", "game", "Release").all() == (0, FRESH, "")
    broken = sample.run("Build", "broken", "Release")
    assert (broken.code, broken.out) == (1, BROKEN[0]) and broken.err.startswith(BROKEN[1]) and broken.err.endswith(BROKEN[2])
    below = sample.run("Rebuild", "math", "Release", cwd="engine")
    assert below.all() == (0, "Removing out/Release/engine/math/Vector.class\nRemoved 1 file.\n"
                              "Compiling engine/math/Vector.java\nCompiled 1 file.\n", "")
    seen = sample.run("Build", "game", "Release", "--verbose", env={"SAMPLE_GREETING": "a|b=50%"}).out
    assert f"Workspace: {sample.root}\nGreeting: a|b=50%\n" in seen
    assert sample.run("Scrub", "game", "Release").out.startswith("Removed out/ with ")
    assert sample.run("AssistantClose").all() == (0, "The Assistant has ended.\n", "")
    wait_until(lambda: not sample.status(), "the Assistant's end")


def start_build(sample, **how):
    """A build of several seconds, which has begun; its launcher waits for it."""
    sample.open_assistant()
    run = sample.start("Rebuild", "game", "Release", "--pause=400", **how)
    wait_until(lambda: run.files[0].exists() and b"Compiling" in run.files[0].read_bytes(), "the build's start")
    return run


def test_one_build_at_a_time(sample):
    """The second launcher waits its turn, and each gets its own output."""
    first = start_build(sample)
    second = sample.start("Build", "broken", "Release")
    assert first.wait().all() == (0, "Removed 0 files.\n" + COMPILED + "Compiled 4 files.\n", "")
    result = second.wait()
    assert (result.code, result.out) == (1, BROKEN[0])
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
    assert sample.run("Build", "game", "Release").out.endswith(COMPILED + "Compiled 4 files.\n")
