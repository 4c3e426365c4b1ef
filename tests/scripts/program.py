"""A script of the project as a module, for the tests of what is inside."""

import importlib.machinery
import importlib.util
import sys


def load(path):
    loader = importlib.machinery.SourceFileLoader(path.name, str(path))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(path.name, loader))
    sys.dont_write_bytecode = True
    loader.exec_module(module)
    return module
