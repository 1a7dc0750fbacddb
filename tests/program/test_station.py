"""The example of a station of a production line, as it is installed."""

# ctest: native first

import json
import os
import re
import resource
import select
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

import pytest
import record_model as model
import records
from documents import says

DOCUMENT = "examples/station/README.md"
V1, V2 = records.formatted(1), records.formatted(2)
KEYS = ["ser_num", "mac1", "mac2", "mac3", "mac4"]


def scan_of(number):
    """The line of the unit with this number."""
    return f"SN-{number:04},{','.join(f'02:a5:5e:00:{number:02}:{n:02}' for n in range(1, 5))}\n"


FIRST, SECOND = scan_of(1), scan_of(2)


def unit_of(scan):
    return dict(zip(KEYS, scan.strip().split(",")))


class Station:
    """The station, and a part that is a file in the place of its boards."""

    def __init__(self, script, programs, folder):
        self.script = script
        self.folder = folder
        self.part = folder / "part"
        self.log = folder / "log"
        self.environment = {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}"}
        self.environment.pop("PYTHONUNBUFFERED", None)
        self.options = ["--device", self.part, "--log", self.log, "--station", "line 1"]

    @property
    def image(self):
        return self.part.read_bytes()

    @image.setter
    def image(self, contents):
        self.part.write_bytes(contents)

    def command(self, *arguments, before=()):
        return [*before, self.script, *self.options, *arguments]

    def start(self, *arguments, before=(), **options):
        options |= dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.PIPE)
        options |= {"encoding": "utf-8", "errors": "surrogateescape"}
        command = self.command(*arguments, before=before)
        return subprocess.Popen(command, env=self.environment, **options)

    def run(self, scans, *arguments, **options):
        """A shift: its status and what it shows, without its last line, which has the numbers."""
        with self.start(*arguments, **options) as shift:
            out, err = shift.communicate(scans, timeout=60)
        assert err == ""
        *lines, last = out.splitlines()
        verdicts = [line[:4] for line in lines]
        assert last == f"{verdicts.count('PASS')} of {len(lines)} passed"
        assert shift.returncode == (0 if last.startswith(f"{len(lines)} of") else 1)
        return lines

    def entries(self):
        """The log, whose lines must all be whole."""
        *lines, end = self.log.read_text().split("\n")
        assert end == ""
        return [json.loads(line) for line in lines if line.strip(" ")]

    def results(self):
        return [(entry["result"], entry["unit"].get("ser_num")) for entry in self.entries()]

    def document(self):
        """What the part holds, which must be intact."""
        version = model.intact(self.image)
        assert version
        return model.decoded(self.image, version)

    def holds(self, scan):
        return unit_of(scan).items() <= self.document().items()

    def record(self, script):
        """For --record: a shell script in front of kestrel-record, which may end before that."""
        file = self.folder / "record"
        file.write_text(f'{script}\nexec kestrel-record "$@"')
        return ["--record", f"sh {file}"]

    def record_at(self, command, script):
        """The same at one command only."""
        return self.record(f'[ "$1" != {command} ] || {{ {script}; }}')


@pytest.fixture
def station(request, installed_examples, tmp_path):
    programs = Path(request.config.getoption("--programs")).resolve()
    made = Station(installed_examples / "station/station", programs, tmp_path)
    made.image = records.BLANK_V2
    return made


TEMPLATE = {"version": 2, "type": "0x1e", "hardware_rev": "1.2", "pcb_rev": "A04"}
BLANK = {
    "ones": records.BLANK_V2,
    "zeros": bytes(2048),
    "a fresh record": V2,
    "a fresh record, its CRC damaged": records.patched(V2, 179, bytes(4)),
}


@pytest.mark.parametrize("contents", BLANK.values(), ids=BLANK)
def test_a_part_without_numbers_gets_the_unit_and_the_template_and_the_rest_is_fresh(
    station, contents
):
    station.image = contents
    start = time.strftime("%Y-%m-%d %H:%M:%S")
    assert station.run(FIRST) == ["PASS SN-0001"]
    date = station.document()["productiondate"]
    assert start <= date <= time.strftime("%Y-%m-%d %H:%M:%S")
    unit = {**unit_of(FIRST), "productiondate": date}
    assert station.image == model.written(contents, {**TEMPLATE, **unit}, True)


