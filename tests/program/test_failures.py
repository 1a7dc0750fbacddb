"""What the operator sees when the device, the record or the system fails."""

# ctest: vm

import signal

import pytest
import records
from documents import ROOT, says

V1 = records.formatted(1)
V2 = records.formatted(2)

COMMANDS = [
    ["-r", "--mac1"],
    ["-r", "--version"],
    ["-w", "--mac1", "02:a5:5e:00:00:01"],
    ["-w", "--mac1"],
    ["--raw"],
    ["--help"],
    ["--erase"],
    ["--format_v1"],
    ["--format_v2"],
    ["foo"],
    [],
]
EACH_COMMAND = pytest.mark.parametrize("arguments", COMMANDS, ids=" ".join)

WRITING = [
    ["-w", "--mac1", "02:a5:5e:00:00:01"],
    ["-w", "--ser_num", "1"],
    ["--format_v1"],
    ["--format_v2"],
]
EACH_WRITE = pytest.mark.parametrize("arguments", WRITING, ids=" ".join)

NO_BYTES = b"kestrel: Error reading from file descriptor. No bytes read:\n"
VERIFY = b"write verified error (write protected?)\n"


@EACH_COMMAND
def test_without_the_device_every_command_ends_with_the_open_error(make_sandbox, arguments):
    message = b"kestrel: Error: Open file descriptor: No such file or directory\n"
    assert make_sandbox(None).run(*arguments) == (1, b"", message)


@EACH_COMMAND
def test_on_a_blank_128_byte_part_every_command_fails(make_sandbox, arguments):
    sandbox = make_sandbox(records.BLANK_V1)
    assert sandbox.run(*arguments) == (1, b"", NO_BYTES)
    assert sandbox.image == records.BLANK_V1


@pytest.mark.parametrize("contents", [b"", b"\0", b"\0\1", b"\0\1" * 63 + b"\0", b"\0\2" * 1023])
def test_a_part_shorter_than_its_layout_cannot_be_used(make_sandbox, contents):
    sandbox = make_sandbox(contents)
    assert sandbox.run("-r", "--mac1") == (1, b"", NO_BYTES)
    assert sandbox.image == contents


def test_after_an_erase_a_128_byte_part_cannot_be_loaded(make_sandbox):
    sandbox = make_sandbox(V1)
    assert sandbox.run("--erase") == (0, b"", b"")
    assert sandbox.run("--format_v1") == (1, b"", NO_BYTES)
    assert sandbox.image == records.BLANK_V1


@EACH_WRITE
def test_a_write_protected_part_is_noticed(make_sandbox, arguments):
    sandbox = make_sandbox(records.BLANK_V2)
    # The call reports all bytes as written; nothing reaches the part.
    length = {"--mac1": 6, "--ser_num": 13, "--format_v1": 128, "--format_v2": 255}
    option = next(word for word in arguments if word in length)
    result = sandbox.fail(f"write:retval={length[option]}", *arguments)
    assert result == (1, b"", b"kestrel: " + VERIFY)
    assert sandbox.image == records.BLANK_V2


def test_the_erase_of_a_write_protected_part_reports_it_and_returns(make_sandbox):
    sandbox = make_sandbox(V2)
    assert sandbox.fail("write:retval=2048", "--erase") == (0, b"", VERIFY)
    assert sandbox.image == V2


@pytest.mark.parametrize("position", [0, 1, 300, 2047])
def test_a_single_byte_that_cannot_be_erased_is_noticed(make_sandbox, position):
    contents = records.patched(records.BLANK_V2, position, b"\xfe")
    sandbox = make_sandbox(contents)
    assert sandbox.fail("write:retval=2048", "--erase") == (0, b"", VERIFY)
    assert sandbox.image == contents


@pytest.mark.parametrize(
    "fault, message",
    [
        ("lseek:error=EIO:when=3", b"Error seek file descriptor: Input/output error\n"),
        ("write:error=EIO:when=1", b"Error writing to file descriptor:: Input/output error\n"),
        ("write:retval=0:when=1", b"Error writing to file descriptor. No bytes written:\n"),
        ("read:error=EIO:when=3", b"Error reading from file descriptor:: Input/output error\n"),
        ("read:retval=0:when=3", b"Error reading from file descriptor. No bytes read:\n"),
    ],
)
def test_a_failed_call_ends_a_write_with_the_systems_text_and_an_erase_with_a_line(
    make_sandbox, fault, message
):
    sandbox = make_sandbox(V2)
    result = sandbox.fail(fault, "-w", "--mac1", "02:a5:5e:00:00:01")
    assert result == (1, b"", b"kestrel: " + message)
    assert sandbox.fail(fault, "--erase") == (0, b"", message)


