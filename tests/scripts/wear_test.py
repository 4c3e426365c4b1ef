"""What scripts/wear counts, concludes and takes. usage: wear_test.py PROJECT"""

import contextlib
import io
import pathlib
import struct
import sys
import unittest
import unittest.mock

import program  # beside this file

PROJECT = pathlib.Path(sys.argv.pop(1))
wear = program.load(PROJECT / "scripts" / "wear")

ERASED = "pflash_write_block_erase chip: block erase offset:0x{:x} bytes:0x10000\n"
PROGRAMMED = "pflash_write_block_start chip: block write start: bytes:0x{:x}\n"


class Chip(unittest.TestCase):
    def test_erasures_are_counted_by_sector_from_the_first_of_the_partition_on(self):
        _, erasures = wear.count_of_chip([ERASED.format(place) for place in (0, 0x10000, 0x3f0000, 0x10000)])
        self.assertEqual((len(erasures), erasures[0], sum(erasures), erasures[62]), (63, 2, 3, 1))

    def test_a_write_tells_of_the_words_beyond_its_first(self):
        programmed, _ = wear.count_of_chip([PROGRAMMED.format(0), PROGRAMMED.format(0x1ff)])
        self.assertEqual(programmed, 4 + 2048)

    def test_other_lines_count_for_nothing(self):
        self.assertEqual(wear.count_of_chip(["pflash_write chip: read status\n"]), (0, [0] * 63))


class Counters(unittest.TestCase):
    @staticmethod
    def block(erasures):
        return b"UBI#\1\0\0\0" + struct.pack(">Q", erasures) + b"\xff" * 48

    def test_are_read_where_there_are_any(self):
        image = self.block(5) + b"\xff" * 64 + self.block(1 << 33)
        self.assertEqual(wear.erase_counters(image, 64), [5, 1 << 33])


class Conclusions(unittest.TestCase):
    def test_are_what_the_life_of_the_part_is_multiplied_by(self):
        self.assertEqual(wear.wear_of(100, [3, 4, 8], 44000),
                         {"writes": 100, "blocks": 3, "erasures": 15, "most": 8, "mean": 5, "programmed": 44000,
                          "per_write": 440, "amplification": 40})

    def test_say_nothing_of_bytes_where_none_were_counted(self):
        self.assertNotIn("amplification", wear.wear_of(100, [3, 4, 8]))

    def test_of_a_command_go_by_the_value_and_its_status(self):
        for after, wanted, status, result in (
                ("a", None, 0, "done"), ("b", "b", 0, "done"), ("a", "b", 1, "refused"),
                ("a", "b", 0, "not stored, although done"), ("c", "b", 0, "not stored, although done"),
                ("b", None, 0, "not stored, although done"), ("b", "b", 1, "changed, although refused")):
            with self.subTest(after=after, wanted=wanted, status=status):
                self.assertEqual(wear.outcome("a", after, wanted, status), result)


class Arguments(unittest.TestCase):
    def test_that_are_wrong_are_told(self):
        for arguments in (("--writes", "0"), ("--writes", "many"), ("--only", "worn-fat"), ("more",)):
            with self.subTest(arguments=arguments), contextlib.redirect_stderr(io.StringIO()) as said, \
                    unittest.mock.patch("sys.argv", ["wear", *arguments]), self.assertRaises(SystemExit) as end:
                wear.parse_arguments()
            self.assertEqual(end.exception.code, 2)
            self.assertIn("usage: wear", said.getvalue())


class Full(unittest.TestCase):
    def test_commands_that_are_refused_and_change_a_value_are_a_loss(self):
        tried = [{"status": 0, "value": "done", "sound": True}]
        for value, sound, kept in (("refused", True, True), ("refused", False, False),
                                   ("not stored, although done", True, False),
                                   ("changed, although refused", True, False)):
            with self.subTest(value=value, sound=sound):
                full = [{"status": 1, "value": value, "sound": sound}]
                self.assertEqual(wear.is_kept(full, tried), kept)

    def test_commands_that_still_fail_when_there_is_room_are_a_loss(self):
        self.assertFalse(wear.is_kept([], [{"status": 1, "value": "refused", "sound": True}]))


class Ends(unittest.TestCase):
    def end(self, *kept):
        """Of experiments that find this, or fail."""
        found = {str(place): (unittest.mock.Mock(side_effect=[one if isinstance(one, Exception) else {"kept": one}]),
                              "jffs2") for place, one in enumerate(kept)}
        with unittest.mock.patch.dict(wear.EXPERIMENTS, found, clear=True), \
                contextlib.redirect_stderr(io.StringIO()), \
                unittest.mock.patch.object(wear, "build"), unittest.mock.patch("sys.argv", ["wear"]), \
                contextlib.redirect_stdout(io.StringIO()):
            return wear.main(), sum(experiment.called for experiment, _ in found.values())

    def test_tell_whether_a_value_was_lost(self):
        self.assertEqual((self.end(True, True), self.end(True, False)), ((0, 2), (wear.LOST, 2)))

    def test_tell_what_failed_behind_the_others(self):
        self.assertEqual(self.end(wear.parts.Failure("refused"), True), (wear.LOST, 2))

    def test_tell_that_there_is_no_machine(self):
        with unittest.mock.patch.object(wear, "build", side_effect=wear.parts.Failure("no compiler")), \
                unittest.mock.patch("sys.argv", ["wear"]), contextlib.redirect_stderr(io.StringIO()):
            self.assertEqual(wear.main(), wear.NO_MACHINE)


if __name__ == "__main__":
    unittest.main()
