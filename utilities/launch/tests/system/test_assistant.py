"""Build verbs through the Assistant: the wire byte for byte, the update, the relay, and every way it can go wrong."""
import os
import stat
import threading
import time

import pytest

from conftest import LIMIT, UPDATE_SET, addresses_out, failure, wait_until
from scripted_assistant import NULL, Connection, number, text

GOOD = "cwd=C:\\Assist|version=2.8.10"
OK = NULL + number(0)
MISMATCH = "Version mis-match, restarting Assistant with version 2.8.10\n"
LOST = 666  # the code when the build's own never arrived


def environment_of(text_form):
    """The variables in an --environment parameter, less those that Windows and the checks add."""
    inner = text_form.removeprefix('--environment="').removesuffix('"')
    assert text_form == f'--environment="{inner}"'
    return "|".join(pair for pair in inner.split("|") if not pair.startswith(("WINE", "System", "TSAN_")))


def test_example_conversation(workspace, product, assistant):
    assistant.answers(text(" Compiling") + text("!error") + NULL + number(1))
    env = {"PATH": "C:\\bin", "TEMP": "C:\\t", "VS_UNICODE_OUTPUT": "1"}
    workspace.env = {}
    result = workspace.run("Build", "Game", "Release", "--debug", env=env)
    assert (result.code, result.err) == (1, "error\n")
    sent, environment = assistant.received(0), assistant.request[3]
    assert environment_of(environment) == "PATH=C:\\bin|TEMP=C:\\t"
    if not product.windows and not product.checks:
        assert environment == '--environment="PATH=C:\\bin|TEMP=C:\\t"'
    assert sent == (text("Status") + text("Build") + number(4) + text("Game") + text("Release") + text(environment) +
                    text(f"--workspace={workspace.native()}"))
    assert assistant.received(1) == b""
    # The second connection opens when the last byte of the request has been sent, and closes before the first.
    (_, first, _), (_, second, [arrived]) = assistant.events[:2]
    assert (first, second) == (0, 1)
    assert arrived == len(sent) or product.windows  # where the system holds small sends back for a while
    assistant.wait_for_closes(2)
    assert ("close", 0, [1]) not in assistant.events

    shown = addresses_out(result.out)
    lines = [line for line in shown.splitlines() if not line.startswith(("<p>: WINE", "<p>: System", "<p>: TSAN_"))]
    parameters = ["Game", "Release", environment, f"--workspace={workspace.native()}"]
    assert lines == (workspace.search().splitlines() + [
        "Launching build: <p>", "Verb: Build", "Sockets initialised", "Assistant: Connected", "Assistant: Send 'Status'",
        f"Assistant: Reading {len(GOOD)} characters", f"Assistant: Received '{GOOD}'", "<p>: PATH=C:\\bin", "<p>: TEMP=C:\\t", "<end>",
        "Assistant: Send 'Build'", *(line for each in parameters for line in (f"Param: {each}", f"Assistant: Send '{each}'")),
        "Assistant KeepAlive openAssistant: Keep-alive Connected", "Assistant: Reading 10 characters",
        "Assistant: Received ' Compiling'", "Compiling", "Assistant: Reading 6 characters", "Assistant: Received '!error'",
        "Assistant: Null string", "Return code: 1", "Assistant KeepAlive closed"])
    assert shown.endswith("\nAssistant KeepAlive closed")


# Name, arguments after the verb, parameters on the wire less the last two; started in src/game, "@" is the start path.
REBASED = [
    ("targets alone", ["Game", "Release"], ["@/Game", "Release"]),
    ("no targets", [], []),
    ("option first", ["--x", "Game", "--antLog=out.log"], ["--x", "Game", "--antLog=@/out.log"]),
    ("one dash is a target, with its value", ["-t=a/b", "-y"], ["@/-t=a/b", "-y"]),
    ("empty target", ["", "x"], ["@/", "x"]),
    ("paths", ["T", "--antLog=..\\o", "--selectSource=a b/c"], ["@/T", "--antLog=@/..\\o", "--selectSource=@/a b/c"]),
    ("short and absolute paths", ["T", "--antLog=ab", "--selectSource=C:\\logs\\b"], ["@/T", "--antLog=ab", "--selectSource=C:\\logs\\b"]),
    ("rooted paths", ["T", "--antLog=/abs", "--selectSource=\\abs"], ["@/T", "--antLog=/abs", "--selectSource=\\abs"]),
    ("path without a value", ["T", "--antLog", "--antlog=out"], ["@/T", "--antLog", "--antlog=out"]),
    ("Java and launch options", ["-Xmx1g", "--assistant=yes", "T"], ["@/T"]),
    ("8-bit", ["caf\xe9"], ["@/caf\xe9"]),
]


