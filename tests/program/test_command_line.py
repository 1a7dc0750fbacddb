"""What the arguments mean, in every order, and the exit statuses."""

# ctest: vm

import os
import shlex
import subprocess

import elements
import pytest
import records
from documents import says

USAGE = records.text("usage.txt")
V1 = records.formatted(1)
V2 = records.formatted(2)


def expect_usage_and_255(sandbox, *arguments):
    before = sandbox.image
    assert sandbox.run(*arguments) == (255, USAGE, b"")
    assert sandbox.image == before


def test_the_usage_text_has_21_lines_and_an_empty_one_after_the_first():
    lines = USAGE.split(b"\n")
    assert len(lines) == 23 and lines[1] == b"" and lines[-1] == b""


@pytest.mark.parametrize("arguments", [["--help"], ["-r", "--help"], ["--mac1", "--help"]])
def test_help_prints_the_usage_text_wherever_it_stands(make_sandbox, arguments):
    sandbox = make_sandbox(V2)
    assert sandbox.run(*arguments) == (0, USAGE, b"")
    assert sandbox.image == V2


@pytest.mark.parametrize(
    "arguments",
    [
        ["-raw"],
        ["-r", "--mac0"],
        ["-r", "--pattern"],
        ["-r", "--mac5"],
        ["-r"],
        ["-w"],
        ["-r", "-w"],
        ["foo"],
        ["--"],
        ["-r", "--MAC1"],
        ["-r", "--mac1 "],
        ["-r", " --mac1"],
        ["-r", "--mac1=02:a5:5e:00:00:01"],
        ["-r", "--mac"],
        ["-r", "--mac11"],
        ["-rw", "--mac1x"],
        ["--Raw"],
        ["--format_v3"],
        ["--format_v11"],
        ["--erasex"],
        ["--rawx"],
        ["--helpx"],
        ["--eras"],
        ["MAC1"],
        ["%s%n%s%n"],
        ["x" * 100000],
        [b"\x80\xff"],
    ],
    ids=lambda arguments: repr(arguments)[:40],
)
def test_without_a_known_element_the_usage_text_is_printed_with_status_255(make_sandbox, arguments):
    expect_usage_and_255(make_sandbox(V2), *arguments)


def test_an_unknown_element_is_refused_on_a_damaged_record_too(make_sandbox):
    expect_usage_and_255(make_sandbox(records.damaged(V2)), "-r", "--mac0")


def test_the_first_special_word_is_executed_and_nothing_after_it(make_sandbox):
    sandbox = make_sandbox(V2)
    assert sandbox.run("--raw", "--erase") == (0, records.text("dump-formatted-v2.txt"), b"")
    assert sandbox.image == V2
    assert sandbox.run("--erase", "--raw") == (0, b"", b"")
    assert sandbox.image == records.BLANK_V2
    assert sandbox.run("--format_v2", "--erase") == (0, b"", b"")
    assert sandbox.image == V2
    assert sandbox.run("--help", "--erase") == (0, USAGE, b"")
    assert sandbox.image == V2


@pytest.mark.parametrize(
    "arguments",
    [
        ["-w", "--ser_num", "--erase"],
        ["-r", "--mac1", "--erase"],
        ["foo", "--erase"],
        ["-r", "--erase"],
        ["", "--erase"],
        ["--erase", "--format_v2"],
    ],
)
def test_a_special_word_is_executed_wherever_it_stands_even_as_a_value(make_sandbox, arguments):
    sandbox = make_sandbox(V2)
    assert sandbox.run(*arguments) == (0, b"", b"")
    assert sandbox.image == records.BLANK_V2


@pytest.mark.parametrize("arguments", [["-r", "--mac1"], ["--mac1", "-r"], ["-w", "-r", "--mac1"]])
def test_the_last_mode_word_wins_and_may_stand_anywhere_for_a_read(make_sandbox, arguments):
    sandbox = make_sandbox(V2)
    assert sandbox.run(*arguments) == (0, b"02:a5:5e:00:00:00\n", b"")


