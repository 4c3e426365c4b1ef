"""ltectl nv batch: several parameters, checked before the first is stored."""

import fcntl
import os
import re
import signal
import subprocess

import support
from support import (BACKUP, CURRENT, DEFAULTS, DONE, FAILED, NO_ANSWER, NV, USAGE, NvTest, ltectl, read_file,
                     without_rights, write_file)

FILE = "/2ndfile/commands"


class BatchTest(NvTest):
    def setUp(self):
        super().setUp()
        self.declare(b"a=1=da\nb=1=db\nc=1=dc\nkey=9=\n")

    def batch(self, commands, *options):
        """From a file."""
        write_file(FILE, commands if isinstance(commands, bytes) else commands.encode())
        return ltectl("nv", "batch", FILE, *options)

    def assert_refused(self, commands, code, *sentences):
        before = self.files()
        result = self.batch(commands)
        self.assert_result(result, code, "", "".join(f"ltectl: {sentence}\n" for sentence in
                                                     (*sentences, "nothing has been stored")))
        self.assertEqual(self.files(), {**before, FILE: read_file(FILE)})


class Commands(BatchTest):
    def test_are_done_in_order_and_shown(self):
        self.assert_ran(self.batch("set a 1\n\n# comment\n  set\tb 'two words'  # another\nset a 3"),
                        "line=1 done a=1\nline=4 done b=two words\nline=5 done a=3\nbatch done done=3 commands=3\n")
        self.assert_copies("a", b"3")
        self.assert_copies("b", b"two words")

    def test_words_are_quoted_as_for_a_shell_that_expands_nothing(self):
        for written, value in (("x", "x"), ("''", ""), ('""', ""), ("'a b'", "a b"), ("'it'\\''s'", "it's"),
                               ('"a\\"b\\\\c\\d"', 'a"b\\c\\d'), ("a\\ b", "a b"), ("\\#", "#"), ("a#b", "a#b"),
                               ("'#'", "#"), ("$HOME", "$HOME"), ('"`id`"', "`id`"), ("*;|&", "*;|&"), ("-", "-"),
                               ("--json", "--json"), ("'x'y\"z\"", "xyz"), ("'\\'", "\\"), ("\\\\", "\\"), ("\u00e4", "\u00e4"),
                               ("x\r", "x"), ("'x\r'", "x\r"), ("v" * 4095, "v" * 4095)):
            with self.subTest(written):
                self.assertEqual(self.batch(f"set a {written}\n").returncode, DONE)
                self.assert_copies("a", value.encode())
        for word in ("x", "'a b'", "'it'\\''s'", '"a\\"b\\\\c\\d"', "a\\ b", "'x'y\"z\"", "a#b"):
            shell = subprocess.run(["sh", "-c", f"printf %s {word}"], capture_output=True, check=True).stdout
            self.assertEqual(self.batch(f"set a {word}\n").returncode, DONE)
            self.assert_copies("a", shell)

    def test_from_standard_input(self):
        for words in ([], ["-"]):
            result = support.fed(b"set a 1\n", "nv", "batch", *words)
            self.assert_result(result, DONE, b"line=1 done a=1\nbatch done done=1 commands=1\n", b"")
        self.assert_ran(self.batch(""), "batch done done=0 commands=0\n")
        result = support.fed(b"set b\n", "nv", "batch")
        self.assert_result(result, USAGE, b"", b"ltectl: line 1 of standard input: VALUE is missing\n"
                                               b"ltectl: nothing has been stored\n")

    def test_a_dry_run_stores_nothing(self):
        before = self.files()
        self.assert_ran(self.batch("set a 1\nset b 2\n", "--dry-run"),
                        "line=1 planned a=1\nline=2 planned b=2\nbatch planned done=0 commands=2\n")
        self.assertEqual(self.files(), {**before, FILE: read_file(FILE)})

    def test_as_json(self):
        self.assertEqual(self.objects(self.batch("set a 1\n", "--json").stdout),
                         [{"event": "line", "line": 1, "status": "done", "name": "a", "value": "1"},
                          {"event": "batch", "batch": "done", "done": 1, "commands": 1}])

    def test_secrets_are_hidden_unless_they_are_asked_for(self):
        commands = "set key 1234\n"
        self.assertEqual(self.batch(commands).stdout.split("\n")[0], "line=1 done key=********")
        self.assertEqual(self.batch(commands, "--show-secrets").stdout.split("\n")[0], "line=1 done key=1234")


