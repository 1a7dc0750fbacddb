"""What the manual and other documents say about the menu, each sentence beside what shows it."""

# ctest: tree native

import os
import re
import shlex
import signal

import elements
import pytest
import records
from documents import says
from terminal import BACKSPACE, DOWN, ENTER, F1, LEFT, RIGHT, UP, Terminal, key

PAGE = "kestrel.1"
ARCHITECTURE = "docs/architecture.md"
V2 = records.formatted(2)


@pytest.fixture
def sandbox(make_sandbox):
    return make_sandbox(V2)


@pytest.fixture
def menu(sandbox):
    """Opens the menu, and ends it after the test."""
    opened = []

    def open_it(*size, **options):
        opened.append(Terminal(sandbox, *size, **options))
        return opened[-1]

    yield open_it
    for terminal in opened:
        terminal.leave()


def test_it_needs_the_terminal_that_the_page_says(menu):
    too_small = menu(24, 40)
    assert not too_small.child.isalive()
    message = too_small.transcript.decode().split("kestrel: ")[1].strip()
    rows, columns = [int(word) for word in message.split() if word.isdigit()][:2]
    assert menu(rows, columns).child.isalive()
    assert not menu(rows - 1, columns).child.isalive()
    says(PAGE, f"{message} Make the terminal larger.")
    says(PAGE, f"The menu needs a terminal of {rows} rows and {columns} columns.")
    # The least rows show one entry.
    last = f"The {24 - rows + 1}th entry is the last one that a terminal of 24 rows shows at once."
    says("CONTRIBUTING.md", last)


def test_it_is_driven_as_the_page_says(menu, sandbox):
    terminal = menu()
    terminal.press(DOWN, DOWN, UP)
    assert terminal.row(4).startswith(" -->MAC1 ")
    terminal.press(ENTER, BACKSPACE, b"1", ENTER)
    assert sandbox.read("--mac1") == b"02:a5:5e:00:00:01"
    assert "\nMAC0             : 02:a5:5e:00:00:01\n" in sandbox.run("--raw").out.decode()
    says(
        PAGE,
        "its MAC1 is the MAC0 of --raw. Cursor up and down move, Enter edits the value of the "
        "current line, and Enter again writes it.",
    )
    before = sandbox.image
    terminal.press(*[DOWN] * 30, ENTER)
    assert (terminal.wait_for_end(), sandbox.image) == (0, before)
    assert terminal.gives_terminal_back()
    says(
        PAGE,
        "‘END’ leaves. To get there without harm, hold cursor down (the list does not wrap) and "
        "press Enter.",
    )
    says("README.md", "To leave without harm, hold cursor down and press Enter.")


def test_the_lines_in_black_are_the_read_only_ones(menu, sandbox):
    terminal = menu()
    listed = [terminal.row(number)[4:] for number in range(3, 20)]
    assert all(line.startswith(name) for line, name in zip(listed, elements.NAMES, strict=True))
    says(PAGE, "The menu lists every element with its value;")
    cells = terminal.cells()
    black = [element.kind for element, row in zip(elements.ELEMENTS, cells[3:]) if is_black(row)]
    assert black == ["read only"] * len(elements.READ_ONLY)
    says(PAGE, "Lines in black are read only.")
    assert not any(is_black(row) for row in menu(name="vt220").cells())
    assert sandbox.read("--valid") == b"1"
    says(
        PAGE,
        "Some terminals (vt100 to vt220) have no colours; whether the record is intact, kestrel -r "
        "--valid says as well.",
    )


def is_black(row):
    return row[4].foreground == "black"


def test_a_command_is_executed_at_once_and_the_list_stays_old(menu, sandbox):
    terminal = menu()
    terminal.go_to("Erase")
    before = terminal.text()
    assert "--ERASE ALL--" in terminal.row(18)
    terminal.press(ENTER)
    assert (sandbox.image, terminal.text()) == (records.BLANK_V2, before)
    terminal.go_to("MAC1", "Erase")
    terminal.press(ENTER, b"x", ENTER)  # one that is refused
    assert "65535" in terminal.row(3)
    says(
        PAGE,
        "‘Format_v2’ and ‘Erase’, whose value is shown as ‘--ERASE ALL--’, are executed at once;",
        "and the list shows the old values until the next edit.",
    )
    says("README.md", "In the menu, `Format_v2` and `Erase` are executed **at once**.")
    says(
        ARCHITECTURE,
        "| The menu's list stays old after `Format_v2` and `Erase`. |",
        "For the format it is kept. The next edit shows the new values. |",
    )


def test_the_keys_of_an_edit_do_what_the_page_says(menu):
    terminal = menu()
    terminal.go_to("PCB SerialNumber")
    terminal.press(ENTER, UP, DOWN, LEFT, RIGHT)
    shown = " $>PCB SerialNumber: 000000000000"
    assert terminal.row(22) == shown
    terminal.press(BACKSPACE)
    assert terminal.row(22) == shown[:-1]
    says(PAGE, "In an edit Backspace removes the last character, and the cursor keys do nothing.")
    terminal.press(b"\x1bx")
    assert terminal.row(22) == shown[:-1] + "?x"
    for name in ("kdch1", "khome", "kf1"):
        before = terminal.row(22)
        terminal.press(key(name))
        assert len(terminal.row(22)) == len(before) + 2
        terminal.press(BACKSPACE, BACKSPACE)
    says(
        PAGE,
        "There is no key to cancel it: Escape is a character like any other, keys like Delete, "
        "Home and F1 enter two, and Enter always writes what is shown.",
    )
    says(ARCHITECTURE, "| Enter in an edit always writes; there is no key to cancel. |")


