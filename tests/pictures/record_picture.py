"""Draws the map of the record's bytes, from the tables that the program `facts` prints."""

import json
import re
import sys
from collections import namedtuple
from html import escape

COLUMNS = 32  # bytes in a row
BYTE, LEFT, RIGHT = 27, 16, 16  # widths, in pixels
RULER, CELL, COVER, SPACE = 14, 40, 5, 8  # heights of the parts of a row
ROW = RULER + CELL + COVER + SPACE
WIDTH = LEFT + COLUMNS * BYTE + RIGHT

INK, FAINT, PAPER, COVERED = "#1c2530", "#55606d", "#ffffff", "#c0392b"
COLOURS = {
    "number": "#c4e6cc",
    "text": "#fbe3a4",
    "MAC address": "#bcdaf7",
    "date": "#dfcef4",
    "raw bytes": "#d5dbe2",
    "CRC": "#f4b8b0",
    "unused": "url(#unused)",
}
UNUSED = (
    '<pattern id="unused" width="6" height="6" patternUnits="userSpaceOnUse" '
    'patternTransform="rotate(45)"><rect width="6" height="6" fill="#f7f8fa"/>'
    '<rect width="1" height="6" fill="#d9dfe6"/></pattern>'
)

Field = namedtuple("Field", "position length kind name")


def drawn(field):
    """A field of the tables as it is drawn."""
    name = field["name"]
    kinds = {"number": "number", "signed number": "number", "bytes": "raw bytes"}
    kind = kinds.get(field["encoding"], field["encoding"])
    if name.startswith("MAC"):
        kind = "MAC address"
    elif name == "Crc32":
        kind = "CRC"
    return Field(field["position"], field["length"], kind, name)


def with_gaps(fields, end):
    """The fields, and between them what belongs to none, up to the end without a hole."""
    position = 0
    for field in [*fields, Field(end, 0, "", "")]:
        assert field.position >= position, f"{field.name} begins in the field before it"
        if field.position > position:
            yield Field(position, field.position - position, "unused", "unused")
        if field.length:
            yield field
        position = field.position + field.length