@pytest.mark.parametrize(
    "arguments",
    [
        ["-w", "--pcb_rev", "001"],
        ["--pcb_rev", "001", "-w"],
        ["-r", "-w", "--pcb_rev", "001"],
        ["-r", "--pcb_rev", "001", "-w"],
        ["--pcb_rev", "001"],
        ["foo", "--pcb_rev", "001", "bar"],
    ],
)
def test_without_read_mode_the_argument_after_the_option_is_written(make_sandbox, arguments):
    sandbox = make_sandbox(V2)
    assert sandbox.run(*arguments) == (0, b"", b"")
    assert sandbox.image == records.with_field(V2, "--pcb_rev", b"001")


def test_a_mode_word_after_the_option_is_its_value(make_sandbox):
    sandbox = make_sandbox(V2)
    assert sandbox.run("--ser_num", "-w") == (0, b"", b"")
    assert sandbox.image == records.with_field(V2, "--ser_num", b"-w")


def test_the_first_argument_that_is_an_option_selects_the_element(make_sandbox):
    sandbox = make_sandbox(V2)
    assert sandbox.run("-r", "--pcb_rev", "--mac1") == (0, b"000\n", b"")
    assert sandbox.run("-r", "--mac1", "--pcb_rev") == (0, b"02:a5:5e:00:00:00\n", b"")
    assert sandbox.run("-w", "--ser_num", "--mac1") == (0, b"", b"")
    assert sandbox.image == records.with_field(V2, "--ser_num", b"--mac1")


def test_a_value_in_front_of_an_option_is_not_looked_at(make_sandbox):
    sandbox = make_sandbox(V2)
    assert sandbox.run("foo", "--mac2", "bar") == (0, b"", b"")
    assert sandbox.image == V2


def test_an_option_may_be_the_value_of_an_unknown_element(make_sandbox):
    sandbox = make_sandbox(V2)
    assert sandbox.run("-r", "--mac0", "--valid") == (0, b"1\n", b"")


def test_an_empty_argument_selects_the_last_entry_which_does_nothing(make_sandbox):
    sandbox = make_sandbox(V2)
    assert sandbox.run("-r", "") == (0, b"\n", b"")
    assert sandbox.run("", "value") == (0, b"", b"")
    assert sandbox.run("-w", "", "value") == (0, b"", b"")
    assert sandbox.run("-r", "", "--mac1") == (0, b"\n", b"")
    assert sandbox.image == V2


@pytest.mark.parametrize("option", [*elements.WRITABLE, ""])
@pytest.mark.parametrize("mode", [["-w"], []])
def test_a_missing_value_ends_with_a_message_and_writes_nothing(make_sandbox, mode, option):
    sandbox = make_sandbox(V2)
    message = b"kestrel: basic_string::_S_construct null not valid\n"
    assert sandbox.run(*mode, option) == (1, b"", message)
    assert sandbox.image == V2


@pytest.mark.parametrize("option", elements.READ_ONLY)
@pytest.mark.parametrize("mode", [["-r", "-w"], ["-w"], []])
def test_read_only_elements_need_no_value_and_take_any(make_sandbox, mode, option):
    sandbox = make_sandbox(V2)
    assert sandbox.run(*mode, option) == (0, b"", b"")
    assert sandbox.run(*mode, option, "1") == (0, b"", b"")
    assert sandbox.image == V2


@pytest.mark.parametrize("name", ["--help", "--erase", "--valid", "-r"])
def test_the_name_that_the_program_was_called_by_means_nothing(make_sandbox, name):
    sandbox = make_sandbox(V2)
    bash = ["bash", "-c", f'exec -a {name} "$0" "$@"', str(sandbox.program)]
    sandbox.command = lambda *arguments: ["umockdev-wrapper", *bash, *arguments]
    expect_usage_and_255(sandbox, "foo")
    sandbox.write("--pcb_rev", "001")


def test_many_arguments_are_scanned_to_the_end(make_sandbox):
    sandbox = make_sandbox(V2)
    assert sandbox.run(*["x"] * 5000, "-r", "--valid") == (0, b"1\n", b"")


def test_the_output_of_a_read_to_a_full_disk_is_reported(make_sandbox):
    sandbox = make_sandbox(V2)
    message = b"kestrel: Error writing to standard output\n"
    for arguments in (["-r", "--mac1"], ["--raw"], ["--help"], ["-r", "--nothing"]):
        with open("/dev/full", "wb") as full:
            result = sandbox.run(*arguments, stdout=full)
        assert (result.status, result.err) == (1, message), arguments


