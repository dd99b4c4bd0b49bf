# SPDX-License-Identifier: Apache-2.0
"""What the tab key does in bash, zsh and fish, on a terminal, beside the embedded host.

    completion_test.py PROGRAMS COMPLETIONS

To be run in user, IPC and mount namespaces of its own: there /tmp is replaced. In each shell the
programs are functions that tell how the shell read its line, so that quotation is seen as well."""
import os
import pathlib
import pty
import pwd
import re
import select
import subprocess
import sys
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "support"))
from private_tmp import PROJECT, replace_tmp

PROGRAMS, COMPLETIONS = map(pathlib.Path, sys.argv[1:3])
HOME = pathlib.Path("/tmp/home")
EVIL = """Ev'il "x" $(touch /tmp/owned) `touch /tmp/owned` \\ ö; #"""
FLOWS = ["Payment", EVIL, "name:space", "hidden\x1b[2J", "-dash"]
PROMPT = "READY-"
ENVIRONMENT = {"PATH": f"{PROGRAMS}:/usr/bin:/bin", "HOME": str(HOME), "LC_ALL": "C.UTF-8", "TERM": "xterm"}

NAMES = ("zebmon", "zebhost", "zebpnode")
POSIX = "".join(
    f"""{name}() {{ if [[ $1 == __complete ]]; then command {name} "$@"; else printf '<%s>\\n' "$@"; echo DONE; fi; }}
""" for name in NAMES)
BASH = f"""{POSIX}
bind 'set enable-bracketed-paste off'
for file in {COMPLETIONS}/bash/*; do source $file; done
PS1=READY'-'
"""
ZSH = f"""{POSIX}
fpath=({COMPLETIONS}/zsh $fpath)
autoload -Uz compinit && compinit -u -d ~/dump
unsetopt beep prompt_sp auto_remove_slash
zle_bracketed_paste=()
PS1=READY'-'
"""
TELLING = "".join(
    f"""function {name}; if test "$argv[1]" = __complete; command {name} $argv; else; told $argv; end; end
""" for name in NAMES)
FISH = f"""
function told; for word in $argv; echo "<$word>"; end; echo DONE; end
{TELLING}
for file in {COMPLETIONS}/fish/*; source $file; end
function fish_prompt; echo -n READY'-'; end
"""


def flow_file():
    lines = ['[broker]', 'label = "SHOP"', 'uuid = "5f0c"']
    for group, flows in (("orders", FLOWS), ("warehouse", ["Stock"])):
        lines += ["[[execution-group]]", f'label = "{group}"']
        for flow in flows:
            escaped = flow.replace("\\", "\\\\").replace('"', '\\"').replace("\x1b", "\\u001B")
            lines += ["[[execution-group.flow]]", f'label = "{escaped}"',
                      "input = { generated = { size = 10 }, rate = 1 }",
                      f'node = [{{ monitor = "In of {escaped}", type = "input" }}]']
    path = HOME / "flows.toml"
    path.write_text("\n".join(lines) + "\n")
    return path


def begin():
    """A broker, an empty directory of key files, and files to be named."""
    (HOME / "empty").mkdir(parents=True)
    (HOME / "snapshot of it.tar").touch()
    host = subprocess.Popen([PROGRAMS / "zebhost", "run", flow_file(), "--quiet", "--log", "/dev/null"])
    while "Stock" not in subprocess.run([PROGRAMS / "zebmon", "stats"], text=True, capture_output=True).stdout:
        assert host.poll() is None
    return host


class Shell:
    """On a terminal of its own."""

    def __init__(self, *words):
        self.child, self.terminal = pty.fork()
        if self.child == 0:
            os.chdir(HOME)
            os.execvpe(words[0], words, ENVIRONMENT)
        self.seen = ""

    def until(self, text):
        """What the terminal shows up to there."""
        while text not in self.seen:
            ready, _, _ = select.select([self.terminal], [], [], 60)
            assert ready, f"{text!r} is not in {self.seen!r}"
            self.seen += os.read(self.terminal, 65536).decode(errors="replace")
        shown, self.seen = self.seen.split(text, 1)
        return shown

    def read(self, typed):
        """The arguments that a command gets when this is typed, and all that was shown meanwhile."""
        os.write(self.terminal, f"{typed}\r".encode())
        shown = self.until("DONE\r\n")
        self.until(PROMPT)
        return re.findall(r"<(.*)>\r\n", shown), shown

    def end(self):
        os.close(self.terminal)
        os.waitpid(self.child, 0)


