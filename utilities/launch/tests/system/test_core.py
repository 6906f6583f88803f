"""The command line, the commands and the search for the workspace."""
import pytest

from conftest import addresses_out, failure

USAGE = """\
Torvel Launcher 2.8.10

Usage: Torvel <command> [launch options]

Where <command> is one of:
\tBuild <targets> <configuration> [options]
\tRebuild <targets> <configuration> [options]
\tClean <targets> <configuration> [options]
\tTidy <targets> <configuration> [options]
\tScrub <targets> <configuration> [options]
\tExport <targets> <configuration> [options]
\tValidate <targets> <configuration> [options]
\tListDependencies <targets> <configuration> [options]
\tLaunch [options] <command> [arguments]
\tCache <address> <command>
\tSendEmail <to> <subject> <message>
\tChecksum <file>
\tListSlaves
\tSlaveStatus
\tSlaveClose
\tAssistantClose
\tProfileIO {read|write} {nio|blocking} [ip]


(also see Torvel <command> --help)

Launch Options:
\t--jar=<dir>   Subdirectory of workspace root with Torvel.jar (defaults to "bin")
\t--vok         Equiv. to --jar=VokTools/bin
\t--debug       Print debugging information

"""
NOT_FOUND = "Command '%s' not found"
OUTSIDE = "Unable to locate Torvel's path from current working directory"
NOT_WITHIN = "Unable to locate Torvel within workspace"

# Name, arguments, output (a whole text, or the message of a failure line after "!").
REFUSED = [
    ("nothing", [], USAGE),
    ("help", ["--help"], USAGE),
    ("short help", ["-help"], USAGE),
    ("debug alone", ["--debug"], "Launching...\n" + USAGE),
    ("a Java option alone", ["-Xmx512M"], USAGE),
    ("launch options alone", ["--vok", "--assistant=false", "-Xint"], USAGE),
    ("help in capitals", ["--HELP"], "!" + NOT_FOUND % "--help"),
    ("help with more", ["-help", "x"], "!" + NOT_FOUND % "-help"),
    ("help after debug is a command", ["--debug=no", "--help"], None),
    ("unknown command", ["Bild"], "!" + NOT_FOUND % "bild"),
    ("only ASCII letters are folded", ["\xc4BILD=1"], "!" + NOT_FOUND % "\xc4bild"),
    ("a format stays text", ["%s%n"], "!" + NOT_FOUND % "%s%n"),
    ("empty command", [""], "!" + NOT_FOUND % ""),
    ("lower-case x is no Java option", ["-xmx1g"], "!" + NOT_FOUND % "-xmx1g"),
    ("debug in capitals is no option", ["--Debug", "Build"], "!" + NOT_FOUND % "--debug"),
    ("whole key, however long", ["B" * 5000], "!" + NOT_FOUND % ("b" * 5000)),
    ("3,000 arguments", ["Bild", *(f"a{i}" for i in range(3000))], "!" + NOT_FOUND % "bild"),
    ("workspace before the command", ["--workspace=.", "Build"], "!" + NOT_FOUND % "--workspace"),
    ("no such workspace, and none here", ["Bild", "--workspace=nonesuch", "--jar=x"], "!" + OUTSIDE),
    ("jar list holds no jar", ["--jar=nowhere;else\\", "Checksum"], "!" + OUTSIDE),
    ("vok wins over jar", ["--jar=bin", "--vok", "Checksum"], "!" + OUTSIDE),
]


@pytest.mark.parametrize("name, args, out", REFUSED, ids=[row[0] for row in REFUSED])
def test_refused(workspace, name, args, out):
    if out is None:
        out = workspace.search() + failure(NOT_FOUND % "--help")
    elif out.startswith("!"):
        out = failure(out[1:])
    assert workspace.run(*args).all() == (workspace.product.code(-1), out, "")


