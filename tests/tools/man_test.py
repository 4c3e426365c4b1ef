"""The manual pages of the tools: well-formed, and neither more nor less than what the programs' helps tell.

usage: man_test.py PAGES LTECTL WANSIM MODEMSIM [LTEWEB]"""

import os
import re
import subprocess
import sys
import unittest

import support

PAGES, LTECTL, WANSIM, MODEMSIM, *LTEWEB = sys.argv[1:]
PROGRAMS = {"ltectl": LTECTL, "wansim": WANSIM, "modemsim": MODEMSIM, **dict(zip(["lteweb"], LTEWEB))}
SECTIONS = ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "FILES", "EXIT STATUS", "EXAMPLES", "SEE ALSO"]


def page(program):
    return os.path.join(PAGES, program + ".1")


def lines(program):
    with open(page(program)) as file:
        return file.read().splitlines()


def section(program, title):
    return "\n".join(lines(program)).split(f"\n.Sh {title}\n")[1].split("\n.Sh ")[0]


def flatten(words):
    """What macros and their arguments are for a reader: Fl -wait Ar SECONDS is --wait SECONDS."""
    text = []
    optional = 0
    for word in words:
        if word == "Op":
            optional += 1
            text.append("[")
        elif word in ("Oo", "Oc"):
            text.append("[" if word == "Oo" else "]")
        elif word == "Fl":
            text.append("-\b")
        elif word not in ("Cm", "Ar"):
            text.append(word)
    line = " ".join(text + ["]"] * optional)
    line = line.replace("\b ", "")
    return re.sub(r"(?<=\[) | (?=\])| (?=\.\.\.)| (?=,)| ?\| ?", lambda space: space.group().strip(), line)


def in_page(program):
    """Commands, each with its options, and the options of all: {command: {option}}, where "" is for all."""
    found = {"": set()}
    title = command = ""
    for line in lines(program):
        macro, *words = line.split()
        if macro == ".Sh":
            title, command = " ".join(words), ""
        elif macro == ".It" and words[0] == "Cm" and title == "COMMANDS":
            command = flatten(words)
            assert command not in found, command
            found[command] = set()
        elif macro == ".It" and words[0] == "Fl":
            found[command].add(flatten(words))
    return found


def files_of(program):
    """The paths in a program's source, up to what is formatted into them."""
    folder = os.path.join(PAGES, "..", "..", "tools", program)
    for path in filter(os.path.isfile, (os.path.join(folder, name) for name in os.listdir(folder))):
        with open(path) as file:
            yield from re.findall(r'"(/(?:2ndfile|dev|proc|tmp|usr)/(?!null)[^"%]*)', file.read())


def summaries(text, title):
    """What a help lists under a title, without the explanations."""
    part = re.search(rf"^{title}:\n((?:  .*\n)*)", text, re.M)
    return [re.split(r"  +", line.strip())[0] for line in part.group(1).splitlines()] if part else []


def help_of(program, *words):
    return support.run(PROGRAMS[program], *words, "--help", check=True).stdout


def in_help(program):
    root = help_of(program)
    found = {"": set(summaries(root, "options"))}
    for command in summaries(root, "commands"):
        words = re.match(r"[a-z-]+(?: [a-z-]+)*(?![|\w])", command).group().split()
        found[command] = set(summaries(help_of(program, *words), "options")) - found[""]
    return found


