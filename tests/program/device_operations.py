"""What each command must do to the device, operation by operation: not one more.

An operation is "open", "seek 0", "read 2" and so on, as Sandbox.operations() returns them.
"""

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


def cleared_write(version, position, width, length):
    return field_write(version, position, width) + field_write(version, position, length)


def element_write(version, option, length):
    """The write of an element whose value has the given number of bytes."""
    position, width = records.FIELDS[option][version - 1], records.FIELDS[option][version + 1]
    if option in ("--pcb_ser_num", "--ser_num"):
        return cleared_write(version, position, width, length)
    return field_write(version, position, length)


def erasing(version):
    return ["seek 0", f"write {SIZE[version]}", "seek 0", f"read {SIZE[version]}"]


def formatting(version, header, positions):
    """positions: of the fields in the order in which they are written, with their lengths."""
    operations = field_write(version, 0, header)
    for field in positions:
        write = cleared_write if len(field) == 3 else field_write
        operations += write(version, *field)
    return operations


FORMAT = {
    1: formatting(
        1,
        128,
        [
            *[(8, 6), (16, 6), (24, 6), (32, 6), (40, 7), (47, 7), (54, 2), (56, 3), (59, 3)],
            *[(62, 12, 12), (74, 13, 13), (87, 8), (95, 8)],
        ],
    ),
    2: formatting(
        2,
        255,
        [
            *[(8, 6), (16, 6), (24, 6), (32, 6), (56, 7), (63, 7), (70, 2), (72, 3), (75, 3)],
            *[(78, 36, 12), (114, 13, 13), (127, 8), (135, 8), (40, 6), (48, 6), (175, 4)],
        ],
    ),
}
VERSION_READ = ["seek 0", "read 2"]