def test_failed_search(workspace, product, tmp_path):
    """Outside a workspace the place is complained of, not the command; each directory up to the top is tried once."""
    outside = tmp_path / "outside" / "100%s here"
    outside.mkdir(parents=True)
    up = [outside, *outside.parents]
    not_in = "".join(f"Not in {product.path(folder)}...\n" for folder in up)
    listed = "Launching...\nSearch for Torvel.jar and torvel-win64.dll in\n"
    paths = "bin/\nBuild/Torvel/\nbuild/torvel/\nbuild/torvel/bin/\n"
    for args, out in [
        (["--debug", "Bild"], listed + paths + not_in + failure(OUTSIDE)),
        (["--debug", "Bild", "--workspace=nonesuch"], listed + paths + failure(NOT_WITHIN)),
        (["--debug", "--vok", "Bild"], listed + "VokTools/bin/\n" + not_in + failure(OUTSIDE)),
        (["--debug", "--jar=a;b/;c\\", "Bild"], listed + "a/\nb/\nc\\\n" + not_in + failure(OUTSIDE)),
    ]:
        assert workspace.run(*args, cwd=outside).all() == (product.code(-1), out, "")


# Name, files besides bin/Torvel.jar, arguments, directory to start in, what the search says.
FOUND = [
    ("in the root", [], [], ".", {}),
    ("by climbing", [], [], "src/game", dict(not_in=("src/game", "src"), start="src/game/")),
    ("library beside the jar", ["bin/torvel-win64.dll", "bin/swt/torvel-win64.dll"], [], ".", dict(lib="bin/")),
    ("library in swt", ["bin/swt/torvel-win64.dll"], [], ".", dict(lib="bin/swt/")),
    ("list order", ["build/torvel/bin/Torvel.jar"], [], ".", {}),
    ("vok", ["VokTools/bin/Torvel.jar"], ["--vok=0"], ".",
     dict(jar="VokTools/bin/", lib="VokTools/bin/lib/", listed=["VokTools/bin/"])),
    ("jar list", ["tools/jars/Torvel.jar"], ["--jar=none;tools\\jars\\;bin"], ".",
     dict(jar="tools\\jars\\", lib="tools\\jars\\lib/", listed=["none/", "tools\\jars\\", "bin/"])),
    ("workspace option", [], ["--workspace=../.."], "src/game", dict(start="src/game/")),
    ("workspace that is none falls back to the start", [], ["--workspace=src"], ".", {}),
]


@pytest.mark.parametrize("name, files, args, cwd, said", FOUND, ids=[row[0] for row in FOUND])
def test_search(workspace, product, name, files, args, cwd, said):
    workspace.add(*files)
    start = said.get("start", "")
    expected = workspace.search(**said | {"start": start.replace("src/", "src\\") if product.windows else start})
    result = workspace.run("Bild", "--debug", *args, cwd=workspace.root / cwd)
    assert result.all() == (product.code(-1), expected + failure(NOT_FOUND % "bild"), "")


# Every command, typed in some other letter case, reaches its class.
COMMANDS = ("ListSlaves Launch StartSlave ListDependencies SlaveStatus NetInfo SendEmail Build Validate Rebuild Clean Tidy Export Scrub "
            "Checksum Cache ProfileIO BrowseMetrics SlaveClose AssistantClose").split()


def test_every_command_reaches_its_class(workspace):
    workspace.use_jvm("exit=5")
    for i, name in enumerate(COMMANDS):
        workspace.log.unlink(missing_ok=True)
        result = workspace.run("--assistant=false", (name.lower(), name.upper(), name.swapcase())[i % 3], "--help")
        assert (name, *result.all()) == (name, 5, "", "")
        package = "profile" if name == "ProfileIO" else "commands"
        assert f"call com/drel/torvel/{package}/{name}.main [--help]" in workspace.logged()


def test_debug_transcript_of_a_java_run(workspace, product):
    workspace.add("bin/torvel-win64.dll")
    workspace.use_jvm("prints,exit=3")
    result = workspace.run("NetInfo", "--file=a b", "-Xmx2048M", "--debug", "-XX:+IgnoreUnrecognizedVMOptions")
    assert result.code == 3
    assert addresses_out(result.out) == workspace.search(lib="bin/") + """\
Launching netinfo: <p>
Command: com/drel/torvel/commands/NetInfo
Command: com/drel/torvel/commands/NetInfo
Locating JVM DLL and creating VM...
JVM args:
0: -Djava.library.path=bin/
1: -Djava.class.path=bin/Torvel.jar;bin/swt-win64.jar
2: -Xrs
3: -Xmx2048M
4: -XX:+IgnoreUnrecognizedVMOptions
5: -XX:+UseConcMarkSweepGC
6: -XX:-UseGCOverheadLimit
Attempting to create VM...
Created VM
Found com/drel/torvel/commands/NetInfo
Found main()
Calling main...
fake main runs
Cleaning up VM...
"""