class Completion:
    """What is the same in all shells."""

    def setUp(self):
        start = HOME / "start"
        start.write_text(self.START)
        self.shell = Shell(*self.COMMAND)
        self.addCleanup(self.shell.end)
        os.write(self.shell.terminal, f". {start}\r".encode())
        self.shell.until(PROMPT)

    def require(self, typed, *arguments):
        read, shown = self.shell.read(typed)
        self.assertEqual(read, list(arguments), shown)
        self.assertNotRegex(shown, r"not found|: error|zebmon: |zebhost: ")
        self.assertFalse(os.path.exists("/tmp/owned"))

    def test_commands(self):
        self.require("zebmon sn\t", "snapshot")
        self.require("zebhost ex\tflows.toml", "exec", "flows.toml")

    def test_options_and_their_fixed_values(self):
        self.require("zebmon stats --no-\t", "stats", "--no-header")
        self.require("zebmon stats --colo\tn\t", "stats", "--color", "never")
        self.require("zebmon stats --format=c\t", "stats", "--format=csv")
        self.require("zebmon doctor --only lock,broker\t", "doctor", "--only", "lock,broker.same-label")

    def test_names_of_columns_in_a_list_and_behind_a_sign(self):
        self.require("zebmon stats --columns node,sizeMe\t", "stats", "--columns", "node,sizeMeanBytes")
        self.require("zebmon stats --columns=node,sizeMe\t", "stats", "--columns=node,sizeMeanBytes")
        self.require("zebmon stats --sort -sizeMe\t", "stats", "--sort", "-sizeMeanBytes")

    def test_a_limit_goes_on_behind_its_sign(self):
        self.require("zebmon check ar\t80%", "check", "area=80%")

    def test_live_names(self):
        self.require("zebmon stats --broker \t", "stats", "--broker", "SHOP")
        self.require("zebmon flow Pay\t--group or\t", "flow", "Payment", "--group", "orders")

    def test_names_within_those_that_stand_before(self):
        self.require("zebmon stats --group warehouse --flow \t", "stats", "--group", "warehouse", "--flow", "Stock")
        self.require("zebmon stats --flow=St\t--node \t", "stats", "--flow=Stock", "--node", "In of Stock")

    def test_a_name_is_a_word_whatever_is_in_it(self):
        self.require("zebmon flow Ev\t", "flow", EVIL)
        self.require("zebmon flow 'Ev\t", "flow", EVIL)
        self.require('zebmon flow "Ev\t', "flow", EVIL)
        self.require("zebmon stats --node In\\ of\\ Ev\t", "stats", "--node", f"In of {EVIL}")

    def test_a_name_with_a_colon(self):
        self.require("zebmon flow na\t", "flow", "name:space")
        self.require("zebmon flow name:s\t", "flow", "name:space")

    def test_names_that_would_move_the_cursor_are_not_offered(self):
        self.require("zebmon flow hid\tden", "flow", "hidden")

    def test_owners_of_brokers(self):
        self.require("zebmon stats --owner \t", "stats", "--owner", pwd.getpwuid(os.getuid()).pw_name)

    def test_a_command_behind_a_flow_file_and_its_files(self):
        self.require("zebhost exec flows.toml -- sha256s\tfl\t", "exec", "flows.toml", "--", "sha256sum", "flows.toml")

    def test_files(self):
        self.require("zebmon stats --from sn\t", "stats", "--from", "snapshot of it.tar")
        self.require("zebhost run fl\t", "run", "flows.toml")

    def test_directories(self):
        self.require("zebpnode en\t--dir e\t", "enable", "--dir", "empty/")

    def test_nothing_where_there_is_nothing(self):
        self.require("zebmon stats --temp-directory empty --flow \tX", "stats", "--temp-directory", "empty", "--flow", "X")
        self.require("zebmon nonsense --\tx", "nonsense", "--x")


