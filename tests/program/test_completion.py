"""The completion for bash and zsh: what it offers, and that it never completes a value."""

# ctest: tree native

import os
import re
import subprocess
import time
from pathlib import Path

import elements
import pexpect
import pytest
import record_model
import records
from documents import says
from idleness import is_idle

ROOT = Path(__file__).parents[2]
TIMEOUT = 20  # seconds, for what takes milliseconds

TAB = "\t"
ALL_AT_ONCE = "\x1b*"  # bash: puts all candidates on the line
ERASING = {"--erase", "--format_v1", "--format_v2"}

START = {
    "bash": [
        ". /usr/share/bash-completion/bash_completion",
        """bind -x '"\\C-xd": printf "%s\\n" "$READLINE_LINE" >line'""",
    ],
    "zsh": [
        "fpath=($PREFIX/share/zsh/site-functions $fpath)",
        "autoload -Uz compinit && compinit -u -D",
        """show() { print -r -- "$BUFFER" >line }; zle -N show; bindkey '^Xd' show""",
    ],
}
COMMANDS = {"bash": ["bash", "--norc", "--noprofile", "-i"], "zsh": ["zsh", "-f", "-i"]}
LIST = {"bash": "\x1b?", "zsh": "\x04"}


class Shell:
    """An interactive shell that has found the completion where it is installed."""

    def __init__(self, name, prefix, directory):
        self.list_key = LIST[name]
        self.line_file = directory / "line"
        self.was_run = directory / "was-run"
        programs = directory / "bin"
        programs.mkdir()
        for program in ("kestrel", "kestrel-boardtest", "kestrel-record"):
            (programs / program).write_text(f"#!/bin/sh\ntouch {self.was_run}\n")
            (programs / program).chmod(0o755)
        self.child = pexpect.spawn(
            COMMANDS[name][0],
            COMMANDS[name][1:],
            cwd=directory,
            env={
                "HOME": str(directory),
                "PATH": f"{programs}:{os.environ['PATH']}",
                "PREFIX": str(prefix),
                "PS1": "> ",
                "TERM": "screen-256color",
                "XDG_DATA_DIRS": f"{prefix}/share",
            },
            dimensions=(60, 160),
            encoding="utf-8",
            timeout=TIMEOUT,
        )
        self.child.delaybeforesend = None
        self.child.expect_exact("> ")
        for line in START[name]:
            self.enter(line)

    def close(self):
        self.child.close(force=True)
        assert not self.was_run.exists(), "the completion has run the program"

    def enter(self, line):
        self.child.send("\x15" + line + "; echo do''ne\r")
        self.child.expect_exact("done\r\n")
        self.child.expect_exact("> ")  # zsh lists nothing for keys that came before

    def press(self, keys):
        """Types keys on an empty line; the line that results, and what appears on the screen."""
        self.line_file.unlink(missing_ok=True)
        self.child.send("\x15" + keys)
        output = ""
        deadline = time.monotonic() + TIMEOUT
        # zsh lists nothing while there are more keys to read.
        while (more := self.read()) or not is_idle(self.child):
            assert time.monotonic() < deadline, output
            output += more
        self.child.send("\x18d")
        while not (self.line_file.exists() and self.line_file.read_text().endswith("\n")):
            assert time.monotonic() < deadline, output
            output += self.read()
        while more := self.read():
            output += more
        return self.line_file.read_text()[:-1], re.sub(r"\x1b[^a-zA-Z]*[a-zA-Z]", " ", output)

    def read(self):
        try:
            return self.child.read_nonblocking(65536, 0.01)
        except pexpect.TIMEOUT:
            return ""

    def line(self, keys):
        return self.press(keys)[0]

    def listed(self, line):
        """What the shell lists after the line, which must stay as it is."""
        after, output = self.press(line + self.list_key)
        assert after == line
        return output

    def form(self, line):
        """The form listed for the value that the line ends with."""
        shown = {text.strip(" <>\r") for text in self.listed(line).splitlines()}
        [form] = {text for text in shown if text and "kestrel" not in text}
        return form

    def offered(self, line):
        """The words listed after the line, which must not end with one of them."""
        return {*re.findall(r"(?<!\S)(?:--?[a-z]\w*|\d)(?!\S)", self.listed(line))} - {
            *line.split()
        }


@pytest.fixture(scope="module", params=["bash", "zsh"])
def shell(request, installed, tmp_path_factory):
    shell = Shell(request.param, installed, tmp_path_factory.mktemp(request.param))
    yield shell
    shell.close()


@pytest.fixture
def bash(installed, tmp_path):
    shell = Shell("bash", installed, tmp_path)
    yield shell
    shell.close()


