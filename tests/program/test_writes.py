"""Writing one element per call: the bytes on the device, and what is refused."""

import pytest
import records

V1 = records.formatted(1)
V2 = records.formatted(2)

PARTS = pytest.mark.parametrize(
    "part",
    [V1, records.formatted(1, 2048), V2, records.formatted(2, 4096)],
    ids=["version 1", "version 1 on 2048 bytes", "version 2", "version 2 on 4096 bytes"],
)

# option: (the text written, the bytes stored, the text read back)
ACCEPTED = {
    "--mac1": [
        ("02:A5:5E:00:00:0A", "02a55e00000a", "02:a5:5e:00:00:0a"),
        ("02:a5:5e:00:00:zz", "02a55e000000", "02:a5:5e:00:00:00"),
        (" f:-1:+7:1z:z1:0x", "0fff07010000", "0f:ff:07:01:00:00"),
        (":::::::::::::::::", "000000000000", "00:00:00:00:00:00"),
    ],
    "--mac2": [("ff:ff:ff:ff:ff:ff", "ffffffffffff", "ff:ff:ff:ff:ff:ff")],
    "--mac3": [("00:00:00:00:00:00", "000000000000", "00:00:00:00:00:00")],
    "--mac4": [("02:a5:5e:12:34:56", "02a55e123456", "02:a5:5e:12:34:56")],
    "--productiondate": [
        ("2026-11-15 10:42:09", "141a0b0f0a2a09", "2026-11-15 10:42:09"),
        ("2026/11/15T10.42.09", "141a0b0f0a2a09", "2026-11-15 10:42:09"),
        ("2026-11-15 10:42:09 UTC", "141a0b0f0a2a09", "2026-11-15 10:42:09"),
        ("2026-11-15 10:42:", "141a0b0f0a2a00", "2026-11-15 10:42:00"),
        ("2013-01-01 00:00:00", "140d0101000000", "2013-01-01 00:00:00"),
        ("2099-12-31 23:59:59", "14630c1f173b3b", "2099-12-31 23:59:59"),
        ("2026-00-00 00:00:00", "141a0000000000", "2026-00-00 00:00:00"),
        ("2026-02-31 00:00:00", "141a021f000000", "2026-02-31 00:00:00"),
        ("2026-xx-yy  1:+2:zz", "141a0000010200", "2026-00-00 01:02:00"),
    ],
    "--servicedate": [("2027-01-02 03:04:05", "141b0102030405", "2027-01-02 03:04:05")],
    "--type": [
        ("30", "0030", "0x30"),
        ("1e", "001e", "0x1e"),
        ("0x1e", "001e", "0x1e"),
        ("0XFFFE", "fffe", "0xfffe"),
        ("zz", "0000", "0x0"),
        ("", "0000", "0x0"),
        ("12345", "ffff", "0xffff"),
        ("-1", "ffff", "0xffff"),
        ("30 apples", "0030", "0x30"),
        ("\n\t 7", "0007", "0x7"),
    ],
    "--hardware_rev": [("A01", b"A01".hex(), "A01"), ("   ", b"   ".hex(), "   ")],
    "--pcb_rev": [("b2%", b"b2%".hex(), "b2%")],
    "--pcb_ser_num": [
        ("123456789012", b"123456789012".hex(), "123456789012"),
        ("%s%n", b"%s%n".hex(), "%s%n"),
        ("", "", ""),
    ],
    "--ser_num": [
        ("1234567890ABC", b"1234567890ABC".hex(), "1234567890ABC"),
        ("x", b"x".hex(), "x"),
        ("", "", ""),
    ],
}

