"""One emulated router: started from a drive file, given commands, ended in order or cut off at any moment.

    with Machine(flash="flash.bin") as machine:
        machine.run("ltectl nv set wan_mtu 1400")
        machine.kill()        # the power goes: the file keeps what had reached the drive

It lives no longer than the thread that has started it."""

import dataclasses
import os
import pathlib
import secrets
import selectors
import shlex
import shutil
import socket
import subprocess
import tempfile
import time

import parts

EMULATOR = "qemu-system-mips"
# As large as a small router's: 16 MiB, of which 64 KiB are erased at a time.
FLASH_SIZE = 16 << 20
ERASED = b"\xff"
PORTS = ("commands", "input", "output", "errors")
BOOT_SECONDS = 60


class Died(parts.Failure):
    """The machine has ended, or does not come up."""


class TooLate(parts.Failure):
    """A command, or the start, has not ended in time. The machine was killed."""


@dataclasses.dataclass
class Result:
    status: int
    output: bytes
    errors: bytes


def make_flash(path):
    """An erased chip, if there is no such file yet."""
    if os.path.isfile(path) and (size := os.path.getsize(path)) != FLASH_SIZE:
        raise parts.Failure(f"{path} has {size} bytes, and a flash {FLASH_SIZE}: give another name, or remove it")
    if os.path.exists(path):
        return
    begun = f"{path}.new"
    try:
        with open(begun, "wb") as file:
            file.write(ERASED * FLASH_SIZE)
        os.rename(begun, path)
    except BaseException:
        pathlib.Path(begun).unlink(missing_ok=True)
        raise


class Stream:
    """What comes from a port, up to the word that ends a command's output."""

    def __init__(self, end, sink):
        self.end, self.sink = end, sink
        self.pending = b""
        self.ended = False

    def take(self, data):
        if self.ended:
            return
        self.pending += data
        before, found, _ = self.pending.partition(self.end)
        if found:
            self.ended = True
        else:
            held = self.length_of_begun_end()
            before, self.pending = self.pending[:len(self.pending) - held], self.pending[len(self.pending) - held:]
        if before:
            self.sink(before)

    def length_of_begun_end(self):
        lengths = range(min(len(self.end), len(self.pending)), 0, -1)
        return next((length for length in lengths if self.pending.endswith(self.end[:length])), 0)


