"""How the records of the public headers lie in memory, on the machine under test and, where that is another
one, on this machine beside it.

usage: side_by_side_test.py INCLUDE WORD_SIZE LAYOUTS [NATIVE_LAYOUTS]
"""

import glob
import os
import re
import subprocess
import sys
import unittest

ROUTER_WORD = 4

# Name, size, and each field's name, offset and size. These are the same on every machine: processes and the
# kernel read them, or they hold no words.
FIXED = {
    "ipc_msg_hdr": (16, [("type", 0, 4), ("msg_id", 4, 4), ("length", 8, 4), ("session_id", 12, 4)]),
    "ipc_addr": (116, [("priority", 0, 4), ("sock.sun_family", 4, 2), ("sock.sun_path", 6, 108),
                       ("padding", 114, 2)]),
    "lct_link_status": (656, [
        ("iface_type", 0, 4), ("reserved1", 4, 4), ("link_status", 8, 4), ("ip_status", 12, 4),
        ("reserved2", 16, 4), ("interface_name", 20, 16), ("ip", 36, 18), ("gateway", 54, 18),
        ("dns1", 72, 18), ("dns2", 90, 18), ("mask", 108, 18), ("reserved3", 126, 530)]),
    "lct_iface_status": (688, [("reserved1", 0, 4), ("readiness", 4, 4), ("reserved2", 8, 680)]),
    "lct_value_rsp": (8, [("result", 0, 4), ("value", 4, 4)]),
    "lct_pin": (16, [("pin", 0, 16)]),
    "lct_pin_change": (32, [("old_pin", 0, 16), ("new_pin", 16, 16)]),
    "lct_operator": (40, [("name", 0, 16), ("first", 16, 2), ("second", 18, 2), ("numbers", 20, 20)]),
    "lct_netlist_rsp": (408, [("result", 0, 4), ("reserved", 4, 4), ("operators", 8, 400)]),
    "apn_item": (580, [
        ("key", 0, 16), ("apn", 16, 65), ("text1", 81, 65), ("text2", 146, 65), ("text3", 211, 65),
        ("text4", 276, 20), ("number1", 296, 4), ("number2", 300, 4), ("number3", 304, 4),
        ("reserved1", 308, 264), ("enabled", 572, 4), ("reserved2", 576, 4)]),
    "if_stats": (112, [
        ("rx_packets", 0, 8), ("tx_packets", 8, 8), ("rx_bytes", 16, 8), ("tx_bytes", 24, 8),
        ("rx_errors", 32, 4), ("tx_errors", 36, 4), ("rx_dropped", 40, 4), ("tx_dropped", 44, 4),
        ("rx_multicast", 48, 4), ("rx_compressed", 52, 4), ("tx_compressed", 56, 4), ("collisions", 60, 4),
        ("rx_length_errors", 64, 4), ("rx_over_errors", 68, 4), ("rx_crc_errors", 72, 4),
        ("rx_frame_errors", 76, 4), ("rx_fifo_errors", 80, 4), ("rx_missed_errors", 84, 4),
        ("tx_aborted_errors", 88, 4), ("tx_carrier_errors", 92, 4), ("tx_fifo_errors", 96, 4),
        ("tx_heartbeat_errors", 100, 4), ("tx_window_errors", 104, 4), ("uptime", 108, 4)]),
    "ipc_mq_usg": (12, [("capacity", 0, 4), ("high_count", 4, 4), ("normal_count", 8, 4)]),
    "logconfig": (40, [("id", 0, 4), ("letter", 4, 1), ("name", 5, 33)]),
    "lc_up_frame": (2064, [("index", 0, 4), ("type", 4, 4), ("length", 8, 4), ("checksum", 12, 4),
                           ("payload", 16, 2048)]),
    "lc_up_response": (128, [("index", 0, 4), ("type", 4, 4), ("reserved", 8, 8), ("status", 16, 112)]),
}

# These hold pointers and machine words, and lie so on the router.
ON_THE_ROUTER = {
    "lc_list": (12, [("count", 0, 4), ("head", 4, 4), ("tail", 8, 4)]),
    "lc_list_node": (16, [("reserved", 0, 4), ("data", 4, 4), ("next", 8, 4), ("prev", 12, 4)]),
    "lc_hashtab": (20, [("buckets", 0, 4), ("size", 4, 4), ("count", 8, 4), ("hash", 12, 4),
                        ("compare", 16, 4)]),
    "lc_hashtab_entry": (12, [("key", 0, 4), ("value", 4, 4), ("next", 8, 4)]),
    "timer": (40, [("name", 0, 24), ("interval", 24, 4), ("repeat", 28, 4), ("callback", 32, 4),
                   ("arg", 36, 4)]),
    "timer_id": (8, [("node", 0, 4), ("stamp", 4, 4)]),
    "lct_config": (40, [("reserved", 0, 36), ("callback", 36, 4)]),
    "lct_event": (16, [("event", 0, 4), ("data", 4, 4), ("len", 8, 4), ("reserved", 12, 4)]),
}

