"""Each call to the system fails once in turn, and the update meets a full disk and its like: the launcher
ends by itself, with a code and a text that are meant, and leaves whole files behind."""
import collections
import pathlib
import re
import shutil
import subprocess

import pytest
from harness import TARGETS, UPDATE_SET, failure

# By what they fail; all others by 8, too little memory.
ERRORS = {"CopyFileA": (112, 32), "WSAConnect": (10061,),
          "WSASend": (10054, 10004), "WSARecv": (10054, 10004)}
CANNOT_FAIL = {"GetLastError", "SetLastError", "WSAGetLastError", "WSASetLastError", "GetCurrentProcess",
               "GetCurrentProcessId", "LocalFree", "ExitThread", "Sleep"}
# The watcher's, by a thread of its own: a run must last for them to be made.
WATCHING = {"CreateThread", "CreateToolhelp32Snapshot", "Process32First", "OpenProcess",
            "WaitForSingleObject", "CloseHandle"}
UNKNOWN, UNOPENED = "Parent process unknown", "Failed to get handle to parent process"
WARNED = {"CreateToolhelp32Snapshot": UNKNOWN, "Process32First": UNKNOWN, "OpenProcess": UNOPENED}
TOLD = r"\nLaunching Torvel failed: \w.*\n|CreateProcess returned error|Java process returned -1\n"

# How a command runs: arguments, the Assistant's version, the code undisturbed, and other codes with the calls
# whose failure may give them.
Road = collections.namedtuple("Road", "args version code others")
SEARCH, CONNECT = {"fopen", "_getcwd"}, {"WSAStartup", "WSASocketA", "WSAConnect"}
TRANSFER = {"WSASend", "WSARecv"}
COPY = {"CopyFileA", "GetFileAttributesA", "SetFileAttributesA"}
CHILD = {"SearchPathA", "CreateProcessA", "WaitForSingleObject", "GetExitCodeProcess"}
ROADS = {
    "java": Road(["Checksum"], None, 7, {
        255: SEARCH, 77: {"LoadLibraryA", "GetProcAddress"}, 1: {"WaitForSingleObject"}}),
    "child": Road(["Checksum", "--debug"], None, 77, {255: SEARCH | CHILD, 1: {"WaitForSingleObject"}}),
    "assisted build": Road(["Build", "T"], "2.8.10", 5, {255: SEARCH, 77: CONNECT, 154: TRANSFER}),
    "update": Road(["Build", "T"], "2.8.9", 5, {
        255: SEARCH | COPY, 77: CONNECT | {"WSASend"}, 154: TRANSFER}),
}


@pytest.mark.parametrize("name", ROADS)
def test_each_call_fails_once(workspace, product, registry, tmp_path, monkeypatch, assistant, scale, name):
    road, log, target = ROADS[name], tmp_path / "calls", tmp_path / "target"
    monkeypatch.setattr(product, "program", product.fakes / "Torvel_faults")
    workspace.add_update_set()
    for library in ("JRE/bin/server/jvm.dll", "jvm.dll"):  # a runtime that the registry knows twice
        product.fake("fake_jvm.so", tmp_path / library)
    product.fake("fake_java", workspace.tools / "java")
    java = "JavaSoft\\Java Runtime Environment"
    workspace.env |= registry({"Torvel": {"Install_Dir": "@"}, java: {"CurrentVersion": "1.8"},
                               f"{java}\\1.8": {"RuntimeLib": "@/jvm.dll"}}, str(tmp_path))
    old, new = [f"old {file}" for file in TARGETS], [f"new bin/{file}" for file in UPDATE_SET]
    whole = [dict(zip(TARGETS, new[:copied] + old[copied:])) for copied in range(len(TARGETS) + 1)]

    def run(call="", n=0, error=0):
        assistant.directory, assistant.version = target, road.version
        log.unlink(missing_ok=True)
        shutil.rmtree(target, ignore_errors=True)
        target.mkdir()
        for file, content in whole[0].items():
            (target / file).write_text(content)
        (target / "swt-win64.jar").chmod(0o444)
        lasts = 0 if call and call not in WATCHING else 500
        result = workspace.run(*road.args, env={
            "FAULT": f"{call}:{n}:{error}", "FAULT_LOG": str(log), "FAKE_JAVA": f"sleeps={lasts},exit=77",
            "FAKE_JVM": f"sleeps={lasts},exit=7" if name == "java" else "create-fails"})
        return result, log.read_text().splitlines()

    undisturbed, calls = run()
    assert undisturbed.code == road.code, undisturbed
    counts = collections.Counter(call for call in calls if not road.version or call not in WATCHING)
    # Of the calls made for every byte the short form takes the first, some, and the last.
    tried = [(call, n, error) for call, count in sorted(counts.items()) for n in range(1, count + 1)
             if n <= 25 or n % scale(20, 1) == 0 or n > count - 5 for error in ERRORS.get(call, (8,))]
    seen = set()
    for call, n, error in tried:
        result, made = run(call, n, error)
        what = f"{call} {n} fails with {error}: {result}"
        assert f"{call} failed" in made, what
        assert result.code == road.code or call in road.others.get(result.code, ()), what
        assert call == "_write" or (result.code == 255) == bool(re.search(TOLD, result.out)), what
        if call in WARNED:
            assert f"Warning: {WARNED[call]}, cannot terminate on its exit\n" in result.out, what
        assert {path.name: path.read_text() for path in target.iterdir()} in whole, what
        seen.add(result.code)
    assert set(road.others) <= seen | {1}
    print(f"faults: {name}: {len(tried)} points, {len(counts)} different calls, codes {sorted(seen)}")