class Pages(unittest.TestCase):
    maxDiff = None

    def test_every_page_is_well_formed(self):
        for program in PROGRAMS:
            result = subprocess.run(["mandoc", "-Tlint", "-Wwarning", page(program)], capture_output=True, text=True,
                                    timeout=support.TIMEOUT)
            self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))

    def test_every_page_has_the_usual_sections(self):
        for program in PROGRAMS:
            sections = [line[4:] for line in lines(program) if line.startswith(".Sh ")]
            self.assertEqual([section for section in sections if section in SECTIONS], SECTIONS, program)

    def assert_stands_in(self, lists, place):
        """Both give a program's commands with their options: all of the one stand in the other."""
        for program in PROGRAMS:
            there = place(program)
            for command, options in lists(program).items():
                with self.subTest(program=program, command=command):
                    self.assertIn(command, there)
                    self.assertEqual(options - there[command], set())

    def test_what_a_help_lists_is_in_the_page(self):
        self.assert_stands_in(in_help, in_page)

    def test_what_a_page_lists_is_in_the_help(self):
        self.assert_stands_in(in_page, in_help)

    def test_the_faults_of_a_page_are_those_of_the_help(self):
        for program, kind in (("wansim", r"Faults: (.*?)\. "), ("modemsim", r"Faults, .*?: (.*?)\. ")):
            told = re.search(kind, " ".join(help_of(program).split())).group(1)
            named = set(re.findall(r"(?<![\w(])[a-z]+(?:-[a-z]+)?\b(?! being)", re.sub(r";.*?:", ",", told)))
            self.assertEqual(set(re.findall(r"^\.It Cm ([a-z-]+)", section(program, "FAULTS"), re.M)), named)

    def test_the_range_of_a_count_is_told(self):
        told = re.search(r"from (\d+ to \d+)", support.run(LTECTL, "monitor", "--count", "0").stderr).group(1)
        items = [item for item in "\n".join(lines("ltectl")).split("\n.It ") if item.startswith("Fl -count ")]
        self.assertTrue(items)
        for item in items:
            self.assertIn(told, item)

    def test_every_file_that_a_program_names_is_in_its_page(self):
        for program in PROGRAMS:
            named = " ".join(re.findall(r"^\.It Pa (.*)", section(program, "FILES"), re.M))
            for path in files_of(program):
                with self.subTest(program=program, path=path):
                    self.assertIn(path, named)

    def test_every_command_that_needs_somebody_tells_that_nobody_is_there(self):
        for command in ("status", "connect", "monitor", "roam", "nettype", "scan", "imsi", "channel", "apn set", "diag",
                        "cfun-off", "state-change", "sms clear", "ussd-test", "bus watch", "bus capture -"):
            with self.subTest(command):
                self.assertEqual(support.run(LTECTL, *command.split()).returncode, support.NOBODY)

    def test_every_deadline_is_told_alike(self):
        in_pages = {}
        command = ""
        for item in "\n".join(lines("ltectl")).split("\n.It ")[1:]:
            macro, *words = item.split("\n")[0].split()
            if macro == "Cm":
                command = flatten([macro, *words])
            elif item.startswith("Fl -timeout Ar SECONDS"):
                in_pages[command] = re.search(r"the\sdefault\sis\s(\d+)", item).group(1)
        in_helps = {}
        for command, options in in_help("ltectl").items():
            if "--timeout SECONDS" in options:
                words = re.match(r"[a-z-]+(?: [a-z-]+)*(?![|\w])", command).group().split()
                in_helps[command] = re.search(r"--timeout SECONDS .*\((\d+)\)", help_of("ltectl", *words)).group(1)
        self.assertEqual(in_pages, in_helps)
        self.assertEqual({seconds for command, seconds in in_helps.items() if command not in ("scan", "upgrade IMAGE", "wait CONDITION...")},
                         {"10"})

    def test_the_exit_codes_are_told_alike(self):
        told = dict(re.findall(r"^  (\d)  (.*)$", help_of("ltectl").split("\nexit codes:\n")[1], re.M))
        self.assertEqual(list(told), list("01234"))
        part = section("ltectl", "EXIT STATUS").split("\n.El")[0]
        items = re.findall(r"(?ms)^\.It (\d)\n(.*?)\.?(?=\n\.It|\Z)", part.replace("\n.Fl -wait\n", " --wait "))
        self.assertEqual({code: text[0].lower() + text[1:] for code, text in items}, told)
        with open(os.path.join(PAGES, "..", "ltectl.md")) as file:
            rows = re.findall(r"^\| (\d) \| (.*) \|$", file.read(), re.M)
        self.assertEqual({code: text.replace("`", "") for code, text in rows}, told)

    def test_every_page_refers_to_pages_that_there_are(self):
        for program in PROGRAMS:
            for name, section in re.findall(r"^\.Xr (\S+) (\d)", "\n".join(lines(program)), re.M):
                with self.subTest(program=program, name=name):
                    self.assertTrue(name == "syslog" or os.path.exists(os.path.join(PAGES, f"{name}.{section}")))

    def test_the_commands_of_the_examples_are_understood(self):
        for program in PROGRAMS:
            calls = re.findall(r"\$ (ltectl|wansim|modemsim|lteweb)((?: [^&\n]+)?)", section(program, "EXAMPLES"))
            self.assertTrue(calls)
            for name, arguments in calls:
                with self.subTest(name + arguments):
                    result = support.run(PROGRAMS[name], *arguments.split(), "--version")
                    self.assertEqual((result.returncode, result.stderr), (support.DONE, ""))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
