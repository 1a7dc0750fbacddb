"""Runs all sweeps on a program and prints what they found as the tables of docs/reliability.md."""

import sys
from pathlib import Path

import crash_sweep
import fault_sweep
import record_crash
import record_sweep
import record_torn
import record_writers
import two_writers
from conftest import heed_signals


def table(title, rows):
    print(f"| {title} | rounds | how they ended |")
    print("|---|---|---|")
    for name, ended in rows.items():
        outcomes = ", ".join(f"{count} {outcome}" for outcome, count in sorted(ended.items()))
        print(f"| {name} | {sum(ended.values())} | {outcomes} |")
    print()


def main():
    heed_signals()
    program = Path(sys.argv[1]).resolve()
    table("fault", fault_sweep.run(program))
    table("crash", crash_sweep.run(program))

    # How often two writers meet is chance, so only their number is reported.
    assert set(two_writers.run(program, locked=True)) == {two_writers.VALID}
    assert set(two_writers.run(program, locked=False)) <= {two_writers.VALID, two_writers.STALE}
    print(f"Two writers at once: {two_writers.ROUNDS} rounds with a lock, all valid;")
    print(
        f"{two_writers.ROUNDS} rounds without, all elements written and now and then a stale CRC."
    )

    report_record(program)


def report_record(program):
    """The same of kestrel-record, which is beside kestrel."""
    record = program.with_name("kestrel-record")
    print()
    table("fault in kestrel-record", {**record_sweep.run(record), **record_torn.run(record)})
    table("signal to kestrel-record", record_crash.run(record))
    for with_kestrel in (False, True):
        met = record_writers.run(program, with_kestrel)["met"]
        assert met >= record_writers.ROUNDS / 2, f"only {met} rounds in which they met"
    print(f"Writers of different fields by kestrel-record at once: {record_writers.ROUNDS} rounds,")
    print(f"and {record_writers.ROUNDS} with flock and kestrel among them: all written, the record")
    print("intact at every read.")


main()
