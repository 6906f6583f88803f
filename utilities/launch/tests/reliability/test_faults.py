"""Each call to the system fails once in turn, and the update meets a full disk and its like: the launcher ends by itself, with
a code and a text that are meant, and leaves whole files behind."""
import copy
import re
import shutil
import subprocess
from collections import Counter
from dataclasses import dataclass, field

import pytest
from harness import UPDATE_SET, failure
from shared import needed

FAKES = __file__.rsplit("/", 2)[0] + "/fakes"
TARGETS = ("TorvelAssistant.exe", *UPDATE_SET[1:])
MISMATCH = "Version mis-match, restarting Assistant with version 2.8.10\n"
ERRORS = {"CopyFileA": (112, 32), "WSASend": (10054, 10004), "WSARecv": (10054, 10004), "WSAConnect": (10061,)}
# The watcher makes these calls; where the command is over at once they may come too late to be made at all.
WATCHER = {"CreateThread", "CreateToolhelp32Snapshot", "Process32First", "OpenProcess", "WaitForSingleObject", "CloseHandle"}
HARMLESS = {"GetLastError", "SetLastError", "WSAGetLastError", "WSASetLastError", "GetCurrentProcessId", "LocalFree",
            "ExitThread", "Sleep"}


def use_runtimes(workspace, product, tmp_path, scenario):
    """A fake runtime that the registry knows twice, beside a fake `java`."""
    home = tmp_path / "home"
    for library in (home / "JRE" / "bin" / "server" / "jvm.dll", home / "jvm.dll"):
        product.fake("fake_jvm.so", library)
    public = "HKEY_LOCAL_MACHINE\\SOFTWARE\\JavaSoft\\Java Runtime Environment"
    workspace.env |= product.registry(tmp_path, (
        f'REGEDIT4\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Torvel]\n"Install_Dir"="{home}"\n'
        f'[{public}]\n"CurrentVersion"="1.8"\n[{public}\\1.8]\n"RuntimeLib"="{home}/jvm.dll"\n'))
    workspace.env |= {"FAKE_JVM": scenario}
    product.fake("fake_java", workspace.tools / "java")
    workspace.env |= {"FAKE_JAVA": "sleeps=30,exit=77"}


@dataclass
class Road:
    """A run: its arguments, the code it gives undisturbed, and for each call the codes that its failure may give instead."""
    args: list
    code: int
    codes: dict
    scenario: str = "create-fails"
    status: str = "2.8.10"
    watched: bool = False
    missing: str = "none"
    seen: set = field(default_factory=set)


SEARCH = {"fopen": {255}, "_getcwd": {255}}
BROKEN = {"WSAStartup": {77}, "WSASocketA": {77}, "WSAConnect": {77}, "WSASend": {154}, "WSARecv": {154}}
COPIES = {"CopyFileA": {255}, "GetFileAttributesA": {255}, "SetFileAttributesA": {255}}
ROADS = {
    "java": Road(["Checksum", "a"], 7, {**SEARCH, "LoadLibraryA": {77}, "GetProcAddress": {77}, "WaitForSingleObject": {1}},
                 scenario="sleeps=30,exit=7", watched=True),
    "child": Road(["Checksum", "a", "--debug"], 77, {**SEARCH, "WaitForSingleObject": {1, 255}, "SearchPathA": {255},
                                                     "CreateProcessA": {255}, "GetExitCodeProcess": {255}}, watched=True),
    "assisted build": Road(["Build", "T", "Release"], 5, {**SEARCH, **BROKEN}),
    "update": Road(["Build", "T", "Release"], 5, {**SEARCH, **BROKEN, **COPIES, "WSASend": {154, 77}}, status="2.8.9"),
    "failed update": Road(["Build", "T", "--debug"], 255, {**SEARCH, **BROKEN, "WSARecv": {154}}, status="2.8.9",
                          missing="swt-win64.jar"),
}


