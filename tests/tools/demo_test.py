"""The demo runs through with the tools as built, prints what the documents show, and fails as soon as one of the tools
does not do its part.

usage: demo_test.py DEMO BUILD_DIR HURRIED_LTECTL WANSIM MODEMSIM PROJECT COMPILER"""

import contextlib
import os
import re
import subprocess
import sys
import tempfile
import unittest

DEMO, BUILD = sys.argv[1:3]
TOOLS = dict(zip(("ltectl", "wansim", "modemsim"), sys.argv[3:6]))
PROJECT, COMPILER = sys.argv[6:8]


os.environ["HURRY_PATIENCE"] = "20"  # here each answer of the modem comes


def run_demo(*arguments):
    return subprocess.run([DEMO, *arguments], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          timeout=120)


def shown(document, heading):
    """What the document says below the heading that the demo prints."""
    with open(os.path.join(PROJECT, document), encoding="utf-8") as file:
        section = file.read().split(heading, 1)[1]
    return re.search(r"```text\n(.*?)```", section, re.S).group(1)


def comparable(output):
    """Without what differs from run to run: a socket's address in the kernel and its inode, process ids, the
    checksum of an arbitrary image, and how two processes take turns in writing the trace file."""
    output = re.sub(r"^[0-9a-f]{16}(: .* )\d+( @lc_socket)", r"ADDRESS\1INODE\2", output, flags=re.M)
    output = re.sub(r"(?<=lc_socket_cli1_)\d+(?=_common$)", "PID", output, flags=re.M)
    if COMPILER != "GNU":  # each has its own way to count the lines of a call that takes several
        output = re.sub(r"(?<=\[lib/)(\w+:\w+):\d+(?=\])", r"\1:LINE", output)
    output = re.sub(r"(?<= checksum=)[0-9A-F]{8}(?= )", "CHECKSUM", output)
    return re.sub(r"(?<=\$ grep \. /tmp/ltelog\.1\n)((?:\[lib/lte_sdk:.*\n)+)",
                  lambda trace: "".join(sorted(trace[1].splitlines(keepends=True))), output)


class Demo(unittest.TestCase):
    maxDiff = None

    def test_runs_through(self):
        result = run_demo("--build", BUILD)
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)
        printed = comparable(result.stdout.lstrip("\n"))
        self.assertEqual(printed, comparable(shown("docs/demo.md", "# The demo\n")),
                         "docs/demo.md shows something else: put the demo's output there")
        left = printed
        for part in re.split(r"^\.\.\.\n", comparable(shown("README.md", "## Two commands\n")), flags=re.M):
            self.assertIn(part, left, "the README shows something else than a part of it")
            left = left.split(part, 1)[1]

    def test_usage(self):
        result = run_demo("--help")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("usage: scripts/demo [TARGET | --build DIR]\n", result.stdout)
        self.assertRegex(result.stdout, r"(?m)^  mips-musl ")
        for arguments in (["--fast"], ["--build"], ["--build", "/no/such/folder"], ["native", "musl"],
                          ["native", "--build", BUILD], [""]):
            self.assertEqual(run_demo(*arguments).returncode, 2, arguments)

    def test_an_unknown_target_is_not_built_and_the_known_ones_are_listed(self):
        result = run_demo("mips64")
        self.assertEqual((result.returncode, result.stdout), (2, ""))
        self.assertTrue(result.stderr.startswith('demo: there is no target "mips64"'), result.stderr)
        for target in ("native", "mips", "musl", "mips-musl"):
            self.assertRegex(result.stderr, rf"(?m)^  {target} ")
        self.assertFalse(os.path.exists(os.path.join(PROJECT, "build", "mips64")))


