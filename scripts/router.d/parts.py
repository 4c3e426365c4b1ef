"""What the emulated router consists of: kernel, busybox, ip and root file system, each kept below build/router under a
name that tells what it was made from."""

import contextlib
import fcntl
import functools
import hashlib
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
HERE = ROOT / "scripts" / "router.d"
WORK = ROOT / "build" / "router"
BUILD = ROOT / "build" / "mips-musl"
MUSL = ROOT / "build" / "musl-mips"
KERNEL_SOURCES = pathlib.Path("/usr/src/linux-source-6.1.tar.xz")
KERNEL_HEADERS = pathlib.Path("/usr/mips-linux-gnu/include")
CROSS = "mips-linux-gnu-"
JOBS = f"-j{os.cpu_count() or 1}"
DEFAULTS = ROOT / "share" / "default.cfg"
PROGRAMS = ("ltectl", "wansim", "modemsim")
# Kernel and busybox put where a file of theirs was compiled into messages, and the day into their version.
ENVIRONMENT = {**os.environ, "LC_ALL": "C", "KBUILD_BUILD_TIMESTAMP": "1970-01-01", "KBUILD_BUILD_USER": "builder",
               "KBUILD_BUILD_HOST": "builder"}


class Failure(Exception):
    """What stands in the way, in words for the user."""


def say(text):
    print(f"router: {text}", file=sys.stderr, flush=True)


def run(command, log, **options):
    """Runs a command whose output goes to the log; shows the log's end when it fails."""
    with open(log, "ab") as file:
        done = subprocess.run([str(word) for word in command], stdin=options.pop("stdin", subprocess.DEVNULL),
                              stdout=file, stderr=file, env=ENVIRONMENT, **options)
    if done.returncode != 0:
        lines = pathlib.Path(log).read_text(errors="replace").splitlines()[-30:]
        raise Failure("\n".join([*lines, f"failed: {' '.join(map(str, command))}"]))


QUIET_SECONDS = 8


