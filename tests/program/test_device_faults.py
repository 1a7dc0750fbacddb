"""Each device call of each command fails once with EIO: an extract of the fault sweep."""

import sys
from pathlib import Path

import pytest
from documents import says

sys.path.insert(0, str(Path(__file__).parents[1] / "reliability"))

from fault_sweep import PARTS, commands, sweep  # noqa: E402  (found by the line above)

SHORT = ["--mac1", "--ser_num", "--version", "--raw", "--erase", "--format_v1", "--format_v2"]
CHOSEN = [command for command in commands() if set(command[1]) & set(SHORT)]


@pytest.mark.parametrize("call", ["openat", "lseek", "read", "write"])
@pytest.mark.parametrize("command", CHOSEN, ids=lambda command: " ".join(command[1]))
def test_each_failing_call_ends_as_the_model_says(make_sandbox, command, call):
    program = make_sandbox(None).program
    rows = sweep((program, PARTS["version 2"], command, call, "EIO", 1))
    assert rows["EIO"] or (call == "write" and command[0] in ("read", "dump"))
    says(
        "docs/reliability.md",
        "A model of the device calls (`tests/reliability/device_model.py`) says what each round "
        "must end with: the status, the exact message, what is on standard output, and every byte "
        "of the part.",
    )
