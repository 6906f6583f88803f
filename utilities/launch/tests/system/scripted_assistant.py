"""An Assistant that follows a script byte for byte and keeps what it saw.

A connection on which the launcher speaks follows the next function of `scripts`; one on which it stays silent, as on the
keep-alive, is held until the launcher closes it. `events` is the order of opens and closes as seen here, `received` the
exact bytes of each connection; both count connections in the order of their opening.
"""
import array
import contextlib
import fcntl
import select
import socket
import struct
import termios
import threading

PORT = 8118
LIMIT = 15  # seconds that a script waits for anything


def number(value):
    return struct.pack(">i", value)


def text(characters, length=None):
    """A string on the wire: its length in characters (or the one given), then each as UTF-8."""
    return number(len(characters) if length is None else length) + characters.encode("utf-8")


NULL = number(-1)


class Closed(Exception):
    """The launcher closed the connection while more was expected of it."""


class Connection:
    def __init__(self, assistant, index, peer):
        self.assistant, self.index, self.peer, self.open = assistant, index, peer, True
        self.bytes = bytearray()
        peer.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)

    def arrived(self):
        """How many bytes have come in so far, read by the script or not."""
        waiting = array.array("i", [0])
        fcntl.ioctl(self.peer, termios.FIONREAD, waiting)
        return len(self.bytes) + waiting[0]

    def read(self, size):
        start = len(self.bytes)
        while len(self.bytes) < start + size:
            if not select.select([self.peer], [], [], LIMIT)[0]:
                raise TimeoutError(f"connection {self.index}: nothing came for {LIMIT} s")
            with self.assistant.lock:
                before = len(self.bytes)
                self.bytes += self.peer.recv(start + size - before)
            if len(self.bytes) == before:
                raise Closed
        return bytes(self.bytes[start:])

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

    def send(self, data):
        self.peer.sendall(data)

    def status(self, answer="cwd=C:\\Assist|version=2.8.10"):
        """Expects the question for the status and answers it: with a string, or with bytes as they are."""
        asked = self.read_text()
        assert asked == "Status", asked
        self.send(answer if isinstance(answer, bytes) else text(answer))

    def wait_for_opens(self, count):
        with self.assistant.changed:
            assert self.assistant.changed.wait_for(lambda: self.assistant.opened() >= count, LIMIT), "no keep-alive came"

    def wait_for_close(self):
        try:
            while True:
                self.read(1)
        except (Closed, ConnectionError):
            self.assistant.note_close(self)

    def close(self, reset=False):
        if reset:
            self.peer.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        with self.assistant.lock:
            self.open = False
            self.peer.close()


class ScriptedAssistant:
    def __init__(self):
        self.lock = threading.RLock()
        self.changed = threading.Condition(self.lock)
        self.scripts, self.events, self.connections, self.faults, self.threads = [], [], [], [], []
        self.listener = None

    def __enter__(self):
        self.listen()
        return self

    def listen(self):
        self.listener = socket.socket()
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.listener.bind(("127.0.0.1", PORT))
        self.listener.listen()
        self.begin(self.accept, self.listener)

    def begin(self, body, argument):
        self.threads.append(threading.Thread(target=body, args=(argument,)))
        self.threads[-1].start()

    def stop_listening(self):
        self.listener.shutdown(socket.SHUT_RDWR)  # wakes accept
        self.listener.close()

    def __exit__(self, *_):
        with contextlib.suppress(OSError):  # a script has done so
            self.stop_listening()
        for connection in self.connections:
            with contextlib.suppress(OSError):  # the launcher was first
                connection.peer.shutdown(socket.SHUT_RDWR)
        for thread in self.threads:
            thread.join(LIMIT)
        for connection in self.connections:
            connection.peer.close()
        assert not self.faults, self.faults

    def opened(self):
        return len(self.connections)

    def accept(self, listener):
        while True:
            try:
                peer, _ = listener.accept()
            except OSError:
                return
            with self.changed:
                connection = Connection(self, len(self.connections), peer)
                so_far = [each.arrived() for each in self.connections if each.open]
                self.events.append(("open", connection.index, so_far))
                self.connections.append(connection)
                self.changed.notify_all()
            self.begin(self.serve, connection)

    def serve(self, connection):
        try:
            if connection.peer.recv(1, socket.MSG_PEEK):
                with self.lock:
                    script = self.scripts.pop(0)
                script(connection)
            if connection.open:
                connection.wait_for_close()
        except (Closed, ConnectionError):
            self.note_close(connection)
        except Exception as fault:  # shown when the test ends
            self.faults.append(fault)
            connection.close()

    def note_close(self, connection):
        """Notes the close, and which other connections the launcher still held at that moment."""
        with self.changed:
            held = [each.index for each in self.connections if each.open and each is not connection and not hung_up(each)]
            self.events.append(("close", connection.index, held))
            connection.open = False
            self.changed.notify_all()

    def wait_for_closes(self, count, limit=LIMIT):
        with self.changed:
            done = self.changed.wait_for(lambda: sum(e[0] == "close" for e in self.events) >= count, limit)
            assert done, f"not closed after {limit} s: {self.events}"

    def received(self, index):
        return bytes(self.connections[index].bytes)

    def answers(self, output, status="cwd=C:\\Assist|version=2.8.10", after=None):
        """Scripts one build: status, the request, the keep-alive, then the output as it stands; then `after`."""

        def build(connection):
            connection.status(status)
            self.request = connection.read_request()
            connection.wait_for_opens(connection.index + 2)
            connection.send(output)
            if after:
                after(connection)

        self.scripts.append(build)


def hung_up(connection):
    poll = select.poll()
    poll.register(connection.peer, select.POLLRDHUP)
    return any(event & (select.POLLRDHUP | select.POLLHUP) for _, event in poll.poll(0))
