"""Measures the builds and prints the tables of docs/performance.md.

Fails if a command asks more or less of the device than it must, or if a figure that does not
depend on the machine's load is beyond its limit. Times are printed, and never fail.
"""

import shlex
import subprocess
import sys

import record_cost
import slow_bus
from bench_sandbox import (
    BUILDS,
    COMMANDS,
    DUMP,
    MENU,
    READ,
    WRITE,
    BenchSandbox,
    collected,
    name,
    program,
)
from bound_sandbox import DEVICE, MOST_MEMORY
from device_cost import bus_milliseconds, check
from ratios import Ratio, processor_time, rounds, turn

TRUE = "`/bin/true`"
DD = "`dd` of the part"
DD_OD = "`sh -c 'dd ... \\| od'`"
REFERENCES = {
    TRUE: ["/bin/true"],
    DD: ["dd", f"if={DEVICE}", "of=/dev/null", "status=none"],
    DD_OD: ["sh", "-c", f"dd if={DEVICE} status=none | od"],
}
CALLS = 1000

# (build, what is limited, of which command): the most that it may be.
LIMITS = {
    ("static", "peak memory, kB", name(READ)): MOST_MEMORY,
    ("static", "peak memory, kB", name(DUMP)): MOST_MEMORY,
    ("static", "instructions", name(READ)): 150_000,
    ("static", "instructions", name(DUMP)): 720_000,
    ("static", "stripped size", ""): 1_900_000,
    ("release", "instructions", name(READ)): 360_000,
    ("release", "instructions", name(DUMP)): 930_000,
    ("release", "stripped size", ""): 960_000,
}


def table(title, heads, rows):
    print(f"\n**{title}**\n")
    print("|", " | ".join(heads), "|")
    print("|" + "---|" * len(heads))
    for row in rows:
        print("|", " | ".join(map(str, row)), "|")


def steady_figures():
    """(build, what, command) to figure, for everything that does not depend on the load."""
    found = {}
    for build in BUILDS:
        sandbox = BenchSandbox(build)
        found[build, "stripped size", ""] = sandbox.stripped_size()
        for arguments in COMMANDS:
            command = name(arguments)
            found[build, "instructions", command] = sandbox.instructions(arguments)
            found[build, "system calls", command] = sandbox.system_calls(arguments)
            found[build, "peak memory, kB", command] = sandbox.peak_memory(arguments)
    return found


def print_steady(found):
    for what in ("instructions", "system calls", "peak memory, kB"):
        rows = [
            [name(arguments), *(f"{found[build, what, name(arguments)]:,}" for build in BUILDS)]
            for arguments in COMMANDS
        ]
        table(what[0].upper() + what[1:], ["command", *BUILDS], rows)
    sizes = [f"{found[build, 'stripped size', '']:,}" for build in BUILDS]
    table("Size of the program, stripped, in bytes", BUILDS, [sizes])
    limits = [
        [build, what, command, f"{limit:,}"] for (build, what, command), limit in LIMITS.items()
    ]
    table(
        "Limits, beyond which `script/bench` fails", ["build", "figure", "command", "limit"], limits
    )


def beyond_limits(found):
    return [
        f"{build}: {what} {command}: {found[build, what, command]}, at most {limit}"
        for (build, what, command), limit in LIMITS.items()
        if found[build, what, command] > limit
    ]


def print_device(costs):
    by_cost = {}
    for (arguments, small), (_, large) in zip(costs[1], costs[2]):
        command = " ".join(arguments[:2]).replace("--format_v1", "--format_v1 or --format_v2")
        by_cost.setdefault((small, large), []).append(f"`{command}`" if command else name(MENU))
    rows = [
        [", ".join(names), *small, *large, f"{bus_milliseconds(large):,.0f} ms"]
        for (small, large), names in by_cost.items()
    ]
    heads = [f"{size}: {what}" for size in (128, 2048) for what in ("calls", "read", "written")]
    heads = ["command", *heads, "2048, at 100 kHz"]
    table("Device calls, and bytes read and written, by the size of the part", heads, rows)


