"""An independent model of kestrel-record: the documents it takes, and what becomes of a part.

It is stated anew in Python, with the CRC of zlib, so that the program is held against something
that it did not make itself.
"""

import datetime
import re
from collections import namedtuple

import elements
from records import (
    CRC_POSITION,
    SIZE,
    formatted,
    patched,
    version_of,
    with_crc,
)

FORMATTED_END = {128: 128, 2048: 255}  # of a part's bytes, those that formatting writes
ALL = [*range(8)]

# valid(value, length of the field), encode(value), decode(bytes)
Kind = namedtuple("Kind", "valid encode decode")


def pattern(expression):
    """Whether a value is a text of this form."""
    return lambda value, _=None: isinstance(value, str) and bool(re.fullmatch(expression, value))


def hexadecimal(prefix, digits):
    """A number in the big-endian order of its digits."""
    return Kind(
        pattern(rf"{prefix}[0-9A-Fa-f]{{{digits}}}"),
        lambda value: bytes.fromhex(value.removeprefix(prefix)),
        lambda data: prefix + data.hex(),
    )


def is_mac(value, _):
    if not pattern("[0-9A-Fa-f]{2}(:[0-9A-Fa-f]{2}){5}")(value):
        return False
    octets = bytes.fromhex(value.replace(":", ""))
    return any(octets) and not octets[0] & 1


def is_date(value, _):
    form = r"([0-9]{4})-([0-9]{2})-([0-9]{2}) ([0-9]{2}):([0-9]{2}):([0-9]{2})"
    if not pattern(form)(value):
        return False
    try:
        date = datetime.datetime(*map(int, re.fullmatch(form, value).groups()))
    except ValueError:
        return False
    return 2013 <= date.year <= 2099


def is_number(value):
    return isinstance(value, (int, float)) and not isinstance(value, bool)


def is_gain(value):
    return is_number(value) and any(value == tenths / 10 for tenths in range(-50, 51))


def is_printable(value, length):
    return pattern("[ -~]*")(value) and len(value) <= length


def decoded_gains(data):
    tenths = [int.from_bytes(data[4 * i : 4 * i + 4], "big", signed=True) for i in ALL]
    return [number / 10 for number in tenths]


VERSION = Kind(
    lambda value, _: is_number(value) and value in (1, 2),
    lambda value: int(value).to_bytes(2, "big"),
    lambda data: int.from_bytes(data, "big"),
)
MAC = Kind(is_mac, lambda value: bytes.fromhex(value.replace(":", "")), lambda data: data.hex(":"))
DATE = Kind(
    is_date,
    lambda value: bytes(int(pair) for pair in re.findall("[0-9]{2}", value)),
    "{0[0]:02}{0[1]:02}-{0[2]:02}-{0[3]:02} {0[4]:02}:{0[5]:02}:{0[6]:02}".format,
)
TYPE = Kind(
    pattern("0x[0-9A-Fa-f]{1,4}"),
    lambda value: int(value, 16).to_bytes(2, "big"),
    lambda data: hex(int.from_bytes(data, "big")),
)
TEXT = Kind(
    is_printable,
    lambda value: value.encode("ascii"),
    lambda data: data.partition(b"\0")[0].decode("latin-1"),
)
REVISION = TEXT._replace(valid=pattern("[ -~]{3}"))
ID = hexadecimal("0x", 16)
ARI = hexadecimal("0x", 8)._replace(valid=pattern("0x105[Cc]8[0-9A-Fa-f]{3}"))
GAINS = Kind(
    lambda value, _: isinstance(value, list) and len(value) == 8 and all(map(is_gain, value)),
    lambda value: b"".join(round(gain * 10).to_bytes(4, "big", signed=True) for gain in value),
    decoded_gains,
)
BLOCK = hexadecimal("", 16)

# places: {version: (position, length)}; sample: a value unlike that of a fresh record
Field = namedtuple("Field", "kind places sample")


def element(kind, key, sample):
    """A field that kestrel has an element for."""
    return Field(kind, {version: elements.field(f"--{key}", version) for version in (1, 2)}, sample)


# fmt: off
FIELDS = {
    "version": element(VERSION, "version", None),
    **{f"mac{n}": element(MAC, f"mac{n}", f"02:a5:5e:12:34:0{n}") for n in range(1, 5)},
    "usb_local_mac": Field(MAC, {2: (40, 6)}, "02:a5:5e:12:34:05"),
    "usb_host_mac": Field(MAC, {2: (48, 6)}, "02:a5:5e:12:34:06"),
    "productiondate": element(DATE, "productiondate", "2026-11-15 10:42:16"),
    "servicedate": element(DATE, "servicedate", "2027-12-31 23:59:58"),
    "type": element(TYPE, "type", "0x1e"),
    "hardware_rev": element(REVISION, "hardware_rev", "1.2"),
    "pcb_rev": element(REVISION, "pcb_rev", "A04"),
    "pcb_ser_num": element(TEXT, "pcb_ser_num", "PCB-0000047"),
    "ser_num": element(TEXT, "ser_num", "SN-0000004711"),
    "entity_id": Field(ID, {1: (87, 8), 2: (127, 8)}, "0x02a55e0102030405"),
    "entity_model_id": Field(ID, {1: (95, 8), 2: (135, 8)}, "0xfedcba9876543210"),
    "ari": Field(ARI, {2: (175, 4)}, "0x105c8abc"),
    "aio_calibration": Field(GAINS, {2: (143, 32)}, [0.3, -0.1, 5, -5, 4.9, -4.9, 1, 0]),
    "block8": Field(BLOCK, {1: (120, 8)}, "0123456789abcdef"),
}
# fmt: on
ELEMENTS = [key for key in FIELDS if f"--{key}" in elements.WRITABLE]


