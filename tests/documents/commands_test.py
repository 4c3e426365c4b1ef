"""Every command in every document is run: here, by another test, or by a step of CI.

usage: commands_test.py PROJECT BUILD_DIR INSTALLED_PREFIX C_COMPILER
  C_COMPILER  with its options, as one argument"""

import contextlib
import pathlib
import re
import shlex
import subprocess
import sys
import unittest

import documents
import installed
import terminal
import workplace

PROJECT, BUILD, PREFIX = (pathlib.Path(path) for path in sys.argv[1:4])
C = shlex.split(sys.argv[4])
COPY = installed.Installed(PREFIX, [])

DOCUMENTS = sorted(path for pattern in ("*.md", "docs/**/*.md", "packaging/**/*.md") for path in PROJECT.glob(pattern))


def content(file):
    path = PROJECT / file
    return path.read_text(encoding="utf-8") if path.exists() else ""


# ---- How a command is accounted for: problem() gives None, or what is wrong ----

class ByTest:
    """Another test runs it, or a script that tests run: its file holds this text."""

    def __init__(self, file, text):
        self.file, self.text = file, text

    def problem(self, commands, match):
        return None if self.text in content(self.file) else f"{self.file} is to run it, but does not hold {self.text!r}"


class ByCi:
    """A line of .ci/run does, which matches this."""

    def __init__(self, step):
        self.step = step

    def problem(self, commands, match):
        if re.search(rf"^{self.step}( &)?$", content(".ci/run"), re.M):
            return None
        return f".ci/run is to run it, but has no line {self.step!r}"


class Here:
    """It is run here, or what stands for it, and ends with this status."""

    def __init__(self, status=0, instead=r"\g<0>"):
        self.status, self.instead = status, instead

    def problem(self, commands, match):
        with commands.shell(match[0]) as shell:
            status, shown = shell.type(match.expand(self.instead), "")
        return None if status == self.status else f"it ends with {status}, not {self.status}:\n{shown}"


class RunsOn:
    """It is started here, shows this first, and goes on until it is ended."""

    def __init__(self, begin):
        self.begin = begin

    def problem(self, commands, match):
        with commands.shell(match[0]) as shell:
            _, shown = shell.type(f"{match[0].removesuffix(' &')} &", self.begin)
            status, _ = shell.type("kill -0 %1", "")
        if status == 0 and shown.startswith(self.begin):
            return None
        return f"it does not run on, or shows something else than {self.begin!r}:\n{shown}"


class Group:
    """No command, but what several begin with."""

    def problem(self, commands, match):
        program, name = match[0].split(maxsplit=1)
        with commands.shell(program) as shell:
            status, _ = shell.type(f"{program} --help | grep '^  {name} ' >/dev/null", "")
        return None if status == 0 else f"{program} --help lists no such command"


class Installing:
    """test_installing runs it."""

    def problem(self, commands, match):
        return None if match[0] in installing() else "it is not a line of the section about installing"


