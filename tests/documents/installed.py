"""An installed copy of the library, used as a document tells to: by the names of its programs, cc and
pkg-config, whatever it was built for."""

import os
import pathlib
import shlex
import subprocess

STRICT = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]


class Installed:
    def __init__(self, prefix, emulator):
        self.prefix = pathlib.Path(prefix)
        self.emulator = emulator
        self.pkgconfig = next(self.prefix.rglob("lterouter.pc")).parent

    def environment(self, path=()):
        """For programs of the copy and those that are built against it; path comes first."""
        return {**os.environ, "PKG_CONFIG_PATH": str(self.pkgconfig),
                "LD_LIBRARY_PATH": str(self.pkgconfig.parent),
                "PATH": ":".join([*map(str, path), os.environ["PATH"] + ":/usr/sbin"])}

    def flags(self):
        return subprocess.run(["pkg-config", "--cflags", "--libs", "lterouter"], check=True, text=True,
                              capture_output=True, env=self.environment()).stdout.split()

    def _put_script(self, path, text):
        path.write_text(f"#!/bin/sh\n{text}")
        path.chmod(0o755)

    def put_tools(self, folder):
        """Puts what starts ltectl, wansim and modemsim by their names into a folder."""
        for tool in "ltectl", "wansim", "modemsim":
            program = str(self.prefix / "bin" / tool)
            self._put_script(folder / tool, f'exec {shlex.join([*self.emulator, program])} "$@"\n')

    def put_compiler(self, folder, compiler):
        """Puts a cc there that compiles strictly, and where programs are emulated has the one that it makes, by
        its last argument, start by its name all the same."""
        text = f'{shlex.join([*compiler, *STRICT])} "$@" || exit\n'
        if self.emulator:
            text += ('for name; do :; done\nmv "$name" "$name.program"\n'
                     f'echo "#!/bin/sh\nexec {shlex.join(self.emulator)} $PWD/$name.program \\"\\$@\\"" >"$name"\n'
                     'chmod +x "$name"\n')
        self._put_script(folder / "cc", text)
