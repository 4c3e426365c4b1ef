"""What the library traces and ltectl says of each fault of a modem, at each place of an upgrade.

usage: upgrade_faults_test.py HURRIED_LTECTL MODEMSIM"""

import re

import frames
import support
import upgrade
from support import DONE, FAILED, ltectl
from upgrade import START, STATUS

# The frames of an image of three pieces: place, index, type.
PLACES = {
    "begin": (frames.BEGIN, frames.COMMAND),
    "0": (0, frames.DATA),
    "1": (1, frames.DATA),
    "2": (2, frames.DATA),
    "end": (frames.END, frames.COMMAND),
}
OPEN = [("lc_open_tty", "enter"), ("lc_open_tty", "end")]
AGAIN = ("lc_data_snd", "transfer this package again")
GARBAGE = -0x5A5A5A5B  # bytes 0xA5
TRIES = 11

# What an upgrade without faults traces, up to each place and behind the last.
STEPS = {
    "start": [("lc_set_img_size", "img file len:5000, split into 3 pic"),
              ("lc_up_start", "modem up start"), ("lc_at_snd_wait", "enter")],
    "begin": [("lc_at_snd_wait", "ok"), ("lc_up_start", "send transfer begin cmd"), *OPEN],
    "0": [],
    "1": [],
    "2": [("lc_up_img", "send last img data")],
    "end": [("lc_up_img", "send transfer end cmd")],
    "status": [("lc_up_status", "modem up get status"), ("lc_at_snd_wait", "enter")],
    "done": [("lc_at_snd_wait", "ok")],
}


def steps_to(place):
    """What is traced before a fault of this place."""
    lines = []
    for name, step in STEPS.items():
        lines += step
        if name == place:
            return lines
    return lines


def steps_from(place):
    """What is traced when it is over."""
    return steps_to("done")[len(steps_to(place)):]


def no_result(command):
    return ("lc_at_snd_wait", f"result length of {command}\r\n error")


def bad_result(command, reply):
    return ("lc_at_snd_wait", f"result of {command}\r\n error:{reply}")


def without_polls(lines):
    """A trace without the questions for the status that found no modem: it was restarting."""
    result = []
    for line in lines:
        result.append(line)
        if line in (("lc_at_snd_wait", f"open {frames.AT_PORT} error"), no_result(STATUS)):
            del result[-3:]
    return result


def mistyped(kind, index, got_kind, got_index):
    return ("lc_data_chk", f"UP Comand error, request type:{kind} index:{index} "
                           f"response type:{got_kind} index:{got_index}")


def refused(index, status, what):
    return ("lc_data_chk", f"Up Response error:{status}, index is {index}, {what}...")


def broken(index):
    return [("lc_data_snd", f"tranlate data from tty dev failure,req index:{index}")]


def gone(index):
    return [("lc_read_tty", "tty dev disappear"), ("lc_data_trans", "read tty dev failed"), *broken(index),
            ("lc_open_tty", "enter"), ("lc_open_tty", f"open {frames.DATA_PORT} error"),
            ("lc_data_snd", "open tty dev failed")]


def given_up(place):
    """What ends a frame that is not accepted."""
    if place == "begin":
        return [("lc_up_start", "send img data failure")]
    return [("lc_up_img", "send img data failure"), ("lc_up_img", "update img failure")]


NAMES = {"0": "piece 1 of 3", "1": "piece 2 of 3", "2": "piece 3 of 3", "end": "the end command"}


def sentence(place, tries):
    """What ltectl says then."""
    times = f"after {tries} {'try' if tries == 1 else 'tries'}"
    if place == "begin":
        return ("ltectl: the modem switched to upgrade mode but did not take the begin command, "
                f"{times}. Nothing is changed; restart it and try again. The trace is in "
                f"{support.TRACE}\n")
    return (f"ltectl: the modem did not take {NAMES[place]}, {times}. It has no complete firmware now: "
            "leave it powered and start the upgrade again; if its ports are gone, restart it first. The "
            f"trace is in {support.TRACE}\n")


def failure(place, tries):
    """The same for a program."""
    if place in ("begin", "end"):
        return {"event": "failed", "frame": place, "tries": tries}
    return {"event": "failed", "frame": "piece", "piece": int(place) + 1, "tries": tries}


