"""The command line, the commands and the search for the workspace."""
import os
import re

import pytest
from harness import COMMANDS, VERSION, failure, rows

OUTSIDE = failure("Unable to locate Torvel's path from current working directory")


def unknown(name):
    return failure(f"Command '{name}' not found")


def test_usage(workspace, product):
    """For a request of help and where no command is left."""
    shown = workspace.run("--help")
    assert shown.out.startswith(f"Torvel Launcher {VERSION}\n\nUsage: Torvel <command> [launch options]\n\n")
    assert (shown.code, shown.err) == (product.code(-1), "")
    for args in rows([[], ["-help"], ["--vok", "--assistant=false", "-Xint"]]):
        assert workspace.run(*args) == shown
    assert workspace.run("--debug") == shown._replace(out="Launching...\n" + shown.out)


# Arguments, failure.
REFUSED = [
    (["--HELP"], unknown("--help")),
    (["\xc4BILD=1"], unknown("\xc4bild")),  # only ASCII letters are folded
    (["%s%n"], unknown("%s%n")),
    ([""], unknown("")),
    (["-xmx1g"], unknown("-xmx1g")),
    (["B" * 5000], unknown("b" * 5000)),
    (["-help", "x"], unknown("-help")),
    (["Bild", *(f"a{i}" for i in range(3000))], unknown("bild")),
    (["--workspace=.", "Build"], unknown("--workspace")),
    (["Bild", "--workspace=nonesuch", "--jar=x"], OUTSIDE),
    (["--jar=bin", "--vok", "Checksum"], OUTSIDE),
]


def test_refused(workspace, product):
    for args, out in rows(REFUSED):
        assert workspace.run(*args) == (product.code(-1), out, "")


@pytest.mark.windows_only
@pytest.mark.parametrize("out", ["|", ""], ids=["pipe without a reader", "no output"])
def test_nobody_reads(workspace, product, out):
    assert workspace.run("--help", out=out) == (product.code(-1), "", "")


def test_failed_search(workspace, product, tmp_path):
    """Outside a workspace the failure is about the directory, not the command."""
    outside = tmp_path / "outside" / "100%s here"
    outside.mkdir(parents=True)
    not_in = "".join(f"Not in {product.path(folder)}...\n" for folder in [outside, *outside.parents])
    paths = "bin/\nBuild/Torvel/\nbuild/torvel/\nbuild/torvel/bin/\n"
    not_within = failure("Unable to locate Torvel within workspace")
    for cwd, option, searched in rows([
            (outside, "-Xa", paths + not_in + OUTSIDE),
            (outside, "--jar=a;b/;c\\", "a/\nb/\nc\\\n" + not_in + OUTSIDE),
            (outside, "--workspace=no", paths + not_within),
            (workspace.game, "--workspace=..", paths + not_within)]):  # no search above the given one
        out = f"Launching...\nSearch for Torvel.jar and torvel-win64.dll in\n{searched}"
        assert workspace.run("--debug", "Bild", option, cwd=cwd) == (product.code(-1), out, "")


def test_directory_that_cannot_be_entered_again(workspace, product, tmp_path):
    """Its name has no exact form in the code page. Continuing would build another target."""
    start = workspace.root / "src" / ("\u0416\u0443\u043a" if product.windows else "a\\b")
    start.mkdir()
    assert workspace.run("Build", "T", cwd=start) == (product.code(-1), OUTSIDE, "")
    not_within = (product.code(-1), failure("Unable to locate Torvel within workspace"), "")
    given = f"--workspace={workspace.native()}"
    assert workspace.run("Build", "T", given, cwd=start) == not_within
    if not product.windows:  # where a link's target is no current directory
        workspace.add("src/a\\b/bin/Torvel.jar")
        (workspace.root / "link").symlink_to(start)
        assert workspace.run("Build", "T", "--workspace=link") == not_within
    (beside := tmp_path / start.name).mkdir()  # no way back is needed from a workspace that does not lie above
    result = workspace.run("Bild", "--debug", given, cwd=beside)
    assert result == (product.code(-1), workspace.search() + unknown("bild"), "")


# Arguments, directory to start in, what the search says.
FOUND = [
    (["--workspace=", "--Vok", "--Jar=x", "--Workspace=x"], "src/game",
     dict(not_in=("src/game", "src"), start="src/game/")),
    # --workspace has no effect beside these: it would keep the search from climbing.
    (["--vok=0", "--jar=bin", "--workspace=."], "src", dict(
        not_in=["src"], start="src/", jar="VokTools/bin/", lib="VokTools/bin/lib/", listed=["VokTools/bin/"])),
    (["--jar=none;;tools\\jars\\;bin", "--workspace=."], "src", dict(
        not_in=["src"], start="src/", jar="tools\\jars\\", lib="tools\\jars\\swt/",
        listed=["none/", "./", "tools\\jars\\", "bin/"])),
    (["--jar=all/"], ".", dict(jar="all/", lib="all/", listed=["all/"])),
    (["--workspace=..\\.."], "src/game", dict(start="src/game/")),
    (["--workspace=src"], ".", {}),  # no workspace: the start directory counts
]


def test_search(workspace, product):
    workspace.add(*(f"{folder}/Torvel.jar" for folder in ("build/torvel/bin", "VokTools/bin", "tools/jars")))
    workspace.add("all/Torvel.jar", "tools/jars/swt/torvel-win64.dll",
                  *(f"all/{below}torvel-win64.dll" for below in ("", "swt/", "lib/")))
    (workspace.root / "none/Torvel.jar").mkdir(parents=True)  # a directory is no jar
    for args, cwd, said in rows(FOUND):
        if product.windows and "start" in said:
            said = said | {"start": said["start"].replace("src/game", "src\\game")}
        expected = (product.code(-1), workspace.search(**said) + unknown("bild"), "")
        assert workspace.run("Bild", "--debug=no", *args, cwd=workspace.root / cwd) == expected


@pytest.mark.linux_only
def test_pipes_are_no_files(workspace, tmp_path):
    """The launcher does not wait for a pipe in place of a jar, library, release file or registry."""
    registry = tmp_path / "registry"
    (workspace.root / "src/bin").mkdir()
    for pipe in ("src/bin/Torvel.jar", "bin/torvel-win64.dll", tmp_path / "release", registry):
        os.mkfifo(workspace.root / pipe)
    workspace.use_java("exit=9")
    assert workspace.run("Checksum", cwd=workspace.game, env={"TORVEL_REGISTRY": str(registry)}).code == 9


def test_every_command_reaches_its_class(workspace, product):
    workspace.use_jvm("exit=5", workspace.root if product.windows else None)  # a runtime may also lie in the root
    assert set(re.findall(r"^\t(\w+)", workspace.run().out, re.M)) <= set(COMMANDS)
    for i, name in rows(enumerate(COMMANDS)):
        workspace.log.unlink(missing_ok=True)
        typed = (name.lower(), name.upper(), name.swapcase())[i % 3]
        assert workspace.run("--assistant=false", typed, "--help") == (5, "", "")
        package = "profile" if name == "ProfileIO" else "commands"
        assert f"call com/drel/torvel/{package}/{name}.main [--help]" in workspace.logged()
