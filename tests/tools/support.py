"""Running the tools under test, and playing the WAN manager against them."""

import collections
import contextlib
import json
import os
import re
import select
import shutil
import signal
import struct
import subprocess
import sys
import threading
import time
import unittest
import zlib

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "peers"))
import elf  # noqa: E402, F401
import stranger  # noqa: E402

DONE, FAILED, USAGE, NOBODY, NO_ANSWER = range(5)
SOCKET = stranger.SERVER
SMS_SOCKET = "lc_socket_sms_pb_common"
STORE = "/tmp/nv/"
NV = "/2ndfile/nv/"
CURRENT, BACKUP, DEFAULTS = NV + "currentnv/", NV + "backupnv/", NV + "default.cfg"
MARKER = "/2ndfile/nvflage"
TRACE = "/tmp/ltelog.1"
TRACES = TRACE, "/tmp/ltelog.2"
TIMEOUT = 60

Request = collections.namedtuple("Request", "function name msg_id module least most room timeout")


def read_requests():
    """The client's requests as the tests expect them."""
    with open(os.path.join(os.path.dirname(__file__), "..", "support", "requests.inc")) as file:
        rows = re.findall(r'^REQUEST\((\w+), "([\w-]+)", (.*)\)$', file.read(), re.M)
    return [Request(function, name, *(int(number, 0) for number in numbers.split(", ")))
            for function, name, numbers in rows]


REQUESTS = read_requests()
ID = {row.name: row.msg_id for row in REQUESTS}  # by wansim's names
CONNECT, DISCONNECT, SEARCH, DELETE_ALL = ID["connect"], ID["disconnect"], ID["search"], ID["delete-all"]
GET_ROAMING, SET_ROAMING = ID["get-roaming"], ID["set-roaming"]
GET_NETTYPE, GET_IMSI = ID["get-nettype"], ID["get-imsi"]
ENABLE_PIN, DISABLE_PIN, MODIFY_PIN = ID["enable-pin"], ID["disable-pin"], ID["modify-pin"]
SET_PIN_ASKING = ID["set-pin-asking"]
LINK_STATUS, IFACE_STATUS, MODEM = 0x10400016, 0x10400017, 0x104000B3
DISCONNECTED, DISCONNECTING, CONNECTED, CONNECTING = range(4)
READY, NOT_READY = "ready", "not ready"

REFUSED = stranger.pack("i", -1)
SUCCESS = stranger.pack("i", 0)

LINK_BODY, IFACE_BODY = 656, 688
LINK_FIELDS = struct.Struct(stranger.ORDER + "5I16s18s18s18s18s18s")

ltectl_program = None
wansim_program = None


def main():
    """Runs the tests of the calling file: FILE LTECTL WANSIM."""
    global ltectl_program, wansim_program
    ltectl_program, wansim_program = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1], verbosity=2)


def run(*command, **options):
    """Runs a tool to its end."""
    return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, timeout=TIMEOUT, text=True,
                          errors="surrogateescape", **options)


def words_of(command):
    """A command that has no blanks in its words may be told as one text."""
    return command.split() if isinstance(command, str) else command


def fed(data, *arguments):
    """ltectl with these bytes on its standard input; what it prints is bytes too."""
    return subprocess.run([ltectl_program, *arguments], input=data, capture_output=True, timeout=TIMEOUT)


def ltectl(*arguments, **options):
    return run(ltectl_program, *arguments, **options)


def leaves():
    """The words of every command of ltectl."""
    helped = ltectl("--help").stdout.split("\ncommands:\n")[1].split("\n\n")[0]
    return {re.match(r"  ([a-z-]+(?: [a-z-]+)*)(?= |$)", line).group(1) for line in helped.splitlines()}


def wansim(*arguments):
    """Runs a wansim that is to end by itself."""
    return run(wansim_program, *arguments)


def run_mounted(script, *command, name="sh", **options):
    """Runs a tool from a shell that may mount what it likes."""
    return run("unshare", "--mount", "sh", "-c", script, name, *command, **options)


def run_with_readonly(folder, *arguments):
    """Runs ltectl where nothing can be made in a folder."""
    return run_mounted('mount --rbind "$0" "$0" && mount -o remount,bind,ro "$0" && exec "$@"',
                       ltectl_program, *arguments, name=folder)


def run_with_log_modules(config, *command, **options):
    """Runs a program where this file names log modules: in /usr/bin. Other programs are still to be had there."""
    return run_mounted("mkdir -p /tmp/bin && mount --bind /usr/bin /tmp/bin && mount -t tmpfs none /usr/bin && "
                       '/tmp/bin/ln -s /tmp/bin/* /usr/bin && cp "$0" /usr/bin/logid.cfg && exec "$@"',
                       *command, name=config, **options)


