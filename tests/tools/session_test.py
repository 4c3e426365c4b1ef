"""The session that the README shows is what happens. usage: session_test.py LTECTL WANSIM README"""

import re
import sys
import unittest

import support

README = sys.argv.pop()


def session():
    """[(command, output)], as the README has them."""
    with open(README) as file:
        section = file.read().split("## What the modem can be asked for", 1)[1]
    block = re.search(r"```text\n(.*?)```", section, re.S).group(1)
    parts = re.split(r"^\$ (.*)\n", block, flags=re.M)
    return list(zip(parts[1::2], parts[2::2]))


def comparable(output):
    """Without what differs from machine to machine."""
    return re.sub(r"^uptime .*$", "uptime", output, flags=re.M)


class Session(support.ToolTest):
    def test_is_what_happens(self):
        self.start_wansim()
        store = support.Background(self, support.wansim_program, "--sms-store")
        store.out.next()
        self.assertGreater(len(session()), 5)
        for command, output in session():
            with self.subTest(command):
                program, *arguments = command.split()
                self.assertEqual(program, "ltectl")
                result = support.ltectl(*arguments)
                self.assertEqual((result.returncode, result.stderr), (support.DONE, ""))
                self.assertEqual(comparable(result.stdout), comparable(output))

    def test_its_faults_are_faults(self):
        with open(README) as file:
            options = re.findall(r"--fault \S+=[\w:]+", file.read())
        self.assertTrue(options)
        self.start_wansim(*" ".join(options).split())


if __name__ == "__main__":
    support.main()
