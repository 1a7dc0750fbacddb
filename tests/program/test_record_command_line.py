"""The command line of kestrel-record: its grammar and statuses, the lock, and its surroundings."""

# ctest: native first

import contextlib
import fcntl
import json
import os
import re
import signal
import subprocess
import time
from pathlib import Path

import pytest
import record_model as model
import records
from conftest import HEEDING_MODES, result_of

ROOT = Path(__file__).parents[2]
V2 = records.formatted(2)
WRITE = ["write", "--set", "ser_num=1"]
WRITTEN = records.with_field(V2, "--ser_num", b"1")


@pytest.fixture
def part(make_part):
    return make_part(V2)


def plain(part, *arguments, **options):
    """Runs the program with just these arguments."""
    done = subprocess.run(
        [part.program, *arguments], capture_output=True, timeout=60, check=False, **options
    )
    return done.returncode, done.stdout, done.stderr


# Usage

DOCUMENT = "--set=type=0x1"


@pytest.mark.parametrize(
    "line",
    [
        *["", "frob", "Read", "rea", "-r", "--raw", "--frob", "-h", "-V"],
        *["read --frob", "read -x", "read --json", "read --set type=0x1", "read -n", "read crc"],
        *["read ser_num MAC1", "read -- --device", "read ser_num=1", "read --format", "read -"],
        *["check", "diff", "write", "image -o -", "check --json", "write --format", "write -n"],
        *["check --device part DOC", "check --wait 1 DOC", "check --format DOC", "check -n DOC"],
        *["diff --format DOC", "diff -n DOC", "diff --damaged DOC", "diff -o x DOC"],
        *["write --damaged DOC", "write -o x DOC", "image DOC", "image --json -o - DOC"],
        *["image --device part -o - DOC", "image --wait 1 -o - DOC", "image -n -o - DOC"],
        *["check a b", "write - -", "diff a b", "image -o - a b", "check DOC a b"],
        *["read --device", "read --wait", "check --set", "image DOC -o", "write DOC --wait"],
        *["check --set type", "check --set =", "check --set type=", "check --set type= DOC"],
        *["check --set type= --set type=0x1", "check --set type DOC", "check DOC --set"],
        *["read --dev part", "read --dam", "check --js DOC", "write --dry DOC", "write --form DOC"],
        *["read --damaged=1", "check --json=1 DOC", "write --dry-run=x DOC", "read --w 1"],
        *["write DOC --frob", "write DOC -z"],
        *(f"read --wait {n}" for n in ("-1", "86401", "1.5", "x", "1s", "+1", "0x1", "1e1")),
        *(
            f"read --wait={n}"
            for n in ("", " 1", "1 ", "99999999999999999999", "18446744073709551616")
        ),
    ],
)
def test_a_wrong_line_is_status_2_and_nothing_is_opened(part, line):
    words = [DOCUMENT if word == "DOC" else word for word in line.split(" ")] if line else []
    if line.startswith("read --wait="):
        words = ["read", line.removeprefix("read ")]
    log = part.path.parent / "log"
    tracing = ["strace", "-o", log, "-P", part.path, "-P", records.GOLDEN]
    command = [*tracing, part.program, *words]
    command += ["--device", part.path] if words[:1] in (["read"], ["diff"], ["write"]) else []
    if words[-1:] and words[-1] in ("--device", "--wait", "--set", "-o"):
        command = [*tracing, part.program, *words]
    result = result_of(command, part.traced_environment())
    assert (result.status, result.out) == (2, b"")
    lines = result.err.splitlines()
    assert lines and all(text.startswith(b"kestrel-record: ") for text in lines)
    assert "open" not in log.read_text()


@pytest.mark.parametrize("seconds", ["0", "9", "86400"])
def test_a_number_of_seconds_is_taken(part, seconds):
    assert part.run("read", "--wait", seconds, "version") == (0, b"2\n", b"")


def test_options_stand_anywhere_in_front_of_the_two_dashes(part):
    before = plain(part, "read", "--device", part.path, "ser_num", "type")
    assert before == (0, b"0000000000000\n0x30\n", b"")
    for words in (
        ["ser_num", "--device", part.path, "type"],
        ["ser_num", "type", f"--device={part.path}"],
        ["--wait=0", "--device", part.path, "--", "ser_num", "type"],
    ):
        assert plain(part, "read", *words) == before
    document = part.path.parent / "--json"
    document.write_text("{}")
    assert part.run("check", "--", "--json", cwd=part.path.parent) == (0, b"valid\n", b"")


