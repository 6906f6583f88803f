"""Build verbs through the Assistant: the bytes on the wire, the update, the output, and failures of each."""
import fcntl
import os
import re
import select
import signal
import stat
import time

import pytest
from harness import MISMATCH, TARGETS, UPDATE_SET, VERSION, addresses_out, failure, read_text, rows, wait_until
from scripted_assistant import NULL, STATUS, Connection, number, text

OK = NULL + number(0)
ESCAPED = VERSION[:-1] + f"%3{VERSION[-1]}"  # the last digit
LOST = 666  # the exit code of a build whose own did not arrive
ADDED = ("WINE", "System", "PROCESSOR_", "TSAN_")  # prefixes of variables that Wine and the thread sanitizer add


def environment_of(parameter):
    """The variables in an --environment parameter, without those added."""
    inner = parameter.removeprefix('--environment="').removesuffix('"')
    assert parameter == f'--environment="{inner}"'
    return "|".join(pair for pair in inner.split("|") if not pair.startswith(ADDED))


def test_example_conversation(workspace, product, assistant):
    def finish(connection):
        keep_alive = assistant.connections[1].peer
        assert not select.select([keep_alive], [], [], 0.1)[0]  # it stays open during the build
        connection.send(NULL + number(1))

    assistant.answers(text(" Compiling") + text("!error") + text(" ab\0cd") + number(-2), after=finish)
    workspace.env = {}
    result = workspace.run("Build", "Game", "100%s\xe9", "--debug",
                           env={"PATH": "C:\\bin", "TEMP": "C:\\t", "VS_UNICODE_OUTPUT": "1"})
    assert (result.code, result.err) == (1, "error\n")
    environment = assistant.request[3]
    parameters = ["Game", "100%s\xe9", environment, f"--workspace={workspace.native()}"]
    assert environment_of(environment) == "PATH=C:\\bin|TEMP=C:\\t"
    sent = text("Status") + text("Build") + number(4) + b"".join(map(text, parameters))
    assert (assistant.received(0), assistant.received(1)) == (sent, b"")
    assert sorted(assistant.closes) == [0, 1]

    shown = addresses_out(result.out)
    added = tuple(f"<p>: {name}" for name in ADDED)
    lines = [line for line in shown.splitlines() if not line.startswith(added)]
    assert lines == (workspace.search().splitlines() + [
        "Launching build: <p>", "Verb: Build", "Sockets initialised", "Assistant: Connected",
        "Assistant: Send 'Status'",
        f"Assistant: Reading {len(STATUS)} characters", f"Assistant: Received '{STATUS}'",
        "<p>: PATH=C:\\bin", "<p>: TEMP=C:\\t", "<end>", "Assistant: Send 'Build'",
        *(line for each in parameters for line in (f"Param: {each}", f"Assistant: Send '{each}'")),
        "Assistant KeepAlive openAssistant: Keep-alive Connected", "Assistant: Reading 10 characters",
        "Assistant: Received ' Compiling'", "Compiling",
        "Assistant: Reading 6 characters", "Assistant: Received '!error'",
        "Assistant: Reading 6 characters", "Assistant: Received ' ab'", "ab",
        "Assistant: Reading -2 characters", "Assistant: Received ''", "",
        "Assistant: Null string", "Return code: 1", "Assistant KeepAlive closed"])
    assert shown.endswith("\nAssistant KeepAlive closed")


# Arguments after the verb, and the parameters sent without the last two. "@" is the start path of src/game.
REBASED = [
    (["Game", "", "Release"], ["@/Game", "", "Release"]),
    ([], []),
    (["--x", "Game", "--antLog=log"], ["--x", "Game", "--antLog=@/log"]),
    (["-t=a/b", "-y"], ["@/-t=a/b", "-y"]),
    (["", "x"], ["@/", "x"]),
    (["T", "--antLog=..\\o", "--selectSource=a b/c"], ["@/T", "--antLog=@/..\\o", "--selectSource=@/a b/c"]),
    (["T", "--antLog=..", "--selectSource=C:\\l\\b"], ["@/T", "--antLog=..", "--selectSource=C:\\l\\b"]),
    (["T", "--antLog", "--AntLog=abc", "--selectSource=\\a"],
     ["@/T", "--antLog", "--AntLog=abc", "--selectSource=\\a"]),
    (["-Xmx1g", "--assistant=yes", "caf\xe9"], ["@/caf\xe9"]),
]


