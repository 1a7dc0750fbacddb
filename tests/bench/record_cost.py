"""What kestrel-record asks of the device and of the machine, against limits and against kestrel."""

import json
import re
from collections import namedtuple

import record_model
import records
from bench_sandbox import BUILDS, READ, BenchSandbox, name, program
from device_cost import Cost, cost
from elements import WRITABLE
from ratios import Ratio, rounds

TOOL = "kestrel-record"
FRESH = records.formatted(2)
BOARD = record_model.sample(2)
HELD = record_model.written(FRESH, BOARD)
DOCUMENT = "board.json"

WHOLE = ["write", DOCUMENT]
SERIAL = ["write", "--set", "ser_num=SN-0123456789"]

# A command on a part with these contents: the most bytes that it may read, write, and both.
Case = namedtuple("Case", "title contents arguments most_read most_written most")
CASES = [
    Case("`read`", HELD, ["read"], 260, 0, 260),
    Case("`diff` of a whole board", HELD, ["diff", DOCUMENT], 260, 0, 260),
    Case("`write` of what the part holds", HELD, WHOLE, 260, 0, 260),
    Case("`write` of another serial number", FRESH, SERIAL, 800, 75, 800),
    Case("`write` of a whole board", FRESH, WHOLE, 800, 800, 800),
    Case("`write` of a whole board to a blank part", records.BLANK_V2, WHOLE, 800, 800, 800),
]
LEAST_APART = 60  # times that kestrel transfers more for a whole board, and takes longer

# The calls on the part that transfer nothing, besides those that are counted.
SILENT = re.compile(r"(newfstatat|openat|flock)\(.* = \d+")
COUNTED = re.compile(r"open|close|seek \d+|(read|write) \d+")

MEASURED = [["read"], WHOLE, ["image", "-o", "/dev/null", DOCUMENT]]
MOST_MEMORY = 2_000_000 // 1024  # kB, for the static build
MOST_START_UP = 1.5  # times a read of kestrel


class RecordSandbox(BenchSandbox):
    def __init__(self, build="release", contents=FRESH):
        super().__init__(build, tool=TOOL)
        self.image = contents
        (self.directory / DOCUMENT).write_text(json.dumps(BOARD))

    def with_document(self, arguments):
        return [self.directory / word if word == DOCUMENT else word for word in arguments]


def title(arguments):
    return f"`{TOOL} {' '.join(arguments)}`"


def spent_on(build, case):
    """The cost of the case, and the number of calls that write."""
    sandbox = RecordSandbox(build, case.contents)
    operations = sandbox.operations(*sandbox.with_document(case.arguments))
    calls = [operation for operation in operations if not SILENT.fullmatch(operation)]
    assert all(COUNTED.fullmatch(call) for call in calls), calls
    return cost(operations), sum(call.startswith("write") for call in calls)


def check():
    """The cost of each case, and a line for each that is beyond its limit in a build."""
    costs, wrong = [], []
    for case in CASES:
        for build in BUILDS:
            spent, writes = spent_on(build, case)
            figures = [spent.read, spent.written, spent.read + spent.written]
            beyond = any(figure > most for figure, most in zip(figures, case[3:]))
            if beyond or writes != (case.most_written > 0):
                wrong.append(f"{build}: {TOOL}: {case.title}: {spent}, {writes} calls that write")
        costs.append((case, spent))
    return costs, wrong


def whole_boards(kestrel_costs, record_costs):
    """What a whole board costs with kestrel and with kestrel-record, by their single commands."""
    wanted = [["--format_v2"], *([mode, option] for mode in ("-w", "-r") for option in WRITABLE)]
    spent = [found for arguments, found in kestrel_costs if arguments[:2] in wanted]
    assert len(spent) == len(wanted)
    return Cost(*map(sum, zip(*spent))), record_costs[-1][1]


def steady_figures():
    """(build, what, command) to figure, for what does not depend on the load."""
    found = {}
    for build in BUILDS:
        sandbox = RecordSandbox(build)
        found[build, "stripped size, bytes", ""] = sandbox.stripped_size()
        for arguments in MEASURED:
            words = sandbox.with_document(arguments)
            found[build, "instructions", title(arguments)] = sandbox.instructions(words)
            found[build, "peak memory, kB", title(arguments)] = sandbox.peak_memory(words)
    return found


def beyond_limits(found):
    return [
        f"{build}: {what} {command}: {figure}, at most {MOST_MEMORY}"
        for (build, what, command), figure in found.items()
        if (build, what) == ("static", "peak memory, kB") and figure > MOST_MEMORY
    ]


def start_ups():
    """Of each build the time of a command that opens no part, and of a read of the whole part."""
    for build in BUILDS:
        commands = {name(READ): [program(build), *READ]}
        for word in ("--version", "read"):
            commands[word] = [program(build, TOOL), word]
        turns = rounds(BenchSandbox(), commands)
        yield build, *(Ratio(turns, word, name(READ)) for word in ("--version", "read"))