HELP = re.findall(
    r"^\$ kestrel-record (.*)\n([^$]*)", records.text("record-usage.txt").decode(), re.M
)


@pytest.mark.parametrize("words, text", HELP, ids=[words for words, _ in HELP])
def test_help_goes_to_standard_output(part, words, text):
    assert plain(part, *words.split()) == (0, text.encode(), b"")
    with open("/dev/full", "wb") as full:
        done = subprocess.run(
            [part.program, *words.split()], stdout=full, stderr=subprocess.PIPE, check=False
        )
    assert done.returncode == 4 and done.stderr.startswith(b"kestrel-record: ")


MESSAGES = re.findall(
    r"^\$ kestrel-record ?(.*)\n((?:.*\n)*?)status (\d)$",
    records.text("record-messages.txt").decode(),
    re.M,
)


@pytest.mark.parametrize("line, text, status", MESSAGES, ids=[line for line, _, _ in MESSAGES])
def test_each_message_is_in_these_words(part, tmp_path, line, text, status):
    (tmp_path / "folder").mkdir()
    (tmp_path / "short").write_bytes(bytes(100))
    (tmp_path / "v1").write_bytes(records.formatted(1))
    (tmp_path / "v2").write_bytes(V2)
    (tmp_path / "crc").write_bytes(records.damaged(V2))
    (tmp_path / "word").write_bytes(records.with_crc(records.patched(V2, 0, b"\0\3")))
    (tmp_path / "pattern").write_bytes(records.with_crc(records.patched(V2, 2, b"vantor")))
    (tmp_path / "blank").write_bytes(records.BLANK_V2)
    status_and_text = plain(part, *line.split(), cwd=tmp_path)[::2]
    assert status_and_text == (int(status), text.encode())


