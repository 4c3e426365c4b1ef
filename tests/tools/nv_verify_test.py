"""ltectl nv verify: every kind of damage is found, and none is changed."""

import os
import shutil

import support
from support import BACKUP, CURRENT, DEFAULTS, FAILED, NV, NvTest, ltectl, write_file

LONGEST = b"v" * 4095 + b"\0"
UNSEEN = LONGEST + b"w"  # nobody reads that far

# What is wrong with a file of this content; none at all: no such file.
CONTENTS = [
    (b"v\0", None),
    (b"\0", None),
    (LONGEST, None),
    (None, "missing"),
    (b"", "empty"),
    (b"v", "unterminated"),
    (b"v" * 4096, "unterminated"),
    (b"v" * 4097, "too-long"),
    (b"v" * 5000 + b"\0", "too-long"),
    (b"v\0w", "trailing-bytes"),
    (b"v\0\0", "trailing-bytes"),
    (b"\0\0", "trailing-bytes"),
    (b"v\0" + b"w" * 5000, "trailing-bytes"),
    (UNSEEN, "trailing-bytes"),
]


def as_read(content):
    """The value that readers get; none: they go on to the next source."""
    return content[:4096][:-1].split(b"\0")[0] if content else None


class Verify(NvTest):
    def setUp(self):
        super().setUp()
        self.declare(b"# comment\nsound=1=x\na=1=x\n\n")
        self.put("sound", b"v")

    def put_copies(self, current, backup):
        for directory, content in ((CURRENT, current), (BACKUP, backup)):
            if content is not None:
                write_file(directory + "a", content)
            elif os.path.exists(directory + "a"):
                os.unlink(directory + "a")

    def assert_problems(self, problems):
        before = self.files()
        result = ltectl("nv", "verify", "--json")
        self.assertEqual(self.files(), before)
        problems = [{"event": "problem", **problem} for problem in problems]
        self.assertEqual((self.objects(result.stdout), result.returncode, result.stderr),
                         (problems, FAILED, f"ltectl: problems in the store: {len(problems)}\n"))

    def test_of_a_sound_store(self):
        self.put("a", b"two words")
        before = self.files()
        self.assert_runs("nv verify", "store sound parameters=2\n")
        self.assert_runs("nv verify --json", '{"event":"store","store":"sound","parameters":2}\n')
        self.assertEqual(self.files(), before)

    def test_as_text(self):
        self.put_copies(b"v", b"")
        write_file(CURRENT + "stray", b"v\0")
        self.declare(b"sound=1=x\na=1=x\na=2=y\nno\n")
        result = ltectl("nv", "verify")
        self.assert_result(result, FAILED, f"a current unterminated\na backup empty\n{DEFAULTS} declared-again line=3\n"
                           f"{DEFAULTS} malformed line=4\n", "ltectl: problems in the store: 4\n")
        self.declare(b"sound=1=x\na=1=x\n")
        self.assertIn("\nstray current undeclared\n", ltectl("nv", "verify").stdout)

    def test_what_is_no_file_is_not_waited_for(self):
        self.put_copies(None, b"v\0")
        os.mkfifo(CURRENT + "a")
        result = ltectl("nv", "verify")
        self.assertEqual((result.returncode, result.stdout), (FAILED, "a current unreadable reason=Invalid argument\n"))

    def test_every_pair_of_copies(self):
        for current, current_problem in CONTENTS:
            for backup, backup_problem in CONTENTS:
                problems = [{"name": "a", "copy": copy, "problem": problem}
                            for copy, problem in (("current", current_problem), ("backup", backup_problem))
                            if problem]
                values = as_read(current), as_read(backup)
                if None not in values and values[0] != values[1]:
                    problems.append({"name": "a", "copy": "both", "problem": "differ"})
                with self.subTest(current=current and current[:5], backup=backup and backup[:5]):
                    self.put_copies(current, backup)
                    if problems:
                        self.assert_problems(problems)
                    else:
                        self.assert_runs("nv verify", "store sound parameters=2\n")

    def test_copies_that_are_no_files(self):
        os.mkdir(CURRENT + "a")
        os.symlink("a", BACKUP + "a")
        # A libc's own words for ELOOP.
        self.assertRegex(ltectl("nv", "verify").stdout, r"\Aa current unreadable reason=Is a directory\n"
                         r"a backup unreadable reason=(Too many levels of symbolic links|Symbolic link loop)\n\Z")

    def test_files_that_nobody_declared(self):
        self.put("a", b"v")
        for path in (CURRENT + "b", CURRENT + ".hidden", BACKUP + "with blank", BACKUP + "n" * 128):
            write_file(path, b"v\0")
        self.assert_problems([{"name": name, "copy": copy, "problem": "undeclared"}
                              for name, copy in ((".hidden", "current"), ("b", "current"),
                                                 ("n" * 128, "backup"), ("with blank", "backup"))])

    def test_a_malformed_line_of_the_defaults_file(self):
        """Nobody knows what is declared behind it."""
        self.put("a", b"v")
        long_comment = b"#" + b"c" * 5000 + b"\n"
        for lines, number in ((b"no\n", 1), (b"sound=1=x\n\n# comment\na=1\n", 4), (b"sound=1=x", 1),
                              (b"sound=1=x\n" + long_comment, 2), (b"#\0\n\nsound=1=x\0\n", 3),
                              (b"sound=1=" + b"v" * 4096 + b"\n", 1), (b"sound=1=x\na=100000000=x\n", 2)):
            with self.subTest(lines[:20]):
                self.declare(lines)
                self.assert_problems([{"file": DEFAULTS, "problem": "malformed", "line": number}])

    def test_a_second_declaration(self):
        self.put("a", b"v")
        self.declare(b"sound=1=x\na=1=x\n#\nsound=2=y\n")
        self.assert_problems([{"file": DEFAULTS, "problem": "declared-again", "line": 4}])

    def test_what_is_not_there_at_all(self):
        self.put("a", b"v")
        os.unlink(DEFAULTS)
        self.assert_problems([{"file": DEFAULTS, "problem": "missing"}])
        shutil.rmtree(NV)
        self.assert_problems([{"file": path, "problem": "missing"} for path in (DEFAULTS, CURRENT, BACKUP)])

    def test_what_is_something_else(self):
        shutil.rmtree(NV)
        os.makedirs(DEFAULTS)
        write_file(CURRENT[:-1], b"")
        os.mkdir(BACKUP)
        self.assert_problems([{"file": DEFAULTS, "problem": "unreadable", "reason": "Is a directory"},
                              {"file": CURRENT, "problem": "unreadable", "reason": "Not a directory"}])

    def test_init_repairs_what_is_missing_empty_or_has_bytes_behind_its_terminator(self):
        contents = [content for content, problem in CONTENTS
                    if problem not in ("unterminated", "too-long") and content != UNSEEN]
        for current in contents:
            for backup in contents:
                with self.subTest(current=current and current[:5], backup=backup and backup[:5]):
                    self.put_copies(current, backup)
                    self.assert_runs("nv init", "store ready repair=done\n")
                    self.assert_runs("nv verify", "store sound parameters=2\n")

    def test_what_init_keeps_is_still_told(self):
        """A copy is cut to its text; a terminator that is missing is not put there."""
        self.put_copies(b"abc", b"ab\0")
        self.assert_runs("nv init", "store ready repair=done\n")
        self.assert_problems([{"name": "a", "copy": "current", "problem": "unterminated"}])
        self.put_copies(LONGEST, UNSEEN)
        self.assert_runs("nv init", "store ready repair=done\n")
        self.assert_problems([{"name": "a", "copy": "backup", "problem": "trailing-bytes"}])


if __name__ == "__main__":
    support.main()
