"""What scripts/powercut makes of the values that it finds behind a cut, and of its arguments. usage: powercut_test.py
PROJECT"""

import contextlib
import io
import json
import pathlib
import sys
import tempfile
import unittest
import unittest.mock

import program  # beside this file

PROJECT = pathlib.Path(sys.argv.pop(1))
powercut = program.load(PROJECT / "scripts" / "powercut")

SECOND = 10 ** 9
CUT = 100 * SECOND


def judge(checked, **acknowledged):
    """acknowledged: p3=[90, 95], at which second numbers 2, 3... of parameter 3 were"""
    times = {name[1:]: [moment * SECOND for moment in moments] for name, moments in acknowledged.items()}
    return powercut.judge(checked, times, CUT)


class Findings(unittest.TestCase):
    def test_each_kind_of_value_has_its_own(self):
        acknowledged = [90, 95]  # numbers 2 and 3
        for found, finding in (("4", "new"), ("3", "old"), ("2", "older"), ("1", "older"), ("0", "lost"),
                               ("empty", "empty"), ("torn", "torn")):
            with self.subTest(found=found):
                self.assertEqual(powercut.finding_of(found, acknowledged), finding)

    def test_are_counted_once_for_each_updated_parameter(self):
        result = judge("0 3\n1 2\n2 1\n3 0\n4 torn, 2 of 9 bytes right: 1:xx\n5 empty\n6 3\n",
                       p0=[90], p1=[90], p2=[90], p3=[90], p4=[90], p5=[90], p6=[90, 91])
        self.assertEqual({finding: result[finding] for finding in powercut.FINDINGS},
                         {"new": 1, "old": 2, "older": 1, "lost": 1, "torn": 1, "empty": 1})
        self.assertEqual(result["updates"], 8)

    def test_of_a_parameter_that_was_not_written_count_when_it_has_changed(self):
        result = judge("0 1\n1 torn, 0 of 5 bytes right: x\n2 0\n")
        self.assertEqual([result[finding] for finding in ("old", "torn", "lost")], [0, 1, 1])

    def test_tell_how_long_ago_the_oldest_lost_value_was_acknowledged(self):
        self.assertEqual(judge("0 1\n1 2\n", p0=[97, 99], p1=[80, 95])["lost_seconds"], 5)

    def test_tell_how_old_the_newest_value_of_a_torn_parameter_is(self):
        result = judge("0 torn, 0 of 5 bytes right: x\n1 empty\n", p0=[60, 99], p1=[90])
        self.assertEqual((result["torn_seconds"], result["seen"]),
                         (10, ["0 torn, 0 of 5 bytes right: x", "1 empty"]))

    def test_of_an_updated_parameter_that_nothing_is_told_of_are_lost(self):
        result = judge("1 2\n", p0=[90], p1=[90])
        self.assertEqual((result["lost"], result["old"], result["torn_seconds"]), (1, 1, 10))

    def test_leave_out_what_was_acknowledged_behind_the_cut(self):
        lines = [f"{CUT - 1} 3 2\n", f"{CUT} 3 3\n", f"{CUT + 1} 4 2\n"]
        self.assertEqual(powercut.acknowledged_before(CUT, lines), {"3": [CUT - 1]})


class Cycles(unittest.TestCase):
    def result(self, **findings):
        return {"repaired": 0, "updates": 5, "lost_seconds": 0, "torn_seconds": 0, "seen": [],
                **dict.fromkeys(powercut.FINDINGS, 0), **findings}

    def test_with_a_new_or_the_last_value_have_no_loss(self):
        self.assertEqual(powercut.summary([self.result(new=1, old=2)])["cycles_with_loss"], 0)

    def test_with_any_other_value_have_one(self):
        for finding in ("older", "empty", "torn", "lost"):
            with self.subTest(finding=finding):
                found = powercut.summary([self.result(old=2), self.result(old=2, **{finding: 1})])
                self.assertEqual((found["cycles_with_loss"], found["parameters"]), (1, 5))

    def test_add_up_what_nv_verify_said(self):
        found = powercut.summary([{**self.result(), "problems": {"differ": 2}}, self.result(),
                                  {**self.result(), "problems": {"differ": 1, "unterminated": 1}}])
        self.assertEqual(found["problems"], {"differ": 3, "unterminated": 1})

    def test_know_problems_from_what_sums_them_up(self):
        said = ['{"event":"problem","name":"p0","copy":"both","problem":"differ"}',
                '{"event":"store","store":"sound","parameters":8}']
        self.assertEqual(powercut.problems_of(said), {"differ": 1})


class Cuts(unittest.TestCase):
    def setUp(self):
        self.process = unittest.mock.Mock()
        self.cut = powercut.Cut(self.process, 0)

    def test_come_behind_the_first_acknowledgement(self):
        self.assertFalse(self.cut.timer.is_alive())
        self.process.kill.assert_not_called()
        self.cut.take(b"1 0 2\n")
        self.cut.timer.join()
        self.process.kill.assert_called_once_with()
        self.assertGreater(self.cut.moment, 0)

    def test_take_whole_lines_out_of_pieces(self):
        for piece in b"7 0", b" 2\n8 1 2", b"\n9 1":
            self.cut.take(piece)
        self.cut.timer.join()
        self.assertEqual([line.split()[1:] for line in self.cut.lines], [["0", "2"], ["1", "2"]])


