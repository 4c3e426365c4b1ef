"""The examples and tables of docs/formats.md, compared with what the library and the tools send and store.

usage: formats_test.py LTECTL WANSIM MODEMSIM SPEAKER HURRIED_LTECTL FORMATS_MD LTE_SDK_H"""

import ast
import contextlib
import os
import re
import select
import socket
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tools"))
import cable  # noqa: E402
import frames  # noqa: E402
import net_test  # noqa: E402
import support  # noqa: E402
import upgrade  # noqa: E402
from frames import AT_PORT  # noqa: E402
from support import (CONNECT, DONE, FAILED, IFACE_STATUS, LINK_STATUS, MODEM, SMS_SOCKET, STORE,  # noqa: E402
                     TIMEOUT, TRACES, ltectl, read_file, stranger, write_file)

TRACE_LIMIT = 262144
FILE = "/tmp/formats"

TOKEN = r'(?:"(?:[^"\\]|\\.)*"|(?:[0-9a-f]{2}){1,4})(?:\*\d+)?'
DUMP_LINE = re.compile(rf" *(\d+)  ({TOKEN}(?: {TOKEN})*)(?:  +(\S.*))?")


class Document:
    """The page, taken apart. It knows which of its examples have been asked for."""

    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            self.page = file.read()
        blocks = re.findall(r"^```(\w+) (\S+)\n(.*?)^```$", self.page, re.M | re.S)
        self.sections = re.split(r"^#+ .*\n", self.page, flags=re.M)
        self.blocks = {name: (kind, content) for kind, name, content in blocks}
        assert len(self.blocks) == len(blocks), "two examples of one name"
        self.unread = set(self.blocks)

    def _block(self, kind, name):
        found, content = self.blocks[name]
        assert found == kind, name
        self.unread.discard(name)
        return content

    def text(self, name):
        return self._block("text", name)

    def _lines(self, name):
        """(offset, bytes, comment) of each line of a dump."""
        lines = [DUMP_LINE.fullmatch(line) for line in self.blocks[name][1].splitlines()]
        assert None not in lines, name
        return [(int(line[1]), b"".join(map(token_bytes, re.findall(TOKEN, line[2]))), line[3] or "")
                for line in lines]

    def dump(self, name):
        """The bytes as the machine under test has them."""
        self._block("hex", name)
        data = b""
        for offset, part, comment in self._lines(name):
            assert offset == len(data), f"{name}: {comment} is at {len(data)}"
            data += part
        return data

    def size(self, name):
        return sum(len(part) for _, part, _ in self._lines(name))

    def places(self, name):
        """What a dump's lines begin with, by name, and where."""
        return {comment.split(":")[0]: offset for offset, _, comment in self._lines(name)}

    def table(self, *columns):
        """The rows of the only table that begins with these columns."""
        [rows] = tables(self.page, *columns)
        return rows


def tables(text, *columns):
    """The rows of every table that begins with these columns, as lists of cells."""
    head = "".join(f"\\| {re.escape(column)} " for column in columns)
    return [[[cell.strip() for cell in row[1:-1].split("|")] for row in rows.splitlines()]
            for rows in re.findall(rf"^{head}\|.*\n\|[-|]+\n((?:\|.*\n)+)", text, re.M)]


def fields(text):
    """The rows of every table of fields."""
    return tables(text, "offset", "size", "field", "meaning")


def end_of(offset, size):
    """Their sum: numbers first, then names."""
    total = sum(int(part) for part in re.findall(r"\d+", f"{offset} {size}"))
    return " + ".join([str(total), *re.findall(r"[a-z]+", f"{offset} {size}")])


def token_bytes(token):
    item, times = re.fullmatch(r"(.*?)(?:\*(\d+))?", token).groups()
    if item.startswith('"'):
        data = ast.literal_eval("b" + item)
    else:
        data = bytes.fromhex(item)
        if stranger.ORDER == "<":
            data = data[::-1]
    return data * int(times or 1)


def speaker(*arguments):
    """Lines of what the program shows."""
    return subprocess.run([speaker_program, *arguments], check=True, stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, timeout=TIMEOUT).stdout.splitlines()


def lines_as_bytes(lines):
    return [bytes.fromhex(line) for line in lines]


def without_line_numbers(text):
    return re.sub(r"(lib/lc_ipc_msg|lib/lte_sdk:\w+):\d+", r"\1:LINE", text)


