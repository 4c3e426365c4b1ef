"""modemsim as its hosts see it, through plain ports. usage: modemsim_test.py HURRIED_LTECTL MODEMSIM"""

import os
import signal
import time

import frames
import support
import upgrade
from frames import AT_PORT, BEGIN, DATA_PORT, END, PIECE
from support import DONE, FAILED, USAGE
from upgrade import START, STATUS, Port, UpgradeTest, modemsim


TAKEN = "is taken, by another modemsim or twice; --data-port and --at-port give a modemsim ports of its own"


class CommandLine(UpgradeTest):
    def assert_refused(self, arguments, sentence, code=USAGE):
        with self.subTest(arguments):
            self.assert_failed(modemsim(*arguments), code, sentence, tool="modemsim")

    def assert_links(self, there, ports=(DATA_PORT, AT_PORT)):
        self.assertEqual([os.path.lexists(port) for port in ports], [there] * len(ports))

    def test_help_shows_every_option(self):
        result = modemsim("--help")
        self.assertEqual((result.returncode, result.stderr), (DONE, ""))
        self.assertTrue(result.stdout.startswith("usage: modemsim [OPTION...]\n"))
        for option in ("data-port PATH", "at-port PATH", "image FILE", "size BYTES", "echo on|off",
                       "restart MS", "busy N", "fault PLACE=FAULT[:N]", "quiet", "json", "help", "version"):
            self.assertIn(f"\n  --{option} ", result.stdout)

    def test_version(self):
        self.assertRegex(modemsim("--version").stdout, r"\Amodemsim: modemsim \d+\.\d+\.\d+\n\Z")

    def test_bad_values(self):
        for option, value, expects in (
                ("--data-port", "", "a path of at most 127 characters"),
                ("--at-port", "/" + "a" * 127, "a path of at most 127 characters"),
                ("--image", "/" + "a" * 255, "a path of at most 255 characters"),
                ("--size", "2048", "a number from 2049 to 2147483647"),
                ("--echo", "1", "on or off"),
                ("--restart", "600001", "a number of milliseconds from 0 to 600000"),
                ("--busy", "1001", "a number from 0 to 1000")):
            self.assert_refused([option, value], f'{option} takes {expects}, not "{value}"')
        self.assert_refused(["now"], '"now" is one argument too many; see modemsim --help')

    def test_faults_that_do_not_suit_their_place(self):
        faults = [f"{place}={fault}" for place in ("start", "status")
                  for fault in ("failed", "fatal", "wrong-index", "behind", "partial", "garbage", "stall",
                                "short")]
        faults += [f"{place}=error" for place in ("begin", "0", "17", "end")]
        faults += ["begin=stall", "begin=short"]
        faults += ["", "end", "=failed", "end=", "middle=failed", "-1=failed", "600001=failed", "1x=failed",
                   "12345678=failed", "end=failure", "end=failed:", "end=failed:x", "end=failed:-1",
                   "end=failed:600001", "end=failed:1:1"]
        for fault in faults:
            self.assert_refused(["--fault", fault], (
                "--fault takes PLACE=FAULT[:N], with a place and a fault that --help lists, which suit each "
                f'other; at most 32 of them, not "{fault}"'))

    def test_one_fault_too_many(self):
        result = modemsim(*33 * ["--fault=1=failed"])
        self.assertEqual(result.returncode, USAGE)
        self.start_modem(*32 * ["--fault=1=failed"])

    def test_ports_that_cannot_be_made(self):
        self.assert_refused(["--data-port=/none/port"], "cannot make the port /none/port: No such file or directory",
                            FAILED)
        self.assert_links(False, [AT_PORT])  # it is taken away again
        for path in ("/tmp/file", "/tmp/folder"):
            os.mkdir(path) if path.endswith("folder") else open(path, "w").close()
            self.assert_refused([f"--at-port={path}"],
                                f"cannot make the port {path}: File exists: a device or file is there already", FAILED)
            self.assertTrue(os.path.exists(path))

    def test_a_second_one_does_not_take_the_ports_of_the_first_and_has_its_own_elsewhere(self):
        self.start_modem("--echo=off")
        links = [os.readlink(port) for port in (DATA_PORT, AT_PORT)]
        self.assert_refused([], f"the port {AT_PORT} {TAKEN}", FAILED)
        self.assert_refused(["--at-port=/tmp/at"], f"the port {DATA_PORT} {TAKEN}", FAILED)
        self.assert_links(False, ["/tmp/at"])
        self.assertEqual([os.readlink(port) for port in (DATA_PORT, AT_PORT)], links)
        self.start_modem("--echo=off", "--data-port=/tmp/data", "--at-port=/tmp/at")
        for port in (AT_PORT, "/tmp/at"):
            self.assertIn("OK", Port(self, port).command("AT"))

    def test_one_path_for_both_ports(self):
        os.symlink("/tmp", "/tmp/same")
        self.addCleanup(os.unlink, "/tmp/same")
        for path in ("/tmp/port", "/tmp/../tmp/port", "/tmp/same/port"):
            self.assert_refused([f"--data-port={path}", "--at-port=/tmp/port"], f"the port {path} {TAKEN}", FAILED)
            self.assert_links(False, ["/tmp/port"])

    def test_an_image_that_cannot_be_written(self):
        for path, reason in (("/none/image", "No such file or directory"), ("/tmp", "Is a directory")):
            self.assert_refused([f"--image={path}"], f"cannot write {path}: {reason}", FAILED)
            self.assert_links(False, [AT_PORT])

    def test_an_image_is_not_touched_before_there_is_another(self):
        self.start_modem()
        self.assertFalse(os.path.lexists(upgrade.RECEIVED))
        support.write_file("/tmp/precious", b"earlier")
        modem = support.Background(self, upgrade.modemsim_program, "--image=/tmp/precious", "--data-port=/tmp/data",
                                   "--at-port=/tmp/at")
        self.assertIn("ready", modem.out.next())
        self.assertEqual(support.read_file("/tmp/precious"), b"earlier")


