"""Symbols, dependencies and sections of the finished library. usage: binary_test.py LIBRARY EXPORTS_MAP INCLUDE_DIR"""

import os
import pathlib
import re
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "peers"))
import elf  # noqa: E402
sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
from exports import exported  # noqa: E402

LIBRARY, EXPORTS, INCLUDE = (pathlib.Path(sys.argv.pop(1)) for _ in range(3))


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, errors="replace").stdout


def without_comments(text):
    return re.sub(r"/\*.*?\*/|#[^\n]*", "", text, flags=re.S)


def dynamic_symbols(which):
    """Names without their versions."""
    lines = output("nm", "-D", which, LIBRARY).splitlines()
    return {line.split()[-1].split("@")[0] for line in lines}


def prototypes():
    """The text and the name of every function that a public header declares and does not define."""
    for header in INCLUDE.glob("*.h"):
        text = re.sub(r"LC_(BEGIN|END)_DECLS", "", without_comments(header.read_text().replace("\\\n", "")))
        text = re.sub(r"static inline [^{]*\{[^{}]*\}", "", text)
        for statement in re.sub(r"\{[^{}]*\}", "", text).split(";"):
            name = re.search(r"(\w+)\(", statement)
            if name and not statement.strip().startswith("typedef"):
                yield statement.strip(), name.group(1)


class Binary(unittest.TestCase):
    def setUp(self):
        self.dynamic = elf.readelf("--dynamic", LIBRARY)

    def test_it_needs_libc_alone(self):
        self.assertEqual(elf.needed(LIBRARY), elf.libc(LIBRARY))

    def test_its_soname_carries_the_major_version(self):
        self.assertRegex(self.dynamic, r"\(SONAME\).*\[liblterouter\.so\.1\]")

    def test_nothing_of_the_cxx_run_time_is_undefined(self):
        undefined = dynamic_symbols("--undefined-only")
        foreign = {name for name in undefined if re.match(r"_Z|__gxx|_Unwind|__cxa_(?!finalize|atexit)", name)}
        self.assertEqual(foreign, set())

    def test_thread_storage_needs_no_library_more(self):
        """Of musl, and of the GNU libc on MIPS, what finds it is in a library that is needed anyway."""
        if elf.has_musl(LIBRARY) or "ld.so.1" in elf.libc(LIBRARY):
            self.assertEqual(elf.needed(LIBRARY), elf.libc(LIBRARY))
        else:
            self.assertNotIn("__tls_get_addr", dynamic_symbols("--undefined-only"))

    def test_undefined_symbols_are_versioned_by_libc(self):
        if elf.has_musl(LIBRARY):
            self.skipTest("the symbols of musl have no versions")
        versions = re.findall(r"\sU \w+@(\w+)", output("nm", "-D", "--undefined-only", LIBRARY))
        self.assertTrue(versions)
        self.assertEqual(set(versions), {"GLIBC_2"})

    def test_it_exports_what_the_map_lists(self):
        self.assertEqual(dynamic_symbols("--defined-only") - {"LTEROUTER_1"}, exported(EXPORTS))

    def test_it_exports_what_the_headers_declare(self):
        self.assertEqual(dynamic_symbols("--defined-only") - {"LTEROUTER_1"}, {name for _, name in prototypes()})

    def test_every_declaration_says_that_it_is_exported(self):
        unmarked = [text for text, _ in prototypes() if not text.startswith("LC_API ")]
        self.assertEqual(unmarked, [])

    def test_its_relocations_are_read_only_and_bound_at_start(self):
        self.assertIn("GNU_RELRO", elf.readelf("--program-headers", LIBRARY))
        self.assertRegex(self.dynamic, r"BIND_NOW|FLAGS_1.*NOW")

    def test_a_program_may_load_it_at_any_time(self):
        """Thread storage with a fixed place would have to be there when the program starts."""
        self.assertNotIn("STATIC_TLS", self.dynamic)

    def test_it_stays_where_it_is_loaded(self):
        self.assertRegex(self.dynamic, r"FLAGS_1.*NODELETE")

    def test_functions_with_buffers_check_their_stack(self):
        self.assertIn("__stack_chk_fail", dynamic_symbols("--undefined-only"))


class DebugInformation(unittest.TestCase):
    def test_it_stands_in_a_separate_file_that_the_library_names(self):
        real = LIBRARY.resolve()
        separate = real.with_name(real.name + ".debug")
        if not separate.exists():
            self.skipTest("only the native release build splits it off")
        self.assertIn(separate.name, elf.readelf("--string-dump=.gnu_debuglink", real))
        self.assertNotIn(".debug_info", elf.readelf("--sections", real))
        self.assertIn(".debug_info", elf.readelf("--sections", separate))
        self.assertIn(".symtab", elf.readelf("--sections", real))


if __name__ == "__main__":
    unittest.main(verbosity=2)
