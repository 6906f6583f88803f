"""Failing system calls, full disks and unusual environments. Whatever fails, the launcher ends by itself, with an
exit code and a text that belong to the failure, and each file of an update is either old or new and whole."""
import collections
import itertools
import pathlib
import re
import shlex
import shutil
import socket
import subprocess

import pytest
from harness import JAVASOFT, MISMATCH, TARGETS, UPDATE_SET, failure, read_text, wait_until
from scripted_assistant import NULL, ScriptedAssistant, number, text

FAULTY = "utilities/launch/tests/reliability/Torvel_faults"
NOT_ENOUGH_MEMORY = 8
ERRORS = collections.defaultdict(lambda: [NOT_ENOUGH_MEMORY], {
    "CopyFileA": [112, 32],  # disk full, sharing violation
    "WSAConnect": [10061],  # refused
    "WSASend": [10054, 10004],  # reset, interrupted
    "WSARecv": [10054, 10004],
})
CANNOT_FAIL = {"GetLastError", "SetLastError", "WSAGetLastError", "WSASetLastError", "GetCurrentProcess",
               "GetCurrentProcessId", "LocalFree", "ExitThread", "Sleep"}
# The watcher thread makes these. A run must last long enough for them.
WATCHER = {"CreateThread", "CreateToolhelp32Snapshot", "Process32First", "OpenProcess",
           "WaitForSingleObject", "CloseHandle"}
WARNINGS = {
    "CreateToolhelp32Snapshot": "Parent process unknown",
    "Process32First": "Parent process unknown",
    "OpenProcess": "Failed to get handle to parent process",
}
EXPLAINED = r"\nLaunching Torvel failed: \w.*\n|CreateProcess returned error|Java process returned -1\n"

WORKSPACE_SEARCH = {"fopen", "_getcwd"}
LIBRARY = {"LoadLibraryA", "GetProcAddress"}
CHILD = {"SearchPathA", "CreateProcessA", "WaitForSingleObject", "GetExitCodeProcess"}
CONNECTION = {"WSAStartup", "WSASocketA", "WSAConnect"}
TRANSFER = {"WSASend", "WSARecv"}
COPY = {"CopyFileA", "GetFileAttributesA", "SetFileAttributesA"}
FAILED, WATCHED, LOST, JAVA, FALLBACK, BUILT = 255, 1, 154, 7, 77, 5  # exit codes


# Arguments, the Assistant's version, the exit code when no call fails, and other exit codes, each with the calls
# whose failure may give it.
CODE_PATHS = {
    "java": (["Checksum"], "", JAVA, {
        FAILED: WORKSPACE_SEARCH, FALLBACK: LIBRARY, WATCHED: {"WaitForSingleObject"}}),
    "child": (["Checksum", "--debug"], "", FALLBACK, {
        FAILED: WORKSPACE_SEARCH | CHILD, WATCHED: {"WaitForSingleObject"}}),
    "update": (["Build", "T"], "2.8.9", BUILT, {
        FAILED: WORKSPACE_SEARCH | COPY, FALLBACK: CONNECTION | {"WSASend"}, LOST: TRANSFER}),
}


def assert_released(calls, what):
    """Every key and socket is closed, a socket without a connection before the next one is made. Windows Sockets is
    released after the last one and before Java is looked for."""
    tried = [call.removesuffix(" failed") for call in calls]
    assert calls.count("RegOpenKeyExA") == tried.count("RegCloseKey"), what
    opened = 0 if "WSAStartup failed" in calls else calls.count("WSASocketA")
    assert opened == tried.count("closesocket"), what
    assert not re.search("WSAConnect failed ((?!closesocket).)*WSASocketA", " ".join(calls)), what
    assert tried.count("WSAStartup") == tried.count("WSACleanup") <= 1, what
    released = [call for call in tried if call in ("closesocket", "WSACleanup", "LoadLibraryA")]
    assert released == sorted(released, key=("closesocket", "WSACleanup", "LoadLibraryA").index), what


