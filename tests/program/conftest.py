"""Runs the built program in a sandbox of its own: umockdev puts a file at the device path."""

import json
import os
import re
import signal
import subprocess
from collections import namedtuple
from pathlib import Path

import pytest
from checkout import Checkout

DEVICE = "sys/bus/i2c/devices/0-0050/eeprom"

Result = namedtuple("Result", "status out err")


def pytest_addoption(parser):
    parser.addoption("--programs", required=True, help="where the programs to be tested are")
    parser.addoption("--rounds", type=int, default=200, help="of random records")


def heed_signals():
    """In a background job these are ignored, also by what it starts, unless they have a handler."""
    for number in (signal.SIGINT, signal.SIGHUP):
        if signal.getsignal(number) is signal.SIG_IGN:
            signal.signal(number, lambda *_: None)


def pytest_configure():
    heed_signals()


@pytest.fixture(scope="session")
def installed(request, tmp_path_factory):
    """Where the build under test is installed."""
    prefix = tmp_path_factory.mktemp("installed")
    build = request.config.getoption("--programs")
    command = ["cmake", "--install", build, "--prefix", prefix]
    subprocess.run(command, stdout=subprocess.DEVNULL, check=True)
    return prefix


@pytest.fixture(scope="session")
def installed_examples(installed):
    """The folder of the examples, as the package has it."""
    return installed / "share/doc/kestrel/examples"


# In front of a command. Without this capability root, too, may do only what the mode of a file says.
HEEDING_MODES = ["setpriv", "--bounding-set=-dac_override"] if os.geteuid() == 0 else []


def result_of(command, environment, **options):
    options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
    done = subprocess.run(command, env=environment, check=False, timeout=60, **options)
    return Result(done.returncode, done.stdout, done.stderr)


class Image:
    """A plain file that stands for an EEPROM."""

    @property
    def image(self):
        return self.path.read_bytes()

    @image.setter
    def image(self, contents):
        self.path.write_bytes(contents)

    def environment(self):
        return dict(os.environ)

    def traced_environment(self):
        """The leak checker of a sanitized build cannot work under a tracer."""
        return {**self.environment(), "ASAN_OPTIONS": "detect_leaks=0"}


class Sandbox(Image):
    """A test bed with one EEPROM, whose image is a plain file.

    A plain file answers differently from the kernel's driver, on which tests/vm runs these tests
    again: it grows where the driver's write across the end is short and the next one fails
    with EFBIG; it is emptied by O_TRUNC; root may open it whatever its mode; a failed write has
    changed nothing; it never times out, and once removed it goes on to take writes.
    """

    def __init__(self, directory, program, contents):
        self.directory = directory
        self.program = program
        self.path = directory / DEVICE
        self.path.parent.mkdir(parents=True)
        if contents is not None:
            self.image = contents

    def environment(self):
        return dict(os.environ, UMOCKDEV_DIR=str(self.directory))

    def command(self, *arguments):
        return ["umockdev-wrapper", str(self.program), *arguments]

    def run(self, *arguments, **options):
        return result_of(self.command(*arguments), self.environment(), **options)

    def shell(self, script, before=(), **options):
        """Runs a shell script that finds the programs; before is a tracer in front of all."""
        environment = self.traced_environment() if before else self.environment()
        environment["PATH"] = f"{self.program.parent}:{environment['PATH']}"
        command = [*before, "umockdev-wrapper", "sh", "-c", script]
        return result_of(command, environment, cwd=self.directory, **options)

    def read(self, option):
        """The value that the program prints, which must come without any message."""
        result = self.run("-r", option)
        assert (result.status, result.err) == (0, b"")
        assert result.out.endswith(b"\n")
        return result.out[:-1]

    def write(self, option, value):
        """Writes a value as a script does; neither output nor message is expected, ever."""
        assert self.run("-w", option, value) == (0, b"", b"")

    def traced(self, tracer, *arguments):
        """The command under a strace, which sees only the calls on the device."""
        return [*tracer, "-P", self.path, *self.command(*arguments)]

    def strace(self, tracer_options, arguments, **options):
        """Runs the program under strace and returns the result and strace's lines."""
        log = self.directory / "strace.log"
        command = self.traced(["strace", "-o", log, *tracer_options], *arguments)
        result = result_of(command, self.traced_environment(), **options)
        return result, log.read_text().splitlines()

    def operations(self, *arguments, **options):
        """The device operations of a successful run, in short: "seek 0", "read 2" and so on."""
        result, lines = self.strace([], arguments, **options)
        assert (result.status, result.err) == (0, b"")
        return [short_form(line) for line in lines if not line.startswith("+++")]

    def fail(self, injection, *arguments):
        """Runs the program with a fault, in strace's words, in its device calls."""
        result, lines = self.strace(["-e", "inject=" + injection], arguments)
        assert any("(INJECTED" in line for line in lines), "the fault was not reached"
        return result