class Faults(upgrade.UpgradeTest):
    def upgrade(self, *faults):
        """The result of an upgrade by a modem with these faults."""
        modem = self.start_modem(*(f"--fault={fault}" for fault in faults))
        result = ltectl("upgrade", upgrade.IMAGE, "--json", "--timeout=20")
        self.end_modem(modem)
        return result

    def assert_trace(self, lines):
        self.assertEqual(without_polls(upgrade.trace()), lines)

    def assert_upgraded(self, result):
        self.assertEqual((result.returncode, result.stderr), (DONE, ""), upgrade.trace())
        self.assertEqual(self.objects(result.stdout)[-1], {"event": "upgraded"})
        self.assertEqual(upgrade.received(), self.image)

    def assert_overcome(self, fault, lines):
        """lines: traced where it happens."""
        place = fault.split("=")[0]
        self.assert_upgraded(self.upgrade(fault))
        self.assert_trace([*steps_to(place), *lines, *steps_from(place)])

    def assert_fatal(self, fault, lines, tries):
        place = fault.split("=")[0]
        result = self.upgrade(fault)
        self.assertEqual((result.returncode, result.stderr), (FAILED, sentence(place, tries)))
        self.assertEqual(self.objects(result.stdout)[-1], failure(place, tries))
        self.assert_trace([*steps_to(place), *lines, *given_up(place)])

    def at_each_place(self, check):
        for place, (index, kind) in PLACES.items():
            with self.subTest(place):
                self.setUp()
                check(place, index, kind)


class FramesSentAgain(Faults):
    def each_is_sent_again(self, fault, times, judgement):
        """judgement: how the library judges each answer, made of index and type of the request."""
        self.at_each_place(lambda place, index, kind: self.assert_overcome(
            f"{place}={fault}:{times}", [judgement(index, kind), AGAIN] * times))

    def test_a_frame_that_is_not_accepted_is_sent_again(self):
        self.each_is_sent_again("failed", TRIES - 1,
                                lambda index, kind: refused(index, "RSP_FAILED", "retry it"))

    def test_a_frame_is_sent_eleven_times_at_most(self):
        def check(place, index, kind):
            lines = [refused(index, "RSP_FAILED", "retry it"), AGAIN] * TRIES
            self.assert_fatal(f"{place}=failed:{TRIES}", [
                *lines, ("lc_data_snd", "retry transform time out")], TRIES)
        self.at_each_place(check)

    def test_the_answer_to_another_frame_has_it_sent_again(self):
        self.each_is_sent_again("wrong-index", 2, lambda index, kind: mistyped(
            kind, index, frames.ANSWERS[kind], index + 1))

    def test_a_partial_answer_has_it_sent_again(self):
        self.each_is_sent_again("partial", 2, lambda index, kind: mistyped(kind, index, kind, index))

    def test_garbage_has_it_sent_again(self):
        self.each_is_sent_again("garbage", 2, lambda index, kind: mistyped(kind, index, GARBAGE, GARBAGE))

    def test_after_silence_the_port_is_opened_anew(self):
        def check(place, index, kind):
            silence = ("lc_data_trans", f"read nothing, trans type:{kind} index:{index}")
            self.assert_overcome(f"{place}=silent", [
                *[silence] * 10, ("lc_data_trans", "retry read time out"), *broken(index), *OPEN])
        self.at_each_place(check)


class FramesSentOnce(Faults):
    def test_any_other_status_is_fatal(self):
        self.at_each_place(lambda place, index, kind: self.assert_fatal(f"{place}=fatal", [
            refused(index, "RSP_FLASH_ERROR", "exit"), ("lc_data_snd", "check data failure")], 1))

    def test_the_answer_to_the_frame_before_is_passed_over(self):
        self.at_each_place(lambda place, index, kind: self.assert_overcome(f"{place}=behind", [
            ("lc_data_trans",
             f"misplacement, req index:{index} rsp index:{index - 1},continue read...")]))

    def test_a_late_answer_is_waited_for(self):
        def check(place, index, kind):
            self.assert_upgraded(self.upgrade(f"{place}=late:600"))
            silence = ("lc_data_trans", f"read nothing, trans type:{kind} index:{index}")
            lines = upgrade.trace()
            self.assertIn(lines.count(silence), range(1, 10))
            self.assertEqual([line for line in lines if line != silence], steps_to("done"))
        self.at_each_place(check)

    def test_flow_control_holds_it_up(self):
        for place in ("0", "1", "2", "end"):
            with self.subTest(place):
                self.setUp()
                self.assert_overcome(f"{place}=stall:400", [])


