"""Java commands: the runtime found, the class run in it, the fall-back to a `java` child."""
import os
import pathlib
import shutil
import subprocess

import pytest

from conftest import LIMIT, addresses_out

CLASS = "com/drel/torvel/commands/Checksum"
COLLECTOR = ["-XX:+UseConcMarkSweepGC", "-XX:-UseGCOverheadLimit"]
LOST = 195952365  # the code by which the launcher tells itself that a run in its own process could not be made


def options(product, user=("-Xmx1024M", "-Xrs"), in_runtime=True):
    """The options as the runtime gets them: a host's Java separates its class path in the host's way."""
    separator = product.path_list if in_runtime else ";"
    return ["-Djava.library.path=bin/lib/", f"-Djava.class.path=bin/Torvel.jar{separator}bin/lib/swt-win64.jar", *user, *COLLECTOR]


def created(product, user=("-Xmx1024M", "-Xrs")):
    given = options(product, user)
    return ["defaults 00010004", f"create 00010004 {len(given) + 1} options", *(f"option {text}" for text in given),
            "option exit with a hook"]


def prepared(args):
    return [f"FindClass {CLASS}", f"GetStaticMethodID {CLASS} main ([Ljava/lang/String;)V", "FindClass java/lang/String",
            f"NewObjectArray {len(args)} java/lang/String",
            *(line for i, text in enumerate(args) for line in (f"NewStringUTF {text}", f"SetObjectArrayElement {i} {text}"))]


def called(args):
    return [*prepared(args), f"call {CLASS}.main" + "".join(f" [{text}]" for text in args)]


def spawned(workspace, args, user=("-Xmx1024M", "-Xrs")):
    """What the fake `java` records: the words of its line as the child takes them apart, and the line itself."""
    words = ["java", *options(workspace.product, user), CLASS]
    line = " ".join([*words, *(f'"{text}"' if " " in text else text for text in args)])
    if not workspace.product.windows:
        line = " ".join([*words, *args])
    return [f"raw {line}", *(f"argument {text}" for text in [*words, *args]), f"in {workspace.native()}", "done"]


# Name, arguments after the command, arguments that main gets, the user's place among the options.
PASSED = [
    ("none", [], [], ["-Xmx1024M", "-Xrs"]),
    ("values", ["--file=a=b==c", "=x", "n=", "plain", "a b"], ["--file=a=b==c", "=x", "n=", "plain", "a b"], ["-Xmx1024M", "-Xrs"]),
    ("last -Xmx in its own place", ["-Xmx1g", "-Xint", "a", "-Xmx2g", "-XX:X=1=2"], ["a"], ["-Xrs", "-Xint", "-Xmx2g", "-XX:X=1=2"]),
    ("duplicates stay", ["-Xint", "-Xrs", "-Xmxy="], [], ["-Xrs", "-Xint", "-Xrs", "-Xmxy="]),
    ("second launch option stays", ["--jar=bin", "--jar=x", "--workspace=y", "--debug"], ["--jar=x", "--workspace=y"], ["-Xmx1024M", "-Xrs"]),
    ("workspace stays", ["--workspace=.", "--assistant", "--assistant=1"], ["--workspace=.", "--assistant=1"], ["-Xmx1024M", "-Xrs"]),
    ("empty and 8-bit", ["", "caf\xe9", "-xmx1g", "%s"], ["", "caf\xe9", "-xmx1g", "%s"], ["-Xmx1024M", "-Xrs"]),
    ("long", ["x" * 20000], ["x" * 20000], ["-Xmx1024M", "-Xrs"]),
]


@pytest.mark.parametrize("name, given, args, user", PASSED, ids=[row[0] for row in PASSED])
def test_options_and_arguments(workspace, product, name, given, args, user):
    workspace.use_jvm("exit=9")
    result = workspace.run("Checksum", *given)
    assert workspace.logged() == [*created(product, user), *called(args), "ExceptionCheck", "DestroyJavaVM"]
    assert (result.code, result.err) == (9, "")
    # The same without a runtime: the same options, in a child.
    if "" not in given:
        shutil.rmtree(workspace.tools)
        workspace.log.unlink()
        workspace.use_java("exit=10")
        assert workspace.run("Checksum", *given).code == 10
        assert workspace.logged() == spawned(workspace, args, user)


