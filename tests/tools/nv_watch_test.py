"""ltectl nv watch: the persistent parameters as they change."""

import fcntl
import os
import re
import shutil
import signal
import subprocess
import time

import support
from support import BACKUP, CURRENT, DEFAULTS, DONE, FAILED, NO_ANSWER, NV, NvTest, ltectl, read_file, write_file

QUEUE = 16384  # events that the kernel keeps for a watcher, as it is set by default


class WatchTest(NvTest):
    def setUp(self):
        super().setUp()
        self.declare(b"a=1=da\nb=1=db\nkey=9=\n")

    def watch(self, *words):
        """One that has begun."""
        watching = self.start_ltectl("nv", "watch", *words)
        self.assertEqual(watching.err.next(), "ltectl: waiting for changes; end with Ctrl-C")
        return watching

    def set(self, name, value):
        self.assertEqual(ltectl("nv", "set", name, value).returncode, DONE)

    def assert_seen(self, watching, *lines):
        self.assertEqual([watching.out.next() for _ in lines], list(lines))

    def assert_nothing_more(self, watching, number=signal.SIGINT):
        """Up to a change that comes last."""
        before = read_file(CURRENT + "b")[:-1].decode() if os.path.exists(CURRENT + "b") else "db"
        self.set("b", "the last")
        self.assert_seen(watching, f"current b={before} -> the last")
        self.assertEqual(watching.end(number), (DONE, "", ""))


