"""The exact device operations of each command, as the kernel sees them: not one more."""

import elements
import pytest
import records
from device_operations import FORMAT, VERSION_READ, bring_up, element_write, erasing
from documents import says

VERSIONS = pytest.mark.parametrize("version", [1, 2])


def operations_past_bring_up(sandbox, version, *arguments):
    operations = sandbox.operations(*arguments)
    assert operations[:5] == bring_up(version)
    assert operations[-1] == "close"
    return operations[5:-1]


@VERSIONS
@pytest.mark.parametrize(
    "option", [*elements.WRITABLE, "--crc", "--valid", ""], ids=lambda option: option or "END"
)
def test_a_read_only_brings_the_record_up(make_sandbox, version, option):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_past_bring_up(sandbox, version, "-r", option) == []


@VERSIONS
def test_the_version_is_read_from_the_device_once_more(make_sandbox, version):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_past_bring_up(sandbox, version, "-r", "--version") == VERSION_READ


@VERSIONS
def test_the_dump_reads_only_the_version_from_the_device(make_sandbox, version):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_past_bring_up(sandbox, version, "--raw") == VERSION_READ


@VERSIONS
def test_help_brings_the_record_up_too(make_sandbox, version):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_past_bring_up(sandbox, version, "--help") == []


@VERSIONS
@pytest.mark.parametrize("element", elements.VALUES, ids=lambda element: element.option)
def test_a_value_is_written_read_back_and_followed_by_the_crc(make_sandbox, version, element):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_past_bring_up(
        sandbox, version, "-w", element.option, element.typed
    ) == element_write(version, element, len(element.stored))
    says(
        "docs/performance.md",
        "`tests/program/test_device_operations.py` pins the device calls one by one.",
    )


@VERSIONS
@pytest.mark.parametrize("option", ["--pcb_ser_num", "--ser_num"])
def test_an_empty_serial_number_only_clears_the_field(make_sandbox, version, option):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_past_bring_up(sandbox, version, "-w", option, "") == element_write(
        version, elements.BY_OPTION[option], 0
    )


@VERSIONS
@pytest.mark.parametrize(
    "arguments",
    [["--mac1", "x"], ["--ser_num", "x" * 14], ["--pcb_rev", ""], ["--crc"], ["--valid", "1"]],
)
def test_a_refused_value_does_not_touch_the_device(make_sandbox, version, arguments):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_past_bring_up(sandbox, version, "-w", *arguments) == []


@VERSIONS
def test_erase_writes_the_device_once_and_reads_it_back(make_sandbox, version):
    sandbox = make_sandbox(records.formatted(version))
    assert operations_past_bring_up(sandbox, version, "--erase") == erasing(version)


def test_format_v1_writes_header_and_fields_in_their_order(make_sandbox):
    sandbox = make_sandbox(records.formatted(1))
    assert operations_past_bring_up(sandbox, 1, "--format_v1") == FORMAT[1]


def test_format_v2_writes_header_and_fields_in_their_order(make_sandbox):
    sandbox = make_sandbox(records.BLANK_V2)
    assert operations_past_bring_up(sandbox, 2, "--format_v2") == FORMAT[2]


def test_formatting_the_other_version_uses_the_new_layout_from_the_header_on(make_sandbox):
    sandbox = make_sandbox(records.formatted(2))
    assert operations_past_bring_up(sandbox, 2, "--format_v1") == FORMAT[1]
    sandbox.image = records.formatted(1, 2048)
    assert operations_past_bring_up(sandbox, 1, "--format_v2") == FORMAT[2]


@pytest.mark.parametrize("error", ["EINTR", "EAGAIN"])
@pytest.mark.parametrize("call", ["read", "write"])
def test_a_call_that_was_interrupted_or_not_ready_is_repeated_at_once(make_sandbox, call, error):
    refused = ["-e", f"inject={call}:error={error}:when=1..3"]
    sandbox = make_sandbox(records.formatted(2))
    result, lines = sandbox.strace(refused, ["-w", "--hardware_rev", "A01"])
    assert result == (0, b"", b"")
    calls = [line.partition("(")[0] for line in lines]
    first = calls.index(call)
    assert calls[first : first + 5] == [call] * 4 + ["lseek"]