class PortsThatDisappear(Faults):
    def test_a_port_that_is_gone_ends_the_upgrade(self):
        for fault in ("vanish", "reboot"):
            self.at_each_place(lambda place, index, kind: self.assert_fatal(
                f"{place}={fault}:1000", gone(index), 2))

    # How much a full port takes is the system's to decide: on a busy machine it may make room for the whole frame,
    # or be gone before the first byte.
    TRIES = 5

    def cut_short(self, place):
        """An upgrade in which a part of a frame is written: its trace, without the line that tells so, that line, and
        the number of bytes in it."""
        for _ in range(self.TRIES):
            self.setUp()
            result = self.upgrade(f"{place}=short:1000")
            self.assertEqual((result.returncode, result.stderr), (FAILED, sentence(place, 2)))
            self.assertEqual(self.objects(result.stdout)[-1], failure(place, 2))
            lines = upgrade.trace()
            told = lines.pop(len(steps_to(place)))
            index, kind = PLACES[place]
            written = re.fullmatch(
                rf"write tty dev failed, type:{kind} index:{index} need write:2064 "
                r"real write:(\d+), need check callback", told[1])
            if written:
                return lines, told, int(written[1])
        self.fail(f"in {self.TRIES} tries no part of the frame was written; the last one traced: {told}")

    def test_so_it_does_when_only_a_part_of_the_frame_was_written(self):
        for place in ("0", "1", "2", "end"):
            with self.subTest(place):
                lines, (function, _), written = self.cut_short(place)
                self.assertEqual(function, "lc_data_trans")
                self.assertIn(written, range(1, frames.FRAME))
                self.assertEqual(lines, [*steps_to(place), *gone(PLACES[place][0]), *given_up(place)])


class AtCommands(Faults):
    def assert_not_started(self, options, line):
        modem = self.start_modem(*options)
        result = ltectl("upgrade", upgrade.IMAGE, "--json")
        self.end_modem(modem)
        self.assertEqual((result.returncode, result.stderr), (FAILED, (
            f"ltectl: the modem did not accept upgrade mode on {frames.AT_PORT}. Nothing is changed; "
            f"the trace is in {support.TRACE}\n")))
        self.assertEqual(self.objects(result.stdout)[1:],
                         [{"event": "failed", "frame": "start", "tries": 1}])
        self.assertEqual(upgrade.trace(), [
            *steps_to("start"), line,
            ("lc_up_start", "send at cmd of sys_upgrade_start error")])

    def test_a_modem_that_does_not_switch_to_upgrade_mode(self):
        echo = f"{START}\r\n"
        for fault, options, line in (
                ("error", [], bad_result(START, f"{echo}\r\nERROR\r\n")),
                ("error", ["--echo=off"], bad_result(START, "\r\nERROR\r\n")),
                ("silent", [], bad_result(START, echo)),
                ("silent", ["--echo=off"], no_result(START)),
                ("late:400", [], bad_result(START, echo)),
                ("late:400", ["--echo=off"], no_result(START)),
                ("vanish:400", [], no_result(START)),
                ("reboot:400", [], no_result(START))):
            with self.subTest(fault=fault, options=options):
                self.setUp()
                self.assert_not_started([f"--fault=start={fault}", *options], line)

    def test_a_status_that_does_not_come_is_asked_for_again(self):
        echo = f"{STATUS}\r\n"
        for fault, line in (("error", bad_result(STATUS, f"{echo}\r\nERROR\r\n")),
                            ("silent", bad_result(STATUS, echo)),
                            ("late:400", bad_result(STATUS, echo))):
            with self.subTest(fault):
                self.setUp()
                self.assert_overcome(f"status={fault}", [line, *STEPS["status"]])

    def test_a_modem_without_ports_is_asked_again(self):
        self.assert_upgraded(self.upgrade("status=vanish:1"))
        lines = upgrade.trace()
        self.assertIn(no_result(STATUS), lines)
        self.assertEqual(without_polls(lines), steps_to("done"))

    def test_a_modem_that_forgets_the_upgrade_is_not_upgraded(self):
        modem = self.start_modem("--fault=status=reboot:1")
        result = ltectl("upgrade", upgrade.IMAGE, "--json", "--timeout=2")
        self.assertEqual((result.returncode, result.stderr), (FAILED, (
            "ltectl: the image is sent, but the modem does not say within 2 s that it is upgraded; leave "
            "it powered and look again later\n")))
        last = self.objects(result.stdout)[-1]
        self.assertEqual((last["event"], last["frame"]), ("failed", "status"))
        self.assertGreaterEqual(last["tries"], 2)
        self.end_modem(modem)


if __name__ == "__main__":
    upgrade.main()
