"""What bash, zsh and fish offer behind a command line, by the scripts that are installed for them.

usage: completion_test.py LTECTL WANSIM MODEMSIM SCRIPTS"""

import os
import pty
import re
import select
import shutil
import subprocess
import sys
import time

import support
from support import STORE, NvTest, write_file

MODEMSIM, SCRIPTS = sys.argv[3:]
del sys.argv[3:]

BIN = "/tmp/bin"
COMMON = ["--get", "--help", "--json", "--version"]


class CompletionTest(NvTest):
    def setUp(self):
        NvTest.setUp(self)
        support.ToolTest.setUp(self)
        shutil.rmtree(BIN, ignore_errors=True)
        os.mkdir(BIN)
        for name, command in (("ltectl", support.ltectl_program), ("wansim", support.wansim_program),
                              ("modemsim", MODEMSIM)):
            write_file(f"{BIN}/{name}", f'#!/bin/sh\nexec {command} "$@"\n'.encode())
            os.chmod(f"{BIN}/{name}", 0o755)
        self.environment = {**os.environ, "PATH": f"{BIN}:{os.environ['PATH']}", "HOME": "/tmp", "TERM": "dumb"}

    def run_shell(self, *command):
        result = subprocess.run(command, capture_output=True, text=True, cwd="/2ndfile", env=self.environment,
                                stdin=subprocess.DEVNULL, timeout=support.TIMEOUT)
        self.assertEqual(result.stderr, "")
        return result.stdout.split("\n")[:-1]


