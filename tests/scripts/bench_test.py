"""The evaluation of figures and counts by scripts/bench. usage: bench_test.py PROJECT"""

import contextlib
import io
import json
import pathlib
import sys
import tempfile
import unittest

import program  # beside this file

PROJECT = pathlib.Path(sys.argv.pop(1))
bench = program.load(PROJECT / "scripts" / "bench")


def line(by, median, size=1, goal=0.0, work="work"):
    return json.dumps({"work": work, "size": size, "by": by, "unit": "us", "median": median, "p99": 2 * median,
                       "goal": goal})


class Figures(unittest.TestCase):
    def setUp(self):
        self.figures = bench.Figures()

    def add(self, *arguments, **options):
        return self.figures.add("benchmark", line(*arguments, **options))

    def test_of_the_library_come_first_and_have_no_ratio(self):
        figure = self.add("lterouter", 3.0)
        self.assertEqual((figure["ratio"], figure["growth"], figure["missed"]), (None, None, False))

    def test_of_others_have_the_ratio_of_the_librarys_to_theirs(self):
        self.add("lterouter", 3.0)
        self.assertEqual(self.add("other", 4.0)["ratio"], 0.75)
        self.add("lterouter", 30.0, size=2)
        self.assertEqual(self.add("other", 4.0, size=2)["ratio"], 7.5)

    def test_miss_a_goal_that_the_ratio_is_above(self):
        self.add("lterouter", 3.0)
        self.assertFalse(self.add("other", 2.0, goal=1.5)["missed"])
        self.assertTrue(self.add("another", 1.999, goal=1.5)["missed"])
        self.assertFalse(self.add("without a goal", 0.1)["missed"])

    def test_grow_from_the_size_before(self):
        self.add("lterouter", 3.0)
        self.add("lterouter", 5.0, work="something else")
        self.assertEqual(self.add("lterouter", 6.0, size=10)["growth"], 2)
        self.assertEqual(self.add("lterouter", 9.0, size=100)["growth"], 1.5)

    def test_become_a_row(self):
        self.add("lterouter", 3.0)
        figure = self.add("other", 2.0, goal=1.0)
        self.assertEqual(bench.markdown([figure]).splitlines()[-1],
                         "| work, us | 1 | other | 2.000 | 4.000 |  | 1.50 | 1.00 | missed |")


class Counts(unittest.TestCase):
    def test_that_differ_by_more_than_a_twentieth_are_notable(self):
        for now, is_notable in ((104, False), (106, True), (96, False), (94, True)):
            with self.subTest(now):
                found = list(bench.differences({"work": now}, {"work": 100}))
                self.assertEqual(found, [("work", now, 100)] if is_notable else [])

    def test_that_are_new_or_gone_are_too(self):
        self.assertEqual(list(bench.differences({"new": 1}, {"old": 2})), [("new", 1, None), ("old", None, 2)])

    def test_are_printed_when_they_are_notable(self):
        with contextlib.redirect_stdout(io.StringIO()) as printed:
            bench.compare_counts({"same": 1, "more": 3, "new": 4}, {"same": 1, "more": 2, "old": 5})
        first, *others = printed.getvalue().splitlines()
        self.assertIn("3 works counted; 3 differ", first)
        self.assertEqual([line.split() for line in others],
                         [["more", "2", "->", "3", "+50.0%"], ["new", "->", "4", "new"], ["old", "5", "->", "gone"]])

    def test_are_committed_for_each_benchmark(self):
        self.assertEqual({work.split(":")[0] for work in bench.committed_counts(bench.NAMES)},
                         set(bench.NAMES) - {"footprint"})


class Document(unittest.TestCase):
    def test_gets_what_stands_between_its_marks(self):
        with tempfile.NamedTemporaryFile("w+", encoding="utf-8") as file:
            file.write("before\n<!-- figures -->\nold\n<!-- end -->\nafter\n")
            file.flush()
            bench.DOCUMENT = file.name
            bench.put_into_document("figures", "new")
            self.assertEqual(pathlib.Path(file.name).read_text(encoding="utf-8"),
                             "before\n<!-- figures -->\nnew\n<!-- end -->\nafter\n")


if __name__ == "__main__":
    unittest.main(verbosity=2)