class Boards(unittest.TestCase):
    """What runs machines, without one."""

    def arguments(self, *more):
        with unittest.mock.patch("sys.argv", ["powercut", "--router", "jffs2", "--store", "nvm", "--cycles", "4",
                                              "--jobs", "2", *more]):
            return powercut.parse_arguments()

    def failures_of(self, board):
        results = powercut.Results(self.arguments())
        with unittest.mock.patch.object(powercut, "Board", board):
            return powercut.run_boards(self.arguments(), results, "programs", "folder")

    def test_that_end_early_for_whatever_reason_are_failures(self):
        class Ends:
            def __init__(self, *_):
                pass

            def cycles(self, _):
                yield dict.fromkeys(powercut.FINDINGS, 0)
                raise ValueError("no number")

        self.assertEqual(self.failures_of(Ends), ["ValueError: no number"] * 2)
        self.assertEqual(self.failures_of(unittest.mock.Mock(side_effect=OSError("full"))), ["OSError: full"] * 2)

    def board(self, **statuses):
        """One whose commands end so: a word of each, and its status."""
        board = powercut.Board.__new__(powercut.Board)
        board.arguments, board.store, board.medium = self.arguments(), "nvm", "medium"
        board.machine = powercut.machine.Machine.__new__(powercut.machine.Machine)

        def run(command, **_):
            status = next((status for word, status in statuses.items() if word in command), 0)
            return powercut.machine.Result(status, b"", b"")

        board.machine.run = run
        board.machine.start = board.machine.kill = lambda: None
        return board

    def test_do_not_take_a_store_that_does_not_start_for_one_without_loss(self):
        self.assertEqual(self.board(verify=1).check(), ({}, ""))
        for statuses in ({"check": 1}, {"verify": 2}):
            with self.subTest(statuses), self.assertRaises(powercut.parts.Failure):
                self.board(**statuses).check()

    def test_have_lost_everything_that_was_on_a_chip_made_anew(self):
        board = self.board(check=1)
        board.mount = unittest.mock.Mock(side_effect=[unittest.mock.Mock(status=32), unittest.mock.Mock(status=0)])
        with unittest.mock.patch.object(powercut.flash, "make_medium"):
            self.assertEqual(board.start_again(), (1, {}, ""))


class Kept(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name) / "results"

    def results(self, *more):
        words = ["powercut", "--router", "jffs2", "--store", "nvm", "--results", str(self.path), *more]
        with unittest.mock.patch("sys.argv", words):
            return powercut.Results(powercut.parse_arguments())

    def add(self, old, store="nvm"):
        result = {**dict.fromkeys(powercut.FINDINGS, 0), "old": old}
        results = self.results("--store", "nvm", "rename")
        results.add(store, result)
        results.file.close()

    def found(self, *more):
        results = self.results(*more)
        results.file.close()
        return [result["old"] for result in results.found["nvm"]]

    def test_results_are_there_for_a_later_run(self):
        self.add(3)
        self.add(4)
        self.assertEqual(self.found(), [3, 4])

    def test_results_of_other_settings_are_refused(self):
        self.add(3)
        with self.assertRaisesRegex(ValueError, "other settings"):
            self.results("--mount-options", "sync")

    def test_results_of_more_or_fewer_cycles_are_not_of_other_settings(self):
        self.add(3)
        self.assertEqual(self.found("--cycles", "7"), [3])

    def test_results_of_another_store_are_left_alone(self):
        self.add(3, "rename")
        self.add(4)
        self.assertEqual(self.found(), [4])

    def test_a_run_that_was_killed_is_gone_on_with(self):
        for begun in "", '{"store": "nvm", "old', '{"mount_op':
            with self.subTest(begun):
                self.path.unlink(missing_ok=True)
                if begun != '{"mount_op':
                    self.add(3)
                with open(self.path, "a") as file:
                    file.write(begun)
                self.add(4)
                self.assertEqual(self.found()[-1], 4)

    def test_what_is_no_result_is_told_with_its_line(self):
        self.add(3)
        for line in ("{}", "word", '["store"]'):
            with self.subTest(line):
                self.path.write_text(self.path.read_text().splitlines()[0] + f"\n{line}\n")
                with self.assertRaisesRegex(ValueError, "results, line 2: no result of this script"):
                    self.results()

    def test_two_runs_do_not_share_a_file(self):
        with contextlib.closing(self.results().file), self.assertRaisesRegex(ValueError, "another run"):
            self.results()


class Arguments(unittest.TestCase):
    def parse(self, *arguments):
        said = io.StringIO()
        with unittest.mock.patch("sys.argv", ["powercut", *arguments]), contextlib.redirect_stderr(said):
            try:
                return powercut.parse_arguments(), said.getvalue()
            except SystemExit as end:
                return end.code, said.getvalue()

    def test_that_are_wrong_are_told(self):
        for arguments, told in ((("--router", "fat"), "invalid choice: 'fat'"), (("--cycles", "0"), "too small"),
                                (("--span", "-1"), "too small"), (("--results", "x"), "--results wants --router"),
                                (("--router", "jffs2", "--build", "x"), "--router takes no --build")):
            with self.subTest(arguments=arguments):
                status, said = self.parse(*arguments)
                self.assertEqual(status, 2)
                self.assertIn(told, said)

    def test_of_mounting_are_a_list(self):
        self.assertEqual(self.parse("--mount-options", "data=journal,sync")[0].mount_options, ["data=journal", "sync"])
        self.assertEqual(self.parse()[0].mount_options, [])


if __name__ == "__main__":
    unittest.main()