class Wrong(BatchTest):
    def test_one_wrong_line_refuses_all(self):
        for line, code, why in (
                ("get a", USAGE, "it is no command; there is set NAME VALUE"),
                ("set", USAGE, "NAME is missing"), ("set a", USAGE, "VALUE is missing"),
                ("set a # 1", USAGE, "VALUE is missing"),
                ("set a two words", USAGE, "there is more than NAME and VALUE; a value with blanks takes quotes"),
                *((f"set a {word}", USAGE, "a quote is not closed, or a backslash is the last character")
                  for word in ("'x", '"x', "x\\", '"x\\"', "'")),
                ("set a x\0y", USAGE, "there is a NUL in it"),
                ("set a " + "v" * 4096, FAILED, 'the value of "a" is longer than 4095 bytes'),
                *((f"set '{name}' x", FAILED, f'"{name}" is not declared in {DEFAULTS}')
                  for name in ("d", "a/b", "a b", "n" * 127, "../default.cfg", "#a")),
                *((f"set '{name}' x", FAILED, "the name is that of a directory, which cannot hold a value")
                  for name in ("", ".", ".."))):
            with self.subTest(line):
                self.assert_refused(f"set a 1\n{line}\nset b 2\n", code, f"line 2 of {FILE}: {why}")

    def test_every_wrong_line_is_told(self):
        self.assert_refused("set\nset a 1\nset d 1\nx\n", USAGE, f"line 1 of {FILE}: NAME is missing",
                            f'line 3 of {FILE}: "d" is not declared in {DEFAULTS}',
                            f"line 4 of {FILE}: it is no command; there is set NAME VALUE")
        self.assertEqual(self.batch("set d 1\nx\n").returncode, FAILED)

    def test_as_nv_set_takes_a_name_that_has_only_a_copy(self):
        write_file(CURRENT + "stray", b"")
        self.assert_ran(self.batch("set stray 1\n"), "line=1 done stray=1\nbatch done done=1 commands=1\n")
        self.assert_copies("stray", b"1")

    def test_what_is_secret_is_not_told(self):
        for line in ("4321", "set key 43 21", "set key '4321", "set key " + "4321" * 1024, "set keyy 4321"):
            result = self.batch(f"{line}\n")
            self.assertNotEqual(result.returncode, DONE)
            self.assertNotIn("43", result.stderr.replace(f"longer than 4095", ""))


