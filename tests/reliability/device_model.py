"""What each command must do to the device, call by call, and what it must say when a call fails.

This states the program's behaviour a second time, in terms of device calls only, so that the
program can be compared with it under a fault in any of them.
"""

import errno
import os
import signal
import zlib
from dataclasses import dataclass

import elements
import records

VERIFY = "write verified error (write protected?)"


@dataclass
class Fault:
    """One kind of fault in one kind of call: from call number first to call number last."""

    call: str
    first: int
    last: float
    error: int = 0  # errno, or 0
    result: int = 0  # what the call claims instead, without having done anything

    def injection(self):
        what = f"error={self.error}" if self.error else f"retval={self.result}"
        if self.last == float("inf"):
            when = f"{self.first}+"
        else:
            when = f"{self.first}..{self.last}"
        return f"{what}:when={when}"


@dataclass
class Outcome:
    status: int
    error: bytes
    image: bytes
    version_unreadable: bool = False  # when it was to be shown


class Failure(Exception):
    """An exception of the program, with its text."""


class Abort(Exception):
    """A failed assertion, with its text."""


class Device:
    """The file that the device calls reach. Positions and contents are those of a plain file."""

    def __init__(self, contents, fault=None):
        self.contents = bytearray(contents)
        self.position = 0
        self.fault = fault
        self.asked = {"openat": [], "lseek": [], "read": [], "write": []}  # bytes in each call
        self.hit = False

    def faulty(self, call, asked=0):
        self.asked[call].append(asked)
        fault = self.fault
        number = len(self.asked[call])
        hit = fault and fault.call == call and fault.first <= number <= fault.last
        self.hit = self.hit or bool(hit)
        return fault if hit else None

    def open(self):
        if fault := self.faulty("openat"):
            raise Failure("Error: Open file descriptor: " + os.strerror(fault.error))

    def seek(self, position, checked=True):
        if fault := self.faulty("lseek"):
            if fault.error and checked:
                raise Failure("Error seek file descriptor: " + os.strerror(fault.error))
        else:
            self.position = position

    def transfer(self, call, count, texts, move):
        """The loop around read and write; move does the real thing and says how far it got."""
        done = 0
        while done < count:
            fault = self.faulty(call, count - done)
            if fault and fault.error in (errno.EINTR, errno.EAGAIN):
                continue
            if fault and fault.error:
                raise Failure(f"Error {texts[0]} file descriptor:: {os.strerror(fault.error)}")
            step = fault.result if fault else move(done)
            if step == 0:
                raise Failure(f"Error {texts[0]} file descriptor. No bytes {texts[1]}:")
            if step > count - done:
                raise Abort(texts[2])
            done += step

    def read(self, count):
        data = bytearray(count)

        def move(done):
            part = self.contents[self.position : self.position + count - done]
            data[done : done + len(part)] = part
            self.position += len(part)
            return len(part)

        assertion = (
            "../Eeprom.cpp:95: void vantorBoardSupport::ReadLoop(int, void*, size_t): "
            "Assertion `size_t(readCount) <= byteCountLeft' failed."
        )
        self.transfer("read", count, ("reading from", "read", assertion), move)
        return bytes(data)

    def write(self, data):
        def move(done):
            part = data[done:]
            self.contents[self.position : self.position + len(part)] = part
            self.position += len(part)
            return len(part)

        assertion = (
            "../Eeprom.cpp:66: void vantorBoardSupport::WriteLoop(int, const void*, size_t): "
            "Assertion `size_t(writtenCount) <= byteCountLeft' failed."
        )
        self.transfer("write", len(data), ("writing to", "written", assertion), move)


class Program:
    """The device calls of the program, from its start on."""

    def __init__(self, device):
        self.device = device
        self.version = 2
        self.version_unreadable = False
        self.message = ""

    def bring_up(self):
        self.device.open()
        self.version = 1 if self.read_version() == b"\0\1" else 2
        self.load()

    def read_version(self):
        try:
            self.device.seek(0)
            return self.device.read(2)
        except Failure:
            return None

    def show_version(self):
        self.version_unreadable = self.read_version() is None

    def load(self):
        self.device.seek(0)
        self.device.read(records.SIZE[self.version])

    def write_verified(self, position, data):
        self.device.seek(position)
        self.device.write(data)
        self.device.seek(position)
        if self.device.read(len(data)) != data:
            raise Failure(VERIFY)

    def write_field(self, position, data):
        self.write_verified(position, data)
        self.device.seek(0, checked=False)
        record = self.device.read(records.SIZE[self.version])
        end = records.CRC_POSITION[self.version]
        self.device.seek(end, checked=False)
        self.device.write(zlib.crc32(record[:end]).to_bytes(4, "big"))
        self.load()

    def write_value(self, field, data, clears):
        if clears:
            self.write_field(field.position, bytes(field.length))
        self.write_field(field.position, data)

    def write_sample(self, element):
        self.write_value(element.field(self.version), element.stored, element.clears)

    def format(self, version):
        self.version = version
        header = bytes([0, version]) + b"Vantor"
        self.write_field(0, header.ljust(128 if version == 1 else 255, b"\0"))
        for field, data, clears in elements.formatting(version):
            self.write_value(field, data, clears)

    def erase(self):
        try:
            self.write_verified(0, b"\xff" * records.SIZE[self.version])
        except Failure as failure:
            self.message = f"{failure}\n"


def outcome_of(action, contents, fault=None):
    """What a command must leave, and the device with what was asked of it.

    action is what the command does with the Program after bring-up.
    """
    device = Device(contents, fault)
    program = Program(device)
    status = 0
    try:
        program.bring_up()
        action(program)
    except Failure as failure:
        status, program.message = 1, f"kestrel: {failure}\n"
    except Abort as abort:
        status, program.message = -signal.SIGABRT, f"kestrel: {abort}\n"
    image = bytes(device.contents)
    return Outcome(status, program.message.encode(), image, program.version_unreadable), device