def test_rebasing(workspace, product, assistant):
    start = "src\\game/" if product.windows else "src/game/"
    for args, sent in rows(REBASED):
        assistant.answers(OK)
        assert workspace.run("Export", *args, cwd=workspace.game) == (0, "", "")
        assert assistant.request[:-2] == ["Export", *(each.replace("@", start) for each in sent)]
        assert assistant.request[-1] == f"--workspace={workspace.native()}"
    assistant.answers(OK)
    given = ["Build", "T", "--environment=mine", "--workspace=sub/..", "--workspace=2", "x="]
    assert workspace.run(*given) == (0, "", "")
    assert assistant.request == [*given[:3], f"--workspace={workspace.native()}/sub/..", *given[4:]]


def test_environment_escapes_and_exclusions(workspace, product, assistant):
    assistant.answers(OK)
    workspace.env = {}
    given, sent = ("q", "q") if product.windows else ('q"q\n\r', 'q"q%0a\r')
    workspace.run("Build", env={
        "VCBuildHelper_CancelEvent": "1", "VCBuildHelper_Command": "2", "vs_unicode_output": "3",
        "VS_UNICODE_OUTPUT_": "4", "B": "a|b=c%d", "A": given})
    expected = f"A={sent}|B=a%7cb%3dc%25d|VS_UNICODE_OUTPUT_=4|vs_unicode_output=3"
    assert environment_of(assistant.request[1]) == expected


@pytest.mark.linux_only
def test_odd_environment_entries(workspace, product, assistant, tmp_path, monkeypatch):
    """An entry without "=" is left out, a name may be empty, and of two entries with one name the last counts."""
    program = tmp_path / "program"
    program.write_text(f'''#!/usr/bin/python3
import ctypes, os, sys
def array(*texts):
    return (ctypes.c_char_p * (len(texts) + 1))(*map(os.fsencode, texts))
execve = ctypes.CDLL(None).execve
execve({os.fsencode(product.program)}, array(*sys.argv), array("A=1", "without", "=x=y", "A=2"))
''')
    program.chmod(0o755)
    monkeypatch.setattr(product, "program", program)
    assistant.answers(OK)
    result = workspace.run("Build", "--debug")
    assert environment_of(assistant.request[1]) == "=x%3dy|A=2"
    assert re.search("^[0-9a-f]+: <null>$", result.out, re.M)


@pytest.fixture
def old_assistant(workspace, product, tmp_path):
    """The directory of an older Assistant and its status. The workspace has the files of the update."""
    workspace.add_update_set()
    place = tmp_path / "assist"
    place.mkdir()
    return place, f"cwd={product.path(place)}|version=2.8.9"


def restart(connection, answer, junk=b""):
    connection.status(answer)
    assert connection.read_text() == "Restart"
    connection.send(junk)
    connection.close()


# The Assistant's directory contains a NUL, escaped or as the low 8 bits of a character. The path ends there.
@pytest.mark.parametrize("again, jar, end", [(False, "bin/", "%00"), (True, "bin\\", "/\u0100")], ids=[
    "all five", "no Slave.jar, bin\\ and bin\\lib/, over old files, into a directory with a separator, back later"])