def run_led(script, *arguments, **options):
    """Runs ltectl led, from a shell script that has it as "$@". /proc takes no new files, so it is replaced.
    Sanitizers look themselves up there; the search for leaks needs more of it than that."""
    own_proc = ("mkdir -p /tmp/proc && mount --rbind /proc /tmp/proc && mount -t tmpfs none /proc && "
                "ln -s /tmp/proc/self /proc/self && ")
    return run_mounted(own_proc + script, ltectl_program, "led", *arguments,
                       env={**os.environ, "ASAN_OPTIONS": "detect_leaks=0"}, **options)


def without_rights(*arguments):
    """ltectl as any user but root: the sandbox has only one, who has lost root's right to every file."""
    lost = "-dac_override,-dac_read_search"
    return run("setpriv", "--inh-caps", lost, "--bounding-set", lost, ltectl_program, *arguments)


def eventually(act, failures=()):
    """What this gives once that is something and none of these comes of it any more."""
    deadline = time.monotonic() + TIMEOUT
    while True:
        with contextlib.suppress(failures):
            if result := act():
                return result
        if time.monotonic() > deadline:
            raise AssertionError("it did not come about")
        time.sleep(0.02)


def read_terminal(terminal):
    """What was shown on a terminal whose other end nobody has open any more; closes it."""
    shown = b""
    with os.fdopen(terminal, "rb", buffering=0) as stream:
        with contextlib.suppress(OSError):  # so ends what a terminal has to say
            while data := stream.read(4096):
                shown += data
    return shown.decode()


class Lines:
    """Lines as they come out of a pipe."""

    def __init__(self, stream):
        self.stream = stream
        self.buffer = b""

    def more(self, timeout):
        """Takes in what comes next; false when nothing does, or at the end."""
        if not select.select([self.stream], [], [], timeout)[0]:
            return False
        data = os.read(self.stream.fileno(), 65536)
        self.buffer += data
        return data != b""

    def next(self):
        while b"\n" not in self.buffer:
            if not self.more(TIMEOUT):
                raise AssertionError(f"no line, only {self.buffer}")
        line, self.buffer = self.buffer.split(b"\n", 1)
        return line.decode()

    def rest(self):
        """Everything up to the end of the stream."""
        while self.more(TIMEOUT):
            pass
        text, self.buffer = self.buffer.decode(), b""
        return text

    def close(self):
        self.stream.close()


class Background:
    """A tool that runs on while the test does something else. Ended with the test."""

    def __init__(self, test, *command):
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, bufsize=0)
        self.out = Lines(self.process.stdout)
        self.err = Lines(self.process.stderr)
        test.addCleanup(self.dispose)

    def lines_to(self, text):
        """Lines up to the first that holds text."""
        lines = [self.out.next()]
        while text not in lines[-1]:
            lines.append(self.out.next())
        return lines

    def finish(self):
        """Waits for its end; gives the exit status and what is left of its output and its errors."""
        out = "" if self.process.stdout.closed else self.out.rest()
        return self.process.wait(TIMEOUT), out, self.err.rest()

    def fill(self):
        """Leaves no room for another line of output: nobody reads."""
        fd = os.open(f"/proc/self/fd/{self.process.stdout.fileno()}", os.O_WRONLY | os.O_NONBLOCK)
        with os.fdopen(fd, "wb", buffering=0) as pipe:
            while pipe.write(b"x" * 4096):
                pass

    def end_unread(self, number=signal.SIGTERM):
        """Ends it although nobody reads; its exit status."""
        time.sleep(0.5)  # by then it has something to print
        self.process.send_signal(number)
        return self.process.wait(10)

    def stop(self):
        """It is there and does nothing until SIGCONT."""
        self.process.send_signal(signal.SIGSTOP)
        eventually(lambda: b"State:\tT" in read_file(f"/proc/{self.process.pid}/status"))

    def end(self, number=signal.SIGTERM):
        self.process.send_signal(number)
        return self.finish()

    def dispose(self):
        self.process.kill()
        self.process.wait()
        self.out.close()
        self.err.close()