# Name, the runtime's scenario, exit code (of the fake java, 77, when it falls back), calls after creation, debug lines after "Attempting to create VM...".
START = ["Created VM", f"Found {CLASS}", "Found main()", "Calling main...", "Cleaning up VM..."]
DONE = ["ExceptionCheck", "DestroyJavaVM"]
OUTCOMES = [
    ("returns", "", 0, called(["a"]) + DONE, START),
    ("exits", "exit=1", 1, called(["a"]) + DONE, START),
    ("exits with the low bits only on the host", "exit=300", 300, called(["a"]) + DONE, START),
    ("exits below zero", "exit=-2", -2, called(["a"]) + DONE, START),
    ("exits with the reserved code", f"exit={LOST}", -1, called(["a"]) + DONE, START),
    ("throws", "exception", 0, called(["a"]) + ["ExceptionCheck", "ExceptionDescribe", "ExceptionClear", "DestroyJavaVM"], START),
    ("throws after the hook", "exception,exit=4", 4, called(["a"]) + ["ExceptionCheck", "ExceptionDescribe", "ExceptionClear", "DestroyJavaVM"], START),
    ("not created", "create-fails", 77, [], []),
    ("no class", "no-class", 77, [f"FindClass {CLASS}", "DestroyJavaVM"], ["Created VM", f"JVMDLL: Failed to find the class {CLASS}"]),
    ("no main", "no-main", 77, prepared(["a"])[:2] + ["DestroyJavaVM"], [*START[:2], "JVMDLL: Failed to find main()"]),
    ("no array", "no-array", 77, prepared(["a"])[:4] + ["DestroyJavaVM"], [*START[:3], "JVMDLL: Failed to find create arguments"]),
]


def fall_back(workspace, code=77, user=("-Xmx1024M", "-Xrs"), args="a"):
    words = ["java", *options(workspace.product, user, in_runtime=False), CLASS, args]
    java = workspace.product.path(workspace.tools / ("java" + workspace.product.exe))
    return ["DLL Invocation failed, falling back to command-line.", "Exec: " + " ".join(words), f"Found java @ {java}",
            f"Java process returned {code}"]


def debug_tail(result, after):
    return result.out.split(after + "\n", 1)[1].splitlines()


@pytest.mark.parametrize("name, scenario, code, calls, lines", OUTCOMES, ids=[row[0] for row in OUTCOMES])
def test_outcome(workspace, product, name, scenario, code, calls, lines):
    workspace.use_jvm(scenario)
    workspace.use_java("exit=77")
    result = workspace.run("Checksum", "a", "--debug")
    assert (result.code, result.err) == (product.code(code), "")
    falls_back = calls[-2:] != DONE[-2:] and "ExceptionClear" not in calls
    assert debug_tail(result, "Attempting to create VM...") == lines + (fall_back(workspace) if falls_back else [])
    assert workspace.logged() == [*created(product), *calls, *(spawned(workspace, ["a"]) if falls_back else [])]


@pytest.mark.parametrize("fake", ["fake_jvm_no_create", "fake_jvm_no_defaults"])
def test_runtime_without_an_entry_point(workspace, fake):
    workspace.use_jvm(fake=fake)
    workspace.use_java("exit=77")
    result = workspace.run("Checksum", "a", "--debug")
    assert result.code == 77
    assert debug_tail(result, "Locating JVM DLL and creating VM...") == fall_back(workspace)
    assert workspace.logged() == spawned(workspace, ["a"])