def test_update(workspace, product, assistant, old_assistant, again, jar, end):
    place, answer = old_assistant
    answer = answer.replace("|", f"{end}/x|")
    pairs = [(f"/{target}", source) for target, source in zip(TARGETS, UPDATE_SET)]
    if again:  # only "/" separates a file's name, and none is added to the directory's
        pairs.pop()
        (workspace.root / "bin/Slave.jar").unlink()
        (workspace.root / "bin/torvel-win64.dll").unlink()  # the library directory is then bin\lib/
        workspace.add("bin/lib/torvel-win64.dll", "bin/lib/swt-win64.jar")
        pairs = [("//TorvelAssistant.exe", UPDATE_SET[0]), ("/bin\\Torvel.jar", "Torvel.jar"),
                 *((f"/{file}", f"lib/{file}") for file in UPDATE_SET[2:4])]
        (place / "bin").mkdir()
        for name in ("TorvelAssistant.exe", "bin/Torvel.jar", *UPDATE_SET[2:4]):
            (place / name).write_text("old and longer than the new one will be")
            os.chmod(place / name, stat.S_IREAD)

    def first(connection):
        if again:
            assistant.stop_listening()
        # More than sockets hold, so that it leaves only if the launcher reads until the close.
        restart(connection, answer, junk=text(" late") + b"\xff" * 30_000_000)

    assistant.scripts.append(first)
    assistant.answers(text(" built") + NULL + number(7))
    began = time.monotonic()
    run = workspace.start("Build", "T", "--debug", f"--jar={jar}")
    if again:  # the first attempt finds no listener
        wait_until(lambda: read_text(run.files.out).count("Waiting for assistant") > 1, "a second attempt")
        assistant.listen()
    result = run.wait()
    assert (result.code, result.err, assistant.received(0)) == (7, "", text("Status") + text("Restart"))
    assert 0 not in assistant.closes
    copied = {place / name.strip("/").replace("\\", "/"): f"new bin/{source}" for name, source in pairs}
    assert {each: each.read_text() for each in place.rglob("*.*")} == copied
    copies = "".join(f"Copying {jar}{source} to {product.path(place)}{name}...\n" for name, source in pairs)
    waits = result.out.count("Waiting for assistant...\n")
    assert waits > 1 if again else waits == 1
    assert time.monotonic() - began >= 0.5 * waits
    waited = "Waiting for assistant...\n" * waits
    assert (f"{MISMATCH}{copies}Assistant: Send 'Restart'\nAssistant: EOF\n{waited}"
            f"Assistant: Send 'Status'\nAssistant: Reading {len(STATUS)} characters\n"
            f"Assistant: Received '{STATUS}'\nReconnected...\nUpdated!\n") in result.out


def test_assistant_that_does_not_come_back(workspace, assistant, old_assistant):
    """20 attempts, half a second apart, get a reset or the old version. Then the build runs without it."""
    _, answer = old_assistant
    workspace.use_jvm("exit=3")
    assistant.scripts += [lambda c: restart(c, answer), lambda c: c.close(reset=True)]
    assistant.scripts += [lambda c: c.status(answer)] * 19
    began = time.monotonic()
    assert workspace.run("Build", "T", more=10) == (3, MISMATCH + "Warning: Assistant failed to restart\n", "")
    assert time.monotonic() - began >= 10
    assert [assistant.received(i) for i in range(2, len(assistant.connections))] == [text("Status")] * 19
    assert "call com/drel/torvel/commands/Build.main [T]" in workspace.logged()


@pytest.mark.linux_only
def test_leased_files(workspace, assistant, old_assistant):
    """A lease of another process, here of this one, ends when the file is opened for reading."""
    place, answer = old_assistant
    leased = [(workspace.root / "bin" / file).open("r+") for file in UPDATE_SET[1:]]

    def end_broken(*_):
        for file in [file for file in leased if fcntl.fcntl(file, fcntl.F_GETLEASE) != fcntl.F_WRLCK]:
            leased.remove(file)  # first, since another signal may interrupt this
            fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_UNLCK)

    before = signal.signal(signal.SIGIO, end_broken)
    for file in leased:
        fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_WRLCK)
    assistant.scripts.append(lambda c: restart(c, answer))
    assistant.answers(OK)
    assert workspace.run("Build", "T") == (0, MISMATCH, "")
    assert {each.name for each in place.iterdir()} == set(TARGETS) and not leased
    signal.signal(signal.SIGIO, before)


def copy_failure(product, code, source, target, retries=""):
    files = f"bin/{source} to {target}".replace("/", "\\")
    words = f"CopyFile returned error code {code} when copying {files}: {product.messages[code]}\r\n"
    return product.code(-1), MISMATCH + retries + failure(words), ""