# The first row that matches the whole command decides.
TABLE = [(re.compile(pattern), how) for pattern, how in (
    (r"scripts/test", ByCi("scripts/fresh sh -c 'scripts/demo && scripts/test'")),
    (r"scripts/fresh( scripts/.*)?", ByCi("scripts/fresh sh -c 'scripts/demo && scripts/test'")),
    # Smaller: not every target, of which each takes minutes.
    (r"scripts/test( [a-zA-Z-]+)+(\.\.\.)?", ByCi(r"scripts/test (?=.*\basan\b)(?=.*\bcoverage\b)(?=.*\bmips\b).*")),
    (r"scripts/setup( mips)?", ByTest("scripts/build", "scripts/setup")),
    (r"scripts/demo( TARGET)?", ByTest("tests/tools/demo_test.py", 'run_demo("--build", BUILD)')),
    (r"scripts/demo --web", ByTest("tests/web/browser/demo_test.js", "['--web', '--build', build]")),
    (r"scripts/sandbox( bash)?", ByTest("tests/CMakeLists.txt", "${LTEROUTER_SANDBOX} ${ARG_COMMAND}")),
    (r"scripts/cross-musl", ByTest("scripts/build", "scripts/cross-musl")),
    (r"scripts/lint", ByCi("scripts/lint")),
    (r"scripts/footprint", ByCi("scripts/footprint")),
    (r"scripts/footprint --families", ByTest("tests/abi/archive_test.py", "footprint.Linked(")),
    (r"scripts/fuzz", ByCi(r"scripts/fuzz --seconds \d+")),
    # Smaller: counted, not timed, for a machine that does other work misses the goals; and not recorded, for that
    # writes into the tree.
    (r"scripts/bench( --instructions( --record)?)?", ByCi("scripts/bench --instructions")),
    # Smaller: nothing is measured, and not recorded, for that builds for minutes what it fetches from Debian.
    (r"scripts/neighbour-sizes( --record)?", Here(instead="scripts/neighbour-sizes --help")),
    # Smaller: no change is tried, for already one takes a build and two runs of every test.
    (r"scripts/mutate", Here(instead=r"\g<0> --help")),
    # Smaller: some 10,000 operations and datagrams instead of millions, a minute in all.
    (r"scripts/endure( hostile| clocks)?", ByCi(r"scripts/endure --operations \d+ --datagrams \d+")),
    # Smaller: nothing is started, for building the kernel takes minutes.
    (r"scripts/router( .*)?", Here(instead="scripts/router --help")),
    (r"(KCONFIG_ALLCONFIG=\S+ )?make -C (LINUX|BUSYBOX) .*|export MUSL_CC=.*|"
     r"(mkdir -p|cp|ln -s|tar -C|while read|mksquashfs) .*ROOT.*",
     ByTest("scripts/router.d/parts.py", "def fill_root(")),
    # Smaller: 1 cycle instead of 100 or 1000.
    (r"scripts/powercut( --cycles .*)?", ByTest("tests/documents/CMakeLists.txt", "powercut --cycles 1 ")),
    # Smaller: no machine is started, for building its kernel takes minutes.
    (r"scripts/(powercut(?= --router)|wear)( .*)?", Here(instead=r"scripts/\1 --help")),
    # Smaller: not recorded, as above.
    (r"scripts/abi( --record)?", ByCi("scripts/abi")),
    (r"scripts/manual( --check)?", ByCi("scripts/manual --check")),
    (r"man .*", ByCi("scripts/manual --check")),
    (r"scripts/bindings( --check)?", ByTest("tests/bindings/description_test.py", '"scripts/bindings", "--check"')),
    (r"scripts/package( --check)?( deb| router)?", ByCi("scripts/package --check")),
    # Smaller: only whether cmake takes the preset, for asan's is the same with options and is built by CI.
    (r"cmake --preset debug && .*", Here(instead="cmake --list-presets=all | grep debug")),
    (r"(sudo )?(cmake .*build/install\b.*|ldconfig)", Installing()),
    # Smaller: not built, for that is done with the preset.
    (r"cmake -S \. -B build/plain", Here(instead="cmake -S . -B /tmp/plain")),
    (r"export PATH=\$PWD/build/release/tools:\$PATH",
     Here(instead=f'PATH={BUILD}/tools:$PATH && [ "$(command -v ltectl)" = {BUILD}/tools/ltectl ]')),
    (r"ctest -R '\^lc_nv/Crash' -V", ByTest("tests/lc_nv/operations_test.cpp", "TEST_P(Crash")),
    (r"mkfs\.ext4 -b 4096", ByTest("scripts/powercut", '"mkfs.ext4", "-q", "-F", "-b", str(block_size)')),
    (r"pkg-config .*", Here()),
    # Smaller: the build systems are not here; the recipes are run with what these define for them.
    (r"cp -r packaging/(openwrt|buildroot).*|cp build/packages/.* OPENWRT/dl/|make (BR2_EXTERNAL=.* )?menuconfig",
     ByTest("tests/packaging/recipes_test.py", "buildroot.mk")),

    (r"ltectl (bus capture|net( route| probe)?|nv|sim|upgrade|wait)", Group()),
    (r"ltectl monitor( --json)?", RunsOn("ltectl: waiting for events")),
    (r"ltectl trace -f", RunsOn("[lib/")),
    (r"ltectl bus watch", RunsOn("ltectl: waiting for messages")),
    (r"ltectl bus capture [^|]*", RunsOn("ltectl: capturing messages")),
    (r"ltectl nv watch", RunsOn("ltectl: waiting for changes")),
    (r"ltectl metrics --textfile PATH", Here(instead="ltectl metrics --textfile /tmp/metrics.prom")),
    (r"ltectl pin enable 0000", Here(status=1)),
    (r"ltectl nv export FILE (.*)", Here(instead=r"ltectl nv export /tmp/FILE \1")),
    # Here is neither a neighbour, nor a file to control a LED by.
    (r"ltectl net probe .*",
     ByTest("tests/formats/formats_test.py", '"net probe 10.9.0.3 lan0 --mac 02:00:00:00:00:03"')),
    (r"ltectl led .*", ByTest("tests/formats/formats_test.py", 'page.table("LED", "file")')),
    (r"wansim( --board| --sms-store)? &|wansim --(board|fault .*)", RunsOn("wansim: ready")),
    (r"modemsim .*(&|--fault .*)", RunsOn("modemsim: ready")),
    (r"lteweb --make-password .*", ByTest("tests/web/web.py", '"--make-password", PASSWORDS')),
    (r"lteweb --listen .*", ByTest("tests/web/web.py", 'LTEWEB, "--json", "--listen"')),
    (r"(ltectl|wansim|modemsim) .*", Here()),

    (r"touch /tmp/\.LC_DEBUG_FLAG_.*", Here()),
    (r"yes firmware \| head -c 5000.*", Here()),
)]

