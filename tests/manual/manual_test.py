"""The manual without the programs that make it: comments of the headers, pages of section 3, pictures.

usage: manual_test.py PROJECT C_COMPILER
  C_COMPILER  with its options, as one argument"""

import collections
import os
import pathlib
import re
import shlex
import subprocess
import sys
import unittest
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
from exports import exported  # noqa: E402

PROJECT = pathlib.Path(sys.argv[1])
EXPORTS = PROJECT / "lib" / "exports.map"
COMPILER = shlex.split(sys.argv[2])
HEADERS = sorted((PROJECT / "include").glob("*.h"))
PAGES = sorted((PROJECT / "docs" / "man").glob("*.3"))
SOURCES = sorted((PROJECT / "docs" / "diagrams").iterdir())

Declaration = collections.namedtuple("Declaration", "comment group text kind name parameters")
# A comment, if there is one, and what is declared behind it.
DECLARATION = re.compile(r"(?:/\*\*((?:(?!\*/).)*)\*/\s*)?^((LC_API|typedef|static inline) [^;{]*?\)[^;{]*?)\s*[;{]",
                         re.S | re.M)
# The comment that opens a group of declarations, which tells what they have in common, or the end of one.
GROUP = re.compile(r"@\}|@name ((?:(?!\*/).)*?)@\{", re.S)
PARAMETER = re.compile(r"@param(?:\[\S*\])?\s+(\w+)")
# Told in the running text.
MENTIONED = re.compile(r"@p[\s*]+(\w+)")
RESULT = re.compile(r"@ret(?:urn|val)\s+[^@\s]")


def words(text):
    return " ".join(text.split())


def parameter_name(parameter):
    pointer = re.search(r"\(\*(\w+)\)", parameter)
    return pointer[1] if pointer else re.search(r"(\w+)(?:\[\w*\])?$", parameter)[1]


def declarations(header):
    """Functions and types of functions."""
    content = header.read_text()
    for found in DECLARATION.finditer(content):
        comment, text, kind = (part or "" for part in found.groups())
        group = ([""] + [opened[1] or "" for opened in GROUP.finditer(content, 0, found.start(2))])[-1]
        text = words(re.sub(r"^LC_API | LC_(?:PRINTF\(.*\)|NORETURN)$", "", words(text)))
        name, arguments = re.fullmatch(r".*?(\w+)\)?\((.*)\)", text).groups()
        parameters = [parameter_name(one) for one in re.split(r", (?![^()]*\))", arguments)
                      if one not in ("void", "...")]
        yield Declaration(comment, group, text, kind, name, parameters)


def passes_through(function):
    """Whether a call that others describe is named, and with it what it takes and returns."""
    is_said = "of the call that is named" in words(function.group.replace("*", ""))
    return is_said and re.search(r", as \w+\.", function.comment) is not None


def groups():
    """[(header, comment, functions)] of those that tell what several functions have in common."""
    gathered = {}
    for header, found in all_declarations():
        gathered.setdefault((header, found.group), []).append(found)
    return [(header, comment, functions) for (header, comment), functions in gathered.items() if comment]


def all_declarations():
    return [(header, declaration) for header in HEADERS for declaration in declarations(header)]


def examples(header):
    """What stands in code blocks of its comments."""
    return [re.sub(r"^ \* ?", "", block, flags=re.M)
            for block in re.findall(r"@code\n(.*?) \* @endcode", header.read_text(), re.S)]


class Comments(unittest.TestCase):
    def test_every_exported_function_is_found_in_a_header(self):
        self.assertEqual({found.name for _, found in all_declarations() if found.kind == "LC_API"}, exported(EXPORTS))

    def test_each_begins_with_what_the_function_does(self):
        for header, function in all_declarations():
            with self.subTest(header=header.name, function=function.name):
                self.assertRegex(words(function.comment.replace("*", "")), r"^[A-Z](?:[^@]|@p )*\.")

    def test_each_names_only_parameters_of_the_prototype_and_in_its_order(self):
        for header, function in all_declarations():
            with self.subTest(header=header.name, function=function.name):
                named = PARAMETER.findall(function.comment)
                self.assertEqual(named, [name for name in function.parameters if name in named])
                self.assertLessEqual(set(MENTIONED.findall(function.comment)), set(function.parameters))

    def test_each_parameter_is_described_with_the_function_or_its_group(self):
        for header, function in all_declarations():
            with self.subTest(header=header.name, function=function.name):
                if not passes_through(function):
                    told = function.comment + (function.group if function.kind == "LC_API" else "")
                    described = PARAMETER.findall(told) + MENTIONED.findall(told)
                    self.assertLessEqual(set(function.parameters), set(described))

    def test_no_parameter_is_described_twice(self):
        for header, function in all_declarations():
            with self.subTest(header=header.name, function=function.name):
                own = PARAMETER.findall(function.comment)
                self.assertEqual([name for name in PARAMETER.findall(function.group) if name in own], [])

    def test_what_a_group_describes_its_functions_have(self):
        for header, comment, functions in groups():
            with self.subTest(header=header.name, group=comment.split("\n")[0]):
                self.assertLessEqual(set(PARAMETER.findall(comment) + MENTIONED.findall(comment)),
                                     {name for function in functions for name in function.parameters})

    def test_each_parameter_has_a_direction_and_a_description(self):
        described = re.compile(r"@param\[(?:in|out|in,out)\] +(\w+) +[^@\s]")
        for header, function in all_declarations():
            for comment in (function.comment, function.group):
                with self.subTest(header=header.name, function=function.name):
                    self.assertEqual(described.findall(comment), PARAMETER.findall(comment))

    def test_a_result_is_described_where_there_is_one(self):
        for header, function in all_declarations():
            with self.subTest(header=header.name, function=function.name):
                returned = function.text.removeprefix("typedef ").split(function.name)[0].strip()
                if returned in ("void", "void (*"):
                    self.assertNotRegex(function.comment, RESULT)
                elif not passes_through(function):
                    self.assertRegex(function.comment + function.group, RESULT)

    def test_the_examples_compile(self):
        for header in HEADERS:
            for example in examples(header):
                with self.subTest(header=header.name):
                    subprocess.run([*COMPILER, "-std=gnu99", "-Wall", "-Wextra", "-Wpedantic", "-Werror",
                                    "-fsyntax-only", "-I", PROJECT / "include", "-x", "c", "-"],
                                   input=example, text=True, check=True)