def test_the_first_word_is_a_mode_or_a_special_word(shell):
    assert shell.offered("kestrel ") == {"-r", "-w", *elements.SPECIAL}


def test_every_element_can_be_read(shell):
    assert shell.offered("kestrel -r ") == {*elements.WRITABLE, *elements.READ_ONLY}


def test_the_elements_that_are_not_read_only_can_be_written(shell):
    assert shell.offered("kestrel -w ") == {*elements.WRITABLE}


def test_the_board_test_has_three_submodes(shell):
    assert shell.offered("kestrel-boardtest ") == {"0", "1", "2"}


@pytest.mark.parametrize(
    "typed, line",
    [
        ("kestrel --he", "kestrel --help "),
        ("kestrel --form", "kestrel --format_v"),
        ("kestrel -r --val", "kestrel -r --valid "),
        ("kestrel -w --ser_", "kestrel -w --ser_num "),
        ("kestrel -w --m", "kestrel -w --mac"),
        ("kestrel -w --crc", "kestrel -w --crc"),
        ("kestrel -r --mac0", "kestrel -r --mac0"),
        ("kestrel --mac1", "kestrel --mac1"),
    ],
)
def test_tab_completes_what_was_begun(shell, typed, line):
    assert shell.line(typed + TAB) == line


@pytest.mark.parametrize(
    "line",
    [
        "kestrel -r --mac1 ",
        "kestrel -w --crc ",
        "kestrel -w --mac1 02:a5:5e:00:00:01 ",
        "kestrel -w --ser_num 1 ",
        "kestrel --raw ",
        "kestrel --raw --",
        "kestrel --erase -",
        "kestrel foo ",
        "kestrel --mac1 ",
        "kestrel-boardtest 1 ",
    ],
)
def test_after_a_whole_command_nothing_is_offered(shell, line):
    assert shell.offered(line) == set()
    assert shell.line(line + TAB * 3) == line


BEGUN = {
    "--mac1": ["02", "02:", "02:a5:5e:00:00:0"],
    "--productiondate": ['"', '"2026-11-15 ', '"2026-11-15 10:'],
    "--type": ["0x"],
    "--hardware_rev": ["0"],
    "--ser_num": ["--", "-", "l"],
}


@pytest.mark.parametrize("option", elements.WRITABLE)
def test_for_a_value_the_form_is_shown_and_the_line_left_alone(shell, option):
    for value in ["", *BEGUN.get(option, [])]:
        line = f"kestrel -w {option} {value}"
        assert shell.form(line)
        assert shell.line(line + TAB * 4) == line
    for file, shows in (("_kestrel", "shows"), ("kestrel.bash", "lists")):
        says(
            f"completion/{file}",
            "ompletes the words of a command but no values, since what is on the line gets written to "
            f"the # board; for a value it {shows} the form. It does not run kestrel, which opens the "
            "device whatever it # is asked to do.",
        )


def test_the_forms_shown_are_accepted(shell, make_sandbox):
    sandbox = make_sandbox(records.formatted(2))
    for option in elements.WRITABLE:
        form, _, example = shell.form(f"kestrel -w {option} ").partition(": ")
        lengths = [int(length) for length in re.findall(r"(?:, |exactly |up to )(\d+)", form)]
        if example:
            example = example.strip('"')
            assert lengths in ([], [len(example)])
        else:
            # Each version is named where the two differ.
            in_versions = [elements.field(option, version).length for version in (1, 2)]
            assert lengths == [*dict.fromkeys(in_versions)]
            example = "x" * lengths[-1]
        sandbox.write(option, example)
        assert sandbox.read(option) == example.encode()
        assert re.search(r"in version 2$", form) or len(lengths) < 2


def test_zsh_names_the_size_of_the_part_to_format(installed, tmp_path, facts):
    zsh = Shell("zsh", installed, tmp_path)
    listed = zsh.listed("kestrel ")
    for version, layout in facts["versions"].items():
        assert re.search(rf"--format_v{version} .*\b{layout['size']} bytes", listed)
    zsh.close()


@pytest.mark.parametrize(
    "prefix, folder", [("/usr", "vendor-completions"), ("/usr/local", "site-functions")]
)
def test_zsh_finds_the_completion_of_a_package_in_a_folder_of_its_own(tmp_path, prefix, folder):
    options = ["-DBUILD_TESTING=OFF", f"-DCMAKE_INSTALL_PREFIX={prefix}"]
    command = ["cmake", "-S", ROOT, "-B", tmp_path, *options]
    subprocess.run(command, stdout=subprocess.PIPE, check=True)
    script = (tmp_path / "cmake_install.cmake").read_text()
    assert re.findall(r"share/zsh/([\w-]+)", script) == [folder]