@pytest.mark.parametrize("name, args, sent", REBASED, ids=[row[0] for row in REBASED])
def test_rebasing(workspace, product, assistant, name, args, sent):
    start = "src\\game/" if product.windows else "src/game/"
    assistant.answers(OK)
    assert workspace.run("Export", *args, cwd=workspace.game).all() == (0, "", "")
    assert assistant.request[0] == "Export"
    assert assistant.request[1:-2] == [each.replace("@", start) for each in sent]
    assert assistant.request[-1] == f"--workspace={workspace.native()}"


def test_own_environment_and_workspace_are_passed_on(workspace, product, assistant):
    assistant.answers(OK)
    result = workspace.run("Build", "T", "--environment=mine", "--workspace=sub/..", "--workspace=2", "x=", cwd=workspace.root)
    assert result.code == 0
    assert assistant.request == ["Build", "T", "--environment=mine", f"--workspace={workspace.native()}/sub/..", "--workspace=2", "x="]


def test_environment_escapes_and_exclusions(workspace, product, assistant):
    assistant.answers(OK)
    workspace.env = {}
    workspace.run("Build", env={
        "VCBuildHelper_CancelEvent": "1", "VCBuildHelper_Command": "2", "vs_unicode_output": "3", "VS_UNICODE_OUTPUT_": "4",
        "B": "a|b=c%d", "A": 'q"q' if product.windows else 'q"q\n\r', "EMPTY": "" if not product.windows else "e"})
    quoted = 'A=q"q' if product.windows else 'A=q"q%0a\r'
    empty = "EMPTY=e" if product.windows else "EMPTY="
    assert environment_of(assistant.request[1]) == f"{quoted}|B=a%7cb%3dc%25d|{empty}|VS_UNICODE_OUTPUT_=4|vs_unicode_output=3"


@pytest.fixture
def old_assistant(workspace, product, tmp_path):
    """An older Assistant's directory and its answer; the workspace has all that an update copies."""
    workspace.add_update_set()
    place = tmp_path / "assist"
    place.mkdir()
    return place, f"cwd={product.path(place)}|version=2.8.9"


def restart(connection, answer, junk=b"", delay=0.0):
    connection.status(answer)
    assert connection.read_text() == "Restart"
    connection.send(junk)
    time.sleep(delay)
    connection.close()


@pytest.mark.parametrize("slave, refused, old", [(True, 0, False), (False, 0, True), (True, 2, True)],
                         ids=["all five, slow to close", "without Slave.jar, over old files", "back at the third attempt"])
def test_update(workspace, product, assistant, old_assistant, slave, refused, old):
    place, answer = old_assistant
    if not slave:
        (workspace.root / "bin/Slave.jar").unlink()
    names = ["TorvelAssistant.exe", *UPDATE_SET[1:5 if slave else 4]]
    if old:
        for name in names:
            (place / name).write_text("old and longer than the new one will be")
            os.chmod(place / name, stat.S_IREAD)

    def first(connection):
        if refused:
            assistant.stop_listening()
        restart(connection, answer, junk=text(" late") + b"\xff", delay=0 if old else 0.7)
        if refused:
            time.sleep(1.2)  # two attempts, half a second apart, find nobody
            assistant.listen()

    assistant.scripts.append(first)
    assistant.answers(text(" built") + NULL + number(7))
    began = time.monotonic()
    result = workspace.run("Build", "T", "--debug")
    assert time.monotonic() - began > (0.5 if old else 1.2)
    assert (result.code, result.err) == (7, "")
    assert assistant.received(0) == text("Status") + text("Restart")
    assert {each.name: each.read_text() for each in place.iterdir()} == {
        name: f"new bin/{source}" for name, source in zip(names, UPDATE_SET)}
    copies = "".join(f"Copying bin/{source} to {product.path(place)}/{name}...\n" for name, source in zip(names, UPDATE_SET))
    wait = "Waiting for assistant...\n"
    assert (f"{MISMATCH}{copies}Assistant: Send 'Restart'\nAssistant: EOF\n{wait * (refused + 1)}Assistant: Send 'Status'\n"
            f"Assistant: Reading {len(GOOD)} characters\nAssistant: Received '{GOOD}'\nReconnected...\nUpdated!\n") in result.out


