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
import sys
import unittest

import documents
import installed
import terminal
import workplace

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "peers"))
import stranger  # noqa: E402

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


class Cookbook(unittest.TestCase):
    maxDiff = None

    def cook(self, compiler, **options):
        place = workplace.Workplace(self, COPY, compiler)
        for recipe in COOKED:
            with self.subTest(recipe.title):
                place.follow(recipe.text, **options)

    def test_has_twelve_recipes_and_each_program_is_built_and_run(self):
        self.assertEqual([recipe.title.split(".")[0] for recipe in RECIPES], [str(n) for n in range(1, 13)])
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
