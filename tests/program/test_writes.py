"""Writing one element per call: the bytes on the device, and what is refused."""

# ctest: vm first

import ctypes

import elements
import pytest
import records

V1 = records.formatted(1)
V2 = records.formatted(2)

PARTS = pytest.mark.parametrize(
    "part",
    [V1, records.formatted(1, 2048), V2, records.formatted(2, 4096)],
    ids=["version 1", "version 1 on 2048 bytes", "version 2", "version 2 on 4096 bytes"],
)

# option: the text written, the bytes stored, the text read back, past the sample of each element
ACCEPTED = [
    *[(e.option, e.typed, e.stored, e.show(e.stored)) for e in elements.VALUES],
    ("--mac1", "02:a5:5e:00:00:zz", bytes.fromhex("02a55e000000"), "02:a5:5e:00:00:00"),
    ("--mac1", " f:-1:+7:1z:z1:0x", bytes.fromhex("0fff07010000"), "0f:ff:07:01:00:00"),
    ("--mac1", ":::::::::::::::::", bytes(6), "00:00:00:00:00:00"),
    ("--mac2", "ff:ff:ff:ff:ff:ff", b"\xff" * 6, "ff:ff:ff:ff:ff:ff"),
    ("--type", "30", b"\x00\x30", "0x30"),
    ("--type", "0x1e", b"\x00\x1e", "0x1e"),
    ("--type", "0XFFFE", b"\xff\xfe", "0xfffe"),
    ("--type", "1234", b"\x12\x34", "0x1234"),
    ("--type", "zz", bytes(2), "0x0"),
    ("--type", "", bytes(2), "0x0"),
    ("--type", "12345", b"\xff\xff", "0xffff"),
    ("--type", "-1", b"\xff\xff", "0xffff"),
    ("--type", "30 apples", b"\x00\x30", "0x30"),
    ("--type", "\n\t 7", b"\x00\x07", "0x7"),
    ("--hardware_rev", "   ", b"   ", "   "),
    ("--pcb_rev", "b2%", b"b2%", "b2%"),
    ("--pcb_ser_num", "%s%n", b"%s%n", "%s%n"),
    ("--pcb_ser_num", "p  ", b"p  ", "p  "),
    ("--pcb_ser_num", "", b"", ""),
    ("--ser_num", " x ", b" x ", " x "),
    ("--ser_num", "", b"", ""),
]

# the same of a date: the text written, the numbers stored
DATES = [
    ("2026/11/15T10.42.09", (20, 26, 11, 15, 10, 42, 9)),
    ("2026-11-15 10:42:09 UTC", (20, 26, 11, 15, 10, 42, 9)),
    ("2026711815710742709", (20, 26, 11, 15, 10, 42, 9)),
    ("2026-11-15 10:42:", (20, 26, 11, 15, 10, 42, 0)),
    ("2026-11-15 10:42:7", (20, 26, 11, 15, 10, 42, 7)),
    ("2013-01-01 00:00:00", (20, 13, 1, 1, 0, 0, 0)),
    ("2099-12-31 23:59:59", (20, 99, 12, 31, 23, 59, 59)),
    ("2026-00-00 00:00:00", (20, 26, 0, 0, 0, 0, 0)),
    ("2026-02-31 00:00:00", (20, 26, 2, 31, 0, 0, 0)),
    ("2026-xx-yy  1:+2:zz", (20, 26, 0, 0, 1, 2, 0)),
]
ACCEPTED += [
    ("--productiondate", typed, bytes(stored), elements.date(stored)) for typed, stored in DATES
]

# option: what is refused, past the sample of each element
REFUSED = {
    "--mac1": ["", "02:a5:5e:00:00:001", "x" * 100000],
    "--mac2": ["02:a5:5e:00-00:01", "02:a5:5e:00:00:01\n"],
    "--mac3": ["02:a5:5e:00:00;01"],
    "--mac4": ["02a5:5e:00:00:01:"],
    "--productiondate": [
        "2100-01-01 00:00:00",
        "1999-01-01 00:00:00",
        "2026-13-01 00:00:00",
        "2026-01-32 00:00:00",
        "2026-01-01 24:00:00",
        "2026-01-01 00:60:00",
        "2026-01-01 00:00:60",
        "2026-01-01 00:00:-1",
        "15.11.2026 10:42:09",
        "YYYY-MM-DD HH:MM:SS",
        "x" * 100000,
    ],
    "--servicedate": ["2012-12-31 23:59:59"],
    "--hardware_rev": ["", "0", "0000", "0" * 100000],
    "--pcb_rev": ["", "0", "00"],
    "--ser_num": ["x" * 100000],
}
REFUSALS = [
    *[(e.option, e.refused) for e in elements.VALUES if e.refused is not None],
    *[(option, text) for option, texts in REFUSED.items() for text in texts],
]


