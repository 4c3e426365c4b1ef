"""Parsing of the tools' command lines."""

import os
import re
import subprocess

import support
from support import DONE, FAILED, NOBODY, USAGE, ToolTest, ltectl, wansim

# The commands with their operands, in the order of the help.
COMMANDS = [
    "status", "connect", "disconnect", "wait CONDITION...", "roam [on|off]", "nettype [TYPE]", "pref RADIO", "scan",
    "pin enable [PIN]", "pin disable [PIN]", "pin change [OLD] [NEW]", "imsi", "channel", "apn match FILE KEY",
    "apn set", "at COMMAND", "diag", "port N", "iface up|down", "cfun-off", "state-change", "sms clear",
    "ussd-test [1|2|3]", "stats IFNAME", "metrics", "led LED FLASH", "upgrade IMAGE", "monitor",
    "request ID", "bus list", "bus watch", "bus capture FILE", "sim link drop|restore", "sim signal RSSI", "sim network TYPE",
    "sim card out|in", "sim hang SECONDS", "sim fault RULE", "sim status", "sim quit", "trace", "log [MODULE] [LEVEL] [on|off]",
    "net route add DEV DST/LEN [via GATEWAY]", "net route del DEV DST/LEN [via GATEWAY]",
    "net route default add DEV GATEWAY...", "net route default del DEV GATEWAY...", "net arp IP",
    "net probe IP DEV", "net iface NAME",
    "ram get NAME", "ram set NAME VALUE", "ram list", "ram clear", "nv init", "nv fin", "nv get NAME",
    "nv set NAME VALUE", "nv batch [FILE]", "nv list", "nv diff", "nv watch [NAME...]", "nv export FILE", "nv import FILE", "nv reset",
    "nv verify", "nv clear",
]
GROUPS = ["", "pin", "apn", "sms", "bus", "sim", "net", "net route", "net route default", "ram", "nv"]


def levels():
    """Each command's words with the usage line that its help starts with."""
    for group in GROUPS:
        path = " ".join(["ltectl", *group.split()])
        yield group.split(), f"usage: {path} [OPTION...] COMMAND\n"
    for command in COMMANDS:
        words = [word for word in command.split() if re.fullmatch("[a-z-]+", word)]
        operands = command.split()[len(words):]
        yield words, " ".join(["usage: ltectl", *words, "[OPTION...]", *operands]) + "\n"


class Help(ToolTest):
    def test_every_level_shows_its_usage_and_the_common_options(self):
        for words, usage in levels():
            with self.subTest(words):
                result = ltectl(*words, "--help")
                self.assertEqual((result.returncode, result.stderr), (DONE, ""))
                self.assertTrue(result.stdout.startswith(usage), result.stdout)
                for option in ("--json", "--help", "--version"):
                    self.assertRegex(result.stdout, rf"\n  {option} +\w")

    def test_a_group_lists_every_command_below_it_with_its_arguments(self):
        lines = ltectl("--help").stdout.splitlines()
        names = [line.split("  ")[1] for line in lines if re.match(r"  [a-z](?!.*--)", line)]
        self.assertEqual(names, COMMANDS)

    def test_own_options_are_shown_with_their_arguments(self):
        self.assertIn("\n  --wait SECONDS ", ltectl("connect", "--help").stdout)
        self.assertIn("\n  --count N ", ltectl("monitor", "--help").stdout)
        self.assertIn("\n  --follow, -f ", ltectl("trace", "--help").stdout)

    def test_help_before_the_command_is_the_help_of_that_level(self):
        self.assertEqual(ltectl("--help", "roam").stdout, ltectl("--help").stdout)

    def test_exit_codes_are_told(self):
        told = ltectl("--help").stdout.split("\nexit codes:\n")[1]
        self.assertEqual(re.findall(r"^  (\d)  \S.*$", told, re.M), list("01234"))

    def test_wansim_shows_every_option(self):
        result = wansim("--help")
        self.assertEqual((result.returncode, result.stderr), (DONE, ""))
        self.assertTrue(result.stdout.startswith("usage: wansim [OPTION...]\n"))
        for option in ("interface NAME", "ip ADDRESS", "gateway ADDRESS", "dns1 ADDRESS",
                       "dns2 ADDRESS", "mask ADDRESS", "roaming on|off", "delay MS", "quiet", "json",
                       "help", "version"):
            self.assertIn(f"\n  --{option} ", result.stdout)