def test_a_value_is_limited_refused_and_shown_as_the_page_says(menu, sandbox):
    sandbox.image = records.with_field(V2, "--ser_num", b"\xff\n")
    terminal = menu()
    terminal.go_to("PCB SerialNumber")
    terminal.edit(b"0123456789" * 3)
    assert terminal.row(22) == " $>PCB SerialNumber: 0123456789012345678"
    terminal.press(ENTER)
    sandbox.write("--pcb_ser_num", "0123456789" * 3)
    assert sandbox.read("--pcb_ser_num") == b"0123456789" * 3
    says(
        PAGE,
        "The input takes no more characters than the longest value had at the start; a longer "
        "serial number is written with -w.",
    )
    terminal.go_to("PCB Rev", "PCB SerialNumber")
    terminal.edit(b"1234")
    terminal.press(ENTER)
    assert (
        terminal.row(12) == " -->PCB Rev           000" and b"kestrel: " not in terminal.transcript
    )
    says(PAGE, "Refused values are silent here too: the list shows the old value again.")
    terminal.press(DOWN, ENTER, ENTER)
    assert terminal.row(13) == " -->SerialNumber      ??"
    assert elements.field("--ser_num", 2).of(sandbox.image)[:3] == b"\xff\n\0"
    says(PAGE, "Bytes that cannot be printed are shown as ‘?’ and stay as they are.")


def test_with_a_damaged_record_it_shows_what_is_not_stored_and_stays_whole(menu, sandbox):
    sandbox.image = records.damaged(V2)
    terminal = menu()
    assert terminal.row(4).endswith("00:00:00:00:00:00") and terminal.row(16).endswith(" 0")
    says(
        PAGE,
        "With a damaged record (‘valid’ is 0) that is not what is stored, so press Enter there only "
        "on lines that are to be set.",
    )
    before = terminal.text()
    terminal.press(DOWN, ENTER, b"x", ENTER, UP)
    assert terminal.text() == before
    terminal.resize(5, 20)
    terminal.resize(24, 80)
    assert terminal.text() == before
    terminal.resize(40, 132)
    assert terminal.text() == before + "\n" * 16
    says(
        PAGE,
        "It keeps the size of the start, and recovers when a terminal that was made smaller is made "
        "larger again.",
    )
    says(
        "CHANGELOG.md",
        "Neither unprintable values nor the messages of a damaged record can spoil the menu, and "
        "it recovers when its terminal shrinks and grows.",
    )


def test_it_is_left_as_the_page_says(menu, sandbox):
    terminal = menu()
    terminal.press(DOWN, ENTER, b"\x03")
    assert terminal.wait_for_end() == 1 and terminal.gives_terminal_back()
    says(PAGE, "Ctrl-C leaves without writing, with status 1.", "Or the menu was left with Ctrl-C.")
    says(ARCHITECTURE, "Kept. Ctrl-C ends the program without writing.")

    failing = ["strace", "-o", "/dev/null", "-P", sandbox.path, "-e", "inject=write:error=EIO"]
    for keys, end, before in [
        ([F1], 0, ()),
        ([DOWN, ENTER, ENTER], 1, failing),
        ([b"\x1c"], signal.SIGQUIT, ()),
        ([], signal.SIGHUP, ()),
    ]:
        terminal = menu(before=before)
        terminal.press(*keys)
        if not keys:
            os.kill(terminal.child.pid, end)
        assert end in (terminal.wait_for_end(), terminal.child.signalstatus)
        assert not terminal.gives_terminal_back()
    assert sandbox.image == V2
    says(
        PAGE,
        "F1 outside an edit, with status 0, a write that fails, Ctrl-\\ and a hang-up leave the "
        "terminal in the modes of the menu; type ‘reset’ then, which works unseen.",
    )
    terminal = menu(shell="MENU; stty -a; reset; stty -a")
    terminal.child.send(F1)
    terminal.wait_for_end()
    assert re.findall(rb"-?icanon", terminal.transcript) == [b"-icanon", b"icanon"]
    says(ARCHITECTURE, "F1 leaves the terminal as the menu had it. | Kept. `END` restores it.")


def test_messages_are_drawn_over_and_can_be_kept(menu, sandbox):
    sandbox.image = records.damaged(V2)
    messages = sandbox.directory / "messages"
    kept = menu(shell=f"MENU 2>{shlex.quote(str(messages))}")
    assert messages.read_text().startswith("CRC invalid\n") and b"CRC" not in kept.transcript
    seen = menu()
    seen.press(DOWN, ENTER, b"x", ENTER, UP)
    assert b"CRC invalid" in seen.transcript and seen.text() == kept.text()
    says(
        PAGE,
        "Messages go to standard error as usual, and the screen is drawn anew over them; ‘kestrel "
        "2>messages’ keeps them.",
    )


@pytest.mark.parametrize(
    "name, end", [("vt220", b"0\0\0"), ("xterm", b"00\b"), ("screen", b"00\b")]
)
def test_with_the_terminal_of_the_page_both_backspaces_remove_a_character(menu, sandbox, name, end):
    terminal = menu(name=name)
    terminal.press(*[key("kcud1", name)] * elements.NAMES.index("SerialNumber"))
    terminal.press(ENTER, b"\x7f", b"\x08", ENTER)
    terminal.leave()
    assert elements.field("--ser_num", 2).of(sandbox.image)[-3:] == end
    assert key("kbs", "linux") == key("kbs", name) or name == "vt220"
    says(
        PAGE,
        "On a serial line set TERM to vt220. With linux, xterm or screen a Backspace that sends ^H "
        "is stored as a character, shown as ‘?’.",
    )
    says("README.md", "On a serial line set `TERM=vt220`, or Backspace may enter a character.")
