"""A sandbox for a statically linked program too: PRoot puts a file at the device path.

PRoot needs no privilege, no namespace and no mount, so this works in a container.
"""

from conftest import DEVICE, Sandbox

DEVICE = "/" + DEVICE
MOST_MEMORY = 1_600_000 // 1024  # kB, for the commands of the static build


class BoundSandbox(Sandbox):
    def inside(self, *command):
        """The command, as it is started on the sandbox."""
        return ["proot", "-v", "-1", "-b", f"{self.path}:{DEVICE}", *map(str, command)]

    def command(self, *arguments):
        return self.inside(self.program, *arguments)