def test_a_line_that_a_terminal_loses_is_reported(make_sandbox):
    sandbox = make_sandbox(V2)
    terminal, standard_output = os.openpty()
    losing = ["strace", "-f", "-o", sandbox.directory / "log", "-P", os.ttyname(standard_output)]
    losing += ["-e", "inject=write:error=EIO:when=2"]
    done = subprocess.run(
        [*losing, *sandbox.command("--help")],
        env=sandbox.traced_environment(),
        stdout=standard_output,
        stderr=subprocess.PIPE,
        check=False,
    )
    os.close(standard_output)
    os.close(terminal)
    assert "(INJECTED)" in (sandbox.directory / "log").read_text()
    assert (done.returncode, done.stderr) == (1, b"kestrel: Error writing to standard output\n")


def test_a_write_prints_nothing_and_so_does_not_mind_a_full_disk(make_sandbox):
    sandbox = make_sandbox(V2)
    with open("/dev/full", "wb") as full:
        result = sandbox.run("-w", "--pcb_rev", "001", stdout=full)
    assert (result.status, result.err) == (0, b"")


@pytest.mark.parametrize("closed", [[0], [1], [2], [0, 1], [1, 2], [0, 2], [0, 1, 2]], ids=str)
@pytest.mark.parametrize(
    "arguments, status",
    [(["-r", "--mac1"], 0), (["--raw"], 0), (["-r", "--mac0"], 255), (["-w", "--mac1"], 1)],
    ids=["read", "dump", "usage", "failure"],
)
def test_closed_standard_descriptors_never_let_output_into_the_device(
    make_sandbox, closed, arguments, status
):
    sandbox = make_sandbox(records.damaged(V2))
    before = sandbox.image
    usual = sandbox.run(*arguments)
    assert usual.status == status

    def close_them():
        for descriptor in closed:
            os.close(descriptor)

    result = sandbox.run(*arguments, preexec_fn=close_them)
    assert sandbox.image == before
    if len(closed) == 1:  # the test bed itself takes the next free number for a socket
        out = b"" if 1 in closed else usual.out
        err = b"" if 2 in closed else usual.err
        assert result == (status, out, err)


@pytest.mark.parametrize("closed", ["", "<&- >&- 2>&-"], ids=["none closed", "all closed"])
def test_the_device_never_gets_the_number_of_a_standard_descriptor(make_sandbox, closed):
    sandbox = make_sandbox(V2)
    log = sandbox.directory / "strace.log"
    line = f"exec {shlex.join(sandbox.command('-r', '--version'))} {closed}"
    command = ["strace", "-o", log, "-e", "trace=openat", "sh", "-c", line]
    subprocess.run(command, env=sandbox.traced_environment(), stdout=subprocess.PIPE, check=False)
    opened = [line for line in log.read_text().splitlines() if "O_RDWR)" in line]
    assert str(sandbox.path) in opened[-1]
    assert int(opened[-1].split("=")[1]) > 2
    # Those that are open are left alone.
    assert any('"/dev/null"' in line for line in opened) == bool(closed)


def test_without_dev_null_a_closed_standard_descriptor_ends_the_program(make_sandbox):
    sandbox = make_sandbox(V2)
    null = ["strace", "-o", sandbox.directory / "strace.log", "-P", "/dev/null"]
    null += ["-e", "inject=openat:error=EMFILE"]
    done = subprocess.run(
        [*null, *sandbox.command("-r", "--version")],
        env=sandbox.traced_environment(),
        capture_output=True,
        check=False,
        preexec_fn=lambda: os.close(0),
    )
    assert (done.returncode, done.stdout) == (1, b"")
    # The test bed changes errno after a failed open in /dev, so the system's text is not known.
    assert done.stderr.startswith(b"kestrel: Error opening /dev/null: ")
    says(
        "kestrel.1",
        "Error opening /dev/null: reason Standard input, output or error is closed, and there is "
        "nothing to open in its place. Leave them open.",
    )


def test_a_write_with_all_standard_descriptors_closed_still_works(make_sandbox):
    sandbox = make_sandbox(V2)
    result = sandbox.run("-w", "--pcb_rev", "001", preexec_fn=lambda: os.closerange(0, 3))
    assert result.status == 0
    assert sandbox.image == records.with_field(V2, "--pcb_rev", b"001")
