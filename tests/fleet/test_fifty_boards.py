"""Three runs over fifty boards, of which each kind of mishap befalls some."""

import fcntl
import json
import re
import socket
from types import SimpleNamespace

import pytest
import record_model
import records
from documents import ROOT, says, text_of
from fleet import LOCAL, Board, Fleet

V1, V2 = records.formatted(1), records.formatted(2)


def own(number):
    """What differs from board to board."""
    mac = f"02:a5:5e:12:{number:02}:01"
    return {"mac1": mac, "productiondate": "2026-11-15 10:42:16", "ser_num": f"SN-{number}"}


def whole(number):
    return {**record_model.sample(2), **own(number)}


# The kinds of boards: how many, the part, the document as a function of the number, and variables.
DIFFERING = {
    "new": (14, V2, own),
    "first-version": (6, V1, own),
    "blank": (2, records.BLANK_V2, whole),
    "damaged-whole": (2, records.damaged(V2), whole),
}
ALIKE = {"ready": (11, V2, own)}
TWO_ERRORS = {"ser_num": "SN-00000004711", "type": "30"}
REFUSED = {
    "mistaken": (3, V2, lambda number: {**own(number), **TWO_ERRORS}),
    "no-json": (1, V2, lambda number: b'{"mac1": 02}'),
    "empty": (1, V2, lambda number: b""),
    "damaged": (3, records.damaged(V2), own),
    "other-version": (1, V1, lambda number: {"ari": "0x105c8123"}),
    "locked": (1, V2, own, f"{LOCAL} kestrel_wait=0"),
    "absent": (1, None, own),
}
# What fails before there is a report of kestrel-record.
WITHOUT_REPORT = {
    "unnamed": (1, V2, lambda number: None),
    "misnamed": (1, V2, lambda number: None, f"{LOCAL} kestrel_document=documents/no-such.json"),
    "without-program": (1, V2, own, f"{LOCAL} ansible_shell_executable=bare-sh"),
}
UNREACHABLE = {"off": (1, V2, own, "ansible_host=127.0.0.1 ansible_port={closed}")}
KINDS = {**DIFFERING, **ALIKE, **REFUSED, **WITHOUT_REPORT, **UNREACHABLE}


def closed_port():
    with socket.socket() as unused:
        unused.bind(("127.0.0.1", 0))
        return unused.getsockname()[1]


def boards():
    """All boards, with their kinds in the names; numbered through in the order of the kinds."""
    closed = closed_port()
    number = 0
    for kind, (count, image, document, *variables) in KINDS.items():
        for _ in range(count):
            number += 1
            contents = image
            if kind in ALIKE:
                contents = record_model.written(image, document(number))
            line = (variables or [LOCAL])[0].format(closed=closed)
            yield Board(f"{kind}-{number:02}", contents, document(number), line)


def names(*groups):
    """The hosts of some groups of kinds."""
    kinds = {kind for group in groups for kind in group}
    return {board.name for board in boards() if board.name[:-3] in kinds}


@pytest.fixture(scope="module")
def runs(installed, tmp_path_factory):
    """A check, a run and a second run, with what the parts hold after each."""
    fleet = Fleet(installed, tmp_path_factory.mktemp("fifty"))
    fleet.set_up(boards())
    fleet.fake("bare-sh", 'PATH=/nonexistent exec /bin/sh "$@"')
    (locked,) = names({"locked"})
    seen = SimpleNamespace(untouched=fleet.images())
    with open(fleet.part(locked), "rb") as part:
        fcntl.flock(part, fcntl.LOCK_EX)
        for name, options in (
            ("check", ["--check", "--diff"]),
            ("first", ["--diff"]),
            ("second", []),
        ):
            setattr(seen, name, fleet.run(*options))
            getattr(seen, name).images = fleet.images()
    seen.fleet = fleet
    return seen


MODULE = "examples/fleet/library/kestrel_record.py"
EACH_RUN = pytest.mark.parametrize("name", ["check", "first", "second"])


