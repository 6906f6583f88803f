"""An Assistant that follows a script byte for byte and records what it received.

A connection on which the launcher sends follows the next function of `scripts`. One without data, as the
keep-alive, stays open until the launcher closes it. Connections are numbered in the order of opening; `closes`
lists those that the launcher closed.
"""
import contextlib
import socket
import struct
import threading

import harness
from harness import VERSION, wait_until

PORT = 8118


def number(value):
    return struct.pack(">i", value)


def text(characters):
    """A string on the wire: its length in characters, then each as UTF-8."""
    return number(len(characters)) + characters.encode("utf-8")


NULL = number(-1)
STATUS = f"cwd=C:\\Assist|version={VERSION}"


class Connection:
    def __init__(self, peer):
        self.peer, self.send, self.open, self.bytes = peer, peer.sendall, True, bytearray()
        self.items, self.known = [], 0  # what was read, and the number of its bytes
        peer.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)

    def __str__(self):
        rest = bytes(self.bytes[self.known:])
        return ", ".join(f"{item!r:.300}" for item in [*self.items, *[rest] * bool(rest)]) or "nothing"

    def read(self, size):
        end = len(self.bytes) + size
        while len(self.bytes) < end:
            self.bytes += (data := self.peer.recv(end - len(self.bytes)))
            if not data:
                raise ConnectionError("closed while more was expected")
        return bytes(self.bytes[end - size:])

    def note(self, item):
        self.items.append(item)
        self.known = len(self.bytes)
        return item

    def read_number(self):
        return self.note(struct.unpack(">i", self.read(4))[0])

    def read_text(self):
        characters = b""
        for _ in range(struct.unpack(">i", self.read(4))[0]):
            lead = self.read(1)
            characters += lead + (self.read(1) if lead[0] >= 0x80 else b"")
        return self.note(characters.decode("utf-8"))

    def read_request(self):
        verb = self.read_text()
        return [verb, *(self.read_text() for _ in range(self.read_number()))]

    def status(self, answer=STATUS):
        """Expects the status request and answers it with a string or with raw bytes."""
        assert (asked := self.read_text()) == "Status", asked
        self.send(answer if isinstance(answer, bytes) else text(answer))

    def close(self, reset=False):
        if reset:
            self.peer.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.open = False
        self.peer.close()


class ScriptedAssistant:
    def __init__(self):
        self.changed, self.ended = threading.Condition(), False
        self.scripts, self.closes, self.connections, self.faults, self.threads = [], [], [], [], []

    def __enter__(self):
        self.listen()
        return self

    def __str__(self):
        last = list(enumerate(self.connections))[-4:]
        return "\n".join(f"Assistant received on connection {i}: {connection}" for i, connection in last)

    def listen(self):
        self.listener = socket.create_server(("127.0.0.1", PORT), backlog=512)
        self.begin(self.accept, self.listener)

    def begin(self, body, *arguments):
        self.threads.append(threading.Thread(target=body, args=arguments))
        self.threads[-1].start()

    def stop_listening(self):
        self.listener.shutdown(socket.SHUT_RDWR)  # wakes accept
        self.listener.close()

    def __exit__(self, *_):
        with contextlib.suppress(OSError):  # a script has stopped it
            self.stop_listening()
        with self.changed:
            self.ended = True
            self.changed.notify_all()
        for connection in self.connections:
            with contextlib.suppress(OSError):  # closed
                connection.peer.shutdown(socket.SHUT_RDWR)
        for thread in self.threads:
            thread.join(harness.limit)
        for connection in self.connections:
            connection.peer.close()
        assert not self.faults, self.faults

    def accept(self, listener):
        with contextlib.suppress(OSError):  # no longer listening
            while True:
                peer, _ = listener.accept()
                with self.changed:
                    self.connections.append(Connection(peer))
                    self.changed.notify_all()
                self.begin(self.serve, len(self.connections) - 1, self.connections[-1])

    def serve(self, index, connection):
        try:
            if connection.peer.recv(1, socket.MSG_PEEK):
                self.scripts.pop(0)(connection)
            while connection.open:
                connection.read(1)
        except ConnectionError:
            self.closes.append(index)
            connection.open = False
        except Exception as fault:  # reported at the end of the test
            self.faults.append(fault)
            connection.close()

    def received(self, index):
        """All bytes of a connection that is about to be closed."""
        wait_until(lambda: not self.connections[index].open, f"the end of connection {index}")
        return bytes(self.connections[index].bytes)

    def answers(self, output, status=STATUS, after=None):
        """Scripts one build: status, request, keep-alive, then the output as it stands; then `after`."""

        def build(connection):
            connection.status(status)
            self.request = connection.read_request()
            with self.changed:  # without a limit: the launcher's counts
                opened = self.connections.index(connection) + 2
                self.changed.wait_for(lambda: self.ended or len(self.connections) >= opened)
            connection.send(output)
            if after:
                after(connection)

        self.scripts.append(build)