@pytest.mark.parametrize("args, version, usual, others", CODE_PATHS.values(), ids=CODE_PATHS)
def test_each_call_fails_once(workspace, product, registry, tmp_path, monkeypatch, assistant,
                              args, version, usual, others):
    log, target = tmp_path / "calls", tmp_path / "target"
    monkeypatch.setattr(product, "program", product.build / FAULTY)
    workspace.add_update_set()
    for library in ("JRE/bin/server/jvm.dll", "jvm.dll"):  # two registered runtimes
        product.fake("fake_jvm.so", tmp_path / library)
    product.fake("fake_java", workspace.tools / "java")
    workspace.env |= registry({"Torvel": {"Install_Dir": "@"}, JAVASOFT: {"CurrentVersion": "1.8"},
                               f"{JAVASOFT}\\1.8": {"RuntimeLib": "@/jvm.dll"}}, str(tmp_path))
    old, new = [f"old {file}" for file in TARGETS], [f"new bin/{file}" for file in UPDATE_SET]
    valid_states = [dict(zip(TARGETS, new[:copied] + old[copied:])) for copied in range(len(TARGETS) + 1)]

    def run(call="", n=0, error=0):
        assistant.directory, assistant.version = target, version
        log.unlink(missing_ok=True)
        shutil.rmtree(target, ignore_errors=True)
        target.mkdir()
        for file, content in valid_states[0].items():
            (target / file).write_text(content)
        (target / "swt-win64.jar").chmod(0o444)
        milliseconds = 0 if call and call not in WATCHER else 500
        result = workspace.run(*args, env={
            "FAULT": f"{call}:{n}:{error}", "FAULT_LOG": str(log),
            "FAKE_JAVA": f"sleeps={milliseconds},exit={FALLBACK}",
            "FAKE_JVM": f"sleeps={milliseconds},exit={JAVA}" if usual == JAVA else "create=-1"})
        return result, log.read_text().splitlines()

    undisturbed, calls = run()
    assert undisturbed.code == usual, undisturbed
    assert_released(calls, undisturbed)
    options = {call for call in calls if call.startswith("option ")}
    assert options == ({f"option {socket.TCP_NODELAY}"} if version else set())  # so no time-out
    counts = collections.Counter(call for call in calls if " " not in call and not (version and call in WATCHER))

    faults = [(call, n, error) for call in sorted(counts) for n in range(1, counts[call] + 1)
              for error in ERRORS[call]]
    codes = set()
    for call, n, error in faults:
        result, made = run(call, n, error)
        what = f"{call} {n} fails with {error}: {result}"
        codes.add(result.code)
        assert f"{call} failed" in made, what
        assert result.code == usual or call in others.get(result.code, ()), what
        if call != "_write":
            assert (result.code == FAILED) == bool(re.search(EXPLAINED, result.out)), what
        if call in WARNINGS:
            assert f"Warning: {WARNINGS[call]}, cannot terminate on its exit\n" in result.out, what
        if result.code != WATCHED:  # the watcher ends the launcher wherever it is
            assert_released(made, what)
        assert {file.name: file.read_text() for file in target.iterdir()} in valid_states, what
    assert set(others) - {WATCHED} <= codes
    print(f"faults: {args}: {len(faults)} points, {len(counts)} different calls, codes {sorted(codes)}")


def test_waits_have_no_limit(workspace, product, tmp_path, monkeypatch):
    """The watcher asks once whether the parent runs; then it and the wait for the child have no time-out."""
    monkeypatch.setattr(product, "program", product.build / FAULTY)
    workspace.use_java("waits,exit=3")
    run, log = workspace.start("Checksum", env={"FAULT_LOG": str(tmp_path / "calls")}), tmp_path / "calls"
    try:
        wait_until(lambda: read_text(log).count("wait ") == 3, "the third wait")
    finally:
        workspace.add("end")
        result = run.wait()
    assert result.code == 3
    assert sorted(re.findall("^wait .*", read_text(log), re.M)) == ["wait 0", *2 * [f"wait {2**32 - 1}"]]


def test_seam_covers_every_call(product):
    def symbols(archive, kind):
        path = product.build / "utilities/launch" / archive
        listed = subprocess.check_output(["nm", "-C", path], text=True)
        return set(re.findall(rf" {kind} (\w+)(?:\(|$)", listed, re.M))

    used = symbols("launcher/liblauncher.a", "U") & symbols("linux/liblinux_layer.a", "T")
    seam = pathlib.Path(__file__).with_name("FaultyCalls.h").read_text()
    covered = set(re.findall(r"^#define (\w+)\(", seam, re.M))
    assert {"CopyFileA", "WSARecv"} <= used and used - CANNOT_FAIL <= covered


STRACE = "strace -f -qq -o /dev/null"