def test_the_log_has_time_station_unit_and_report(station):
    station.run(FIRST)
    (entry,) = station.entries()
    assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d[+-]\d{4}", entry.pop("time"))
    report = entry.pop("report")
    unit = {**unit_of(FIRST), "productiondate": station.document()["productiondate"]}
    assert entry == {
        "station": "line 1",
        "unit": unit,
        "result": "PASS",
        "reason": "",
        "begun": True,
    }
    assert (report["result"], report["before"]) == ("written", None)
    assert report["after"] == station.document()
    assert station.log.stat().st_mode & 0o777 == 0o666 & ~umask() & 0o644
    says(
        DOCUMENT,
        "One JSON object a line: `time`, `station`, `unit`, `result` (`PASS` or `FAIL`), "
        "`reason`, `begun` (whether a write was begun) and `report`, that of `kestrel-record`.",
    )


def umask():
    mask = os.umask(0)
    os.umask(mask)
    return mask


def test_the_units_and_the_template_of_the_example_pass(station):
    lines = (station.script.parent / "units.csv").read_text().splitlines(keepends=True)
    assert len(lines) > 1
    for line in lines:
        station.image = records.BLANK_V2
        assert station.run(line) == [f"PASS {unit_of(line)['ser_num']}"]
        assert station.holds(line)


def test_the_shift_of_the_document_is_as_shown(station):
    text = (station.script.parent / "README.md").read_text()
    shown = re.search("<!-- test: shift -->\n```\n(.*?)```", text, re.DOTALL)[1].splitlines()
    scans = [line for line in shown if not line.startswith(("PASS", "FAIL"))]
    assert scans and station.run("\n".join(scans)) == [line for line in shown if line not in scans]


# The scan

NOT_UNITS = {
    "": "-: nothing was scanned",
    "\r": "-: nothing was scanned",
    " , ,,,": "-: nothing was scanned",
    "SN-1": "-: not ser_num,mac1,mac2,mac3,mac4: 'SN-1'",
    FIRST.strip() + "," + SECOND.strip(): "-: not ser_num,",
    FIRST.strip().replace("SN-0001", " "): "-: not ser_num,",
    FIRST.strip().replace("SN-", "SN-\r"): r"-: not ser_num,mac1,mac2,mac3,mac4: 'SN-\r0001,",
    FIRST.strip().replace(",", "\r,", 1): r"-: not ser_num,mac1,mac2,mac3,mac4: 'SN-0001\r,",
    FIRST.strip() + "\r\r": "-: not ser_num,",
    FIRST.strip().replace(":02,", ":01,"): "-: the same number twice: 'SN-0001,",
    FIRST.strip().replace(":02,", ":0x,"): "SN-0001: mac2: must be ",
    FIRST.strip().replace("SN-", "SN-\xff"): r"SN-\xff0001: ser_num: must be ",
    FIRST.strip().replace("SN-", "SN-\udcff"): r"SN-\ufffd0001: ser_num: must be ",
    FIRST.strip().replace("SN-", "SN-\x00"): r"SN-\x000001: ",
    FIRST.strip().replace("SN-", "SN-\x1b"): r"SN-\x1b0001: ser_num: must be ",
}


def test_a_scan_that_is_no_unit_fails_before_the_part_is_touched_and_the_next_one_passes(station):
    calls = station.folder / "calls"
    noting = station.record(f'echo "$1" >>{calls}')
    *failed, passed = station.run("\n".join([*NOT_UNITS, SECOND]), *noting)
    assert len(failed) == len(NOT_UNITS)
    for line, expected in zip(failed, NOT_UNITS.values()):
        assert line.startswith(f"FAIL {expected}") and line.isprintable(), line
    assert passed == "PASS SN-0002"
    refused = sum(not expected.startswith("-") for expected in NOT_UNITS.values())
    assert calls.read_text().split() == ["check"] * (refused + 1) + ["read", "write"]
    *entries, last = station.entries()
    assert last["result"] == "PASS" and len(entries) == len(NOT_UNITS)
    for entry, line in zip(entries, failed):
        assert entry["result"] == "FAIL" and entry["reason"] in line and not entry["begun"]
    says(
        DOCUMENT,
        "A unit that fails does not stop the next one.",
        "The unit fails at the first step that goes wrong: 1. The line is taken apart.",
        "An empty line, a CR within it, too few or too many values, and a number that is there "
        "twice are refused.",
        "2. `kestrel-record check` accepts the values. So far the board has not been touched.",
    )