class Trouble(BatchTest):
    def test_where_nothing_can_be_read(self):
        for path, sentence in (("/2ndfile/none", "cannot read /2ndfile/none: No such file or directory"),
                               ("/2ndfile", "cannot read /2ndfile: Is a directory")):
            self.assert_fails(["nv", "batch", path], sentence)
        result = subprocess.run(["sh", "-c", 'exec "$0" nv batch <&-', support.ltectl_program], capture_output=True,
                                text=True, timeout=support.TIMEOUT)
        self.assert_failed(result, FAILED, "cannot read standard input: Bad file descriptor")
        with open("/dev/zero", "rb") as endless:
            result = subprocess.run([support.ltectl_program, "nv", "batch"], stdin=endless, capture_output=True,
                                    text=True, timeout=support.TIMEOUT)
        self.assert_failed(result, FAILED, "standard input has more than 8388608 bytes, which is no file of parameters")

    def test_of_the_declarations(self):
        os.unlink(DEFAULTS)
        self.assert_refused("set a 1\n", FAILED, f'"a" has no copy: cannot read {DEFAULTS}: No such file or directory')
        self.declare(b"b=1=x\nno\na=1=x\n")
        self.assert_refused("set b 1\nset a 1\n", FAILED, f'"a" has no copy: line 2 of {DEFAULTS} is malformed')
        os.rmdir(BACKUP)
        write_file(FILE, b"")
        self.assert_fails(["nv", "batch", FILE], f"{BACKUP} is not there; ltectl nv init makes it")

    def test_without_rights(self):
        self.put("b", b"old")
        write_file(FILE, b"set a 1\nset b 2\nset c 3\n")
        advice = "Permission denied; it takes root's rights"
        os.chmod(CURRENT, 0o666)
        self.assert_failed(without_rights("nv", "batch", FILE), FAILED, f"cannot look into {CURRENT}: {advice}")
        os.chmod(CURRENT, 0o777)
        os.chmod(BACKUP + "b", 0o444)
        self.assert_failed(without_rights("nv", "batch", FILE), FAILED, f"cannot write {BACKUP}b: {advice}",
                           out="line=1 done a=1\nline=2 failed b=2 stored=2\nline=3 not-done c=3\n"
                               "batch failed done=1 commands=3\n")
        self.assertEqual((read_file(CURRENT + "b"), read_file(BACKUP + "b")), (b"2\0", b"old\0"))
        self.assertFalse(os.path.exists(CURRENT + "c"))

    def test_a_full_partition(self):
        self.mount_small(NV, 24)
        os.makedirs(CURRENT)
        os.makedirs(BACKUP)
        self.declare(b"a=1=da\nb=1=db\nc=1=dc\n")
        result = self.batch("".join(f"set {name} {'v' * 4095}\n" for name in "abc"), "--json")
        self.assertEqual(result.returncode, FAILED)
        self.assertRegex(result.stderr, rf"\Altectl: cannot write {NV}\w+/[abc]: No space left on device; make room: df "
                                        rf"/2ndfile/nv tells how full it is\n\Z")
        *lines, summary = self.objects(result.stdout)
        done = [line["name"] for line in lines if line["status"] == "done"]
        for name in done:
            self.assert_copies(name, b"v" * 4095)
        self.assertEqual([line["status"] for line in lines],
                         (["done"] * len(done) + ["failed", "not-done", "not-done"])[:3])
        self.assertEqual(summary, {"event": "batch", "batch": "failed", "done": len(done), "commands": 3})
        failed, = [line for line in lines if line["status"] == "failed"]
        self.assertEqual(failed["stored"], self.objects(ltectl("nv", "get", failed["name"], "--json").stdout)[0]["value"])

    def start_locked(self, *options):
        """One that has stored a, and waits for the lock of b."""
        for name in "abc":
            self.put(name, b"old")
        file = open(CURRENT + "b", "r+b")
        self.addCleanup(file.close)
        fcntl.lockf(file, fcntl.LOCK_EX)
        write_file(FILE, b"set a 1\nset b 2\nset c 3\n")
        command = self.start_ltectl("nv", "batch", FILE, *options)
        self.assertEqual(command.out.next(), "line=1 done a=1")
        return command

    UNKNOWN = ('; whether "b" has its new value is not known; ltectl nv get shows it; what stands after line 2 is not '
               "stored")

    def test_a_lock_that_is_not_given_back(self):
        status, out, err = self.start_locked("--timeout", "1").finish()
        self.assertEqual((status, out), (NO_ANSWER, ""))
        self.assertRegex(err, rf"\Altectl: process {os.getpid()} .* holds the lock of {CURRENT}b, .*{self.UNKNOWN}\n\Z")
        self.assert_copies("c", b"old")

    def test_a_signal(self):
        command = self.start_locked()
        support.eventually(lambda: re.search(rb"-> POSIX +ADVISORY +WRITE +%d " % command.process.pid,
                                             read_file("/proc/locks")))
        self.assertEqual(command.end(signal.SIGINT), (FAILED, "", f"ltectl: interrupted{self.UNKNOWN}\n"))
        self.assert_copies("c", b"old")

    def test_an_answer_that_cannot_be_written_does_not_stop_it(self):
        write_file(FILE, b"set a 1\nset b 2\n")
        for to, said in (("/dev/full", "No space left on device"), ("&-", "standard output is closed")):
            result = subprocess.run(["sh", "-c", f'exec "$0" nv batch {FILE} >{to}', support.ltectl_program],
                                    capture_output=True, text=True, timeout=support.TIMEOUT)
            self.assert_failed(result, FAILED, f"cannot write the answer: {said}")
            self.assert_copies("b", b"2")
            self.put("b", b"old")


if __name__ == "__main__":
    support.main()