class Answers(unittest.TestCase):
    """The program, without a shell."""

    def ask(self, *words, program="zebmon"):
        done = subprocess.run([PROGRAMS / program, "__complete", *words], text=True, capture_output=True, env=ENVIRONMENT,
                              stdin=subprocess.DEVNULL)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout.splitlines()

    def words(self, *words, **more):
        return [line.split("\t")[0] for line in self.ask(*words, **more)]

    def help_of(self, *words):
        return subprocess.run([*words, "--help"], text=True, capture_output=True, env=ENVIRONMENT).stdout

    def test_each_command_and_option_of_the_help_is_offered_and_no_other(self):
        for program in NAMES:
            listing = self.help_of(program).split("Subcommands:\n")[1].split("\n\n")[0]
            commands = re.findall(r"(?m)^  (\w+) ", listing)
            self.assertEqual(self.words("", program=program), commands)
            for command in commands:
                told = re.findall(r"(?m)^  (?:-\w,)?(--[\w-]+)", self.help_of(program, command))
                self.assertEqual(self.words(command, "--", program=program), told)

    def test_before_a_command_there_are_the_options_of_the_program(self):
        self.assertEqual(self.words("-"), ["--help", "--version"])

    def test_an_option_that_is_given_or_excluded_is_not_offered_again(self):
        options = self.words("stats", "--from", "x", "--owner", "0", "--")
        self.assertNotIn("--from", options)
        self.assertNotIn("--temp-directory", options)
        self.assertIn("--owner", options)

    def test_candidates_are_described(self):
        self.assertIn("Payment\tmessage flow", self.ask("flow", ""))
        self.assertIn("stats\tMessages, sizes and times of every node", self.ask(""))

    def test_names_of_a_snapshot_file_are_offered(self):
        snapshot = PROJECT / "tests/agent/golden/shop.tar"
        self.assertEqual(self.words("stats", "--from", str(snapshot), "--broker", ""), ["SHOPBROKER"])

    def test_message_ids_go_on_from_what_is_typed_of_them(self):
        place = ["message", "--from", str(PROJECT / "tests/agent/golden/shop.tar")]
        ids = self.words(*place, "")
        self.assertGreater(len(ids), 10)
        self.assertEqual({len(one) for one in ids}, {48})
        typed = ids[5][:46]
        self.assertIn(ids[5], self.words(*place, typed))
        self.assertLess(len(self.words(*place, typed)), len(ids))
        self.assertIn("0x" + typed.lower() + ids[5][46:], self.words(*place, "0x" + typed.lower()))
        self.assertEqual(self.words(*place, "x"), [])
        self.assertIn("Payment", {line.split("\t")[1] for line in self.ask("events", *place[1:], "--message-id", "")})

    def test_files_and_readers_that_wait_are_not_waited_for(self):
        pipe = HOME / "pipe"
        os.mkfifo(pipe)
        self.assertEqual(self.ask("stats", "--from", str(pipe), "--flow", ""), [])
        self.assertEqual(self.ask("stats", "--from", "-", "--flow", ""), [])

    def test_behind_two_dashes_there_are_arguments(self):
        self.assertEqual(self.words("flow", "--", "-")[-1], "name:space")

    def test_the_hidden_command_stays_hidden(self):
        self.assertNotIn("__complete", "".join(map(self.help_of, NAMES)))


class InBash(Completion, unittest.TestCase):
    COMMAND = ["bash", "--norc", "--noprofile", "-i"]
    START = BASH


class InZsh(Completion, unittest.TestCase):
    COMMAND = ["zsh", "-f", "-i"]
    START = ZSH


class InFish(Completion, unittest.TestCase):
    COMMAND = ["fish", "--no-config", "-i"]
    START = FISH


if __name__ == "__main__":
    replace_tmp()
    HOST = begin()
    try:
        unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
    finally:
        HOST.terminate()
        HOST.wait()