@pytest.mark.parametrize(
    "fault, message",
    [
        ("lseek:error=EIO:when=2", b"Error seek file descriptor: Input/output error\n"),
        ("read:error=EIO:when=2", b"Error reading from file descriptor:: Input/output error\n"),
        ("openat:error=EACCES", b"Error: Open file descriptor: Permission denied\n"),
    ],
)
@EACH_COMMAND
def test_a_failed_bring_up_ends_every_command(make_sandbox, fault, message, arguments):
    sandbox = make_sandbox(V2)
    assert sandbox.fail(fault, *arguments) == (1, b"", b"kestrel: " + message)
    assert sandbox.image == V2


@pytest.mark.parametrize(
    "fault", ["lseek:error=EIO:when=1", "read:error=EIO:when=1", "read:retval=0:when=1"]
)
def test_an_unreadable_version_counts_as_version_2_without_a_message(make_sandbox, fault):
    sandbox = make_sandbox(V2)
    assert sandbox.fail(fault, "-r", "--mac1") == (0, b"02:a5:5e:00:00:00\n", b"")
    says("docs/reliability.md", "a format version that cannot be read counts as version 2")


def test_the_version_that_cannot_be_read_is_shown_as_65535(make_sandbox):
    sandbox = make_sandbox(V2)
    assert sandbox.fail("read:error=EIO:when=3", "-r", "--version") == (0, b"65535\n", b"")
    dump = records.text("dump-formatted-v2.txt").replace(b"0x2\n", b"0xffff\n", 1)
    assert sandbox.fail("read:error=EIO:when=3", "--raw") == (0, dump, b"")


def test_the_seeks_around_a_new_crc_are_not_checked(make_sandbox):
    sandbox = make_sandbox(V2)
    result = sandbox.fail("lseek:error=EIO:when=5", "-w", "--mac1", "02:a5:5e:00:00:01")
    # The position is past the field then, and the rest of the device is shorter than its size.
    assert result == (1, b"", NO_BYTES)
    says(
        "docs/architecture.md",
        "The bytes of the CRC are not read back, and the seeks around it are not checked.",
    )


# A very large number whose lower half is the largest result of a 32-bit system.
HUGE = 0x7FFFFFFF7FFFFFFF

EMULATOR_ABORTS = b"qemu: uncaught target signal 6 (Aborted) - core dumped\n"


def expect_assertion(sandbox, fault, arguments, assertion):
    result = sandbox.fail(fault, *arguments)
    if b"AddressSanitizer" in result.err:
        pytest.skip("the sanitizer believes the call and stops the process itself")
    assert (result.status, result.out) == (-signal.SIGABRT, b"")
    error = result.err.removesuffix(EMULATOR_ABORTS)
    assert error.endswith(b": ../Eeprom.cpp:" + assertion + b" failed.\n")
    says("kestrel.1", f"../Eeprom.cpp:{assertion.decode()} failed.")
    assert not (ROOT / "Eeprom.cpp").exists()
    says(
        "docs/architecture.md",
        "| A failed assertion names a path and lines that do not exist. | Kept. |",
    )


@pytest.mark.parametrize("claimed", [7, HUGE, -5000])
def test_a_write_that_claims_more_than_was_asked_fails_its_assertion(make_sandbox, claimed):
    expect_assertion(
        make_sandbox(V2),
        f"write:retval={claimed}",
        ["-w", "--mac1", "02:a5:5e:00:00:01"],
        b"66: void vantorBoardSupport::WriteLoop(int, const void*, size_t): "
        b"Assertion `size_t(writtenCount) <= byteCountLeft'",
    )
    says(
        "docs/reliability.md",
        "*stopped by assertion*: the system claimed a transfer of more than was asked for.",
    )


@pytest.mark.parametrize("claimed", [3, HUGE, -5000])
def test_a_read_that_claims_more_than_was_asked_fails_its_assertion(make_sandbox, claimed):
    expect_assertion(
        make_sandbox(V2),
        f"read:retval={claimed}",
        ["-r", "--mac1"],
        b"95: void vantorBoardSupport::ReadLoop(int, void*, size_t): "
        b"Assertion `size_t(readCount) <= byteCountLeft'",
    )