def test_child_codes_and_output(workspace, product):
    for scenario, code in [("exit=0", 0), ("exit=259", 259), (f"exit={LOST}", LOST), ("exit=-1", -1)]:
        workspace.use_java(scenario)
        result = workspace.run("Checksum")
        assert result.all() == (product.code(code), "", "")
    if not product.windows:  # there a child has only a console's streams
        workspace.use_java("prints,exit=6")
        out = workspace.run("Checksum", "--debug").out
        assert out.endswith(f"Found java @ {workspace.tools}/java\nfake java runs\nJava process returned 6\n")


def test_quotes_pass_unescaped(workspace, product):
    """What is joined into one line without escapes is taken apart by the C runtime's rules, and so may come apart."""
    workspace.use_java()
    out = workspace.run("Checksum", "--debug", 'say "hi"', 'q"q', "b s\\").out
    line = f'{CLASS} "say "hi"" q"q "b s\\"'
    logged = workspace.logged()
    assert f"{line}\n" in out
    assert not product.windows or logged[0].endswith(line)
    arguments = [each.removeprefix("argument ") for each in logged if each.startswith("argument ")]
    assert arguments[arguments.index(CLASS) + 1:] == ["say hi", "qq b", 's"']


def test_no_java_to_start(workspace, product):
    line = " ".join(["java", *options(product, in_runtime=False), CLASS])
    codes = [2] if product.windows else [2, 5]
    for code in codes:
        if code == 5:
            (workspace.root / "java").mkdir()  # passed over by the search, refused in the current directory
        result = workspace.run("Checksum", "--debug")
        assert (result.code, debug_tail(result, "No JRE version key found")) == (product.code(-1), [
            "DLL Invocation failed, falling back to command-line.", f"Exec: {line}",
            "Couldn't find java on the path, assuming in CWD",
            f"Error launching 'java': CreateProcess returned error code {code}: {product.messages[code]}", "",
            "Java process returned -1"])
    assert workspace.run("Checksum").all() == (product.code(-1), "", "")


JAVASOFT = "SOFTWARE\\JavaSoft\\Java Runtime Environment"
LOOKING = ["Looking for Torvel JRE..."]
PUBLIC = ["Looking for public JRE..."]
NO_KEY = [*LOOKING, "No installation key found", *PUBLIC]
NO_VALUE = ["No installation value found", *PUBLIC]
NO_VERSION = ["No JRE version value found"]
EXPAND = object()  # the value is stored as a text to be expanded


def own(kind):
    return f"own\\JRE\\bin\\{kind}\\jvm.dll"


def success(path):
    return f"LoadLibrary success with jvmPath=@{path}"


