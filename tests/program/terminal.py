"""Drives the menu on a pseudo-terminal, and says what its screen must look like.

pyte emulates the terminal; with the terminfo entries of xterm it loses repeated characters and
backgrounds, so the entry is that of screen.
"""

import shlex
import subprocess
import time
from collections import namedtuple
from pathlib import Path

import elements
import pexpect
import pyte
import records
from idleness import is_idle, last_process

TIMEOUT = 10  # seconds, for what takes milliseconds
IMPATIENT = 0.5  # seconds, after a wait in vain: one failure is enough to know

Cell = namedtuple("Cell", "text foreground background reverse bold underline blink dim")

# pyte knows neither blinking nor dim, and nothing here is italic or struck through.
pyte.graphics.TEXT.update({2: "+strikethrough", 5: "+italics", 25: "-italics"})


def key(name, terminal="screen-256color"):
    """The bytes that a key sends, by its name in terminfo."""
    return subprocess.run(["tput", "-T", terminal, name], capture_output=True, check=False).stdout


DOWN = key("kcud1")
UP = key("kcuu1")
LEFT = key("kcub1")
RIGHT = key("kcuf1")
BACKSPACE = key("kbs")
F1 = key("kf1")
ENTER = b"\r"


class Terminal:
    """The menu of a sandbox on a terminal of its own.

    before is a command in front of the program's; shell is a line for the shell in which MENU
    stands for all that.
    """

    running = []
    patience = TIMEOUT

    def __init__(self, sandbox, rows=24, columns=80, name="screen-256color", before=(), shell=None):
        self.sandbox = sandbox
        self.screen = pyte.Screen(columns, rows)
        self.stream = pyte.ByteStream(self.screen)
        self.transcript = b""
        self.hides_cursor = bool(key("civis", name))
        traced = before or "strace" in (shell or "")
        environment = sandbox.traced_environment() if traced else sandbox.environment()
        environment["TERM"] = name
        for size in ("LINES", "COLUMNS"):
            environment.pop(size, None)
        command = [*map(str, before), *sandbox.command()]
        if shell:
            command = ["sh", "-c", shell.replace("MENU", shlex.join(command))]
        self.child = pexpect.spawn(
            command[0], command[1:], env=environment, dimensions=(rows, columns), timeout=TIMEOUT
        )
        self.child.delaybeforesend = None
        self.child.ptyproc.delayafterclose = self.child.ptyproc.delayafterterminate = 0.01
        Terminal.running.append(self)
        self.wait_until(lambda: self.row(rows - 2).startswith(" $>") or not self.child.isalive())
        self.settle()

    def pump(self, seconds=0.005):
        """Feeds the screen with what the program has written; says whether there was anything."""
        try:
            output = self.child.read_nonblocking(65536, seconds)
        except (pexpect.TIMEOUT, pexpect.EOF):
            return False
        self.transcript += output
        self.stream.feed(output)
        return True

    def settle(self):
        quiet = 0

        def at_rest():
            nonlocal quiet
            quiet = 0 if self.pump() or not is_idle(self.child) else quiet + 1
            return quiet == 2

        assert self.wait_until(at_rest, 0), "the program does not come to rest"

    def wait_until(self, condition, step=0.05):
        """Whether the condition came to hold; in vain it is waited for only once as long."""
        deadline = time.monotonic() + Terminal.patience
        while not condition():
            if time.monotonic() > deadline:
                Terminal.patience = IMPATIENT
                return False
            self.pump(step)
        return True

    def leave(self):
        """Ends the program in the regular way if it still runs."""
        if self.child.closed:
            return
        if self.child.isalive():
            self.child.send(F1 + ENTER + F1)  # the first is part of the text in an edit
            self.wait_until(lambda: not self.child.isalive())
            assert self.child.exitstatus != 23  # the leak sanitizer's
        self.child.close(force=True)

    def wake_ups(self):
        """How often the program has waited; None if it has ended."""
        try:
            status = Path(f"/proc/{last_process(self.child)}/status").read_text()
        except OSError:
            return None
        if "\nState:\tZ" in status:
            return None
        return status.split("\nvoluntary_ctxt_switches:")[1].split()[0]

    def press(self, *keys):
        """Sends keys, and waits for the effect of the last one."""
        before = self.wake_ups()
        self.child.send(b"".join(keys))
        # On a busy machine it may take its time until a key gets to the program.
        if keys and before is not None:
            self.wait_until(lambda: self.wake_ups() != before, 0.001)
        self.settle()

    def go_to(self, name, start="FormatVersion"):
        steps = elements.NAMES.index(name) - elements.NAMES.index(start)
        self.press(*[DOWN] * steps, *[UP] * -steps)

    def edit(self, text):
        """Replaces the value of the current entry."""
        self.press(ENTER, *[BACKSPACE] * 40, *[bytes([byte]) for byte in text])

    def resize(self, rows, columns):
        self.child.setwinsize(rows, columns)
        self.screen.resize(rows, columns)
        self.settle()

    def row(self, number):
        return self.screen.display[number].rstrip()

    def text(self):
        return "".join(row.rstrip() + "\n" for row in self.screen.display)

    def cells(self):
        return [
            [
                Cell(
                    *cell[:3],
                    cell.reverse,
                    cell.bold,
                    cell.underscore,
                    cell.italics,
                    cell.strikethrough,
                )
                for cell in (
                    self.screen.buffer[row][column] for column in range(self.screen.columns)
                )
            ]
            for row in range(self.screen.lines)
        ]

    def expect(self, expected):
        """Waits until the screen is as expected, cell by cell, and stays so."""
        self.wait_until(lambda: self.cells() == expected)
        self.settle()
        assert self.screen.cursor.hidden or not self.hides_cursor
        different = [
            f"row {row} column {column}: {cell} instead of {wanted}"
            for row, (cells, expected_cells) in enumerate(zip(self.cells(), expected))
            for column, (cell, wanted) in enumerate(zip(cells, expected_cells))
            if cell != wanted
        ]
        picture = "\n".join(self.screen.display)
        assert not different, "\n".join(different[:10]) + "\n" + picture

    def wait_for_end(self):
        """The exit status, after everything that the program wrote."""
        self.wait_until(lambda: not self.child.isalive())
        while self.pump():
            pass
        assert not self.child.isalive()
        return self.child.exitstatus

    def gives_terminal_back(self):
        """Whether the program has made the terminal leave its screen."""
        return key("rmcup") in self.transcript


