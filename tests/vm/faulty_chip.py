"""A part of 128 bytes with faults, on a TAOS evaluation module at the end of a serial line.

The module is an I2C bus master that takes its orders in text; the kernel's i2c-taos-evm makes a bus
of it. "@50" selects a chip, "$12" a register, "#34" is a byte for it; ">" writes and "<" reads. The
answer is "[ACK]", "[NAK]" or "[x34]".
"""

import re
import threading
import time

ORDER = re.compile(
    rb"(?P<reset>\x12)|(?P<echo_off>-)|"
    rb"(?:@(?P<chip>..))?\$(?P<register>..)(?:#(?P<data>..))?[<>]"
)


class FaultyChip:
    """Answers on a socket until that is closed, as the module with a chip at 0x50.

    ignores_writes: acknowledges them all the same.
    writes_left: so many bytes are written, and the next write silences it; None for no such end. A
        byte that the driver writes again, since an answer came late, counts once.
    silent: does not answer.
    busy: seconds for which it does not answer after each byte written.
    """

    def __init__(self, line):
        self.line = line
        self.line.settimeout(None)
        self.repair()
        self.chip = None
        threading.Thread(target=self.serve, daemon=True).start()

    def repair(self):
        self.contents = bytearray(b"\xff" * 128)
        self.ignores_writes = False
        self.writes_left = None
        self.last_register = None
        self.silent = False
        self.busy = self.busy_until = 0

    def serve(self):
        buffer = b""
        while received := self.line.recv(4096):
            buffer += received
            while order := ORDER.search(buffer):
                buffer = buffer[order.end() :]
                self.line.sendall(self.answer(order))

    def answer(self, order):
        if order["reset"]:
            return b"TAOS module\r:"
        if order["echo_off"]:
            return b"\r"
        self.chip = order["chip"] or self.chip
        if order["data"] and self.writes_left == 0:
            self.silent = True
        if self.silent or self.chip != b"50" or time.monotonic() < self.busy_until:
            return b"[NAK]"
        register = int(order["register"], 16)
        if not order["data"]:
            return b"[x%02X]" % self.contents[register]
        self.write(register, int(order["data"], 16))
        return b"[ACK]"

    def write(self, register, byte):
        if not self.ignores_writes:
            self.contents[register] = byte
        if self.writes_left and register != self.last_register:
            self.writes_left -= 1
        self.last_register = register
        self.busy_until = time.monotonic() + self.busy