# A shell command that runs the launcher, "$@"; the index of the file that cannot be copied; the error and its text.
REFUSED_UPDATES = {
    "rename refused": (STRACE + ' -e inject=/^rename:error=EACCES:when=3 "$@"', 2, 5, "Access is denied."),
    "file too large": ('trap "" XFSZ; ulimit -f 400; "$@"', 4, 223,
                       "The file size exceeds the limit allowed and cannot be saved."),
    "disk full": (STRACE + ' -e inject=sendfile:error=ENOSPC:when=8 "$@"', 3, 112,
                  "There is not enough space on the disk."),
}


@pytest.mark.parametrize("command, failing, error, reason", REFUSED_UPDATES.values(), ids=REFUSED_UPDATES)
def test_update_refused(workspace, assistant, behind, tmp_path, command, failing, error, reason):
    """The update fails as a launch, and the Assistant is not restarted."""
    (target := tmp_path / "target").mkdir()
    expected = {}
    for file, source, size in zip(TARGETS, UPDATE_SET, (3000, 20_000, 12_000, 15_000, 35_000)):
        (workspace.root / "bin" / source).write_text(new := f"new {file} " * size)
        (target / file).write_text("old")
        expected[file] = new if len(expected) < failing else "old"
    assistant.version, assistant.directory = "2.8.9", target
    behind(command)
    result = workspace.run("Build", "T")
    copy = f"bin/{UPDATE_SET[failing]} to {target}/{TARGETS[failing]}".replace("/", "\\")
    told = failure(f"CopyFile returned error code {error} when copying {copy}: {reason}\r\n")
    assert (result.code, result.out) == (FAILED, MISMATCH + told)
    assert all(line.startswith("strace: ") for line in result.err.splitlines())
    assert {file.name: file.read_text() for file in target.iterdir()} == expected
    assert assistant.version == "2.8.9"


OWN_PROCESS_IDS = "[ $UID != 0 ] || set -- unshare -pf bash -c '\"$@\"; exit $?' bash \"$@\"; "
WARNING = "Warning: Failed to get handle to parent process, cannot terminate on its exit\n"
# Shell commands that run the launcher, "$@".
ENVIRONMENTS = {
    **{f"closed streams {closed}": "exec \"$@\" " + " ".join(f"{stream}>&-" for stream in closed)
       for closed in ("0", "1", "2", "01", "02", "12", "012")},
    "no process descriptors": STRACE + ' -e inject=pidfd_open:error=ENOSYS "$@"',
    "/proc of other processes": OWN_PROCESS_IDS + '"$@"',
    "no permissions": STRACE + ' -e inject=fchmod,utimensat:error=EPERM "$@"',
    "interrupted calls": STRACE + ' -e inject=sendto,recvfrom,write,sendfile,poll:error=EINTR:when=1+2 "$@"',
    "no sendfile": STRACE + ' -e inject=sendfile:error=EINVAL "$@"',
    "eight at once": 'for i in {1..8}; do "$@" & done; '
                     'for job in $(jobs -p); do wait $job; codes[$?]=1; done; exit ${!codes[*]}',
}


@pytest.mark.parametrize("name", ENVIRONMENTS)
def test_works_all_the_same(workspace, assistant, behind, tmp_path, name):
    """An update with its build, and a Java child: exit codes, output, and whole files."""
    workspace.add_update_set()
    warning = WARNING if name == "no process descriptors" else ""
    workspace.use_java("sleeps=1000,exit=77" if warning else "exit=77")
    if "closed streams" in name:  # a child has all three
        opened = "cd /proc/$$/fd && [ -e 0 ] && [ -e 1 ] && [ -e 2 ] && exit 77"
        (workspace.tools / "java").write_text(f"#!/bin/sh\n{opened}\n")
    assistant.version, assistant.directory = "2.8.9", tmp_path / "target"
    assistant.directory.mkdir()
    assistant.answer(" one", "!two")
    behind(ENVIRONMENTS[name])
    build, child = workspace.run("Build", "T"), workspace.run("Checksum")
    has_out, has_err = ("closed streams" not in name or str(stream) not in name for stream in (1, 2))
    assert (build.code, child.code) == (BUILT, FALLBACK)
    printed = {MISMATCH, "one\n", *warning.splitlines(True)}
    assert set(build.out.splitlines(True)) == (printed if has_out else set())
    assert (set(build.err.splitlines()), child.err) == ({"two"} if has_err else set(), "")
    assert child.out == warning
    copied = {file.name: file.read_text() for file in assistant.directory.iterdir()}
    assert copied == {file: f"new bin/{source}" for file, source in zip(TARGETS, UPDATE_SET)}


