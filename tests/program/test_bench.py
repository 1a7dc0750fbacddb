"""The bench: what costs more than it may is a failure. script/bench measures for real."""

# ctest: tree native

import importlib

import pytest
from documents import ROOT, says

DOCUMENT = "docs/performance.md"


@pytest.fixture
def bench(monkeypatch):
    """The modules of the bench, by their names."""
    monkeypatch.syspath_prepend(ROOT / "tests/bench")
    return importlib.import_module


@pytest.fixture
def report(bench, monkeypatch):
    """The report, with all measured that is quick to make up, and every figure at its limit."""
    report = bench("report")
    for name in dir(report):
        if name.startswith("print_"):
            monkeypatch.setattr(report, name, lambda *_: [])
    monkeypatch.setattr(report, "check", lambda builds: ({2: []}, []))
    monkeypatch.setattr(report, "time_builds", lambda: [])
    monkeypatch.setattr(report, "steady_figures", lambda: dict(report.LIMITS))
    return report


def test_a_bench_in_which_every_figure_is_at_its_limit_succeeds(report):
    report.main()


def test_a_figure_beyond_its_limit_fails_the_bench_and_the_document_has_the_limit(
    report, monkeypatch
):
    for key, limit in report.LIMITS.items():
        monkeypatch.setattr(report, "steady_figures", lambda: {**report.LIMITS, key: limit + 1})
        with pytest.raises(SystemExit, match=f": {limit + 1}, at most {limit}$"):
            report.main()
        says(DOCUMENT, f"| {' | '.join(key)} | {limit:,} |".replace("  ", " "))


@pytest.mark.parametrize("part", ["check", "print_record"])
def test_a_cost_that_is_not_the_expected_one_fails_the_bench(report, monkeypatch, part):
    found = {"check": ({2: []}, ["too much"]), "print_record": ["too much"]}[part]
    monkeypatch.setattr(report, part, lambda *_: found)
    with pytest.raises(SystemExit, match="^too much$"):
        report.main()
    says(
        DOCUMENT,
        "A busy machine widens the brackets but never makes `script/bench` fail. It fails for what "
        "does not depend on the load: device calls and bytes that are not exactly those computed "
        "from the size of the part, and figures beyond the limits in a table of their own.",
    )


def test_a_device_call_more_or_less_than_computed_is_found_in_each_build(bench, monkeypatch):
    device_cost = bench("device_cost")
    assert device_cost.cost(["seek 0", "read 4", "write 3", "read 2"]) == (4, 6, 3)
    monkeypatch.setattr(device_cost, "counted", lambda *_: None)
    costs, wrong = device_cost.check(["a", "b"])
    assert len(wrong) == 2 * (len(costs[1]) + len(costs[2]))
    found = {(v, *command): cost for v in costs for command, cost in costs[v]}
    monkeypatch.setattr(device_cost, "counted", lambda _, v, command: found[v, *command])
    assert device_cost.check(["a", "b"]) == (costs, [])
    found[1, "--raw"] = found[1, "--raw"]._replace(calls=0)
    assert len(device_cost.check(["a", "b"])[1]) == 2


@pytest.mark.parametrize(
    "more_read, more_written, more_writes, wrong",
    [(0, 0, 0, 0), (1, 0, 0, 18), (-1, 1, 0, 18), (0, 0, 1, 18), (0, 0, -1, 18)],
)
def test_a_transfer_of_a_whole_record_beyond_its_limit_is_found_in_each_build(
    bench, monkeypatch, more_read, more_written, more_writes, wrong
):
    record_cost = bench("record_cost")

    def spent_on(_, case):
        read, written = case.most - case.most_written, case.most_written
        spent = record_cost.Cost(9, read + more_read, written + more_written)
        return spent, (written > 0) + more_writes

    monkeypatch.setattr(record_cost, "spent_on", spent_on)
    assert len(record_cost.check()[1]) == wrong


def test_whatever_is_wrong_with_the_whole_record_is_a_problem(bench, monkeypatch):
    report, record_cost = bench("report"), bench("record_cost")
    most = record_cost.MOST_MEMORY
    figures = {("static", "peak memory, kB", "read"): most}
    boards = [record_cost.Cost(9, 60, 0), record_cost.Cost(9, 1, 0)]
    found = {"check": ([], []), "whole_boards": boards, "steady_figures": figures}
    for name in found:
        monkeypatch.setattr(record_cost, name, lambda *_, name=name: found[name])
    monkeypatch.setattr(report, "print_record_machine", lambda _: None)
    assert report.print_record([]) == []
    found["check"] = [], ["too much"]
    boards[0] = record_cost.Cost(9, 59, 0)
    figures["static", "peak memory, kB", "read"] = most + 1
    problems = report.print_record([])
    assert [problem.split(": ")[:2] for problem in problems] == [
        ["too much"],
        ["a whole board", "bytes"],
        ["a whole board", "seconds at 100 kHz"],
        ["static", "peak memory, kB read"],
    ]
    says(DOCUMENT, "the two programs are not 60 times apart.", f"may take {most:,} kB of memory.")
