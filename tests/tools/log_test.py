"""ltectl log: the flag files by which modules are told what to log. """

import glob
import os
import re
import shutil

import support
from support import DONE, FAILED, ToolTest, ltectl, stranger

BUILT_IN = ["SC", "DM", "ATPXYD", "WanManager", "NM", "RM", "UI", "UP", "NS", "DIAG", "CGI", "DOG", "MM", "WLAN",
            "SMSPB", "CM"]
LEVELS = ["debug", "info", "error"]
FLAG = "/tmp/.LC_DEBUG_FLAG"
CONFIG = "/2ndfile/logid.cfg"
KNOWN = ", ".join(BUILT_IN)


def flags():
    """What follows the prefix in the names of the files that are there."""
    return {path[len(FLAG) + 1:] for path in glob.glob(FLAG + "*")}


def flags_of(modules, levels):
    return {f"{module}_{level.upper()}" for module in modules for level in levels}


def row(module, number, on=()):
    return " ".join([module, f"id={number}", *(f"{level}={'on' if level in on else 'off'}" for level in LEVELS)]) + "\n"


def every_row(on=()):
    return "".join(row(module, number, on) for number, module in enumerate(BUILT_IN))


class LogTest(ToolTest):
    def setUp(self):
        super().setUp()
        for name in flags():
            path = f"{FLAG}_{name}"
            shutil.rmtree(path) if os.path.isdir(path) else os.unlink(path)

    def configure(self, lines):
        support.write_file(CONFIG, lines)
        self.addCleanup(os.unlink, CONFIG)

    def ltectl(self, *arguments):
        """Runs it with the configuration in its place."""
        return support.run_with_log_modules(CONFIG, support.ltectl_program, *arguments)


class Listing(LogTest):
    def test_every_module_is_off_at_first(self):
        self.assert_runs("log", every_row() + "time=off\n")
        self.assertEqual(flags(), set())

    def test_what_is_on(self):
        for name in ("WanManager_ERROR", "WanManager_DEBUG", "CM_INFO", "TIME", "Nobody_ERROR"):
            support.write_file(f"{FLAG}_{name}", b"")
        lines = ltectl("log").stdout.splitlines(keepends=True)
        self.assertEqual([line for line in lines if "=on" in line],
                         [row("WanManager", 3, ["debug", "error"]), row("CM", 15, ["info"]), "time=on\n"])

    def test_as_json(self):
        support.write_file(f"{FLAG}_WanManager_ERROR", b"")
        answers = self.objects(ltectl("log", "--json").stdout)
        self.assertEqual(len(answers), len(BUILT_IN) + 1)
        self.assertEqual(answers[3],
                         {"event": "log", "module": "WanManager", "id": 3, "debug": "off", "info": "off", "error": "on"})
        self.assertEqual(answers[-1], {"event": "log", "time": "off"})

    def test_modules_of_the_file(self):
        self.configure(b"# id,letter,name\n16,x,NEWMOD\n17,y,Another\n\n-5,z,Negative\n300,a,with, comma\n"
                       b"16,x,Second of its id\n3,w,Not3\n018,o,Octal\n19,xy,TwoLetters\n#20,x,Comment\n21,x,\n"
                       b"22,x," + b"n" * 33 + b"\n23,x," + b"n" * 32 + b"\n12345678901,x,LongId\nword,x,Zero\n,x,NoId\n"
                       b"24\n25,x,LastWithoutLineFeed")
        result = self.ltectl("log")
        self.assertEqual((result.returncode, result.stderr), (DONE, ""))
        rest = result.stdout.splitlines(keepends=True)[len(BUILT_IN):]
        self.assertEqual(rest, [row("NEWMOD", 16), row("Another", 17), row("Negative", -5), row("with, comma", 300),
                                row("Octal", 18), row("n" * 32, 23), row("LastWithoutLineFeed", 25), "time=off\n"])

    def test_a_name_cannot_drive_the_terminal(self):
        self.configure(b"16,x,a\x1b[2J\n")
        self.assertIn("\na?[2J id=16 ", self.ltectl("log").stdout)
        self.assertTrue(self.ltectl("log", "x", "on").stderr.endswith(", CM, a?[2J\n"))