class FormatsTest(support.ToolTest):
    """Every test starts without volatile parameters but a usable SIM, and without a trace."""

    def setUp(self):
        super().setUp()
        for path in TRACES:
            if os.path.exists(path):
                os.unlink(path)
        os.mkdir(STORE)
        write_file(STORE + "wm_wcdma_modem_status_tmp", b"sim_ready\0")

    def converse(self, *command, answer):
        """Runs a client to its end, playing the WAN manager and the SMS store; answer(datagram) answers what
        is not a registration. Gives the client, its exit status and output, and [(module, datagram, sender)]."""
        taken = []
        with contextlib.ExitStack() as stack:
            modules = {}
            for module, name in ((1, support.SOCKET), (6, SMS_SOCKET)):
                peer = stack.enter_context(contextlib.closing(stranger.Stranger(name)))
                modules[peer.socket] = (module, peer)
            client = support.Background(self, *command)
            ended, ready = False, []
            while not ended or ready:
                ended = client.process.poll() is not None
                ready = select.select(list(modules), [], [], 0 if ended else 0.05)[0]
                for module, peer in (modules[one] for one in ready):
                    datagram, sender = peer.receive()
                    taken.append((module, datagram, sender))
                    kind, msg_id, session, _ = stranger.parse(datagram)
                    if kind == stranger.REQUEST:
                        accepted = stranger.message(stranger.RESPONSE, msg_id, stranger.pack("I", 0), session)
                        peer.send(accepted if msg_id == stranger.REGISTER else answer(datagram), sender)
        status, out, _ = client.finish()
        return client, (status, out), taken

    def requests_of(self, taken):
        """What is not about registrations."""
        return [(module, datagram) for module, datagram, _ in taken
                if stranger.parse(datagram)[1] not in (stranger.REGISTER, stranger.DEREGISTER)]


class Tables(unittest.TestCase):
    def test_fields_lie_side_by_side(self):
        for rows in fields(page.page):
            end = "0"
            for offset, size, field, _ in rows:
                with self.subTest(field):
                    self.assertEqual(offset, end)
                end = end_of(offset, size)

    def test_fields_lie_in_the_examples_where_the_tables_say(self):
        compared = 0
        for section in page.sections:
            for name in re.findall(r"^```hex (\S+)$", section, re.M):
                places = page.places(name)
                rows = max(fields(section), default=[],
                           key=lambda rows: len({field for _, _, field, _ in rows} & places.keys()))
                table = {field: int(offset) for offset, _, field, _ in rows if offset.isdecimal()}
                shared = table.keys() & places.keys()
                if shared:
                    [start] = {places[field] - table[field] for field in shared}
                    end = end_of(*rows[-1][:2])
                    if end.isdecimal():
                        self.assertEqual(page.size(name), start + int(end), name)
                compared += len(shared)
        self.assertGreater(compared, 50)

    def test_types_are_these(self):
        self.assertEqual([int(row[0]) for row in page.table("type", "meaning")],
                         [stranger.ASYNC, stranger.REQUEST, stranger.RESPONSE, stranger.SHORT])

    def test_messages_are_those_of_the_header(self):
        with open(header) as file:
            defined = dict(re.findall(r"^#define (\w+_(?:REQ|NOTIFY)) 0x([0-9a-f]{8})u\b", file.read(), re.M))
        told = {row[0].strip("`"): row[1] for row in page.table("message", "msg_id")}
        for title, name in (("Link", "LINK"), ("Interface", "IFACE")):
            told[f"WM_MSG_{name}_STATUS_NOTIFY"] = re.search(rf"^#+ {title} status, (.*)$", page.page, re.M)[1]
        self.assertEqual(told, defined)

    def test_modules_have_these_names(self):
        names = [(int(row[0]), f"lc_socket_{row[1].strip('`')}_common") for row in page.table("module", "MODULE")]
        self.assertEqual(list(enumerate(speaker("names"))), names)

    def test_log_modules_are_these(self):
        self.assertEqual(speaker("modules"), [" ".join(row) for row in page.table("id", "letter", "name")])


