"""A place where one does what a document says: an installed copy's programs by their names, the files that the
document shows, and a terminal."""

import pathlib
import re
import shlex
import shutil
import subprocess
import tempfile
import time

import documents
import terminal

# Where a machine is emulated, on few processors.
TIMEOUT = 30

# What runs in another terminal while a section's sessions are followed.
RUNNING = re.compile(r"`((?:wansim|modemsim)[^`]*?) &`(?= (?:running|and `))")


def steps(text):
    """What a section has one do, in order: ("file", name, content), ("start", command) or ("session", commands)."""
    found = [(match.start(), ("start", match[1])) for match in RUNNING.finditer(text)]
    for block in documents.blocks(text):
        place = text.index(block.content)
        if block.language == "c":
            found.append((place, ("file", block.name, block.content)))
        elif commands := documents.session(block.content):
            found.append((place, ("session", commands)))
    return [step for _, step in sorted(found)]


class Workplace:
    """Lives as long as a test."""

    def __init__(self, test, copy, compiler):
        self.test = test
        place = tempfile.TemporaryDirectory()
        test.addCleanup(place.cleanup)
        tools, self.folder = pathlib.Path(place.name, "bin"), pathlib.Path(place.name, "work")
        tools.mkdir()
        self.folder.mkdir()
        copy.put_tools(tools)
        copy.put_compiler(tools, compiler)
        self.environment = copy.environment([tools])

    def tidy(self):
        """Forgets what programs left behind, but for those that were built."""
        for folder in pathlib.Path("/2ndfile"), pathlib.Path("/tmp/nv"):
            for entry in folder.iterdir() if folder.exists() else ():
                shutil.rmtree(entry) if entry.is_dir() else entry.unlink()
        for pattern in ".LC_DEBUG_FLAG_*", "ltelog.*":
            for entry in pathlib.Path("/tmp").glob(pattern):
                entry.unlink()
        pathlib.Path("/dev/log").unlink(missing_ok=True)

    def put_defaults(self, file):
        """Gives the parameter store its defaults file, as the one of a new router."""
        store = pathlib.Path("/2ndfile/nv")
        store.mkdir()
        shutil.copy(file, store / "default.cfg")

    def start(self, command):
        """Starts what runs in another terminal, and waits until it says that it is ready."""
        process = subprocess.Popen(shlex.split(command), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True,
                                   env=self.environment, cwd=self.folder)
        line = process.stdout.readline()
        if "ready" not in line:
            process.kill()
            self.end(process)
            raise AssertionError(f"{command}: says {line!r} instead of being ready")
        return process

    def end(self, process):
        process.terminate()
        process.wait()
        process.stdout.close()

    def follow(self, text, pause=0):
        """Does what a section says, seconds of a pause before each command; each succeeds and prints what stands
        there."""
        self.tidy()
        shell = terminal.Terminal(self.folder, self.environment, TIMEOUT)
        others = []
        try:
            for kind, *what in steps(text):
                if kind == "file":
                    (self.folder / what[0]).write_text(what[1])
                elif kind == "start":
                    others.append(self.start(what[0]))
                else:
                    for command, output in what[0]:
                        time.sleep(pause)
                        self.test.assertEqual(shell.type(command, output), (0, output), command)
        finally:
            rest = shell.close()
            for other in others:
                self.end(other)
        self.test.assertEqual(rest, "", "after the last command")
