"""What the kernel's driver does that a plain file does not, and how the commands end then."""

import pytest
import records
from documents import says
from machine import EEPROM
from test_failures import COMMANDS, NO_BYTES, VERIFY

NEW_DEVICE = "/sys/bus/i2c/devices/i2c-0/new_device"
V1 = records.formatted(1)
V2 = records.formatted(2)
MAC = bytes.fromhex("02a55e00000a")
WRITE_MAC = ("-w", "--mac1", MAC.hex(":"))
EACH_COMMAND = pytest.mark.parametrize("arguments", COMMANDS, ids=" ".join)


@pytest.fixture
def another_bus(machine):
    """Lets a test change the bus, and brings back the usual one."""
    yield
    machine.do("bus stub; part 2048")


@pytest.mark.parametrize("contents", [V1, V2], ids=["128 bytes", "2048 bytes"])
def test_a_read_at_the_end_gives_nothing(machine, contents):
    machine.put_part(contents)
    size = len(contents)
    assert machine.do(f"dd if={EEPROM} bs=1 skip={size - 1} 2>/dev/null") == contents[-1:]
    assert machine.do(f"dd if={EEPROM} bs=1 skip={size} 2>/dev/null") == b""


def test_a_write_across_the_end_is_short_and_the_next_one_fails(machine):
    machine.put_part(V1)
    result = machine.run(f"tr '\\000' x </dev/zero | dd of={EEPROM} bs=10 count=1 seek=12")
    assert result.status == 1
    assert b"File too large\n" in result.err
    assert machine.do(f"cat {EEPROM}") == V1[:120] + b"x" * 8


def test_a_write_at_the_end_fails_and_does_not_move(machine):
    machine.put_part(V1)
    result = machine.run(
        f"exec 3<>{EEPROM}; dd bs=128 count=1 <&3 2>/dev/null; echo x | dd bs=1 >&3; cat <&3"
    )
    assert result.out == V1
    assert b"File too large\n" in result.err
    assert machine.do(f"cat {EEPROM}") == V1


def test_opening_for_truncation_changes_nothing(machine):
    machine.put_part(V1)
    machine.do(f": >{EEPROM}")
    assert machine.do(f"stat -c %s {EEPROM}; cat {EEPROM}") == b"128\n" + V1


def test_format_v2_of_a_128_byte_part_fails_but_has_wiped_the_record(make_sandbox):
    sandbox = make_sandbox(V1)
    message = b"kestrel: Error writing to file descriptor:: File too large\n"
    assert sandbox.run("--format_v2") == (1, b"", message)
    assert sandbox.image == records.MISTAKEN_V1
    assert sandbox.run("--format_v1") == (1, b"", NO_BYTES)


@EACH_COMMAND
@pytest.mark.parametrize("kind, mode", [("spd", "444"), ("24cs01", "400")], ids=["0444", "0400"])
def test_root_may_not_even_read_a_part_announced_as_read_only(make_sandbox, kind, mode, arguments):
    sandbox = make_sandbox(V2)
    sandbox.machine.do(f"part none; echo {kind} 0x50 >{NEW_DEVICE}")
    assert sandbox.machine.do(f"stat -c %a {EEPROM}; id -u") == f"{mode}\n0\n".encode()
    message = b"kestrel: Error: Open file descriptor: Permission denied\n"
    assert sandbox.run(*arguments) == (1, b"", message)
    assert sandbox.machine.do(f"cat {EEPROM} | head -c 1 | wc -c") == b"1\n"
    sandbox.machine.do("part none; echo 24c16 0x50 >" + NEW_DEVICE)
    assert sandbox.image == V2
    says(
        "docs/vm.md",
        "A part that is announced to the kernel as read-only has mode 0444 or 0400; opening it "
        "for writing fails for root too.",
        "`kestrel` always opens the part for writing, so it cannot even **read** such a part. `cat` "
        "can. |",
    )
    says(
        "kestrel.1",
        "If it is root, the part is announced to the kernel as read-only, and kestrel cannot "
        "use it, not even to read.",
    )


@pytest.mark.usefixtures("another_bus")
def test_a_device_where_no_chip_answers_has_a_directory_and_no_file(make_sandbox):
    sandbox = make_sandbox(V2)
    sandbox.machine.do(f"bus stub 0x51; echo 24c01 0x50 >{NEW_DEVICE}")
    assert sandbox.machine.do(
        f"cd {EEPROM.rpartition('/')[0]}; cat name; ls eeprom 2>&1 || true"
    ) == (b"24c01\nls: eeprom: No such file or directory\n")
    message = b"kestrel: Error: Open file descriptor: No such file or directory\n"
    for arguments in COMMANDS:
        assert sandbox.run(*arguments) == (1, b"", message)
    says(
        "docs/vm.md",
        "A device where no chip answers has a directory, but no file.",
        "`No such file or directory` also means that no chip answers.",
    )
    says(
        "kestrel.1",
        "‘No such file or directory’: the kernel's driver is not bound to a part at address "
        "0x50 of bus 0, or no chip answers there.",
    )