# Who takes all commands of a kind from a document: of some, from sections that they name.
READERS = {
    ("README.md", documents.SESSION): ("tests/tools/demo_test.py",),
    ("README.md", documents.LINE): ("tests/abi/readme_test.py",),
    ("docs/ltectl.md", documents.SESSION): ("tests/tools/session_test.py",),
    ("docs/demo.md", documents.SESSION): ("tests/tools/demo_test.py",),
    ("docs/cookbook.md", documents.SESSION): ("tests/documents/CMakeLists.txt",),
    ("docs/integration.md", documents.SESSION): ("scripts/package",),
}
BY_SECTIONS = "README.md", "docs/ltectl.md"

ADVICE = """no test runs this command. Give it a row in TABLE of tests/documents/commands_test.py that says what does,
or show it as a session, in a block of language "text": behind "$ ", with what it prints below; then it is run here."""


def is_taken(command):
    """Whether a test takes it from its document."""
    name = rf'"(## )?{re.escape(command.section)}(\\n)?"' if command.document in BY_SECTIONS else command.document
    return any(re.search(name, content(test)) for test in READERS.get((command.document, command.kind), ()))


def pages():
    for path in DOCUMENTS:
        yield str(path.relative_to(PROJECT)), path.read_text(encoding="utf-8")


def own_commands():
    """Those that no other test takes from their document."""
    return [command for name, page in pages() for command in documents.commands(name, page) if not is_taken(command)]


def installing():
    """The commands of the README that install a copy."""
    return [command.text for command in own_commands()
            if (command.document, command.section, command.kind) == ("README.md", "Installing", documents.LINE)]