def test_the_fleet_has_as_many_boards_as_the_document_says():
    assert len(list(boards())) == 50
    failing = len(names(REFUSED, WITHOUT_REPORT, UNREACHABLE))
    said = f"the 50 of the tests, {failing} of which do not get through"
    assert said in (ROOT / "docs/fleet.md").read_text()
    says(
        "CONTRIBUTING.md",
        "script/fleet-test # the example for Ansible, with fifty boards that are files",
    )


def test_the_times_of_the_document_fit_together():
    says(
        "docs/fleet.md",
        "Measured once, on a virtual machine with two processors and nothing else to do, with 25 "
        "forks. The boards were files (`ansible_connection=local`), so this is what Ansible costs "
        "the controller; the network and the boards come on top. | boards | each of the three runs | "
        "processor time of a run |",
    )
    [each, start] = re.search(
        "It grows with the number of boards: some ([0-9]+) ms of processor time for each, after ([0-9.]+) s for the start",
        text_of("docs/fleet.md"),
    ).groups()
    rows = re.findall(
        r"\| (?:the )?([0-9]+)\b[^|]* \| ([0-9.]+) s \| ([0-9.]+) s \|", text_of("docs/fleet.md")
    )
    assert [int(count) for count, _, _ in rows] == [10, 25, 50, 50, 200]
    for count, taken, processor in rows:
        expected = float(start) + int(count) * float(each) / 1000
        assert abs(float(processor) - expected) < 0.3 + expected / 20
        assert 0.6 < float(taken) / float(processor) < 0.9  # of two processors


def test_a_check_leaves_every_part_as_it_is(runs):
    assert runs.check.images == runs.untouched
    says(
        MODULE,
        "Supports check mode and diff mode. In check mode C(kestrel-record) opens the part for "
        "reading only.",
    )


def test_a_run_changes_just_the_boards_that_differ(runs):
    after = runs.first.images
    assert {name for name in after if after[name] != runs.untouched[name]} == names(DIFFERING)
    says(
        MODULE,
        "Writes only what differs. With a document that is refused, a damaged board or a locked one "
        "the task fails with all errors, and nothing is written.",
    )


def test_a_run_leaves_what_a_write_of_each_document_leaves(runs):
    for board in boards():
        if board.name in names(DIFFERING):
            expected = record_model.written(board.image, board.document)
            assert runs.first.images[board.name][0] == expected, board.name
    says(
        "docs/fleet.md",
        "A document may name all fields or a few,",
        "The example never formats: fields that a document does not name keep what the board "
        "holds.",
    )
    says("README.md", "[A fleet](docs/fleet.md) of boards is kept as its documents say by Ansible.")


def test_a_second_run_changes_nothing(runs):
    assert runs.second.images == runs.first.images
    assert "changed=1" not in runs.second.output
    says(
        "docs/fleet.md",
        "Any run may be repeated or interrupted: a board that holds its document is not written.",
    )


@EACH_RUN
def test_the_recap_names_what_became_of_each_board(runs, name):
    run = getattr(runs, name)
    assert run.hosts("changed") == (names(DIFFERING) if name != "second" else set())
    assert run.hosts("ok") == names(DIFFERING, ALIKE)
    assert run.hosts("failed") == names(REFUSED, WITHOUT_REPORT)
    assert run.hosts("unreachable") == names(UNREACHABLE)
    assert run.status == 4
    says(
        "docs/fleet.md",
        "A board that fails does not hold up the others.",
        "| | Ansible | `outcome` in the reports | |---|---|---| | the board did not hold its "
        "document, and does now (`--check`: would) | `changed` | `changed` | | it holds it already | "
        "`ok` | `unchanged` | | the document is refused, absent or not named; the board has no "
        "intact record and the document does not name all fields; the part is locked, absent or "
        "faulty; `kestrel-record` is not there | `failed`, with all errors | `failed` | | no "
        "connection, or one that broke | `unreachable` | `unreachable` |",
    )
    assert run.output.count("PLAY [") == 1
    says("docs/fleet.md", "**Batches.** By default the whole fleet is one batch.")


