"""The commands of the README, and the scripts that it names."""

# ctest: tree native

import os
import re
import shlex
import subprocess
import time

import elements
import pytest
import records
from documents import ROOT, recipe
from terminal import ENTER, Terminal

V1 = records.formatted(1)
V2 = records.formatted(2)


def follow(sandbox, *name):
    """Runs a recipe of a document, as it stands there, on the sandbox."""
    return sandbox.shell(recipe(*name))


@pytest.mark.parametrize("contents", [records.BLANK_V1, bytes(128), records.MISTAKEN_V1])
def test_a_part_of_128_bytes_that_cannot_be_loaded_is_formatted_by_the_recipe(
    make_sandbox, contents
):
    sandbox = make_sandbox(contents)
    assert sandbox.run("--format_v1").status == 1
    assert follow(sandbox, "format").status == 0
    assert sandbox.image == V1


@pytest.mark.parametrize(
    "before, after",
    [(records.damaged(V1), V1), (records.damaged(V2), V2), (records.BLANK_V2, V2)],
    ids=["damaged v1", "damaged v2", "blank v2"],
)
def test_the_recipe_for_a_record_that_is_not_intact_ends_with_a_fresh_one(
    make_sandbox, before, after
):
    sandbox = make_sandbox(before)
    done = follow(sandbox, "format")
    assert (done.status, done.out[-2:]) == (0, b"1\n")
    assert sandbox.image == after


NOT_TAKEN = b"the serial number was not taken\n"


def test_the_read_back_of_a_script_passes_what_was_written(make_sandbox):
    sandbox = make_sandbox(V2)
    assert follow(sandbox, "read-back").status == 0
    assert sandbox.image == records.with_field(V2, "--ser_num", b"SN-0000004711")


def test_the_read_back_of_a_script_notices_a_failed_write(make_sandbox):
    sandbox = make_sandbox(V2)
    fault = [
        "strace",
        "-o",
        "/dev/null",
        "-f",
        "-P",
        str(sandbox.path),
        "-e",
        "inject=write:retval=13",
    ]
    assert sandbox.shell(recipe("read-back"), fault).status == 1


def test_the_read_back_of_a_script_notices_a_refused_value(make_sandbox):
    too_long = recipe("read-back").replace("SN-0000004711", "SN-00000047110")
    result = make_sandbox(V2).shell(too_long)
    assert result == (1, b"", NOT_TAKEN)


def test_the_read_back_of_a_script_notices_the_fixed_value_of_a_damaged_record(make_sandbox):
    unwritten = recipe("read-back").replace('kestrel -w --ser_num "$serial"', "true")
    unwritten = unwritten.replace("SN-0000004711", "0000000000000")
    result = make_sandbox(records.damaged(V2)).shell(unwritten)
    assert (result.status, result.err) == (1, b"CRC invalid\n" + NOT_TAKEN)


def test_the_recipe_with_a_lock_waits_for_the_other_writer(make_sandbox):
    sandbox = make_sandbox(V2)
    with subprocess.Popen(
        ["flock", str(sandbox.path), "sh", "-c", "echo locked; sleep 0.5"], stdout=subprocess.PIPE
    ) as other:
        assert other.stdout.readline() == b"locked\n"
        start = time.monotonic()
        assert follow(sandbox, "lock", "docs/reliability.md").status == 0
        assert time.monotonic() - start > 0.3
    assert sandbox.image == records.with_field(V2, "--ser_num", b"SN-0000004711")


@pytest.mark.parametrize("document", ["README.md", "CONTRIBUTING.md", "docs/architecture.md"])
def test_the_links_of_a_document_lead_to_files(document):
    path = ROOT / document
    links = re.findall(r"\]\(([^)#]+)[^)]*\)", path.read_text())
    assert links and all((path.parent / link).is_file() for link in links), links


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