class Changes(WatchTest):
    def test_a_value_that_is_set_and_one_that_stays_the_same(self):
        watching = self.watch()
        self.set("a", "1")
        self.assert_seen(watching, "current a=da -> 1")
        self.set("a", "1")
        self.set("a", "2")
        self.assert_seen(watching, "current a=1 -> 2")
        self.assert_nothing_more(watching)

    def test_as_json_with_the_time(self):
        watching = self.watch("--json", "--timestamps", "--count", "1")
        self.set("a", 'two "words"')
        status, out, err = watching.finish()
        [change] = self.objects(out)
        self.assertRegex(change.pop("time"), r"\A\d{4}-\d\d-\d\dT.*Z\Z")
        self.assertEqual((status, err, change), (DONE, "", {"event": "change", "source": "current", "name": "a",
                                                            "old": "da", "new": 'two "words"'}))

    def test_only_those_that_are_named_and_each_once(self):
        write_file(CURRENT + "stray", b"v\0")
        watching = self.watch("b", "b", "stray")
        self.set("a", "1")
        self.set("stray", "w")
        self.assert_seen(watching, "current stray=v -> w")
        self.assert_nothing_more(watching)

    def test_what_a_reader_gets_counts(self):
        """Not the copy behind: without the current one it is the backup's value, without both the default."""
        watching = self.watch()
        self.put("a", b"1")
        self.assert_seen(watching, "current a=da -> 1")
        write_file(BACKUP + "a", b"2\0")
        os.unlink(CURRENT + "a")
        self.assert_seen(watching, "backup a=1 -> 2")
        self.assertEqual(ltectl("nv", "clear", "--yes").returncode, DONE)
        self.assert_seen(watching, "default a=2 -> da")
        os.rename(DEFAULTS, DEFAULTS + ".old")
        write_file(DEFAULTS + ".new", b"a=1=other\nb=1=db\na=1=second\nc=1=dc\n")
        os.rename(DEFAULTS + ".new", DEFAULTS)
        self.assert_seen(watching, "default a=da -> other")
        self.set("c", "1")
        self.assert_seen(watching, "current c=dc -> 1")
        self.assert_nothing_more(watching)

    def test_a_file_that_takes_anothers_place(self):
        self.put("a", b"1")
        watching = self.watch()
        write_file("/2ndfile/new", b"2\0")
        os.rename("/2ndfile/new", CURRENT + "a")
        self.assert_seen(watching, "current a=1 -> 2")
        self.assert_nothing_more(watching)

    def test_what_is_emptied_before_it_is_written(self):
        self.put("a", b"1")
        write_file(BACKUP + "a", b"old\0")
        watching = self.watch()
        with open(CURRENT + "a", "wb") as file:
            time.sleep(0.2)
            file.write(b"2\0")
        self.assert_seen(watching, "current a=1 -> 2")
        self.assert_nothing_more(watching)

    def test_secrets_are_hidden_unless_they_are_asked_for(self):
        hiding, showing = self.watch(), self.watch("--show-secrets")
        for value, hidden, shown in (("1234", " -> ********", " -> 1234"), ("4321", "******** -> ********", "1234 -> 4321"),
                                     ("", "******** -> ", "4321 -> ")):
            self.set("key", value)
            self.assert_seen(hiding, f"current key={hidden}")
            self.assert_seen(showing, f"current key={shown}")

    def test_a_reset_and_an_import(self):
        self.set("a", "1")
        watching = self.watch()
        ltectl("nv", "reset")
        self.assert_seen(watching, "current a=1 -> da")
        write_file("/2ndfile/given", b"a=1=2\nb=1=3\n")
        ltectl("nv", "import", "/2ndfile/given", "--no-checksum")
        self.assert_seen(watching, "current a=da -> 2", "current b=db -> 3")

    def test_so_many_that_the_kernel_forgets_some(self):
        watching = self.watch()
        watching.stop()
        for _ in range(QUEUE // 2 + 1):
            for name in ("x", "y"):  # the same twice would be told once
                os.close(os.open(CURRENT + name, os.O_WRONLY | os.O_CREAT))
        self.put("a", b"1")
        watching.process.send_signal(signal.SIGCONT)
        self.assert_seen(watching, "current a=da -> 1")
        self.assert_nothing_more(watching)


class Places(WatchTest):
    def test_folders_that_are_not_there_yet_and_those_made_again(self):
        shutil.rmtree(CURRENT)
        shutil.rmtree(BACKUP)
        watching = self.watch()
        for value, before in (("1", "default a=da"), ("2", "")):
            self.assertEqual(ltectl("nv", "init").returncode, DONE)
            self.set("a", value)
            self.assert_seen(watching, f"current a=da -> {value}")
            shutil.rmtree(CURRENT)
            shutil.rmtree(BACKUP)
            self.assert_seen(watching, f"default a={value} -> da")
        self.assertEqual(watching.end(signal.SIGTERM), (DONE, "", ""))

    def test_a_store_that_is_taken_away_and_brought_back(self):
        self.put("a", b"1")
        watching = self.watch()
        os.rename(NV[:-1], "/2ndfile/away")
        write_file("/2ndfile/away/currentnv/a", b"2\0")
        os.rename("/2ndfile/away", NV[:-1])
        self.assert_seen(watching, "current a=1 -> 2")
        self.assert_nothing_more(watching)

    def test_a_file_system_that_is_mounted_over_it(self):
        self.put("a", b"1")
        watching = self.watch()
        os.makedirs("/2ndfile/other/currentnv")
        os.makedirs("/2ndfile/other/backupnv")
        shutil.copy(DEFAULTS, "/2ndfile/other/default.cfg")
        write_file("/2ndfile/other/currentnv/a", b"2\0")
        unmount = ["umount", "--lazy", NV]  # it may have a file open
        self.addCleanup(subprocess.run, unmount, stderr=subprocess.DEVNULL)
        subprocess.run(["mount", "--bind", "/2ndfile/other", NV], check=True)
        self.assert_seen(watching, "current a=1 -> 2")
        self.set("a", "3")
        self.assert_seen(watching, "current a=2 -> 3")
        subprocess.run(unmount, check=True)
        self.assert_seen(watching, "current a=3 -> 1")


class Trouble(WatchTest):
    def test_names_are_checked_as_nv_get_checks_them(self):
        for name in ("c", "", "a/b", "n" * 128):
            self.assert_fails(["nv", "watch", "a", name], f'no parameter "{name}"; ltectl nv list shows what there is')

    def test_without_declarations(self):
        os.unlink(DEFAULTS)
        self.assert_fails("nv watch", f"cannot read {DEFAULTS}: No such file or directory")
        self.put("a", b"1")
        watching = self.watch("a")
        self.set("a", "2")
        self.assert_seen(watching, "current a=1 -> 2")
        self.declare(b"a=1=x\nno\n")
        self.assert_fails("nv watch", f"line 2 of {DEFAULTS} is malformed")

    def test_without_rights(self):
        advice = "Permission denied; it takes root's rights"
        for mode, sentence in ((0o666, f"cannot look into {CURRENT}"), (0o333, f"cannot watch {CURRENT}")):
            os.chmod(CURRENT, mode)
            self.assert_failed(support.without_rights("nv", "watch"), FAILED, f"{sentence}: {advice}")
        os.chmod(CURRENT, 0o777)

    def test_where_the_kernel_watches_no_more(self):
        for call, error, limit in (("inotify_add_watch", "ENOSPC", "max_user_watches is the limit"),
                                   ("inotify_init1", "EMFILE", "max_user_instances may be the limit")):
            result = support.run("strace", "-f", "-o", "/dev/null", "-e", f"inject={call}:error={error}",
                                 support.ltectl_program, "nv", "watch",
                                 env={**os.environ, "ASAN_OPTIONS": "detect_leaks=0"})  # not while traced
            self.assertEqual((result.returncode, result.stdout), (FAILED, ""))
            self.assertRegex(result.stderr, rf"\Altectl: cannot watch /\S*: .*; fs\.inotify\.{limit}\n\Z")

    def test_what_becomes_unreadable_is_told_and_the_rest_goes_on(self):
        self.put("a", b"1")
        watching = self.watch()
        os.unlink(CURRENT + "a")
        os.mkdir(CURRENT + "a")
        self.assertEqual(watching.err.next(), f"ltectl: cannot read {CURRENT}a: Is a directory")
        self.set("b", "2")
        self.assert_seen(watching, "current b=db -> 2")
        status, out, err = watching.end()
        self.assertEqual((status, out), (FAILED, ""))
        self.assertRegex(err, rf"\A(ltectl: cannot read {CURRENT}a: Is a directory\n)?\Z")  # twice, if it looked so late

    def lock(self, name):
        file = open(CURRENT + name, "r+b")
        self.addCleanup(file.close)
        fcntl.lockf(file, fcntl.LOCK_EX)
        return file

    def assert_locked(self, result):
        status, out, err = result
        self.assertEqual((status, out), (NO_ANSWER, ""))
        self.assertRegex(err, rf"\Altectl: process {os.getpid()} \(.*\) holds the lock of {CURRENT}a, and has not given it "
                              r"back within 2 s; if it hangs, end it: kill \d+\n\Z")

    def touch(self, name):
        """Another process has it open for writing: a file that is closed here would lose our lock."""
        subprocess.run(["sh", "-c", ': >>"$0"', CURRENT + name], check=True)

    def test_a_lock_that_is_not_given_back_ends_it(self):
        """Its deadline begins with each wait."""
        self.put("a", b"1")
        watching = self.watch("--timeout", "2")
        before = "db"
        for value in ("x", "y"):
            with self.lock("a"):
                self.touch("a")
                time.sleep(1.1)
            self.set("b", value)
            self.assert_seen(watching, f"current b={before} -> {value}")
            before = value
        self.lock("a")
        self.touch("a")
        beginning = self.start_ltectl("nv", "watch", "--timeout", "2")
        self.assert_locked(watching.finish())
        self.assert_locked(beginning.finish())

    def test_a_signal_while_it_waits_for_a_lock(self):
        self.put("a", b"1")
        watching = self.watch()
        self.lock("a")
        self.touch("a")
        support.eventually(lambda: re.search(rb"-> POSIX +ADVISORY +READ +%d " % watching.process.pid,
                                             read_file("/proc/locks")))
        started = time.monotonic()
        self.assertEqual(watching.end(), (DONE, "", ""))
        self.assertLess(time.monotonic() - started, 5)

    def test_a_signal_or_a_reader_that_goes_away_ends_it_in_order(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            self.assertEqual(self.watch().end(number), (DONE, "", ""))
        watching = self.watch()
        watching.out.close()
        self.assertEqual(watching.finish(), (DONE, "", ""))
        watching = self.watch()
        watching.fill()
        self.set("a", "1")
        self.assertEqual(watching.end_unread(), DONE)

    def test_a_closed_output_is_told_at_the_first_change(self):
        watching = support.Background(self, "sh", "-c", 'exec "$@" >&-', "sh", support.ltectl_program, "nv", "watch")
        watching.err.next()
        self.set("a", "1")
        self.assertEqual(watching.finish(), (FAILED, "", "ltectl: cannot write the answer: standard output is closed\n"))

    def test_nothing_runs_while_nothing_changes(self):
        """But what a sanitizer or an emulator has running, which is one thread."""
        watching = self.watch()
        folder = f"/proc/{watching.process.pid}/task"

        def switches():
            return {thread: sum(map(int, re.findall(rb"ctxt_switches:\s(\d+)", read_file(f"{folder}/{thread}/status"))))
                    for thread in os.listdir(folder)}

        def is_quiet():
            before = switches()
            time.sleep(1)
            quiet = {thread for thread, count in switches().items() if count == before.get(thread)}
            return str(watching.process.pid) in quiet and len(quiet) >= 2

        support.eventually(is_quiet)


if __name__ == "__main__":
    support.main()
