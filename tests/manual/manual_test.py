"""The manual without the programs that make it: comments of the headers, pages of section 3, pictures.

usage: manual_test.py PROJECT C_COMPILER
  C_COMPILER  with its options, as one argument"""

import collections
import pathlib
import re
import shlex
import subprocess
import sys
import unittest
import xml.etree.ElementTree as ET

PROJECT = pathlib.Path(sys.argv[1])
COMPILER = shlex.split(sys.argv[2])
HEADERS = sorted((PROJECT / "include").glob("*.h"))
PAGES = sorted((PROJECT / "docs" / "man").glob("*.3"))
SOURCES = sorted((PROJECT / "docs" / "diagrams").iterdir())

Declaration = collections.namedtuple("Declaration", "comment text kind name parameters")
# A comment, if there is one, and what is declared behind it.
DECLARATION = re.compile(r"(?:/\*\*((?:(?!\*/).)*)\*/\s*)?^((LC_API|typedef|static inline) [^;{]*?\)[^;{]*?)\s*[;{]",
                         re.S | re.M)


def words(text):
    return " ".join(text.split())


def parameter_name(parameter):
    pointer = re.search(r"\(\*(\w+)\)", parameter)
    return pointer[1] if pointer else re.search(r"(\w+)(?:\[\w*\])?$", parameter)[1]


def declarations(header):
    """Functions and types of functions."""
    for comment, text, kind in DECLARATION.findall(header.read_text()):
        text = words(re.sub(r"^LC_API | LC_(?:PRINTF\(.*\)|NORETURN)$", "", words(text)))
        name, arguments = re.fullmatch(r".*?(\w+)\)?\((.*)\)", text).groups()
        parameters = [parameter_name(one) for one in re.split(r", (?![^()]*\))", arguments)
                      if one not in ("void", "...")]
        yield Declaration(comment, text, kind, name, parameters)


def all_declarations():
    return [(header, declaration) for header in HEADERS for declaration in declarations(header)]


def exported():
    listed = re.sub(r"/\*.*?\*/|#[^\n]*", "", (PROJECT / "lib" / "exports.map").read_text(), flags=re.S)
    return set(re.findall(r"\w+", re.search(r"global:(.*)local:", listed, re.S)[1]))


def examples(header):
    """What stands in code blocks of its comments."""
    return [re.sub(r"^ \* ?", "", block, flags=re.M)
            for block in re.findall(r"@code\n(.*?) \* @endcode", header.read_text(), re.S)]


class Comments(unittest.TestCase):
    def test_every_exported_function_is_found_in_a_header(self):
        self.assertEqual({found.name for _, found in all_declarations() if found.kind == "LC_API"}, exported())

    def test_each_begins_with_what_the_function_does(self):
        for header, function in all_declarations():
            with self.subTest(header=header.name, function=function.name):
                self.assertRegex(words(function.comment.replace("*", "")), r"^[A-Z][^@]*\.")

    def test_each_names_the_parameters_that_the_prototype_has(self):
        for header, function in all_declarations():
            with self.subTest(header=header.name, function=function.name):
                self.assertEqual(re.findall(r"@param(?:\[\S*\])?\s+(\w+)", function.comment), function.parameters)

    def test_each_parameter_has_a_direction_and_a_description(self):
        described = re.compile(r"@param\[(?:in|out|in,out)\] +(\w+) +[^@\s]")
        for header, function in all_declarations():
            with self.subTest(header=header.name, function=function.name):
                self.assertEqual(described.findall(function.comment), function.parameters)

    def test_a_result_is_described_where_there_is_one(self):
        for header, function in all_declarations():
            with self.subTest(header=header.name, function=function.name):
                returned = function.text.removeprefix("typedef ").split(function.name)[0].strip()
                self.assertEqual(re.search(r"@ret(?:urn|val)\s+[^@\s]", function.comment) is None,
                                 returned in ("void", "void (*"))

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
        self.assertEqual({name: named[name] for name in exported()}, dict.fromkeys(exported(), 1))

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