def test_seam_covers_every_call(product):
    def symbols(archive, kind):
        path = product.build / "utilities/launch" / archive
        listed = subprocess.check_output(["nm", "-C", path], text=True)
        return set(re.findall(rf" {kind} (\w+)(?:\(|$)", listed, re.M))

    used = symbols("launcher/liblauncher.a", "U") & symbols("host/libhost_layer.a", "T")
    seam = (pathlib.Path(__file__).parents[1] / "fakes/FaultyCalls.h").read_text()
    covered = set(re.findall(r"^#define (\w+)\(", seam, re.M))
    assert {"CopyFileA", "WSARecv"} <= used and used - CANNOT_FAIL <= covered


# What strace injects into the launcher, or a shell command around it; the target that fails, error and text.
REFUSED = {
    "rename refused": ("-e inject=/^rename:error=EACCES:when=3", 2, 5, "Access is denied."),
    "too large": ('trap "" XFSZ; ulimit -f 400; "$@"', 4, 223,
                  "The file size exceeds the limit allowed and cannot be saved."),
    "disk full": ('"$@"', 3, 112, "There is not enough space on the disk."),
}


@pytest.mark.parametrize("name", REFUSED)
def test_update_refused(request, workspace, assistant, behind, tmp_path, name):
    """The failure text, -1, and each file either new or old and whole, and no word to the Assistant."""
    (command, failing, error, words), target = REFUSED[name], tmp_path / "target"
    target.mkdir()
    if name == "disk full":
        mount = ["mount", "-t", "tmpfs", "-o", "size=700k", "tmpfs", target]
        if subprocess.run(mount, capture_output=True).returncode:
            pytest.skip("only root can mount a small disk")
        request.addfinalizer(lambda: subprocess.run(["umount", target], check=True))
    expected = {}
    for file, source, size in zip(TARGETS, UPDATE_SET, (3000, 20_000, 12_000, 15_000, 35_000)):
        (workspace.root / "bin" / source).write_text(new := f"new {file} " * size)
        (target / file).write_text("old")
        expected[file] = new if len(expected) < failing else "old"
    assistant.version, assistant.directory = "2.8.9", target
    behind(f'strace -f -qq -o /dev/null {command} "$@"' if command.startswith("-") else command)
    code, out, err = workspace.run("Build", "T")
    copy = f"bin/{UPDATE_SET[failing]} to {target}/{TARGETS[failing]}".replace("/", "\\")
    assert (code, out) == (255, "Version mis-match, restarting Assistant with version 2.8.10\n" + failure(
        f"CopyFile returned error code {error} when copying {copy}: {words}\r\n"))
    assert all(line.startswith("strace: ") for line in err.splitlines())
    assert {path.name: path.read_text() for path in target.iterdir()} == expected
    assert assistant.version == "2.8.9"