class Endpoints(FormatsTest):
    def test_names(self):
        shared = page.text("names").splitlines()[0]
        address = page.dump("address")
        self.assertEqual(address, stranger.pack("H", socket.AF_UNIX) + stranger.address(shared))
        self.start_wansim()
        peer = self.start_peer()
        peer.send(page.dump("register"))
        self.assertEqual(peer.receive(TIMEOUT), (page.dump("registered"), address[2:]))

    def test_results_of_a_registration(self):
        self.start_wansim()
        peer = self.start_peer()
        bodies = stranger.pack("I", IFACE_STATUS), bytes(8), stranger.pack("I", 0x12345678)
        results = [stranger.unpack("I", peer.ask(stranger.REGISTER, body))[0] for body in bodies]
        self.assertEqual(results, [int(row[0]) for row in page.table("result", "meaning")][:3])

    def test_clients_register_and_deregister(self):
        manager = support.FakeManager(self)
        client = self.start_ltectl("monitor")
        taken = []
        for _ in range(4):
            taken.append(manager.receive(TIMEOUT))
            manager.respond((*stranger.parse(taken[-1][0]), taken[-1][1]), stranger.pack("I", 0))
        client.err.next()
        client.end()
        taken += [manager.receive(TIMEOUT) for _ in range(3)]
        name = page.text("names").splitlines()[1].replace("4711", str(client.process.pid))
        self.assertEqual({sender for _, sender in taken}, {stranger.address(name)})
        datagrams = [datagram for datagram, _ in taken]
        self.assertEqual(datagrams[0], page.dump("register"))
        self.assertIn(page.dump("deregister"), datagrams)
        self.assertEqual([stranger.parse(datagram)[3] for datagram in datagrams[:3]],
                         [stranger.pack("I", msg_id) for msg_id in (IFACE_STATUS, LINK_STATUS, MODEM)])

    def test_a_handler_gets_the_sender_with_the_message(self):
        received = page.dump("received")
        endpoint = support.Background(self, speaker_program, "endpoint")
        self.assertEqual(endpoint.out.next(), "ready")
        peer = self.start_peer()
        for _ in range(2):
            peer.send(received[:21], "lc_socket_uptest_common")
        status, out, errors = endpoint.finish()
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual(lines_as_bytes(out.splitlines()),
                         [received, received[:21], received[-116:], page.dump("stop")])

    def test_short_form(self):
        self.assertEqual(lines_as_bytes(speaker("short")), [page.dump("short-form")])


class Requests(FormatsTest):
    COMMAND = "AT+CSQ\r"

    def bytes_of(self, cell):
        """As many as this cell of the table says: zeros, and for n a text as long as the command above."""
        return bytes(int(re.match(r"\d+", cell)[0])) + (b"1" * len(self.COMMAND) if "+ n" in cell else b"")

    def test_are_sent_as_the_table_says(self):
        rows = page.table("message", "msg_id")
        self.assertGreater(len(rows), 20)
        for _, msg_id, module, kind, body, answer, by in rows:
            with self.subTest(by):
                program, *arguments = by.strip("`").split()
                command = ([support.ltectl_program, *arguments] if arguments else [speaker_program, "ask", program])

                def respond(datagram):
                    _, msg_id, session, _ = stranger.parse(datagram)
                    return stranger.message(stranger.RESPONSE, msg_id, self.bytes_of(answer), session)

                _, (status, _), taken = self.converse(*command, answer=respond)
                sent = [(module, *stranger.parse(datagram)) for module, datagram in self.requests_of(taken)]
                if msg_id == "104000d1":  # behind a word to the WAN manager
                    self.assertEqual(sent.pop(0)[:3], (1, stranger.ASYNC, 0x10000001))
                [(to, sent_kind, sent_id, _, sent_body)] = sent
                self.assertEqual((to, f"{sent_id:08x}", sent_kind, len(sent_body)),
                                 (int(module), msg_id, int(kind), len(self.bytes_of(body))))
                self.assertEqual(status, DONE)

    # Request, answer, the command that makes one of the other, and what that prints or where it fails.
    EXAMPLES = (
        ("get-roaming", "roaming", ("roam",), "roaming on\n"),
        ("set-nettype", "nettype-set", ("nettype", "2"), "nettype value=2 name=WM_REG_3G\n"),
        ("enable-pin", "pin-refused", ("pin", "enable", "0000"), None),
        ("change-pin", "pin-changed", ("pin", "change", "1234", "4321"), "pin changed sim=sim_ready\n"),
        ("get-imsi", "imsi", ("imsi",), "001010123456789\n"),
        ("search", "operators", ("scan",),
         "operator name=Northern Cell first=1 second=1 number1=2 number2=7 number3=0 number4=23 number5=0\n"
         "operator name=Harbour Mobile first=1 second=2 number1=1 number2=7 number3=1 number4=17 number5=0\n"
         "operator name=Ridge Telecom first=1 second=5 number1=1 number2=4 number3=1 number4=12 number5=0\n"
         "operator name=Old Valley first=1 second=9 number1=3 number2=1 number3=1 number4=9 number5=0\n"),
        ("at-command", "at-answer", ("at", "AT+CSQ"), "+CSQ: 18,99\n\nOK\n"),
    )

    def operator_list(self):
        """The parameter, as it is stored."""
        return page.text("operator-list").rstrip("\n").encode() + b"\0"

    def test_a_client_sends_them_and_understands_the_answers(self):
        write_file(STORE + "wm_search_netlist_nv", self.operator_list())
        for request, answer, command, printed in self.EXAMPLES:
            with self.subTest(request):
                _, result, taken = self.converse(support.ltectl_program, *command,
                                                 answer=lambda _: page.dump(answer))
                self.assertEqual(self.requests_of(taken), [(1, page.dump(request))])
                self.assertEqual(result, (FAILED, "") if printed is None else (DONE, printed))

    def test_a_wan_manager_understands_them_and_sends_the_answers(self):
        self.start_wansim("--roaming", "on", "--search-delay", "0")
        peer = self.start_peer()
        for request, answer, _, _ in self.EXAMPLES:
            with self.subTest(request):
                peer.send(page.dump(request))
                self.assertEqual(peer.receive(TIMEOUT)[0], page.dump(answer))
        self.assertEqual(read_file(STORE + "wm_search_netlist_nv"), self.operator_list())

    def test_asynchronous_ones_are_not_answered(self):
        for command, module, example in ((("iface", "up"), 1, "interface-up"), (("ussd-test", "3"), 6, "ussd")):
            _, (status, _), taken = self.converse(support.ltectl_program, *command, answer=None)
            self.assertEqual((status, self.requests_of(taken)), (DONE, [(module, page.dump(example))]))


