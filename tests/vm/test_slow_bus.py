"""Commands on a real bus driver, whose transfers take their time."""

import time

import pytest
import records
from machine import EEPROM, DriverSandbox

V1 = records.formatted(1)
V2 = records.formatted(2)
MAC = bytes.fromhex("02a55e00000a")


@pytest.fixture(scope="module")
def make_sandbox(slow_machine):
    return lambda contents: DriverSandbox(slow_machine, "kestrel", contents)


@pytest.mark.parametrize("contents", [V1, V2], ids=["128 bytes", "2048 bytes"])
def test_an_element_is_written_and_read_back(make_sandbox, contents):
    sandbox = make_sandbox(contents)
    sandbox.write("--mac1", MAC.hex(":"))
    assert sandbox.image == records.with_field(contents, "--mac1", MAC)
    assert sandbox.read("--mac1") == MAC.hex(":").encode()


def test_a_128_byte_part_is_formatted_dumped_and_erased(make_sandbox):
    sandbox = make_sandbox(records.damaged(V1))
    assert sandbox.run("--format_v1") == (0, b"", b"")
    assert sandbox.image == V1
    assert sandbox.run("--raw") == (0, records.text("dump-formatted-v1.txt"), b"")
    assert sandbox.run("--erase") == (0, b"", b"")
    assert sandbox.image == records.BLANK_V1


def test_the_bus_takes_a_good_part_of_a_millisecond_for_a_byte(make_sandbox):
    sandbox = make_sandbox(V1)
    start = time.monotonic()
    assert sandbox.image == V1
    assert time.monotonic() - start > 128 * 0.0005
    assert sandbox.machine.do(f"stat -c %s {EEPROM}") == b"128\n"