def test_a_descriptor_of_a_removed_part_is_dead_even_when_the_part_comes_back(machine):
    machine.put_part(V2)
    for again in ("", f"echo 24c16 0x50 >{NEW_DEVICE};"):
        script = f"exec 3<>{EEPROM}; part none; {again} echo x | dd bs=1 >&3; cat <&3"
        result = machine.run(script)
        assert result.out == b"" and result.err.count(b"No such device\n") == 2
        machine.do("[ -e %s ] || echo 24c16 0x50 >%s" % (EEPROM, NEW_DEVICE))
    assert machine.do(f"cat {EEPROM}") == V2
    says(
        "docs/vm.md",
        "A removed part gives `No such device`, even to a descriptor that is used after the "
        "part is back.",
    )


@pytest.fixture(scope="module")
def chip_on_bus(faulty_chip, machine):
    """A chip of 128 bytes on another bus, shared by the tests of faults."""
    faulty_chip.repair()
    machine.do(f"bus taos; echo 24c01 0x50 >{NEW_DEVICE}")
    yield
    machine.do("bus stub; part 2048")


@pytest.fixture
def chip(faulty_chip, chip_on_bus, machine):
    """The chip in order, with a formatted record, and kestrel to meet it."""
    faulty_chip.repair()
    faulty_chip.contents[:] = V1
    faulty_chip.run = lambda *arguments: machine.run(" ".join(["kestrel", *map(repr, arguments)]))
    return faulty_chip


TIMED_OUT = b"file descriptor:: Connection timed out\n"


def test_a_chip_in_order_on_the_other_bus_is_read_and_written(chip):
    assert chip.run("-r", "--mac1") == (0, b"02:a5:5e:00:00:00\n", b"")
    assert chip.run(*WRITE_MAC) == (0, b"", b"")
    assert chip.contents == records.with_field(V1, "--mac1", MAC)


@pytest.mark.parametrize(
    "arguments", [WRITE_MAC, ("-w", "--ser_num", "1"), ("--format_v1",)], ids=" ".join
)
def test_a_part_that_ignores_writes_is_noticed_by_reading_back(chip, arguments):
    chip.contents[:] = before = records.with_field(V1, "--pcb_rev", b"B02")
    chip.ignores_writes = True
    assert chip.run(*arguments) == (1, b"", b"kestrel: " + VERIFY)
    assert chip.contents == before
    says(
        "docs/vm.md",
        "| A part that ignores writes reports them as done. | Does not happen. | Read-back detects it",
    )
    says(
        "docs/on-the-board.md",
        "- Where the board has a write-protect pin, that alone is a real protection.",
    )


def test_the_erase_of_a_part_that_ignores_writes_says_so_and_returns(chip):
    chip.ignores_writes = True
    assert chip.run("--erase") == (0, b"", VERIFY)
    assert chip.contents == V1


def test_a_part_that_is_busy_after_each_byte_is_waited_for(chip):
    chip.busy = 0.005
    assert chip.run(*WRITE_MAC) == (0, b"", b"")
    assert chip.contents == records.with_field(V1, "--mac1", MAC)
    says(
        "docs/vm.md",
        "The driver waits for a part that is busy for some milliseconds after each byte. | Does "
        "not happen. | `kestrel` need not wait. |",
    )


def test_a_part_that_does_not_answer_fails_after_25_milliseconds(chip, machine):
    chip.silent = True
    script = f"cut -d' ' -f1 /proc/uptime; dd if={EEPROM} bs=1 count=1; cut -d' ' -f1 /proc/uptime"
    result = machine.run(script)
    start, end = map(float, result.out.split())
    assert b"Connection timed out\n" in result.err
    assert 0.02 <= end - start < 1
    says(
        "docs/vm.md",
        "A part that does not answer fails after 25 ms with `Connection timed out`. | Does not "
        "happen. |",
    )


@EACH_COMMAND
def test_on_a_part_that_does_not_answer_every_command_fails(chip, arguments):
    chip.silent = True
    assert chip.run(*arguments) == (1, b"", b"kestrel: Error reading from " + TIMED_OUT)
    assert chip.contents == V1
    says(
        "docs/vm.md",
        "The version cannot be read, which counts as version 2 without a message; the message "
        "is about the record.",
    )
    says(
        "kestrel.1",
        "or ‘Connection timed out’ if the part does not answer on the bus: repeat the command; if it "
        "lasts, the part or the bus is faulty.",
    )


@pytest.mark.parametrize("bytes_written", [0, 1, 5, 6, 9])
def test_a_write_that_fails_has_changed_the_bytes_before_and_is_put_right_by_another(
    chip, bytes_written
):
    whole = records.with_field(V1, "--mac1", MAC)
    chip.contents[:] = V1
    chip.writes_left = bytes_written
    assert chip.run(*WRITE_MAC) == (1, b"", b"kestrel: Error writing to " + TIMED_OUT)
    field, crc = MAC[:bytes_written], whole[103 : 103 + max(0, bytes_written - 6)]
    assert chip.contents == records.patched(records.patched(V1, 8, field), 103, crc)

    chip.writes_left, chip.silent = None, False
    assert chip.run("-r", "--valid").out == (b"1\n" if bytes_written < 6 else b"0\n")
    assert chip.run(*WRITE_MAC) == (0, b"", b"")
    assert chip.contents == whole
    says(
        "docs/vm.md",
        "A failed write has changed the bytes before the failure.",
        "A field may hold part of the new value; repeating the command repairs it.",
    )


def test_an_erase_that_fails_has_erased_the_bytes_before_and_says_so(chip):
    chip.writes_left = 50
    assert chip.run("--erase") == (0, b"", b"Error writing to " + TIMED_OUT)
    assert chip.contents == b"\xff" * 50 + V1[50:]