def test_the_version_is_that_of_the_project(part):
    version = re.search(r"project\(kestrel VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text())[1]
    assert plain(part, "--version") == (0, f"kestrel-record {version}\n".encode(), b"")


# Documents


def test_a_document_is_a_file_or_standard_input(part):
    document = part.path.parent / "board.json"
    document.write_text('{"ser_num": "1"}')
    assert part.run("check", document) == (0, b"valid\n", b"")
    assert part.run("diff", document).status == 1
    assert part.run("write", document).status == 0
    assert part.image == WRITTEN
    with open(document, "rb") as file:
        assert part.run("diff", "-", stdin=file) == (0, b"same\n", b"")


@pytest.mark.parametrize("name", ["missing", "", "folder", "missing/document"])
@pytest.mark.parametrize("command", [["check"], ["diff"], ["write"], ["image", "-o", "-"]], ids=str)
def test_a_document_that_cannot_be_read_is_status_4(part, command, name):
    (part.path.parent / "folder").mkdir()
    result = part.run(*command, f"{part.path.parent}/{name}")
    assert (result.status, result.out) == (4, b"") and result.err.startswith(b"kestrel-record: ")
    assert part.image == V2
    if command[0] != "image":
        report = part.report(*command, f"{part.path.parent}/{name}")
        assert (report["result"], report["status"]) == ("failed", 4)
    assert (b"; the part was not changed" in result.err) == (command[0] in ("diff", "write"))


def test_a_document_that_fails_to_be_read_to_its_end_is_status_4(part):
    document = part.path.parent / "board.json"
    document.write_text("{}")
    tracing = ["strace", "-o", part.path.parent / "log", "-P", document]
    result = part.run("write", document, before=[*tracing, "-e", "inject=read:error=EIO"])
    message = re.sub(" /[^:]*", " NAME", result.err.decode())
    reason = "cannot read NAME: Input/output error; the part was not changed"
    assert (result.status, message) == (4, f"kestrel-record: {reason}\n")
    folder = os.open(part.path.parent, os.O_RDONLY)
    result = part.run("check", "-", stdin=folder)
    os.close(folder)
    assert result == (4, b"", b"kestrel-record: cannot read standard input: Is a directory\n")


@pytest.mark.parametrize("error", ["EINTR", "EAGAIN"])
def test_an_interrupted_read_of_the_document_is_repeated(part, error):
    document = part.path.parent / "board.json"
    document.write_text("{}")
    log = part.path.parent / "log"
    tracing = ["strace", "-o", log, "-P", document, "-e", f"inject=read:error={error}:when=1..20"]
    assert part.run("check", document, before=tracing) == (0, b"valid\n", b"")
    assert log.read_text().count("poll(") == 20  # what is not ready is waited for


@pytest.mark.parametrize("claimed", [16385, 1000000, -5000])
def test_a_read_of_the_document_that_claims_more_than_was_asked_aborts(part, claimed):
    document = part.path.parent / "board.json"
    document.write_text("{}")
    tracing = ["strace", "-o", part.path.parent / "log", "-P", document]
    result = part.run("check", document, before=[*tracing, "-e", f"inject=read:retval={claimed}"])
    if b"AddressSanitizer" in result.err:
        pytest.skip("the sanitizer believes the call and stops the process itself")
    assert (result.status, result.out) == (-signal.SIGABRT, b"")
    assert b"DocumentFile.cpp:" in result.err and b"`size_t(count) <= size'" in result.err


# What can serve as a part


def test_a_symbolic_link_to_a_part_is_followed(part):
    link = part.path.parent / "link"
    link.symlink_to(part.path)
    assert plain(part, "read", "--device", link, "version") == (0, b"2\n", b"")
    assert plain(part, *WRITE, "--device", link)[0] == 0
    assert link.is_symlink() and part.image == WRITTEN


@pytest.mark.parametrize(
    "command", [["read"], ["read", "--damaged"], ["diff", DOCUMENT], WRITE], ids=str
)
def test_what_is_no_regular_file_is_status_6_without_blocking(part, command):
    pipe = part.path.parent / "pipe"
    os.mkfifo(pipe)
    for device in (part.path.parent, pipe, "/dev/null"):
        status, out, err = plain(part, *command, "--device", device)
        assert (status, out) == (6, b"") and err.startswith(b"kestrel-record: ")
    for device in (part.path.parent / "missing", "", part.path / "in a file"):
        status, out, err = plain(part, *command, "--device", device)
        assert (status, out) == (4, b"")
        assert re.search(b": (No such file or directory|Not a directory); ", err)


def test_a_read_only_part_can_be_read_and_compared_but_not_written(part):
    denied = ["strace", "-o", part.path.parent / "log", "-P", part.path]
    denied += ["-e", "inject=openat:error=EACCES"]
    result = part.run(*WRITE, before=denied)
    assert result.status == 4 and b"Permission denied" in result.err
    part.path.chmod(0o444)
    assert part.run("read", "version", before=HEEDING_MODES) == (0, b"2\n", b"")
    assert part.run("diff", "--set", "type=0x30", before=HEEDING_MODES).status == 0
    assert part.run(*WRITE, "-n", before=HEEDING_MODES).status == 0
    result = part.run(*WRITE, before=HEEDING_MODES)
    assert result.status == 4 and b"Permission denied" in result.err


@pytest.mark.parametrize("command", [["read"], ["diff", DOCUMENT], WRITE], ids=str)
def test_without_proc_the_message_names_what_is_missing_and_not_the_part(part, command):
    missing = ["strace", "-o", part.path.parent / "log"]
    missing += ["-e", "inject=?access,?faccessat,?faccessat2:error=ENOENT"]
    result = part.run(*command, before=missing)
    assert (result.status, result.out, part.image) == (4, b"", V2)
    expected = (
        b"cannot open /proc/self/fd/.*: No such file or directory; the part was not changed\n"
    )
    assert re.fullmatch(b"kestrel-record: " + expected, result.err), result.err


def test_without_a_file_in_memory_the_message_says_so(part):
    missing = ["strace", "-o", part.path.parent / "log", "-e", "inject=memfd_create:error=EMFILE"]
    reason = b"Error making a file in memory: Too many open files; the part was not changed"
    expected = (4, b"", b"kestrel-record: " + reason + b"\n")
    assert part.run("read", before=missing) == expected


def test_without_memory_the_program_ends_with_a_message(part):
    def limited(kibibytes, *words):
        command = ["prlimit", f"--data={kibibytes * 1024}", part.program, *words]
        done = subprocess.run(command, capture_output=True, cwd=part.path.parent, check=False)
        return done.returncode, done.stdout, done.stderr

    enough = [size for size in range(64, 1024, 64) if limited(size, "--version")[0] == 0]
    if not enough:
        pytest.skip("a sanitized program takes more")
    words = ["check", *["--set", "ser_num=" + "x" * 100000] * 10]
    assert limited(enough[0], *words) == (4, b"", b"kestrel-record: std::bad_alloc\n")


# The lock


@pytest.fixture
def held(part):
    """Holds a lock on the part, if asked."""
    with open(part.path, "rb") as file:
        yield lambda kind: fcntl.flock(file, kind)


def test_a_shared_lock_of_another_process_keeps_out_writers_alone(part, held):
    held(fcntl.LOCK_SH)
    assert part.run("read", "--wait=0", "version").status == 0
    assert part.run("diff", "--wait=0", "--set=type=0x30").status == 0
    assert part.run(*WRITE, "--wait=0").status == 5
    assert part.image == V2


@pytest.mark.parametrize("command", [["read"], ["diff", DOCUMENT], WRITE], ids=str)
def test_an_exclusive_lock_of_another_process_is_status_5(part, held, command):
    held(fcntl.LOCK_EX)
    result, calls = part.strace([], *command, "--wait", "0")
    assert (result.status, result.out) == (5, b"") and part.image == V2
    assert sum("flock(" in call for call in calls) == 1
    reason = (
        r"/\S* is locked by another process \(flock in front of kestrel-record itself locks it out"
    )
    assert re.fullmatch(f"kestrel-record: {reason}, too\\)\n", result.err.decode())
    if command != ["read"]:
        report = part.report(*command, "--wait", "0")
        assert (report["result"], report["status"]) == ("failed", 5)
    os.truncate(part.path, 2047)  # no lock is worth waiting for
    assert part.run(*command).status == 6


def test_the_lock_is_waited_for_as_long_as_asked_and_10_seconds_by_itself(part, held):
    held(fcntl.LOCK_EX)
    start = time.monotonic()
    waiting = {
        seconds: subprocess.Popen(
            part.command("read", *options), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
        )
        for seconds, options in ((0, ["--wait=0"]), (1, ["--wait=1"]), (10, []))
    }
    for seconds, process in waiting.items():
        assert process.wait() == 5
        assert seconds <= time.monotonic() - start < seconds + 2
    _, calls = part.strace([], "read", "--wait=1")
    assert 1 < sum("flock(" in call for call in calls) <= 102  # it sleeps between them


def opened(process):
    """The files that a process has open, but for one that it closes while they are listed."""
    for link in Path(f"/proc/{process.pid}/fd").iterdir():
        with contextlib.suppress(FileNotFoundError):
            yield os.readlink(link)


def started_waiting(part, process):
    """Waits until the process has the part open."""
    deadline = time.monotonic() + 20
    while str(part.path.resolve()) not in opened(process):
        assert time.monotonic() < deadline
    time.sleep(0.1)


def test_the_part_is_written_as_soon_as_the_lock_is_free(part, held):
    held(fcntl.LOCK_EX)
    with subprocess.Popen(part.command(*WRITE), stdout=subprocess.PIPE) as process:
        started_waiting(part, process)
        assert part.image == V2
        held(fcntl.LOCK_UN)
        assert process.wait(timeout=2) == 0
    assert part.image == WRITTEN


@pytest.mark.parametrize("name", ["SIGINT", "SIGTERM", "SIGHUP"])
def test_a_signal_ends_the_wait_for_the_lock_at_once(part, held, name):
    held(fcntl.LOCK_EX)
    with subprocess.Popen(part.command(*WRITE, "--wait", "60")) as process:
        started_waiting(part, process)
        process.send_signal(getattr(signal, name))
        assert process.wait(timeout=2) == -getattr(signal, name)
    assert part.image == V2


@pytest.mark.parametrize("name", ["SIGINT", "SIGTERM", "SIGHUP"])
def test_a_signal_ends_the_wait_for_input_at_once(part, name):
    with subprocess.Popen(part.command("write", "-"), stdin=subprocess.PIPE) as process:
        process.stdin.write(b"{")
        process.stdin.flush()
        time.sleep(0.2)
        process.send_signal(getattr(signal, name))
        assert process.wait(timeout=2) == -getattr(signal, name)
    assert part.image == V2


def test_the_part_is_not_locked_while_input_is_waited_for(part):
    with subprocess.Popen(
        part.command("write", "-"), stdin=subprocess.PIPE, stdout=subprocess.PIPE
    ) as process:
        process.stdin.write(b"{")
        process.stdin.flush()
        time.sleep(0.2)
        assert part.run(*WRITE, "--wait=0").status == 0
        process.communicate(b'"type": "0x31"}')
        assert process.returncode == 0
    assert part.image == records.with_field(WRITTEN, "--type", b"\0\x31")


def test_writers_of_different_fields_all_arrive(part):
    settings = ["ser_num=1", "type=0x31", "mac1=02:a5:5e:00:00:01", "hardware_rev=1.2"]
    writers = [
        subprocess.Popen(part.command("write", f"--set={setting}"), stdout=subprocess.DEVNULL)
        for setting in settings * 5
    ]
    assert [writer.wait() for writer in writers] == [0] * 20
    document = dict(setting.split("=") for setting in settings)
    assert part.image == model.encoded(V2, 2, document)


# Outputs

PRINTING = [["check", DOCUMENT], ["diff", DOCUMENT], WRITE, ["write", "-n", DOCUMENT]]
PRINTING += [[*command, "--json"] for command in PRINTING]
PRINTING += [["read"], ["read", "--damaged"]]


@pytest.mark.parametrize("command", PRINTING, ids=str)
def test_an_output_that_cannot_be_written_is_status_4(part, command):
    if "--damaged" in command:
        part.image = records.damaged(V2)
    with open("/dev/full", "wb") as full:
        result = part.run(*command, stdout=full)
    cannot = b"kestrel-record: cannot report: Error writing to standard output"
    assert result.status == 4 and result.err.startswith(cannot) and result.err.count(b"\n") == 1


def test_what_failed_before_its_report_could_not_be_written_keeps_its_status(part):
    with open("/dev/full", "wb") as full:
        result = part.run("check", "--json", "--set", "type=1", stdout=full)
    assert (result.status, result.err.count(b"\n")) == (3, 2)


@pytest.mark.parametrize("command", [*PRINTING, ["image", "--set=version=2", "-o", "-"]], ids=str)
def test_a_pipe_that_nobody_reads_is_status_4(part, command):
    reading, writing = os.pipe()
    os.close(reading)
    result = part.run(*command, stdout=writing)
    os.close(writing)
    assert result.status == 4 and result.err.count(b"\n") == 1


@pytest.mark.parametrize("closed", [[0], [1], [2], [0, 1], [1, 2], [0, 2], [0, 1, 2]], ids=str)
@pytest.mark.parametrize(
    "command, status",
    [(["read"], 0), (WRITE, 0), (["check", "--set=type=x"], 3), (["diff", DOCUMENT], 1)]
    + [(["write", "-"], 3), (["read", "--frob"], 2), (["--help"], 0)],
    ids=str,
)
def test_closed_standard_descriptors_let_no_output_into_the_part(part, command, status, closed):
    def close_them():
        for descriptor in closed:
            os.close(descriptor)

    usual = part.run(*command, stdin=subprocess.DEVNULL)
    assert usual.status == status
    after = part.image
    part.image = V2
    result = part.run(*command, preexec_fn=close_them)
    out = b"" if 1 in closed else usual.out
    err = b"" if 2 in closed else usual.err
    assert (result, part.image) == ((status, out, err), after)


@pytest.mark.parametrize(
    "line",
    ["@", "read @", "read --@", "read --wait @", "check --set @", "check --set x@=1"]
    + ["check @", "image --set version=1 -o /missing/@", "write --set type=0x1 --device @"],
)
def test_any_byte_of_a_line_is_escaped_in_a_message(part, line):
    words = [word.encode().replace(b"@", b"x\n\xe4") for word in line.split(" ")]
    _, out, err = plain(part, *words)
    assert out == b"" and b"x\\u000a\\u00e4" in err, err
    for text in err.splitlines():
        assert text.startswith(b"kestrel-record: ") and text.isascii()


# The report


def test_a_report_has_its_keys_whatever_comes_of_the_command(part):
    for command, result, status in (
        (["check", DOCUMENT], "valid", 0),
        (["check", "--set=type=x"], "refused", 3),
        (["check", "missing"], "failed", 4),
        (["diff", "--set=type=0x30"], "same", 0),
        (["diff", DOCUMENT], "differs", 1),
        (["diff", "--set=block8=0000000000000000"], "refused", 6),
        (["write", "-n", DOCUMENT], "would write", 0),
        (["write", DOCUMENT], "written", 0),
        (["write", DOCUMENT], "unchanged", 0),
        (["write", "-n", DOCUMENT], "unchanged", 0),
    ):
        report = part.report(*command)
        keys = ["result", "status", "version", "changed", "before", "after", "errors"]
        assert sorted(report) == sorted(keys)
        assert (report["result"], report["status"]) == (result, status)
        assert bool(report["errors"]) == (status > 1)
        assert all(sorted(error) == ["field", "message"] for error in report["errors"])
        text = part.run(*command).err.decode().splitlines()
        messages = [
            "kestrel-record: " + (f"{e['field']}: " if e["field"] else "") + e["message"]
            for e in report["errors"]
        ]
        assert text == messages


def test_messages_go_to_standard_error_with_a_report_too(part):
    for command in (["check", "--set=type=x"], ["diff", "--set=block8=0000000000000000"]):
        plain_result = part.run(*command)
        with_report = part.run(*command, "--json")
        assert plain_result.err and with_report.err == plain_result.err
        assert plain_result.out == b"" and json.loads(with_report.out)
