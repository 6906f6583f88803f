"""Java commands: the runtime that is found, the class run in it, the fallback to a `java` child."""
import itertools
import re
import shutil

import pytest
from harness import EXPAND, JAVASOFT, addresses_out, rows

CLASS = "com/drel/torvel/commands/Checksum"
USUAL = ["-Xmx1024M", "-Xrs"]
RETIRED = "-XX:+UseConcMarkSweepGC"
RESERVED = 195952365  # the launcher's internal code for a failed run in its own process


def options(separator, user=USUAL):
    """The class path has the separator of the product's Java."""
    class_path = f"-Djava.class.path=bin/Torvel.jar{separator}bin/lib/swt-win64.jar"
    return ["-Djava.library.path=bin/lib/", class_path, *user, RETIRED, "-XX:-UseGCOverheadLimit"]


def created(product, user=USUAL):
    given = [*(f"option {text}" for text in options(product.path_list, user)), "option exit with a hook"]
    return ["defaults 1.4", f"create 1.4 {len(given)} options", *given]


FINDS_CLASS = [f"FindClass {CLASS}"]
FINDS_MAIN = [*FINDS_CLASS, f"GetStaticMethodID {CLASS} main ([Ljava/lang/String;)V"]


def makes_array(size):
    return [*FINDS_MAIN, "FindClass java/lang/String", f"NewObjectArray {size} java/lang/String"]


def called(args):
    elements = [[f"NewStringUTF {text}", f"SetObjectArrayElement {i} {text}"] for i, text in enumerate(args)]
    call = f"call {CLASS}.main" + "".join(f" [{text}]" for text in args)
    return [*makes_array(len(args)), *itertools.chain(*elements), call]


def spawned(workspace, args, user=USUAL):
    """What the fake `java` records."""
    words = ["java", *options(workspace.product.path_list, user), CLASS, *args]
    return [*(f"argument {text}" for text in words), f"in {workspace.native()}", "done"]


ODD = ["--file=a=b==c", "=x", "n=", "bi*", "a b", "%s"]
# Arguments after the command, arguments of main, options between the class path and the collector's.
PASSED = [
    ([], [], USUAL),
    (ODD, ODD, USUAL),
    (["-Xmx1g", "-Xint", "a", "-Xmx2g", "-XX:X=1=2", "-Xrs"], ["a"],
     ["-Xrs", "-Xint", "-Xmx2g", "-XX:X=1=2", "-Xrs"]),
    (["-Xmn3", "-Xmx2", "-Xm", "-Xmx", "-XMX4", "-Xm"], [], ["-Xrs", "-Xmn3", "-Xm", "-Xmx", "-XMX4", "-Xm"]),
    (["--jar=bin", "--jar=x", "--workspace=y", "--debug"], ["--jar=x", "--workspace=y"], USUAL),
    (["--workspace=.", "--assistant", "--assistant=1"], ["--workspace=.", "--assistant=1"], USUAL),
    (["", "caf\xe9", "-xmx1g"], ["", "caf\xe9", "-xmx1g"], USUAL),
    (["x" * 20000], ["x" * 20000], USUAL),
]


def test_options_and_arguments(workspace, product):
    for given, args, user in rows(PASSED):
        workspace.use_jvm("exit=9")
        assert workspace.run("Checksum", *given).code == 9
        assert workspace.logged() == [*created(product, user), *called(args)]
        workspace.log.unlink()
        shutil.rmtree(workspace.tools)
        if "" not in given:  # without a runtime a child gets the same options
            workspace.use_java("exit=10")
            assert workspace.run("Checksum", *given).code == 10
            assert workspace.logged() == spawned(workspace, args, user)
            workspace.log.unlink()


