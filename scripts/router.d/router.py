"""The whole router, emulated: a big-endian MIPS machine with a kernel, musl, busybox, the library and the tools, in
memory as small as a router's. Builds what is missing first; the kernel, which takes six minutes, only once.

Ends with 1 when a check has failed, 2 when the arguments are wrong, 124 when the time is over, 125 when there is no
machine to be had."""

import argparse
import os
import signal
import sys

sys.dont_write_bytecode = True

import checks  # noqa: E402  # without leaving compiled files
import machine  # noqa: E402
import measures  # noqa: E402
import parts  # noqa: E402

FAILED, TOO_LATE, NO_MACHINE = 1, 124, 125


def machine_of(options, **more):
    return machine.Machine(options.keep, flash_kind=options.flash, memory=options.memory, share=options.share,
                           console=options.console, **more)


def writer(stream):
    def write(data):
        stream.buffer.write(data)
        stream.buffer.flush()
    return write


def run_command(options):
    command = options.command[0] if len(options.command) == 1 else options.command
    with machine_of(options) as router:
        result = router.run(command, seconds=options.timeout, output=writer(sys.stdout), errors=writer(sys.stderr))
        router.end()
    return result.status


def shell(options):
    with machine_of(options, shell=True) as router:
        router.await_exit()
    return 0


def test(options):
    names = options.check or checks.NAMES
    parts.build("mips-musl", *checks.PROGRAMS)
    if not set(names).isdisjoint(checks.WITH_MODEM):
        parts.build("native", "modemsim")
    return 0 if checks.run(names, options.memory) else FAILED


def measure(options):
    rows = measures.measure()
    for what, figure in rows:
        print(f"{what}: {figure}")
    if options.record:
        measures.record(rows)
    return 0


def number(text):
    value = int(text)
    if value <= 0:
        raise ValueError(text)
    return value


def check_name(text):
    if text not in checks.NAMES:
        raise argparse.ArgumentTypeError(f"there is no check \"{text}\"; there are {', '.join(checks.NAMES)}")
    return text


def add_machine_options(parser):
    parser.add_argument("--keep", metavar="FILE", help="the flash: made when it is missing, kept between boots")
    parser.add_argument("--flash", choices=("jffs2", "ubifs", "none"), default="jffs2",
                        help="the file system on it (jffs2); none leaves it alone")
    parser.add_argument("--memory", metavar="MIB", type=number, default=64, help="the machine's memory (64)")
    parser.add_argument("--share", metavar="FOLDER", help="a folder to be seen below /mnt, read-only")
    parser.add_argument("--console", metavar="FILE", help="where the kernel's messages go")


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, prog="router",
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    commands = parser.add_subparsers(dest="name", metavar="COMMAND", required=True)

    one = commands.add_parser("shell", help="a shell on the serial console; poweroff ends it, and Ctrl-A X at once")
    add_machine_options(one)
    one.set_defaults(act=shell)

    one = commands.add_parser("run", help="runs one command and ends with its exit code")
    add_machine_options(one)
    one.add_argument("--timeout", metavar="SECONDS", type=number, default=120, help="how long it may take (120)")
    one.add_argument("command", nargs=argparse.REMAINDER, metavar="COMMAND [ARGUMENT...]",
                     help="one word is given to the shell as it is")
    one.set_defaults(act=run_command)

    one = commands.add_parser("test", help="runs checks of the library and the tools in it, by default all")
    one.add_argument("--memory", metavar="MIB", type=number, default=64, help="the machine's memory (64)")
    one.add_argument("check", nargs="*", type=check_name, metavar="CHECK", help=", ".join(checks.NAMES))
    one.set_defaults(act=test)

    one = commands.add_parser("measure", help="prints what memory and how many instructions the programs take in it")
    one.add_argument("--record", action="store_true", help="write the table to docs/performance.md")
    one.set_defaults(act=measure)

    one = commands.add_parser("build", help="builds what is missing, and no more")
    one.set_defaults(act=lambda options: parts.root_image() and 0)

    options = parser.parse_args()
    if options.name == "run":
        options.command = options.command[options.command[:1] == ["--"]:]
        if not options.command:
            parser.error("run wants a command")
    if options.name == "shell" and options.console:
        parser.error("the console of a shell is this terminal: --console is for run")
    return options


def main():
    options = parse_arguments()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
    try:
        parts.setup("router")
        parts.build("mips-musl", *parts.PROGRAMS)
        return options.act(options)
    except machine.TooLate as late:
        print(f"router: {late}", file=sys.stderr)
        return TOO_LATE
    except BrokenPipeError:
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())  # or Python complains at its end
        return 128 + signal.SIGPIPE
    except (parts.Failure, OSError) as failure:
        print(f"router: {failure}", file=sys.stderr)
        return NO_MACHINE
    except KeyboardInterrupt:
        return 128 + signal.SIGINT


if __name__ == "__main__":
    sys.exit(main())