class Notifications(FormatsTest):
    NAMES = "interface-status", "modem-report", "link-status"

    def test_a_wan_manager_publishes_them(self):
        self.start_wansim("--delay", "0")
        peer = self.start_peer()
        for msg_id in (IFACE_STATUS, LINK_STATUS, MODEM):
            self.assertEqual(peer.register(msg_id), 0)
        peer.send(stranger.message(stranger.ASYNC, CONNECT))
        interface, _, report, connected = [peer.receive(TIMEOUT)[0] for _ in range(4)]
        self.assertEqual([interface, report, connected], [page.dump(name) for name in self.NAMES])

    def test_a_client_understands_them(self):
        manager = support.FakeManager(self)
        monitor = self.start_ltectl("monitor", "--count", "2")
        client = manager.accept_registrations()
        monitor.err.next()  # now it waits for events
        for name in self.NAMES:
            manager.send(page.dump(name), client)
        self.assertEqual(monitor.finish()[:2], (DONE, f"interface ready name=WM_READY\n{support.CONNECTED_LINE}\n"))


class Captures(FormatsTest):
    def test_file(self):
        manager = support.FakeManager(self)
        capture = self.start_ltectl("bus", "capture", FILE, "--count", "1")
        client = manager.accept_registrations(3)
        capture.err.next()
        self.start_peer().send(stranger.message(stranger.ASYNC, CONNECT, b"", 7), client)
        self.assertEqual(capture.finish(), (DONE, f"{FILE} packets=1\n", ""))
        example = bytearray(page.dump("capture"))
        example[24:32] = read_file(FILE)[24:32]
        is_big = example[:4] == b"\xa1\xb2\xc3\xd4"
        example[41] = 1 if is_big else 2
        pid = str(capture.process.pid).encode()
        for length in 44, (35 if is_big else 32), (39 if is_big else 36):
            example[length] += len(pid) - len(b"4711")
        self.assertEqual(read_file(FILE), example.replace(b"4711", pid))


