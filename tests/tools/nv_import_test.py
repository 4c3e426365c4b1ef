"""ltectl nv import: parameters loaded from a file, and the dry run that says beforehand what will happen."""

import os
import random

import support
from support import (BACKUP, CURRENT, DEFAULTS, DONE, FAILED, NV, NvTest, ltectl, with_checksum,
                     write_file)

FILE = "/2ndfile/given.cfg"
NO_CHECKSUM = f"{FILE} does not begin with the checksum of what follows; nothing is applied"
NO_IDENTITY = f"{FILE} does not have the pri_version and up_dev_sku of {DEFAULTS}; nothing is applied"
DECLARED = b"""# comment
pri_version=20=R1
up_dev_sku=20=EU
a=1=da
b=6=db

c=80000000=dc
=1=nameless
..=1=dots
"""


def stopped(line, path=FILE, consequence="what follows is not applied"):
    return f"line {line} of {path} is malformed; {consequence}"


class ImportTest(NvTest):
    def setUp(self):
        super().setUp()
        self.declare(DECLARED)
        self.put("a", b"va")
        self.put("b", b"vb")

    def give(self, content):
        write_file(FILE, content)


class DryRun(ImportTest):
    def assert_planned(self, lines, *options):
        before = self.files()
        self.assert_runs(["nv", "import", FILE, "--dry-run", *options], lines)
        self.assertEqual(self.files(), before)

    def test_tells_what_becomes_of_every_line(self):
        self.give(with_checksum(b"# comment\na=1=new\n\nb=1=vb\nc=1=\nz=1=x=y\na=1=newer\na=1=newer\n=1=x\n"
                                b"..=1=x\n"))
        self.assert_planned("line=3 change source=current a=va -> new\nline=5 masked b=vb\n"
                            "line=6 change source=default c=dc -> \n"
                            "line=7 undeclared z=x=y\nline=8 change source=file a=new -> newer\n"
                            "line=9 same source=file a=newer\n"
                            "line=10 unstorable =x\nline=11 unstorable ..=x\n"
                            "import planned applied=4 undeclared=1 masked=1\n", "--mask", "80000001")

    def test_as_json(self):
        self.give(b"a=1=new\nb=1=vb\nz=1=x\nc=1=x\n")
        result = ltectl("nv", "import", FILE, "--dry-run", "--no-checksum", "--mask", "7", "--json")
        self.assertEqual(self.objects(result.stdout), [
            {"event": "line", "line": 1, "action": "change", "source": "current", "name": "a", "old": "va", "new": "new"},
            {"event": "line", "line": 2, "action": "same", "source": "current", "name": "b", "value": "vb"},
            {"event": "line", "line": 3, "action": "undeclared", "name": "z", "value": "x"},
            {"event": "line", "line": 4, "action": "masked", "name": "c", "value": "x"},
            {"event": "import", "import": "planned", "applied": 2, "undeclared": 1, "masked": 1}])

    def test_without_a_checksum_line_tells_what_the_identity_check_passes_over(self):
        lines = b"b=1=passed\npri_version=1=R1\na=1=passed\nup_dev_sku=1=EU\na=1=new\n"
        self.give(lines)
        self.assert_planned("line=1 skipped b=passed\nline=2 skipped pri_version=R1\nline=3 skipped a=passed\n"
                            "line=4 skipped up_dev_sku=EU\nline=5 change source=current a=va -> new\n"
                            "import planned applied=1 undeclared=0 masked=0\n", "--identity", "--no-checksum")
        self.give(with_checksum(lines))
        self.assert_planned("line=2 change source=current b=vb -> passed\n"
                            "line=3 same source=default pri_version=R1\n"
                            "line=4 change source=current a=va -> passed\n"
                            "line=5 same source=default up_dev_sku=EU\n"
                            "line=6 change source=file a=passed -> new\n"
                            "import planned applied=5 undeclared=0 masked=0\n", "--identity")

    def test_stops_at_the_first_malformed_line(self):
        self.give(b"a=1=new\nno\nb=1=new\n")
        self.assert_fails(f"nv import {FILE} --dry-run --no-checksum", stopped(2),
                          out="line=1 change source=current a=va -> new\n")


