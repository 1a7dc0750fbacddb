"""What kestrel-record must do to the part, call by call, and what it must say when a call fails.

What a write is to leave comes from record_model; here are the calls, with a fault in one of them.
"""

import errno
import os
import signal
from dataclasses import dataclass

import record_model
from device_model import Abort, Device, Failure

NOT_CHANGED, MAYBE_CHANGED, CHANGED = (
    f"; the part {state}" for state in ("was not changed", "may have been changed", "was changed")
)
LOCKED = "is locked by another process (flock in front of kestrel-record itself locks it out, too)"
NOT_VERIFIED = "the part does not hold what was written to it (write protected?)"


@dataclass
class Command:
    """A command line, and the document on standard input, if any."""

    arguments: list
    document: dict | None = None

    @property
    def writes(self):
        return self.arguments[0] == "write" and "--dry-run" not in self.arguments

    def written(self, contents):
        """What the part is to hold after it; None where it refuses."""
        return record_model.written(contents, self.document, "--format" in self.arguments)


class Ended(Exception):
    """The command is over with a status and a message."""

    def __init__(self, status, message):
        super().__init__()
        self.status = status
        self.message = message


@dataclass
class Outcome:
    """How a command ends, and what it leaves.

    ended: its status and message; None if it ends as without a fault on a part that holds what
    was read.
    """

    ended: Ended | None
    held: bytes
    image: bytes


class RecordDevice(Device):
    """The part, and what is said of it."""

    def __init__(self, contents, fault, name):
        super().__init__(contents, fault)
        self.asked.update({"newfstatat": [], "flock": [], "close": []})
        self.name = name
        self.count = record_model.FORMATTED_END[len(contents)]
        self.rest = contents[self.count :]

    def fail(self, action, reason, state):
        raise Ended(4, f"cannot {action} {self.name}: {reason}{state}")

    def check(self, call, action):
        if fault := self.faulty(call):
            if call == "flock" and fault.error == errno.EAGAIN:
                raise Ended(5, f"{self.name} {LOCKED}")
            self.fail(action, os.strerror(fault.error), NOT_CHANGED)

    def open(self):
        self.check("newfstatat", "open")  # by its path
        self.check("openat", "open")
        self.check("newfstatat", "look at")
        self.check("flock", "lock")

    def read_record(self, state):
        """What the part holds, as far as it is read."""
        try:
            self.seek(0)
            return self.read(self.count) + self.rest
        except Failure as failure:
            self.fail("read", failure, state)

    def write_record(self, before, after):
        first, end = record_model.extent(before, after)
        try:
            self.seek(first)
            self.write(after[first:end])
        except Failure as failure:
            self.fail("write", failure, MAYBE_CHANGED)

    def carry_out(self, command):
        """Returns what was read at first."""
        self.open()
        held = self.read_record(NOT_CHANGED)
        after = command.written(held) if command.writes else None
        if after and after != held:
            self.write_record(held, after)
            if (read_back := self.read_record(MAYBE_CHANGED)) != after:
                raise Ended(7, NOT_VERIFIED + (MAYBE_CHANGED if read_back == held else CHANGED))
        self.faulty("close")
        return held


def outcome_of(command, contents, name, fault=None):
    """What a command must come to, and the device with what was asked of it."""
    device = RecordDevice(contents, fault, name)
    ended = held = None
    try:
        held = device.carry_out(command)
    except Ended as end:
        ended = end
        device.faulty("close")
    except Abort as abort:
        ended = Ended(-signal.SIGABRT, str(abort))
    return Outcome(ended, held, bytes(device.contents)), device