def test_assistant_that_does_not_come_back(workspace, assistant, old_assistant):
    """20 attempts: some find nobody, some a broken answer, the rest the old version; then the class runs without it."""
    place, answer = old_assistant
    workspace.use_jvm("exit=3")

    def first(connection):
        assistant.stop_listening()
        restart(connection, answer)
        time.sleep(1.2)
        assistant.listen()

    assistant.scripts += [first, lambda c: c.close(reset=True)] + [lambda c: c.status(answer)] * 17
    began = time.monotonic()
    result = workspace.run("Build", "T", limit=30)
    assert 10 <= time.monotonic() - began < 15
    assert result.all() == (3, MISMATCH + "Warning: Assistant failed to restart\n", "")
    assert assistant.opened() == 19
    assert all(assistant.received(i) == text("Status") for i in range(2, 19))
    assert "call com/drel/torvel/commands/Build.main [T]" in workspace.logged()


def copy_failure(product, code, source, target, place, retries=""):
    back = product.path(place) + "\\" + target
    message = f"CopyFile returned error code {code} when copying bin\\{source} to {back}: {product.messages[code]}\r\n"
    return MISMATCH + retries + failure(message.replace("/", "\\"))


@pytest.mark.parametrize("missing", UPDATE_SET[:4])
def test_missing_update_file(workspace, product, assistant, old_assistant, missing):
    place, answer = old_assistant
    (workspace.root / "bin" / missing).unlink()
    jar, source = missing == "Torvel.jar", missing
    if jar:  # the jar is what the workspace is found by: it is there, but a directory is in its target's place
        workspace.add("bin/Torvel.jar")
        (place / "Torvel.jar").mkdir()
    if missing == "torvel-win64.dll":  # the library directory is then bin/lib/
        source = "lib\\torvel-win64.dll"
        workspace.add("bin/lib/swt-win64.jar")
    assistant.scripts.append(lambda c: c.status(answer))
    result = workspace.run("Build", "T")
    target = "TorvelAssistant.exe" if missing == "TorvelAssistant.x64" else missing
    assert result.all() == (product.code(-1), copy_failure(product, 5 if jar else 2, source, target, place), "")
    assert assistant.received(0) == text("Status")
    before = ["TorvelAssistant.exe", *UPDATE_SET[1:]][:UPDATE_SET.index(missing)]
    assert sorted(each.name for each in place.iterdir() if each.is_file()) == sorted(before)


def test_target_held_open(workspace, product, assistant, old_assistant):
    if not product.windows:
        pytest.skip("a host file cannot be held open without sharing")
    place, answer = old_assistant
    (place / "Torvel.jar").write_text("old")
    assistant.scripts.append(lambda c: c.status(answer))
    began = time.monotonic()
    result = workspace.run("Build", hold=place / "Torvel.jar")
    assert time.monotonic() - began >= 0.4
    retries = "Sharing violation, retrying...\n" * 4
    assert result.all() == (product.code(-1), copy_failure(product, 32, "Torvel.jar", "Torvel.jar", place, retries), "")
    assert (place / "Torvel.jar").read_text() == "old"


@pytest.mark.parametrize("version", ["version=2.8.10 ", "Version=2.8.10", "version=", "", "version=2.8.1%30|version=2.8.9", "junk||version"])
def test_versions_that_differ(workspace, product, assistant, version):
    """The answers name no directory either, so the first copy goes to the top of the drive; its source is missing."""
    assistant.scripts.append(lambda c: c.status(version))
    result = workspace.run("Build")
    message = "CopyFile returned error code 2 when copying bin\\TorvelAssistant.x64 to \\TorvelAssistant.exe: "
    assert result.all() == (product.code(-1), MISMATCH + failure(message + product.messages[2] + "\r\n"), "")


@pytest.mark.parametrize("status", [NULL, text("a=b|version=2.8.1%30"), text("version=1|=x|junk||version=2.8.10")], ids=["null", "escaped", "last one"])
def test_statuses_that_pass(workspace, assistant, status):
    assistant.answers(OK + b"beyond", status=status)
    assert workspace.run("Build", "T").all() == (0, "", "")
    assert assistant.request[:2] == ["Build", "T"]


WITHOUT = "Verb: {verb}\n{sockets}Launching non-assisted\nCommand: com/drel/torvel/commands/{verb}\n"