def short_form(line):
    """One line of strace's log as a device operation; any surprise is returned as it stands."""
    if re.fullmatch(r'openat\(AT_FDCWD, "[^"]*", O_RDWR\)\s*= \d+', line):
        return "open"
    if re.fullmatch(r"close\(\d+\)\s*= 0", line):
        return "close"
    if match := re.fullmatch(r"lseek\(\d+, (\d+), SEEK_SET\)\s*= \1", line):
        return f"seek {match[1]}"
    if match := re.fullmatch(r"(read|write)\(\d+, .*, (\d+)\)\s*= \2", line):
        return f"{match[1]} {match[2]}"
    return line


@pytest.fixture
def make_sandbox(request, tmp_path):
    """Makes a sandbox from the bytes of its EEPROM; None for a sandbox without one."""
    programs = Path(request.config.getoption("--programs")).resolve()
    return lambda contents, program="kestrel": Sandbox(
        tmp_path / "sandbox", programs / program, contents
    )


@pytest.fixture(scope="session")
def facts(request):
    """The program's own tables."""
    printer = Path(request.config.getoption("--programs")) / "tests/facts"
    return json.loads(subprocess.check_output([printer]))


class Part(Image):
    """A part for kestrel-record: a plain file, given by --device."""

    def __init__(self, program, path, contents):
        self.program = program
        self.path = path
        if contents is not None:
            self.image = contents

    def command(self, command, *arguments):
        """The command on this part, if it is one that opens a part."""
        on_part = ["--device", self.path] if command in ("read", "diff", "write") else []
        return [self.program, command, *on_part, *arguments]

    def run(self, *arguments, document=None, before=(), **options):
        """Runs a command; a document, or any bytes in its place, goes to standard input."""
        command = [*before, *self.command(*arguments)]
        if document is not None:
            command.append("-")
            text = document if isinstance(document, bytes) else json.dumps(document).encode()
            options["input"] = text
        environment = self.traced_environment() if before else self.environment()
        return result_of(command, environment, **options)

    def report(self, *arguments, **options):
        """The report of a command, which must be one line, and give the status."""
        result = self.run(*arguments, "--json", **options)
        assert result.out.count(b"\n") == 1 and result.out.endswith(b"\n"), result
        report = json.loads(result.out)
        assert report["status"] == result.status
        return report

    def strace(self, tracer, *arguments, **options):
        """Runs a command under a strace that sees only the calls on the part; with its lines."""
        log = self.path.parent / "strace.log"
        tracing = ["strace", "-o", log, *tracer, "-P", self.path]
        result = self.run(*arguments, before=tracing, **options)
        return result, log.read_text().splitlines()

    def fail(self, injection, *arguments, **options):
        """Runs a command with a fault, in strace's words, in its calls on the part."""
        result, lines = self.strace(["-e", "inject=" + injection], *arguments, **options)
        assert any("(INJECTED" in line for line in lines), "the fault was not reached"
        return result


@pytest.fixture
def make_part(request, tmp_path):
    """Makes a part for kestrel-record from its bytes; None for one that is not there."""
    program = Path(request.config.getoption("--programs")).resolve() / "kestrel-record"
    return lambda contents=None: Part(program, tmp_path / "part", contents)


@pytest.fixture
def checkout(tmp_path):
    return Checkout(tmp_path / "a checkout")