def points(calls, scale):
    """Name, occurrence and error of each failure to try; of the calls that are made for every byte the first and last, and
    some between."""
    for name, count in sorted(Counter(calls).items()):
        step = scale(max(1, count // 60), 1) if name in ("WSASend", "WSARecv") else 1
        for occurrence in range(1, count + 1):
            if step == 1 or occurrence <= 50 or occurrence % step == 0 or occurrence > count - 10:
                for error in ERRORS.get(name, (8,))[:scale(1 if step > 1 else 2, 2)]:
                    yield name, occurrence, error


@pytest.mark.parametrize("name", ROADS)
def test_each_call_fails_once(workspace, product, tmp_path, assistant, scale, figure, name):
    road = ROADS[name]
    faulty = copy.copy(product)
    faulty.program, faulty.folder = product.fakes / "Torvel_faults", tmp_path
    workspace.product, log, target = faulty, tmp_path / "calls", tmp_path / "target"
    workspace.add_update_set()
    use_runtimes(workspace, product, tmp_path, road.scenario)
    (workspace.root / "bin" / road.missing).unlink(missing_ok=True)
    assistant.directory = target

    def run(fault=""):
        assistant.version, faulty.count = road.status, 0
        log.unlink(missing_ok=True)
        shutil.rmtree(target, ignore_errors=True)
        target.mkdir()
        for file in TARGETS:
            (target / file).write_text(f"old {file}")
        (target / "swt-win64.jar").chmod(0o444)
        result = workspace.run(*road.args, limit=5, env={"FAULT": fault, "FAULT_LOG": str(log)})
        return result, log.read_text().splitlines()

    whole, calls = run()
    assert whole.code == road.code, whole
    calls = [call for call in calls if road.watched or call not in WATCHER]
    tried = 0
    for call, occurrence, error in points(calls, scale):
        result, seen = run(f"{call}:{occurrence}:{error}")
        what = f"{call} {occurrence} fails with {error}: {result}"
        assert f"{call} failed" in seen, what
        assert result.code in {road.code} | road.codes.get(call, set()), what
        said = failure("") in result.out.replace(result.out.rpartition("failed: ")[2], "\n")
        started = "CreateProcess returned error code" in result.out or "Java process returned -1\n" in result.out
        assert (result.code == 255) == (said or started), what
        new = [(target / file).read_text() == f"new bin/{source}" for file, source in zip(TARGETS, UPDATE_SET)]
        old = [(target / file).read_text() == f"old {file}" for file in TARGETS]
        assert [not each for each in new] == old and new == sorted(new, reverse=True), what
        assert {path.name for path in target.iterdir()} == set(TARGETS), what
        tried += 1
        road.seen.add(result.code)
    assert {code for codes in road.codes.values() for code in codes} <= road.seen | {1}
    figure(f"faults: {name}: {tried} points, {len(set(calls))} different calls, codes {sorted(road.seen)}")


def test_seam_covers_every_call(product):
    """What the launcher's objects take from the layer can all be made to fail."""
    def symbols(archive, kind):
        lines = subprocess.run(["nm", "-C", archive], capture_output=True, text=True, check=True).stdout
        return set(re.findall(rf" {kind} ([A-Za-z_0-9]+)(?:\(|$)", lines, re.M))

    launch = product.build / "utilities" / "launch"
    layer = symbols(launch / "host" / "libhost_layer.a", "T")
    used = symbols(launch / "launcher" / "liblauncher.a", "U") & layer
    with open(f"{FAKES}/FaultyCalls.h") as header:
        seam = set(re.findall(r"^#define (\w+)\(", header.read(), re.M))
    assert used and used - HARMLESS <= seam


FULL = "There is not enough space on the disk."
TARGET = "{target}\\{file}"
# Name, shell command around the launcher, the target that fails (None: the first), error and its text.
REFUSED = [
    ("target directory missing", None, 0, 3, "The system cannot find the path specified."),
    ("target is a directory", None, 1, 5, "Access is denied."),
    ("source unreadable", '{strace} -P {source} -e inject=openat:error=EACCES "$@"', 3, 5, "Access is denied."),
    ("source breaks off", '{strace} -P {source} -e inject=read:error=EIO:when=2 "$@"', 3, 1117,
     "The request could not be performed because of an I/O device error."),
    ("rename refused", '{strace} -e inject=/^rename:error=EACCES:when=3 "$@"', 2, 5, "Access is denied."),
    ("permissions refused", '{strace} -e inject=fchmod:error=EPERM:when=5 "$@"', 4, 5, "Access is denied."),
    ("file too large", 'trap "" XFSZ; ulimit -f 400; "$@"', 4, 223,
     "The file size exceeds the limit allowed and cannot be saved."),
    ("disk full", None, 3, 112, FULL),
]
SIZES = dict(zip(UPDATE_SET, (100_000, 300_000, 200_000, 250_000, 500_000)))


@pytest.mark.parametrize("name, command, failing, error, words", REFUSED, ids=[row[0] for row in REFUSED])
def test_update_refused(workspace, tmp_path, assistant, behind, name, command, failing, error, words):
    """The failure text, -1, and each file either new or old and whole; the Assistant is not told to restart."""
    target = assistant.directory = tmp_path / "target"
    mounted = name == "disk full"
    contents = {}
    for file, source in zip(TARGETS, UPDATE_SET):
        path = workspace.root / "bin" / source
        contents[file] = (f"new {file} " * SIZES[source])[:SIZES[source]]
        path.parent.mkdir(exist_ok=True)
        path.write_text(contents[file])
    if name != "target directory missing":
        target.mkdir()
    if mounted and subprocess.run(["mount", "-t", "tmpfs", "-o", "size=700k", "tmpfs", target], capture_output=True).returncode:
        pytest.skip("only root can mount a small disk")
    try:
        for file in TARGETS if target.exists() else ():
            (target / file).write_text(f"old {file}")
        if name == "target is a directory":
            (target / "Torvel.jar").unlink()
            (target / "Torvel.jar").mkdir()
        source = f"bin/{UPDATE_SET[failing]}"
        if command:
            workspace.product = behind(command.format(strace=f"{needed('strace')} -f -qq -o /dev/null", source=source))
        assistant.version = "2.8.9"
        before = set(target.iterdir()) if target.exists() else None
        result = workspace.run("Build", "T")
        text = (f"CopyFile returned error code {error} when copying bin\\{UPDATE_SET[failing]} to "
                f"{str(target / TARGETS[failing]).replace('/', chr(92))}: {words}\r\n")
        assert (result.code, result.out) == (255, MISMATCH + failure(text))
        assert not [line for line in result.err.splitlines() if "/strace: " not in line]
        assert assistant.version == "2.8.9"
        if before is not None:
            assert set(target.iterdir()) == before
            for index, file in enumerate(TARGETS):
                if (target / file).is_file():
                    assert (target / file).read_text() == (contents[file] if index < failing else f"old {file}")
        else:
            assert not target.exists()
    finally:
        if mounted:
            subprocess.run(["umount", target], check=True)


@pytest.mark.parametrize("where", ["java", "assistant"])
def test_memory_and_descriptors(workspace, tmp_path, assistant, behind, where):
    """No error, no lost memory, and at the exit no descriptor but the standard ones and the watcher's own."""
    log = tmp_path / "memcheck"
    workspace.use_jvm("sleeps=200,exit=5")
    assistant.output = assistant.answer(" one", "!two", code=5)
    workspace.product = behind(f"exec {needed('valgrind')} --leak-check=full "
                               f"--errors-for-leak-kinds=definite,indirect,possible --track-fds=yes --log-file={log} \"$@\"")
    result = workspace.run("Checksum" if where == "java" else "Build", "T", "--debug")
    said = log.read_text()
    assert result.code == 5 and "ERROR SUMMARY: 0 errors from 0 contexts" in said, said
    # Memcheck does not know how the host opens another process, so the watcher gives up and says so.
    opened = re.split(r"Open (?:file descriptor|AF_INET socket) ", said.split("HEAP SUMMARY")[0])[1:]
    own = [each for each in opened if "<inherited from parent>" not in each]
    assert len(own) == 1 and "eventfd" in own[0], own
