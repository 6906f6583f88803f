"""A long build."""
import hashlib
import pathlib
import re

from scripted_assistant import NULL, number, text


def test_every_line_arrives(workspace, assistant, behind, scale):
    """The hashes of both streams are equal, and the launcher's memory does not grow."""
    count, peaks, sent = scale(100_000, 1_000_000), [], [hashlib.sha256(), hashlib.sha256()]

    def output(connection, parameters):
        status = pathlib.Path("/proc", (workspace.root / "pid").read_text().strip(), "status")
        for start in range(0, count, 1000):
            lines = [f"line {i} " + "x" * (i % 97) for i in range(start, start + 1000)]
            connection.send(b"".join(text(" !"[i % 7 == 0] + line) for i, line in enumerate(lines)))
            for i, line in enumerate(lines):
                sent[i % 7 == 0].update(f"{line}\n".encode())
            if start in (9000, count - 1000):
                peaks.append(int(re.search(r"VmHWM:\s*(\d+)", status.read_text())[1]))
        connection.send(NULL + number(9))

    assistant.output = output
    behind('set -o pipefail; { (echo $BASHPID >pid; exec "$@") 2>&3 | sha256sum >&2; } 3>&1 | sha256sum')
    result = workspace.run("Build", "T")
    assert (result.code, result.err, result.out) == (9, *(f"{each.hexdigest()}  -\n" for each in sent))
    assert peaks[1] - peaks[0] < 256
    print(f"relay: {count} lines, peak memory {peaks[0]} KiB, then {peaks[1]} KiB")
