"""What each command must do to the device, operation by operation: not one more.

An operation is "open", "seek 0", "read 2" and so on, as Sandbox.operations() returns them.
"""

import elements
import records

CRC_POSITION = records.CRC_POSITION
SIZE = records.SIZE


def bring_up(version):
    return ["open", "seek 0", "read 2", "seek 0", f"read {SIZE[version]}"]


def field_write(version, position, length):
    write = [f"write {length}"] if length else []
    read = [f"read {length}"] if length else []
    size = SIZE[version]
    return [
        *[f"seek {position}", *write, f"seek {position}", *read],
        *["seek 0", f"read {size}", f"seek {CRC_POSITION[version]}", "write 4"],
        *["seek 0", f"read {size}"],
    ]


def value_write(version, field, length, clears):
    clearing = field_write(version, *field) if clears else []
    return clearing + field_write(version, field.position, length)


def element_write(version, element, length):
    """The write of an element whose value has the given number of bytes."""
    return value_write(version, element.field(version), length, element.clears)


def erasing(version):
    return ["seek 0", f"write {SIZE[version]}", "seek 0", f"read {SIZE[version]}"]


def formatting(version, header):
    operations = field_write(version, 0, header)
    for field, data, clears in elements.formatting(version):
        operations += value_write(version, field, len(data), clears)
    return operations


FORMAT = {1: formatting(1, 128), 2: formatting(2, 255)}
VERSION_READ = ["seek 0", "read 2"]
