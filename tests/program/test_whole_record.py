"""Formatting, erasing and dumping the whole record."""

# ctest: vm

import resource
import signal
import subprocess

import elements
import pytest
import records

V1 = records.formatted(1)
V2 = records.formatted(2)
DONE = (0, b"", b"")

ANY_2048 = {
    "blank": records.BLANK_V2,
    "zero": bytes(2048),
    "noise": bytes((i * 37 + 11) % 256 for i in range(2048)),
    "damaged": records.damaged(V2),
    "version 1": records.formatted(1, 2048),
}


@pytest.mark.parametrize("contents", ANY_2048.values(), ids=ANY_2048)
def test_format_v2_writes_255_bytes_whatever_was_there_and_keeps_the_rest(make_sandbox, contents):
    sandbox = make_sandbox(contents)
    assert sandbox.run("--format_v2") == DONE
    assert sandbox.image == V2[:255] + contents[255:]
    assert sandbox.read("--valid") == b"1"


@pytest.mark.parametrize("contents", ANY_2048.values(), ids=ANY_2048)
def test_format_v1_writes_128_bytes_whatever_was_there_and_keeps_the_rest(make_sandbox, contents):
    sandbox = make_sandbox(contents)
    assert sandbox.run("--format_v1") == DONE
    assert sandbox.image == V1 + contents[128:]
    assert sandbox.read("--valid") == b"1"


def test_format_v1_of_a_128_byte_part_with_a_damaged_record_repairs_it(make_sandbox):
    sandbox = make_sandbox(records.damaged(V1))
    assert sandbox.run("--format_v1") == DONE
    assert sandbox.image == V1


def as_long_as_it_is():
    """Lets no file grow beyond 128 bytes: what does not fit is cut off, and then refused, as the
    kernel's driver does it with a part of that size."""
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (128, 128))


def test_format_v2_of_a_128_byte_part_fails_but_has_wiped_the_record(make_sandbox):
    sandbox = make_sandbox(V1)
    result = sandbox.run("--format_v2", preexec_fn=as_long_as_it_is)
    assert result == (1, b"", b"kestrel: Error writing to file descriptor:: File too large\n")
    assert sandbox.image == records.MISTAKEN_V1


@pytest.mark.parametrize(
    "contents, blanked",
    [
        (V1, records.BLANK_V1),
        (records.formatted(1, 2048), records.BLANK_V1 + b"\xff" * 1920),
        (
            records.patched(records.formatted(1, 2048), 128, bytes(1920)),
            b"\xff" * 128 + bytes(1920),
        ),
        (V2, records.BLANK_V2),
        (records.damaged(V2), records.BLANK_V2),
        (bytes(2048), records.BLANK_V2),
        (bytes(4096), records.BLANK_V2 + bytes(2048)),
    ],
    ids=["v1", "v1 on 2048", "v1 on 2048 with data", "v2", "damaged", "zero", "larger"],
)
def test_erase_sets_every_byte_of_the_part_in_its_version(make_sandbox, contents, blanked):
    sandbox = make_sandbox(contents)
    assert sandbox.run("--erase") == DONE
    assert sandbox.image == blanked


@pytest.mark.parametrize(
    "contents, dump, errors",
    [
        (V1, "dump-formatted-v1.txt", 0),
        (records.formatted(1, 2048), "dump-formatted-v1.txt", 0),
        (V2, "dump-formatted-v2.txt", 0),
        (records.formatted(2, 4096), "dump-formatted-v2.txt", 0),
        (records.damaged(V1), "dump-damaged-v1.txt", 15),
        (records.damaged(V2), "dump-damaged-v2.txt", 34),
        (records.BLANK_V2, "dump-blank.txt", 34),
        (bytes(2048), "dump-zero.txt", 34),
    ],
    ids=["v1", "v1 on 2048", "v2", "larger", "damaged v1", "damaged v2", "blank", "zero"],
)
def test_the_dump_prints_every_field_and_one_message_per_failed_read(
    make_sandbox, contents, dump, errors
):
    sandbox = make_sandbox(contents)
    assert sandbox.run("--raw") == (0, records.text(dump), b"CRC invalid\n" * errors)
    assert sandbox.image == contents


def test_each_message_of_the_dump_stands_after_the_label_of_its_field(make_sandbox):
    message = b"CRC invalid\n"
    expected = b""
    for line in records.text("dump-damaged-v2.txt").splitlines(keepends=True):
        label, value = line[:19], line[19:]
        if line[:13] in (b"FormatVersion", b"valid        ") or line == b"\n":
            expected += line
        elif line.startswith(b"DateOf"):
            expected += line + message
        elif line.startswith(b"Aio"):
            expected += label + message + b"0.1dB (0x" + message + b"1)\n"
        elif value.startswith(b"0x"):
            expected += label + b"0x" + message + value[2:]
        else:
            expected += label + message + value
    sandbox = make_sandbox(records.damaged(V2))
    assert sandbox.run("--raw", stderr=subprocess.STDOUT).out == expected


def test_each_line_of_the_dump_is_written_out_at_once(make_sandbox):
    sandbox = make_sandbox(V2)
    log = sandbox.directory / "writes.log"
    command = ["strace", "-o", log, "-s", "80", "-e", "trace=write", *sandbox.command("--raw")]
    subprocess.run(
        command,
        env=sandbox.traced_environment(),
        stdout=subprocess.PIPE,
        check=True,
    )
    lines = [line for line in log.read_text().splitlines() if line.startswith("write(1,")]
    assert len(lines) == 29 and all(line.count("\\n") == 1 for line in lines)


def test_the_dump_of_a_filled_record_prints_the_values(make_sandbox):
    sandbox = make_sandbox(V2)
    for element in elements.VALUES:
        sandbox.write(element.option, element.typed)
    sandbox.write("--pcb_ser_num", "PCB-0123456789-0123456789-0123456789")
    assert sandbox.run("--raw") == (0, records.text("dump-filled-v2.txt"), b"")
