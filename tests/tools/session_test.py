"""The sessions that docs/ltectl.md shows are what happens.

usage: session_test.py LTECTL WANSIM MODEMSIM HURRIED_LTECTL PAGE SAMPLE"""

import os
import re
import subprocess
import sys

import cable
import support

MODEMSIM, HURRIED, PAGE, SAMPLE = sys.argv[3:]
del sys.argv[3:]


# With ip, which is not where everybody's programs are.
ENVIRONMENT = {**os.environ, "PATH": os.environ["PATH"] + ":/sbin"}


def whole():
    with open(PAGE) as file:
        return file.read()


def section(title):
    return whole().split(f"## {title}\n", 1)[1].split("\n## ", 1)[0]


def session(title):
    """[(command, output)], as a section of the page has them."""
    block = re.search(r"```text\n(.*?)```", section(title), re.S).group(1)
    parts = re.split(r"^\$ (.*)\n", block, flags=re.M)
    return list(zip(parts[1::2], parts[2::2]))


def run(ltectl, command):
    """Runs a command line as a user types it."""
    script = 'ltectl() { "$0" "$@"; }; ' + command
    return subprocess.run(["bash", "-c", script, ltectl], stdin=subprocess.DEVNULL, env=ENVIRONMENT,
                          capture_output=True, timeout=support.TIMEOUT, text=True)


def comparable(output):
    """Without what differs from machine to machine."""
    return re.sub(r"^uptime .*$|(?<= pid=)\d+", "", output, flags=re.M)


class Session(support.ToolTest):
    def assert_happens(self, title, ltectl):
        self.assertGreater(len(session(title)), 2)
        for command, output in session(title):
            with self.subTest(command):
                result = run(ltectl, command)
                self.assertEqual((result.returncode, result.stderr), (support.DONE, ""))
                self.assertEqual(comparable(result.stdout), comparable(output))


class Router(Session, support.NvTest):
    REQUESTS = "Driving the modem"
    PARAMETERS = "Persistent parameters"
    UPGRADE = "Upgrading the modem's firmware"

    def background(self, title, program):
        """The options of the program that the section has running."""
        return re.search(rf"`{program}( [^`]*) &`", section(title)).group(1).split()

    def faults(self, program):
        options = re.findall(rf"{program}[^`]*?((?: --fault \S+=[\w:]+)+)", whole())
        self.assertTrue(options)
        return " ".join(options).split()

    def test_requests(self):
        self.start_wansim()
        store = support.Background(self, support.wansim_program, "--sms-store")
        store.out.next()
        self.assert_happens(self.REQUESTS, support.ltectl_program)

    def test_parameters(self):
        self.declare(support.read_file(SAMPLE))
        self.assert_happens(self.PARAMETERS, support.ltectl_program)

    def test_an_upgrade(self):
        subprocess.run(["sh", "-c", re.search(r"`(.*>/tmp/firmware.img)`", section(self.UPGRADE)).group(1)],
                       check=True)
        modem = support.Background(self, MODEMSIM, *self.background(self.UPGRADE, "modemsim"))
        modem.out.next()
        self.assert_happens(self.UPGRADE, HURRIED)

    def test_faults_are_faults(self):
        self.start_wansim(*self.faults("wansim"))
        modem = support.Background(self, MODEMSIM, *self.faults("modemsim"))
        self.assertIn("ready", modem.out.next())


class Network(Session, cable.CableTest):
    def test_looking_in(self):
        self.start_wansim()
        self.start_wansim("--sms-store")
        self.assert_happens("Looking in", support.ltectl_program)

    def test_waiting_for_a_state(self):
        self.start_wansim()
        self.assert_happens("Waiting for a state", support.ltectl_program)

    def test_metrics(self):
        self.start_wansim()
        self.assert_happens("Metrics", support.ltectl_program)

    def test_a_life_on_a_desk(self):
        simulator = self.start_wansim("--board")
        self.addCleanup(simulator.end)
        self.assert_happens("A life on a desk", support.ltectl_program)

    def test_driving_a_simulator(self):
        self.start_wansim()
        modem = support.Background(self, MODEMSIM)
        modem.out.next()
        self.assert_happens("Driving a simulator", support.ltectl_program)

    def test_the_script_that_is_shown(self):
        script = re.search(r"```script\n(.*?)```", whole(), re.S).group(1)
        support.write_file("/tmp/script", re.sub(r"^[\d.]+", "0", script, flags=re.M).encode())
        status, out, errors = self.start_wansim("--script=/tmp/script", "--delay=0").finish()
        self.assertEqual((status, errors), (support.DONE, ""))
        self.assertEqual(out.count("from=script"), 6)

    def test_routes_and_neighbours(self):
        self.meet()
        self.assert_happens("Routes and neighbours", support.ltectl_program)


if __name__ == "__main__":
    support.main()
