"""The example of a udev rule, with the events of the kernel's own driver."""

import pytest
from documents import says
from machine import EEPROM, ROOT

RULES = "/etc/udev/rules.d/90-kestrel.rules"
MODE = f"stat -L -c '%U %G %a' {EEPROM}"


@pytest.fixture
def udev(machine):
    """A machine with the rule, a user in its group and one who is not."""
    rules = (ROOT / "examples/90-kestrel.rules").read_text()
    machine.do(f"mkdir -p /run {RULES.rpartition('/')[0]}; cat >{RULES} <<'END'\n{rules}END")
    users = "root:x:0:0::/:/bin/sh|service:x:101:101::/:/bin/sh|stranger:x:102:102::/:/bin/sh"
    groups = "root:x:0:|kestrel:x:100:service|service:x:101:|stranger:x:102:"
    for file, entries in (("passwd", users), ("group", groups)):
        machine.do(f"echo '{entries}' | tr '|' '\\n' >/etc/{file}")
    machine.run("udevd --daemon")
    yield machine
    machine.do("udevadm control --exit; part none; part 2048")


DRIVER = "/sys/bus/i2c/drivers/at24"


@pytest.mark.parametrize(
    "again",
    ["part none; part 2048", f"echo 0-0050 >{DRIVER}/unbind; echo 0-0050 >{DRIVER}/bind"],
    ids=["a new part", "the driver bound again"],
)
def test_the_group_gets_the_part_when_the_driver_takes_it(udev, again):
    udev.do(f"{again}; udevadm settle")
    assert udev.do(MODE) == b"root kestrel 660\n"
    other_name = "/sys/bus/nvmem/devices/0-0050*/nvmem"
    assert udev.do(f"stat -L -c '%U %G %a' {other_name}") == b"root root 600\n"
    says(
        "docs/on-the-board.md",
        "If the driver is unbound and bound again, the rule is applied again.",
        "The other name of the same bytes, `/sys/bus/nvmem/devices/0-0050*/nvmem`, stays root's.",
    )
    says(
        "examples/90-kestrel.rules",
        'The driver makes # it anew whenever it takes the part: the event is "bind"',
    )


def test_the_group_gets_a_part_that_was_there_before_when_it_is_triggered(udev):
    udev.do("part none; udevadm control --stop-exec-queue; part 2048")
    assert udev.do(MODE) == b"root root 600\n"
    udev.do("udevadm control --start-exec-queue")
    udev.do("udevadm trigger --action=add /sys/bus/i2c/devices/0-0050; udevadm settle")
    assert udev.do(MODE) == b"root kestrel 660\n"
    says(
        "docs/on-the-board.md",
        "Between the driver's start and the rule, root alone has the file. A service that starts "
        "early must wait or try again.",
    )
    says("examples/90-kestrel.rules", 'or "add" if that happened before udev # started.')


def test_a_member_of_the_group_reads_and_writes_the_part_and_nobody_else_does(udev):
    udev.do("part none; part 2048; udevadm settle; kestrel --format_v2")
    udev.do("su service -c 'kestrel -w --pcb_rev 007'")
    assert udev.do("su service -c 'id -u; kestrel -r --pcb_rev'") == b"101\n007\n"
    udev.do(f"chmod o+r {EEPROM}; su stranger -c 'cat {EEPROM}' >/dev/null")
    denied = b"kestrel: Error: Open file descriptor: Permission denied\n"
    assert udev.run("su stranger -c 'kestrel -r --pcb_rev'") == (1, b"", denied)
    says(
        "examples/90-kestrel.rules",
        "Lets the group kestrel read and write the product data in the EEPROM at 0x50 of I2C "
        "bus 0.",
    )
    says(
        "docs/fleet.md",
        "The kernel gives the part to root alone. In the order of preference: - The group of the "
        "[udev rule](on-the-board.md#let-a-service-use-it), with an unprivileged user in it "
        "(`ansible_user`). That user can do everything to the part, and nothing else.",
    )
    says(
        "docs/on-the-board.md",
        "The group can read, change and erase **everything** on the part, with `kestrel` or without: the MAC addresses, the serial numbers, and the bytes after the record.",
        "Keep writes out of loops: the part's data sheet says how many it bears.",
        "Do not use a group of the bus itself, `/dev/i2c-0`, instead: it has every other part there, "
        "too.",
    )
    says("kestrel.1", "‘Permission denied’: the user may not write to it; run kestrel as root.")
    says(
        "docs/on-the-board.md",
        "a user who may only read it is refused with `Error: Open file descriptor: Permission denied`.",
    )
