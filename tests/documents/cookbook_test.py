"""The cookbook's programs, built against an installed copy as C, as C++ and with sanitizers, and run as the
cookbook shows: each prints what stands there, also when every wait ends early.

usage: cookbook_test.py COOKBOOK INSTALLED_PREFIX C_COMPILER CXX_COMPILER SANITIZE HOST_LIBRARIES [EMULATOR...]
  C_COMPILER, CXX_COMPILER  each with its options, as one argument
  SANITIZE                  yes where programs with sanitizers can run
  HOST_LIBRARIES            yes where programs can be linked with the libraries of this machine"""

import contextlib
import os
import pathlib
import re
import shlex
import signal
import sys
import time
import unittest

import documents
import installed
import terminal
import workplace

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tools"))
import support  # noqa: E402
from support import stranger  # noqa: E402

COOKBOOK, PREFIX = sys.argv[1:3]
C, CXX = (shlex.split(command) for command in sys.argv[3:5])
SANITIZE, HOST_LIBRARIES = (argument == "yes" for argument in sys.argv[5:7])
COPY = installed.Installed(PREFIX, sys.argv[7:])

RECIPES = [section for section in documents.sections(pathlib.Path(COOKBOOK).read_text(encoding="utf-8"))
           if re.match(r"\d", section.title)]

# How a program is built; what is behind the library's name are those of others that it needs.
BUILD = r"cc %s\.c \$\(pkg-config --cflags --libs lterouter((?: [\w-]+)*)\) -o %s"
COOKED = [recipe for recipe in RECIPES
          if HOST_LIBRARIES or not any(re.findall(BUILD % (r"\w+", r"\w+"), recipe.text))]

# Instead of libc's, for the library too, in a program that it is built into.
WAKING = pathlib.Path(__file__).with_name("waking.c")

SERVICE = "lc_socket_uptest_common"
GET_LIMIT, SET_LIMIT = 0x20000001, 0x20000002

# What the program of recipe 11 shows.
NOBODY, DOWN, UP, ENDED = (f"link_keeper: {words}\n" for words in ("no WAN manager", "link down", "link up", "ended"))

RUNS = 5  # of each program that is to leave nothing behind
BOUND = 12  # seconds, of what is to take 5 at most, on a machine that may be busy and emulated


def last_session(number):
    """The last that a recipe shows, but for what builds its program."""
    [text] = [recipe.text for recipe in RECIPES if recipe.title.startswith(f"{number}. ")]
    [*_, commands] = [what[0] for kind, *what in workplace.steps(text) if kind == "session"]
    return [step for step in commands if not step[0].startswith("cc ")]


