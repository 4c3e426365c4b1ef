"""What the file of a program or a library tells about it, whatever machine it is for."""

import re
import subprocess


def readelf(option, file):
    return subprocess.run(["readelf", "--wide", option, file], check=True, capture_output=True, text=True,
                          errors="replace").stdout


def needed(file):
    """The libraries that it names, sorted."""
    return sorted(re.findall(r"\(NEEDED\).*\[(.*)\]", readelf("--dynamic", file)))


def has_musl(file):
    return "libc.so" in needed(file)


def libc(file):
    """The names under which the C library must be needed, sorted."""
    if has_musl(file):
        return ["libc.so"]
    # There the GNU C library keeps what the stack protector compares with in its loader.
    is_mips = re.search(r"Machine: +MIPS", readelf("--file-header", file))
    return ["ld.so.1", "libc.so.6"] if is_mips else ["libc.so.6"]