class Parameters(support.NvTest):
    def setUp(self):
        super().setUp()
        self.declare(page.text("defaults").encode())
        ltectl("nv", "init")
        self.volatile, *self.copies = [row[0].strip("`") for row in page.table("directory", "what")]
        self.values = {row[0].strip("`"): row[1:] for row in page.table("name", "value", "read by")}

    def test_volatile_ones_are_files(self):
        self.assert_runs("ram set wm_wcdma_rssi_tmp 18", "wm_wcdma_rssi_tmp=18\n")
        self.assertEqual(read_file(self.volatile + "wm_wcdma_rssi_tmp"), page.dump("ram-file"))

    def test_a_client_reads_these(self):
        readers = {reader.strip("`"): name for name, (_, reader) in self.values.items() if reader.startswith("`lct_")}
        for reader in ("lct_get_netlist_req", "lct_test_ussd_notify_req"):  # ltectl scan and ltectl ussd-test
            del readers[reader]
        os.makedirs(self.volatile, exist_ok=True)
        for reader, name in readers.items():
            write_file(self.volatile + name, b"1\0")
            self.assertEqual(speaker("stored", reader), ["1"])
            os.unlink(self.volatile + name)

    def kept(self):
        """What the WAN manager keeps now."""
        return {name: read_file(self.volatile + name).rstrip(b"\0").decode() for name in os.listdir(self.volatile)}

    def test_a_wan_manager_keeps_these(self):
        values = {name: value for name, (value, _) in self.values.items() if name != "test_ussd_flg"}
        simulator = self.start_wansim("--delay", "0", "--search-delay", "0")
        for request in "scan", "diag":
            self.assertEqual(ltectl(request).returncode, DONE)
        self.assertEqual(set(self.kept()), set(values))
        self.assertIn(f"`{self.kept()['wm_wcdma_diag_tmp']}`", values["wm_wcdma_diag_tmp"])
        for request, state in ("disconnect", "down"), ("connect", "up"):
            self.assertEqual(ltectl(request, "--wait", "10").returncode, DONE)
            self.assertIn(f" {self.kept()['wm_wcdma_link_tmp']} {state}", values["wm_wcdma_link_tmp"])
        self.assertEqual(ltectl("cfun-off").returncode, DONE)
        simulator.lines_to("modem +CSQ: 99,99")
        self.assertIn(f" {self.kept()['wm_wcdma_rssi_tmp']} not known", values["wm_wcdma_rssi_tmp"])
        simulator.end()
        self.assertEqual(set(values) - set(self.kept()),
                         {"wm_wcdma_link_tmp", "wm_wcdma_rssi_tmp", "wm_wcdma_modem_status_tmp"})

    def test_states_of_the_sim(self):
        name = "wm_wcdma_modem_status_tmp"
        for options, state in (((), "sim_ready"), (("--sim", "pin"), "sim_pin"), (("--sim", "puk"), "sim_puk"),
                               (("--sim", "absent"), "sim_absent")):
            simulator = self.start_wansim(*options)
            self.assertEqual(self.kept()[name], state)
            self.assertIn(f"`{state}`", self.values[name][0])
            simulator.end()

    def test_persistent_ones_are_two(self):
        self.assertEqual(ltectl("nv", "set", "lan_ip", "10.0.0.1").returncode, DONE)
        for directory in self.copies:
            self.assertEqual(read_file(directory + "lan_ip"), page.dump("nv-file"))
            self.assertEqual(sorted(os.listdir(directory)),
                             ["dev_serial", "lan_ip", "pri_version", "up_dev_sku", "wan_apn"])

    def test_the_marker_is_an_empty_directory(self):
        ltectl("nv", "fin")
        self.assertEqual(os.listdir(support.MARKER), [])
        ltectl("nv", "init")
        self.assertFalse(os.path.exists(support.MARKER))

    def test_export(self):
        ltectl("nv", "set", "lan_ip", "10.0.0.1")
        self.assert_runs(f"nv export {FILE} --mask 22", f"{FILE} parameters=4 current=4 backup=0 default=0\n")
        self.assertEqual(read_file(FILE).decode(), page.text("export"))

    def test_import(self):
        lines = page.text("export").split("\n", 1)[1]
        for identity, status, value in (("LR300", FAILED, b"192.168.1.1"), ("LR200", DONE, b"10.0.0.1")):
            content = support.with_checksum(lines.replace("LR200", identity).encode())
            write_file(FILE, content)
            self.assertEqual(ltectl("nv", "import", FILE, "--identity").returncode, status)
            self.assert_copies("lan_ip", value)
        self.assertEqual(content.decode(), page.text("export"))

    def test_checksum(self):
        self.assertEqual(speaker("checksum", "123456789"), page.text("checksum").splitlines())