@contextlib.contextmanager
def build_folder(scripts):
    """One in which these tools are shell scripts, in which REAL is the tool as built."""
    with tempfile.TemporaryDirectory(dir=BUILD) as build:
        tools = os.path.join(build, "tools")
        os.mkdir(tools)
        for name, real in TOOLS.items():
            if name not in scripts:
                os.symlink(real, os.path.join(tools, name))
                continue
            with open(os.path.join(tools, name), "w") as file:
                file.write(f"#!/bin/bash\nREAL={real}\n{scripts[name]}\n")
            os.chmod(file.name, 0o755)
        yield build


class BrokenTools(unittest.TestCase):
    """Each tool in turn is replaced by one that is true to the real one but for a single thing; the waits of
    an upgrade are cut short, for the demo's own run has them."""

    def assert_fails(self, tool, script, reason):
        with build_folder({tool: script}) as build:
            result = run_demo("--build", build)
        self.assertEqual(result.returncode, 1, result.stdout)
        self.assertRegex(result.stderr, rf"\Ademo: FAILED: .*{reason}")

    def test_the_replacement_itself_breaks_nothing(self):
        with build_folder(dict.fromkeys(TOOLS, 'exec "$REAL" "$@"')) as build:
            result = run_demo("--build", build)
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)

    def test_roaming_that_does_not_change(self):
        self.assert_fails("ltectl", 'case $1 in roam) echo "roaming off" ;; *) exec "$REAL" "$@" ;; esac',
                          '"roaming on" is missing')

    def test_a_monitor_that_sees_nothing(self):
        self.assert_fails("ltectl", 'if [ "$1" = monitor ]; then exec "$REAL" "$@" >/dev/null; fi\n'
                                    'exec "$REAL" "$@"', "link connected .*is missing in /tmp/events")

    def test_a_monitor_that_does_not_end_in_order(self):
        self.assert_fails("ltectl", 'if [ "$1" = monitor ]; then "$REAL" "$@"; exit 5; fi\n'
                                    'trap "" TERM; exec "$REAL" "$@"', "ltectl monitor ended with ")

    def test_a_connection_without_its_addresses(self):
        self.assert_fails("ltectl", '"$REAL" "$@" | sed "s/ dns2=[^ ]*//"; exit "${PIPESTATUS[0]}"',
                          "dns2=10.9.8.6 .*is missing in /tmp/output")

    def test_a_missing_trace(self):
        self.assert_fails("ltectl", '"$REAL" "$@"; status=$?; rm -f /tmp/ltelog.*; exit $status',
                          "ltelog.1")

    def test_missing_parameters(self):
        self.assert_fails("ltectl", 'if [ "$1" = ram ]; then exit 0; fi; exec "$REAL" "$@"',
                          "wm_wcdma_modem_status_tmp=sim_ready")

    def test_a_link_that_stays(self):
        self.assert_fails("ltectl", 'if [ "$1" = disconnect ]; then exit 1; fi; exec "$REAL" "$@"',
                          "disconnect --wait 5. ended with 1, not 0")

    def test_a_client_that_needs_no_manager(self):
        self.assert_fails("ltectl", 'if [ "$1" != roam ]; then exec "$REAL" "$@"; fi\n'
                                    '"$REAL" "$@"; status=$?; exit $((status == 3 ? 0 : status))',
                          "ended with 0, not 3")

    def test_a_manager_that_does_not_start(self):
        self.assert_fails("wansim", "exit 1", "ready at lc_socket_mm_common")

    def test_a_manager_without_a_socket(self):
        self.assert_fails("wansim", "echo wansim: ready at lc_socket_mm_common; sleep 60",
                          "/proc/net/unix")

    def test_a_manager_that_does_not_end_in_order(self):
        self.assert_fails("wansim", '"$REAL" "$@" & trap "kill $!; wait $!; exit 7" TERM; wait $!',
                          "wansim ended with 7, not 0")

    def test_a_modem_that_does_not_start(self):
        self.assert_fails("modemsim", "exit 1", "modemsim: ready")

    def test_a_modem_that_takes_every_piece_at_once(self):
        self.assert_fails("modemsim", 'exec "$REAL" "${@/3=failed:2/3=failed:0}"', "fault=failed. is missing")

    def test_a_modem_that_damages_the_image(self):
        self.assert_fails("modemsim", 'exec "$REAL" "${@/20000/19999}"', "cmp .* ended with 1, not 0")

    def test_an_upgrade_that_only_pretends(self):
        self.assert_fails("ltectl", 'case "$*" in *dry-run) exec "$REAL" "$@" ;;\n'
                                    'upgrade*) echo "progress percent=100 bytes=20000 total=20000"; echo upgraded ;;\n'
                                    '*) exec "$REAL" "$@" ;; esac', "CMD_BEGIN status=RSP_OK. is missing")


