"""Takes documents apart: their sections, fenced blocks, sessions and commands."""

import collections
import re

# What a command begins with; other code spans and blocks are names, formats and pictures.
PROGRAMS = ("apt", "apt-get", "busybox", "bwrap", "c++", "cat", "cc", "chmod", "chown", "cmake", "cmp", "cp",
            "ctest", "dpkg", "dpkg-buildpackage", "echo", "export", "g++", "gcc", "git", "grep", "head", "install", "kill",
            "ldconfig", "ln", "logread", "ltectl", "lteweb", "make", "man", "mkdir", "mkfs.ext4", "modemsim", "mount",
            "opkg", "pkg-config", "printf", "ps", "rm", "sed", "sh", "sudo", "sysctl", "tail", "tar", "touch",
            "wansim", "yes")
_BEGINS_A_COMMAND = re.compile(rf"(?:[A-Z_]+=\S* )*(?:(?:{'|'.join(map(re.escape, PROGRAMS))})(?: |$)"
                               r"|scripts/[a-z-]+(?![.\w])|\./[a-z]|: >)")
_FENCE = re.compile(r"^```(.*)\n((?:.*\n)*?)```$", re.M)
_SPAN = re.compile(r"(?<!`)`([^`]+)`(?!`)")
# Languages of blocks whose every line is a command.
SHELLS = ("sh", "bash", "console", "shell")

Block = collections.namedtuple("Block", "language name content")
Section = collections.namedtuple("Section", "title text")
# kind is SESSION behind "$ ", where the output follows; LINE in another block; SPAN in the text.
Command = collections.namedtuple("Command", "document section kind text")
SESSION, LINE, SPAN = "session", "line", "span"


def is_command(text):
    return _BEGINS_A_COMMAND.match(text) is not None


def sections(page):
    """A page cut at its headings; a "#" in a fenced block is none."""
    title, lines, fenced, found = "", [], False, []
    for line in page.splitlines(keepends=True):
        if line.startswith("```"):
            fenced = not fenced
        if not fenced and re.match(r"#+ ", line):
            found.append(Section(title, "".join(lines)))
            title, lines = line.lstrip("#").strip(), []
        else:
            lines.append(line)
    found.append(Section(title, "".join(lines)))
    return [section for section in found if section.text.strip()]


def _joined(text):
    """With a command that goes on in the next line in one."""
    return re.sub(r"\\\n\s*", "", text)


def blocks(text):
    for info, content in _FENCE.findall(text):
        language, _, name = info.strip().partition(" ")
        yield Block(language, name, content)


def session(content):
    """[(command, output)] of a block that has commands behind "$ "."""
    parts = re.split(r"^\$ (.*)\n", _joined(content), flags=re.M)
    return list(zip(parts[1::2], parts[2::2]))


def _block_commands(block):
    """(kind, command) pairs of a block."""
    if block.language not in ("", "text", *SHELLS):
        return
    if commands := session(block.content):
        yield from ((SESSION, command) for command, _ in commands)
        return
    lines = [re.sub(r"(^|\s+)# .*", "", line).strip() for line in _joined(block.content).splitlines()]
    # One command makes the others commands too, whatever they begin with.
    if block.language in SHELLS or any(map(is_command, lines)):
        yield from ((LINE, line) for line in lines if line)


def _span_commands(text):
    """Commands in the text itself. A program's bare name is no command, a script's is."""
    for span in _SPAN.findall(_FENCE.sub("", text)):
        span = " ".join(span.split())
        if is_command(span) and (" " in span or span.startswith("scripts/")):
            yield SPAN, span


def commands(document, page):
    """Every command of a page, in order of its sections."""
    for section in sections(page):
        for block in blocks(section.text):
            for found in _block_commands(block):
                yield Command(document, section.title, *found)
        for found in _span_commands(section.text):
            yield Command(document, section.title, *found)