class Cookbook(unittest.TestCase):
    maxDiff = None

    def cook(self, compiler, **options):
        place = workplace.Workplace(self, COPY, compiler)
        for recipe in COOKED:
            with self.subTest(recipe.title):
                place.follow(recipe.text, **options)

    def built(self, *programs):
        """A place where these programs of the cookbook are."""
        place = workplace.Workplace(self, COPY, [*C, "-std=gnu99"])
        place.tidy()
        for recipe in RECIPES:
            for kind, *what in workplace.steps(recipe.text):
                if kind == "file":
                    (place.folder / what[0]).write_text(what[1])
        with contextlib.closing(self.terminal(place)) as shell:
            for program in programs:
                self.see(shell, f"cc {program}.c $(pkg-config --cflags --libs lterouter) -o {program}", "")
        return place

    def terminal(self, place):
        return terminal.Terminal(place.folder, place.environment, workplace.TIMEOUT)

    def see(self, shell, command, output, status=0):
        self.assertEqual(shell.type(command, output), (status, output), command)

    def start_manager(self, place):
        """A wansim that the test may kill or stop."""
        manager = place.start("wansim")
        self.addCleanup(place.end, manager)
        self.addCleanup(manager.kill)
        return manager

    def hang(self, manager):
        """Stops a WAN manager, and leaves no room in its socket."""
        manager.send_signal(signal.SIGSTOP)
        os.waitpid(manager.pid, os.WUNTRACED)  # until all of its threads stand
        with contextlib.closing(stranger.Stranger()) as peer, contextlib.suppress(BlockingIOError):
            peer.socket.setblocking(False)
            while True:
                peer.send(stranger.message(stranger.ASYNC, support.GET_ROAMING))

    @contextlib.contextmanager
    def bounded(self):
        began = time.monotonic()
        yield
        self.assertLess(time.monotonic() - began, BOUND)

    def test_has_fifteen_recipes_and_each_program_is_built_and_run(self):
        self.assertEqual([recipe.title.split(".")[0] for recipe in RECIPES], [str(n) for n in range(1, 16)])
        for recipe in RECIPES:
            with self.subTest(recipe.title):
                steps = workplace.steps(recipe.text)
                programs = [what[0].removesuffix(".c") for kind, *what in steps
                            if kind == "file" and what[0].endswith(".c")]
                commands = [command for kind, *what in steps if kind == "session" for command, _ in what[0]]
                self.assertTrue(programs)
                for program in programs:
                    self.assertTrue(any(re.fullmatch(BUILD % (program, program), command) for command in commands),
                                    program)
                    self.assertTrue(any(f"./{program}" in command for command in commands), program)

    def test_as_c(self):
        self.cook([*C, "-std=gnu99"])

    def test_as_cxx(self):
        self.cook([*CXX, "-x", "c++"])

    def test_woken_for_nothing(self):
        """What has been started waits and is woken before the next command."""
        self.cook([*C, "-std=gnu99", "-O2", str(WAKING)], pause=0.05)

    @unittest.skipUnless(SANITIZE, "what is built here cannot be mixed with sanitizers")
    def test_as_c_with_sanitizers(self):
        self.cook([*C, "-g", "-fsanitize=address,undefined", "-fno-sanitize-recover=all"])

    def test_clients_leave_no_subscription_behind(self):
        place = self.built("modem_info", "link_watch", "channel_log", "link_keeper")
        failed = support.FailedSends(self)
        self.start_manager(place)
        lives = [last_session(number) for number in (1, 2, 12)]
        lives.append([("ltectl disconnect --wait 5 >/dev/null", ""), ("./link_keeper &", DOWN + UP), ("kill %1", ENDED)])
        for life in lives:
            for _ in range(RUNS):
                with contextlib.closing(self.terminal(place)) as shell:
                    for step in [*life, ("wait", "")]:
                        self.see(shell, *step)
        with contextlib.closing(stranger.Stranger()) as peer:
            self.assertEqual(failed.count(peer), 0)

    def test_keeper_outlives_a_wan_manager_that_is_killed(self):
        place = self.built("link_keeper")
        with contextlib.closing(self.terminal(place)) as shell:
            self.see(shell, "./link_keeper &", NOBODY)
            for _ in range(2):
                manager = self.start_manager(place)
                self.see(shell, ":", DOWN + UP)
                manager.kill()
                self.see(shell, ":", NOBODY)
            # Too fast for it to notice more than that the link is down.
            manager = self.start_manager(place)
            self.see(shell, ":", DOWN + UP)
            manager.kill()
            manager.wait()
            self.start_manager(place)
            shown = ""
            while not shown.endswith(UP):
                status, more = shell.type("sleep 0.1", "")
                self.assertEqual(status, 0)
                shown += more
            self.assertIn(shown, (DOWN + UP, NOBODY + DOWN + UP))
            self.see(shell, "kill %1 && wait %1", ENDED)

    def test_keeper_bears_a_wan_manager_that_hangs_and_ends_beside_it(self):
        place = self.built("link_keeper")
        manager = self.start_manager(place)
        with contextlib.closing(self.terminal(place)) as shell:
            self.see(shell, "./link_keeper &", DOWN + UP)
            self.hang(manager)
            self.see(shell, ":", NOBODY)
            manager.send_signal(signal.SIGCONT)
            self.see(shell, ":", UP)
            self.hang(manager)
            self.see(shell, ":", NOBODY)
            with self.bounded():
                self.see(shell, "kill %1 && wait %1", ENDED)

    def test_request_is_bounded_also_where_it_finds_no_room(self):
        place = self.built("nettype")
        manager = self.start_manager(place)
        with contextlib.closing(self.terminal(place)) as shell:
            self.hang(manager)
            with self.bounded():
                self.see(shell, "./nettype", "nettype: no answer\n", status=1)
            manager.send_signal(signal.SIGCONT)
            self.see(shell, "./nettype", "network type 3\n")

    def test_service_carries_out_requests_and_asynchronous_messages_only(self):
        place = workplace.Workplace(self, COPY, [*C, "-std=gnu99"])
        place.follow(next(recipe.text for recipe in RECIPES if "```c guest_service.c" in recipe.text))
        shell = terminal.Terminal(place.folder, place.environment, workplace.TIMEOUT)
        self.addCleanup(shell.close)
        ready = "guest_service: ready\n"
        self.assertEqual(shell.type("./guest_service &", ready), (0, ready))
        with contextlib.closing(stranger.Stranger()) as peer:
            for kind, limit in (stranger.RESPONSE, 10), (stranger.SHORT, 10), (4, 10), (stranger.ASYNC, 5):
                with self.subTest(kind):
                    peer.send(stranger.message(kind, SET_LIMIT, stranger.pack("I", 5)), SERVICE)
                    self.assertEqual(peer.ask(GET_LIMIT, to=SERVICE), stranger.pack("iI", 0, limit))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