@pytest.mark.parametrize("end", ["", "\r", "\r\n"], ids=ascii)
def test_a_line_may_end_with_cr_lf_or_with_the_input(station, end):
    assert station.run(FIRST.strip() + end) == ["PASS SN-0001"]
    assert station.holds(FIRST)
    says(
        DOCUMENT,
        "Spaces around a value and a CR at the end of the line are dropped.",
    )


def test_capitals_in_a_mac_and_spaces_around_a_value_make_no_other_unit(station):
    station.run(FIRST)
    again = FIRST.replace(",", " , ").replace("02:a5:5e", "02:A5:5E")
    assert station.run(again) == ["PASS SN-0001: passed before"]


# Numbers that are in use


@pytest.mark.parametrize("options", [[], ["--replace"]], ids=str)
def test_a_number_that_has_passed_is_refused_on_another_board(station, options):
    station.run(FIRST)
    earlier = json.dumps(station.entries()[0]["unit"])
    image = station.image
    same_serial = SECOND.replace("SN-0002", "SN-0001")
    same_mac = SECOND.replace(",02:a5:5e:00:02:01,", ",02:a5:5e:00:01:03,")
    refused = [f"FAIL {n}: in use, passed before: {earlier}" for n in ("SN-0001", "SN-0002")]
    assert station.run(same_serial + same_mac, *options) == refused
    assert station.image == image
    station.image = records.BLANK_V2
    shown = station.run(FIRST + same_serial + same_mac, *options)
    assert shown == [refused[0], *refused]
    assert station.image == records.BLANK_V2
    assert station.run(SECOND) == ["PASS SN-0002"]
    says(DOCUMENT, "3. No unit in the log has passed with one of these numbers.")


def test_a_number_that_has_failed_may_be_used(station):
    station.part.unlink()
    assert station.run(FIRST)[0].startswith("FAIL SN-0001: ")
    station.image = records.BLANK_V2
    assert station.run(FIRST) == ["PASS SN-0001"]


def test_the_board_that_has_passed_passes_again_and_is_logged_once(station):
    station.run(FIRST)
    image, log = station.image, station.log.read_bytes()
    assert station.run(FIRST * 2) == ["PASS SN-0001: passed before"] * 2
    assert (station.image, station.log.read_bytes()) == (image, log)
    says(
        DOCUMENT,
        "Only the same board may be scanned again: it passes without a new line in the log.",
    )


def test_a_board_with_the_numbers_of_one_that_has_passed_is_refused(station):
    station.run(FIRST)
    date = bytes.fromhex("141a010203040506")[:7]
    station.image = other = records.with_field(station.image, "--productiondate", date)
    assert station.run(FIRST)[0].startswith("FAIL SN-0001: in use, ")
    assert station.image == other


# Boards that are provisioned


def provisioned(**fields):
    return model.encoded(V2, 2, {**unit_of(SECOND), **fields})


OTHERS = {
    "another unit": provisioned(),
    "another mac4": provisioned(**{**unit_of(FIRST), "mac4": "02:a5:5e:00:02:04"}),
    "another serial number": provisioned(**{**unit_of(FIRST), "ser_num": "SN-0002"}),
    "another unit, damaged": records.damaged(provisioned()),
    "another unit of version 1": model.encoded(V1, 1, unit_of(SECOND)) + records.BLANK_V2[128:],
}


