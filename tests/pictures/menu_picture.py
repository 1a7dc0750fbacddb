"""Draws the menu from the cells of its real screen, in the sandbox."""

import sys
import tempfile
from html import escape
from itertools import groupby
from operator import attrgetter
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/program"))

COLOURS = {"white": "#e5e5e5", "blue": "#1f3a93", "black": "#000000"}
WIDTH, HEIGHT = 9, 19  # of a cell, in pixels


def runs(row):
    """The row's cells as (column, text, background, foreground), where neighbours look alike."""
    column = 0
    for (foreground, background, reverse), cells in groupby(
        row, key=attrgetter("foreground", "background", "reverse")
    ):
        text = "".join(cell.text for cell in cells)
        look = (foreground, background) if reverse else (background, foreground)
        yield column, text, *(COLOURS[colour] for colour in look)
        column += len(text)


def svg(rows):
    width, height = WIDTH * len(rows[0]), HEIGHT * len(rows)
    yield (
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
        f'font-family="monospace" font-size="15">'
    )
    for number, row in enumerate(rows):
        for column, text, background, foreground in runs(row):
            x, y, length = column * WIDTH, number * HEIGHT, len(text) * WIDTH
            yield f'<rect x="{x}" y="{y}" width="{length}" height="{HEIGHT}" fill="{background}"/>'
            if text.strip():
                yield (
                    f'<text x="{x}" y="{y + 14}" fill="{foreground}" textLength="{length}" '
                    f'xml:space="preserve">{escape(text)}</text>'
                )
    yield "</svg>"


def main():
    import records
    from conftest import Sandbox
    from terminal import BACKSPACE, ENTER, Terminal

    with tempfile.TemporaryDirectory() as directory:
        program = ROOT / "build/release/kestrel"
        terminal = Terminal(Sandbox(Path(directory) / "sandbox", program, records.formatted(2)))
        terminal.go_to("SerialNumber")
        terminal.press(ENTER, *[BACKSPACE] * 13, b"SN-00047")
        print("\n".join(svg(terminal.cells())))


main()
