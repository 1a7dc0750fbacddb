"""Two processes write different elements of one part at the same time, again and again."""

import subprocess
import tempfile
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import elements
import records
from conftest import Sandbox

ROUNDS = 1000

VALID = "both written, the record valid"
STALE = "both written, the CRC that of one alone"

V2 = records.formatted(2)
WRITES = [elements.BY_NAME["MAC1"], elements.BY_NAME["PCB Rev"]]

# A file answers at once, a part on its bus takes milliseconds: long enough to meet in between.
SLOWLY = ["strace", "-f", "--seccomp-bpf", "-o", "/dev/null", "-e", "trace=read,write"]


def at_once(sandbox, lock):
    """Starts both writers, and returns their statuses and messages."""
    slowly = [*SLOWLY, "-P", sandbox.path, "-e", "inject=read,write:delay_exit=1ms"]
    writers = [
        subprocess.Popen(
            [*lock, *slowly, *sandbox.command("-w", element.option, element.typed)],
            env=sandbox.environment(),
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
        )
        for element in WRITES
    ]
    return [(writer.wait(60), writer.communicate()[0]) for writer in writers]


def verdict(sandbox, results):
    assert results == [(0, b""), (0, b"")], results
    expected = V2
    for element in WRITES:
        expected = records.with_sample(expected, element)
    image = sandbox.image
    end = records.CRC_POSITION[2]
    if image == expected:
        return VALID
    assert image[:end] == expected[:end] and image[end + 4 :] == expected[end + 4 :]
    return STALE


def rounds(job):
    program, locked, count = job
    ended = Counter()
    with tempfile.TemporaryDirectory() as directory:
        sandbox = Sandbox(Path(directory) / "sandbox", program, V2)
        lock = ["flock", sandbox.path] if locked else []
        for _ in range(count):
            sandbox.image = V2
            ended[verdict(sandbox, at_once(sandbox, lock))] += 1
    return ended


def run(program, locked):
    with ThreadPoolExecutor(4) as pool:
        return sum(pool.map(rounds, [(program, locked, ROUNDS // 4)] * 4), Counter())