@pytest.mark.parametrize("name", OTHERS)
def test_a_board_that_has_other_numbers_is_refused_unless_replace_is_given(station, name):
    station.image = contents = OTHERS[name]
    other = 'mac4 "02:a5:5e:00:02:04"' if "mac4" in name else 'ser_num "SN-0002"'
    assert station.run(FIRST) == [f"FAIL SN-0001: the board has {other}"]
    assert station.image == contents
    assert station.run(FIRST, "--replace") == ["PASS SN-0001"]
    document = {**TEMPLATE, **station.entries()[-1]["unit"]}
    assert station.image == model.written(contents, document, True)
    says(
        DOCUMENT,
        "4. `kestrel-record read`: the board has no numbers yet, or those of this unit.",
        "Start `--replace` for one board, and stop it after that: if a label is scanned while the "
        "board before is still there, that board becomes the new unit.",
        "With `--replace` the board may have any numbers.",
    )


@pytest.mark.parametrize("held", [{}, unit_of(FIRST)], ids=["no numbers", "those of the unit"])
def test_an_intact_record_keeps_what_is_not_named(station, held):
    held = {**held, "ari": "0x105c8123", "type": "0x1"}
    station.image = contents = model.encoded(V2, 2, held)
    assert station.run(FIRST) == ["PASS SN-0001"]
    document = {**TEMPLATE, **station.entries()[-1]["unit"]}
    assert station.image == model.written(contents, document)
    assert station.document()["ari"] == "0x105c8123"
    station.image = model.encoded(V2, 2, {**unit_of(SECOND), "ari": "0x105c8123"})
    assert station.run(SECOND, "--replace") == ["PASS SN-0002"]
    assert station.document()["ari"] == "0x105c8000"
    says(
        DOCUMENT,
        "6. `kestrel-record write` writes and compares. An intact record keeps the fields that "
        "nothing names; otherwise, and with `--replace`, the board starts from a fresh record.",
    )


@pytest.mark.parametrize(
    "contents, reason",
    [
        (records.BLANK_V1, "version"),
        (V1, "version"),
        (V1 + records.BLANK_V2[128:], "no intact record of version 2"),
        (bytes(256), "128 or 2048 bytes"),
    ],
    ids=["too small", "too small, fresh", "of version 1", "no size"],
)
def test_a_part_that_does_not_fit_is_refused_with_the_reason(station, contents, reason):
    station.image = contents
    (line,) = station.run(FIRST)
    assert line.startswith("FAIL SN-0001: ") and reason in line
    assert station.image == contents
    assert station.entries()[0]["begun"] == (len(contents) in (128, 2048))


def test_a_template_of_version_1_makes_boards_of_version_1(station):
    station.image = records.BLANK_V1
    template = station.folder / "template.json"
    template.write_text('{"version": 1, "type": "0x1e", "mac1": "02:a5:5e:12:34:99"}')
    assert station.run(FIRST, "--template", template) == ["PASS SN-0001"]
    assert station.holds(FIRST) and station.document()["type"] == "0x1e"
    says(DOCUMENT, 'For a part of 128 bytes, `"version": 1`.')


# A board that goes away


def test_a_board_that_is_not_there_fails_and_the_next_one_passes(station):
    once = station.folder / "once"
    missing = f"[ -e {once} ] || set -- read --device {station.folder}/none; : >{once}"
    failed, passed = station.run(FIRST + SECOND, *station.record_at("read", missing))
    assert failed.startswith("FAIL SN-0001: ") and "No such file" in failed
    assert passed == "PASS SN-0002"


def test_a_board_taken_away_before_the_write_fails_and_passes_when_it_is_back(station):
    (line,) = station.run(FIRST, *station.record_at("write", f"rm {station.part}"))
    assert line.startswith("FAIL SN-0001: ") and "No such file" in line
    (entry,) = station.entries()
    assert entry["report"]["status"] == 4 and entry["reason"] in line
    station.image = provisioned()
    assert station.run(FIRST) == ['FAIL SN-0001: the board has ser_num "SN-0002"']
    station.image = records.BLANK_V2
    assert station.run(FIRST) == ["PASS SN-0001"]
    assert station.results() == [("FAIL", "SN-0001"), ("FAIL", "SN-0001"), ("PASS", "SN-0001")]