class Ports(UpgradeTest):
    def test_are_links_that_go_with_it_or_are_replaced_by_the_next(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGKILL):
            modem = self.start_modem("--echo=off")
            for port in (DATA_PORT, AT_PORT):
                self.assertTrue(os.readlink(port).startswith("/dev/pts/"))
            self.assertIn("OK", Port(self, AT_PORT).command("AT"))
            ended = modem.end(number)
            if number != signal.SIGKILL:
                self.assertEqual((ended[0], ended[1].splitlines()[-1], ended[2]), (DONE, "modemsim: ended", ""))
                for port in (DATA_PORT, AT_PORT):
                    self.assertFalse(os.path.lexists(port))
                    os.symlink("/dev/pts/none", port)
        self.start_modem("--echo=off")
        self.assertIn("OK", Port(self, AT_PORT).command("AT"))

    def test_can_be_elsewhere(self):
        self.start_modem("--echo=off", "--data-port=/tmp/data", "--at-port=/tmp/at")
        self.assertIn("OK", Port(self, "/tmp/at").command("AT"))
        self.assertFalse(os.path.lexists(DATA_PORT))

    def test_what_happens_is_told_as_json(self):
        modem = support.Background(self, upgrade.modemsim_program, "--json")
        for told in ({"event": "ready", "data": DATA_PORT, "at": AT_PORT}, {"event": "at", "command": "at"}):
            self.assertEqual(self.objects(modem.out.next()), [told])
            told["event"] == "at" or Port(self, AT_PORT).command("at")

    def test_quiet(self):
        modem = self.start_modem("--quiet")
        Port(self, AT_PORT).command("at")
        self.assertEqual(modem.end(), (DONE, "", ""))


class AtPort(UpgradeTest):
    def setUp(self):
        super().setUp()
        self.modem = self.start_modem("--echo=off")
        self.port = Port(self, AT_PORT)

    def test_answers_what_it_knows(self):
        for command, answer in (("AT", "OK"), ("at", "OK"), ("AT+CSQ", "ERROR"), ("a", "ERROR"),
                                (START, "OK"), (START.upper(), "OK"), (START[:-1], "ERROR"),
                                (START + "x", "ERROR"), ("x" * 500, "ERROR")):
            self.assertEqual(self.port.command(command), f"\r\n{answer}\r\n", command)
        for command, echo in (("ATE1", ""), ("AT", "AT\r\n"), ("ATE0", "ATE0\r\n"), ("AT", "")):
            self.assertEqual(self.port.command(command), echo + "\r\nOK\r\n")

    def test_a_line_may_come_in_parts(self):
        self.port.send(b"a")
        time.sleep(0.1)
        self.assertEqual(self.port.command("t"), "\r\nOK\r\n")

    def test_no_status_before_an_upgrade_counts_as_done(self):
        answer = self.port.command(STATUS)
        self.assertEqual(answer, "\r\n+UPGRADE: LCT_UP_NONE\r\n\r\nERROR\r\n")
        self.assertNotIn("OK", answer)