def values_of(contents):
    """What the list shows of a valid image, taken from the image alone."""
    version = records.version_of(contents)
    return [element.shown(contents, version) for element in elements.ELEMENTS]


def failure_values(contents):
    """What the list shows of an invalid image."""
    version = records.version_of(contents)
    return [
        element.shown(contents, version) if element.failure is None else element.failure
        for element in elements.ELEMENTS
    ]


def screen_of(values, current, prompt="", first=0, size=(24, 80), column=None, colours=True):
    """The whole screen, cell by cell.

    first: the entry on the menu's first line; column: the width of the value column, when it is
    not that of the longest value.
    """
    rows, columns = size
    plain = Cell(" ", *(["white", "blue"] if colours else ["default"] * 2), *[False] * 5)
    grey = plain._replace(foreground="black") if colours else plain
    cells = [[plain] * columns for _ in range(rows)]

    def put(row, start, text, like=plain):
        cells[row][start : start + len(text)] = [like._replace(text=letter) for letter in text]

    put(1, 9, "***** KESTREL *****")
    width = column or max(map(len, values))
    lines = list(zip(elements.ELEMENTS, values))[first : first + rows - 6]
    for row, (element, value) in enumerate(lines, 3):
        is_current = element.name == current
        look = grey if element.kind == "read only" else plain._replace(reverse=is_current)
        put(row, 1, "-->" if is_current else "   ")
        put(row, 4, f"{element.name:17} {value:{width}}", look)
    put(rows - 3, 1, "**************")
    put(rows - 2, 1, "$>" + prompt)
    put(rows - 1, 1, "**************")
    return cells