def test_line_longer_than_memory(workspace, assistant, behind):
    """An exception during the build ends it, and no exit code of the build is known."""
    assistant.output = lambda connection, parameters: connection.send(number(2**31 - 1) + b"x" * 50_000_000)
    behind('ulimit -v 60000; "$@"')
    result = workspace.run("Build", "T", "--debug")
    assert result.code == LOST
    assert result.out.endswith("** Exception **\nReturn code: 666\nAssistant KeepAlive closed")


def test_every_line_arrives(workspace, assistant, behind):
    """With less memory than the output has bytes."""
    lines = [f"line {i} " + "x" * (i % 9973) for i in range(20_000)]
    assistant.answer(*("! "[i % 7 > 0] + line for i, line in enumerate(lines)))
    behind('ulimit -v 60000; exec "$@"')
    result = workspace.run("Build", "T")
    assert result.code == BUILT
    assert result.err.splitlines() == lines[::7]
    assert result.out.splitlines() == [line for i, line in enumerate(lines) if i % 7 > 0]
    print(f"relay: {len(lines)} lines with {sum(map(len, lines))} bytes in 60 MB of memory")


def test_order_of_closing_and_one_write_a_line(workspace, tmp_path, behind):
    """A connection is closed before the wait for the new Assistant, the keep-alive before the build's."""
    workspace.add_update_set()
    (tmp_path / "target").mkdir()
    old = f"cwd={tmp_path}/target|version=2.8.9"
    behind(f'strace -f -qq -s 9999 -e trace=connect,shutdown,write -o {shlex.quote(str(tmp_path))}/calls "$@"')
    with ScriptedAssistant() as assistant:
        assistant.scripts += [lambda c: (c.status(old), c.read_text(), c.close()), lambda c: c.status(old)]
        assistant.answers(text(" one") + text("!two") + text(" " + "3" * 5000) + NULL + number(BUILT))
        result, calls = workspace.run("Build", "T", "--debug"), (tmp_path / "calls").read_text()
    made, numbers, opened = [], {}, itertools.count(1)
    for call, descriptor in re.findall(r"(connect(?=\(\d+, {sa_family=AF_INET)|shutdown|Waiting for)\(?(\d*)", calls):
        if call == "connect":  # the watcher's descriptors come and go meanwhile, so that a number says nothing
            numbers[descriptor] = next(opened)
        made.append(f"{call} {numbers.get(descriptor, '')}".strip())
    assert made == ["connect 1", "shutdown 1", "Waiting for", "connect 2", "shutdown 2", "Waiting for",
                    "connect 3", "connect 4", "shutdown 4", "shutdown 3"]
    assert result.code == BUILT
    written = re.findall(r'write\([12], "(.*)", \d+', calls)
    assert "".join(written).count("\\n") == (result.out + result.err).count("\n")
    assert {"one\\n", "two\\n", "3" * 5000 + "\\n", "Launching...\\n"} <= set(written)
    assert all(text.count("\\n") == 1 for text in written if not text.startswith("Assistant KeepAlive"))


@pytest.mark.parametrize("command", ["Checksum", "Build"])
def test_memory_and_descriptors(workspace, tmp_path, assistant, behind, command):
    """No memory error, no leak, and at the exit no descriptor but the standard ones and the watcher's own."""
    workspace.use_jvm("sleeps=1000,hook=5")
    assistant.answer(" one", "!two")
    behind("exec valgrind --leak-check=full --show-leak-kinds=definite,indirect "
           f'--track-fds=yes --log-file={shlex.quote(str(tmp_path))}/memcheck "$@"')
    result, said = workspace.run(command, "T", "--debug"), (tmp_path / "memcheck").read_text()
    before, opened, after = re.split("FILE DESCRIPTORS|HEAP SUMMARY", said)
    assert result.code == 5 and " at 0x" not in before + after, said  # each finding has a stack
    own = [each for each in re.split(r"Open (?:file descriptor|AF_INET socket) ", opened)[1:]
           if "<inherited from parent>" not in each]
    assert all("CreateThread" in each for each in own), own
    # Before 3.24 Memcheck does not know pidfd_open: the watcher gives up, and the write end of its pipe closes.
    calls = sorted(re.search(r" at 0x\w+: (\w+)", each)[1] for each in own)
    assert calls in (["pipe2"], ["pipe2", "pipe2", "syscall"]), own