class DataPort(UpgradeTest):
    def setUp(self):
        super().setUp()
        self.modem = self.start_modem("--echo=off")
        self.at = Port(self, AT_PORT)
        self.port = Port(self)

    def begin(self):
        self.at.command(START)
        self.assert_answer(frames.command(BEGIN), "RSP_OK")

    def assert_answer(self, frame, status):
        index, kind = frames.parse(frame)[:2]
        self.assertEqual(self.port.ask(frame), (index, frames.ANSWERS.get(kind, 2), status))

    def piece(self, index, length=PIECE, **fields):
        return frames.data(index, length, self.image[index * PIECE:][:PIECE], **fields)

    def test_a_response_is_sixteen_bytes_and_the_status(self):
        self.at.command(START)
        self.port.send(frames.command(BEGIN))
        self.assertEqual(self.port.receive(), bytes.fromhex("49474542 02000000 00000000 00000000")
                         + b"RSP_OK")

    def test_nothing_is_taken_before_its_turn(self):
        begin, end, piece = frames.command(BEGIN), frames.command(END), self.piece(0)
        for frame in (begin, piece):
            self.assert_answer(frame, "RSP_NOT_READY")
        self.at.command(START)
        for frame, ready in ((piece, False), (end, False), (begin, True), (begin, True), (end, False), (piece, True),
                             (begin, False)):
            self.assert_answer(frame, "RSP_OK" if ready else "RSP_NOT_READY")

    def test_commands_are_checked(self):
        self.at.command(START)
        begin = frames.command(BEGIN)
        for frame, status in ((frames.command(BEGIN, length=1), "RSP_LENGTH"),
                              (frames.command(BEGIN, check=1), "RSP_LENGTH"), (frames.command(7), "RSP_COMMAND"),
                              (begin[:4] + b"\3" + begin[5:], "RSP_TYPE")):
            self.assert_answer(frame, status)

    def test_pieces_are_checked(self):
        self.begin()
        check = frames.checksum(self.image[:PIECE])
        for wrong in (0, check ^ 1, check ^ 0x80000000, check ^ 0xFFFFFFFF):
            self.assert_answer(self.piece(0, check=wrong), "RSP_FAILED")
        for status, *piece in (("RSP_INDEX", 1), ("RSP_LENGTH", 0, 0), ("RSP_LENGTH", 0, 2 * PIECE + 1),
                               ("RSP_LENGTH", 0, 0xFFFFFFFF), ("RSP_OK", 0), ("RSP_OK", 0),  # it may not have been told
                               ("RSP_INDEX", 2), ("RSP_OK", 1, 100), ("RSP_LENGTH", 2)):  # behind the last
            self.assert_answer(self.piece(*piece), status)

    def test_a_whole_image_is_written_and_the_modem_restarts(self):
        self.begin()
        self.assertEqual(self.at.command(STATUS), "\r\n+UPGRADE: LCT_UP_GO\r\n\r\nERROR\r\n")
        for frame in (self.piece(0), self.piece(1), self.piece(2, 2 * 904), frames.command(END)):
            self.assert_answer(frame, "RSP_OK")
        told = self.modem.lines_to("ports back")
        self.assertEqual(told[-3:], ["modemsim: command name=UPGRADE_TLV_TYPE_CMD_END status=RSP_OK",
                                     "modemsim: ports gone", "modemsim: ports back"])
        self.assertEqual(upgrade.received(), self.image)
        self.assertEqual(Port(self, AT_PORT).command(STATUS), "\r\n+UPGRADE: LCT_UP_OK\r\n\r\nOK\r\n")

    def test_an_image_that_is_shorter_than_announced_is_refused(self):
        self.begin()
        self.assert_answer(self.piece(0), "RSP_OK")
        self.assert_answer(self.piece(1), "RSP_OK")
        self.assert_answer(frames.command(END), "RSP_INCOMPLETE")
        self.assertEqual(self.modem.err.next(), "modemsim: the image is incomplete: 4096 of 5000 bytes")
        self.assert_answer(self.piece(2, 904), "RSP_OK")
        self.assert_answer(frames.command(END), "RSP_OK")

    def test_a_frame_may_come_in_parts_and_what_is_left_of_one_is_dropped(self):
        self.at.command(START)
        frame = frames.command(BEGIN)
        self.port.send(frame[:1000])
        self.assertEqual(self.modem.lines_to("dropped")[-1], "modemsim: dropped bytes=1000")
        self.assert_answer(frame, "RSP_OK")
        self.port.send(frame[:1000])
        time.sleep(0.1)
        self.port.send(frame[1000:])
        self.assertEqual(frames.parse_response(self.port.receive()), (BEGIN, 2, "RSP_OK"))


