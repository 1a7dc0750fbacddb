"""What each command asks of the device, computed from the record's size, against what it did."""

from collections import namedtuple

import elements
from bench_sandbox import MENU, BenchSandbox
from device_operations import FORMAT, VERSION_READ, bring_up, element_write, erasing

BITS_PER_BYTE = 9  # on an I2C bus: 8 and the acknowledgement
BUS_HZ = 100_000

Cost = namedtuple("Cost", "calls read written")


def cost(operations):
    """The calls on the device, and the bytes that they transfer."""
    bytes_of = {"read": 0, "write": 0}
    for operation in operations:
        verb, *count = operation.split()
        if verb in bytes_of:
            bytes_of[verb] += int(count[0])
    return Cost(len(operations), bytes_of["read"], bytes_of["write"])


def commands(version):
    """Each command with what it does to the device between bring-up and the end."""
    for option in [*elements.WRITABLE, "--crc", "--valid"]:
        yield ["-r", option], []
    yield ["-r", "--version"], VERSION_READ
    yield ["--raw"], VERSION_READ
    yield ["--help"], []
    for element in elements.VALUES:
        write = element_write(version, element, len(element.stored))
        yield ["-w", element.option, element.typed], write
    yield [f"--format_v{version}"], FORMAT[version]
    yield ["--erase"], erasing(version)
    yield MENU, VERSION_READ * 3  # all values: for their lengths, for the list, to show it


def counted(build, version, arguments):
    sandbox = BenchSandbox(build, version)
    with sandbox.keys.open() as keys:
        return cost(sandbox.operations(*arguments, stdin=keys))


def check(builds):
    """The costs of every command by version, and a line for each that a build did otherwise."""
    costs = {1: [], 2: []}
    wrong = []
    for version, rows in costs.items():
        for arguments, operations in commands(version):
            expected = cost([*bring_up(version), *operations, "close"])
            rows.append((arguments, expected))
            for build in builds:
                found = counted(build, version, arguments)
                if found != expected:
                    wrong.append(f"{build} {arguments} version {version}: {found}, not {expected}")
    return costs, wrong


def bus_milliseconds(spent):
    """The shortest time that the bytes take on the bus, without addressing and write cycles."""
    return (spent.read + spent.written) * BITS_PER_BYTE * 1000 / BUS_HZ
