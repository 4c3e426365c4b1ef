"""What the library's version script exports, for tests that hold something else against it."""

import pathlib
import re


def exported(version_script):
    """The names of the functions."""
    text = re.sub(r"/\*.*?\*/|#[^\n]*", "", pathlib.Path(version_script).read_text(), flags=re.S)
    names = set(re.findall(r"(\w+);", re.search(r"global:(.*)local:", text, re.S)[1]))
    assert names, version_script
    return names
