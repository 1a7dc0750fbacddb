"""The one file that is copied to a board: it needs no library, and little memory."""

# ctest: tree native

import base64
import subprocess
from pathlib import Path

import elf
import pytest
import records
from bound_sandbox import DEVICE, MOST_MEMORY, BoundSandbox
from documents import says
from terminal import ENTER, F1, Terminal, screen_of, values_of

ROOT = Path(__file__).parents[2]
PROGRAM = ROOT / "build/static/kestrel"
V2 = records.formatted(2)


@pytest.fixture(autouse=True, scope="module")
def build():
    subprocess.run([ROOT / "script/build", "static", "kestrel"], check=True)


@pytest.fixture
def sandbox(tmp_path):
    return BoundSandbox(tmp_path / "sandbox", PROGRAM, V2)


class EmptySandbox(BoundSandbox):
    """A sandbox with nothing in it but the program, the EEPROM, /dev, and the files given."""

    files = ()

    def inside(self, *command):
        root = self.directory / "root"
        root.mkdir(exist_ok=True)
        bound = [f"{self.program}:/kestrel", f"{self.path}:{DEVICE}", "/dev", *self.files]
        options = [f"--bind={file}" for file in bound]
        return ["proot", "-v", "-1", "-r", str(root), "-w", "/", *options, "/kestrel", *command[1:]]


@pytest.fixture
def empty_sandbox(tmp_path):
    return EmptySandbox(tmp_path / "sandbox", PROGRAM, V2)


def test_another_way_of_linking_is_refused(tmp_path):
    done = subprocess.run(
        ["cmake", "-S", ROOT, "-B", tmp_path, "-D", "KESTREL_DYNAMIC=some"],
        capture_output=True,
        check=False,
    )
    assert done.returncode == 1 and b"neither all, libc nor none" in done.stderr


def test_it_needs_no_library_and_no_loader():
    assert "NEEDED" not in elf.readelf(PROGRAM, "-d")
    assert "INTERP" not in elf.readelf(PROGRAM, "-l")
    says(
        "docs/on-the-board.md",
        "As one file that needs no library, on any amd64 Debian 12 machine: script/build static # build/static/kestrel",
    )
    says("CHANGELOG.md", "`script/build static` makes each program one file that needs no library.")


def test_it_is_position_independent_with_read_only_relocations_and_stripped():
    assert elf.is_position_independent(PROGRAM)
    assert elf.has_read_only_relocations(PROGRAM)
    assert elf.has_non_executable_stack(PROGRAM)
    assert ".symtab" not in elf.readelf(PROGRAM, "-S")
    says(
        "docs/performance.md",
        "The hardening is the same in all three: position-independent (except for `static-armhf`, "
        "whose libc cannot be linked so), relocations read only.",
    )


def test_it_reads_writes_and_formats_in_an_empty_root(empty_sandbox):
    assert empty_sandbox.read("--crc") == b"1592678115"
    empty_sandbox.write("--pcb_rev", "001")
    assert empty_sandbox.image == records.with_field(V2, "--pcb_rev", b"001")
    assert empty_sandbox.run("--format_v2") == (0, b"", b"")
    assert empty_sandbox.image == V2


@pytest.mark.parametrize("version", [1, 2])
def test_it_dumps_what_the_other_builds_dump(empty_sandbox, version):
    empty_sandbox.image = records.formatted(version)
    assert empty_sandbox.run("--raw") == (0, records.text(f"dump-formatted-v{version}.txt"), b"")


def test_it_reports_a_missing_device_and_ends_with_status_1(tmp_path):
    empty = EmptySandbox(tmp_path / "sandbox", PROGRAM, V2)
    command = [part for part in empty.command("--raw") if DEVICE not in part]
    done = subprocess.run(command, capture_output=True, check=False)
    message = b"kestrel: Error: Open file descriptor: No such file or directory\n"
    assert (done.returncode, done.stdout, done.stderr) == (1, b"", message)


def test_its_menu_shows_and_changes_values_with_debians_terminal_descriptions(sandbox):
    terminal = Terminal(sandbox)
    terminal.expect(screen_of(values_of(V2), "FormatVersion"))
    terminal.go_to("PCB Rev")
    terminal.edit(b"001")
    terminal.press(ENTER)
    assert sandbox.image == records.with_field(V2, "--pcb_rev", b"001")
    terminal.expect(screen_of(values_of(sandbox.image), "PCB Rev"))
    terminal.press(F1)
    assert terminal.wait_for_end() == 0


@pytest.mark.parametrize("source", ["file", "environment"])
def test_its_menu_needs_the_description_of_the_terminal_and_nothing_else(
    empty_sandbox, monkeypatch, source
):
    if source == "file":
        empty_sandbox.files = [description_file("screen-256color")]
    else:
        monkeypatch.setenv("TERMINFO", description("screen-256color"))
    terminal = Terminal(empty_sandbox)
    terminal.expect(screen_of(values_of(V2), "FormatVersion"))
    terminal.press(F1)
    assert terminal.wait_for_end() == 0
    says(
        "docs/on-the-board.md",
        "The menu needs the description of its terminal: the file of that name in `/etc/terminfo`, "
        "`/lib/terminfo` or `/usr/share/terminfo`, as Debian has it, for example "
        "`/lib/terminfo/l/linux`, or the same in the environment, if nothing can be copied: export "
        "TERMINFO=b64:$(base64 -w0 /lib/terminfo/l/linux) # printed on Debian, set on the board",
    )
    assert b"/etc/terminfo:/lib/terminfo:/usr/share/terminfo" in PROGRAM.read_bytes()


def description(name):
    return "b64:" + base64.b64encode(description_file(name).read_bytes()).decode()


def description_file(name):
    """Where this system has it: Debian's folder is another one since ncurses 6.5."""
    folders = subprocess.check_output(["infocmp", "-D"], text=True).splitlines()
    files = [Path(folder, name[0], name) for folder in folders]
    return next(file for file in files if file.is_file())


def test_its_menu_names_a_terminal_that_is_not_described(empty_sandbox):
    terminal = Terminal(empty_sandbox)
    assert terminal.wait_for_end() == 1
    assert b"Error opening terminal: screen-256color." in terminal.transcript


@pytest.mark.parametrize("arguments", [["-r", "--crc"], ["--raw"], ["-w", "--pcb_rev", "001"]])
def test_it_takes_little_memory(sandbox, arguments):
    measured = sandbox.inside("/usr/bin/time", "-f", "%M", PROGRAM, *arguments)
    done = subprocess.run(measured, capture_output=True, check=True)
    assert int(done.stderr) <= MOST_MEMORY
