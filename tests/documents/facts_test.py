"""What the public headers name and what tests share, and everything that tells it in words or writes it out.

usage: facts_test.py ROOT"""

import glob
import os
import re
import sys
import unittest

ROOT = sys.argv[1]
TEXTS = ["README.md", "docs/*.md", "docs/man/*", "docs/diagrams/*", "include/*.h"]
SOURCES = ["bench/*", "fuzz/*.*", "lib/*.*", "lib/*/*.*", "scripts/*", "tests/*/*.*", "tools/*/*"]

def longest_command(known):
    """Behind the header of a message and the head of an AT command, before a NUL."""
    return known["IPC_MSG_MAX_SIZE"] - 16 - 96 - 1


# A number, a file, what stands there around it.
NUMBERS = (
    (lambda known: known["LCT_TRACE_LIMIT"], "docs/formats.md", r"longer than (\d+) bytes"),
    (lambda known: known["LCT_TRACE_LIMIT"] // 1024, "docs/integration.md", r"(\d+) KiB and one entry"),
    (lambda known: known["IPC_MQ_MAX_QUEUES"], "include/lc_ipc_mq.h", r"[Aa]t most (\d+) queues"),
    (lambda known: known["IPC_MQ_MAX_QUEUES"], "include/lc_ipc_mq.h", r"or (\d+) queues exist"),
    (lambda known: known["IPC_MQ_DEFAULT_CAPACITY"], "include/lc_ipc_mq.h", r"0 means (\d+)"),
    (lambda known: longest_command(known), "include/lte_sdk.h", r"at most (\d+) characters in all"),
    (lambda known: longest_command(known), "docs/formats.md", r"command length \| n, without the NUL: at most (\d+)"),
    (lambda known: longest_command(known) - 1, "docs/man/ltectl.1", r"AT command of at most (\d+) characters"),
)


def read(path):
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        return file.read()


def files(patterns):
    for pattern in patterns:
        for path in glob.glob(os.path.join(ROOT, pattern)):
            if os.path.isfile(path) and not path.endswith((".abi", ".svg")):
                yield os.path.relpath(path, ROOT)


def constants():
    """Numbers and texts by their names."""
    found = {}
    for path in files(["include/*.h"]):
        for name, value in re.findall(r'^#define (\w+) +("[^"\n]*"|\d+u?)(?= *(?:/\*|$))', read(path), re.M):
            found[name] = value[1:-1] if value.startswith('"') else int(value.rstrip("u"))
    return found


class Facts(unittest.TestCase):
    def setUp(self):
        self.constants = constants()

    def assert_told(self, patterns, pattern, known):
        """Whatever looks like this in these files is one of the known texts."""
        told = 0
        for path in files(patterns):
            for text in re.findall(pattern, read(path)):
                told += 1
                with self.subTest(path):
                    self.assertIn(text, known)
        self.assertGreater(told, 0)

    def test_numbers(self):
        for value, path, pattern in NUMBERS:
            with self.subTest(path, pattern=pattern):
                told = re.findall(pattern, re.sub(r"\n \*? *", " ", read(path)))
                self.assertTrue(told, pattern)
                self.assertEqual({int(number) for number in told}, {value(self.constants)})

    def test_trace_files(self):
        self.assert_told(TEXTS + SOURCES, r"/tmp/(?:lte|trace)\w*\.\d\b",
                         {self.constants["LCT_TRACE_FILE"], self.constants["LCT_TRACE_OLDER_FILE"]})

    def test_flag_files_and_configuration_of_the_log(self):
        prefix = self.constants["LC_LOG_FLAG_PREFIX"]
        self.assert_told(TEXTS, rf"/tmp/\.[A-Z_]{{{len(prefix) - len('/tmp/.')}}}", {prefix})
        self.assert_told(TEXTS, r"/usr/bin/\w+\.cfg", {self.constants["LC_LOG_CONFIG_FILE"]})

    def test_volatile_parameters(self):
        self.assert_told(TEXTS, r"\bwm_\w+\b", {value for name, value in self.constants.items()
                                                if name.startswith("LCT_PARAM_")})

    def test_what_tests_share(self):
        """The page has one line for each file."""
        listed = []
        for names in re.findall(r"^\|((?: *`[\w.]+`(?: \*)?,?)+) *\|", read("tests/support/README.md"), re.M):
            listed += re.findall(r"`([\w.]+)`", names)
        self.assertEqual(sorted(listed), sorted(os.path.basename(path) for path in files(["tests/support/*"])
                                                if not path.endswith(".md")))

    def test_lines_of_parameter_files(self):
        line = re.search(r'"(NAME=[A-Z=]+)"', read("include/lc_nv.h")).group(1)
        self.assert_told([*TEXTS, *SOURCES, "share/*"], r"\bNAME=[A-Z]+=[A-Z=]+", {line})


class Attacks(unittest.TestCase):
    def test_the_table_of_attacks_names_tests_that_there_are(self):
        tests = "".join(read(path) for path in files(["tests/web/*_test.py"]))
        table = re.search(r"^\| attack \|.*?\n\n", read("docs/web.md"), re.M | re.S)[0]
        told = re.findall(r"`(test_\w+|[A-Z][A-Za-z]+)`(?=[^|]*\|$)", table, re.M)
        self.assertGreater(len(told), 20)
        self.assertEqual([name for name in told if not re.search(rf"(def|class) {name}\(", tests)], [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
