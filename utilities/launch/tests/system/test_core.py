"""The command line, the commands and the search for the workspace."""
from harness import failure

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
OUTSIDE = failure("Unable to locate Torvel's path from current working directory")


def unknown(name):
    return failure(f"Command '{name}' not found")


# Arguments, output.
REFUSED = [
    *((args, USAGE) for args in ([], ["--help"], ["-help"], ["--vok", "--assistant=false", "-Xint"])),
    (["--debug"], "Launching...\n" + USAGE),
    *(([typed], unknown(name)) for typed, name in {
        "--HELP": "--help", "\xc4BILD=1": "\xc4bild",  # only ASCII letters are folded
        "%s%n": "%s%n", "": "", "-xmx1g": "-xmx1g", "B" * 5000: "b" * 5000}.items()),
    (["-help", "x"], unknown("-help")),
    (["Bild", *(f"a{i}" for i in range(3000))], unknown("bild")),
    (["--workspace=.", "Build"], unknown("--workspace")),
    (["Bild", "--workspace=nonesuch", "--jar=x"], OUTSIDE),
    (["--jar=bin", "--vok", "Checksum"], OUTSIDE),
]


def test_refused(workspace, product):
    for args, out in REFUSED:
        assert (args, *workspace.run(*args)) == (args, product.code(-1), out, "")


def test_failed_search(workspace, product, tmp_path):
    """Outside a workspace the place is complained of, not the command, after each directory up to the top."""
    outside = tmp_path / "outside" / "100%s here"
    outside.mkdir(parents=True)
    not_in = "".join(f"Not in {product.path(folder)}...\n" for folder in [outside, *outside.parents])
    paths = "bin/\nBuild/Torvel/\nbuild/torvel/\nbuild/torvel/bin/\n"
    not_within = failure("Unable to locate Torvel within workspace")
    for cwd, option, searched in [
            (outside, "-Xa", paths + not_in + OUTSIDE),
            (outside, "--jar=a;b/;c\\", "a/\nb/\nc\\\n" + not_in + OUTSIDE),
            (outside, "--workspace=no", paths + not_within),
            (workspace.game, "--workspace=..", paths + not_within)]:  # no search above the given one
        out = f"Launching...\nSearch for Torvel.jar and torvel-win64.dll in\n{searched}"
        assert workspace.run("--debug", "Bild", option, cwd=cwd) == (product.code(-1), out, "")


def test_start_that_cannot_be_entered_again(workspace, product):
    """By the name that the system's narrow texts give it. Another target would be built otherwise."""
    start = workspace.root / "src" / ("\u0416\u0443\u043a" if product.windows else "a\\b")
    start.mkdir()
    assert workspace.run("Build", "T", cwd=start) == (product.code(-1), OUTSIDE, "")


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
    (["--workspace=../.."], "src/game", dict(start="src/game/")),
    (["--workspace=src"], ".", {}),  # which is none: back to the start
]


def test_search(workspace, product):
    workspace.add(*(f"{folder}/Torvel.jar" for folder in ("build/torvel/bin", "VokTools/bin", "tools/jars")))
    workspace.add("all/Torvel.jar", "tools/jars/swt/torvel-win64.dll",
                  *(f"all/{below}torvel-win64.dll" for below in ("", "swt/", "lib/")))
    for args, cwd, said in FOUND:
        if product.windows and "start" in said:
            said = said | {"start": said["start"].replace("src/game", "src\\game")}
        expected = (product.code(-1), workspace.search(**said) + unknown("bild"), "")
        assert workspace.run("Bild", "--debug=no", *args, cwd=workspace.root / cwd) == expected


COMMANDS = ("ListSlaves", "Launch", "StartSlave", "ListDependencies", "SlaveStatus", "NetInfo", "SendEmail",
            "Build", "Validate", "Rebuild", "Clean", "Tidy", "Export", "Scrub", "Checksum", "Cache",
            "ProfileIO", "BrowseMetrics", "SlaveClose", "AssistantClose")


def test_every_command_reaches_its_class(workspace):
    workspace.use_jvm("exit=5")
    for i, name in enumerate(COMMANDS):
        workspace.log.unlink(missing_ok=True)
        typed = (name.lower(), name.upper(), name.swapcase())[i % 3]
        result = workspace.run("--assistant=false", typed, "--help")
        assert (name, *result) == (name, 5, "", "")
        package = "profile" if name == "ProfileIO" else "commands"
        assert f"call com/drel/torvel/{package}/{name}.main [--help]" in workspace.logged()