def test_update_that_fails(workspace, product, assistant, old_assistant):
    """The target of the fourth file is a directory."""
    place, answer = old_assistant
    (place / TARGETS[3]).mkdir()
    assistant.scripts.append(lambda c: c.status(answer))
    expected = copy_failure(product, 5, UPDATE_SET[3], f"{product.path(place)}/{TARGETS[3]}")
    assert workspace.run("Build", "T") == expected and assistant.received(0) == text("Status")
    assert {each.name for each in place.iterdir() if each.is_file()} == set(TARGETS[:3])


def test_target_in_use(workspace, product, assistant):
    """The Assistant's directory is the one of the update, so that a file would be copied onto itself."""
    workspace.add_update_set()
    place = product.path(workspace.root / "bin")
    assistant.scripts.append(lambda c: c.status(f"cwd={place.replace('%', '%25')}|version=2.8.9"))
    began, retries = time.monotonic(), "Sharing violation, retrying...\n" * 4
    assert workspace.run("Build") == copy_failure(product, 32, "Torvel.jar", f"{place}/Torvel.jar", retries)
    assert time.monotonic() - began >= 0.4
    assert workspace.root.joinpath("bin/Torvel.jar").read_text() == "new bin/Torvel.jar"


def test_versions_that_differ(workspace, product, assistant):
    """Without a directory in the status the copies go to the top of the drive."""
    last_counts = f"version={ESCAPED}|version=2.8.9"
    for version in rows([f"version={VERSION} ", f"Version={VERSION}", "", last_counts]):
        assistant.scripts.append(lambda c: c.status(version))
        expected = copy_failure(product, 2, UPDATE_SET[0], "/TorvelAssistant.exe")
        assert workspace.run("Build") == expected


def test_statuses_that_pass(workspace, assistant):
    for status in rows([NULL, text(f"a=b|version={ESCAPED}"), text(f"version=1|=x|junk||version={VERSION}")]):
        assistant.answers(OK + b"beyond", status=status)
        result = workspace.run("Build", "T", "--debug")
        assert (result.code, result.err, *assistant.request[:2]) == (0, "", "Build", "T")
        assert (status == NULL) == ("\nAssistant: Null string\nAssistant: I/O Error\n" in result.out)


def test_without_the_assistant(workspace, product, assistant):
    """By the option, the variable, the verb Scrub, or without a listener. The option overrules the variable."""
    workspace.use_jvm("exit=2")

    def run_alone(verb, *args, variable="", sockets=""):
        workspace.log.unlink(missing_ok=True)
        env = {"TORVEL_ASSISTANT": variable}
        result = workspace.run(verb, "T", "--debug", *args, env=env, cwd=workspace.game)
        steps = f"Verb: {verb}\n{sockets}Launching non-assisted\nCommand: com/drel/torvel/commands/{verb}\n"
        assert result.code == 2 and steps in result.out
        start = "src\\game/" if product.windows else "src/game/"
        assert f"call com/drel/torvel/commands/{verb}.main [{start}/T]" in workspace.logged()

    run_alone("Scrub")
    run_alone("Scrub", "--assistant")
    run_alone("Build", variable="0")
    run_alone("Clean", "--assistant=false", variable="1")
    assert not assistant.connections
    for variable, option in rows([("0", "--assistant"), ("00", "x"), ("", "--assistant=False")]):
        assistant.answers(OK)
        result = workspace.run("Build", option, env={"TORVEL_ASSISTANT": variable})
        assert result == (0, "", "")
    assistant.stop_listening()
    run_alone("Validate", sockets="Sockets initialised\nAssistant: Not found\n")


def test_cut_at_every_byte(workspace, product, assistant):
    """The connection ends at any byte: the run prints complete lines and ends, without a fallback."""
    workspace.use_jvm("exit=2")
    status, output = text(STATUS), text(" C\xe9") + NULL + number(7)
    # On Windows a reset may overtake the bytes before it.
    for reset in [False] if product.windows else [False, True]:
        for offset in rows((0, 3, 4, 10, len(status) - 1, len(status))):
            assistant.scripts.append(lambda c: (c.status(status[:offset]), c.close(reset)))
            assert workspace.run("Build") == (product.code(LOST), "", "")
        for offset in rows(range(len(output) + 1)):
            assistant.answers(output[:offset], after=lambda c: c.close(reset))
            code = product.code(7 if offset == len(output) else LOST)
            assert workspace.run("Build") == (code, "C\xe9\n" if offset >= 8 else "", "")
    assert not workspace.logged()