class ToolTest(unittest.TestCase):
    """Every test starts with an empty parameter store."""

    maxDiff = None

    def setUp(self):
        shutil.rmtree(STORE, ignore_errors=True)

    def start_wansim(self, *options):
        simulator = Background(self, wansim_program, *options)
        if "--quiet" not in options:
            self.assertIn(SMS_SOCKET if "--sms-store" in options else SOCKET, simulator.out.next())
        return simulator

    def start_ltectl(self, *arguments):
        return Background(self, ltectl_program, *arguments)

    def start_monitor(self, *options):
        """A monitor that has subscribed."""
        monitor = self.start_ltectl("monitor", *options)
        self.assertEqual(monitor.err.next(), "ltectl: waiting for events; end with Ctrl-C")
        return monitor

    def start_peer(self, name="lc_socket_cgi_common"):
        """A client that does not use the library."""
        peer = stranger.Stranger(name)
        self.addCleanup(peer.close)
        return peer

    def assert_result(self, result, *expected):
        """Its exit status, output and errors."""
        self.assertEqual((result.returncode, result.stdout, result.stderr), expected, result.args)

    def assert_ran(self, result, out=""):
        self.assert_result(result, DONE, out, "")

    def assert_failed(self, result, code, sentence, out="", tool="ltectl"):
        self.assert_result(result, code, out, f"{tool}: {sentence}\n")

    def assert_runs(self, command, out=""):
        """An ltectl with these words."""
        self.assert_ran(ltectl(*words_of(command)), out)

    def assert_fails(self, command, sentence, code=FAILED, out=""):
        self.assert_failed(ltectl(*words_of(command)), code, sentence, out)

    def assert_usage(self, command, sentence):
        with self.subTest(command):
            self.assert_fails(command, sentence, USAGE)

    def assert_json(self, command, *objects, code=DONE):
        """What it answers with --json."""
        result = ltectl(*words_of(command), "--json")
        self.assertEqual((result.returncode, result.stderr), (code, ""), command)
        self.assertEqual(self.objects(result.stdout), list(objects), command)

    @contextlib.contextmanager
    def case(self, name):
        """A row of a table, which begins as a test of its own does."""
        self.doCleanups()
        self.setUp()
        with self.subTest(name):
            yield

    def objects(self, text):
        """The JSON objects of an output: one a line."""
        return [json.loads(line) for line in text.splitlines()]


def write_file(path, content):
    with open(path, "wb") as file:
        file.write(content)


def read_file(path):
    with open(path, "rb") as file:
        return file.read()


def with_checksum(lines):
    """A parameter file: zlib inverts its register before and after, and neither is wanted."""
    return b"%08X\n" % (zlib.crc32(lines, 0xFFFFFFFF) ^ 0xFFFFFFFF) + lines


class NvTest(ToolTest):
    """Every test starts with an empty persistent store."""

    def setUp(self):
        for entry in os.scandir("/2ndfile"):
            shutil.rmtree(entry.path) if entry.is_dir() else os.unlink(entry.path)
        os.makedirs(CURRENT)
        os.makedirs(BACKUP)

    def declare(self, lines):
        write_file(DEFAULTS, lines)

    def mount(self, path, *options):
        subprocess.run(["mount", *options, path], check=True)
        self.addCleanup(subprocess.run, ["umount", path], check=True)

    def mount_small(self, path, size):
        self.mount(path, "-t", "tmpfs", "-o", f"size={size}k", "none")

    def put(self, name, value):
        """A parameter as the library leaves it."""
        for directory in CURRENT, BACKUP:
            write_file(directory + name, value + b"\0")

    def files(self):
        """Everything below /2ndfile with its content; None for what is no file."""
        return {path: read_file(path) if os.path.isfile(path) else None
                for folder, folders, files in os.walk("/2ndfile")
                for name in folders + files
                for path in [os.path.join(folder, name)]}

    def assert_copies(self, name, value):
        self.assertEqual([read_file(directory + name) for directory in (CURRENT, BACKUP)],
                         [value + b"\0"] * 2, name)


def link_body(status, ip_status=0, interface=b"", addresses=(b"",) * 5, size=LINK_BODY, kind=2):
    return LINK_FIELDS.pack(kind, 0, status, ip_status, 0, interface, *addresses).ljust(size, b"\0")


def parse_link(body):
    """(iface type, link status, ip status, interface, ip, gateway, dns1, dns2, mask)."""
    fields = LINK_FIELDS.unpack_from(body)
    texts = tuple(field.split(b"\0")[0].decode() for field in fields[5:])
    return (fields[0], fields[2], fields[3]) + texts


class FakeManager(stranger.Stranger):
    """A WAN manager that answers as the test tells it to."""

    def __init__(self, test):
        super().__init__(SOCKET)
        test.addCleanup(self.close)

    def accept_registrations(self, count=4, result=0):
        """Answers registrations; the client that made them."""
        for _ in range(count):
            taken = self.take()
            assert taken[:2] == (stranger.REQUEST, stranger.REGISTER), taken
            self.respond(taken, stranger.pack("I", result))
        return taken[4]

    def assert_left(self):
        """A client has given its subscriptions back."""
        left = [self.take() for _ in range(3)]
        assert [taken[:2] for taken in left] == [(stranger.ASYNC, stranger.DEREGISTER)] * 3, left
        notifications = [stranger.unpack("I", taken[3])[0] for taken in left]
        assert notifications == [IFACE_STATUS, LINK_STATUS, MODEM], notifications

    def publish(self, client, msg_id, body):
        self.send(stranger.message(stranger.ASYNC, msg_id, body), client)


