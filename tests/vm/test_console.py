"""The serial console of the virtual machine, and the menu on it."""

import elements
import pytest
import records
from documents import says
from machine import PROMPT, Console
from terminal import DOWN, ENTER, failure_values, screen_of, values_of

V1 = records.formatted(1)
V2 = records.formatted(2)


@pytest.fixture
def open_menu(make_sandbox):
    """Opens the menu of a part; a test that fails leaves no menu behind."""
    opened = []

    def open_it(contents):
        opened.append(Console(make_sandbox(contents)))
        return opened[0]

    yield open_it
    console = opened[0]
    if PROMPT not in console.transcript:
        console.press(b"\x03")
        console.wait_for_end()
    console.child.send("stty sane\n")
    console.child.expect_exact(PROMPT)


def test_the_console_says_what_to_type_and_how_to_leave(machine):
    for words in (b"kestrel --format_v2", b'Leave with "exit"', b"Ctrl-A X", b"Ctrl-A Ctrl-A"):
        assert words in machine.welcome


def test_the_console_has_the_size_and_the_name_of_the_terminal(machine):
    machine.console.sendline("stty size; echo $TERM")
    machine.console.expect(r"24 80\r*\nscreen-256color\r*\n")
    machine.console.expect_exact(PROMPT)


@pytest.mark.parametrize("contents", [V1, V2], ids=["128 bytes", "2048 bytes"])
def test_the_menu_shows_all_entries_of_a_part_and_end_leaves_it(open_menu, contents):
    console = open_menu(contents)
    console.expect(screen_of(values_of(contents), "FormatVersion"))
    console.go_to("END")
    console.press(ENTER)
    assert console.wait_for_end() == 0
    assert console.sandbox.image == contents


@pytest.mark.parametrize("contents", [V1, V2], ids=["128 bytes", "2048 bytes"])
def test_every_element_is_edited_on_the_screen_and_stored(open_menu, contents):
    console = open_menu(contents)
    expected, at = contents, "FormatVersion"
    for element in elements.VALUES:
        console.go_to(element.name, at)
        at = element.name
        console.edit(element.typed.encode())
        console.press(ENTER)
        expected = records.with_sample(expected, element)
        console.expect(screen_of(values_of(expected), at))
    assert console.sandbox.image == expected


def test_a_blank_part_is_formatted_and_erased_from_the_menu(open_menu):
    console = open_menu(records.BLANK_V2)
    console.expect(screen_of(failure_values(records.BLANK_V2), "FormatVersion"))
    console.go_to("Format_v2")
    for keys, contents in [((ENTER,), V2), ((DOWN, ENTER), records.BLANK_V2)]:
        console.press(*keys)
        console.wait_until(lambda wanted=contents: console.sandbox.image == wanted)
        assert console.sandbox.image == contents


def test_ctrl_c_leaves_the_menu_without_writing(open_menu):
    console = open_menu(V2)
    console.go_to("MAC1")
    console.press(ENTER, b"x", b"\x03")
    assert console.wait_for_end() == 1
    assert console.sandbox.image == V2


def test_a_part_removed_under_the_menu_ends_it_with_the_first_edit(open_menu):
    console = open_menu(V2)
    console.sandbox.machine.put_part(None)
    console.go_to("MAC1")
    console.expect(screen_of(values_of(V2), "MAC1"))
    console.press(ENTER, ENTER)
    assert console.wait_for_end() == 1
    message = b"kestrel: Error writing to file descriptor:: No such device"
    assert message in console.transcript
    says("docs/vm.md", "A menu left open ends with the first edit; start it again.")
    says(
        "kestrel.1",
        "‘No such device’ if the part was removed: a menu has to be started again when it is back.",
    )
