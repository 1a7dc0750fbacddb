"""A sandbox whose EEPROM is a file at the real device path, in a mount namespace of its own.

This works for a statically linked program too, and adds nothing to what a command costs.
"""

from conftest import DEVICE, Sandbox

DEVICE = "/" + DEVICE
MOST_MEMORY = 1_600_000 // 1024  # kB, for the commands of the static build


class MountedSandbox(Sandbox):
    def inside(self, *command):
        """The command, as it is started on the sandbox."""
        namespace = ["bwrap", "--dev-bind", "/", "/", "--tmpfs", "/sys"]
        return [*namespace, "--bind", str(self.path), DEVICE, *map(str, command)]

    def command(self, *arguments):
        return self.inside(self.program, *arguments)

    def traced(self, tracer, *arguments):
        return self.inside(*tracer, "-P", DEVICE, self.program, *arguments)
