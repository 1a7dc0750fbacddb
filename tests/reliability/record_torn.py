"""Lets kestrel-record's reads and writes be short, and cuts its write off after each of its bytes.

Short transfers are continued. A write that is cut off, as by a loss of power, leaves a part that
read refuses or shows as it was or as it was to be, and that a write of all fields heals.
"""

import tempfile
from collections import Counter

import record_model
import records
from injection import totals
from record_crash import writing
from record_sweep import Trial

LENGTHS = [1, 2, 3, 5, 8, 50, 100, 200]


def short(program, **most):
    """strace's options for transfers of so many bytes at most."""
    preload = program.parent / "tests/short-transfers.so"
    settings = {"LD_PRELOAD": preload, **most}
    return [word for name, value in settings.items() for word in ("-E", f"{name}={value}")]


def continue_short(trial, program):
    """Runs the command with short transfers of several lengths, which must make no difference."""
    result, image, _, device = trial.expected()
    ended = Counter()
    for length in LENGTHS:
        done, lines = trial.traced(short(program, READ_AT_MOST=length, WRITE_AT_MOST=length))
        assert (done, trial.part.image) == (result, image), f"{trial.command} {length}: {done}"
        for call in ("read", "write"):
            made = sum(line.startswith(call + "(") for line in lines)
            assert made == sum(-(-count // length) for count in device.asked[call])
        ended["completed"] += 1
    return ended


def shown_fields(contents):
    """What read shows and the CRC covers; None if there is no intact record."""
    version = record_model.intact(contents)
    if not version:
        return None
    return {**record_model.decoded(contents, version), "block8": None}


def cut_off(trial, program, count, after):
    """One round: the part takes that many bytes of the write, and no more until it is back."""
    before, part = trial.contents, trial.part
    fault = ["-e", "inject=write:error=EIO:when=2+"]
    result, _ = trial.traced([*short(program, WRITE_AT_MOST=count), *fault])
    assert (result.status, result.out) == (4, b"")
    assert b"; the part may have been changed\n" in result.err
    first, _ = record_model.extent(before, after)
    torn = before[:first] + after[first : first + count] + before[first + count :]
    assert part.image == torn

    version = record_model.intact(after)
    shown = shown_fields(torn)
    # The first byte may mend the one that is damaged.
    whole = map(shown_fields, (before, after, records.formatted(version)))
    assert shown is None or shown in whole, f"{trial.command} {count}"
    assert part.run("read").status == (6 if shown is None else 0)

    sample = record_model.sample(version)
    healed = record_model.written(torn, sample)
    assert part.run("write", document=sample).status == 0
    assert part.image == healed
    return "refused and healed" if shown is None else "shown whole and healed"


def rounds(job):
    program, contents, command = job
    with tempfile.TemporaryDirectory() as directory:
        trial = Trial(program, directory, contents, command)
        after = command.written(contents)
        first, end = record_model.extent(contents, after)
        cut = Counter(cut_off(trial, program, count, after) for count in range(1, end - first))
        return {
            "short transfers": continue_short(trial, program),
            "cut off after each byte": cut,
        }


def run(program):
    return totals(rounds, writing(program))
