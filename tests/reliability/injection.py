"""Runs a program with something injected into its device calls, as cheaply as strace can."""

import subprocess
from collections import Counter
from concurrent.futures import ThreadPoolExecutor

from conftest import Result


def run_with(sandbox, call, injection, arguments):
    """One run; injection is in strace's words, and must take place."""
    log = sandbox.directory / "strace.log"
    command = ["strace", "-o", log, "-P", sandbox.path, "-E", "LD_PRELOAD=libumockdev-preload.so.0"]
    command += ["-e", f"trace={call}", "-e", f"inject={call}:{injection}"]
    if not injection.startswith("signal"):  # which the fast way leaves out
        command += ["-f", "--seccomp-bpf"]
    done = subprocess.run(
        [*command, sandbox.program, *arguments],
        env=sandbox.traced_environment(),
        capture_output=True,
        check=False,
        timeout=60,
    )
    reached = "killed" if injection.startswith("signal") else "INJECTED"
    assert reached in log.read_text(), f"{arguments} {injection}: not reached"
    return Result(done.returncode, done.stdout, done.stderr)


def totals(rounds, jobs):
    """Carries out the rounds of all jobs: how many ended in which way, by the row of the report."""
    total = {}
    with ThreadPoolExecutor(4) as pool:
        for rows in pool.map(rounds, jobs):
            for name, ended in rows.items():
                total[name] = total.get(name, Counter()) + ended
    return total