def keys(version):
    return [key for key, field in FIELDS.items() if version in field.places]


def sample(version):
    """A complete document, every field of which differs from a fresh record's."""
    return {key: FIELDS[key].sample or version for key in keys(version)}


def has_room(version, key, value):
    """Whether a record of the version has the field, and room for the value if it is a good one."""
    if key == "version":
        return not VERSION.valid(value, None) or value == version
    place = FIELDS[key].places.get(version)
    return bool(place) and (not is_good(key, value) or FIELDS[key].kind.valid(value, place[1]))


def is_good(key, value):
    """Whether the value could be one of the field in some version."""
    field = FIELDS.get(key)
    return bool(field) and any(field.kind.valid(value, room) for _, room in field.places.values())


def refused(document):
    """The keys that are unknown, have a bad value, or are not for the version.

    Where no version is named and none takes all the keys, those that one of them does not take.
    """
    bad = {key for key, value in document.items() if not is_good(key, value)}
    known = {key: value for key, value in document.items() if key in FIELDS}
    misfits = [
        {key for key, value in known.items() if not has_room(version, key, value)}
        for version in (1, 2)
    ]
    if "version" not in document:
        return bad | misfits[0] | misfits[1] if all(misfits) else bad
    return bad if "version" in bad else bad | misfits[int(document["version"]) - 1]


# Parts


def intact(contents):
    """The version of the record on the part, or None if it is not intact."""
    version = {b"\0\1": 1, b"\0\2": 2}.get(contents[:2])
    whole = version and SIZE[version] <= len(contents) and contents[2:8] == b"Vantor"
    return version if whole and with_crc(contents) == contents else None


def raw(contents, version, key):
    position, length = FIELDS[key].places[version]
    return contents[position : position + length]


def decoded(contents, version):
    """What read prints for a record of the version."""
    document = {key: FIELDS[key].kind.decode(raw(contents, version, key)) for key in keys(version)}
    return {**document, "version": version}


def printed(key, value):
    """The value in the form in which read prints it."""
    return FIELDS[key].kind.decode(FIELDS[key].kind.encode(value))


def encoded(contents, version, document):
    """The record with those fields of the document that differ from it, and a new CRC."""
    held = decoded(contents, version)
    for key, value in document.items():
        if printed(key, value) != held[key]:
            position, length = FIELDS[key].places[version]
            contents = patched(
                contents, position, FIELDS[key].kind.encode(value).ljust(length, b"\0")
            )
    return with_crc(contents)


def fresh(contents, version):
    """The part after a format as the version: what formatting does not reach stays."""
    record = formatted(version)[: FORMATTED_END[SIZE[version]]]
    return record + contents[len(record) :]


def written(contents, document, afresh=False):
    """The part after a write of an accepted document, or None if the part cannot serve."""
    here = intact(contents)
    version = int(document.get("version") or here or {128: 1, 2048: 2}[len(contents)])
    if SIZE[version] > len(contents):
        return None
    if not all(has_room(version, key, value) for key, value in document.items()):
        return None
    if not afresh and here == version:
        return encoded(contents, version, document)
    if not afresh and {*document, "version"} != {*keys(version)}:
        return None
    return encoded(fresh(contents, version), version, document)


def extent(before, after):
    """Where the one write begins and ends that makes the part hold what comes after."""
    changed = [i for i, (old, new) in enumerate(zip(before, after)) if old != new]
    crc_end = CRC_POSITION[version_of(after)] + 4
    first, last = changed[0], changed[-1]
    return first, max(last + 1, crc_end if first < crc_end else 0)


# Random documents


def random_value(random, key, version):
    kind, length = FIELDS[key].kind, FIELDS[key].places[version][1]
    if key == "version":
        return version
    if kind in (TEXT, REVISION):
        length = length if kind is REVISION else random.randint(0, length)
        return "".join(chr(random.randint(0x20, 0x7E)) for _ in range(length))
    if kind is DATE:
        start = datetime.datetime(2013, 1, 1)
        seconds = (datetime.datetime(2100, 1, 1) - start).total_seconds()
        return str(start + datetime.timedelta(seconds=random.randrange(int(seconds))))
    if kind is GAINS:
        return [random.randint(-50, 50) / 10 for _ in ALL]
    data = bytearray(random.randbytes(length))
    if kind is MAC:
        data[0] = data[0] & 0xFE | 2
    if kind is ARI:
        data[:3] = bytes([0x10, 0x5C, 0x80 | data[2] & 0x0F])
    return kind.decode(bytes(data))


def random_document(random, version):
    """A complete document, each value of which is accepted."""
    return {key: random_value(random, key, version) for key in keys(version)}