class Machine:
    def __init__(self, flash=None, *, flash_kind="jffs2", memory=64, console=None, share=None, cables=(),
                 modem=(), devices=(), kernel_options="", shell=False):
        """flash       the file that is the second drive; without one, an erased one that goes with the machine
        flash_kind  what is on it: jffs2, ubifs, or none for what the caller mounts
        console     a file for what the kernel and the start print; otherwise it is shown when something fails
        share       a folder of the host's, a copy of which is seen below /mnt
        cables      what the board's further serial lines are connected to, /dev/ttyS1 first
        modem       two cables, plugged in as a USB adapter with four ports: /dev/ttyUSB1 and /dev/ttyUSB3
        devices     more words of the emulator's command line
        shell       the console is this process's terminal instead"""
        self.memory, self.flash_kind, self.share = memory, flash_kind, share
        self.cables, self.modem, self.devices = cables, modem, devices
        self.kernel_options, self.shell = kernel_options, shell
        self.process = None
        self.sockets = {}
        self.own = tempfile.TemporaryDirectory(prefix="router.")
        # Copies: those of the tree go when somebody builds others, and this machine may be started again.
        self.kernel, self.root = (shutil.copy(part, self.own.name)
                                  for part in (parts.kernel() / "vmlinux", parts.root_image()))
        self.flash = flash or os.path.join(self.own.name, "flash")
        self.console = console or os.path.join(self.own.name, "console")

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, kind, error, trace):
        self.kill()
        self.own.cleanup()

    # ---- Starting and ending ----

    def start(self, seconds=BOOT_SECONDS):
        """Returns when the machine takes commands. After kill() or end() it can be started again."""
        if shutil.which(EMULATOR) is None:
            raise parts.Failure(f"{EMULATOR} is missing: the package {EMULATOR} has it")
        make_flash(self.flash)
        inner = self.make_ports()
        passed = [*inner.values(), *(cable.far for cable in [*self.cables, *self.modem])]
        try:
            self.process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "KILL", *self.command_line(inner)],
                stdin=None if self.shell else subprocess.DEVNULL, stdout=None if self.shell else subprocess.DEVNULL,
                stderr=None if self.shell else subprocess.PIPE,
                pass_fds=[end.fileno() for end in passed])
        finally:
            for end in inner.values():
                end.close()
        if not self.shell:
            self.await_ready(seconds)

    def make_ports(self):
        inner = {}
        for name in PORTS:
            self.sockets[name], inner[name] = socket.socketpair()
        return inner

    def command_line(self, inner):
        options = ("console=ttyS0 root=/dev/vda rootfstype=squashfs ro quiet "
                   f"flash={self.flash_kind} {self.kernel_options}")
        console = ["-serial", "mon:stdio" if self.shell else f"file:{self.console}"]
        return [EMULATOR, "-machine", "malta", "-cpu", "24Kf", "-m", str(self.memory),
                "-display", "none", "-vga", "none", "-no-reboot", "-kernel", self.kernel, "-append", options,
                *([] if self.shell else ["-monitor", "none"]), *console,
                *drive(0, self.root, "readonly=on"), *drive(1, self.flash, "cache=writethrough"), *self.shared(),
                "-nic", "none", "-netdev", "user,id=lan,restrict=on",
                "-device", "pcnet,netdev=lan,romfile=,addr=0x0b", *self.lines(), *self.ports(inner), *self.devices]

    def lines(self):
        words = []
        for number, cable in enumerate(self.cables):
            words += [*line(f"line{number}", cable), "-serial", f"chardev:line{number}"]
        for number, cable in enumerate((None, self.modem[0], None, self.modem[1]) if self.modem else ()):
            words += [*line(f"usb{number}", cable), "-device", f"usb-serial,always-plugged=on,chardev=usb{number}"]
        return words

    def shared(self):
        if self.share is None:
            return []
        image = os.path.join(self.own.name, "share")
        if not os.path.exists(image):
            parts.make_image(self.share, image, os.path.join(self.own.name, "log"))
        return drive(2, image, "readonly=on")

    def ports(self, inner):
        words = ["-device", "virtio-serial-pci,addr=0x13"]
        for name, end in inner.items():
            words += ["-chardev", f"socket,id={name},fd={end.fileno()}",
                      "-device", f"virtserialport,chardev={name},name={name}"]
        return words

    def await_ready(self, seconds):
        try:
            ready = self.read_line(time.monotonic() + seconds) == b"ready"
        except TooLate:
            raise Died("\n".join([*self.console_end(), f"the machine has not started in {seconds} s"])) from None
        if not ready:
            self.died("has not started")

    def kill(self):
        """The power goes."""
        if self.process is not None:
            self.process.kill()
            self.forget()

    def end(self, seconds=30):
        """Shuts down in order."""
        self.sockets["commands"].sendall(self.request("poweroff", "end"))
        self.await_exit(seconds)

    def await_exit(self, seconds=None):
        try:
            status = self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            self.kill()
            raise TooLate(f"the machine has not shut down in {seconds} s") from None
        self.forget()
        if status != 0:
            raise Died(f"{EMULATOR} ended with {status}")

    def forget(self):
        self.process.wait()
        if self.process.stderr:
            self.process.stderr.close()
        self.process = None
        for end in self.sockets.values():
            end.close()
        self.sockets = {}

    def died(self, what):
        self.process.kill()
        said = self.process.stderr.read().decode(errors="replace").splitlines()
        self.forget()
        raise Died("\n".join([*self.console_end(), *said, f"the machine {what}"]))

    def console_text(self):
        path = pathlib.Path(self.console)
        return path.read_text(errors="replace") if path.exists() else ""

    def console_end(self):
        return self.console_text().splitlines()[-30:]

    # ---- Commands ----

    def run(self, command, *, given=b"", seconds=60, output=None, errors=None):
        """Runs a command, a text for the shell or a list of words, and returns its Result. What it prints goes to
        output(bytes) and errors(bytes) while it runs, if they are there. What is given it reads."""
        text = command if isinstance(command, str) else shlex.join(command)
        collected = {"output": bytearray(), "errors": bytearray()}
        end = f"end-{secrets.token_hex(16)}"
        streams = {"output": Stream(end.encode(), output or collected["output"].extend),
                   "errors": Stream(end.encode(), errors or collected["errors"].extend)}
        deadline = time.monotonic() + seconds
        self.sockets["commands"].sendall(self.request(text, end, len(given)))
        try:
            self.pump(streams, given, deadline)
            status = int(self.read_line(deadline))
        except TooLate:
            raise TooLate(f"the command has not ended in {seconds} s; the machine was cut off") from None
        return Result(status, bytes(collected["output"]), bytes(collected["errors"]))

    @staticmethod
    def request(text, end, given=0):
        command = text.encode()
        return f"{end} {len(command)} {given}\n".encode() + command

    def put(self, path, data):
        """Makes a file in the machine."""
        self.require(f"cat >{shlex.quote(path)}", given=data)

    def get(self, path):
        """A file's contents."""
        return self.require(f"cat {shlex.quote(path)}").output

    def require(self, command, statuses=(0,), **options):
        """Runs what must end with one of these."""
        result = self.run(command, **options)
        if result.status not in statuses:
            said = (result.output + result.errors).decode(errors="replace")
            raise parts.Failure(f"{said}\"{command}\" ended with {result.status}")
        return result

    def pump(self, streams, given, deadline):
        with selectors.DefaultSelector() as selector:
            for name, stream in streams.items():
                selector.register(self.sockets[name], selectors.EVENT_READ, stream)
            if given:
                selector.register(self.sockets["input"], selectors.EVENT_WRITE)
            left = memoryview(given)
            while not all(stream.ended for stream in streams.values()):
                for key, _ in self.ready(selector, deadline):
                    if key.data is None:
                        left = left[self.sockets["input"].send(left[:4096]):]
                        if not left:
                            selector.unregister(key.fileobj)
                    else:
                        key.data.take(self.received(key.fileobj))

    def ready(self, selector, deadline):
        events = selector.select(max(deadline - time.monotonic(), 0))
        if not events and time.monotonic() >= deadline:
            self.kill()
            raise TooLate("the time is over")
        return events

    def received(self, port):
        data = port.recv(65536)
        if not data:
            self.died("has ended")
        return data

    def read_line(self, deadline):
        line = b""
        with selectors.DefaultSelector() as selector:
            selector.register(self.sockets["commands"], selectors.EVENT_READ)
            while not line.endswith(b"\n"):
                if self.ready(selector, deadline):
                    line += self.received(self.sockets["commands"])
        return line.strip()


def line(name, cable):
    return ["-chardev", f"socket,id={name},fd={cable.far.fileno()}" if cable else f"null,id={name}"]


def drive(number, path, more):
    """A comma in a name is two to the emulator. Drives share a slot: the board has four, 0x12 and on, and gives a card in another one no interrupt."""
    return ["-drive", f"if=none,id=drive{number},format=raw,file={str(path).replace(',', ',,')},{more}",
            "-device", f"virtio-blk-pci,drive=drive{number},addr=0x12.{number},multifunction=on"]