@pytest.mark.parametrize("end", ["exit 4", "kill -9 $PPID; exit"], ids=["taken away", "no power"])
def test_a_write_that_was_cut_off_is_made_good_for_the_same_unit_only(station, end):
    whole = model.written(records.BLANK_V2, unit_of(FIRST), True)
    torn = station.folder / "torn"
    torn.write_bytes(whole[:11] + records.BLANK_V2[11:])  # within the first MAC
    with station.start(*station.record_at("write", f"cp {torn} {station.part}; {end}")) as shift:
        assert "PASS" not in shift.communicate(FIRST)[0]
    assert station.results() == [("FAIL", "SN-0001")]
    assert station.run(SECOND) == ['FAIL SN-0002: the board has mac1 "02:a5:5e:ff:ff:ff"']
    assert station.run(FIRST) == ["PASS SN-0001"]
    says(
        DOCUMENT,
        "A board that lost its power while it was being written has a damaged record; it is "
        "written again for the same unit only.",
        "What is left in a damaged record counts, too.",
    )


# kestrel-record elsewhere


def test_a_program_that_cannot_be_run_or_gives_no_report_passes_no_unit(station):
    station.environment["PYTHONIOENCODING"] = "ascii"
    missing = station.run(FIRST, "--record", "/nowhere")
    assert missing == ["FAIL SN-0001: [Errno 2] No such file or directory: '/nowhere'"]
    for command, script, reason in (
        ("check", "exit 0", "status 0"),
        ("write", "exit 0", "status 0"),
        ("write", "kill -9 $$", "status -9"),
        ("write", r"printf 'no line: \344\n' >&2; exit 255", r"no line: \ufffd"),
    ):
        shown = station.run(FIRST, *station.record_at(command, script))
        assert shown == [f"FAIL SN-0001: {reason}"]
    assert station.image == records.BLANK_V2


def test_a_read_that_fails_after_its_output_does_not_start_the_board_afresh(station):
    station.image = contents = provisioned(**unit_of(FIRST), ari="0x105c8123")
    lost = station.record_at("read", 'kestrel-record "$@"; exit 255')
    assert station.run(FIRST, *lost) == ["FAIL SN-0001: status 255"]
    assert station.image == contents


def test_a_program_that_does_not_end_is_stopped(station):
    changed = station.folder / "changed"
    shutil.copytree(station.script.parent, changed)
    text = station.script.read_text()
    assert "\nLONGEST_RUN = 60 " in text
    (changed / "station").write_text(text.replace("\nLONGEST_RUN = 60 ", "\nLONGEST_RUN = 0.2 "))
    station.script = changed / "station"
    (line,) = station.run(FIRST, *station.record("exec sleep 100"))
    assert line.startswith("FAIL SN-0001: ") and "timed out" in line


# The log


def test_without_room_in_the_log_no_unit_passes_and_no_part_is_touched(station):
    lines = station.run(FIRST + SECOND, "--log", "/dev/full")
    assert [line[:13] for line in lines] == ["FAIL SN-0001:", "FAIL SN-0002:"]
    assert all(line.endswith("No space left on device") for line in lines)
    assert station.image == records.BLANK_V2


def limited(size):
    """As a disk that is full when a file has this size."""
    return lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))


def test_the_log_must_have_room_for_a_line_before_a_part_is_touched(station):
    station.log.write_bytes(b" " * 9999 + b"\n")
    (line,) = station.run(FIRST, preexec_fn=limited(10000 + 8192))
    assert line.startswith("FAIL SN-0001: ") and line.endswith("File too large")
    assert station.image == records.BLANK_V2
    assert station.run(FIRST, preexec_fn=limited(10000 + 8193)) == ["PASS SN-0001"]
    assert station.results() == [("PASS", "SN-0001")]
    says(
        DOCUMENT,
        "5. The log takes a line that says `not finished`, with room for the outcome. On a full "
        "disk the board stays as it is.",
    )


