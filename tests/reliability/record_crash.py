"""Ends kestrel-record by a signal at each of its calls on the part.

Killed, it leaves what was there or what it was to write, never anything in between, and the same
command completes then. SIGINT, SIGTERM and SIGHUP end it at once until it begins to write, and after
its report from then on.
"""

import signal
import tempfile
from collections import Counter

import record_model
from injection import totals
from record_sweep import PARTS, Trial, commands

ENDING = [signal.SIGINT, signal.SIGTERM, signal.SIGHUP]


def interrupt(trial, calls, index, number):
    """Sends the signal on the way into one of the calls, and returns the output."""
    call = calls[index]
    when = f"signal={number.name}:when={calls[: index + 1].count(call)}"
    result, _ = trial.traced(["-e", f"trace={call}", "-e", f"inject={call}:{when}"])
    assert (result.status, result.err) == (-number, b""), f"{trial.command} {when}: {result}"
    return result.out


def kill(trial, calls, index, after):
    """One round with SIGKILL, which is in time to prevent the call."""
    assert interrupt(trial, calls, index, signal.SIGKILL) == b""
    written = index > calls.index("write")
    assert trial.part.image == (after if written else trial.contents)
    whole = record_model.intact(trial.part.image)
    assert trial.part.run("read").status == (0 if whole else 6)
    again = trial.part.run(*trial.command.arguments, document=trial.command.document)
    assert (again.status, again.err, trial.part.image) == (0, b"", after)
    if written:
        return "written"
    return "as before (intact)" if whole else "as before (not intact)"


def end(trial, calls, index, number, report, after):
    """One round with a signal that can be held back, which does not prevent the call."""
    out = interrupt(trial, calls, index, number)
    if index < calls.index("write") - 1:  # the seek belongs to the write
        assert (out, trial.part.image) == (b"", trial.contents)
        return "ended before the write"
    assert (out, trial.part.image) == (report, after)
    return "ended after the report"


def rounds(job):
    """The rows of the report: all rounds of one command on one part, and how they ended."""
    program, contents, command = job
    killed, ended = Counter(), Counter()
    with tempfile.TemporaryDirectory() as directory:
        trial = Trial(program, directory, contents, command)
        calls, _ = trial.calls()
        (_, report, _), after, *_ = trial.expected()
        for index in range(len(calls)):
            killed[kill(trial, calls, index, after)] += 1
            for number in ENDING:
                ended[end(trial, calls, index, number, report, after)] += 1
    return {"killed at every call, then repeated": killed, "SIGINT, SIGTERM or SIGHUP": ended}


def writing(program):
    """The program, a part and a command, for each command that has something to write there."""
    for part in PARTS.values():
        for command in commands(part):
            if command.writes and command.written(part) not in (None, part):
                yield program, part, command


def run(program):
    return totals(rounds, writing(program))