# The debug lines of a run in the launcher's own process, up to each step.
LISTED = [f"{i}: {text}" for i, text in enumerate(options(";"))]
ATTEMPT = ["JVM args:", *LISTED, "Attempting to create VM..."]
CREATED = [*ATTEMPT, "Created VM"]
FOUND_CLASS = [*CREATED, f"Found {CLASS}"]
FOUND_MAIN = [*FOUND_CLASS, "Found main()"]
CALLING = [*FOUND_MAIN, "Calling main..."]
RETURNED = [*CALLING, "Cleaning up VM..."]
# The calls to the runtime.
ENDED = called(["a"])  # in main
RAN = [*ENDED, "ExceptionCheck"]
DESTROYED = [*RAN, "DestroyJavaVM"]
DESCRIBED = [*RAN, "ExceptionDescribe", "ExceptionClear", "DestroyJavaVM"]
# The runtime's scenario, the exit code, the calls to it, the debug lines.
RUNS = [
    ("prints", 0, DESTROYED, [*CALLING, "fake main runs", "Cleaning up VM..."]),
    ("exit=300", 300, ENDED, CALLING),
    (f"exit={RESERVED}", RESERVED, ENDED, CALLING),
    (f"hook={RESERVED}", -1, DESTROYED, RETURNED),
    ("exception", 0, DESCRIBED, RETURNED),
    ("exception,hook=4", 4, DESCRIBED, RETURNED),
    ("late-exit=6", 6, DESTROYED, RETURNED),
    ("defaults-fail,exit=7", 7, ENDED, CALLING),
]
# The runtime's scenario, the calls to it, the debug lines before a child runs the class.
FALLS_BACK = [
    ("no-class", FINDS_CLASS, [*CREATED, f"JVMDLL: Failed to find the class {CLASS}"]),
    ("no-main", FINDS_MAIN, [*FOUND_CLASS, "JVMDLL: Failed to find main()"]),
    ("no-array", makes_array(1), [*FOUND_MAIN, "JVMDLL: Failed to find create arguments"]),
    ("create=-1", [], ATTEMPT),
    ("create=1", [], ATTEMPT),
]


def fall_back(workspace):
    java = workspace.product.path(workspace.tools / f"java{workspace.product.exe}")
    return ["DLL Invocation failed, falling back to command-line.",
            "Exec: " + " ".join(["java", *options(";"), CLASS, "a"]),
            f"Found java @ {java}", "Java process returned 77"]


def debug_tail(result, after="Locating JVM DLL and creating VM..."):
    return result.out.split(after + "\n", 1)[1].splitlines()


@pytest.mark.parametrize("scenario, code, calls, lines", RUNS, ids=[row[0] for row in RUNS])
def test_run_in_process(workspace, product, scenario, code, calls, lines):
    workspace.use_jvm(scenario)
    result = workspace.run("Checksum", "a", "--debug")
    assert (result.code, result.err) == (product.code(code), "")
    assert addresses_out(result.out).removeprefix(workspace.search()).splitlines() == [
        "Launching checksum: <p>", f"Command: {CLASS}", f"Command: {CLASS}",
        "Locating JVM DLL and creating VM...", *lines]
    assert workspace.logged() == [*created(product), *calls]


@pytest.mark.parametrize("scenario, calls, lines", FALLS_BACK)
def test_run_in_a_child_instead(workspace, product, scenario, calls, lines):
    workspace.use_jvm(scenario)
    workspace.use_java("exit=77")
    result = workspace.run("Checksum", "a", "--debug")
    assert (result.code, result.err) == (77, "")
    assert debug_tail(result) == [*lines, *fall_back(workspace)]
    destroyed = ["DestroyJavaVM"] if calls else []
    assert workspace.logged() == [*created(product), *calls, *destroyed, *spawned(workspace, ["a"])]


def test_child_codes(workspace, product):
    for code in rows((0, 259, RESERVED, -1)):
        workspace.use_java(f"exit={code}")
        assert workspace.run("Checksum") == (product.code(code), "", "")


def test_quotes_pass_unescaped(workspace):
    """The command line is joined without escapes, and the child's C runtime splits it by its own rules."""
    workspace.use_java()
    result = workspace.run("Checksum", "--debug", "a\tb", "", 'say "hi"', "e\\", '\\"c', "a\\\\b",
                           'c\\\\"d e"', '\\\\\\"f', 'y x""z', 'q"q', "b s\\")
    line = 'a\tb  "say "hi"" e\\ \\"c a\\\\b "c\\\\"d e"" \\\\\\"f "y x""z" q"q "b s\\"'
    assert f"{CLASS} {line}\n" in result.out
    arguments = ["a", "b", "say hi", "e\\", '"c', "a\\\\b", "c\\d", "e", '\\"f', 'y x"z', "qq b", 's"']
    assert workspace.logged()[-14:-2] == [f"argument {each}" for each in arguments]


def test_no_java_to_start(workspace, product, tmp_path):
    """There is none, only a directory of that name, or one whose path is too long."""
    workspace.root.with_name("release").write_text('JAVA_VERSION="17"')  # has no effect
    for code in rows([2] if product.windows else [2, 5, 206]):
        where = ["Couldn't find java on the path, assuming in CWD"]
        if code == 5:
            (workspace.root / "java").mkdir()
        if code == 206:
            where, workspace.tools = [], tmp_path.joinpath(*(5 * [50 * "d"]))
            workspace.env["PATH"] = str(workspace.tools)
            workspace.use_java()
        result = workspace.run("Checksum", "--debug")
        assert (result.code, debug_tail(result, "No JRE version key found")) == (product.code(-1), [
            "DLL Invocation failed, falling back to command-line.",
            "Exec: " + " ".join(["java", *options(";"), CLASS]), *where,
            f"Error launching 'java': CreateProcess returned error code {code}: {product.messages[code]}", "",
            "Java process returned -1"])