class Import(ImportTest):
    def assert_nothing_applied(self, content, sentence, *options):
        self.give(content)
        before = self.files()
        for dry_run in ([], ["--dry-run"]):
            result = ltectl("nv", "import", FILE, *options, *dry_run)
            self.assertEqual((result.returncode, result.stderr), (FAILED, f"ltectl: {sentence}\n"))
            self.assertNotIn("change", result.stdout)
            self.assertEqual(self.files(), before)

    def test_stores_the_values_and_counts_them(self):
        self.give(with_checksum(b"a=1=new\nb=1=new\nz=1=x\nc=1=new\n"))
        self.assert_runs(f"nv import {FILE} --mask 5", "import done applied=2 undeclared=1 masked=1\n")
        self.assert_copies("a", b"new")
        self.assert_copies("b", b"new")
        self.assertFalse(os.path.exists(CURRENT + "c"))
        self.assertEqual(self.objects(ltectl("nv", "import", FILE, "--json").stdout),
                         [{"event": "import", "import": "done", "applied": 3, "undeclared": 1, "masked": 0}])
        self.assert_copies("c", b"new")

    def test_restores_an_export(self):
        self.assertEqual(ltectl("nv", "export", FILE, "--mask", "fffffffe").returncode, DONE)
        self.put("b", b"changed")
        self.assertEqual(ltectl("nv", "import", FILE, "--identity").returncode, DONE)
        self.assert_copies("b", b"vb")

    def test_of_a_file_that_cannot_be_read(self):
        for path in ("/2ndfile/none", ""):
            for dry_run in ([], ["--dry-run"]):
                self.assert_fails(["nv", "import", path, *dry_run], f"cannot read {path}: No such file or directory")
        for option, consequence in (("", "what follows is not applied"), (" --identity", "nothing is applied")):
            self.assert_fails(f"nv import /2ndfile --no-checksum{option}",
                              f"cannot read /2ndfile: Is a directory; {consequence}")

    def test_of_a_wrong_checksum(self):
        good = with_checksum(b"a=1=new\n")
        for content in (b"", b"a=1=new\n", good[:-1], good + b"\n", good[:8] + b" " + good[9:], b"\0" + good[1:],
                        b"x" + good[1:], b"\xff" * 9 + good[9:], good[:8]):
            self.assert_nothing_applied(content, NO_CHECKSUM)

    def test_of_another_router(self):
        for content in (b"a=1=new\n", b"pri_version=1=R1\na=1=new\n", b"pri_version=1=R2\nup_dev_sku=1=EU\n",
                        b"pri_version=1=R1\nup_dev_sku=1=eu\na=1=new\n", b""):
            self.assert_nothing_applied(with_checksum(content), NO_IDENTITY, "--identity")
            self.assert_nothing_applied(content, NO_IDENTITY, "--identity", "--no-checksum")
        malformed = b"pri_version=1=R1\n\na=1=new\nno\nup_dev_sku=1=EU\n"
        for line, content, options in ((4, malformed, ["--no-checksum"]), (5, with_checksum(malformed), [])):
            self.assert_nothing_applied(content, stopped(line, consequence="nothing is applied"), "--identity",
                                        *options)

    def test_of_a_malformed_line_applies_what_stands_before_it(self):
        self.give(b"a=1=new\nno\nb=1=new\n")
        self.assert_fails(f"nv import {FILE} --no-checksum", stopped(2))
        self.assert_copies("a", b"new")
        self.assert_copies("b", b"vb")

    def test_with_a_bad_defaults_file(self):
        self.declare(b"a=1=x\nno\nb=1=x\n")
        self.give(b"a=1=new\nb=1=new\n")
        self.assert_fails(f"nv import {FILE} --no-checksum", stopped(2, DEFAULTS))
        self.assert_copies("a", b"new")
        self.assert_nothing_applied(b"b=1=new\n", stopped(2, DEFAULTS, "nothing is applied"), "--no-checksum",
                                    "--identity")
        os.unlink(DEFAULTS)
        self.assert_nothing_applied(b"a=1=newer\n", f"cannot read {DEFAULTS}: No such file or directory; "
                                    "what follows is not applied", "--no-checksum")

    def test_without_a_store(self):
        for directory in (CURRENT, BACKUP):
            os.rename(directory, "/2ndfile/away")
            self.assert_nothing_applied(b"a=1=new\n", f"{directory} is not there; ltectl nv init makes it",
                                        "--no-checksum")
            os.rename("/2ndfile/away", directory)

    def test_tells_what_could_not_be_stored(self):
        """The library does not."""
        for directory in (CURRENT, BACKUP):
            os.mkdir(directory + "c")
        self.give(b"a=1=new\nc=80000000=x\n")
        self.assert_fails(f"nv import {FILE} --no-checksum", f"cannot write {CURRENT}c: Is a directory")
        self.mount_small(NV, 12)
        os.mkdir(CURRENT)
        os.mkdir(BACKUP)
        self.declare(DECLARED)
        self.give(b"a=1=new\nb=1=new\n")
        self.assert_fails(f"nv import {FILE} --no-checksum", f"cannot write {CURRENT}b: No space left on device; "
                          "make room: df /2ndfile/nv tells how full it is")

