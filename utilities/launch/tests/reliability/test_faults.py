"""Each call to the system fails once in turn, and the update meets a full disk and its like: the launcher ends by itself, with
a code and a text that are meant, and leaves whole files behind."""
import copy
import pathlib
import re
import shutil
import subprocess
from collections import Counter
from dataclasses import dataclass

import pytest
from harness import UPDATE_SET, failure

TARGETS = ("TorvelAssistant.exe", *UPDATE_SET[1:])
ERRORS = {"CopyFileA": (112, 32), "WSASend": (10054, 10004), "WSARecv": (10054, 10004), "WSAConnect": (10061,)}
# The watcher makes these calls; where the command is over at once they may come too late to be made at all.
WATCHER = {"CreateThread", "CreateToolhelp32Snapshot", "Process32First", "OpenProcess", "WaitForSingleObject", "CloseHandle"}
HARMLESS = {"GetLastError", "SetLastError", "WSAGetLastError", "WSASetLastError", "GetCurrentProcessId", "LocalFree",
            "ExitThread", "Sleep"}


@dataclass
class Road:
    """A run: its arguments, the code it gives undisturbed, and for each call the codes that its failure may give instead."""
    args: list
    code: int
    codes: dict
    scenario: str = "create-fails"
    version: str = "2.8.10"
    missing: str = "none"


SEARCH = {"fopen": {255}, "_getcwd": {255}}
CHILD = {"WaitForSingleObject": {1, 255}, "SearchPathA": {255}, "CreateProcessA": {255}, "GetExitCodeProcess": {255}}
BROKEN = {"WSAStartup": {77}, "WSASocketA": {77}, "WSAConnect": {77}, "WSASend": {154}, "WSARecv": {154}}
COPIES = {"CopyFileA": {255}, "GetFileAttributesA": {255}, "SetFileAttributesA": {255}, "WSASend": {154, 77}}
ROADS = {
    "java": Road(["Checksum"], 7, {**SEARCH, "LoadLibraryA": {77}, "GetProcAddress": {77}, "WaitForSingleObject": {1}},
                 scenario="sleeps=30,exit=7"),
    "child": Road(["Checksum", "--debug"], 77, {**SEARCH, **CHILD}),
    "assisted build": Road(["Build", "T"], 5, {**SEARCH, **BROKEN}),
    "update": Road(["Build", "T"], 5, {**SEARCH, **BROKEN, **COPIES}, version="2.8.9"),
    "failed update": Road(["Build", "T", "--debug"], 255, {**SEARCH, **BROKEN}, version="2.8.9", missing="swt-win64.jar"),
}


def use_runtimes(workspace, product, folder, scenario):
    """A fake runtime that the registry knows twice, beside a fake `java`."""
    for library in (folder / "JRE" / "bin" / "server" / "jvm.dll", folder / "jvm.dll"):
        product.fake("fake_jvm.so", library)
    product.fake("fake_java", workspace.tools / "java")
    software, public = "HKEY_LOCAL_MACHINE\\SOFTWARE", "JavaSoft\\Java Runtime Environment"
    workspace.env |= {"FAKE_JVM": scenario, "FAKE_JAVA": "sleeps=30,exit=77"} | product.registry(folder, (
        f'REGEDIT4\n[{software}\\Torvel]\n"Install_Dir"="{folder}"\n[{software}\\{public}]\n"CurrentVersion"="1.8"\n'
        f'[{software}\\{public}\\1.8]\n"RuntimeLib"="{folder}/jvm.dll"\n'))