def test_without_the_assistant(workspace, product, assistant):
    workspace.use_jvm("exit=2")
    rebased = "src\\game//T" if product.windows else "src/game//T"
    for verb, args, env in [("Scrub", [], {}), ("Scrub", ["--assistant"], {}), ("Build", [], {"TORVEL_ASSISTANT": "0"}),
                            ("Tidy", ["--assistant=false"], {}), ("Clean", ["--assistant=false"], {"TORVEL_ASSISTANT": "1"})]:
        workspace.log.unlink(missing_ok=True)
        result = workspace.run(verb, "T", "--debug", *args, env=env, cwd=workspace.game)
        assert result.code == 2 and WITHOUT.format(verb=verb, sockets="") in result.out
        assert f"call com/drel/torvel/commands/{verb}.main [{rebased}]" in workspace.logged()
    assert assistant.opened() == 0
    for args, env in [(["--assistant"], {"TORVEL_ASSISTANT": "0"}), (["--assistant=False"], {}), ([], {"TORVEL_ASSISTANT": "false"})]:
        assistant.answers(OK)
        assert workspace.run("Build", *args, env=env).code == 0
    assert assistant.opened() == 6


def test_nobody_listens(workspace):
    workspace.use_jvm("exit=2")
    result = workspace.run("validate", "T", "--debug")
    sockets = "Sockets initialised\nAssistant: Not found\n"
    assert result.code == 2 and WITHOUT.format(verb="Validate", sockets=sockets) in result.out


SHORT = text(" C\xe9") + NULL + number(7)


@pytest.mark.parametrize("reset", [False, True], ids=["closed", "reset"])
def test_cut_at_every_byte(workspace, product, assistant, reset):
    """The status, then the output, ends anywhere: the run ends by itself, keeps what had arrived and never falls back."""
    workspace.use_jvm("exit=2")
    status = text(GOOD)

    def cut(connection):
        if reset:
            time.sleep(0.02)  # what was sent is the launcher's before the reset overtakes it
        connection.close(reset)

    for offset in (0, 3, 4, 10, len(status) - 1, len(status)):
        assistant.scripts.append(lambda c: (c.status(status[:offset]), cut(c)))
        assert (offset, *workspace.run("Build", limit=10).all()) == (offset, product.code(LOST), "", "")
    for offset in range(len(SHORT) + 1):
        assistant.answers(SHORT[:offset], after=cut)
        code = 7 if offset == len(SHORT) else LOST
        result = workspace.run("Build", limit=10)
        assert (offset, *result.all()) == (offset, product.code(code), "C\xe9\n" if offset >= 8 else "", "")
    assert not workspace.logged()


BROKEN = "UTF sequences longer than four bytes not handled, aborting"
# Name, output, code, standard output. After a bad string the code is read from the next four bytes: it shows how many were consumed.
HOSTILE = [
    ("null at once", NULL + number(5), 5, ""),
    ("null, then nothing", NULL, LOST, ""),
    ("length -2 is an empty line", number(-2) + OK, 0, "\n"),
    ("least length is an empty line", number(-2**31) + NULL + number(-3), -3, "\n"),
    ("empty string is an empty line", text("") + text("") + text(" x") + OK, 0, "\n\nx\n"),
    ("greatest length, then nothing", number(0x7FFFFFFF) + b" abc", LOST, ""),
    ("marker alone", text(" ") + text("x") + OK, 0, "\n\n"),
    ("any marker", text("?a") + text("%d%s%n") + OK, 0, "a\nd%s%n\n"),
    ("second byte is none", number(1) + b"\xc3A" + number(11), 11, ""),
    ("second of three is none", number(1) + b"\xe2A" + number(12), 12, ""),
    ("third is none", number(1) + b"\xe2\x82A" + number(13), 13, ""),
    ("fourth is none", number(1) + b"\xf0\x9f\x98A" + number(14), 14, ""),
    ("five-byte lead", number(1) + b"\xf8\x80\x80\x80" + number(15), 15, BROKEN),
    ("lead of all ones", number(2) + b"a\xff\xbf\xbf\xbf" + number(16), 16, BROKEN),
    ("lead is a follower", number(1) + b"\x80\x80\x80\x80" + number(17), 17, BROKEN),
    ("follower as lead, then no follower", number(1) + b"\xbfA" + number(18), 18, ""),
    ("above U+00FF", text(" \u20acA\u0141") + OK, 0, "\xacAA\n"),
    ("four bytes", text(" a\U0001f6e9") + OK, 0, "a\xe9\n"),
    ("overlong and surrogate", number(4) + b" \xc1\x81\xe0\x81\x82\xed\xa0\x80" + OK, 0, "AB\n"),
    ("NUL ends the line", text(" ab\0cd") + text(" e\u0100f") + text(" g") + OK, 0, "ab\ne\ng\n"),
    ("high code", NULL + number(2**31 - 1), 2**31 - 1, ""),
]


