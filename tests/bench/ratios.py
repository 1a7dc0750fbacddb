"""Times of whole commands against each other, in turns, so that a busy machine slows all of them."""

import json
import shlex
import statistics

ROUNDS = 15
RUNS = 20


def wall_time(result):
    return result["median"]


def processor_time(result):
    return result["user"] + result["system"]


def turn(sandbox, commands, runs=RUNS, figure=wall_time):
    """Runs each command several times and returns the figure of each by its name.

    The commands have no input, which ends the menu with status 1 after its first screen.
    """
    export = sandbox.directory / "results.json"
    tool = ["hyperfine", "--shell=none", "--style=none", "--warmup=2", f"--runs={runs}"]
    lines = [shlex.join(map(str, command)) for command in commands.values()]
    sandbox.start(*tool, "--ignore-failure", f"--export-json={export}", *lines)
    results = json.loads(export.read_text())["results"]
    for result, command in zip(results, commands.values()):
        assert set(result["exit_codes"]) == {0 if command[1:] or command == ["/bin/true"] else 1}
    return dict(zip(commands, map(figure, results)))


def rounds(sandbox, commands):
    return [turn(sandbox, commands) for _ in range(ROUNDS)]


class Ratio:
    """The median of the rounds' ratios, and the quartiles around it."""

    def __init__(self, turns, measured, reference):
        ratios = [turn[measured] / turn[reference] for turn in turns]
        self.low, self.median, self.high = statistics.quantiles(ratios, n=4)

    def __str__(self):
        return f"{self.median:.2f} ({self.low:.2f} to {self.high:.2f})"
