"""The scripts that the README names."""

# ctest: tree native

import os
import shlex
import subprocess
import time
from pathlib import Path

import elements
import pytest
import records
from terminal import ENTER, Terminal

ROOT = Path(__file__).parents[2]
V2 = records.formatted(2)


def in_sandbox(*arguments):
    return subprocess.run(
        [ROOT / "script/sandbox", *arguments],
        capture_output=True,
        check=False,
        stdin=subprocess.DEVNULL,
        env={**os.environ, "SHELL": "/bin/sh"},
    )


@pytest.mark.parametrize(
    "part, version, size", [(["--v1"], 1, 128), (["--v2"], 2, 2048)], ids=["v1", "v2"]
)
def test_a_sandbox_has_a_formatted_part(part, version, size):
    done = in_sandbox(*part, "cat", "/sys/bus/i2c/devices/0-0050/eeprom")
    assert (done.returncode, done.stderr) == (0, b"")
    assert done.stdout == records.formatted(version, size)


def test_a_sandbox_has_a_blank_part_unless_told_otherwise():
    done = in_sandbox("cat", "/sys/bus/i2c/devices/0-0050/eeprom")
    assert (done.returncode, done.stdout, done.stderr) == (0, records.BLANK_V2, b"")


def test_a_sandbox_keeps_the_named_image(tmp_path):
    image = tmp_path / "an image.bin"
    image.write_bytes(V2)
    done = in_sandbox("--image", image, "kestrel", "-w", "--pcb_rev", "001")
    assert (done.returncode, done.stdout, done.stderr) == (0, b"", b"")
    assert image.read_bytes() == records.with_field(V2, "--pcb_rev", b"001")


def test_a_sandbox_returns_the_commands_status():
    assert in_sandbox("--v2", "kestrel", "-r", "--nothing").returncode == 255
    assert in_sandbox("--v2", "sh", "-c", "exit 7").returncode == 7


def test_a_sandbox_without_a_command_is_a_shell():
    done = in_sandbox("--v2")
    assert done.returncode == 0
    assert b"A shell in the sandbox" in done.stderr


def test_a_sandbox_refuses_what_it_does_not_know(tmp_path):
    for arguments in (["--v3"], ["--image"], ["--image", tmp_path / "missing"]):
        done = in_sandbox(*arguments)
        assert done.returncode == 2 and done.stdout == b"" and done.stderr != b""
    assert b"usage: script/sandbox" in in_sandbox("--help").stderr


def test_the_demo_shows_every_element_of_both_versions():
    done = subprocess.run([ROOT / "script/demo"], capture_output=True, check=False)
    assert (done.returncode, done.stderr) == (0, b"")
    for option in elements.WRITABLE:
        assert done.stdout.count(f"$ kestrel -w {option} ".encode()) == 2
        assert done.stdout.count(f"$ kestrel -r {option}\n".encode()) == 2
    assert done.stdout.count(b"$ kestrel -r --valid\n1\n") == 2
    assert done.stdout.count(b"\nvalid            : 1\n") == 2
    assert done.stdout.endswith(b"script/demo --menu\n")


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