REFUSED = {
    "--mac1": ["", "02:a5:5e:00:00:0", "02:a5:5e:00:00:001", "02-a5-5e-00-00-01", "x" * 100000],
    "--mac2": ["02:a5:5e:00-00:01", "02:a5:5e:00:00:01\n"],
    "--mac3": ["02:a5:5e:00:00;01"],
    "--mac4": ["02a5:5e:00:00:01:"],
    "--productiondate": [
        "2012-06-01 12:00:00",
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
    "--hardware_rev": ["", "0", "00", "0000", "0" * 100000],
    "--pcb_rev": ["", "0", "00", "0000"],
    "--ser_num": ["12345678901234", "x" * 100000],
}


def rows(table):
    return [
        (option, *(row if isinstance(row, tuple) else (row,)))
        for option, values in table.items()
        for row in values
    ]


def shortened(value):
    return repr(value)[:30]


@PARTS
@pytest.mark.parametrize("option, text, stored, shown", rows(ACCEPTED), ids=shortened)
def test_an_accepted_value_is_stored_with_a_new_crc_and_read_back(
    make_sandbox, part, option, text, stored, shown
):
    sandbox = make_sandbox(part)
    sandbox.write(option, text)
    assert sandbox.image == records.with_field(part, option, bytes.fromhex(stored))
    assert sandbox.read(option) == shown.encode()
    assert sandbox.read("--valid") == b"1"


@pytest.mark.parametrize("part", [V1, V2], ids=["version 1", "version 2"])
@pytest.mark.parametrize("option, text", rows(REFUSED), ids=shortened)
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
    sandbox.write("--pcb_ser_num", "q")
    assert sandbox.image == records.with_field(part, "--pcb_ser_num", b"q")


@pytest.mark.parametrize("option", ["--productiondate", "--servicedate"])
@pytest.mark.parametrize("length", range(17))
def test_a_date_too_short_for_its_places_ends_with_a_message_and_writes_nothing(
    make_sandbox, option, length
):
    sandbox = make_sandbox(V2)
    result = sandbox.run("-w", option, "2026-11-15 10:42:09"[:length])
    # The words behind the prefix are the run-time library's.
    assert (result.status, result.out) == (1, b"")
    assert result.err.startswith(b"kestrel: ") and result.err.count(b"\n") == 1
    assert sandbox.image == V2


def test_serial_numbers_take_every_byte_from_1_to_255(make_sandbox):
    sandbox = make_sandbox(V2)
    for byte in range(1, 256):
        value = bytes([byte]) * 2
        sandbox.write("--ser_num", value)
        assert sandbox.image == records.with_field(V2, "--ser_num", value)
        assert sandbox.read("--ser_num") == value


def test_revisions_take_every_byte_from_1_to_255(make_sandbox):
    sandbox = make_sandbox(V2)
    for first in range(1, 254, 3):
        value = bytes([first, first + 1, first + 2])
        sandbox.write("--hardware_rev", value)
        assert sandbox.image == records.with_field(V2, "--hardware_rev", value)


def leading_number(pair, base):
    """What the C library's parser makes of two characters, stated without it."""
    rest = pair.lstrip(b" \t\n\v\f\r")
    sign = -1 if rest[:1] == b"-" else 1
    if rest[:1] in (b"-", b"+"):
        rest = rest[1:]
    digits = b"0123456789abcdef"[:base]
    number = 0
    for byte in rest.lower():
        if byte not in digits:
            break
        number = number * base + digits.index(byte)
    return sign * number & 0xFF


def test_mac_pairs_take_every_byte_from_1_to_255(make_sandbox):
    sandbox = make_sandbox(V2)
    for byte in range(1, 256):
        one, other = bytes([byte, ord("7")]), bytes([ord("7"), byte])
        sandbox.write("--mac4", b"02:a5:5e:00:" + one + b":" + other)
        octets = bytes([leading_number(one, 16), leading_number(other, 16)])
        expected = records.with_field(V2, "--mac4", b"\x02\xa5\x5e\x00" + octets)
        assert sandbox.image == expected, byte


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


def test_every_element_keeps_its_value_while_the_others_are_written(make_sandbox):
    sandbox = make_sandbox(V2)
    expected = V2
    for option, values in ACCEPTED.items():
        text, stored, _ = values[0]
        sandbox.write(option, text)
        expected = records.with_field(expected, option, bytes.fromhex(stored))
    assert sandbox.image == expected
    for option, values in ACCEPTED.items():
        assert sandbox.read(option) == values[0][2].encode()


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
