"""What the routers' init scripts of the page start, told by what their systems' own commands would be given."""

import os
import pathlib
import subprocess

DEFAULTS = pathlib.Path("/etc/default/lteweb")
CONFIG = pathlib.Path("/etc/config/lteweb")

# What rc.common, its configuration's reader and procd do, as far as the script calls them. The configuration's language
# is read by the shell: a section, an option and a list are words with their values in quotes.
OPENWRT = """
config() { current=$2; }
option() { eval "option_${current}_$1=\\$2"; }
list() { eval "list_${current}_$1=\\"\\${list_${current}_$1} \\$2\\""; }
config_load() { . /etc/config/$1; }
config_get() { eval "$1=\\${option_$2_$3}"; }
config_list_foreach() { for item in $(eval "echo \\${list_$1_$2}"); do $3 "$item"; done; }
procd_open_instance() { :; }
procd_set_param() { if [ "$1" = command ]; then shift; printf '%s\\n' "$@"; fi; }
procd_append_param() { shift; printf '%s\\n' "$@"; }
procd_close_instance() { :; }
. "$0"
start_service
"""


def words(*command, **variables):
    return subprocess.run(command, check=True, capture_output=True, text=True,
                          env={**os.environ, **variables}).stdout.splitlines()


def write(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)


def buildroot_command(project, options=None):
    """The words by which S95lteweb starts the page, with these lines in the file of options."""
    DEFAULTS.unlink(missing_ok=True)
    if options is not None:
        write(DEFAULTS, options)
    daemons = pathlib.Path("/tmp/daemons")
    write(daemons / "start-stop-daemon", "#!/bin/sh\nprintf '%s\\n' \"$@\"\n")
    (daemons / "start-stop-daemon").chmod(0o755)
    given = words("sh", f"{project}/packaging/buildroot/lterouter/S95lteweb", "start", PATH=f"{daemons}:/usr/bin")
    program = given.index("-x") + 1
    assert given[program + 1:program + 2] in ([], ["--"]), given
    return [given[program], *given[program + 2:]]


def openwrt_command(project, configuration):
    """The words by which the init script starts the page, with this configuration."""
    write(CONFIG, configuration)
    return words("sh", "-ec", OPENWRT, f"{project}/packaging/openwrt/lterouter/files/lteweb.init")
