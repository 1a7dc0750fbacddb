"""Commands on a real bus driver, whose transfers take their time."""

import time

import pytest
import records
from machine import EEPROM, BoardBehindDriver

V1 = records.formatted(1)
V2 = records.formatted(2)
MAC = bytes.fromhex("02a55e00000a")


@pytest.fixture(scope="module")
def make_board(slow_machine):
    return lambda contents: BoardBehindDriver(slow_machine, "kestrel", contents)


@pytest.mark.parametrize("contents", [V1, V2], ids=["128 bytes", "2048 bytes"])
def test_an_element_is_written_and_read_back(make_board, contents):
    board = make_board(contents)
    board.write("--mac1", MAC.hex(":"))
    assert board.image == records.with_field(contents, "--mac1", MAC)
    assert board.read("--mac1") == MAC.hex(":").encode()


def test_a_128_byte_part_is_formatted_dumped_and_erased(make_board):
    board = make_board(records.damaged(V1))
    assert board.run("--format_v1") == (0, b"", b"")
    assert board.image == V1
    assert board.run("--raw") == (0, records.text("dump-formatted-v1.txt"), b"")
    assert board.run("--erase") == (0, b"", b"")
    assert board.image == records.BLANK_V1


def test_the_bus_takes_a_good_part_of_a_millisecond_for_a_byte(make_board):
    board = make_board(V1)
    start = time.monotonic()
    assert board.image == V1
    assert time.monotonic() - start > 128 * 0.0005
    assert board.machine.do(f"stat -c %s {EEPROM}") == b"128\n"