def script(name, *arguments):
    """Another script of the project. One that takes its time is named, and its output shown when it fails."""
    with subprocess.Popen([ROOT / "scripts" / name, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True) as process:
        try:
            said, _ = process.communicate(timeout=QUIET_SECONDS)
        except subprocess.TimeoutExpired:
            say(f"scripts/{' '.join([name, *arguments])} is at work, which can take minutes")
            said, _ = process.communicate()
    if process.returncode != 0:
        raise Failure(f"{said}scripts/{name} ended with {process.returncode}")


def setup(packages):
    script("setup", packages)


def build(target, *programs):
    script("build", *(word for program in programs for word in ("--only", program)), target)


def hash_of(*things):
    """Of files' contents and of texts, in few digits."""
    whole = hashlib.sha256()
    for thing in things:
        whole.update(thing.read_bytes() if isinstance(thing, pathlib.Path) else str(thing).encode())
        whole.update(b"\0")
    return whole.hexdigest()[:12]


@contextlib.contextmanager
def alone():
    """While one process makes a part, others wait."""
    WORK.mkdir(parents=True, exist_ok=True)
    with open(WORK / "lock", "w", encoding="utf-8") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        yield


def keep(part, name, make):
    """The folder of this name, which make(folder, log) fills when it is not there; earlier ones of the part go."""
    folder = WORK / f"{part}-{name}"
    with alone():
        if folder.is_dir():
            return folder
        for left in WORK.glob(f"{part}.*"):  # by a build that was killed
            shutil.rmtree(left)
        with tempfile.TemporaryDirectory(prefix=f"{part}.", dir=WORK) as work:
            result = pathlib.Path(work) / "result"
            result.mkdir()
            make(pathlib.Path(work), result)
            for old in WORK.glob(f"{part}-*"):
                shutil.rmtree(old)
            result.rename(folder)
    return folder


def options_of(fragment):
    """{symbol: its whole line}"""
    lines = fragment.read_text(encoding="utf-8").splitlines()
    return {line.partition("=")[0]: line for line in lines if line.startswith("CONFIG_")}


def require_options(config, fragment):
    chosen = set(config.read_text(encoding="utf-8").splitlines())
    wanted = {f"# {line[:-2]} is not set" if line.endswith("=n") else line for line in options_of(fragment).values()}
    if missing := sorted(wanted - chosen):
        raise Failure(f"{fragment.name} asks for what these sources do not know: {', '.join(missing)}")


# ---- The kernel ----

def kernel_version():
    asked = subprocess.run(["dpkg-query", "--show", "--showformat=${Version}", "linux-source-6.1"],
                           capture_output=True, text=True)
    if asked.returncode != 0 or not KERNEL_SOURCES.exists():
        raise Failure("the kernel's sources are missing: the package linux-source-6.1 has them")
    return asked.stdout


def make_kernel(work, result):
    say("building the kernel, which takes six minutes and is kept")
    log, fragment = work / "log", HERE / "kernel.config"
    run(["tar", "--extract", f"--file={KERNEL_SOURCES}", f"--directory={work}"], log)
    source = next(work.glob("linux-source-*"))
    shutil.copy(HERE / "leds.c", source / "drivers" / "misc" / "router_leds.c")
    with open(source / "drivers" / "misc" / "Makefile", "a", encoding="utf-8") as makefile:
        makefile.write("obj-y += router_leds.o\n")
    run(["patch", "-p1", f"--directory={source}", f"--input={HERE / 'kernel.patch'}"], log)
    make = ["make", "-C", source, "ARCH=mips", f"CROSS_COMPILE={CROSS}", JOBS]
    run(["env", f"KCONFIG_ALLCONFIG={fragment}", *make, "allnoconfig"], log)
    require_options(source / ".config", fragment)
    run([*make, "vmlinux", "modules"], log)
    run([f"{CROSS}strip", "-o", result / "vmlinux", source / "vmlinux"], log)
    shutil.copy(source / ".config", result / "config")
    for module in source.rglob("*.ko"):
        run([f"{CROSS}strip", "--strip-debug", "-o", result / module.name, module], log)


def kernel():
    """The folder of vmlinux and its modules, which depend on the version of Debian's sources and their configuration
    alone."""
    version = kernel_version()
    key = hash_of(version, HERE / "kernel.config", HERE / "kernel.patch", HERE / "leds.c")
    return keep("kernel", f"{version}-{key}", make_kernel)


# ---- Busybox ----

def linux_headers(folder):
    """A folder of the kernel's headers alone: the others of the cross compiler are those of another libc."""
    folder.mkdir()
    for name in ("linux", "asm", "asm-generic", "mtd"):
        (folder / name).symlink_to(KERNEL_HEADERS / name)
    return folder


def compiler_with(headers):
    return f"{CROSS}gcc -specs={MUSL}/lib/musl-gcc.specs -isystem {headers}"


def make_busybox(work, result):
    say("building busybox, which is kept")
    log, fragment = work / "log", HERE / "busybox.config"
    run([ROOT / "scripts" / "debian-source", work, "busybox"], log)
    source = work / "busybox"
    make = ["make", "-C", source, f"CC={compiler_with(linux_headers(work / 'headers'))}", JOBS]
    run([*make, "defconfig"], log)
    config = source / ".config"
    others = [line for line in config.read_text(encoding="utf-8").splitlines()
              if line.removeprefix("# ").replace(" ", "=").partition("=")[0] not in options_of(fragment)]
    config.write_text("\n".join([*others, *options_of(fragment).values(), ""]), encoding="utf-8")
    run(["sh", "-c", 'yes "" | "$@"', "sh", *make, "oldconfig"], log)
    require_options(config, fragment)
    run([*make, "busybox", "busybox.links"], log)
    for name in ("busybox", "busybox.links"):
        shutil.copy(source / name, result / name)


def busybox():
    """The folder of the program and of the list of its names."""
    return keep("busybox", hash_of(HERE / "busybox.config"), make_busybox)


# ---- The network's tool ----

def make_ip(work, result):
    say("building ip, which is kept")
    log = work / "log"
    run([ROOT / "scripts" / "debian-source", work, "iproute2"], log)
    source = work / "iproute2"
    compiler = compiler_with(linux_headers(work / "headers"))
    run(["env", "PKG_CONFIG=false", f"CC={compiler}", "./configure"], log, cwd=source)
    run(["make", "-C", source, "SUBDIRS=lib ip", f"CC={compiler}", "HOSTCC=gcc", f"AR={CROSS}ar", JOBS], log)
    run([f"{CROSS}strip", "-o", result / "ip", source / "ip" / "ip"], log)


def network_tool():
    """The folder of ip: that of busybox makes no pair of interfaces whose ends are named."""
    return keep("ip", "iproute2", make_ip)


# ---- Root file system ----

# What the image has besides the files below root/: the points where something is mounted or made.
FOLDERS = ("bin", "dev", "lib/modules", "mnt", "proc", "sbin", "sys", "tmp", "2ndfile", "usr/bin", "usr/sbin")


def library():
    """The file that the soname points to."""
    return (BUILD / "lib" / "liblterouter.so.1").resolve()


def installed_files():
    """{what is built: its place in the router's root}"""
    return {**{BUILD / "tools" / name: f"usr/bin/{name}" for name in PROGRAMS},
            library(): f"usr/lib/{library().name}", MUSL / "lib" / "libc.so": "lib/libc.so"}


def fill_root(root, made, log):
    for folder in FOLDERS:
        (root / folder).mkdir(parents=True, exist_ok=True)
    shutil.copytree(HERE / "root", root, dirs_exist_ok=True)
    for file, place in installed_files().items():
        (root / place).parent.mkdir(parents=True, exist_ok=True)
        run([f"{CROSS}strip", "-o", root / place, file], log)
    (root / "usr" / "lib" / "liblterouter.so.1").symlink_to(library().name)
    (root / "usr" / "share" / "lterouter").mkdir(parents=True)
    shutil.copy(DEFAULTS, root / "usr" / "share" / "lterouter")
    (root / "lib" / "ld-musl-mips.so.1").symlink_to("libc.so")
    for module in made["kernel"].glob("*.ko"):
        shutil.copy(module, root / "lib" / "modules")
    shutil.copy(made["ip"] / "ip", root / "sbin" / "ip")
    shutil.copy(made["busybox"] / "busybox", root / "bin" / "busybox")
    for name in (made["busybox"] / "busybox.links").read_text(encoding="utf-8").split():
        link = root / name[1:]
        link.parent.mkdir(parents=True, exist_ok=True)
        if not os.path.lexists(link):
            link.symlink_to("/bin/busybox")


def make_root(made, work, result):
    log = work / "log"
    fill_root(work / "root", made, log)
    make_image(work / "root", result / "root.squashfs", log)


def make_image(folder, image, log):
    """A file system image of the folder's contents."""
    run(["mksquashfs", folder, image, "-all-root", "-noappend", "-comp", "gzip", "-Xcompression-level", "1",
         "-no-progress"], log)


def root_image():
    """The image of the root file system, with the library and the tools as they are built."""
    files = sorted(installed_files())
    if missing := [path for path in files if not path.exists()]:
        raise Failure(f"{missing[0].relative_to(ROOT)} is not built")
    made = {"kernel": kernel(), "busybox": busybox(), "ip": network_tool()}
    own = sorted(path for path in (HERE / "root").rglob("*") if path.is_file())
    key = hash_of(*(folder.name for folder in made.values()), HERE / "parts.py", DEFAULTS, *files,
                  *(thing for path in own for thing in (path, path.name)))
    return keep("root", key, functools.partial(make_root, made)) / "root.squashfs"