def points(calls, scale):
    """Name, occurrence and error of each failure to try; of the calls made for every byte the first, some, and the last."""
    for name, count in sorted(Counter(calls).items()):
        per_byte = name in ("WSASend", "WSARecv")
        step = scale(max(1, count // 60), 1) if per_byte else 1
        for occurrence in range(1, count + 1):
            if occurrence <= 50 or occurrence % step == 0 or occurrence > count - 10:
                for error in ERRORS.get(name, (8,))[:scale(1, 2) if per_byte else 2]:
                    yield name, occurrence, error


@pytest.mark.parametrize("name", ROADS)
def test_each_call_fails_once(workspace, product, tmp_path, assistant, scale, figure, name):
    road, log, target = ROADS[name], tmp_path / "calls", tmp_path / "target"
    workspace.product = faulty = copy.copy(product)
    faulty.program = product.fakes / "Torvel_faults"
    workspace.add_update_set()
    (workspace.root / "bin" / road.missing).unlink(missing_ok=True)
    use_runtimes(workspace, product, tmp_path, road.scenario)
    assistant.directory = target

    def run(fault=""):
        assistant.version, faulty.count = road.version, product.count
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
    calls = [call for call in calls if name in ("java", "child") or call not in WATCHER]
    tried = list(points(calls, scale))
    seen = set()
    for call, occurrence, error in tried:
        result, made = run(f"{call}:{occurrence}:{error}")
        what = f"{call} {occurrence} fails with {error}: {result}"
        assert f"{call} failed" in made, what
        assert result.code in {road.code} | road.codes.get(call, set()), what
        told = re.search(r"\nLaunching Torvel failed: \w.*\n|CreateProcess returned error|Java process returned -1\n", result.out)
        assert (result.code == 255) == bool(told), what
        new = [(target / file).read_text() == f"new bin/{source}" for file, source in zip(TARGETS, UPDATE_SET)]
        old = [(target / file).read_text() == f"old {file}" for file in TARGETS]
        assert [not each for each in new] == old and new == sorted(new, reverse=True), what
        assert {path.name for path in target.iterdir()} == set(TARGETS), what
        seen.add(result.code)
    assert set().union(*road.codes.values()) <= seen | {1}
    figure(f"faults: {name}: {len(tried)} points, {len(set(calls))} different calls, codes {sorted(seen)}")


def test_seam_covers_every_call(product):
    """What the launcher's objects take from the layer can all be made to fail."""
    def symbols(archive, kind):
        lines = subprocess.run(["nm", "-C", product.build / "utilities" / "launch" / archive], capture_output=True, text=True)
        return set(re.findall(rf" {kind} (\w+)(?:\(|$)", lines.stdout, re.M))

    used = symbols("launcher/liblauncher.a", "U") & symbols("host/libhost_layer.a", "T")
    header = pathlib.Path(__file__).parents[1] / "fakes" / "FaultyCalls.h"
    assert {"CopyFileA", "WSARecv"} <= used
    assert used - HARMLESS <= set(re.findall(r"^#define (\w+)\(", header.read_text(), re.M))


STRACE = "strace -f -qq -o /dev/null"
# Name, the target that fails, a shell command around the launcher, error and its text.
REFUSED = [
    ("directory missing", 0, '"$@"', 3, "The system cannot find the path specified."),
    ("target is a directory", 1, '"$@"', 5, "Access is denied."),
    ("source unreadable", 3, STRACE + ' -P bin/swt-win64.jar -e inject=openat:error=EACCES "$@"', 5, "Access is denied."),
    ("source breaks off", 3, STRACE + ' -P bin/swt-win64.jar -e inject=read:error=EIO:when=2 "$@"', 1117,
     "The request could not be performed because of an I/O device error."),
    ("rename refused", 2, STRACE + ' -e inject=/^rename:error=EACCES:when=3 "$@"', 5, "Access is denied."),
    ("permissions refused", 4, STRACE + ' -e inject=fchmod:error=EPERM:when=5 "$@"', 5, "Access is denied."),
    ("too large", 4, 'trap "" XFSZ; ulimit -f 400; "$@"', 223, "The file size exceeds the limit allowed and cannot be saved."),
    ("disk full", 3, '"$@"', 112, "There is not enough space on the disk."),
]


@pytest.fixture
def small_disk(tmp_path):
    """A directory; on a file system of 700 KB, once `fill` has made it one."""
    directory, mounted = tmp_path / "target", []
    directory.mkdir()

    def fill():
        mounted.append(subprocess.run(["mount", "-t", "tmpfs", "-o", "size=700k", "tmpfs", directory], capture_output=True))
        if mounted[0].returncode:
            pytest.skip("only root can mount a small disk")

    yield directory, fill
    if mounted and not mounted[0].returncode:
        subprocess.run(["umount", directory], check=True)


@pytest.mark.parametrize("name, failing, command, error, words", REFUSED, ids=[row[0] for row in REFUSED])
def test_update_refused(workspace, small_disk, assistant, behind, name, failing, command, error, words):
    """The failure text, -1, and each file either new or old and whole; the Assistant is not told to restart."""
    target, fill = small_disk
    if name == "disk full":
        fill()
    contents = {}
    for file, source, size in zip(TARGETS, UPDATE_SET, (100_000, 300_000, 200_000, 250_000, 500_000)):
        contents[file] = (f"new {file} " * size)[:size]
        (workspace.root / "bin" / source).write_text(contents[file])
        (target / file).write_text(f"old {file}")
    if name == "directory missing":
        shutil.rmtree(target)
    elif name == "target is a directory":
        (target / TARGETS[1]).unlink()
        (target / TARGETS[1]).mkdir()
    before = set(target.parent.glob("target/*"))
    assistant.version, assistant.directory, workspace.product = "2.8.9", target, behind(command)
    workspace.env["PATH"] += ":/usr/bin:/bin"
    result = workspace.run("Build", "T")
    text = (f"CopyFile returned error code {error} when copying bin\\{UPDATE_SET[failing]} to "
            f"{target}/{TARGETS[failing]}: {words}\r\n").replace(f"{target}/", f"{target}/".replace("/", "\\"))
    assert (result.code, result.out) == (255, "Version mis-match, restarting Assistant with version 2.8.10\n" + failure(text))
    assert not [line for line in result.err.splitlines() if not line.startswith("strace: ")]
    assert assistant.version == "2.8.9" and set(target.parent.glob("target/*")) == before
    for index, file in enumerate(TARGETS):
        if (target / file).is_file():
            assert (target / file).read_text() == (contents[file] if index < failing else f"old {file}")


@pytest.mark.parametrize("command", ["Checksum", "Build"])
def test_memory_and_descriptors(workspace, tmp_path, assistant, behind, command):
    """No error, no lost memory, and at the exit no descriptor but the standard ones and the watcher's own."""
    log = tmp_path / "memcheck"
    workspace.use_jvm("sleeps=200,exit=5")
    workspace.env["PATH"] += ":/usr/bin"
    assistant.output = assistant.answer(" one", "!two", code=5)
    workspace.product = behind("exec valgrind --leak-check=full --errors-for-leak-kinds=definite,indirect,possible "
                               f'--track-fds=yes --log-file={log} "$@"')
    result = workspace.run(command, "T", "--debug")
    said = log.read_text()
    assert result.code == 5 and "ERROR SUMMARY: 0 errors from 0 contexts" in said, said
    # Memcheck does not know how the host opens another process, so the watcher gives up and says so.
    opened = re.split(r"Open (?:file descriptor|AF_INET socket) ", said.split("HEAP SUMMARY")[0])[1:]
    own = [each for each in opened if "<inherited from parent>" not in each]
    assert len(own) == 1 and "eventfd" in own[0], own
