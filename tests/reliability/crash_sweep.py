"""Kills the program at every device call of every writing command, and runs the command again.

What is on the part then must be what an uninterrupted run leaves. The exceptions are stated here.
"""

import tempfile
from collections import Counter
from pathlib import Path

import records
from conftest import Sandbox
from device_model import outcome_of
from fault_sweep import PARTS, commands
from injection import run_with, totals

PARTS = {**PARTS, "version 1, 2048 bytes": records.formatted(1, 2048)[:128] + bytes(1920)}


def crash(job):
    """A row of the report: every round of one command on one part, and how they ended."""
    program, part, (_, arguments, action) = job
    contents = PARTS[part]
    ended = Counter()
    undisturbed, device = outcome_of(action, contents)
    with tempfile.TemporaryDirectory() as directory:
        sandbox = Sandbox(Path(directory) / "sandbox", program, contents)
        for call, asked in device.asked.items():
            for number in range(1, len(asked) + 1):
                sandbox.image = contents
                kill = f"signal=KILL:when={number}"
                assert run_with(sandbox, call, kill, arguments).status == -9
                again = sandbox.run(*arguments)
                ended[verdict(part, arguments, sandbox.image == undisturbed.image, again)] += 1
    return {"killed at every call, then repeated": ended}


def verdict(part, arguments, same, again):
    if same and again == (0, b"", b""):
        return "repaired by the same command"
    if arguments == ["--erase"] and same and again.status == 1:
        return "erased already, and the blank 128-byte part cannot be loaded again"
    if arguments == ["--erase"] and part == "version 1, 2048 bytes":
        return "erased further, since the blank part counts as version 2"
    raise AssertionError(f"{part} {arguments}: {again}")


def run(program):
    writing = [command for command in commands() if command[0] in ("write", "erase", "format")]
    jobs = [
        (program, part, command)
        for part, contents in PARTS.items()
        for command in writing
        if outcome_of(command[2], contents)[0].status == 0
    ]
    return totals(crash, jobs)
