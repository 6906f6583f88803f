"""An Assistant that follows a script byte for byte and records what it received.

A connection on which the launcher sends follows the next function of `scripts`. One without data, as the
keep-alive, stays open until the launcher closes it. Connections are numbered in the order of opening; `closes`
lists those that the launcher closed.
"""
import contextlib
import socket
import struct
import threading

from harness import LIMIT, VERSION

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
        peer.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        peer.settimeout(LIMIT)

    def read(self, size):
        end = len(self.bytes) + size
        while len(self.bytes) < end:
            self.bytes += (data := self.peer.recv(end - len(self.bytes)))
            if not data:
                raise ConnectionError("closed while more was expected")
        return bytes(self.bytes[end - size:])

    def read_number(self):
        return struct.unpack(">i", self.read(4))[0]

    def read_text(self):
        characters = b""
        for _ in range(self.read_number()):
            lead = self.read(1)
            characters += lead + (self.read(1) if lead[0] >= 0x80 else b"")
        return characters.decode("utf-8")

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
        self.changed = threading.Condition()
        self.scripts, self.closes, self.connections, self.faults, self.threads = [], [], [], [], []

    def __enter__(self):
        self.listen()
        return self

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
        for connection in self.connections:
            with contextlib.suppress(OSError):  # closed
                connection.peer.shutdown(socket.SHUT_RDWR)
        for thread in self.threads:
            thread.join(LIMIT)
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
            with self.changed:
                connection.open = False
                self.closes.append(index)
                self.changed.notify_all()
        except Exception as fault:  # reported at the end of the test
            self.faults.append(fault)
            connection.close()

    def wait_for(self, seen, count):
        with self.changed:
            came = self.changed.wait_for(lambda: len(seen) >= count, LIMIT)
            assert came, f"not {count} after {LIMIT} s: {seen}"

    def received(self, index):
        return bytes(self.connections[index].bytes)

    def answers(self, output, status=STATUS, after=None):
        """Scripts one build: status, request, keep-alive, then the output as it stands; then `after`."""

        def build(connection):
            connection.status(status)
            self.request = connection.read_request()
            self.wait_for(self.connections, self.connections.index(connection) + 2)
            connection.send(output)
            if after:
                after(connection)

        self.scripts.append(build)
