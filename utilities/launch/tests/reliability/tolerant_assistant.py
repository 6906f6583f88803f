"""An Assistant for many launchers: it keeps nothing of them, and one that breaks off or speaks nonsense ends its own
conversation and nothing else. A thread per connection; `output` writes a build's answer."""
import socketserver
import struct
import threading

from scripted_assistant import NULL, PORT, number, text

VERBS = ("Build", "Rebuild", "Clean", "Tidy", "Export", "Validate")


def read_number(stream):
    return struct.unpack(">i", stream.read(4))[0]


def read_text(stream):
    """ASCII alone, as the tests have nothing else."""
    return stream.read(max(0, read_number(stream))).decode("ascii")


class Conversation(socketserver.StreamRequestHandler):
    def handle(self):
        try:
            self.converse(self.server.assistant)
        except (OSError, ValueError, struct.error):
            pass  # the launcher's end

    def converse(self, assistant):
        while (request := read_text(self.rfile)) == "Status":
            self.connection.sendall(text(f"cwd={assistant.directory}|version={assistant.version}"))
        if request == "Restart":
            assistant.version = "2.8.10"
        elif request in VERBS:
            assistant.output(self.connection, [read_text(self.rfile) for _ in range(read_number(self.rfile))])
            self.rfile.read()


class Server(socketserver.ThreadingTCPServer):
    allow_reuse_address, daemon_threads, request_queue_size = True, True, 512


class TolerantAssistant:
    def __init__(self):
        self.version, self.directory, self.output = "2.8.10", "/nowhere", self.answer(code=5)

    @staticmethod
    def answer(*lines, code):
        """An output of marked lines, the end and the return code."""
        data = b"".join(map(text, lines)) + NULL + number(code)
        return lambda connection, parameters: connection.sendall(data)

    def __enter__(self):
        self.server = Server(("127.0.0.1", PORT), Conversation)
        self.server.assistant = self
        self.thread = threading.Thread(target=self.server.serve_forever, args=(0.05,))
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.server.shutdown()
        self.thread.join()
        self.server.server_close()
