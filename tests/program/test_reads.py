"""Reading one element per call."""

# ctest: vm

import elements
import pytest
import records

V1 = records.formatted(1)
V2 = records.formatted(2)

PARTS = {
    "version 1": V1,
    "version 1 on 2048 bytes": records.formatted(1, 2048),
    "version 2": V2,
    "version 2 on 4096 bytes": records.formatted(2, 4096),
}


@pytest.mark.parametrize("part", PARTS)
def test_every_element_of_a_formatted_record_is_read(make_sandbox, part):
    sandbox = make_sandbox(PARTS[part])
    version = records.version_of(PARTS[part])
    for element in elements.ELEMENTS:
        if element.kind != "command":
            shown = element.shown(PARTS[part], version)
            assert sandbox.read(element.option) == shown.encode(), element.name
    assert sandbox.image == PARTS[part]


@pytest.mark.parametrize(
    "contents",
    [records.damaged(V1), records.damaged(V2), records.BLANK_V2, bytes(2048)],
    ids=["damaged version 1", "damaged version 2", "blank", "zero"],
)
def test_reads_of_an_invalid_record_report_it_and_print_their_failure_value(make_sandbox, contents):
    sandbox = make_sandbox(contents)
    for element in elements.CHECKED:
        shown = element.failure.encode() + b"\n"
        assert sandbox.run("-r", element.option) == (0, shown, b"CRC invalid\n"), element.name
    assert sandbox.read("--valid") == b"0"
    assert sandbox.image == contents


def test_a_damaged_crc_is_found_as_well_as_a_damaged_field(make_sandbox):
    sandbox = make_sandbox(V2)
    for position in (2, 100, 178, 179, 182):
        sandbox.image = records.patched(V2, position, bytes([V2[position] ^ 0x80]))
        assert sandbox.run("-r", "--mac1").err == b"CRC invalid\n", position


def test_bytes_past_the_crc_do_not_matter(make_sandbox):
    sandbox = make_sandbox(records.patched(V2, 183, b"\xa5" * 1865))
    assert sandbox.read("--mac1") == b"02:a5:5e:00:00:00"
    sandbox.image = records.patched(V1, 107, b"\xa5" * 21)
    assert sandbox.read("--mac1") == b"02:a5:5e:00:00:00"


@pytest.mark.parametrize("word", [0, 2, 3, 256, 0x0101, 0x1234, 0xFFFF])
def test_every_version_but_1_is_read_as_version_2_and_shown_in_decimal(make_sandbox, word):
    sandbox = make_sandbox(records.with_crc(word.to_bytes(2, "big") + V2[2:]))
    assert sandbox.read("--version") == str(word).encode()
    assert sandbox.read("--ser_num") == b"0000000000000"


def test_a_date_with_bytes_above_99_is_shown_wider(make_sandbox):
    sandbox = make_sandbox(records.with_field(V2, "--productiondate", b"\xff" * 7))
    assert sandbox.read("--productiondate") == b"255255-255-255 255:255:255"


@pytest.mark.parametrize("option", ["--hardware_rev", "--pcb_rev", "--ser_num", "--pcb_ser_num"])
def test_texts_end_at_the_first_zero_byte(make_sandbox, option):
    sandbox = make_sandbox(records.with_field(V2, option, b"A\0B"))
    assert sandbox.read(option) == b"A"
    sandbox.image = records.with_field(V2, option, b"\0AB")
    assert sandbox.read(option) == b""
