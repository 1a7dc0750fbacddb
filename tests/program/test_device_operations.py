"""The exact device operations of each command, as the kernel sees them: not one more."""

import pytest
import records
from device_operations import FORMAT, VERSION_READ, bring_up, element_write, erasing

VERSIONS = pytest.mark.parametrize("version", [1, 2])


def operations_behind_bring_up(sandbox, version, *arguments):
    operations = sandbox.operations(*arguments)
    assert operations[:5] == bring_up(version)
    assert operations[-1] == "close"
    return operations[5:-1]


@VERSIONS
@pytest.mark.parametrize(
    "option", [*records.FIELDS, "--crc", "--valid", ""], ids=lambda option: option or "END"
)
def test_a_read_only_brings_the_record_up(make_sandbox, version, option):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_behind_bring_up(sandbox, version, "-r", option) == []


@VERSIONS
def test_the_version_is_read_from_the_device_once_more(make_sandbox, version):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_behind_bring_up(sandbox, version, "-r", "--version") == VERSION_READ


@VERSIONS
def test_the_dump_reads_only_the_version_from_the_device(make_sandbox, version):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_behind_bring_up(sandbox, version, "--raw") == VERSION_READ


@VERSIONS
def test_help_brings_the_record_up_too(make_sandbox, version):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_behind_bring_up(sandbox, version, "--help") == []


@VERSIONS
@pytest.mark.parametrize(
    "option, value",
    [
        ("--mac1", "02:a5:5e:00:00:01"),
        ("--mac2", "02:a5:5e:00:00:01"),
        ("--mac3", "02:a5:5e:00:00:01"),
        ("--mac4", "02:a5:5e:00:00:01"),
        ("--productiondate", "2026-11-15 10:42:16"),
        ("--servicedate", "2026-11-15 10:42:16"),
        ("--type", "30"),
        ("--hardware_rev", "001"),
        ("--pcb_rev", "001"),
    ],
)
def test_a_field_is_written_read_back_and_followed_by_the_crc(make_sandbox, version, option, value):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_behind_bring_up(sandbox, version, "-w", option, value) == element_write(
        version, option, records.FIELDS[option][version + 1]
    )


@VERSIONS
@pytest.mark.parametrize("option", ["--pcb_ser_num", "--ser_num"])
@pytest.mark.parametrize("value", ["", "1", "123456789012"])
def test_a_serial_number_is_cleared_and_then_written(make_sandbox, version, option, value):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_behind_bring_up(sandbox, version, "-w", option, value) == element_write(
        version, option, len(value)
    )


@VERSIONS
@pytest.mark.parametrize(
    "arguments",
    [["--mac1", "x"], ["--ser_num", "x" * 14], ["--pcb_rev", ""], ["--crc"], ["--valid", "1"]],
)
def test_a_refused_value_does_not_touch_the_device(make_sandbox, version, arguments):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_behind_bring_up(sandbox, version, "-w", *arguments) == []


@VERSIONS
def test_erase_writes_the_device_once_and_reads_it_back(make_sandbox, version):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_behind_bring_up(sandbox, version, "--erase") == erasing(version)


def test_format_v1_writes_header_and_fields_in_their_order(make_sandbox):
    sandbox = make_sandbox(records.formatted(1))
    assert operations_behind_bring_up(sandbox, 1, "--format_v1") == FORMAT[1]


def test_format_v2_writes_header_and_fields_in_their_order(make_sandbox):
    sandbox = make_sandbox(records.BLANK_V2)
    assert operations_behind_bring_up(sandbox, 2, "--format_v2") == FORMAT[2]


def test_formatting_the_other_version_uses_the_new_layout_from_the_header_on(make_sandbox):
    sandbox = make_sandbox(records.formatted(2))
    assert operations_behind_bring_up(sandbox, 2, "--format_v1") == FORMAT[1]
    sandbox.image = records.formatted(1, 2048)
    assert operations_behind_bring_up(sandbox, 1, "--format_v2") == FORMAT[2]