class Version(ToolTest):
    def test_every_level_shows_program_and_version(self):
        for words, _ in levels():
            with self.subTest(words):
                result = ltectl(*words, "--version")
                self.assertEqual((result.returncode, result.stderr), (DONE, ""))
                self.assertRegex(result.stdout, r"\Altectl \d+\.\d+\.\d+\n\Z")

    def test_as_json(self):
        for arguments in (["--json", "--version"], ["ram", "--version", "--json"]):
            [answer] = self.objects(ltectl(*arguments).stdout)
            self.assertEqual(answer["program"], "ltectl")
            self.assertRegex(answer["version"], r"\A\d+\.\d+\.\d+\Z")

    def test_wansim(self):
        self.assertRegex(wansim("--version").stdout, r"\Awansim: wansim \d+\.\d+\.\d+\n\Z")


class UsageErrors(ToolTest):
    def test_no_command(self):
        for words in ((), ("ram",)):
            path = " ".join(("ltectl", *words))
            result = ltectl(*words)
            self.assertEqual((result.returncode, result.stdout), (USAGE, ""))
            self.assertEqual(result.stderr, f"usage: {path} [OPTION...] COMMAND\n"
                                            f"ltectl: COMMAND is missing; see {path} --help\n")

    def test_words_that_are_unknown_missing_or_too_many(self):
        for command, sentence, path in (
                ("frobnicate", 'unknown command "frobnicate"', ""), ("ram put", 'unknown command "put"', "ram"),
                ("--loud", 'unknown option "--loud"', ""), ("roam --wait 1", 'unknown option "--wait"', "roam"),
                ("connect -w", 'unknown option "-w"', "connect"), ("connect -f", 'unknown option "-f"', "connect"),
                ("trace -fw", 'unknown option "-w"', "trace"), ("connect --wait", "--wait needs a value", "connect"),
                ("roam --json=1", '"--json=1": this option takes no value', "roam"),
                ("ram get", "NAME is missing", "ram get"), ("ram set", "NAME is missing", "ram set"),
                ("nv import", "FILE is missing", "nv import"), ("ram set a", "VALUE is missing", "ram set")):
            self.assert_usage(command, f"{sentence}; see {' '.join(['ltectl', *path.split()])} --help")
        for path, operands in (("connect", ""), ("disconnect", ""), ("monitor", ""), ("roam", "on"), ("ram get", "a"),
                               ("ram set", "a b"), ("ram list", ""), ("ram clear", "")):
            self.assert_usage(f"{path} {operands} now", f'"now" is one argument too many; see ltectl {path} --help')

    def test_bad_values_of_options(self):
        for commands, option, takes, values in (
                (("connect", "disconnect"), "--wait", "a number of seconds from 1 to 86400",
                 ("0", "86401", "x", "", "-1", "+1", " 1", "1s", "1.5", "99999999999999999999")),
                (("monitor", "bus watch", "bus capture f"), "--count", "a number from 1 to 1000000", ("0", "1000001", "many")),
                (("nv export f", "nv import f"), "--mask", "a hexadecimal mask of at most 32 bits",
                 ("", "g", "0x", "-1", "+1", " 1", "1 ", "100000000", "f" * 20))):
            for command in commands:
                for value in values:
                    self.assert_usage([*command.split(), f"{option}={value}"],
                                      f'{option} takes {takes}, not "{value}"')

    def test_bad_roaming_value(self):
        for value in ("1", "ON", "maybe", ""):
            self.assert_usage(["roam", value], f'roam takes on or off, not "{value}"')

    def test_wansim_refuses_bad_values(self):
        address = ("a dotted IPv4 address", ("", "10.0.0", "10.0.0.256", "10.0.0.1 ", "::1", "1" * 200))
        milliseconds = "a number of milliseconds from 0 to 600000"
        for option, takes, values in (
                ("--interface", "an interface name of at most 15 characters", ("", "a" * 16, "a b", "a/b", "a\tb")),
                *((option, *address) for option in ("--ip", "--gateway", "--dns1", "--dns2", "--mask")),
                ("--roaming", "on or off", ("1",)),
                ("--delay", milliseconds, ("", "-1", "600001", "1s")),
                ("--search-delay", milliseconds, ("-1", "600001", "x", "")),
                ("--script", "a path of at most 255 characters", ("", "x" * 256)),
                ("--messages", "a number from 0 to 1000", ("-1", "1001", "x", "")),
                ("--imsi", "15 digits", ("1" * 14, "1" * 16, "00101012345678x", "")),
                ("--imei", "15 digits", ("1" * 14, "1" * 16, "49015420323751x", "")),
                ("--sim", "ready, pin, puk or absent", ("", "locked", "Ready")),
                ("--pin", "4 to 8 digits", ("123", "123456789", "12a4", "")),
                ("--puk", "8 digits", ("1234567", "123456789", "1234567x", ""))):
            for value in values:
                with self.subTest(option=option, value=value):
                    self.assert_failed(wansim(option, value), USAGE, f'{option} takes {takes}, not "{value}"',
                                       tool="wansim")

    def test_wansim_takes_no_operands(self):
        result = wansim("now")
        self.assertEqual((result.returncode, result.stderr),
                         (USAGE, 'wansim: "now" is one argument too many; see wansim --help\n'))