def plain(page):
    """A page's text without its fonts and requests."""
    text = re.sub(r"\\f[BIR]", "", page.read_text())
    text = re.sub(r"^\.PP\n", "", text, flags=re.M)
    for escape, character in (("\\-", "-"), ("\\&", ""), ("\\(aq", "'"), ("\\(ti", "~"), ("\\(ha", "^"), ("\\e", "\\")):
        text = text.replace(escape, character)
    return text


def names(page):
    line = re.search(r"^\.SH NAME\n(.*) - ", plain(page), re.M)[1]
    return line.split(", ")


class Pages(unittest.TestCase):
    def test_each_header_with_functions_has_a_page(self):
        self.assertEqual([page.stem for page in PAGES],
                         sorted({header.stem for header, found in all_declarations() if found.kind == "LC_API"}))

    def test_each_exported_function_is_named_by_exactly_one(self):
        named = collections.Counter(name for page in PAGES for name in names(page))
        self.assertEqual({name: named[name] for name in exported(EXPORTS)}, dict.fromkeys(exported(EXPORTS), 1))

    def test_each_is_named_first_by_its_own_name(self):
        self.assertEqual([names(page)[0] for page in PAGES], [page.stem for page in PAGES])

    def test_each_shows_the_declarations_of_its_header(self):
        for header, found in all_declarations():
            with self.subTest(header=header.name, function=found.name):
                page = words(plain(PROJECT / "docs" / "man" / f"{header.stem}.3"))
                self.assertTrue(f"{found.text};" in page, f"not on the page: {found.text}")

    def test_each_shows_the_examples_of_its_header(self):
        for header in HEADERS:
            for example in examples(header):
                with self.subTest(header=header.name):
                    page = plain(PROJECT / "docs" / "man" / f"{header.stem}.3")
                    self.assertTrue(example in page, f"not on the page:\n{example}")

    def test_the_lint_has_nothing_against_any(self):
        done = subprocess.run(["mandoc", "-Tlint", "-Wwarning", *PAGES], capture_output=True, text=True)
        self.assertEqual((done.stdout + done.stderr, done.returncode), ("", 0))


def labels(source):
    """What a drawing says is written in it: its labels, and the names of nodes without one."""
    text = re.sub(r"^\s*(?://|#).*$", "", source.read_text(), flags=re.M)
    written = re.findall(r'label="((?:[^"\\]|\\.)*)"', text)
    if source.suffix == ".dot":
        nodes = re.findall(r"^\s*(\w+) \[(.*)\]$", text, re.M)
        written += [name for name, attributes in nodes
                    if name not in ("graph", "node", "edge") and "label=" not in attributes]
    return collections.Counter(line.strip() for label in written for line in label.split("\\n") if line.strip())


def picture_of(source):
    return PROJECT / "docs" / f"{source.stem}.svg"


class Pictures(unittest.TestCase):
    def test_each_holds_what_its_source_says(self):
        self.assertTrue(SOURCES)
        for source in SOURCES:
            with self.subTest(source=source.name):
                texts = ET.parse(picture_of(source)).iter("{http://www.w3.org/2000/svg}text")
                drawn = collections.Counter(words("".join(text.itertext())) for text in texts)
                del drawn[""]
                self.assertEqual(drawn, labels(source))

    def test_each_is_on_white(self):
        for source in SOURCES:
            with self.subTest(source=source.name):
                self.assertRegex(picture_of(source).read_text(),
                                 r'<rect width="100%" height="100%" fill="white"'
                                 r'|<polygon fill="white" stroke="(?:transparent|none)"')

    def test_each_is_shown_in_the_architecture(self):
        shown = re.findall(r"!\[[^]]+\]\((\S+\.svg)\)", (PROJECT / "docs" / "architecture.md").read_text())
        self.assertEqual(sorted(shown), sorted(picture_of(source).name for source in SOURCES))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