class InAContainer(unittest.TestCase):
    """A sandbox is the container; no other can be made in it."""

    REFUSED = "bwrap: No permissions to create new namespace"
    SCRIPT = f"""
        mkdir -p /run /tmp/fakes && umount /2ndfile && rmdir /2ndfile
        printf '#!/bin/sh\\necho "{REFUSED}" >&2\\nexit 1\\n' >/tmp/fakes/bwrap && chmod +x /tmp/fakes/bwrap
        touch /tmp/before /tmp/after; export PATH=/tmp/fakes:$PATH
        eval "$1"; shift
        all() {{
            find / -xdev -path /usr -prune -o -path /proc -prune -o -print; find /dev /tmp
            for process in /proc/[0-9]*; do
                [ ! "$process/ns/mnt" -ef /proc/$$/ns/mnt ] || echo "$process $(cat "$process/comm")"
            done
        }}
        all >/tmp/before; "$@"; status=$?; all >/tmp/after
        diff /tmp/before /tmp/after >&2 || exit 99; exit $status"""

    def demo(self, before="touch /run/.containerenv", scripts={}):
        """Runs it there after a shell command; what is there afterwards must have been there before."""
        sandbox = os.path.join(os.path.dirname(DEMO), "sandbox")
        with build_folder(scripts) as build:
            return subprocess.run([sandbox, "bash", "-c", self.SCRIPT, "bash", before, DEMO, "--build", build],
                                  stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=120, cwd=BUILD,
                                  env={**os.environ, "LTEROUTER_SANDBOX_WAY": ""})

    def test_runs_through_and_leaves_nothing(self):
        result = self.demo()
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)
        said = "demo: no sandbox can be made in this container, so it runs in the container itself\n\n"
        self.assertTrue(result.stdout.startswith(said), result.stdout)
        self.assertIn("\n== Done: all expected output was there\n", result.stdout)

    def test_leaves_nothing_when_it_fails(self):
        result = self.demo(scripts={"modemsim": "exit 1"})
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn("demo: FAILED: ", result.stderr)

    def test_takes_nothing_that_is_there(self):
        for command, taken in (("mkdir /2ndfile", "/2ndfile"), ("ln -s nothing /dev/ttyUSB3", "/dev/ttyUSB3"),
                               ("touch /tmp/ltelog.2", "/tmp/ltelog.2"), ("mkdir /tmp/nv", "/tmp/nv"),
                               ("(wansim &) | grep -q ready; rm -r /tmp/nv", "@lc_socket_mm_common")):
            with self.subTest(taken):
                result = self.demo(f"PATH=$PATH:{os.path.dirname(TOOLS['wansim'])}; touch /run/.containerenv; {command}")
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assert_refused(result.stderr)
                self.assertIn(f"demo: it does not run in the container itself either: {taken} is there already\n",
                              result.stderr)

    def test_is_no_other_machine(self):
        result = self.demo(before="true")
        self.assertEqual((result.returncode, result.stdout), (2, ""))
        self.assert_refused(result.stderr)
        self.assertEqual(len(result.stderr.splitlines()), 2)

    def assert_refused(self, printed):
        self.assertTrue(printed.startswith(f"sandbox: namespaces of one's own are refused here: {self.REFUSED}\nsandbox: "),
                        printed)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