STRACE = "strace -f -qq -o /dev/null"
OWN_PROCESSES = "[ $UID != 0 ] || set -- unshare -pf bash -c '\"$@\"; exit $?' bash \"$@\"; "
WARNING = "Warning: Failed to get handle to parent process, cannot terminate on its exit\n"
SURROUNDINGS = {
    **{f"{closed} closed": "exec \"$@\" " + " ".join(f"{stream}>&-" for stream in closed)
       for closed in ("0", "1", "2", "01", "02", "12", "012")},
    "no process descriptors": STRACE + ' -e inject=pidfd_open:error=ENOSYS "$@"',
    "a stranger's /proc": OWN_PROCESSES + '"$@"',
    "no permissions": STRACE + ' -e inject=fchmod,utimensat:error=EPERM "$@"',
    "interrupted calls": STRACE + ' -e inject=sendto,recvfrom,write,sendfile,poll:error=EINTR:when=1+2 "$@"',
    "no sendfile": STRACE + ' -e inject=sendfile:error=EINVAL "$@"',
}


@pytest.mark.parametrize("name", SURROUNDINGS)
def test_works_all_the_same(workspace, assistant, behind, tmp_path, name):
    """An update and a build, then a child: their codes, all that was printed, whole files."""
    workspace.add_update_set()
    warned = [WARNING] if name == "no process descriptors" else []
    workspace.use_java("sleeps=1000,exit=77" if warned else "exit=77")
    assistant.version, assistant.directory = "2.8.9", tmp_path / "target"
    assistant.directory.mkdir()
    assistant.answer(" one", "!two")
    behind(SURROUNDINGS[name])
    build, child = workspace.run("Build", "T"), workspace.run("Checksum")
    told = ["Version mis-match, restarting Assistant with version 2.8.10\n", "one\n", *warned]
    assert (build.code, child.code, build.err, child.err) == (5, 77, "" if "2" in name else "two\n", "")
    assert sorted(build.out.splitlines(True)) == ([] if "1" in name else sorted(told))
    assert child.out == "".join(warned)
    copied = [(assistant.directory / file).read_text() for file in TARGETS]
    assert copied == [f"new bin/{file}" for file in UPDATE_SET]


def test_order_of_closing_and_one_write_a_line(workspace, tmp_path, behind, assistant):
    behind(f'strace -f -qq -s 9999 -e trace=shutdown,write -o {tmp_path}/calls "$@"')
    assistant.answer(" one", "!two", " " + "3" * 5000)
    result, calls = workspace.run("Build", "T", "--debug"), (tmp_path / "calls").read_text()
    keep_alive, connection = re.findall(r"shutdown\((\d+)", calls)
    assert result.code == 5 and int(keep_alive) > int(connection)  # it was opened later
    written = re.findall(r'write\([12], "(.*)", \d+\) +=', calls)
    assert "".join(written).count("\\n") == (result.out + result.err).count("\n")
    assert {"one\\n", "two\\n", "3" * 5000 + "\\n", "Launching...\\n"} <= set(written)
    assert all(text.count("\\n") == 1 for text in written if not text.startswith("Assistant KeepAlive"))


@pytest.mark.parametrize("command", ["Checksum", "Build"])
def test_memory_and_descriptors(workspace, tmp_path, assistant, behind, command):
    """No error, no lost memory, and at the exit no descriptor but the standard ones and the watcher's own."""
    workspace.use_jvm("sleeps=1000,exit=5")
    assistant.answer(" one", "!two", code=5)
    behind("exec valgrind --leak-check=full --errors-for-leak-kinds=definite,indirect,possible "
           f'--track-fds=yes --log-file={tmp_path}/memcheck "$@"')
    result, said = workspace.run(command, "T", "--debug"), (tmp_path / "memcheck").read_text()
    assert result.code == 5 and "ERROR SUMMARY: 0 errors from 0 contexts" in said, said
    # Memcheck does not know how the host opens another process, so the watcher gives up and says so.
    opened = re.split(r"Open (?:file descriptor|AF_INET socket) ", said.split("HEAP SUMMARY")[0])[1:]
    own = [each for each in opened if "<inherited from parent>" not in each]
    assert len(own) == 1 and "RunThread" in own[0], own