class Commands(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.place = workplace.Workplace(self, COPY, C)

    @contextlib.contextmanager
    def shell(self, command):
        """A terminal on a machine with a parameter store, on which a WAN manager runs and has been spoken to, unless
        the command is to start one."""
        self.place.tidy()
        self.place.put_defaults(PROJECT / "share" / "default.cfg")
        with contextlib.ExitStack() as stack:
            shell = terminal.Terminal(PROJECT, self.place.environment, workplace.TIMEOUT)
            stack.callback(shell.close)
            if not command.startswith("wansim"):
                for other in "wansim", "wansim --sms-store":
                    stack.callback(self.place.end, self.place.start(other))
                shell.type("ltectl nv init && ltectl roam", "")
            yield shell

    def test_documents_are_found(self):
        self.assertLess({"README.md", "CONTRIBUTING.md", "CHANGELOG.md", "docs/cookbook.md", "docs/formats.md"},
                        {name for name, _ in pages()})

    def test_each_is_accounted_for(self):
        seen, used = set(), set()
        for command in own_commands():
            if command.kind == documents.SESSION or command.text in seen:
                continue
            seen.add(command.text)
            match, how = next(((match, how) for pattern, how in TABLE if (match := pattern.fullmatch(command.text))),
                              (None, None))
            used.add(how)
            with self.subTest(f"{command.document}, {command.section}: {command.text}"):
                if problem := how.problem(self, match) if how else ADVICE:
                    self.fail(problem)
        self.assertEqual([pattern.pattern for pattern, how in TABLE if how not in used], [], "rows for no command")

    def test_sessions_show_what_happens(self):
        titles = {(command.document, command.section) for command in own_commands()
                  if command.kind == documents.SESSION}
        for name, page in pages():
            for section in documents.sections(page):
                if (name, section.title) in titles:
                    with self.subTest(f"{name}, {section.title}"):
                        self.place.follow(section.text)

    def test_installing(self):
        """As the README tells to, into a /usr/local of its own; without sudo, for there is none in the sandbox."""
        subprocess.run(["mount", "-t", "tmpfs", "none", "/usr/local"], check=True)
        self.addCleanup(subprocess.run, ["umount", "/usr/local"], check=True)
        pathlib.Path("/etc/ld.so.conf").write_text("/usr/local/lib\n")
        pathlib.Path("/etc/debian_version").touch()  # decides where CMake puts libraries
        steps = installing()
        self.assertIn("sudo cmake --install build/install", steps)
        self.assertIn("sudo ldconfig", steps)
        for step in steps:
            self.run_step(step.removeprefix("sudo ").replace("build/install", "/tmp/install"))
        self.assertIn("/usr/local/lib/liblterouter.so.1", self.run_step("ldconfig -p | grep lterouter"))
        self.run_step("/usr/local/bin/ltectl --version")

    def run_step(self, step):
        done = subprocess.run(["sh", "-c", step], capture_output=True, text=True, env=self.place.environment,
                              cwd=PROJECT)
        self.assertEqual((done.returncode, done.stderr), (0, ""), step)
        return done.stdout


class Targets(unittest.TestCase):
    """The table of CONTRIBUTING.md."""

    def setUp(self):
        table = content("CONTRIBUTING.md").split("## Targets\n\n", 1)[1].split("\n\n")[0]
        self.told = dict(re.findall(r"^\| `([\w-]+)` \|.*\| (yes|no) \|$", table, re.M))

    def test_has_those_of_the_scripts(self):
        targets = re.search(r"^targets=\((.*)\)$", content("scripts/targets.bash"), re.M)[1].split()
        self.assertEqual([*self.told], targets)

    def test_tells_which_ci_tests(self):
        calls = re.findall(r"^[^#\n]*\bscripts/test\b([^'\n]*)", content(".ci/run"), re.M)
        tested = {target for call in calls for target in call.split() or ["native"]}
        self.assertEqual({target for target, tests in self.told.items() if tests == "yes"}, tested)


PAGE = """# Title
With `ltectl roam` and `ltectl`, `scripts/lint`, `scripts/targets.bash`:
```
scripts/test all   # everything
# behind it
unheard-of
```
```
lib/ a picture
```
## Another
```text
$ wansim \\
  --help
# not a heading
$ ltectl imsi
1
```
```c
cc is no command here
```
"""


class Reading(unittest.TestCase):
    def test_finds_the_commands_of_blocks_sessions_and_text(self):
        self.assertEqual([(command.section, command.kind, command.text) for command in documents.commands("x", PAGE)],
                         [("Title", documents.LINE, "scripts/test all"), ("Title", documents.LINE, "unheard-of"),
                          ("Title", documents.SPAN, "ltectl roam"), ("Title", documents.SPAN, "scripts/lint"),
                          ("Another", documents.SESSION, "wansim --help"),
                          ("Another", documents.SESSION, "ltectl imsi")])

    def follow(self, session):
        workplace.Workplace(self, COPY, C).follow(f"```text\n{session}```\n")

    def test_a_session_fails_that_prints_something_else_or_more_or_ends_otherwise(self):
        self.follow("$ echo a\na\n$ true\n")
        for wrong in "$ echo a\nb\n", "$ echo a\n", "$ echo a\na\n$ false\n", "$ false\n$ true\n":
            with self.subTest(wrong), self.assertRaises(AssertionError):
                self.follow(wrong)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
