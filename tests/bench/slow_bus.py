"""How much of a command's time is the bus, on the virtual machine whose bus takes about 1 ms a byte."""

import subprocess

from bench_sandbox import DUMP, READ, ROOT, WRITE, name
from bound_sandbox import DEVICE

MEASURED = [READ, DUMP, WRITE]
FILE_RUNS = 50  # of a command that takes no longer than the clock's step of 10 ms

SCRIPT = f"""
now() {{ cut -d' ' -f1 /proc/uptime; }}
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


def rows():
    """For each command its name, the seconds on the bus and on a file, and the share of the bus."""
    command = [ROOT / "script/vm", "--slow", "sh", "-c", SCRIPT]
    done = subprocess.run(command, stdout=subprocess.PIPE, check=True)
    seconds = [float(line) for line in done.stdout.split()]
    assert len(seconds) == 2 * len(MEASURED)
    for arguments, bus, file in zip(MEASURED, seconds, seconds[len(MEASURED) :]):
        yield [name(arguments), f"{bus:.2f} s", f"{file * 1000:.0f} ms", f"{1 - file / bus:.1%}"]