@pytest.mark.parametrize("name, output, code, out", HOSTILE, ids=[row[0] for row in HOSTILE])
def test_hostile_output(workspace, product, assistant, name, output, code, out):
    assistant.answers(output, after=Connection.close)
    result = workspace.run("Build", *(["--debug"] if out == BROKEN else []), limit=10)
    assert (result.code, result.err) == (product.code(code), "")
    if out == BROKEN:
        assert f"{BROKEN}Return code: {code}\nAssistant KeepAlive closed" in result.out
    else:
        assert result.out == out


def test_streams_keep_their_order(workspace, assistant):
    lines = [("!" if i % 3 == 0 else " ") + f"line {i}" for i in range(300)]
    one_by_one = b"".join(text(line) for line in lines) + NULL + number(4)

    def trickle(connection):
        for byte in one_by_one:
            connection.send(bytes([byte]))

    assistant.answers(b"", after=trickle)
    assert workspace.run("Build").all() == (
        4, "".join(f"{line[1:]}\n" for line in lines if line[0] == " "), "".join(f"{line[1:]}\n" for line in lines if line[0] == "!"))


def test_large_output(workspace, product, assistant):
    """A line and a number of lines far above every buffer. Each byte is one system call on Windows: less of both there."""
    long, many = (2**16, 2000) if product.windows else (2**23, 200_000)
    assistant.answers(text(" " + "x" * long) + OK)
    result = workspace.run("Build", limit=60)
    assert (result.code, result.out == "x" * long + "\n", result.err) == (0, True, "")

    peaks = []
    for count in (10, many):
        assistant.answers(b"".join(text(f" line {i}") for i in range(count)) + OK)
        result = workspace.run("Build", limit=60)
        assert (result.code, result.out == "".join(f"line {i}\n" for i in range(count))) == (0, True)
        peaks.append(result.peak_kib)
    assert peaks[1] - peaks[0] < (1024 if b"__asan_init" not in product.program.read_bytes() else 2**19)


@pytest.mark.parametrize("slow", [True, False], ids=["slow", "gone"])
def test_reader(workspace, product, assistant, slow):
    """A slow reader loses nothing; one that has gone lets the run end, by itself or by the system's way with such writers."""
    lines = [f"line {i} " + "." * 90 for i in range(1000 if product.windows else 3000)]
    assistant.answers(b"".join(text(" " + line) for line in lines) + NULL + number(9))
    reading, writing = os.pipe()
    if not slow:
        os.close(reading)
    run = workspace.start("Build", out=writing)
    os.close(writing)
    if slow:
        time.sleep(0.5)
        with open(reading, "rb") as pipe:
            assert pipe.read().decode().replace("\r\n", "\n") == "".join(f"{line}\n" for line in lines)
    assert run.wait().code in ((9,) if slow else (9, -13))


def test_refused_keep_alive_counts_as_opened(workspace, assistant):
    def build(connection):
        assistant.stop_listening()
        connection.status()
        connection.send(text(" built") + NULL + number(6))
        connection.read_request()

    assistant.scripts.append(build)
    assert workspace.run("Build").all() == (6, "built\n", "")
    assert assistant.opened() == 1


def test_two_launchers_at_once(workspace, assistant):
    both = threading.Barrier(2)

    def build(connection):
        connection.status()
        name = connection.read_request()[1]
        both.wait(LIMIT)
        connection.send(text(f" {name} out") + text(f"!{name} err") + NULL + number(int(name)))

    assistant.scripts = [build, build]
    runs = [workspace.start("Build", name) for name in ("1", "2")]
    for code, run in enumerate(runs, 1):
        assert run.wait().all() == (code, f"{code} out\n", f"{code} err\n")


def test_launcher_killed_in_the_middle(workspace, assistant):
    """What it had printed is there, since each line is flushed; both connections close."""
    assistant.answers(text(" begun"))
    run = workspace.start("Build")
    wait_until(lambda: run.files[0].read_bytes().rstrip() == b"begun", "the first line")
    run.kill()
    assistant.wait_for_closes(2, 2)
    run.wait()