class FailedSends:
    """Finds the addresses at which a wansim publishes to nobody: each send that fails leaves a line in its log."""

    def __init__(self, test):
        self.found = 0
        self.log = stranger.SyslogListener("WanManager", "ERROR")
        self.ended = threading.Event()
        self.reader = threading.Thread(target=self._read)  # or a wansim with much to say would wait for us
        self.reader.start()
        test.addCleanup(self._close)

    def _read(self):
        while not self.ended.is_set():
            if self.log.wait_for("Send failed!", 0.1) is not None:
                self.found += 1

    def _close(self):
        self.ended.set()
        self.reader.join()
        self.log.close()

    def count(self, peer):
        """How many there are while a link is announced at a peer's request."""
        before = self._read_so_far()
        peer.send(stranger.message(stranger.ASYNC, CONNECT))
        peer.ask(GET_ROAMING)  # answered when the announcement is done
        return self._read_so_far() - before

    def _read_so_far(self):
        time.sleep(0.2)
        return self.found


# What wansim publishes of a connected link: address, gateway, name servers, mask.
LINK_ADDRESSES = ("10.64.0.2", "10.64.0.1", "10.64.0.53", "10.64.1.53", "255.255.255.252")
CONNECTED_LINE = "link connected interface=wwan0 {} name=CONN_CONNECTED".format(
    " ".join(map("=".join, zip(("ip", "gateway", "dns1", "dns2", "mask"), LINK_ADDRESSES))))


def at_request(command, length=None):
    """The body of a request; length: what it says that the command has."""
    return stranger.pack("4I16s16s48s", len(command) if length is None else length, 0, 5000, 3, b"OK", b"ERROR",
                         b"+CME ERROR") + command + b"\0"


def parameter(name):
    return read_file(STORE + name)


class WansimTest(ToolTest):
    """wansim as its clients see it, through plain sockets."""

    def start(self, *options):
        self.wansim = self.start_wansim(*options)
        self.peer = self.start_peer()

    def end(self):
        """Ends wansim, in order; the rest of its output."""
        status, out, errors = self.wansim.end()
        self.assertEqual((status, errors), (DONE, ""))
        self.peer.close()
        return out

    def subscribe(self, *notifications, peer=None):
        for notification in notifications or (IFACE_STATUS, LINK_STATUS, MODEM):
            self.assertEqual((peer or self.peer).register(notification), 0)

    def tell(self, msg_id, body=b"", kind=stranger.ASYNC):
        self.peer.send(stranger.message(kind, msg_id, body))

    def notification(self):
        """(id, body) of the next notification."""
        kind, msg_id, _, body, _ = self.peer.take()
        self.assertEqual(kind, stranger.ASYNC)
        return msg_id, body

    def assert_interface(self, readiness):
        msg_id, body = self.notification()
        self.assertEqual((msg_id, len(body)), (IFACE_STATUS, IFACE_BODY))
        self.assertEqual(stranger.unpack("2I", body[:8])[1], readiness)

    def assert_link(self, status, interface="wwan0", addresses=None):
        msg_id, body = self.notification()
        self.assertEqual((msg_id, len(body)), (LINK_STATUS, LINK_BODY))
        if addresses is None:
            addresses = LINK_ADDRESSES if status == CONNECTED else ("",) * 5
        ip_status = 1 if status == CONNECTED else 0
        self.assertEqual(parse_link(body), (2, status, ip_status, interface, *addresses))

    def assert_modem(self, report):
        msg_id, body = self.notification()
        self.assertEqual((msg_id, body.rstrip(b"\0")), (MODEM, report))

    def assert_published(self, *events):
        """READY, NOT_READY, states of the link and reports of the modem, and nothing more."""
        for event in events:
            if event in (READY, NOT_READY):
                self.assert_interface(int(event == READY))
            elif isinstance(event, bytes):
                self.assert_modem(event)
            else:
                self.assert_link(event)
        self.assert_quiet()

    def assert_quiet(self):
        """Nothing more was sent: the answer to a request is the next thing that comes."""
        self.peer.session += 1
        self.peer.send(stranger.message(stranger.REQUEST, GET_ROAMING, b"", self.peer.session))
        kind, _, session, _ = stranger.parse(self.peer.receive()[0])
        self.assertEqual((kind, session), (stranger.RESPONSE, self.peer.session))