@pytest.mark.parametrize("name", ["check", "first"])
def test_the_difference_of_each_board_that_differs_is_shown(runs, name):
    run = getattr(runs, name)
    shown = {}
    for text in run.output.split("--- before: ")[1:]:
        shown[text.split("\n")[0]] = [
            line for line in text.splitlines() if line.startswith(("+", "-"))
        ]
    assert set(shown) == names(DIFFERING)
    assert shown["new-01"] == [
        "+++ after: documents/new-01.json",
        "-    mac1: 02:a5:5e:00:00:00",
        "-    productiondate: '2014-01-01 00:00:00'",
        "-    ser_num: '0000000000000'",
        "+    mac1: 02:a5:5e:12:01:01",
        "+    productiondate: '2026-11-15 10:42:16'",
        "+    ser_num: SN-1",
    ]
    from_nothing = [line for line in shown["blank-21"] if line.startswith("-")]
    says(MODULE, "description: The values that change, before and after. returned: success")
    assert from_nothing == [] and "+    ser_num: SN-21" in shown["blank-21"]


# What is said of each, in part.
FAILURES = {
    "mistaken": [
        'ser_num: must be at most 13 printable ASCII characters, not "SN-00000004711"',
        'type: must be 0x and one to four hexadecimal digits, not "30"',
    ],
    "no-json": ["line 1, column 10: invalid token"],
    "empty": ["line 2, column 0: "],
    "damaged": ["the part holds no intact record: its CRC does not match", "ari: not named"],
    "other-version": ["ari: "],
    "locked": ["another process"],
    "absent": ["No such file or directory"],
    "unnamed": ["missing required arguments: document"],
    "misnamed": ["a fleet/documents/no-such.json: No such file or directory"],
    "without-program": ["status 127: ", "kestrel-record: not found"],
    "off": ["Connection refused"],
}


@EACH_RUN
@pytest.mark.parametrize("kind", FAILURES)
def test_a_board_that_fails_shows_all_its_errors(runs, name, kind):
    run = getattr(runs, name)
    for host in names({kind}):
        shown = run.shown(host)["msg"].strip()
        # The engine of Debian 13 has words of its own before a failed connection.
        assert shown.removeprefix("Task failed: ") == run.report(host)["msg"]
        assert all(error in shown for error in FAILURES[kind])


def test_of_a_failure_nothing_is_shown_but_the_errors_and_the_status(runs):
    errors = "\n".join(FAILURES["mistaken"])
    says(
        "examples/fleet/action_plugins/kestrel_record.py",
        "or else every error would be shown twice",
    )
    assert runs.first.shown("mistaken-36") == {"changed": False, "msg": errors, "rc": 3}
    says(
        MODULE,
        "description: The exit status of C(kestrel-record), see its manual. returned: when it made a "
        "report",
        "- What C(kestrel-record) reported, see its manual. The file of reports has it also after a "
        "failure. returned: success",
    )


@EACH_RUN
def test_a_message_has_every_error_of_the_report(runs, name):
    for line in getattr(runs, name).reports:
        if line["outcome"] == "failed" and line["report"]:
            errors = line["report"]["errors"]
            fields = [f"{error['field']}: " if error["field"] else "" for error in errors]
            messages = [field + error["message"] for field, error in zip(fields, errors)]
            assert line["msg"].splitlines() == messages != []
        elif line["report"]:
            assert line["msg"] == line["report"]["result"]
    says(
        MODULE,
        "description: All errors, one a line, each with its field; without any, the result. returned: "
        "always",
    )
    says(
        "examples/fleet/action_plugins/kestrel_record.py",
        "The errors, one a line, or else the result",
    )


def test_every_kind_that_fails_has_its_errors_pinned():
    assert set(FAILURES) == {*REFUSED, *WITHOUT_REPORT, *UNREACHABLE}