# What the Assistant sends, the exit code, and standard output. After an invalid string the next four bytes are
# the exit code, which shows how many bytes of the string were read.
HOSTILE = [
    (number(-2**31) + NULL + number(-3), -3, "\n"),
    (text("") + text(" ") + text(" x") + text("x") + OK, 0, "\n\nx\n\n"),
    (text("?a") + text("%d%s%n") + OK, 0, "a\nd%s%n\n"),
    # Invalid UTF-8.
    (number(1) + b"\xc3A" + number(11), 11, ""),
    (number(1) + b"\xf0\x9f\x98A" + number(12), 12, ""),
    (number(1) + b"\xbfA" + number(13), 13, ""),
    (number(1) + b"\x80\x80A" + number(14), 14, ""),
    (number(1) + b"\xff\x80\x80\xff" + number(15), 15, ""),
    (text(" \u20acA\u0141") + text(" a\U0001f6e9") + OK, 0, "\xacAA\na\xe9\n"),
    # Overlong sequences, a surrogate, a code point above the largest.
    (number(5) + b" \xc1\x81\xe0\x81\x82\xed\xa0\x80\xf7\xbf\xbf\xbf" + OK, 0, "AB\n"),
    (text(" e\u0100f") + text(" \0g") + text("\0h\0i") + OK, 0, "e\n\nh\n"),
    (NULL + number(2**31 - 1), 2**31 - 1, ""),
    (text(" " + "xyz" * 30_000) + OK, 0, "xyz" * 30_000 + "\n"),  # longer than every buffer
]


def test_hostile_output(workspace, product, assistant):
    for output, code, out in rows(HOSTILE):
        assistant.answers(output, after=Connection.close)
        assert workspace.run("Build") == (product.code(code), out, "")
    message = "UTF sequences longer than four bytes not handled, aborting"
    for sequence, told, code in rows([
            (b"\xf8\x80\x80\x80", message, 15), (b"\xff\x80\x80\x80", message, 15),
            (b"\x80\x80\x80\x80", message, 15), (b"\xc3A", "", 15),
            (b"", "Assistant: EOF\n", LOST), (b"\xc3", "Assistant: EOF\n", LOST)]):
        assistant.answers(number(1) + sequence + number(15) * (code == 15), after=Connection.close)
        result = workspace.run("Build", "--debug")
        assert result.code == product.code(code)
        assert f"Reading 1 characters\n{told}Return code: {code}\nAssistant KeepAlive closed" in result.out


@pytest.mark.linux_only
def test_full_disk(workspace, assistant):
    """One error message for all lines."""
    assistant.answers(text(" line") * 3 + NULL + number(9))
    with open("/dev/full", "wb") as full:
        run = workspace.start("Build", out=full)
    told = "Torvel: standard output cannot be written: There is not enough space on the disk.\n"
    assert run.wait() == (9, "", told)


@pytest.mark.linux_only
@pytest.mark.parametrize("is_read", [True, False], ids=["read", "without a reader"])
def test_full_pipe(workspace, assistant, is_read):
    """The launcher waits for a stream that would block. Without a reader it ends, by itself or by SIGPIPE."""
    lines = [f"{i:05000}" for i in range(100)]
    assistant.answers(b"".join(text(" " + line) for line in lines) + NULL + number(9))
    reading, writing = os.pipe()
    os.set_blocking(writing, False)
    run = workspace.start("Build", out=writing)
    wait_until(lambda: not select.select([], [writing], [], 0)[1], "a full pipe")
    os.close(writing)
    with open(reading) as pipe:
        if is_read:
            assert pipe.read().splitlines() == lines
    code, _, err = run.wait()
    assert err == "" and code in ((9,) if is_read else (9, -13))
