"""The sample of a defaults file that is installed. usage: default_cfg_test.py LTECTL WANSIM FILE"""

import re
import sys

import support
from support import DEFAULTS, FAILED, NvTest, ltectl, read_file, write_file

SAMPLE = sys.argv.pop()
IDENTITY = ["pri_version", "up_dev_sku"]
COPY = "/2ndfile/copy.cfg"


class Sample(NvTest):
    def setUp(self):
        super().setUp()
        self.declare(read_file(SAMPLE))
        self.assert_runs("nv init", "store ready repair=done\n")
        self.parameters = self.objects(ltectl("nv", "list", "--json").stdout)

    def bits(self, parameter):
        return parameter["bits"]

    def test_is_read_to_its_end_and_declares_no_name_twice(self):
        names = [parameter["name"] for parameter in self.parameters]
        self.assertEqual(len(names), len(re.findall(rb"^[^#\n]", read_file(SAMPLE), re.M)))
        self.assertEqual(len(names), len(set(names)))
        self.assert_runs("nv verify", f"store sound parameters={len(names)}\n")

    def test_begins_with_the_identity(self):
        """An import that checks it applies only what follows."""
        self.assertEqual([parameter["name"] for parameter in self.parameters[:2]], IDENTITY)

    def test_has_no_bit_that_it_does_not_explain(self):
        explained = sum(int(bit, 16) for bit in re.findall(rb"^#  +([0-9a-f]+)  \w", read_file(SAMPLE), re.M))
        self.assertEqual(explained, 0x3F)
        for parameter in self.parameters:
            self.assertEqual(self.bits(parameter) & ~explained, 0, parameter)
            self.assertNotEqual(self.bits(parameter), 0, parameter)

    def test_bits_keep_to_what_is_said_of_them(self):
        for parameter in self.parameters:
            bits = self.bits(parameter)
            self.assertFalse(bits & 0x8 and bits & 0x6, f"{parameter}: a secret leaves the router")
            self.assertFalse(bits & 0x10 and bits & 0x1, f"{parameter}: a reset loses it")
            self.assertEqual(bits & 0x20 != 0, parameter["name"] in IDENTITY, parameter)

    def test_what_is_secret_is_not_listed(self):
        secrets = {parameter["name"] for parameter in self.parameters if self.bits(parameter) & 8}
        self.assertIn("wan_pin", secrets)
        for name in secrets:
            ltectl("nv", "set", name, "hidden")
        listed = self.objects(ltectl("nv", "list", "--json").stdout)
        self.assertEqual({parameter["name"] for parameter in listed if parameter["value"] == "********"}, secrets)

    def test_a_users_copy_passes_the_identity_check_of_its_router_only(self):
        ltectl("nv", "set", "lan_ip", "10.0.0.1")
        ltectl("nv", "set", "wan_pin", "1234")
        self.assertEqual(ltectl("nv", "export", COPY, "--mask", "22").returncode, 0)
        self.assertNotIn(b"1234", read_file(COPY))
        self.assertEqual(ltectl("nv", "reset").returncode, 0)
        self.assertEqual(ltectl("nv", "import", COPY, "--identity").returncode, 0)
        self.assert_runs("nv diff", "current lan_ip=192.168.1.1 -> 10.0.0.1\n")
        write_file(DEFAULTS, read_file(SAMPLE).replace(b"up_dev_sku=20=", b"up_dev_sku=20=other"))
        self.assertEqual(ltectl("nv", "import", COPY, "--identity").returncode, FAILED)


if __name__ == "__main__":
    support.main()
