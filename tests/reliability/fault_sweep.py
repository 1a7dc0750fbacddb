"""Fails every device call of every command, one after the other, with every kind of fault.

A round is one run of the program with one fault. It must end as the model says: with its status,
its message, nothing on standard output that could be taken for a value, and its image.
"""

import errno
import tempfile
from collections import Counter
from pathlib import Path

import elements
import records
from conftest import Sandbox
from device_model import Fault, outcome_of
from injection import run_with, totals

FOREVER = float("inf")

V1 = records.formatted(1)
V2 = records.formatted(2)
PARTS = {
    "version 1": V1,
    "version 1, damaged": records.damaged(V1),
    "version 2": V2,
    "version 2, damaged": records.damaged(V2),
    "blank, 2048 bytes": records.BLANK_V2,
    "blank, 128 bytes": records.BLANK_V1,
}


def commands():
    """Each command's name, its arguments, and what it does to the device after bring-up."""
    for element in elements.VALUES:
        yield (
            "write",
            ["-w", element.option, element.typed],
            lambda program, element=element: program.write_sample(element),
        )
    for option in [*elements.WRITABLE, "--crc", "--valid"]:
        yield "read", ["-r", option], lambda program: None
    yield "read", ["-r", "--version"], lambda program: program.show_version()
    yield "dump", ["--raw"], lambda program: program.show_version()
    yield "erase", ["--erase"], lambda program: program.erase()
    yield "format", ["--format_v1"], lambda program: program.format(1)
    yield "format", ["--format_v2"], lambda program: program.format(2)


# What a call without effect claims: all that was asked for, or a byte more.
ALL, MORE = "all", "more"

# name: (the calls that it can befall, how many calls in a row, errno or the claimed result)
KINDS = {
    "EIO": (["openat", "lseek", "read", "write"], [1, FOREVER], errno.EIO),
    "ETIMEDOUT": (["openat", "lseek", "read", "write"], [1, FOREVER], errno.ETIMEDOUT),
    "EINTR": (["openat", "lseek", "read", "write"], [1, 100], errno.EINTR),
    "EAGAIN": (["openat", "lseek", "read", "write"], [1, 100], errno.EAGAIN),
    "seek without effect": (["lseek"], [1, FOREVER], 0),
    "result 0": (["read", "write"], [1, FOREVER], 0),
    "write ignored": (["write"], [1, FOREVER], ALL),
    "more than asked": (["read", "write"], [1, FOREVER], MORE),
}


def fault_at(number, call, kind, in_a_row, asked, kinds=KINDS):
    """The fault in the given call and those after it; None where the command makes fewer."""
    if number > len(asked):
        return None
    value = kinds[kind][2]
    if kind.startswith("E"):
        return Fault(call, number, number + in_a_row - 1, error=value)
    claimed = {ALL: asked[number - 1], MORE: asked[number - 1] + 1}.get(value, value)
    return Fault(call, number, number + in_a_row - 1, result=claimed)


def expected_output(outcome, healthy):
    """Reads print what they print without a fault, but for a version that cannot be read."""
    if outcome.status != 0:
        return b"", outcome.error
    output = healthy.out
    if outcome.version_unreadable and output.startswith(b"FormatVersion"):
        output = b"FormatVersion    : 0xffff" + output[output.index(b"\n") :]
    elif outcome.version_unreadable:
        output = b"65535\n"
    return output, healthy.err + outcome.error


def sweep(job):
    """A row: all rounds of one command with a fault in one kind of call, and how they ended."""
    program, contents, (_, arguments, action), call, kind, in_a_row = job
    ended = Counter()
    with tempfile.TemporaryDirectory() as directory:
        sandbox = Sandbox(Path(directory) / "sandbox", program, contents)
        healthy = sandbox.run(*arguments)
        asked = outcome_of(action, contents)[1].asked[call]
        number = 1
        while fault := fault_at(number, call, kind, in_a_row, asked):
            sandbox.image = contents
            result = run_with(sandbox, call, fault.injection(), arguments)
            outcome, _ = outcome_of(action, contents, fault)
            wanted = (outcome.status, *expected_output(outcome, healthy))
            assert result == wanted, f"{arguments} {fault}: {result} instead of {wanted}"
            assert sandbox.image == outcome.image, f"{arguments} {fault}: the image differs"
            ended[verdict(outcome)] += 1
            number += 1
    return {kind: ended}


def verdict(outcome):
    if outcome.status == 0:
        return "reported by erase" if outcome.error else "completed"
    return "failed and reported" if outcome.status == 1 else "stopped by assertion"


def jobs(program):
    for contents in PARTS.values():
        for command in commands():
            for kind, (calls, rows, _) in KINDS.items():
                for call in calls:
                    for in_a_row in rows:
                        yield program, contents, command, call, kind, in_a_row


def run(program):
    return totals(sweep, jobs(program))