class AccessPoints(FormatsTest):
    def test_are_looked_up_in_a_file(self):
        write_file(FILE, page.text("apn-file").encode())
        for key, found in (("00101", "internet.example key=00101 text1=Some network text2=user text3=secret "
                                     "number1=1\n"),
                           ("00102", "data.example key=00102 text1=Another one text2= text3= number1=0\n")):
            self.assert_runs(["apn", "match", FILE, key], found)

    def test_are_taken_from_a_list(self):
        self.assertEqual(speaker("apn-list", page.text("apn-list").rstrip("\n")),
                         ["second.example text1=Another one text2=user text3=secret text4=text 4 number1=1 "
                          "number2=2 number3=3"])


class Logs(FormatsTest):
    def comparable(self, text):
        text = re.sub(r"^<(\d+)>\w{3} [ \d]\d \d\d:\d\d:\d\d ", r"<\1>TIME ", text, flags=re.M)
        return re.sub(r"\[\d+\.\d\d\]", "[UPTIME]", without_line_numbers(text))

    def test_lines(self):
        log = stranger.SyslogListener("WanManager")
        self.addCleanup(log.close)
        self.start_wansim()
        peer = self.start_peer()
        lines = []
        for flag in (None, "/tmp/.LC_DEBUG_FLAG_TIME"):
            if flag:
                open(flag, "w").close()
                self.addCleanup(os.unlink, flag)
            peer.send(b"short")
            lines.append(log.wait_for("mismatched")[-1])
            log.wait_for("sret=4")
        self.assertEqual(self.comparable("".join(lines)), self.comparable(page.text("log-lines")))

    def test_modules_of_the_file(self):
        write_file(FILE, page.text("logid.cfg").encode())
        for module, name in (("16", "NEWMOD"), ("17", "Another")):
            with contextlib.closing(stranger.SyslogListener(name)) as log:
                support.run_with_log_modules(FILE, speaker_program, "log", module, "text", check=True)
                self.assertTrue(log.wait_for("text")[-1].endswith(f" {module}{name}: text\n"))


class Trace(FormatsTest):
    def roam(self):
        self.converse(support.ltectl_program, "roam", answer=lambda _: page.dump("roaming"))

    def test_entry(self):
        self.roam()
        self.assertEqual(without_line_numbers(read_file(TRACES[0]).decode()),
                         without_line_numbers(page.text("trace")))

    def test_rotation(self):
        for size, files in ((TRACE_LIMIT - len(page.text("trace")), TRACES[:1]), (TRACE_LIMIT, TRACES[1:])):
            write_file(TRACES[0], bytes(size))
            self.roam()
            self.assertEqual([path for path in TRACES if os.path.exists(path)], list(files))


class AtPort(frames.ServedPort):
    """A modem's AT port that answers whole lines."""

    def __init__(self, answers):
        self.answers, self.commands = answers, []
        super().__init__(AT_PORT)

    def answer(self, received):
        if not received.endswith(b"\r\n"):
            return received
        self.commands.append(received)
        os.write(self.far, self.answers[received])
        return b""


class Upgrade(upgrade.UpgradeTest):
    IMAGE = (b"firmware\n" * 600)[:5000]

    def setUp(self):
        super().setUp()
        write_file(upgrade.IMAGE, self.IMAGE)
        self.image = self.IMAGE
        self.exchanges = [(page.dump("at-start"), page.dump("at-started")),
                          (page.dump("at-status"), page.dump("at-upgraded"))]

    def test_a_host_sends_this(self):
        data = frames.RecordingModem()
        self.addCleanup(data.close)
        commands = AtPort(dict(self.exchanges))
        self.addCleanup(commands.close)
        result = support.run(hurried_ltectl, "upgrade", upgrade.IMAGE)
        self.assertEqual((result.returncode, result.stderr), (DONE, ""))
        begin, first, _, last, end = data.frames
        self.assertEqual([begin, first, last, end],
                         [page.dump(name) for name in ("begin", "piece", "last-piece", "end")])
        self.assertEqual(commands.commands, [command for command, _ in self.exchanges])

    def test_a_modem_answers_this(self):
        modem = self.start_modem()
        self.command(*self.exchanges[0])
        data = upgrade.Port(self)
        first = page.dump("piece")
        second = frames.data(1, frames.PIECE, self.IMAGE[frames.PIECE:][:frames.PIECE])
        accepted = frames.response(0, frames.ANSWERS[frames.DATA], "RSP_OK")
        for frame, answer in ((page.dump("begin"), page.dump("begin-accepted")),
                              (first[:-1] + b"?", page.dump("piece-refused")),
                              (first, accepted), (second, None), (page.dump("last-piece"), None),
                              (page.dump("end"), None)):
            data.send(frame)
            response = data.receive()
            self.assertEqual(response, answer or response[:16] + b"RSP_OK")
        modem.lines_to("ports back")
        self.command(*self.exchanges[1])
        self.assertEqual(upgrade.received(), self.IMAGE)

    def command(self, line, answer):
        port = upgrade.Port(self, AT_PORT)
        port.send(line)
        self.assertEqual(port.receive(b"OK\r\n"), answer)


