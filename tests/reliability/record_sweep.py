"""Fails every call of kestrel-record on the part, one after the other, with every kind of fault.

A round is one run with one fault. It must end as the model says: with its status, its message,
nothing on standard output that could be taken for a result, and its image. What the message says of
the part must be so.
"""

import functools
import signal
import tempfile
from collections import Counter
from pathlib import Path

import fault_sweep
import record_model
import records
from conftest import Part, Result
from fault_sweep import ALL, FOREVER, fault_at
from injection import totals
from record_device_model import Command, outcome_of

PARTS = {**fault_sweep.PARTS, "version 1, 2048 bytes": records.formatted(1, 2048)}


def commands(contents):
    """Each command on a part. Those that write come first."""
    version = record_model.intact(contents) or {128: 1, 2048: 2}[len(contents)]
    sample = record_model.sample(version)
    fresh = record_model.decoded(records.formatted(version), version)
    one = {"ser_num": sample["ser_num"]}
    yield Command(["write", "--wait=0"], one)
    yield Command(["write", "--wait=0"], sample)
    yield Command(["write", "--wait=0", "--format"], {"version": version, **one})
    yield Command(["write", "--wait=0"], fresh)  # unchanged, or of a damaged one
    yield Command(["write", "--wait=0", "--dry-run"], sample)
    yield Command(["diff", "--wait=0"], sample)
    yield Command(["diff", "--wait=0"], fresh)
    yield Command(["read", "--wait=0"])
    yield Command(["read", "--wait=0", "--damaged"])


EVERY_CALL = ["newfstatat", "openat", "flock", "lseek", "read", "write", "close"]
KINDS = {
    kind: (EVERY_CALL if kind.startswith("E") else calls, rows, value)
    for kind, (calls, rows, value) in fault_sweep.KINDS.items()
}
KINDS["read ignored"] = ["read"], [1, FOREVER], ALL

ENDS = {4: "status 4", 5: "status 5", 7: "status 7", -signal.SIGABRT: "stopped by assertion"}


class Trial:
    """A command on a part, and what becomes of the two."""

    def __init__(self, program, directory, contents, command):
        self.part = Part(program, Path(directory) / "part", contents)
        self.contents = contents
        self.command = command
        self.undisturbed = functools.cache(self.run)

    def run(self, contents):
        """The result of the command on a part that holds this."""
        self.part.image = contents
        return self.part.run(*self.command.arguments, document=self.command.document)

    def traced(self, tracer):
        """The result under a strace, and what that has seen."""
        self.part.image = self.contents
        arguments = self.command.arguments
        return self.part.strace(tracer, *arguments, document=self.command.document)

    def expected(self, fault=None):
        """What a fault must lead to: the result, the image and a word for it; and the device."""
        outcome, device = outcome_of(self.command, self.contents, self.part.path, fault)
        if outcome.ended is None:
            result = self.undisturbed(outcome.held)
            word = "completed" if outcome.held == self.contents else "as on a part of zeros"
        else:
            message = f"kestrel-record: {outcome.ended.message}\n".encode()
            result = Result(outcome.ended.status, b"", message)
            word = ENDS[result.status]
        return result, outcome.image, word, device

    def calls(self):
        """The names of all calls, in their order, and the bytes asked for in each of a name."""
        asked = self.expected()[-1].asked
        _, lines = self.traced([])
        calls = [line.partition("(")[0] for line in lines if not line.startswith("+++")]
        assert Counter(calls) == {call: len(sizes) for call, sizes in asked.items() if sizes}, lines
        return calls, asked

    def fail(self, fault):
        """One round; a word for how it ended."""
        tracer = ["-f", "--seccomp-bpf", "-e", f"trace={fault.call}"]
        tracer += ["-e", f"inject={fault.call}:{fault.injection()}"]
        result, lines = self.traced(tracer)
        image = self.part.image
        about = f"{self.command} {fault}"
        assert any("(INJECTED)" in line for line in lines), f"{about}: not reached"
        self.check_truth(result, image, fault)
        expected, expected_image, word, _ = self.expected(fault)
        assert result == expected, f"{about}: {result} instead of {expected}"
        assert image == expected_image, f"{about}: the image differs"
        return word

    def check_truth(self, result, image, fault):
        """What the program says must be so, whatever the model says."""
        about = f"{self.command} {fault}: {result}"
        if b"was not changed" in result.err:
            assert image == self.contents, about
        if b"was changed" in result.err and fault.call != "read":  # which hides what was there
            assert image != self.contents, about
        if self.command.writes and result.status == 0:
            assert image == self.command.written(self.contents), about


def sweep(job):
    """The rows of the report: all rounds of one command on one part, and how they ended."""
    program, contents, command = job
    ended = {kind: Counter() for kind in KINDS}
    with tempfile.TemporaryDirectory() as directory:
        trial = Trial(program, directory, contents, command)
        _, asked = trial.calls()
        for kind, (calls, rows, _) in KINDS.items():
            for call in calls:
                for in_a_row in rows:
                    for number in range(1, len(asked[call]) + 1):
                        fault = fault_at(number, call, kind, in_a_row, asked[call], KINDS)
                        ended[kind][trial.fail(fault)] += 1
    return ended


def run(program):
    jobs = [(program, part, command) for part in PARTS.values() for command in commands(part)]
    return totals(sweep, jobs)