class Bash(CompletionTest):
    def offered(self, line):
        script = ('source "$1/lterouter.bash"; COMP_LINE=$2; COMP_POINT=${#2}; read -ra COMP_WORDS <<<"$2"; '
                  '_lterouter_complete "${COMP_WORDS[0]}"; '
                  '[ ${#COMPREPLY[@]} -eq 0 ] || printf "%s\\n" "${COMPREPLY[@]}"')
        return self.run_shell("bash", "-c", script, "bash", SCRIPTS, line)

    def test_commands_and_the_words_of_their_options_and_operands(self):
        names = ["state-change", "stats", "status"]
        for line, words in (
                ("ltectl st", names), ("ltectl --json st", names), ("ltectl -g name st", names),
                ("ltectl frobnicate ", []), ("ltectl pin ", ["change", "disable", "enable"]),
                ("ltectl sim s", ["signal", "status"]), ("ltectl sim link ", ["drop", "restore"]),
                ("ltectl sim network ", ["0", "1", "2", "3"]), ("ltectl sim card --timeout 5 o", ["out"]),
                ("ltectl sim quit ", []), ("wansim --sc", ["--script"]), ("wansim --b", ["--board"]),
                ("ltectl nv i", ["import", "init"]), ("ltectl net route ", ["add", "default", "del"]),
                ("wansim --sim ", ["absent", "pin", "puk", "ready"]), ("wansim --sim=p", ["pin", "puk"]),
                ("wansim --roaming ", ["off", "on"]), ("modemsim --echo=o", ["off", "on"]),
                ("ltectl led sim 4 --colour ", ["0", "1", "2", "3"]), ("ltectl roam --timeout ", []),
                ("ltectl roam ", ["off", "on"]), ("ltectl iface ", ["down", "up"]),
                ("ltectl ussd-test ", ["1", "2", "3"]), ("ltectl nettype ", ["0", "1", "2", "3"]),
                ("ltectl led ", ["internet", "signal", "sim"]),
                ("ltectl led sim ", ["10", "11", "12", "4", "8", "9"]), ("ltectl roam on ", []),
                ("ltectl request IPC", ["IPC_MSG_ID_DEREGISTER", "IPC_MSG_ID_REGISTER"]),
                ("ltectl request WM_MSG_ROAM", ["WM_MSG_ROAM_SWITCH_GET_REQ", "WM_MSG_ROAM_SWITCH_SET_REQ"]),
                ("ltectl wait m", ["manager"]), ("ltectl wait sim=sim_p", ["sim_pin", "sim_puk"]),
                ("ltectl wait manager link=c", ["connected", "connecting"]), ("ltectl wait link=x", []),
                ("ltectl wait li", [f"link={state}" for state in ("connected", "connecting", "disconnected",
                                                                  "disconnecting")]),
                ("ltectl led sim 4 ", []), ("ltectl net route add lo 10.0.0.0/8 ", ["via"]), ("ltectl imsi ", []),
                ("wansim --dns", ["--dns1", "--dns2"]), ("wansim --fault search=d", ["die"]),
                ("modemsim --fault status=", ["error", "late", "reboot", "silent", "vanish"])):
            with self.subTest(line):
                self.assertEqual(self.offered(line), words)
        offered = self.offered("ltectl ")
        self.assertEqual(offered, sorted(set(offered)))
        self.assertLessEqual({"status", "pin", "scan", "monitor", "ram", "stats"}, set(offered))

    def test_every_option_of_every_command(self):
        """As its help lists them, those with digits in them too."""
        helped = self.run_shell("ltectl", "--help")
        words = [re.match(r"  ([a-z-]+(?: [a-z-]+)*)(?= |$)", line).group(1)
                 for line in helped[helped.index("commands:") + 1:helped.index("options:") - 1]]
        for line in (*(f"ltectl {command}" for command in words), "wansim", "modemsim"):
            options = re.findall(r"^  (--[a-z0-9-]+)", "\n".join(self.run_shell(*line.split(), "--help")), re.M)
            self.assertEqual(self.offered(line + " --"), sorted(options), line)
            self.assertLess(set(COMMON), set(options) | {""})

    def test_faults(self):
        helped = " ".join(self.run_shell("wansim", "--help"))
        faults = re.sub(r"\[.*?\]", "", re.search(r"Faults: (.*?)\. ", helped).group(1)).split(", ")
        self.assertEqual(self.offered("wansim --fault all="), sorted(faults))
        self.assertIn("get-roaming\\=late", [entry.replace("get-roaming=", "get-roaming\\=") for entry in
                                             self.offered("wansim --fault get-r")])
        self.assertNotIn("begin=stall", self.offered("modemsim --fault b"))
        helped = " ".join(self.run_shell("modemsim", "--help"))
        counted, timed, of_commands, not_of_begin = (
            set(re.findall(r"[a-z]+(?:-[a-z]+)*", re.search(told, helped).group(1))) - {"and"}
            for told in (r"times \(1\): (.*?);", r"milliseconds: (.*?)\. ", r"commands have (.*?);", r"has no (.*?)\."))
        of_frames = (counted | timed) - {"error"}
        for place, faults in (("start", of_commands), ("status", of_commands), ("begin", of_frames - not_of_begin),
                              ("0", of_frames), ("end", of_frames)):
            self.assertEqual(self.offered(f"modemsim --fault {place}="), sorted(faults), place)

    def test_interfaces(self):
        for line in ("stats ", "net iface ", "net probe 10.0.0.1 ", "net route add ", "net route default del ",
                     "status --interface l", "wait interface=l"):
            self.assertIn("lo", self.offered("ltectl " + line), line)
        self.assertEqual(self.offered("ltectl net probe "), [])

    def test_names_of_parameters(self):
        self.declare(b"# comment\nlan_ip=7=\nlan_mask=7=\nwan=7=\n")
        for command in ("get", "set"):
            self.assertEqual(self.offered(f"ltectl nv {command} lan"), ["lan_ip", "lan_mask"])
            self.assertEqual(self.offered(f"ltectl nv {command} wan "), [])
        self.assertEqual(self.offered("ltectl nv watch wan lan"), ["lan_ip", "lan_mask"])
        os.makedirs(STORE)
        write_file(STORE + "volatile", b"v\0")
        for command in ("get", "set"):
            self.assertEqual(self.offered(f"ltectl ram {command} "), ["volatile"])

    def test_modules_and_levels_of_the_log(self):
        levels = ["debug", "error", "info"]
        first = self.offered("ltectl log ")
        self.assertEqual(first, sorted(set(first)))
        self.assertLessEqual({"WanManager", "SC", "CM", "time", "on", "off", *levels}, set(first))
        self.assertEqual(self.offered("ltectl log Wa"), ["WanManager"])
        self.assertEqual(self.offered("ltectl log CM "), sorted([*levels, "on", "off"]))
        for words in ("CM error", "time", "error"):
            self.assertEqual(self.offered(f"ltectl log {words} "), ["off", "on"])
        self.assertEqual(self.offered("ltectl log --json CM d"), ["debug"])
        for words in ("on", "off", "time on", "CM off", "CM error on"):
            self.assertEqual(self.offered(f"ltectl log {words} "), [], words)

    def test_the_shell_makes_nothing_of_a_name(self):
        name = "x$(touch /2ndfile/ran)`touch /2ndfile/ran`"
        write_file(f"{BIN}/ltectl", f"#!/bin/sh\necho '{name}'\n".encode())
        for current in ("", "x"):
            [word] = self.offered(f"ltectl log {current}")
            typed = subprocess.run(["bash", "-c", "echo " + word], capture_output=True, text=True,
                                   timeout=support.TIMEOUT)
            self.assertEqual(typed.stdout, name + "\n")
        self.assertFalse(os.path.exists("/2ndfile/ran"))

    def test_files(self):
        write_file("/2ndfile/apn.list", b"")
        for line in ("ltectl apn match apn", "ltectl nv import apn", "ltectl nv batch apn", "ltectl upgrade apn", "modemsim --image apn",
                     "modemsim --image=apn"):
            self.assertEqual(self.offered(line), ["apn.list"], line)
        self.assertEqual(self.offered("ltectl imsi apn"), [])