def test_the_log_has_the_unit_on_the_disk_before_the_write_and_before_pass_is_shown(station):
    trace = station.folder / "trace"
    calls = "trace=pwrite64,fsync,execve,write"
    station.environment["ASAN_OPTIONS"] = "detect_leaks=0"  # which cannot work under a tracer
    station.run(FIRST, before=["strace", "-f", "-o", trace, "-e", "signal=none", "-e", calls])
    shown = re.findall(
        r" (pwrite64|fsync)\(| execve\(\"[^\"]*\", \[\"kestrel-record\", \"(\w+)\"| write\(1, \"(PASS)",
        trace.read_text(),
    )
    put = ["pwrite64", "fsync"]
    assert [*map("".join, shown)] == ["check", "read", *put, "write", *put, "PASS"]
    says(
        DOCUMENT,
        "7. The outcome takes the place of that line. PASS is shown when it is on the disk.",
    )


@pytest.mark.parametrize("call", ["pwrite64", "ftruncate", "fsync"])
def test_a_unit_whose_line_fails_after_the_write_fails_and_passes_later(station, call):
    injection = ["-e", f"trace={call}", "-e", f"inject={call}:error=EIO:when=2"]
    (line,) = station.run(FIRST, before=["strace", "-o", "/dev/null", *injection])
    assert line.startswith("FAIL SN-0001: ") and line.endswith("Input/output error")
    assert station.holds(FIRST)
    assert station.run(FIRST)[0].startswith("PASS SN-0001")


def test_a_line_that_the_disk_takes_in_two_parts_is_whole(station):
    short = ["-e", "trace=pwrite64", "-e", "inject=pwrite64:retval=100:when=2"]
    assert station.run(FIRST, before=["strace", "-o", "/dev/null", *short]) == ["PASS SN-0001"]
    assert station.results() == [("PASS", "SN-0001")]


@pytest.mark.parametrize(
    "rest", [b'{"time": "2026-', b"\0" * 8192, b'{"unit": {}, "result": "PASS"}'], ids=ascii
)
def test_what_a_loss_of_power_has_left_at_the_end_of_the_log_is_written_over(station, rest):
    station.run(FIRST)
    before = station.log.read_bytes()
    station.log.write_bytes(before + rest)
    station.image = records.BLANK_V2
    assert station.run(FIRST + SECOND)[1] == "PASS SN-0002"
    assert station.log.read_bytes().startswith(before)
    assert station.results()[-1] == ("PASS", "SN-0002")


def test_lines_of_the_log_that_are_torn_are_passed_over(station):
    station.log.write_bytes(b'{"time": "2026-11-15T10:\n\xff\n[]\nnull\n     \n\n')
    assert station.run(FIRST) == ["PASS SN-0001"]


def test_of_two_stations_with_one_log_one_takes_each_unit_and_no_line_is_torn(station):
    other = Station(station.script, "", station.folder)
    other.environment = station.environment
    other.part = station.folder / "other part"
    other.image = records.BLANK_V2
    other.options = ["--device", other.part, "--log", station.log, "--station", "line 2"]
    names = [f"SN-{number:04}" for number in range(1, 13)]
    scans = "".join(scan_of(number) for number in range(1, 13))
    shifts = [each.start("--replace") for each in (station, other)]
    for shift in shifts:
        shift.stdin.write(scans)
        shift.stdin.flush()
    out = "".join(shift.communicate(timeout=60)[0] for shift in shifts)
    assert sorted(re.findall("PASS (SN-[0-9]+)\n", out)) == names
    assert len(re.findall("FAIL SN-[0-9]+: in use", out)) == len(names)
    assert sorted(n for result, n in station.results() if result == "PASS") == names
    assert len(station.entries()) == 2 * len(names)
    says(
        DOCUMENT,
        "Several stations of a computer may share one (`--log`): each has it locked while it "
        "makes a unit.",
    )


# Killed and started again


# Runs the script and kills it before the N-th line that it runs. With N = 0 it goes on to its end, and
# the lines before which the part or the log have changed are printed.
KILLER = """
import os, runpy, signal, sys
from pathlib import Path

last, *paths = sys.argv[1:4]
sys.argv = sys.argv[4:]
count, before = 0, None

def files():
    return [path.exists() and path.read_bytes() for path in map(Path, paths)]

def trace(_, event, __):
    global count, before
    if event == "line":
        count += 1
        if count == int(last):
            os.kill(os.getpid(), signal.SIGKILL)
        if last == "0" and files() != before:
            before = files()
            print(count, file=sys.stderr)
    return trace

sys.settrace(lambda frame, *_: trace if frame.f_code.co_filename == sys.argv[0] else None)
runpy.run_path(sys.argv[0], run_name="__main__")
"""