class Arp(cable.CableTest):
    PROBE = "net probe 10.9.0.3 lan0 --mac 02:00:00:00:00:03"
    PATIENCE_MS = 20000
    TYPE = 12, 13  # of the frame: of another one, it does not even reach the socket
    LOOKED_AT = range(20, 38)  # from the operation to the target's hardware address
    LENGTH = 42  # without the padding

    start_peer = net_test.Probe.start_peer

    def heard(self, act):
        """The frame that the neighbour hears of what is done."""
        peer = self.start_peer()
        act()
        return bytes.fromhex(peer.out.next())

    def probe(self, timeout=1):
        return ltectl(*self.PROBE.split(), "--timeout", str(timeout))

    def result_of(self, *answers):
        self.start_peer(*(answer.hex() for answer in answers))
        return self.probe(self.PATIENCE_MS).returncode

    def test_request(self):
        self.assertEqual(self.heard(self.probe), page.dump("arp-request"))

    def test_announcement(self):
        self.assertEqual(self.heard(lambda: speaker("announce", "10.9.0.3", "10.9.0.77", "lan0",
                                                    "02:ab:cd:00:00:4d")),
                         page.dump("arp-announcement"))

    def test_answer_with_padding_and_without(self):
        answer = page.dump("arp-answer")
        for size, status in (len(answer), DONE), (self.LENGTH, DONE), (self.LENGTH - 1, FAILED):
            self.assertEqual(self.result_of(answer[:size]), status, size)

    def test_only_the_first_frame_counts(self):
        answer = page.dump("arp-answer")
        self.assertEqual(self.result_of(page.dump("arp-announcement"), answer), FAILED)
        self.assertEqual(self.result_of(answer, page.dump("arp-announcement")), DONE)

    def test_four_fields_of_an_answer_are_looked_at(self):
        answer = page.dump("arp-answer")
        for place in set(range(len(answer))) - set(self.TYPE):
            with self.subTest(place):
                wrong = bytearray(answer)
                wrong[place] ^= 0x40
                self.assertEqual(self.result_of(wrong), FAILED if place in self.LOOKED_AT else DONE)


class Led(unittest.TestCase):
    def written(self, *arguments):
        """FILE:CONTENT of what a command leaves."""
        return support.run_led('"$@" >/dev/null && grep "" /proc/*_flag /dev/null', *arguments, check=True).stdout

    def test_each_has_its_file(self):
        for led, path in page.table("LED", "file"):
            self.assertEqual(self.written(led, "10").encode(), f"{path.strip('`')}:".encode() + page.dump("led"))

    def test_each_pattern_has_its_digit(self):
        patterns = re.findall(r"^\| (?:pattern|digit) \| (.*) \|$", page.page, re.M)
        for numbers, digit in zip(*(row.split(" | ") for row in patterns), strict=True):
            for number in numbers.split(", "):
                self.assertEqual(self.written("sim", number), f"/proc/lte_sim_flag:{digit}\n")


if __name__ == "__main__":
    (support.ltectl_program, support.wansim_program, upgrade.modemsim_program, speaker_program, hurried_ltectl,
     path, header) = sys.argv[1:]
    page = Document(path)
    outcome = unittest.main(argv=sys.argv[:1], verbosity=2, exit=False).result
    for name in sorted(page.unread):
        print(f"no test reads the example {name}", file=sys.stderr)
    sys.exit(0 if outcome.wasSuccessful() and not page.unread else 1)