class Fish(CompletionTest):
    def offered(self, line):
        entries = self.run_shell("fish", "--no-config", "-c", f"source {SCRIPTS}/lterouter.fish; complete -C '{line}'")
        return sorted(entry.split("\t")[0] for entry in entries)

    def test_offers_the_same(self):
        self.declare(b"lan_ip=7=\nlan_mask=7=\nwan=7=\n")
        write_file("/2ndfile/apn.list", b"")
        for line, words in (("ltectl st", ["state-change", "stats", "status"]), ("ltectl pin ", ["change", "disable", "enable"]),
                            ("ltectl nv get lan", ["lan_ip", "lan_mask"]), ("wansim --dns", ["--dns1", "--dns2"]),
                            ("wansim --sim=p", ["--sim=pin", "--sim=puk"]), ("wansim --sim ", ["absent", "pin", "puk", "ready"]),
                            ("wansim --fault search=d", ["search=die"]), ("ltectl apn match apn", ["apn.list"]),
                            ("modemsim --image=apn", ["--image=apn.list"]), ("ltectl imsi ", [])):
            self.assertEqual(self.offered(line), words, line)


class Zsh(CompletionTest):
    def type(self, line):
        """What stands on the line when a user has typed this and the tabulator, in a shell on a terminal."""
        shutil.rmtree("/tmp/functions", ignore_errors=True)
        os.mkdir("/tmp/functions")
        shutil.copy(f"{SCRIPTS}/lterouter.zsh", "/tmp/functions/_lterouter")
        write_file("/tmp/.zshrc", b"fpath=(/tmp/functions $fpath); autoload -Uz compinit; compinit -u -D; unsetopt beep\n"
                                  b"PS1='> '; unsetopt prompt_cr prompt_sp zle_bracketed_paste; unset zle_bracketed_paste\n"
                                  b"show() { zle -I; print -r -- \"<<$BUFFER>>\"; }; zle -N show; bindkey '^X' show\n")
        process, terminal = pty.fork()
        if process == 0:
            os.chdir("/2ndfile")
            os.execvpe("zsh", ["zsh", "-i"], self.environment)
        try:
            self.await_text(terminal, "> ")
            os.write(terminal, line.encode() + b"\t\x18")
            return re.search(r"<<(.*)>>", self.await_text(terminal, ">>")).group(1)
        finally:
            os.kill(process, 9)
            os.waitpid(process, 0)
            os.close(terminal)

    def await_text(self, terminal, text):
        shown = ""
        deadline = time.monotonic() + support.TIMEOUT
        while text not in shown:
            self.assertTrue(select.select([terminal], [], [], deadline - time.monotonic())[0], shown)
            shown += os.read(terminal, 4096).decode()
        return shown

    def test_completes(self):
        self.declare(b"lan_ip=7=\nwan=7=\n")
        write_file("/2ndfile/apn.list", b"")
        for line, completed in (("ltectl statu", "ltectl status "), ("ltectl pin e", "ltectl pin enable "),
                                ("ltectl nv get lan", "ltectl nv get lan_ip "), ("wansim --roa", "wansim --roaming "),
                                ("wansim --sim pi", "wansim --sim pin "), ("wansim --sim=pi", "wansim --sim=pin "),
                                ("wansim --fault search=d", "wansim --fault search=die "),
                                ("ltectl apn match ap", "ltectl apn match apn.list "), ("ltectl imsi ap", "ltectl imsi ap")):
            self.assertEqual(self.type(line).rstrip(), completed.rstrip(), line)


if __name__ == "__main__":
    support.main()