class Switching(LogTest):
    def test_one_level_or_all_of_one_module_or_all_and_the_time(self):
        for words, rows, left in (
                ("WanManager error on", row("WanManager", 3, ["error"]), {"WanManager_ERROR"}),
                ("WanManager DEBUG on", row("WanManager", 3, ["debug", "error"]),
                 {"WanManager_DEBUG", "WanManager_ERROR"}),
                ("WanManager error off", row("WanManager", 3, ["debug"]), {"WanManager_DEBUG"}),
                ("WanManager off", row("WanManager", 3), set()),
                ("CM on", row("CM", 15, LEVELS), flags_of(["CM"], LEVELS)), ("CM off", row("CM", 15), set()),
                ("info on", every_row(["info"]), flags_of(BUILT_IN, ["info"])),
                ("on", every_row(LEVELS), flags_of(BUILT_IN, LEVELS)),
                ("time on", "time=on\n", {"TIME", *flags_of(BUILT_IN, LEVELS)}), ("off", every_row(), {"TIME"}),
                ("TIME off --json", '{"event":"log","time":"off"}\n', set())):
            with self.subTest(words):
                self.assert_runs(f"log {words}", rows)
                self.assertEqual(flags(), left)

    def test_what_is_so_already(self):
        support.write_file(f"{FLAG}_CM_INFO", b"somebody's own")
        self.assert_runs("log CM info on", row("CM", 15, ["info"]))
        self.assertEqual(support.read_file(f"{FLAG}_CM_INFO"), b"somebody's own")
        for _ in range(2):
            self.assert_runs("log CM info off", row("CM", 15))

    def test_flag_files_are_empty_and_anybody_can_see_them(self):
        ltectl("log", "CM", "info", "on")
        status = os.stat(f"{FLAG}_CM_INFO")
        self.assertEqual((status.st_size, status.st_mode & 0o777), (0, 0o644))

    def test_as_json(self):
        self.assertEqual(self.objects(ltectl("log", "CM", "info", "on", "--json").stdout),
                         [{"event": "log", "module": "CM", "id": 15, "debug": "off", "info": "on", "error": "off"}])

    def test_modules_of_the_file(self):
        self.configure(b"16,x,time\n17,x,error\n18,x,Twice\n19,x,Twice\n")
        for arguments, rows in ((("time", "error", "on"), row("time", 16, ["error"])),
                                (("error", "info", "on"), row("error", 17, ["info"])),
                                (("Twice", "on"), row("Twice", 18, LEVELS) + row("Twice", 19, LEVELS))):
            self.assert_ran(self.ltectl("log", *arguments), rows)
        self.assertEqual(flags(), {"time_ERROR", "error_INFO", *flags_of(["Twice"], LEVELS)})
        # The words for the time and for a level come first.
        self.assert_ran(self.ltectl("log", "time", "on"), "time=on\n")
        self.assertEqual(len(self.ltectl("log", "error", "on").stdout.splitlines()), len(BUILT_IN) + 4)

    def test_the_library_goes_by_them(self):
        log = stranger.SyslogListener("CM")
        self.addCleanup(log.close)
        self.start_wansim()
        peer = self.start_peer()
        peer.send(b"short")
        self.assertIsNone(log.wait_for("mismatched", 0.5))
        ltectl("log", "WanManager", "error", "on")
        peer.send(b"short")
        self.assertIn("03WanManager: [ERR]", log.wait_for("mismatched")[-1])
        ltectl("log", "time", "on")
        log.wait_for("sret=4")
        peer.send(b"short")
        self.assertRegex(log.wait_for("mismatched")[-1], r"03WanManager: \[\d+\.\d+\]\[ERR\]")
        ltectl("log", "WanManager", "off")
        log.wait_for("sret=4")
        peer.send(b"short")
        self.assertIsNone(log.wait_for("mismatched", 0.5))


def read_text(*path):
    with open(os.path.join(os.path.dirname(__file__), "..", "..", *path), encoding="utf-8") as file:
        return file.read()


