"""The board test front end."""

# ctest: vm first

import os
import subprocess

import pytest
import records
from conftest import result_of

V1 = records.formatted(1)
V2 = records.formatted(2)

USAGE = b"Usage: kestrel-boardtest SUBMODE     (a number; 0 lists the submodes)\n"


@pytest.fixture
def board_test(make_sandbox):
    return lambda contents: make_sandbox(contents, "kestrel-boardtest")


@pytest.mark.parametrize(
    "arguments",
    [[], ["x"], [""], ["1x"], ["0x1"], [" 1"], ["1", "2"], ["--help"], ["99999999999"], ["1.0"]],
    ids=repr,
)
def test_without_a_number_the_usage_is_printed_with_status_255(board_test, arguments):
    sandbox = board_test(V2)
    assert sandbox.run(*arguments) == (255, b"", USAGE)


def test_the_usage_is_printed_without_a_device_too(board_test):
    assert board_test(None).run() == (255, b"", USAGE)


def test_submode_0_lists_the_submodes(board_test):
    sandbox = board_test(V2)
    assert sandbox.run("0") == (0, b"   1 - EEPROM_FORMAT_READ\n   2 - EEPROM_TEST\n", b"")


@pytest.mark.parametrize("submode", ["3", "-1", "2147483647", "-2147483648"])
def test_an_unknown_submode_ends_with_a_message(board_test, submode):
    sandbox = board_test(V2)
    assert sandbox.run(submode) == (1, b"", b"kestrel-boardtest: i2c unknown submode\n")


@pytest.mark.parametrize("version", [1, 2])
def test_submode_1_dumps_the_record(board_test, version):
    sandbox = board_test(records.formatted(version))
    assert sandbox.run("1") == (0, records.text(f"dump-formatted-v{version}.txt"), b"")


def test_without_the_device_it_ends_with_the_open_error(board_test):
    message = b"kestrel-boardtest: Error: Open file descriptor: No such file or directory\n"
    assert board_test(None).run("1") == (1, b"", message)


def test_output_to_a_full_disk_is_reported(board_test):
    with open("/dev/full", "wb") as full:
        result = board_test(V2).run("0", stdout=full)
    assert (result.status, result.err) == (
        1,
        b"kestrel-boardtest: Error writing to standard output\n",
    )


def test_submode_2_runs_10000_passes_with_a_pause_after_each_and_changes_nothing(board_test):
    sandbox = board_test(V2)
    log = sandbox.directory / "pauses.log"
    # Each pause ends at once, which saves ten seconds.
    tracer = ["strace", "-f", "--seccomp-bpf", "-o", log]
    tracer += ["-e", "trace=clock_nanosleep", "-e", "inject=clock_nanosleep:retval=0"]
    result = result_of([*tracer, *sandbox.command("2")], sandbox.traced_environment())
    expected = b"".join(b"loop:%d\n" % left for left in range(10000, 0, -1))
    assert result == (0, expected, b"")
    assert log.read_text().count("{tv_sec=0, tv_nsec=1000000}") == 10000
    assert sandbox.image == V2


def first_lines(sandbox, count, before=()):
    """The beginning of what an endurance run prints, messages included; the rest is cut off."""
    process = subprocess.Popen(
        [*before, *sandbox.command("2")],
        env=sandbox.traced_environment(),
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
    )
    lines = [process.stdout.readline() for _ in range(count)]
    process.stdout.close()  # the next pass ends with SIGPIPE
    process.wait(10)
    return lines


@pytest.mark.parametrize(
    "contents, reads",
    [
        (records.BLANK_V2, 25),
        (records.damaged(V2), 25),
        (records.damaged(V1), 14),
        (V2, 0),
    ],
    ids=["blank", "damaged version 2", "damaged version 1", "good"],
)
def test_submode_2_reports_every_failed_read_in_every_pass(board_test, contents, reads):
    lines = first_lines(board_test(contents), 3 * (1 + reads))
    messages = [b"CRC invalid\n"] * reads
    assert lines == [
        *[b"loop:10000\n", *messages, b"loop:9999\n", *messages, b"loop:9998\n", *messages]
    ]


def test_submode_2_pauses_a_millisecond_after_each_pass_and_leaves_the_device_alone(board_test):
    sandbox = board_test(V2)
    log = sandbox.directory / "strace.log"
    calls = "trace=openat,lseek,read,write,nanosleep,clock_nanosleep"
    first_lines(sandbox, 3, ["strace", "-o", log, "-e", calls])
    lines = log.read_text().splitlines()
    start = next(i for i, line in enumerate(lines) if '"loop:10000' in line)
    passes = lines[start : start + 6]
    assert [line.split("(")[0] for line in passes] == ["write", "clock_nanosleep"] * 3
    assert all("{tv_sec=0, tv_nsec=1000000}" in line for line in passes[1::2])


@pytest.mark.parametrize("closed", [0, 1, 2])
def test_a_closed_standard_descriptor_never_lets_output_into_the_device(board_test, closed):
    contents = records.damaged(V2)
    sandbox = board_test(contents)
    assert sandbox.run("1", preexec_fn=lambda: os.close(closed)).status == 0
    assert sandbox.image == contents