def time_builds():
    commands = dict(REFERENCES)
    for build in BUILDS:
        for arguments in COMMANDS:
            commands[build, name(arguments)] = [program(build), *arguments]
    return rounds(BenchSandbox(), commands)


def print_times(turns):
    rows = [[other, Ratio(turns, other, DD)] for other in (TRUE, DD_OD)]
    table(f"What the times are compared with, in multiples of {DD}", ["command", "time"], rows)
    rows = [
        [name(arguments), *(Ratio(turns, (build, name(arguments)), DD) for build in BUILDS)]
        for arguments in COMMANDS
    ]
    table(f"Times, in multiples of {DD}", ["command", *BUILDS], rows)


def print_targets(turns):
    targets = [
        ("release", READ, DD, 1.0),
        ("release", DUMP, DD_OD, 0.40),
        ("static", READ, TRUE, 1.0),
    ]
    rows = []
    for build, arguments, reference, most in targets:
        ratio = Ratio(turns, (build, name(arguments)), reference)
        verdict = "reached" if ratio.median <= most else "missed"
        rows.append([build, name(arguments), f"{most} x {reference}", ratio, verdict])

    sandbox = BenchSandbox(locale="C")
    commands = {**REFERENCES, name(READ): [sandbox.program, *READ]}
    ratio = Ratio(rounds(sandbox, commands), name(READ), DD)
    rows.append(["release", name(READ), f"({DD} in the locale `C`)", ratio, ""])
    table("Targets", ["build", "command", "at most", "measured", ""], rows)


def loop(arguments):
    call = shlex.join([str(program("release")), *arguments])
    return ["sh", "-c", f"i=0; while [ $i -lt {CALLS} ]; do {call}; i=$((i+1)); done"]


def print_line_script():
    sandbox = BenchSandbox()
    rows = []
    for arguments in (READ, WRITE):
        turns = []
        for _ in range(5):
            single = turn(sandbox, {"one": [sandbox.program, *arguments]}, 100, processor_time)
            many = turn(sandbox, {"all": loop(arguments)}, 2, processor_time)
            turns.append({**single, "all": many["all"] / CALLS})
        rows.append([name(arguments), Ratio(turns, "all", "one")])
    title = f"A call in a line script of {CALLS}, in multiples of a single one (processor time, release)"
    table(title, ["command", "time"], rows)


def print_sizes():
    sandboxes = {128: BenchSandbox(version=1), 2048: BenchSandbox(version=2)}
    counted = [READ, DUMP, WRITE]
    commands = {name(arguments): [program("release"), *arguments] for arguments in counted}
    turns = {
        size: rounds(sandbox, {**REFERENCES, **commands}) for size, sandbox in sandboxes.items()
    }
    rows = []
    for arguments in counted:
        instructions = [f"{sandbox.instructions(arguments):,}" for sandbox in sandboxes.values()]
        times = [Ratio(turns[size], name(arguments), TRUE) for size in sandboxes]
        rows.append([name(arguments), *instructions, *times])
    heads = [
        f"{what}, {size} bytes" for what in ("instructions", f"x {TRUE}") for size in sandboxes
    ]
    table("A part of 128 against one of 2048 bytes (release)", ["command", *heads], rows)


def print_crc():
    rows = []
    for size, version in ((128, 1), (2048, 2)):
        sandbox = BenchSandbox(version=version)
        crc = sandbox.instructions(DUMP, "--toggle-collect=*Crc32(*")
        board_test = BenchSandbox(version=version, tool="kestrel-boardtest")
        rows.append(
            [
                f"{size} bytes",
                f"{crc / sandbox.instructions(DUMP):.0%}",
                f"{test_pass(board_test):,}",
            ]
        )
    heads = ["part", f"the CRC's share of {name(DUMP)}", "instructions of a pass of the board test"]
    table("The CRC (release)", heads, rows)