# Name, registry ({key: {value: text}}; "@" is the test's folder), libraries (a name ending in "!" is no library), lines, loaded.
DISCOVERY = [
    ("nothing registered", {}, [], [*NO_KEY, "No JRE version key found"], False),
    ("own, client before server", {"Torvel": {"Install_Dir": "@own"}}, [own("client"), own("server")],
     [*LOOKING, f"Found Torvel JRE in @{own('client')}", success(own("client"))], True),
    ("own, server alone", {"Torvel": {"Install_Dir": "@own"}}, [own("server")],
     [*LOOKING, f"Found Torvel JRE in @{own('server')}", success(own("server"))], True),
    ("own, client broken", {"Torvel": {"Install_Dir": "@own"}}, [own("client") + "!", own("server")],
     [*LOOKING, f"Found Torvel JRE in @{own('client')}", success(own("server"))], True),
    ("own, both broken", {"Torvel": {"Install_Dir": "@own"}}, [own("client") + "!", own("server") + "!"],
     [*LOOKING, f"Found Torvel JRE in @{own('client')}"], False),
    ("own is empty, public 1.10 is key 1.1",
     {"Torvel": {"Install_Dir": "@own"}, JAVASOFT: {"CurrentVersion": "1.10"}, JAVASOFT + "\\1.1": {"RuntimeLib": "@pub\\jvm.dll"}},
     ["pub\\jvm.dll"], [*LOOKING, f"No DLL at @{own('client')} found", *NO_VALUE, success("pub\\jvm.dll")], True),
    ("own without its value, public 1.6.0_20 is key 1.6",
     {"Torvel": {"Other": "x"}, JAVASOFT: {"CurrentVersion": "1.6.0_20"}, JAVASOFT + "\\1.6": {"RuntimeLib": "@pub\\jvm.dll"}},
     ["pub\\jvm.dll"], [*LOOKING, *NO_VALUE, success("pub\\jvm.dll")], True),
    ("own of another type", {"Torvel": {"Install_Dir": EXPAND}}, [own("client")], [*LOOKING, *NO_VALUE, "No JRE version key found"], False),
    ("version of another type", {JAVASOFT: {"CurrentVersion": EXPAND}}, [], [*NO_KEY, *NO_VERSION], False),
    ("version missing", {JAVASOFT: {"Other": "1.6"}}, [], [*NO_KEY, *NO_VERSION], False),
    ("version's key missing", {JAVASOFT: {"CurrentVersion": "17"}}, [],
     [*NO_KEY, f"No JRE installation key '{JAVASOFT}\\17' found", *NO_VERSION], False),
    ("version is no number, library missing", {JAVASOFT: {"CurrentVersion": "x"}, JAVASOFT + "\\0": {"Other": "x"}}, [],
     [*NO_KEY, f"No JRE installation value '{JAVASOFT}\\0' found", *NO_VERSION], False),
    ("library of another type", {JAVASOFT: {"CurrentVersion": "1.8"}, JAVASOFT + "\\1.8": {"RuntimeLib": EXPAND}}, [],
     [*NO_KEY, f"No JRE installation value '{JAVASOFT}\\1.8' found", *NO_VERSION], False),
    ("first client in the path becomes server", {JAVASOFT: {"CurrentVersion": "9"}, JAVASOFT + "\\9": {"RuntimeLib": "@clients\\client\\jvm.dll"}},
     ["servers\\client\\jvm.dll", "clients\\server\\jvm.dll!"], [*NO_KEY, success("servers\\client\\jvm.dll")], True),
    ("no client in the path", {JAVASOFT: {"CurrentVersion": "9"}, JAVASOFT + "\\9": {"RuntimeLib": "@x\\jvm.dll"}}, [], NO_KEY, False),
]


def registry_text(folder, keys):
    text = "Windows Registry Editor Version 5.00\n"
    for key, values in keys.items():
        text += f"\n[HKEY_LOCAL_MACHINE\\{key if key.startswith('SOFTWARE') else 'SOFTWARE' + chr(92) + key}]\n"
        for name, value in values.items():
            if value is EXPAND:
                content = "hex(2):" + ",".join(f"{byte:02x}" for byte in "C:\\x\0".encode("utf-16-le"))
            else:
                content = '"' + value.replace("@", folder).replace("\\", "\\\\") + '"'
            text += f'"{name}"={content}\n'
    return text


@pytest.mark.parametrize("name, registry, libraries, lines, loaded", DISCOVERY, ids=[row[0] for row in DISCOVERY])
def test_discovery(workspace, product, tmp_path, tmp_path_factory, name, registry, libraries, lines, loaded):
    home = tmp_path_factory.mktemp("java")  # its path must not hold a row's "client"
    folder = product.path(home) + ("\\" if product.windows else "/")
    workspace.use_jvm("exit=8", folder=tmp_path / "unused")
    workspace.use_java("exit=77")
    for library in libraries:
        target = home.joinpath(*library.rstrip("!").split("\\"))
        product.fake(f"fake_jvm.{'dll' if product.windows else 'so'}", target)
        if library.endswith("!"):
            target.write_text("no library")
    workspace.env |= product.registry(tmp_path, registry_text(folder, registry))
    try:
        result = workspace.run("Checksum", "a", "--debug")
    finally:
        if product.windows:
            product.registry(tmp_path, "Windows Registry Editor Version 5.00\n")
    said = [line.replace(folder, "@") for line in debug_tail(result, "Locating JVM DLL and creating VM...")]
    assert said[:len(lines)] == lines
    assert (said[len(lines)], result.code) == (("JVM args:", 8) if loaded else (fall_back(workspace)[0], 77))