# The text of a file named release, its number of directories above the runtime's own, and the version for which
# the launcher leaves the option out.
RELEASES = [('JAVA_VERSION="1.8.0_292"\n', 2, None), ('X="1"\r\nJAVA_VERSION="21.0.8"\r\n', 4, 21),
            ('JAVA_VERSION="13.0.2"', 1, None), ('JAVA_VERSION="14"', 2, 14), ("JAVA_VERSION=25-ea", 1, 25),
            ('#JAVA_VERSION="17"\nJAVA_VERSION="new"', 2, None), ('JAVA_VERSION="17"', 6, None)]


@pytest.mark.parametrize("way", ["in process", "child"])
def test_retired_option_is_left_out(workspace, product, tmp_path, way):
    workspace.tools = tmp_path.joinpath("a", "b", "c", "d", "e")
    workspace.env["PATH"] = product.path(workspace.tools)
    if way == "child" and not product.windows:  # found through a link
        (tmp_path / "link").symlink_to(workspace.tools)
        workspace.env["PATH"] = str(tmp_path / "link")
    (workspace.use_jvm if way == "in process" else workspace.use_java)("exit=9")
    for text, above, version in rows(RELEASES):
        (release := workspace.tools.joinpath(*[".."] * above, "release")).write_text(text)
        result = workspace.run("Checksum", RETIRED, "--debug")  # the user's own option stays
        said = result.out.count(f"Left out {RETIRED}, which Java {version} does not know\n")
        given = sum(RETIRED in line for line in workspace.logged())
        assert (result.code, said, given) == (9, *((0, 2) if version is None else (1, 1)))
        workspace.log.unlink()
        release.unlink()


OWN = {"Torvel": {"Install_Dir": "@own"}}
CLIENT, SERVER = "own\\JRE\\bin\\client\\jvm.dll", "own\\JRE\\bin\\server\\jvm.dll"
LOOKING, PUBLIC = "Looking for Torvel JRE...", "Looking for public JRE..."
FOUND, LOADED = "Found Torvel JRE in @", "LoadLibrary success with jvmPath=@"
NO_KEY = [LOOKING, "No installation key found", PUBLIC]
NO_VALUE = [LOOKING, "No installation value found", PUBLIC]
NO_VERSION = "No JRE version value found"
NO_LIBRARY = f"No JRE installation value 'SOFTWARE\\{JAVASOFT}\\%s' found"
FITS = "/" + "x" * 258  # 260 bytes with its NUL


def public(version, key=None, **values):
    return {JAVASOFT: {"CurrentVersion": version}} | ({f"{JAVASOFT}\\{key}": values} if key else {})


# Registry ({key: {value: text}}; "@" is the test's folder), libraries (with a "!": not loadable; with a ".": in
# the workspace), debug lines, whether a library is loaded.
DISCOVERY = {
    "nothing registered": ({}, [], [*NO_KEY, "No JRE version key found"], False),
    "client before server": (OWN, [CLIENT, SERVER], [LOOKING, FOUND + CLIENT, LOADED + CLIENT], True),
    "own broken, public not tried": (
        OWN | public("9", "9", RuntimeLib="@pub\\jvm.dll"), [CLIENT + "!", "pub\\jvm.dll"],
        [LOOKING, FOUND + CLIENT], False),
    "version missing": ({JAVASOFT: {}}, [], [*NO_KEY, NO_VERSION], False),
    "own is empty, public 1.10 is key 1.1": (
        OWN | public("1.10", "1.1", RuntimeLib="@pub\\jvm.dll"), ["pub\\jvm.dll"],
        [LOOKING, f"No DLL at @{CLIENT} found", *NO_VALUE[1:], LOADED + "pub\\jvm.dll"], True),
    "own of another type, public 1.6.0_20 is key 1.6": (
        {"Torvel": {"Install_Dir": EXPAND}} | public("1.6.0_20", "1.6", RuntimeLib="@pub\\jvm.dll"),
        ["pub\\jvm.dll"], [*NO_VALUE, LOADED + "pub\\jvm.dll"], True),
    "version's key missing": (
        public("17"), [],
        [*NO_KEY, f"No JRE installation key 'SOFTWARE\\{JAVASOFT}\\17' found", NO_VERSION], False),
    "version is no number, library missing": (
        public("x", "0", Other="x"), [], [*NO_KEY, NO_LIBRARY % 0, NO_VERSION], False),
    "path that fits": (public("9", "9", RuntimeLib=FITS), [], NO_KEY, False),
    "path that does not": (
        public("9", "9", RuntimeLib=FITS + "x"), [], [*NO_KEY, NO_LIBRARY % 9, NO_VERSION], False),
    "own is relative to the root": (
        {"Torvel": {"Install_Dir": "."}}, [".\\JRE\\bin\\server\\jvm.dll"],
        [LOOKING, *(said[:-1] + ".\\JRE\\bin\\server\\jvm.dll" for said in (FOUND, LOADED))], True),
    "first client in the path becomes server": (
        public("9", "9", RuntimeLib="@clients\\client\\jvm.dll"),
        ["servers\\client\\jvm.dll", "clients\\server\\jvm.dll!"],
        [*NO_KEY, LOADED + "servers\\client\\jvm.dll"], True),
}


