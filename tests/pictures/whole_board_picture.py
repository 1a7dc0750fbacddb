"""Draws how long the bytes of a whole board take on the bus, with kestrel and with kestrel-record.

What the commands of kestrel transfer is computed. What kestrel-record transfers, script/bench has
counted and written into docs/performance.md.
"""

import re
from html import escape
from pathlib import Path

from device_cost import Cost, bus_milliseconds, commands, cost
from device_operations import bring_up
from elements import WRITABLE

FIGURES = Path(__file__).resolve().parents[2] / "docs/performance.md"
INK, FAINT, PAPER = "#1c2530", "#55606d", "#ffffff"
COLOURS = {"format": "#f4b8b0", "write": "#fbe3a4", "read": "#bcdaf7", "whole": "#2e7d4f"}
SECOND, LEFT, TOP, BAR = 48, 16, 88, 36  # pixels: a second, margins, the height of a bar
NEXT = TOP + BAR + 44  # the upper edge of the second bar
WIDTH, HEIGHT = 2 * LEFT + 17 * SECOND, NEXT + BAR + 32


def steps():
    """The commands of kestrel that a whole board takes: of which kind, and what each costs."""
    kinds = {"--format_v2": "format", "-w": "write", "-r": "read"}
    spent = {kind: [] for kind in kinds.values()}
    for arguments, operations in commands(2):
        word, *option = arguments[:2] or [""]
        if word in kinds and (not option or option[0] in WRITABLE):
            spent[kinds[word]].append(cost([*bring_up(2), *operations, "close"]))
    return [(kind, each) for kind, all_of_it in spent.items() for each in all_of_it]


def counted():
    """The bytes of a whole board, with kestrel and with kestrel-record."""
    row = re.search(r"^\| bytes \| ([\d,]+) \| ([\d,]+) \|", FIGURES.read_text(), re.MULTILINE)
    return [int(number.replace(",", "")) for number in row.groups()]


def text(x, y, content, size=13, fill=INK, anchor="start", weight="normal"):
    return (
        f'<text x="{x:g}" y="{y:g}" font-size="{size}" fill="{fill}" text-anchor="{anchor}" '
        f'font-weight="{weight}">{escape(content)}</text>'
    )


def box(x, y, width, kind):
    return (
        f'<rect x="{x:.2f}" y="{y}" width="{width:.2f}" height="{BAR}" fill="{COLOURS[kind]}" '
        f'stroke="{INK}" stroke-width="0.5"/>'
    )


def axis(y):
    for second in range(18):
        x = LEFT + second * SECOND
        yield f'<path d="M{x} {TOP}V{y + 5}" stroke="{FAINT}" stroke-width="0.3"/>'
        yield text(x, y + 20, f"{second} s" if second else "0", 11, FAINT, "middle")


def seconds(spent):
    return bus_milliseconds(spent) / 1000


def of_kestrel():
    """The bar of kestrel's commands, one after the other; the first of a kind names them all."""
    names = {"format": "a format", "write": "11 writes", "read": "11 reads"}
    x, labels = LEFT, []
    for kind, spent in steps():
        width = seconds(spent) * SECOND
        yield box(x, TOP, width, kind)
        if kind in names:
            labels.append(text(x + 6, TOP - 10, names.pop(kind), 12, FAINT))
        x += width
    yield from labels


def svg():
    total, whole = (Cost(0, transferred, 0) for transferred in counted())
    assert total.read == sum(spent.read + spent.written for _, spent in steps())
    title = "A whole board on the bus: the bytes of a 2048-byte part at 100 kHz"
    caption = "{}: {:,} bytes, {:.2f} s"
    yield (
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" width="{WIDTH}" '
        f'height="{HEIGHT}" font-family="Helvetica, Arial, DejaVu Sans, sans-serif">'
    )
    yield f"<title>{title}</title>"
    yield f'<rect width="{WIDTH}" height="{HEIGHT}" rx="8" fill="{PAPER}"/>'
    yield text(LEFT, 26, title, 16, weight="bold")
    yield from axis(NEXT + BAR)
    words = caption.format("kestrel, 23 commands", total.read, seconds(total))
    yield text(LEFT, TOP - 32, words)
    yield from of_kestrel()
    words = caption.format("kestrel-record, one write", whole.read, seconds(whole))
    yield text(LEFT, NEXT - 10, words)
    yield box(LEFT, NEXT, seconds(whole) * SECOND, "whole")
    yield "</svg>"


print("\n".join(svg()))