def test_library_search_comes_first(workspace, product, tmp_path):
    """Found by the system's own search, on the path or (Windows) in the workspace root, nothing is looked up or printed."""
    workspace.use_jvm("exit=8", folder=workspace.root if product.windows else None)
    workspace.env |= product.registry(tmp_path, registry_text("", {"Torvel": {"Install_Dir": "nowhere"}}))
    result = workspace.run("Checksum", "--debug")
    assert (result.code, debug_tail(result, "Locating JVM DLL and creating VM...")[0]) == (8, "JVM args:")


PROGRAM = """
package com.drel.torvel.commands;
public class Checksum {
    public static void main(String[] args) {
        System.out.println(String.join("|", args) + "@" + System.getProperty("java.class.path"));
        if (args.length > 0 && args[0].startsWith("exit=")) System.exit(Integer.parseInt(args[0].substring(5)));
        if (args.length > 0 && args[0].equals("throw")) throw new IllegalStateException("as asked");
    }
}
"""


@pytest.fixture
def real_java(workspace, product, tmp_path):
    """A workspace whose jar holds one real class, and the environment of a real Java runtime."""
    program = product.program.read_bytes()
    if product.windows or b"__asan_init" in program or b"__tsan_init" in program:
        pytest.skip("HotSpot runs beside the plain host launcher only")
    source = tmp_path / "Checksum.java"
    source.write_text(PROGRAM)
    subprocess.run(["javac", "-d", tmp_path / "classes", source], check=True)
    subprocess.run(["jar", "cf", workspace.root / "bin" / "Torvel.jar", "-C", tmp_path / "classes", "."], check=True)
    workspace.env = {"PATH": os.environ["PATH"]}
    return workspace


def test_real_runtime(real_java):
    seen = "@bin/Torvel.jar:bin/lib/swt-win64.jar\n"
    for args, code, out, err in [
        (["exit=42"], 42, "exit=42" + seen, ""),
        (["--help", "a b", "n="], 0, "--help|a b|n=" + seen, ""),
        (["throw"], 0, "throw" + seen, 'Exception in thread "main" java.lang.IllegalStateException: as asked\n'),
    ]:
        result = real_java.run("checksum", *args)
        assert (result.code, result.out, result.err[:len(err)], bool(result.err)) == (code, out, err, bool(err))
    debug = real_java.run("checksum", "--debug", "x").out
    assert f"Calling main...\nx{seen}Cleaning up VM...\n" in debug and "LoadLibrary success" in debug
    misspelt = real_java.run("checksum", "-Xnonesuch", "--debug")
    assert misspelt.code == 1 and misspelt.out.endswith("\nJava process returned 1\n") and "Created VM" not in misspelt.out


def test_modern_runtime_by_hand(real_java, tmp_path):
    """A runtime whose version cannot be read gets the retired collector: refused, unless the user says to ignore it."""
    home = pathlib.Path(shutil.which("java")).resolve().parents[1]
    copied = tmp_path / "jdk"
    shutil.copytree(home, copied, symlinks=True, ignore=shutil.ignore_patterns("release", "legal", "man", "jmods", "src.zip"))
    real_java.env = {"PATH": str(copied / "bin"), "LD_LIBRARY_PATH": str(copied / "lib" / "server"), "TORVEL_HOST_REGISTRY": "/nowhere"}
    refused = real_java.run("checksum", "--debug", "exit=3", limit=LIMIT)
    assert "Created VM" not in refused.out and "Unrecognized VM option 'UseConcMarkSweepGC'" in refused.out + refused.err
    assert refused.code == 1
    accepted = real_java.run("checksum", "--debug", "exit=3", "-XX:+IgnoreUnrecognizedVMOptions")
    assert accepted.code == 3 and "Created VM" in accepted.out
