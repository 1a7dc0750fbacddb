"""kestrel-record on parts behind the kernel's driver, and on one that fails there."""

import json

import pytest
import record_model
import records
from machine import EEPROM, quoted

NEW_DEVICE = "/sys/bus/i2c/devices/i2c-0/new_device"
V1 = records.formatted(1)
V2 = records.formatted(2)
SAMPLES = {contents: record_model.sample(version) for version, contents in ((1, V1), (2, V2))}
MAC = "--set=mac1=02:a5:5e:00:00:0a"
NOT_CHANGED = b"; the part was not changed\n"
MAYBE_CHANGED = b"; the part may have been changed\n"

EACH_PART = pytest.mark.parametrize("contents", [V1, V2], ids=["128 bytes", "2048 bytes"])


@pytest.fixture
def run(machine):
    """Runs kestrel-record, with a document on standard input if there is one."""

    def run_it(*arguments, document=None, before=""):
        line = before.encode() + b" ".join(map(quoted, ["kestrel-record", *arguments]))
        if document is not None:
            line = b"printf %s " + quoted(json.dumps(document)) + b" | " + line + b" -"
        return machine.run(line)

    return run_it


def image(machine):
    return machine.do(f"cat {EEPROM}")


def printed(result):
    assert (result.status, result.err) == (0, b"")
    return json.loads(result.out)


@EACH_PART
@pytest.mark.parametrize("state", ["fresh", "blank", "damaged"])
def test_a_document_is_written_compared_and_read(machine, run, contents, state):
    sample = SAMPLES[contents]
    before = {
        "fresh": contents,
        "blank": b"\xff" * len(contents),
        "damaged": records.damaged(contents),
    }[state]
    machine.put_part(before)
    assert run("diff", document=sample).status == (1 if state == "fresh" else 6)
    assert run("write", document=sample).out.endswith(b"written\n")
    assert image(machine) == record_model.written(before, sample)
    assert run("diff", document=sample) == (0, b"same\n", b"")
    assert run("write", document=sample) == (0, b"unchanged\n", b"")
    assert printed(run("read")) == {
        key: record_model.printed(key, value) for key, value in sample.items()
    }


@EACH_PART
def test_a_part_without_a_record_is_refused_where_one_is_needed_and_formatted(
    machine, run, contents
):
    blank = b"\xff" * len(contents)
    machine.put_part(blank)
    for arguments in (["read"], ["diff", MAC], ["write", MAC]):
        result = run(*arguments)
        assert (result.status, result.out) == (6, b""), arguments
        assert b"no intact record" in result.err
    assert image(machine) == blank
    assert run("write", "--format", MAC).status == 0
    mac = bytes.fromhex("02a55e00000a")
    fresh = record_model.fresh(blank, records.version_of(contents))
    assert image(machine) == records.with_field(fresh, "--mac1", mac)


@EACH_PART
def test_a_lock_on_the_part_holds(machine, run, contents):
    machine.put_part(contents)
    for arguments in (["read"], ["diff", MAC], ["write", MAC]):
        assert run(arguments[0], "--wait=0", *arguments[1:], before=f"flock {EEPROM} ").status == 5
    shared = f"flock -s {EEPROM} "
    assert run("read", "--wait=0", before=shared).status == 0
    assert run("write", "--wait=0", MAC, before=shared).status == 5
    assert image(machine) == contents


@pytest.fixture
def read_only(machine):
    """Makes the parts read-only, for root too."""
    yield lambda: machine.do("mount -o remount,ro /sys")
    machine.do("mount -o remount,rw /sys")


@EACH_PART
def test_a_read_only_part_can_be_read_and_compared_and_not_written(
    machine, run, read_only, contents
):
    machine.put_part(contents)
    read_only()
    message = b"kestrel: Error: Open file descriptor: Read-only file system\n"
    assert machine.run("kestrel -r --mac1") == (1, b"", message)
    assert printed(run("read"))["mac1"] == "02:a5:5e:00:00:00"
    assert run("diff", MAC).status == 1
    assert run("write", "-n", MAC).out.endswith(b"would write\n")
    result = run("write", MAC)
    assert (result.status, result.out) == (4, b"")
    assert result.err.endswith(b": Read-only file system" + NOT_CHANGED)


def test_a_part_of_another_size_is_refused(machine, run):
    machine.do(f"part none; echo 24c02 0x50 >{NEW_DEVICE}")
    for arguments in (["read"], ["diff", MAC], ["write", MAC]):
        result = run(*arguments)
        assert (result.status, result.out) == (6, b"")
        assert b"128 or 2048 bytes" in result.err


@EACH_PART
def test_a_part_that_is_not_there_cannot_be_opened(machine, run, contents):
    machine.put_part(contents)
    machine.do("part none")
    for arguments in (["read"], ["diff", MAC], ["write", MAC]):
        result = run(*arguments)
        assert (result.status, result.out) == (4, b"")
        assert result.err.endswith(b": No such file or directory" + NOT_CHANGED)


