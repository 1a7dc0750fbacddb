"""Processes that write different fields of one part at the same time, again and again, and a reader.

No flock is in front of kestrel-record. In front of kestrel there is one, which keeps the two apart.
"""

import subprocess
import tempfile
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import elements
import record_model
import records
from conftest import Sandbox
from two_writers import ROUNDS

V2 = records.formatted(2)
FIELDS = {"mac1": "02:a5:5e:12:34:01", "ari": "0x105c8abc"}
SERIAL = elements.BY_NAME["SerialNumber"]

# A file answers at once, a part on its bus takes milliseconds: long enough to meet in between.
SLOWLY = ["-e", "trace=read,write,flock", "-e", "inject=read,write:delay_exit=1ms"]


def commands(sandbox, with_kestrel):
    """Each process, with what comes in front of its tracer."""
    program = sandbox.program.with_name("kestrel-record")
    for key, value in FIELDS.items():
        yield [], [program, "write", "--device", sandbox.path, f"--set={key}={value}"]
    yield [], [program, "read", "--device", sandbox.path]
    if with_kestrel:
        yield ["flock", sandbox.path], sandbox.command("-w", SERIAL.option, SERIAL.typed)


def at_once(sandbox, with_kestrel):
    """Starts all of them; returns their statuses and messages, and whether one found it locked."""
    processes, logs = [], []
    for number, (before, command) in enumerate(commands(sandbox, with_kestrel)):
        logs.append(sandbox.directory / f"log{number}")
        tracer = ["strace", "-f", "--seccomp-bpf", "-o", logs[-1], "-P", sandbox.path, *SLOWLY]
        pipes = {"stdout": subprocess.DEVNULL, "stderr": subprocess.PIPE}
        environment = sandbox.environment()
        processes.append(subprocess.Popen([*before, *tracer, *command], env=environment, **pipes))
    results = [(process.communicate(timeout=60)[1], process.returncode) for process in processes]
    return results, any("EAGAIN" in log.read_text() for log in logs)


def rounds(job):
    program, with_kestrel, count = job
    expected = record_model.encoded(V2, 2, FIELDS)
    if with_kestrel:
        expected = records.with_sample(expected, SERIAL)
    ended = Counter()
    with tempfile.TemporaryDirectory() as directory:
        sandbox = Sandbox(Path(directory) / "sandbox", program, V2)
        for _ in range(count):
            sandbox.image = V2
            results, met = at_once(sandbox, with_kestrel)
            assert set(results) == {(b"", 0)}, results
            assert sandbox.image == expected
            ended["met" if met else "did not meet"] += 1
    return ended


def run(program, with_kestrel):
    """How often they have met. All is written and the record was whole in every round."""
    with ThreadPoolExecutor(2) as pool:
        jobs = [(program, with_kestrel, ROUNDS // 2)] * 2
        return sum(pool.map(rounds, jobs), Counter())
