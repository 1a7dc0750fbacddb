"""How much of a command's time is the bus, on the virtual machine whose bus takes about 1 ms a byte."""

import json
import shlex
import subprocess

from bench_sandbox import DUMP, READ, ROOT, WRITE, name
from bound_sandbox import DEVICE
from elements import VALUES
from record_cost import BOARD

MEASURED = [READ, DUMP, WRITE]
FILE_RUNS = 50  # of a command that takes no longer than the clock's step of 10 ms

NOW = "now() { cut -d' ' -f1 /proc/uptime; }"
SCRIPT = f"""
{NOW}
seconds() {{ # runs, arguments
    runs=$1
    shift
    start=$(now)
    for run in $(seq $runs); do kestrel "$@" >/dev/null 2>&1; done
    echo "$(now) $start $runs" | awk '{{ print ($1 - $2) / $3 }}'
}}
measure() {{
    {"; ".join(f'seconds "$1" {" ".join(arguments)}' for arguments in MEASURED)}
}}
measure 1
cp {DEVICE} /tmp/part
mount --bind /tmp/part {DEVICE}
measure {FILE_RUNS}
"""


def answer(script):
    """The numbers that a script on the virtual machine prints."""
    command = [ROOT / "script/vm", "--slow", "sh", "-e", "-c", script]
    done = subprocess.run(command, stdout=subprocess.PIPE, check=True)
    return [float(line) for line in done.stdout.split()]


def whole_board_seconds():
    """A whole board with kestrel, and on the blank part before with kestrel-record."""
    commands = [["--format_v2"]]
    commands += [["-w", element.option, element.typed] for element in VALUES]
    commands += [["-r", element.option] for element in VALUES]
    script = [NOW, f"echo {shlex.quote(json.dumps(BOARD))} >/tmp/board.json"]
    script += ["now", "kestrel-record write /tmp/board.json >/dev/null", "now"]
    script += [f"kestrel {shlex.join(command)} >/dev/null" for command in commands]
    start, between, end = answer("\n".join([*script, "now"]))
    return end - between, between - start


def rows():
    """For each command its name, the seconds on the bus and on a file, and the share of the bus."""
    seconds = answer(SCRIPT)
    assert len(seconds) == 2 * len(MEASURED)
    for arguments, bus, file in zip(MEASURED, seconds, seconds[len(MEASURED) :]):
        yield [name(arguments), f"{bus:.2f} s", f"{file * 1000:.0f} ms", f"{1 - file / bus:.1%}"]
