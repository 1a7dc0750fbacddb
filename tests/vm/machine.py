"""Boots virtual machines and runs the program there, where the kernel's driver provides the EEPROM.

As a plugin of pytest it takes the place of the test bed on a plain file, so that the tests in
tests/program run on the real driver as they are, as far as they need no tool that is not there.
"""

import base64
import re
import socket
import subprocess
import time
from pathlib import Path

import pexpect
import pyte
import pytest
from conftest import DEVICE, Sandbox, Result
from faulty_chip import FaultyChip
from terminal import Terminal

ROOT = Path(__file__).parents[2]
EEPROM = "/" + DEVICE
LONGEST_REQUEST = 60000  # bytes, which the kernel keeps for a serial line
START_UP = 120  # seconds, for what takes five
PROMPT = b"vm# "

# What takes long there and has little to do with the driver.
LEFT_OUT = {
    "test_a_date_too_short_for_its_places_ends_with_a_message_and_writes_nothing",
    "test_texts_take_every_byte_from_1_to_255",
    "test_mac_pairs_take_every_byte_from_1_to_255",
    "test_date_pairs_take_every_byte_from_1_to_255",
    "test_submode_2_runs_10000_passes_with_a_pause_after_each_and_changes_nothing",
}


def connect(path, deadline):
    line = socket.socket(socket.AF_UNIX)
    line.settimeout(START_UP)
    while True:
        try:
            line.connect(str(path))
            return line
        except OSError:
            assert time.monotonic() < deadline, f"no machine at {path}"
            time.sleep(0.05)


class Machine:
    """One virtual machine from its start to its end, with a console and a line for requests."""

    def __init__(self, directory, *options):
        self.directory = directory
        self.console = pexpect.spawn(
            str(ROOT / "script/vm"),
            ["--control", str(directory), *options],
            env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "TERM": "screen-256color"},
            dimensions=(24, 80),
            timeout=START_UP,
        )
        self.console.delaybeforesend = None
        self.line = connect(directory / "commands", time.monotonic() + START_UP)
        self.answers = self.line.makefile("rb")
        assert self.answers.readline() == b"ready\n"
        self.console.expect_exact(PROMPT)
        self.welcome = self.console.before

    def run(self, script, timeout=60):
        """What a shell script does on the sandbox."""
        request = script if isinstance(script, bytes) else script.encode()
        assert len(request) < LONGEST_REQUEST
        self.line.settimeout(timeout)
        self.line.sendall(b"%d\n" % len(request) + request)
        status, *sizes = [int(self.answers.readline()) for _ in range(3)]
        out, err = (self.answers.read(size) for size in sizes)
        assert [len(out), len(err)] == sizes, "the answer is not complete"
        return Result(status, out, err)

    def do(self, script, timeout=60):
        """What a script prints that must succeed in silence."""
        result = self.run(script, timeout)
        assert (result.status, result.err) == (0, b"")
        return result.out

    def put_part(self, contents):
        """A part of the size of its contents; None for no part at all."""
        if contents is None:
            self.do("part none")
            return
        if len(contents) not in (128, 2048):
            pytest.skip(f"there is no part of {len(contents)} bytes")
        image = base64.b64encode(contents).decode()
        right = f'[ "$(stat -c %s {EEPROM} 2>/dev/null)" = {len(contents)} ]'
        self.do(f"{right} || part {len(contents)}; echo {image} | base64 -d >{EEPROM}")

    def switch_off(self):
        self.console.sendline("exit")
        self.console.expect(pexpect.EOF)
        self.console.close()
        assert self.console.exitstatus == 0


def quoted(word):
    word = word if isinstance(word, bytes) else word.encode()
    return b"'" + word.replace(b"'", b"'\\''") + b"'"


def not_there(_self, *_arguments):
    pytest.skip("needs the test bed on a plain file")


class DriverSandbox(Sandbox):
    """The part of a virtual machine, used like the test bed on a plain file."""

    def __init__(self, machine, program, contents):
        self.machine = machine
        self.program = program
        machine.put_part(contents)

    @property
    def image(self):
        return self.machine.do(f"cat {EEPROM}")

    @image.setter
    def image(self, contents):
        self.machine.put_part(contents)

    def run(self, *arguments, **options):
        if options.pop("stderr", None) == subprocess.STDOUT:
            redirection = b" 2>&1"
        else:
            redirection = b""
        line = b" ".join(map(quoted, [self.program, *arguments])) + redirection
        if options:
            not_there(self)
        if len(line) > LONGEST_REQUEST:
            pytest.skip("longer than a request to the machine can be")
        return self.machine.run(line)

    directory = path = property(not_there)
    environment = command = strace = not_there


class Console(Terminal):
    """The menu on the serial console of a virtual machine, started from its shell."""

    def __init__(self, sandbox, rows=24, columns=80):
        self.sandbox = sandbox
        self.child = sandbox.machine.console
        self.screen = pyte.Screen(columns, rows)
        self.stream = pyte.ByteStream(self.screen)
        self.transcript = b""
        self.hides_cursor = True
        self.child.sendline("kestrel; echo status $?")
        self.wait_until(lambda: self.row(rows - 2).startswith(" $>") or PROMPT in self.transcript)
        self.settle()

    def settle(self):
        """The machine does not say when it waits; quiet has to do, and what is expected then."""
        while self.pump(0.1):
            pass

    def wait_for_end(self):
        status = re.compile(rb"status (\d+)\r*\n.*" + PROMPT, re.DOTALL)
        self.wait_until(lambda: status.search(self.transcript))
        return int(status.search(self.transcript)[1])


def boot(factory, *options):
    machine = Machine(factory.mktemp("machine"), *options)
    yield machine
    machine.switch_off()


@pytest.fixture(scope="session")
def machine(tmp_path_factory):
    yield from boot(tmp_path_factory)


@pytest.fixture(scope="session")
def faulty_chip(machine):
    """The chip at the end of the third serial line, on the bus that "bus taos" makes."""
    return FaultyChip(connect(machine.directory / "bus", time.monotonic() + 10))


@pytest.fixture(scope="session")
def slow_machine(tmp_path_factory):
    yield from boot(tmp_path_factory, "--slow")


@pytest.fixture
def make_sandbox(machine):
    return lambda contents, program="kestrel": DriverSandbox(machine, program, contents)


def pytest_collection_modifyitems(config, items):
    left_out = [item for item in items if item.name.split("[")[0] in LEFT_OUT]
    config.hook.pytest_deselected(items=left_out)
    items[:] = [item for item in items if item not in left_out]