@EACH_RUN
def test_the_reports_have_one_line_for_each_board(runs, name):
    run = getattr(runs, name)
    outcomes = {outcome: set() for outcome in ("changed", "unchanged", "failed", "unreachable")}
    for report in run.reports:
        assert report["check"] == (name == "check")
        assert report["time"].endswith("+00:00")
        outcomes[report["outcome"]].add(report["host"])
        assert [*report] == ["time", "host", "check", "outcome", "msg", "report"]
    assert len(run.reports) == 50 and len(runs.fleet.reports()) == 150
    assert outcomes["changed"] == run.hosts("changed")
    assert outcomes["unchanged"] == run.hosts("ok") - run.hosts("changed")
    assert outcomes["failed"] == run.hosts("failed")
    assert outcomes["unreachable"] == run.hosts("unreachable")
    says(
        "docs/fleet.md",
        "- `reports.jsonl`: for each run one line of JSON for each host, in the order in which they "
        "finished, also for those that failed or were unreachable: the time, the host, whether it "
        "was a check, the outcome, the message, and the report of `kestrel-record` with the values "
        "before and after. Runs add to the file, which is the history of the fleet; the last line "
        "of a host counts.",
    )
    says(
        MODULE,
        "A file on the controller to which one line of JSON is appended for each host, also for one "
        "that failed or is unreachable, and also in check mode.",
    )


STATUSES = {"mistaken": 3, "no-json": 3, "empty": 3, "damaged": 6, "other-version": 6}
STATUSES |= {"locked": 5, "absent": 4}


@EACH_RUN
def test_the_reports_have_what_kestrel_record_reported(runs, name):
    result = {"check": "would write", "first": "written", "second": "unchanged"}[name]
    for line in getattr(runs, name).reports:
        kind, report = line["host"][:-3], line["report"]
        if kind in DIFFERING:
            assert (report["result"], report["status"]) == (result, 0)
        elif kind in ALIKE:
            assert (report["result"], report["status"]) == ("unchanged", 0)
        elif kind in REFUSED:
            assert report["status"] == STATUSES[kind]
        else:
            assert report is None
    says(
        "docs/fleet.md",
        "A record that is damaged is repaired only by a document that names every field.",
        "`--check` runs `kestrel-record write --dry-run`: it finds the same errors as the run, "
        "except those of the write itself.",
    )


def test_a_report_has_the_values_before_and_after(runs):
    report = runs.first.report("new-01")["report"]
    assert report["changed"] == ["mac1", "productiondate", "ser_num"]
    assert report["before"]["ser_num"] == "0000000000000"
    assert report["after"] == own(1)
    assert 425 <= len(json.dumps(runs.first.report("new-01"))) <= 475
    says(
        "docs/fleet.md",
        "grow by some 450 bytes for each board that gets three values.",
        "If your documents are confidential, so are the folder and its reports.",
    )


@EACH_RUN
def test_the_engine_has_nothing_to_warn_of(runs, name):
    output = getattr(runs, name).output
    assert "WARNING" not in output and "DEPRECATION" not in output


def test_the_boards_that_failed_can_be_named_for_the_next_run(runs):
    failed = (runs.fleet.folder / "playbook.retry").read_text().split()
    assert set(failed) == names(REFUSED, WITHOUT_REPORT, UNREACHABLE)
    says(
        "docs/fleet.md",
        "Boards that were off, locked or wrong are driven again by themselves, when the cause is "
        "gone:",
    )


def test_nothing_is_kept_outside_of_the_folder(runs):
    assert [path.name for path in runs.fleet.home.iterdir()] == [".ansible.cfg"]
    assert list(runs.fleet.temporary.iterdir()) == []
    assert (runs.fleet.folder / ".ansible").is_dir()
    says(
        "docs/fleet.md",
        "## What the controller keeps All of it in the folder:",
        "- `playbook.retry`: the hosts",
        "- `.ansible/`: temporary files.",
    )
    says("examples/fleet/ansible.cfg", "All that a run keeps is in here, too.")
