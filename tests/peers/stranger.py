"""A process of the router that does not use the library: plain sockets, the full 110-byte address."""

import os
import select
import socket
import struct
import subprocess

ASYNC, REQUEST, RESPONSE, SHORT = range(4)
STOP, REGISTER, DEREGISTER = 1, 2, 3
SERVER = "lc_socket_mm_common"

ASK_ECHO = 0x50000001
TELL_PUBLISH = 0x50000002
ASK_HEAP = 0x50000003
TELL_TEXT = 0x50000004
NOTIFY_ID = 0x60000001

# Words are in the byte order of the programs under test, which may be built for another machine.
ORDER = {"BIG_ENDIAN": ">", "LITTLE_ENDIAN": "<"}.get(os.environ.get("LTEROUTER_BYTE_ORDER"), "=")


HEADER = 16


class Words:
    """The words of a machine and the messages that it makes of them."""

    def __init__(self, order):
        self.order = order

    def pack(self, layout, *values):
        return struct.pack(self.order + layout, *values)

    def unpack(self, layout, data):
        return struct.unpack(self.order + layout, data)

    def words(self, data):
        """All of it, as words."""
        return self.unpack(f"{len(data) // 4}I", data)

    def message(self, kind, msg_id, body=b"", session=0, length=None):
        return self.pack("4I", kind, msg_id, len(body) if length is None else length, session) + body

    def parse(self, datagram):
        """(type, msg_id, session_id, body); the length word must be right."""
        kind, msg_id, length, session = self.words(datagram[:HEADER])
        assert length == len(datagram) - HEADER, datagram
        return kind, msg_id, session, datagram[HEADER:]


UNDER_TEST = Words(ORDER)
pack, unpack, message, parse = UNDER_TEST.pack, UNDER_TEST.unpack, UNDER_TEST.message, UNDER_TEST.parse


def address(name):
    """The abstract address as the router's processes bind it: NULs to the end of the path."""
    return (b"\0" + name.encode()).ljust(108, b"\0")


class Stranger:
    def __init__(self, name="lc_socket_stranger_common"):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(address(name))
        self.session = 0

    def send(self, datagram, to=SERVER):
        self.socket.sendto(datagram, to if isinstance(to, bytes) else address(to))

    def receive(self, timeout=5):
        """(datagram, sender); None when nothing comes in time."""
        if not select.select([self.socket], [], [], timeout)[0]:
            return None
        return self.socket.recvfrom(4096)

    def take(self, words=UNDER_TEST, timeout=60):
        """The next message, which must come: (type, id, session, body, sender)."""
        received = self.receive(timeout)
        assert received is not None, "nothing came"
        return (*words.parse(received[0]), received[1])

    def respond(self, taken, body, words=UNDER_TEST, **changes):
        """Answers what was taken."""
        _, msg_id, session, _, sender = taken
        self.send(words.message(changes.get("kind", RESPONSE), msg_id, body, changes.get("session", session)), sender)

    def ask(self, msg_id, body=b"", kind=REQUEST, to=SERVER, timeout=5):
        """Body of the response with this request's session id; other messages are passed over."""
        self.session += 1
        self.send(message(kind, msg_id, body, self.session), to)
        while True:
            received = self.receive(timeout)
            if received is None:
                return None
            answer_kind, answer_id, session, answer = parse(received[0])
            if answer_kind == RESPONSE and session == self.session:
                assert answer_id == msg_id
                return answer

    def register(self, notify_id=NOTIFY_ID):
        return unpack("I", self.ask(REGISTER, pack("I", notify_id)))[0]

    def close(self):
        self.socket.close()


class SyslogListener:
    """Stands in for the log daemon and switches a module's flag files."""

    def __init__(self, module="WanManager", level="ERROR"):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind("/dev/log")
        self.flag = f"/tmp/.LC_DEBUG_FLAG_{module}_{level}"
        open(self.flag, "w").close()

    def wait_for(self, text, timeout=5):
        """The lines up to the first that holds text; None when none does in time."""
        lines = []
        while select.select([self.socket], [], [], timeout)[0]:
            lines.append(self.socket.recv(8192).decode(errors="replace"))
            if text in lines[-1]:
                return lines
        return None

    def close(self):
        os.unlink(self.flag)
        self.socket.close()
        os.unlink("/dev/log")


class Program:
    """A program under test that talks in lines."""

    def __init__(self, command, **environment):
        self.process = subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1,
            env={**os.environ, **environment})

    def line(self):
        return self.process.stdout.readline().rstrip("\n")

    def write(self, command):
        self.process.stdin.write(command + "\n")

    def command(self, command):
        self.write(command)
        return self.line()

    def end(self):
        """Closes its input and gives its exit status."""
        self.process.stdin.close()
        status = self.process.wait(60)
        self.process.stdout.close()
        return status

    def terminate(self):
        self.process.terminate()
        return self.end()