def test_pressing_tab_again_and_again_never_gives_what_erases(shell):
    for times in range(1, 12):
        assert shell.line("kestrel " + TAB * times) == "kestrel -"


def test_bash_in_turn_offers_neither_what_erases_nor_values(bash):
    bash.enter("bind 'TAB: menu-complete'")
    found = {bash.line("kestrel " + TAB * times).strip() for times in range(1, 12)}
    assert {"kestrel -r", "kestrel -w", "kestrel --raw", "kestrel --help"} <= found
    assert not {line.removeprefix("kestrel ") for line in found} & ERASING
    for option in elements.WRITABLE:
        assert bash.line(f"kestrel -w {option} " + TAB * 3) == f"kestrel -w {option} "


def test_bash_puts_nothing_on_the_line_all_at_once(bash):
    for line in ("kestrel ", "kestrel -w ", "kestrel -w --s", "kestrel -w --ser_num "):
        assert bash.line(line + ALL_AT_ONCE) == line


def test_bash_completes_after_sudo_and_in_a_redirection(bash):
    assert bash.line("sudo kestrel -w --ser_" + TAB) == "sudo kestrel -w --ser_num "
    bash.enter("touch record.txt")
    assert bash.line("kestrel --raw >rec" + TAB) == "kestrel --raw >record.txt "


# kestrel-record

OPTIONS = {
    "read": {"--device", "--wait", "--damaged"},
    "check": {"--set", "--json"},
    "diff": {"--device", "--wait", "--set", "--json"},
    "write": {"--device", "--wait", "--set", "--format", "--dry-run", "-n", "--json"},
    "image": {"--set", "-o"},
}


def test_the_options_are_those_of_the_program_and_of_the_manual(request):
    program = Path(request.config.getoption("--programs")).resolve() / "kestrel-record"
    for command, options in OPTIONS.items():
        _, _, text = subprocess.check_output([program, command, "--help"]).partition(b"\n\n")
        assert {*re.findall(r"(?<!\S)--?[a-z][a-z-]*", text.decode())} == {*options, "--help"}
    page = (ROOT / "man/kestrel-record.1").read_text()
    heads = " ".join(re.findall(r"^\.It Fl (.*)", page, re.MULTILINE)).split()
    assert {"-" + word for word in heads} >= {*set().union(*OPTIONS.values())}


def words_offered(shell, line):
    """The words listed after the line, without the descriptions of zsh."""
    rows = [row.split(" -- ")[0] for row in shell.listed(line).splitlines()]
    return {*re.findall(r"(?<!\S)[\w-]+=?(?!\S)", "\n".join(rows))} - {*line.split()}


def test_a_command_comes_first(shell):
    assert words_offered(shell, "kestrel-record ") == {*OPTIONS, "--help", "--version"}


@pytest.mark.parametrize("command", OPTIONS)
def test_each_command_has_its_options(shell, command):
    line = f"kestrel-record {command} -"
    assert words_offered(shell, line) == {*OPTIONS[command], "--help"}


def test_every_field_can_be_read_and_set(shell):
    assert words_offered(shell, "kestrel-record read ") == {*record_model.FIELDS}
    assert words_offered(shell, "kestrel-record read type ") >= {"mac1", "block8"}
    for command in ("check", "diff", "write", "image"):
        offered = words_offered(shell, f"kestrel-record {command} --set ")
        assert {word.rstrip("=") for word in offered} == {*record_model.FIELDS}


@pytest.mark.parametrize(
    "typed, line",
    [
        ("wr", "write "),
        ("write --set ser_", "write --set ser_num="),
        ("write --set ser_num=0", "write --set ser_num=0"),
        ("write --set type=0x1 --set pcb_s", "write --set type=0x1 --set pcb_ser_num="),
        ("write boa", "write board.json "),
        ("write --dry", "write --dry-run "),
        ("read --device boa", "read --device board.json "),
        ("read --wait boa", "read --wait boa"),
        ("read usb_l", "read usb_local_mac "),
        ("read --json", "read --json"),
        ("image --set version=2 -o boa", "image --set version=2 -o board.json "),
        ("image -o x boa", "image -o x board.json "),
        ("diff --json --wait 1 boa", "diff --json --wait 1 board.json "),
    ],
)
def test_tab_completes_what_was_begun_of_a_record(shell, typed, line):
    shell.enter("touch board.json")
    assert shell.line("kestrel-record " + typed + TAB) == "kestrel-record " + line
