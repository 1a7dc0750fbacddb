"""The elements of the program, one row each, with all that the tests need to know of one.

Nothing here is taken from the program; test_elements.py holds the two against each other. To add an
element, add its row to ELEMENTS, in the order of the menu. The tests of reads, writes, menu, device
operations, faults and costs go through the rows. A field that is already part of the record leaves
FIELDS_WITHOUT_ELEMENT then.
"""

from collections.abc import Callable
from dataclasses import dataclass
from typing import NamedTuple

MAC = bytes.fromhex("02a55e000000")
DATE = bytes([20, 14, 1, 1, 0, 0, 0])
ID = bytes.fromhex("02a55e0000000000")
ARI = bytes.fromhex("105c8000")

SPECIAL = ["--help", "--raw", "--erase", "--format_v1", "--format_v2"]


class Field(NamedTuple):
    position: int
    length: int

    def of(self, contents):
        return contents[self.position : self.position + self.length]


# How the bytes of a field are shown.


def mac(data):
    return data.hex(":")


def date(data):
    return "%02i%02i-%02i-%02i %02i:%02i:%02i" % tuple(data)


def hexadecimal(data):
    return hex(int.from_bytes(data, "big"))


def decimal(data):
    return str(int.from_bytes(data, "big"))


def text(data):
    return data.split(b"\0")[0].decode()


def always(shown):
    return lambda data: shown


@dataclass(frozen=True)
class Element:
    name: str  # in the menu
    option: str  # on the command line
    show: Callable
    fields: tuple = (Field(0, 0), Field(0, 0))  # in version 1 and in version 2
    formatted: bytes = b""  # what formatting writes; the rest of the field is zero
    typed: str = ""  # a sample as it is written, which is accepted by both versions ...
    stored: bytes = b""  # ... and its bytes
    failure: str | None = None  # shown for an invalid record; None: what is shown anyway
    refused: str | None = None  # a text that is not accepted; None: any is
    clears: bool = False  # the field is set to zero before it is written
    kind: str = "value"

    @property
    def is_checked(self):
        """Whether the CRC of the record is checked before the element is shown."""
        return self.kind == "value" or self.name == "Crc32"

    def field(self, version):
        return self.fields[version - 1]

    def shown(self, contents, version):
        """What is shown of a valid image."""
        return self.show(self.field(version).of(contents))


def _fields(version1, version2):
    return Field(*version1), Field(*version2)


def _mac(number, typed, stored, refused):
    field = (8 * number, 6)
    return Element(
        *(f"MAC{number}", f"--mac{number}", mac, _fields(field, field), MAC),
        *(typed, bytes.fromhex(stored), "00:00:00:00:00:00", refused),
    )


def _date(name, option, position1, position2, typed, stored, refused):
    fields = _fields((position1, 7), (position2, 7))
    return Element(name, option, date, fields, DATE, typed, stored, "0000-00-00 00:00:00", refused)


def _text(name, option, version1, version2, formatted, typed, failure, refused, **more):
    fields = _fields(version1, version2)
    data = formatted.encode(), typed, typed.encode()
    return Element(name, option, text, fields, *data, failure, refused, **more)


def _read_only(name, option, show, version1, version2, failure):
    fields = _fields(version1, version2)
    return Element(name, option, show, fields, failure=failure, kind="read only")


def _command(name, option):
    return Element(name, option, always("--ERASE ALL--"), kind="command")


# fmt: off
ELEMENTS = [
    _read_only("FormatVersion", "--version", decimal, (0, 2), (0, 2), None),
    _mac(1, "02:A5:5E:00:00:1A", "02a55e00001a", "02:a5:5e:00:00:0"),
    _mac(2, "02:a5:5e:00:00:2a", "02a55e00002a", "02-a5-5e-00-00-01"),
    _mac(3, "02:a5:5e:00:00:3a", "02a55e00003a", ""),
    _mac(4, "02:a5:5e:00:00:4a", "02a55e00004a", "x"),
    _date("DateOfProduction", "--productiondate", 40, 56,
          "2026-11-15 10:42:16", bytes([20, 26, 11, 15, 10, 42, 16]), "2012-06-01 12:00:00"),
    _date("DateOfLastService", "--servicedate", 47, 63,
          "2026/11/16T11.43.17", bytes([20, 26, 11, 16, 11, 43, 17]), "2026-13-01 00:00:00"),
    Element("ProductType", "--type", hexadecimal, _fields((54, 2), (70, 2)), b"\x00\x30",
            "1e", b"\x00\x1e", "0xffff"),
    _text("Hardware Rev", "--hardware_rev", (56, 3), (72, 3), "000", "A01", "000", "00"),
    _text("PCB Rev", "--pcb_rev", (59, 3), (75, 3), "000", "B02", "000", "0000"),
    _text("SerialNumber", "--ser_num", (74, 13), (114, 13), "0" * 13, "SN-0123456789",
          "0000000000000", "12345678901234", clears=True),
    _text("PCB SerialNumber", "--pcb_ser_num", (62, 12), (78, 36), "0" * 12, "PCB-00004711",
          "0", "x" * 37, clears=True),
    _read_only("Crc32", "--crc", decimal, (103, 4), (179, 4), "0"),
    _read_only("valid", "--valid", always("1"), (0, 0), (0, 0), "0"),
    _command("Format_v2", "--format_v2"),
    _command("Erase", "--erase"),
    Element("END", "", always(""), kind="end"),
]

# name, position in each version that has it, what formatting writes
FIELDS_WITHOUT_ELEMENT = [
    ("EntityId", {1: 87, 2: 127}, ID),
    ("EntityModelId", {1: 95, 2: 135}, ID),
    ("MAC USB local", {2: 40}, MAC),
    ("MAC USB host", {2: 48}, MAC),
    ("ARI (DECT ID)", {2: 175}, ARI),
]
# fmt: on

NAMES = [element.name for element in ELEMENTS]
VALUES = [element for element in ELEMENTS if element.kind == "value"]
CHECKED = [element for element in ELEMENTS if element.is_checked]
BY_NAME = {element.name: element for element in ELEMENTS}
BY_OPTION = {element.option: element for element in ELEMENTS}


def _options(kind):
    return [element.option for element in ELEMENTS if element.kind == kind]


READ_ONLY = _options("read only")
WRITABLE = _options("value")
COMMANDS = _options("command")


def field(option, version):
    """Where the element lies in the record of a version."""
    return BY_OPTION[option].field(version)


def formatting(version):
    """What formatting writes after the header, in its order: field, bytes, whether it clears."""
    for element in sorted(VALUES, key=lambda element: element.field(version)):
        yield element.field(version), element.formatted, element.clears
    for _, positions, data in FIELDS_WITHOUT_ELEMENT:
        if version in positions:
            yield Field(positions[version], len(data)), data, False