def run_killed(station, count):
    killer = [sys.executable, "-c", KILLER, str(count), station.part, station.log]
    with station.start(before=killer) as shift:
        out, err = shift.communicate(FIRST)
    return shift.returncode, out, err


def test_killed_at_any_line_the_same_unit_passes_on_the_same_board_and_is_logged_once(station):
    status, _, changes = run_killed(station, 0)
    assert status == 0
    states = []
    for count in changes.split():
        station.image = records.BLANK_V2
        station.log.unlink()
        assert run_killed(station, count) == (-signal.SIGKILL, "", "")
        log = station.log.read_bytes() if station.log.exists() else b""
        states.append((station.image != records.BLANK_V2, log.count(b"\n"), b"PASS" in log))
        assert station.run(FIRST)[0].startswith("PASS SN-0001")
        assert station.holds(FIRST)
        assert station.results().count(("PASS", "SN-0001")) == 1
    nothing, begun, written = (False, 0, False), (False, 1, False), (True, 1, False)
    assert states == [nothing, nothing, begun, written, (True, 2, True), (True, 1, True)]
    says(
        DOCUMENT,
        "If a station is stopped at any point, by a kill or a loss of power, start it and scan "
        "the same unit again.",
    )


def test_killed_while_the_part_is_written_the_same_unit_passes_on_the_same_board(station):
    done = station.folder / "done"
    killing = f'kill -9 $PPID; kestrel-record "$@"; : >{done}; exit'
    with station.start(*station.record_at("write", killing)) as shift:
        assert shift.communicate(FIRST)[0] == ""
    deadline = time.monotonic() + 10
    while not done.exists():
        assert time.monotonic() < deadline
        time.sleep(0.01)
    assert station.results() == [("FAIL", "SN-0001")]
    assert station.entries()[0]["reason"] == "not finished"
    assert station.run(FIRST) == ["PASS SN-0001"]


def test_each_verdict_is_shown_at_once_and_ctrl_c_ends_the_shift(station):
    with station.start() as shift:
        shift.stdin.write(FIRST)
        shift.stdin.flush()
        assert select.select([shift.stdout], [], [], 20)[0], "nothing is shown"
        assert shift.stdout.readline() == "PASS SN-0001\n"
        shift.send_signal(signal.SIGINT)
        assert shift.communicate() == ("", "")
    assert shift.returncode == -signal.SIGINT
    says(DOCUMENT, "The input ends the station, and so does Ctrl-C;")


# A file of units


def test_each_unit_of_a_file_waits_for_its_board_and_what_has_passed_is_left_out(station):
    file = station.folder / "units.csv"
    file.write_text(FIRST + "SN-0003\rSN-0004\n" + SECOND)
    with station.start(file) as shift:
        for line, verdict in (
            (FIRST, "PASS SN-0001"),
            ("SN-0003\rSN-0004", "FAIL -: not ser_num"),
        ):
            asked = shift.stdout.readline()
            assert asked == f"press Enter at the board for {ascii(line.strip())}\n"
            station.image = records.BLANK_V2
            shift.stdin.write("\n")
            shift.stdin.flush()
            assert shift.stdout.readline().startswith(verdict)
        assert SECOND.strip() in shift.stdout.readline()
        assert shift.communicate() == (
            "",
            "station: the input has ended before the file of units\n",
        )
    assert shift.returncode == 1
    file.write_text(SECOND + FIRST)
    out, _ = station.start(file).communicate("\n")
    assert out.splitlines() == [
        f"press Enter at the board for {ascii(SECOND.strip())}",
        "PASS SN-0002",
        f"made before: {ascii(FIRST.strip())}",
        "1 of 1 passed",
    ]
    other = FIRST.replace(":04", ":05")
    file.write_text(other)
    assert "FAIL SN-0001: in use" in station.start(file).communicate("\n")[0]
    says(
        DOCUMENT,
        "A file of units goes on after the units that have passed.",
        "./station units.csv # units come from a file; press Enter when the board of each is there",
    )
