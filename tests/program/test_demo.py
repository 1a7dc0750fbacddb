"""The demo: its commands can be copied, and print what it shows."""

# ctest: tree native

import re
import shlex
import subprocess
import time

import elements
import pytest
import records
from conftest import DEVICE
from documents import ROOT, says
from terminal import ENTER, Terminal


@pytest.fixture(scope="module")
def demo():
    done = subprocess.run([ROOT / "script/demo"], capture_output=True, check=False, text=True)
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout


SHOWN = {1: 128, 2: 192}  # bytes of the part, at the end
WHOLE_BOARD = "\n== The document of a whole board\n"


def commands_of(text):
    """Each command of the demo with its output."""
    without_titles = re.sub(r"\n== .*\n", "", text)
    return re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", without_titles, re.M)


def steps_of(demo, version):
    """Each command on the part of a version, with its output."""
    elements_only = demo.partition(WHOLE_BOARD)[0]
    parts = re.split(r"\n== Format a part of (\d+) bytes as version (\d)\n", elements_only)
    sizes, versions, texts = parts[1::3], parts[2::3], parts[3::3]
    assert (sizes, versions) == (["128", "2048"], ["1", "2"])
    return commands_of(texts[version - 1])


@pytest.mark.parametrize("version", [1, 2])
def test_the_commands_of_the_demo_can_be_copied_and_print_what_it_shows(
    demo, make_sandbox, version
):
    sandbox = make_sandbox({1: b"\0\1" + b"\xff" * 126, 2: records.BLANK_V2}[version])
    for command, printed in steps_of(demo, version):
        assert sandbox.shell(command) == (0, printed.encode(), b""), command


@pytest.mark.parametrize("version", [1, 2])
def test_the_demo_formats_writes_reads_checks_and_dumps(demo, version):
    commands = [shlex.split(command) for command, _ in steps_of(demo, version)]
    options = [command[2] for command in commands if command[1] == "-w"]
    assert sorted(options) == sorted(elements.WRITABLE)
    assert commands == [
        ["kestrel", f"--format_v{version}"],
        *commands[1 : 1 + len(options)],
        *[["kestrel", "-r", option] for option in options],
        ["kestrel", "-r", "--valid"],
        ["kestrel", "--raw"],
        ["od", "-A", "d", "-t", "x1z", "-N", str(SHOWN[version]), f"/{DEVICE}"],
    ]
    assert f"\n== The first {SHOWN[version]} of {records.SIZE[version]} bytes\n$ od " in demo
    says(
        "script/demo",
        "Shows the main job on parts that are files, for both versions of the record: formats a part, "
        "writes # every element, reads each back, checks and dumps the record, and prints the bytes of "
        "the part. Then # shows how kestrel-record handles a whole board. Each command is printed in a "
        "form that can be copied.",
    )
    says(
        "README.md",
        "script/demo # try it: builds the tools and shows them at work on parts that are files",
    )


def test_the_commands_of_the_demo_on_a_whole_board_print_what_it_shows(demo, make_sandbox):
    sandbox = make_sandbox(records.BLANK_V2)
    for command, printed in commands_of(demo.partition(WHOLE_BOARD)[2]):
        if command.startswith("cat "):
            (sandbox.directory / command.removeprefix("cat ")).write_text(printed)
        status, output, messages = sandbox.shell(command)
        shown_status = f"[status {status}]\n" if status else ""
        assert (output + messages).decode() + shown_status == printed, command


def test_the_demo_handles_a_whole_board_from_a_document_to_an_image(demo):
    commands = commands_of(demo.partition(WHOLE_BOARD)[2])
    results = [(command, printed.splitlines()[-1:]) for command, printed in commands]
    assert results[:-1] == [
        ("cat board.json", ["}"]),
        ("cat mistakes.json", ["}"]),
        ("kestrel-record write mistakes.json", ["[status 3]"]),
        ("kestrel-record write board.json", ["written"]),
        ("kestrel-record write board.json", ["unchanged"]),
        ("kestrel -w --ser_num SN-0000004712", []),
        ("kestrel-record diff board.json", ["[status 1]"]),
        ("kestrel-record image -o part.bin board.json", []),
    ]
    assert commands[-1][0] == "od -A d -t x1z -N 192 part.bin"
    keys = {"version", "mac1", "mac5", "type", "servicedate", "ser_num", "ari"}
    wrong = re.findall(
        "^kestrel-record: ([^:]*): ", dict(commands)["kestrel-record write mistakes.json"], re.M
    )
    assert sorted(wrong) == sorted(keys - {"version"})


def test_the_demo_says_how_to_open_the_menu(demo):
    assert demo.endswith("\n== Open the menu on a part of your own with: script/demo --menu\n")


def test_the_demo_opens_the_menu_where_it_is_asked_to(make_sandbox):
    terminal = Terminal(make_sandbox(None), shell=shlex.quote(f"{ROOT}/script/demo") + " --menu")
    deadline = time.monotonic() + 60
    while "KESTREL" not in terminal.row(1) and time.monotonic() < deadline:
        terminal.pump(0.1)
    terminal.settle()
    assert terminal.row(3) == " -->FormatVersion     2"
    terminal.go_to("END")
    terminal.press(ENTER)
    assert terminal.wait_for_end() == 0
    says("script/demo", "--menu opens the menu of a formatted version 2 part instead")


def test_the_demo_refuses_another_argument():
    done = subprocess.run([ROOT / "script/demo", "menu"], capture_output=True, check=False)
    assert (done.returncode, done.stdout) == (2, b"")
    assert done.stderr.startswith(b"usage: script/demo")