@pytest.mark.parametrize("keys, libraries, lines, loaded", DISCOVERY.values(), ids=DISCOVERY)
def test_discovery(workspace, product, registry, tmp_path, tmp_path_factory, keys, libraries, lines, loaded):
    home = tmp_path_factory.mktemp("java")  # without "client" in its path
    folder = product.path(f"{home}/")
    workspace.use_jvm("exit=8", folder=tmp_path / "unused")
    workspace.use_java("exit=77")
    for library in libraries:
        above = workspace.root if library[0] == "." else home
        target = above.joinpath(*library.rstrip("!").split("\\"))
        shutil.copytree(tmp_path / "unused", target.parent, dirs_exist_ok=True)
        target.parent.joinpath(product.library).rename(target)
        if library.endswith("!"):
            target.write_text("no library")
    result = workspace.run("Checksum", "a", "--debug", env=registry(keys, folder))
    said = [line.replace(folder, "@") for line in debug_tail(result)]
    assert said[:len(lines)] == lines
    assert (said[len(lines)], result.code) == (("JVM args:", 8) if loaded else (fall_back(workspace)[0], 77))


@pytest.mark.linux_only
def test_java_at_hand(workspace, tmp_path):
    """Without a registry file, the runtime of JAVA_HOME or else of the `java` on PATH, here a link, is used."""
    homes = {"old": "jre/lib/amd64/server", "new": "lib/server", "path": "lib/server"}
    for home, below in homes.items():
        workspace.use_jvm("exit=8", folder=tmp_path / home / below)
    workspace.tools = tmp_path / "path/bin"
    workspace.use_java("exit=77")
    (tmp_path / "links").mkdir()
    (tmp_path / "links/java").symlink_to(workspace.tools / "java")
    workspace.env = {name: value for name, value in workspace.env.items() if name.startswith("FAKE")}
    workspace.env["PATH"] = str(tmp_path / "links")
    for given, found in rows([("old", "old"), ("new", "new"), ("", "path"), ("none", None)]):
        result = workspace.run("Checksum", "--debug", env={"JAVA_HOME": str(tmp_path / given) * bool(given)})
        loaded = [f"{tmp_path / found}/{homes[found]}/libjvm.so"] if found else []
        assert re.findall("LoadLibrary success with jvmPath=(.*)", result.out) == loaded
        assert result.code == (8 if found else 77)


@pytest.mark.linux_only
@pytest.mark.parametrize("size, said", [(100_000, "No DLL at own"), (4_300_000, "No installation key found")])
def test_long_registry(workspace, registry, size, said):
    """What lies beyond 4 MB of it is not read."""
    workspace.use_java("exit=9")
    env = registry({"Other": {"x": size * "-"}, **OWN})
    result = workspace.run("Checksum", "--debug", env=env)
    assert result.code == 9 and f"\n{said}" in result.out


@pytest.mark.parametrize("size, code", [(259, 8), (260, 77)])
def test_own_path_ends_at_259_characters(workspace, product, registry, tmp_path, size, code):
    library = "/JRE/bin/server/jvm.dll"
    install = tmp_path / ("x" * (size - len(product.path(tmp_path / library[1:])) - 1))
    workspace.use_jvm("exit=8", folder=install / "JRE/bin/server")
    (install / "JRE/bin/server" / product.library).rename(f"{install}{library}")
    workspace.env.pop("LD_LIBRARY_PATH", None)
    workspace.use_java("exit=77")
    env = registry({"Torvel": {"Install_Dir": product.path(install)}})
    assert workspace.run("Checksum", env=env).code == code
