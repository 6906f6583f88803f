"""An Assistant for many launchers: it keeps nothing of them, and a launcher that breaks off or speaks nonsense ends its
own conversation and nothing else. In a thread per connection; `output` writes a build's answer to the connection."""
import socketserver
import struct
import threading

from scripted_assistant import NULL, PORT, number, text

MOST = 1 << 24
VERBS = ("Build", "Rebuild", "Clean", "Tidy", "Export", "Validate")


def read_number(stream):
    return struct.unpack(">i", stream.read(4))[0]


def read_text(stream):
    """Characters below U+0800, counted."""
    size = read_number(stream)
    if not 0 <= size <= MOST:
        raise ValueError
    data = stream.read(size)
    while missing := size - len(data.decode("utf-8", "ignore")):
        more = stream.read(missing)
        if not more:
            raise ValueError
        data += more
    return data.decode("utf-8")


class Conversation(socketserver.StreamRequestHandler):
    def handle(self):
        try:
            self.converse()
        except (OSError, ValueError, struct.error):
            pass  # the launcher's end

    def converse(self):
        assistant = self.server.assistant
        while True:
            request = read_text(self.rfile)
            if request == "Status":
                self.connection.sendall(text(f"cwd={assistant.directory}|version={assistant.version}"))
            elif request == "Restart":
                assistant.version = "2.8.10"
                return
            elif request in VERBS:
                parameters = [read_text(self.rfile) for _ in range(read_number(self.rfile))]
                assistant.output(self.connection, parameters)
                self.rfile.read()
                return
            else:
                return


class Server(socketserver.ThreadingTCPServer):
    allow_reuse_address, daemon_threads, request_queue_size = True, True, 512


class TolerantAssistant:
    def __init__(self):
        self.version, self.directory = "2.8.10", "/nowhere"
        self.output = self.answer(code=5)

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
