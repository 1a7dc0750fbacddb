"""Images of EEPROMs, and where things lie in them.

Everything here is stated anew, and the CRC is zlib's, so that the program is held against
something that it did not make itself.
"""

import zlib
from pathlib import Path

GOLDEN = Path(__file__).parent / "golden"

BLANK_V2 = b"\xff" * 2048
BLANK_V1 = b"\xff" * 128
MISTAKEN_V1 = b"\0\2Vantor" + bytes(120)  # a part of 128 bytes formatted as version 2

# option: (position in version 1, position in version 2, length in version 1, length in version 2)
FIELDS = {
    "--mac1": (8, 8, 6, 6),
    "--mac2": (16, 16, 6, 6),
    "--mac3": (24, 24, 6, 6),
    "--mac4": (32, 32, 6, 6),
    "--productiondate": (40, 56, 7, 7),
    "--servicedate": (47, 63, 7, 7),
    "--type": (54, 70, 2, 2),
    "--hardware_rev": (56, 72, 3, 3),
    "--pcb_rev": (59, 75, 3, 3),
    "--pcb_ser_num": (62, 78, 12, 36),
    "--ser_num": (74, 114, 13, 13),
}

CRC_POSITION = {1: 103, 2: 179}
SIZE = {1: 128, 2: 2048}


def text(name):
    return (GOLDEN / name).read_bytes()


def image(name):
    """An image kept as readable hexadecimal."""
    return bytes.fromhex(text(name).decode())


def formatted(version, size=None):
    """A part of the given size, or the usual one, blank where formatting does not reach."""
    record = image(f"formatted-v{version}.hex")
    return record + b"\xff" * ((size or SIZE[version]) - len(record))


def version_of(contents):
    return 1 if contents[:2] == b"\0\1" else 2


def patched(contents, position, data):
    return contents[:position] + data + contents[position + len(data) :]


def with_crc(contents):
    end = CRC_POSITION[version_of(contents)]
    return patched(contents, end, zlib.crc32(contents[:end]).to_bytes(4, "big"))


def with_field(contents, option, data):
    """The image after a field was written: zero-padded to the field's end, with a new CRC."""
    version = version_of(contents)
    position, length = FIELDS[option][version - 1], FIELDS[option][version + 1]
    assert len(data) <= length
    return with_crc(patched(contents, position, data.ljust(length, b"\0")))


def damaged(contents):
    """One bit of the record turned, the CRC left as it was."""
    return patched(contents, 10, bytes([contents[10] ^ 0x01]))