class Options(ToolTest):
    def test_json_may_stand_before_and_behind_the_command_and_its_operands(self):
        for command in ("--json ram clear", "ram --json clear", "ram clear --json"):
            with self.subTest(command):
                self.assert_runs(command, '{"event":"cleared","removed":0}\n')
        self.assert_runs("ram set a b --json", '{"event":"parameter","name":"a","value":"b"}\n')
        self.assert_runs("ram set a -- --json", "a=--json\n")

    def test_a_commands_own_options_stand_behind_its_name(self):
        self.assert_usage("--timeout 5 roam", 'unknown option "--timeout"; see ltectl --help')
        for command in ("roam --timeout 5 on", "roam on --timeout 5"):
            self.assertEqual(ltectl(*command.split()).returncode, NOBODY)


class Get(ToolTest):
    """Bare values, for a shell without a JSON tool."""

    def setUp(self):
        super().setUp()
        for name, value in (("a", "two words"), ("b", ""), ("c", 'two\nlines"')):
            ltectl("ram", "set", name, value)

    def test_values_are_lines_in_the_order_asked_for(self):
        for command, lines in (("ram list -g name", "a\nb\nc\n"),
                               ("ram list --get value,name", 'two words\na\n\nb\ntwo?lines"\nc\n'),
                               ("-g name,event,name ram get a", "a\nparameter\na\n"),
                               ("ram clear -g removed", "3\n"), ("ram list -g name", "")):  # no object is no failure
            self.assert_runs(command, lines)
        self.start_wansim()
        self.assertIn(support.SOCKET + "\n1\n", ltectl("bus", "list", "-g", "endpoint,ids").stdout)
        self.assertIn("connect\n", wansim("--requests", "-g", "request").stdout.splitlines(True))

    def test_what_an_object_lacks_is_an_empty_line(self):
        support.write_file(support.TRACE, b"[lib/a:f:2]one\nanother\n")
        self.addCleanup(os.unlink, support.TRACE)
        self.assert_runs("trace -g text,line", "one\n2\nanother\n\n")
        self.assert_runs("trace -g line", "2\n")

    def test_what_no_object_has_is_a_failure(self):
        self.assert_fails("ram list -g name,nome", 'the answer has no field "nome"', out="a\n\nb\n\nc\n\n")

    def test_bad_fields(self):
        for fields in ("", ",", "a,", ",a", "a,,b", "A", "a b", "a-b", ",".join("a" * 17)):
            self.assert_usage(["ram", "list", "-g", fields],
                              f'--get takes the names of at most 16 fields, separated by commas, not "{fields}"')


class Output(ToolTest):
    def run_into(self, *arguments, stdout):
        return subprocess.run([support.ltectl_program, *arguments], stdout=stdout,
                              stderr=subprocess.PIPE, text=True, timeout=support.TIMEOUT)

    def test_an_answer_that_cannot_be_written_is_a_failure(self):
        with open("/dev/full", "w") as full:
            for arguments in (["ram", "clear"], ["--help"]):
                result = self.run_into(*arguments, stdout=full)
                self.assertEqual((result.returncode, result.stderr), (
                    FAILED, "ltectl: cannot write the answer: No space left on device\n"))

    def test_a_reader_that_has_gone_is_none(self):
        reading, writing = os.pipe()
        os.close(reading)
        result = self.run_into("ram", "clear", stdout=writing)
        os.close(writing)
        self.assertEqual((result.returncode, result.stderr), (DONE, ""))


if __name__ == "__main__":
    support.main()