# Every kind of line; %d differs from line to line.
LINES = [b"a=1=v%d\n", b"a=ff=va\n", b"a=1=\n", b"b=0=v%d\n", b"b=1=vb\n", b"c=1=v=%d\n", b"c=1=dc\n", b"zz=1=v%d\n",
         b"=1=v%d\n", b"..=1=v%d\n", b"# comment %d\n", b"\n", b"#\0%d\n", b"b=1=" + b"w" * 4094 + b"%d\n",
         b"#" + b"c" * 4254 + b"a=1=behind%d\n", b"pri_version=1=R1\n", b"up_dev_sku=1=EU\n"]
RARE_LINES = [b"pri_version=1=R%d0\n", b"up_dev_sku=1=%d\n", b"no%d\n", b"a=g=v%d\n", b"a= 1=v%d\n", b"a==v%d\n",
              b"a=100000000=v%d\n", b"a b=1=v%d\n", b"a=1=v\0%d\n", b"b=1=" + b"w" * 4095 + b"%d\n",
              b"#" + b"c" * 5000 + b"%d\n", b"n" * 128 + b"=1=v%d\n", b"a=1=cut off%d"]
CASES = 120


class Prediction(ImportTest):
    """Whatever the file: the import does what the dry run said."""

    def setUp(self):
        super().setUp()
        self.random = random.Random(1)
        self.seen = set()

    def lines(self):
        count = self.random.randrange(10)
        kinds = [self.random.choice(RARE_LINES if self.random.random() < 0.04 else LINES) for _ in range(count)]
        if self.random.random() < 0.5:
            kinds[self.random.randrange(count + 1):0] = self.random.sample(LINES[-2:], 2)
        return b"".join(kind.replace(b"%d", b"%d" % i) for i, kind in enumerate(kinds))

    def given(self):
        """A file and the options to import it with."""
        lines = self.lines()
        options = ["--mask", self.random.choice(["ffffffff", "1", "6", "80000021", "27"])]
        options += ["--identity"] * self.random.randrange(2)
        kind = self.random.choice(["right", "right", "lower case", "wrong", "none", "none", "none"])
        if kind == "none":
            return lines, [*options, "--no-checksum"]
        content = with_checksum(lines)
        if kind == "lower case":
            content = content[:9].lower() + lines
        elif kind == "wrong":
            content += b"\n"
        return content, options

    def values(self):
        return {shown["name"]: shown["value"] for shown in self.objects(ltectl("nv", "list", "--json").stdout)}

    def follow(self, values, planned):
        """What the values become by a plan; the values it takes for the old ones must be right."""
        for line in planned:
            self.seen.add(line.get("action"))
            if line.get("action") == "same":
                self.assertEqual(line["value"], values[line["name"]])
            if line.get("action") == "change":
                self.assertEqual(line["old"], values[line["name"]])
                values[line["name"]] = line["new"]
        return values

    def test_comes_true(self):
        values = self.values()
        for case in range(CASES):
            content, options = self.given()
            self.give(content)
            if case == CASES // 2:
                self.declare(DECLARED + b"no\n")
            with self.subTest(case=case, content=content, options=options):
                before = self.files()
                dry = ltectl("nv", "import", FILE, "--dry-run", "--json", "--show-secrets", *options)
                self.assertEqual(self.files(), before)
                planned = self.objects(dry.stdout)
                real = ltectl("nv", "import", FILE, "--json", *options)
                self.assertEqual((real.returncode, real.stderr), (dry.returncode, dry.stderr))
                predicted, values = self.follow(values, planned), self.values()
                self.assertEqual(values, predicted)
                self.seen.add(real.stderr)
                applied = {line["name"] for line in planned if line.get("action") in ("change", "same")}
                self.assert_touched(applied, before)
                if real.returncode == DONE:
                    done, plan = self.objects(real.stdout)[0], planned[-1]
                    self.assertEqual((done.pop("import"), plan.pop("import"), done), ("done", "planned", plan))
        self.assertLessEqual({"change", "same", "undeclared", "masked", "skipped", "unstorable", "",
                              f"ltectl: {NO_CHECKSUM}\n", f"ltectl: {NO_IDENTITY}\n"}, self.seen)
        for consequence in ("nothing is applied", "what follows is not applied"):
            self.assertTrue([seen for seen in self.seen if seen and f"malformed; {consequence}" in seen])

    def assert_touched(self, names, before):
        """Both copies of these hold the value, and no other file has changed."""
        after = self.files()
        paths = {directory + name for name in names for directory in (CURRENT, BACKUP)}
        for name in names:
            self.assertEqual(after[CURRENT + name], after[BACKUP + name])
        self.assertEqual({path: content for path, content in after.items() if path not in paths},
                         {path: content for path, content in before.items() if path not in paths})


if __name__ == "__main__":
    support.main()