class Begun(UpgradeTest):
    def begin(self, *options):
        """A modem with these options that is told to begin, and its data port."""
        modem = self.start_modem("--echo=off", *options)
        Port(self, AT_PORT).command(START)
        port = Port(self)
        self.assertEqual(port.ask(frames.command(BEGIN))[2], "RSP_OK")
        return modem, port

    def first_piece(self):
        return frames.data(0, PIECE, self.image[:PIECE])


class Storage(Begun):
    def test_an_image_that_cannot_be_written_is_told(self):
        """Its folder is gone since the start, or the disk is full."""
        os.makedirs("/tmp/images", exist_ok=True)
        modem = self.start_modem("--echo=off", "--image=/tmp/images/image")
        os.rmdir("/tmp/images")
        Port(self, AT_PORT).command(START)
        self.assertEqual(Port(self).ask(frames.command(BEGIN))[2], "RSP_STORE")
        self.assertEqual(modem.err.next(), "modemsim: cannot write /tmp/images/image: No such file or directory")
        self.end_modem(modem)
        modem, port = self.begin("--image=/dev/full")
        self.assertEqual(port.ask(self.first_piece())[2], "RSP_STORE")
        self.assertEqual(modem.err.next(), "modemsim: cannot write /dev/full: No space left on device")


class FaultsUsedUp(Begun):
    def test_a_fault_happens_as_often_as_it_is_told_to(self):
        self.start_modem("--echo=off", "--fault=start=error:2", "--fault=begin=failed", "--fault=begin=fatal")
        at = Port(self, AT_PORT)
        self.assertEqual([at.command(START) for _ in range(3)],
                         ["\r\nERROR\r\n", "\r\nERROR\r\n", "\r\nOK\r\n"])
        port = Port(self)
        self.assertEqual([port.ask(frames.command(BEGIN))[2] for _ in range(3)],
                         ["RSP_FAILED", "RSP_FLASH_ERROR", "RSP_OK"])

    def test_a_fault_is_told(self):
        modem = self.start_modem("--echo=off", "--fault=start=error", "--fault=begin=failed")
        at = Port(self, AT_PORT)
        for suffix in (" fault=error", ""):
            at.command(START)
            self.assertEqual(modem.out.next(), f"modemsim: at command={START}{suffix}")
        port = Port(self)
        for suffix in (" fault=failed", ""):
            port.ask(frames.command(BEGIN))
            self.assertEqual(modem.out.next(), "modemsim: command name=UPGRADE_TLV_TYPE_CMD_BEGIN "
                                               f"status=RSP_OK{suffix}")

    def test_a_reboot_forgets_the_upgrade_and_a_port_that_vanishes_comes_back_with_it(self):
        for fault, frame, status in (("reboot", frames.command(BEGIN), "RSP_NOT_READY"),
                                     ("vanish", self.first_piece(), "RSP_OK")):
            with self.case(fault):
                modem, port = self.begin(f"--fault=0={fault}:1")
                port.send(self.first_piece())
                modem.lines_to("ports back")
                self.assertEqual(Port(self).ask(frame)[2], status)

if __name__ == "__main__":
    upgrade.main()