def pieces(field):
    """The parts of the field by rows: (first byte, number of bytes)."""
    first, end = field.position, field.position + field.length
    while first < end:
        stop = min(end, (first // COLUMNS + 1) * COLUMNS)
        yield first, stop - first
        first = stop


def text_width(text, size):
    """An upper bound: as wide as in the widest of the usual fonts."""
    widths = [("MWmw", 0.95), (" filrtjI()…-", 0.4)]
    return size * sum(next((w for those, w in widths if c in those), 0.63) for c in text)


def wrapped(name, room):
    """The name in one line or in two, whichever fits first."""
    breaks = [match.start() for match in re.finditer(r" |(?<=[a-z])(?=[A-Z])", name)]
    for lines in [[name], *([name[:i], name[i:].strip()] for i in breaks)]:
        if max(text_width(line, 11) for line in lines) <= room:
            return lines
    raise ValueError(f"no room for {name}")


def text(x, y, content, size=11, fill=INK, anchor="middle", weight="normal"):
    return (
        f'<text x="{x:g}" y="{y:g}" font-size="{size}" fill="{fill}" text-anchor="{anchor}" '
        f'font-weight="{weight}">{escape(content)}</text>'
    )


def box(x, y, width, height, fill):
    return f'<rect x="{x:g}" y="{y:g}" width="{width:g}" height="{height:g}" fill="{fill}"/>'


def line(x1, y1, x2, y2):
    return f'<path d="M{x1:g} {y1:g}L{x2:g} {y2:g}" stroke="{FAINT}"/>'


def place(top, byte):
    """Left edge of a byte, and upper edge of its row."""
    return LEFT + byte % COLUMNS * BYTE, top + byte // COLUMNS * ROW


def ruler(top, first, last):
    """A tick for each byte, and the number of every fourth."""
    for byte in range(first, last):
        x, y = place(top, byte)
        yield line(x, y + RULER - (7 if byte % 4 == 0 else 3), x, y + RULER)
        if byte % 4 == 0:
            yield text(x + 3, y + RULER - 4, str(byte), 9, FAINT, "start")


def label(top, field):
    """The name and the bytes of the field, in its longest piece."""
    first, length = max(pieces(field), key=lambda piece: piece[1])
    x, y = place(top, first)
    middle = x + length * BYTE / 2
    where = f"{field.position}–{field.position + field.length - 1}"
    unused = field.kind == "unused"
    lines = wrapped(field.name, length * BYTE - 4)
    baseline = y + RULER + (17 if len(lines) == 1 else 12)
    for number, part in enumerate(lines):
        yield text(middle, baseline + 12 * number, part, fill=FAINT if unused else INK)
    yield text(middle, y + RULER + (31 if len(lines) == 1 else 36), where, 9, FAINT)
    for piece, bytes_in_piece in pieces(field):
        if piece != first:
            x, y = place(top, piece)
            yield text(x + bytes_in_piece * BYTE / 2, y + RULER + 22, "…", fill=FAINT)


def cells(top, field):
    """The field's bytes, open to the side where it goes on in another row."""
    for first, length in pieces(field):
        x, y = place(top, first)
        y, right = y + RULER, x + length * BYTE
        yield box(x, y, length * BYTE, CELL, COLOURS[field.kind])
        yield line(x, y, right, y)
        yield line(x, y + CELL, right, y + CELL)
        if first == field.position:
            yield line(x, y, x, y + CELL)
        if first + length == field.position + field.length:
            yield line(right, y, right, y + CELL)
    yield from label(top, field)


def covered(top, end):
    for first, length in pieces(Field(0, end, "", "")):
        x, y = place(top, first)
        yield box(x, y + RULER + CELL + 1, length * BYTE, COVER - 1, COVERED)


def heading(y, version, size, crc):
    yield text(LEFT, y, f"Version {version}", 16, anchor="start", weight="bold")
    yield text(LEFT + 92, y, f"on a part of {size} bytes", 12, FAINT, "start")
    note = f"covered by the CRC: bytes 0–{crc - 1}"
    yield box(WIDTH - RIGHT - 250, y - 6, 24, COVER - 1, COVERED)
    yield text(WIDTH - RIGHT - 220, y, note, 12, FAINT, "start")


def legend(y):
    x = LEFT
    for kind, colour in COLOURS.items():
        yield box(x, y - 11, 20, 14, colour)
        yield f'<path d="M{x} {y - 11}h20v14h-20z" fill="none" stroke="{FAINT}"/>'
        yield text(x + 26, y, kind, 12, anchor="start")
        x += 44 + text_width(kind, 12)


def rest_of_the_part(y, formatted, user, size):
    """What follows the formatted bytes, not to scale: the bytes of no field, then the user's."""
    user_end = user["position"] + user["length"]
    assert user_end == size
    half = COLUMNS * BYTE / 2
    rest = [
        (LEFT, "unused", "unused", formatted, user["position"]),
        (LEFT + half, "raw bytes", "set aside for the user", user["position"], user_end),
    ]
    for x, kind, name, first, end in rest:
        yield box(x, y, half, CELL, COLOURS[kind])
        yield f'<path d="M{x:g} {y:g}h{half:g}v{CELL}h{-half:g}z" fill="none" stroke="{FAINT}"/>'
        yield text(x + half / 2, y + 17, name, fill=FAINT if kind == "unused" else INK)
        yield text(x + half / 2, y + 31, f"{first}–{end - 1}", 9, FAINT)
    note = f"Not to scale: bytes {formatted}–{size - 1}, which formatting leaves as they are."
    yield text(LEFT, y + CELL + 18, note, 12, FAINT, "start")


def version_map(y, version, table, formatted, user):
    """The map of a version, and the height below y that it takes."""
    size, crc = table["size"], table["crc_position"]
    top = y + 36
    lines = [*heading(y + 22, version, size, crc), *ruler(top, 0, formatted), *covered(top, crc)]
    for field in with_gaps(map(drawn, table["fields"]), formatted):
        lines += cells(top, field)
    bottom = top + -(-formatted // COLUMNS) * ROW
    if formatted < size:
        lines += rest_of_the_part(bottom + RULER, formatted, user, size)
        bottom += RULER + CELL + 24
    return lines, bottom - y


def svg(facts):
    y, body = 8, []
    for version, table in facts["versions"].items():
        formatted = facts["formatted_end"][version]
        lines, height = version_map(y, version, table, formatted, facts["user_bytes"])
        body += lines
        y += height + 8
    height = y + 36
    yield (
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" width="{WIDTH}" '
        f'height="{height}" font-family="Helvetica, Arial, DejaVu Sans, sans-serif">'
    )
    yield "<title>The bytes of the product record in its two format versions</title>"
    yield f"<defs>{UNUSED}</defs>"
    yield f'<rect width="{WIDTH}" height="{height}" rx="8" fill="{PAPER}"/>'
    yield from body
    yield from legend(y + 18)
    yield "</svg>"


print("\n".join(svg(json.load(sys.stdin))))