def shortened(value):
    return repr(value)[:30]


@PARTS
@pytest.mark.parametrize("option, text, stored, shown", ACCEPTED, ids=shortened)
def test_an_accepted_value_is_stored_with_a_new_crc_and_read_back(
    make_sandbox, part, option, text, stored, shown
):
    sandbox = make_sandbox(part)
    sandbox.write(option, text)
    assert sandbox.image == records.with_field(part, option, stored)
    assert sandbox.read(option) == shown.encode()
    assert sandbox.read("--valid") == b"1"


@pytest.mark.parametrize("part", [V1, V2], ids=["version 1", "version 2"])
@pytest.mark.parametrize("option, text", REFUSALS, ids=shortened)
def test_a_refused_value_is_silent_with_status_0_and_changes_nothing(
    make_sandbox, part, option, text
):
    sandbox = make_sandbox(part)
    sandbox.write(option, text)
    assert sandbox.image == part


@pytest.mark.parametrize("part, width", [(V1, 12), (V2, 36)], ids=["version 1", "version 2"])
def test_a_pcb_serial_number_may_fill_its_field_and_no_more(make_sandbox, part, width):
    sandbox = make_sandbox(part)
    sandbox.write("--pcb_ser_num", "p" * (width + 1))
    assert sandbox.image == part
    sandbox.write("--pcb_ser_num", "p" * width)
    assert sandbox.image == records.with_field(part, "--pcb_ser_num", b"p" * width)
    assert sandbox.read("--pcb_ser_num") == b"p" * width
    sandbox.write("--pcb_ser_num", "q")
    assert sandbox.image == records.with_field(part, "--pcb_ser_num", b"q")


@pytest.mark.parametrize("option", ["--productiondate", "--servicedate"])
@pytest.mark.parametrize("length", range(17))
def test_a_date_too_short_for_its_places_ends_with_a_message_and_writes_nothing(
    make_sandbox, option, length
):
    sandbox = make_sandbox(V2)
    result = sandbox.run("-w", option, "2026-11-15 10:42:09"[:length])
    # The words after the prefix are the run-time library's.
    assert (result.status, result.out) == (1, b"")
    assert result.err.startswith(b"kestrel: ") and result.err.count(b"\n") == 1
    assert sandbox.image == V2


@pytest.mark.parametrize("option, width", [("--ser_num", 13), ("--hardware_rev", 3)])
def test_texts_take_every_byte_from_1_to_255(make_sandbox, option, width):
    sandbox = make_sandbox(V2)
    for first in [*range(1, 256 - width, width), 256 - width]:
        value = bytes(range(first, first + width))
        sandbox.write(option, value)
        assert sandbox.image == records.with_field(V2, option, value)
        assert sandbox.read(option) == value


def leading_number(pair, base):
    """What the C library makes of two characters, as a byte."""
    return ctypes.CDLL(None).strtol(pair, None, base) & 0xFF


def test_mac_pairs_take_every_byte_from_1_to_255(make_sandbox):
    sandbox = make_sandbox(V2)
    pairs = [bytes([byte, ord("7")]) for byte in range(1, 256)]
    pairs += [pair[::-1] for pair in pairs]
    for first in range(0, len(pairs), 6):
        octets = pairs[first : first + 6]
        sandbox.write("--mac4", b":".join(octets))
        expected = bytes(leading_number(octet, 16) for octet in octets)
        assert sandbox.image == records.with_field(V2, "--mac4", expected), octets


def test_date_pairs_take_every_byte_from_1_to_255(make_sandbox):
    sandbox = make_sandbox(V2)
    for byte in range(1, 256):
        sandbox.image = V2
        one, other = bytes([byte, ord("1")]), bytes([ord("1"), byte])
        sandbox.write("--servicedate", b"2026-" + other + b"-15 10:42:" + one)
        month, second = leading_number(other, 10), leading_number(one, 10)
        stored = month <= 12 and second <= 59
        date = bytes([20, 26, month, 15, 10, 42, second])
        expected = records.with_field(V2, "--servicedate", date) if stored else V2
        assert sandbox.image == expected, byte


@pytest.mark.parametrize("part", [V1, V2], ids=["version 1", "version 2"])
def test_a_write_to_a_damaged_record_gives_it_a_valid_crc_again(make_sandbox, part):
    contents = records.damaged(part)
    sandbox = make_sandbox(contents)
    sandbox.write("--pcb_rev", "001")
    assert sandbox.image == records.with_field(contents, "--pcb_rev", b"001")
    assert sandbox.read("--valid") == b"1"


def test_a_write_to_a_blank_part_goes_to_the_places_of_version_2(make_sandbox):
    sandbox = make_sandbox(records.BLANK_V2)
    sandbox.write("--pcb_rev", "001")
    assert sandbox.image == records.with_field(records.BLANK_V2, "--pcb_rev", b"001")