class Levels(LogTest):
    """Wherever a level of the header is told."""

    def setUp(self):
        super().setUp()
        self.header = read_text("include", "lc_log.h")
        names = re.search(r"^#define LC_LOG_LEVEL_NAMES (.*?) +/\*", self.header, re.M).group(1)
        self.names = re.findall(r'"([A-Z]+)"', names)
        self.enumerated = f"{', '.join(self.names[:-1])} or {self.names[-1]}"

    def test_each_has_its_number_in_the_header(self):
        levels = self.header.split("@name Levels")[1].split("@}")[0]
        self.assertEqual(re.findall(r"^#define LC_LOG_([A-Z]+) (\d+)", levels, re.M),
                         [(name, str(number)) for number, name in enumerate(self.names)])

    def test_the_header_tells_what_flag_files_there_are(self):
        self.assertIn(f"L is {self.enumerated}", re.sub(r"\n \* ", " ", self.header))

    def test_the_tests_know_them(self):
        self.assertEqual([name.lower() for name in self.names], LEVELS)

    def test_ltectl_lists_and_switches_them(self):
        rows = self.objects(ltectl("log", "CM", "on", "--json").stdout)
        self.assertEqual([key for key, value in rows[0].items() if value == "on"], LEVELS)
        self.assertEqual(flags(), flags_of(["CM"], [name.lower() for name in self.names]))
        self.assertIn(f"modules log: {', '.join(LEVELS)}, all; and the time prefix.", ltectl("log", "--help").stdout)

    def test_the_page_tells_them(self):
        page = read_text("docs", "man", "ltectl.1")
        described = page.split(".Ar LEVEL\nis\n")[1].split("without it all")[0]
        self.assertEqual(re.findall(r"^\.Cm (\w+)", described, re.M), LEVELS)
        [told] = re.findall(r"LEVEL is ([A-Z, or]+)\.", page.replace("\n", " "))
        self.assertEqual(told, self.enumerated)

    def test_the_documents_tell_them(self):
        priorities = re.search(r"priority \((.*?)\)", read_text("docs", "formats.md")).group(1)
        self.assertEqual(re.findall(r"\d+ (\w+)", priorities), LEVELS)
        task = re.search(r"`ltectl log WanManager error on` \((.*?); `off`\)", read_text("docs", "ltectl.md")).group(1)
        self.assertEqual({"error", *re.findall(r"`(\w+)`", task)}, set(LEVELS))


class Refusals(LogTest):
    def test_words_that_are_none(self):
        for names, behind, sentence in (
                (("Nobody", "wanmanager", "", "on", "time", "error"), ["error", "on"],
                 f'"%s" is not a module; the modules are {KNOWN}'),
                (("Nobody", "warning", ""), ["off"],
                 f'"%s" is not a module, a level (debug, info, error) or "time"; the modules are {KNOWN}')):
            for name in names:
                self.assert_usage(["log", name, *behind], sentence % name)
        for name in ("warning", "", "TIME", "CM"):
            self.assert_usage(["log", "CM", name, "on"],
                              f'"{name}" is not a level; the levels are debug, info, error')
        for arguments in (["maybe"], ["CM"], ["CM", "error"], ["CM", "error", "ON"], ["time", ""]):
            self.assert_usage(["log", *arguments], f'log takes on or off, not "{arguments[-1]}"')
        self.assert_usage("log CM error on now", '"now" is one argument too many; see ltectl log --help')
        self.assertEqual(flags(), set())

    def test_a_flag_that_cannot_be_made(self):
        result = support.run_with_readonly("/tmp", "log", "CM", "on")
        self.assert_failed(result, FAILED, f"cannot make {FLAG}_CM_DEBUG: Read-only file system")

    def test_a_link_of_somebody_elses_is_not_followed(self):
        os.symlink("/2ndfile/victim", f"{FLAG}_CM_INFO")
        self.assert_fails("log CM info on", f"cannot make {FLAG}_CM_INFO: File exists")
        self.assertFalse(os.path.exists("/2ndfile/victim"))
        self.assert_runs("log CM info off", row("CM", 15))
        self.assertEqual(flags(), set())

    def test_one_module_that_fails_does_not_keep_the_others(self):
        os.symlink("/2ndfile/victim", f"{FLAG}_DM_INFO")
        self.assert_fails("log info on", f"cannot make {FLAG}_DM_INFO: File exists",
                          out=every_row(["info"]).replace(row("DM", 1, ["info"]), ""))
        self.assertEqual(flags(), flags_of(BUILT_IN, ["info"]))

    def test_a_flag_that_cannot_be_removed(self):
        os.mkdir(f"{FLAG}_TIME")
        self.assert_fails("log time off", f"cannot remove {FLAG}_TIME: Is a directory")


if __name__ == "__main__":
    support.main()
