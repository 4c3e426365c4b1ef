"""The sessions that the README shows are what happens. usage: session_test.py LTECTL WANSIM README SAMPLE"""

import re
import subprocess
import sys
import unittest

import support

README, SAMPLE = sys.argv[3:]
del sys.argv[3:]


def session(heading):
    """[(command, output)], as the README has them."""
    with open(README) as file:
        section = file.read().split(f"## {heading}\n", 1)[1]
    block = re.search(r"```text\n(.*?)```", section, re.S).group(1)
    parts = re.split(r"^\$ (.*)\n", block, flags=re.M)
    return list(zip(parts[1::2], parts[2::2]))


def run(command):
    """Runs a command line as a user types it."""
    script = 'ltectl() { "$0" "$@"; }; ' + command
    return subprocess.run(["bash", "-c", script, support.ltectl_program], stdin=subprocess.DEVNULL,
                          capture_output=True, timeout=support.TIMEOUT, text=True)


def comparable(output):
    """Without what differs from machine to machine."""
    return re.sub(r"^uptime .*$", "uptime", output, flags=re.M)


class Session(support.NvTest):
    def assert_happens(self, commands):
        self.assertGreater(len(commands), 5)
        for command, output in commands:
            with self.subTest(command):
                result = run(command)
                self.assertEqual((result.returncode, result.stderr), (support.DONE, ""))
                self.assertEqual(comparable(result.stdout), comparable(output))

    def test_of_the_modem(self):
        self.start_wansim()
        store = support.Background(self, support.wansim_program, "--sms-store")
        store.out.next()
        self.assert_happens(session("What the modem can be asked for"))

    def test_of_the_persistent_parameters(self):
        self.declare(support.read_file(SAMPLE))
        self.assert_happens(session("Parameters that survive"))

    def test_its_faults_are_faults(self):
        with open(README) as file:
            options = re.findall(r"--fault \S+=[\w:]+", file.read())
        self.assertTrue(options)
        self.start_wansim(*" ".join(options).split())


if __name__ == "__main__":
    support.main()
