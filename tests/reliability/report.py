"""Runs all sweeps on a program and prints what they found as the tables of docs/reliability.md."""

import sys
from pathlib import Path

import crash_sweep
import fault_sweep
import two_writers


def table(title, rows):
    print(f"| {title} | rounds | how they ended |")
    print("|---|---|---|")
    for name, ended in rows.items():
        outcomes = ", ".join(f"{count} {outcome}" for outcome, count in sorted(ended.items()))
        print(f"| {name} | {sum(ended.values())} | {outcomes} |")
    print()


def main():
    program = Path(sys.argv[1]).resolve()
    table("fault", fault_sweep.run(program))
    table("crash", {"killed at every call, then repeated": crash_sweep.run(program)})

    # How often two writers meet is chance, so only their number is reported.
    assert set(two_writers.run(program, locked=True)) == {two_writers.VALID}
    assert set(two_writers.run(program, locked=False)) <= {two_writers.VALID, two_writers.STALE}
    print(f"Two writers at once: {two_writers.ROUNDS} rounds with a lock, all valid;")
    print(
        f"{two_writers.ROUNDS} rounds without, all elements written and now and then a stale CRC."
    )


main()
