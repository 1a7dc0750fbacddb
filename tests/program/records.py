"""Images of EEPROMs, and where things lie in them.

Everything here is stated anew, and the CRC is zlib's, so that the program is held against
something that it did not make itself.
"""

import zlib
from pathlib import Path

import elements

GOLDEN = Path(__file__).parent / "golden"

BLANK_V2 = b"\xff" * 2048
BLANK_V1 = b"\xff" * 128
MISTAKEN_V1 = b"\0\2Vantor" + bytes(120)  # a part of 128 bytes formatted as version 2

CRC_POSITION = {version: elements.field("--crc", version).position for version in (1, 2)}
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
    position, length = elements.field(option, version_of(contents))
    assert len(data) <= length
    return with_crc(patched(contents, position, data.ljust(length, b"\0")))


def with_sample(contents, element):
    return with_field(contents, element.option, element.stored)


def damaged(contents):
    """One bit of the record turned, the CRC left as it was."""
    return patched(contents, 10, bytes([contents[10] ^ 0x01]))
