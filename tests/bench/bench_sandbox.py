"""A sandbox on which every build can be started with nothing but its own cost, and be measured."""

import re
import subprocess
import tempfile
from pathlib import Path

import records
from bound_sandbox import DEVICE, BoundSandbox

ROOT = Path(__file__).parents[2]
BUILDS = ["shared", "release", "static"]

READ = ["-r", "--crc"]
DUMP = ["--raw"]
WRITE = ["-w", "--pcb_rev", "001"]
MENU = []
COMMANDS = [READ, ["-r", "--version"], DUMP, WRITE, ["--format_v2"], MENU]


def name(arguments):
    return f"`kestrel {' '.join(arguments)}`" if arguments else "the menu's first screen"


def program(build, tool="kestrel"):
    return ROOT / "build" / build / tool


class BenchSandbox(BoundSandbox):
    """Its part is mounted at the device path, in a namespace: a process runs undisturbed there.

    Debian's usual locale is in force, which dd looks for, or else the one given.
    """

    def __init__(self, build="release", version=2, tool="kestrel", locale="C.UTF-8"):
        self.temporary = tempfile.TemporaryDirectory()
        directory = Path(self.temporary.name) / "sandbox"
        super().__init__(directory, program(build, tool), records.formatted(version))
        self.locale = locale
        # The key that leaves the menu as soon as it is on the screen.
        self.keys = directory / "F1"
        self.keys.write_bytes(subprocess.check_output(["tput", "-T", "linux", "kf1"]))

    def environment(self):
        return {"PATH": "/usr/bin:/bin", "TERM": "linux", "LANG": self.locale}

    def inside(self, *command):
        """The command, as it is started on the sandbox."""
        namespace = ["bwrap", "--dev-bind", "/", "/", "--tmpfs", "/sys"]
        return [*namespace, "--bind", str(self.path), DEVICE, *map(str, command)]

    def traced(self, tracer, *arguments):
        return self.inside(*tracer, "-P", DEVICE, self.program, *arguments)

    def start(self, *command, output=subprocess.DEVNULL):
        """Runs a command on the sandbox and returns what it says on standard error."""
        with self.keys.open() as keys:
            done = subprocess.run(
                self.inside(*command),
                stdin=keys,
                stdout=output,
                stderr=subprocess.PIPE,
                env=self.environment(),
                check=False,
            )
        assert done.returncode == 0, done.stderr.decode()
        return done.stderr.decode()

    def instructions(self, arguments, *options):
        counter = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *options]
        return collected(self.start(*counter, self.program, *arguments))

    def system_calls(self, arguments):
        total = self.start("strace", "-c", self.program, *arguments).splitlines()[-1].split()
        assert total[-1] == "total"
        return int(total[3])

    def peak_memory(self, arguments):
        """The largest of a few, in kB: it varies by some 10 % with what the page cache holds."""
        timer = ["/usr/bin/time", "-f", "%M", self.program, *arguments]
        return max(int(self.start(*timer)) for _ in range(5))

    def stripped_size(self):
        stripped = self.directory / "stripped"
        subprocess.run(["strip", "-o", stripped, self.program], check=True)
        return stripped.stat().st_size


def collected(log):
    return int(re.search(r"Collected : (\d+)", log)[1])