@EACH_PART
def test_a_part_removed_while_its_lock_is_waited_for_cannot_be_read(machine, run, contents):
    machine.put_part(contents)
    remover = f"flock {EEPROM} sh -c 'sleep 2; part none' & "
    is_locked = f"while flock -n {EEPROM} true; do sleep 0.1; done; "
    for arguments in (["read"], ["write", MAC]):
        machine.put_part(contents)
        result = run(*arguments, before=remover + is_locked)
        assert (result.status, result.out) == (4, b"")
        assert result.err.endswith(b": No such device" + NOT_CHANGED)


# A part with faults


def put_on_bus(machine, contents):
    kind = {128: "24c01", 2048: "24c16"}[len(contents)]
    machine.do(f"bus taos; echo {kind} 0x50 >{NEW_DEVICE}")


@pytest.fixture(scope="module", params=[V1, V2], ids=["128 bytes", "2048 bytes"])
def fresh(request, faulty_chip, machine):
    """The fresh record of a part on the bus of the faulty chip."""
    faulty_chip.repair()
    put_on_bus(machine, request.param)
    yield request.param
    machine.do("bus stub; part 2048")


@pytest.fixture
def chip(faulty_chip, fresh):
    """The chip in order, with a fresh record. It has the first 256 of 2048 bytes."""
    faulty_chip.repair()
    faulty_chip.contents[:] = fresh[:256]
    return faulty_chip


def test_a_chip_in_order_is_written_in_one_go(chip, run, fresh):
    assert run("write", document=SAMPLES[fresh]).status == 0
    assert chip.contents == record_model.written(fresh, SAMPLES[fresh])[:256]


def test_a_part_that_ignores_writes_is_noticed(chip, run, fresh):
    chip.ignores_writes = True
    for arguments in ([MAC], ["--format", "--set=ser_num=1"]):
        result = run("write", *arguments)
        assert (result.status, result.out) == (7, b"")
        assert b"does not hold what was written to it" in result.err
    assert chip.contents == fresh[:256]


def test_a_part_that_is_busy_after_each_byte_is_waited_for(chip, run, fresh):
    chip.busy = 0.005
    assert run("write", MAC).status == 0
    mac = bytes.fromhex("02a55e00000a")
    assert chip.contents == records.with_field(fresh, "--mac1", mac)[:256]


def test_a_part_that_does_not_answer_cannot_be_read(chip, run, fresh):
    chip.silent = True
    for arguments in (["read"], ["diff", MAC], ["write", MAC], ["write", "--format", MAC]):
        result = run(*arguments)
        assert (result.status, result.out) == (4, b"")
        assert result.err.endswith(b": Connection timed out" + NOT_CHANGED)
    assert chip.contents == fresh[:256]


class BusWasLate(Exception):
    """A transfer has failed although the chip answers: on a busy computer, not within 250 ms."""


def in_time(chip, result):
    if b"Connection timed out" in result.err and not chip.silent:
        raise BusWasLate
    return result


def shown(document):
    """The fields of a document that the CRC covers."""
    return {**document, "block8": None}


def cut_off(chip, run, fresh, count):
    """Lets the part take so many bytes of a write and come back. Returns the status of a read."""
    sample = SAMPLES[fresh]
    after = record_model.written(fresh, sample)
    first, _ = record_model.extent(fresh, after)
    torn = fresh[:first] + after[first : first + count] + fresh[first + count :]
    chip.repair()
    chip.contents[:] = fresh[:256]
    chip.writes_left = count
    result = in_time(chip, run("write", document=sample))
    assert (result.status, result.out) == (4, b"")
    assert result.err.endswith(b": Connection timed out" + MAYBE_CHANGED)
    assert chip.contents == torn[:256]

    chip.writes_left, chip.silent = None, False
    result = in_time(chip, run("read"))
    assert result.status == (0 if record_model.intact(torn) else 6), count
    if result.status == 0:
        whole = (record_model.decoded(part, sample["version"]) for part in (fresh, after))
        assert shown(json.loads(result.out)) in map(shown, whole), count
    assert in_time(chip, run("write", document=sample)).status == 0
    assert chip.contents == after[:256]
    return result.status


def test_a_part_cut_off_at_any_byte_of_the_write_is_refused_or_whole_and_is_healed(
    chip, run, fresh, machine
):
    first, end = record_model.extent(fresh, record_model.written(fresh, SAMPLES[fresh]))
    statuses, late = [], 0
    while len(statuses) < end - first:
        try:
            statuses.append(cut_off(chip, run, fresh, len(statuses)))
        except BusWasLate:
            late += 1
            assert late < 10
            put_on_bus(machine, fresh)
    assert set(statuses) == {0, 6}