# How many words each pointer, word or array of words holds; what is not named here has an exact width.
WORDS = {
    "lc_list.head": 1, "lc_list.tail": 1,
    "lc_list_node.data": 1, "lc_list_node.next": 1, "lc_list_node.prev": 1,
    "lc_hashtab.buckets": 1, "lc_hashtab.hash": 1, "lc_hashtab.compare": 1,
    "lc_hashtab_entry.key": 1, "lc_hashtab_entry.value": 1, "lc_hashtab_entry.next": 1,
    "timer.callback": 1, "timer.arg": 1,
    "timer_id.node": 1,
    "lct_config.reserved": 9, "lct_config.callback": 1,
    "lct_event.data": 1,
}


def parts_of(table):
    """The table as the program prints it: {name: (offset, size)}."""
    parts = {}
    for record, (size, fields) in table.items():
        parts[record] = (0, size)
        parts.update({f"{record}.{field}": (offset, width) for field, offset, width in fields})
    return parts


class Machine:
    def __init__(self, program):
        printed = subprocess.run([program], stdin=subprocess.DEVNULL, capture_output=True, timeout=60,
                                 text=True, check=True).stdout.splitlines()
        word, self.byte_order = printed[0].split()
        self.word = int(word)
        rows = [line.split() for line in printed[1:]]
        self.parts = {name: (int(offset), int(size)) for name, offset, size in rows}
        assert len(self.parts) == len(rows), "a part is listed twice"

    def parts_of_records(self, records):
        return {name: part for name, part in self.parts.items() if name.split(".")[0] in records}

    def __str__(self):
        return f"{self.word * 8} bits, {self.byte_order.lower().replace('_', ' ')}"


def records_of(text):
    """{record: its fields} of the text of a header."""
    code = re.sub(r"/\*.*?\*/|//[^\n]*|#define(\\\n|[^\n])*", "", text, flags=re.S)
    found = re.findall(r"\b(?:struct|union)\s*(\w*)\s*\{([^{}]*)\}\s*(\w*)", code)
    assert len(found) == len(re.findall(r"\b(?:struct|union)\b[^;(){}]*\{", code)), "nested records"
    return {name or alias: [re.search(r"(\w+)\s*(\[[^]]*\]\s*)*$", field).group(1)
                            for field in body.split(";")[:-1]]
            for name, body, alias in found}


def records_of_headers(folder):
    records = {}
    for path in glob.glob(os.path.join(folder, "*.h")):
        with open(path, encoding="utf-8") as header:
            records.update(records_of(header.read()))
    return records


def records_listed(parts):
    """The same of what a program printed; a field that is given by its members counts once."""
    records = {}
    for name in parts:
        record, _, field = name.partition(".")
        fields = records.setdefault(record, [])
        member = field.split(".")[0]
        if member and member not in fields:
            fields.append(member)
    return records


class Layouts(unittest.TestCase):
    maxDiff = None

    def test_the_machine_under_test_is_what_it_was_built_for(self):
        self.assertEqual((machines[0].word, machines[0].byte_order),
                         (word_size, os.environ["LTEROUTER_BYTE_ORDER"]))

    def test_every_record_and_field_of_the_headers_is_shown(self):
        declared = records_of_headers(include)
        for machine in machines:
            with self.subTest(str(machine)):
                self.assertEqual(records_listed(machine.parts), declared)

    def test_every_record_is_known_here_too(self):
        known = parts_of({**FIXED, **ON_THE_ROUTER}).keys()
        for machine in machines:
            with self.subTest(str(machine)):
                self.assertEqual(machine.parts.keys(), known)

    def test_fixed_records_are_the_same_on_every_machine(self):
        for machine in machines:
            with self.subTest(str(machine)):
                self.assertEqual(machine.parts_of_records(FIXED), parts_of(FIXED))

    def test_the_others_are_the_routers_but_for_the_width_of_words(self):
        routers = parts_of(ON_THE_ROUTER)
        for machine in machines:
            with self.subTest(str(machine)):
                shown = machine.parts_of_records(ON_THE_ROUTER)
                widths = {name: WORDS[name] * machine.word if name in WORDS else size
                          for name, (_, size) in routers.items() if "." in name}
                self.assertEqual({name: size for name, (_, size) in shown.items() if "." in name}, widths)
                if machine.word == ROUTER_WORD:
                    self.assertEqual(shown, routers)


def print_table():
    print(f"{'record: offset, size':34}" + "".join(f"{str(machine):>24}" for machine in machines))
    for name in machines[0].parts:
        record, _, field = name.partition(".")
        label = f"    {field}" if field else record
        cells = ["{:>17} {:>6}".format(*machine.parts.get(name, ("-", "-"))) for machine in machines]
        print(f"{label:34}" + "".join(cells))
    print(flush=True)


if __name__ == "__main__":
    include, word_size = sys.argv[1], int(sys.argv[2])
    machines = [Machine(program) for program in sys.argv[3:]]
    print_table()
    unittest.main(argv=sys.argv[:1], verbosity=2)