def test_pass(sandbox):
    """About: the reader of the output ends two runs after so many passes, give or take one."""
    return round((until(sandbox, 110) - until(sandbox, 10)) // 100, -4)


def until(sandbox, passes):
    command = [
        "valgrind",
        "--tool=callgrind",
        "--callgrind-out-file=/dev/null",
        sandbox.program,
        "2",
    ]
    with subprocess.Popen(
        sandbox.inside(*command),
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        env=sandbox.environment(),
    ) as test:
        for _ in range(passes):
            test.stdout.readline()
        test.stdout.close()
        return collected(test.stderr.read().decode())


def print_bus():
    heads = ["command", "on the bus", "on a file", "the bus's share"]
    title = "The virtual machine's slow bus, some 1 ms a byte, with a part of 2048 bytes"
    table(title, heads, slow_bus.rows())


def print_record_calls(costs):
    rows = [
        [
            case.title,
            *spent,
            spent.read + spent.written,
            case.most,
            f"{bus_milliseconds(spent):.0f} ms",
        ]
        for case, spent in costs
    ]
    heads = ["command", "calls", "read", "written", "in all", "at most", "at 100 kHz"]
    table("`kestrel-record` on a part of 2048 bytes: device calls, and bytes", heads, rows)
    for case, _ in costs:
        if 0 < case.most_written < case.most:
            print(f"\nA {case.title} may write {case.most_written} bytes.")


def print_whole_boards(kestrel, record, seconds):
    """Returns a line for each figure that is not far enough apart."""
    figures = [
        ("bytes", [spent.read + spent.written for spent in (kestrel, record)], "{:,}"),
        (
            "seconds at 100 kHz",
            [bus_milliseconds(spent) / 1000 for spent in (kestrel, record)],
            "{:.2f}",
        ),
    ]
    if seconds:
        figures.append(("seconds on the slow bus", seconds, "{:.1f}"))
    rows = [
        [what, *(form.format(figure) for figure in pair), f"{pair[0] / pair[1]:.0f} times"]
        for what, pair, form in figures
    ]
    heads = ["", "`kestrel`: a format, 11 writes, 11 reads", "`kestrel-record`: a `write`", "apart"]
    table("A whole board of 2048 bytes", heads, rows)
    least = record_cost.LEAST_APART
    return [
        f"a whole board: {what}: {pair}, not {least} times apart"
        for what, pair, _ in figures
        if pair[0] < least * pair[1]
    ]


def print_record_machine(found):
    heads = ["figure", "command", *BUILDS]
    keys = dict.fromkeys((what, command) for _, what, command in found)
    rows = [
        [what, command, *(f"{found[build, what, command]:,}" for build in BUILDS)]
        for what, command in keys
    ]
    table("What `kestrel-record` asks of the machine", heads, rows)
    print(f"\nThe static build may take {record_cost.MOST_MEMORY:,} kB of memory.")

    rows = []
    for build, version, read in record_cost.start_ups():
        verdict = "reached" if read.median <= record_cost.MOST_START_UP else "missed"
        rows.append([build, version, read, f"{record_cost.MOST_START_UP} x", verdict])
    title = f"Times of `kestrel-record`, in multiples of {name(READ)} of the same build"
    table(title, ["build", "`--version`", "`read`", "at most", ""], rows)


def print_record(kestrel_costs):
    costs, problems = record_cost.check()
    seconds = slow_bus.whole_board_seconds() if "--write" in sys.argv else None
    print_record_calls(costs)
    boards = record_cost.whole_boards(kestrel_costs, costs)
    problems += print_whole_boards(*boards, seconds)
    found = record_cost.steady_figures()
    print_record_machine(found)
    return problems + record_cost.beyond_limits(found)


def main():
    costs, problems = check(BUILDS)
    found = steady_figures()
    turns = time_builds()
    print_times(turns)
    print_targets(turns)
    print_device(costs)
    print_bus()
    print_steady(found)
    print_line_script()
    print_sizes()
    print_crc()
    problems += beyond_limits(found)
    problems += print_record(costs[2])
    if problems:
        sys.exit("\n".join(problems))


if __name__ == "__main__":
    main()
