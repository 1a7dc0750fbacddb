"""The README and docs/: their commands work, their links lead somewhere, their numbers are true."""

# ctest: tree native

import re
import subprocess
import sys
import time

import pytest
import records
from conftest import DEVICE
from documents import ROOT, block, checksum, says, transcript

sys.path.append(str(ROOT / "tests/bench"))
from device_cost import Cost, bus_milliseconds, check

V2 = records.formatted(2)
README = (ROOT / "README.md").read_text()


def test_the_readme_is_short():
    assert README.count("\n") <= 130


def test_the_commands_of_the_readme_do_what_their_comments_say(make_sandbox):
    commands = block("commands", "README.md").splitlines()
    assert commands.pop(0).split() == ["kestrel", "#", "the", "menu"]
    sandbox = make_sandbox(V2)
    for command in commands:
        result = sandbox.shell(command)
        assert (result.status, result.err) == (0, b""), command
    date = bytes([20, 26, 11, 15, 10, 42, 16])
    written = records.with_field(V2, "--productiondate", date)
    written = records.with_field(written, "--ser_num", b"SN-0000004711")
    assert sandbox.image == (sandbox.directory / "part.bin").read_bytes() == written


@pytest.mark.parametrize(
    "contents", [records.BLANK_V2, records.damaged(V2)], ids=["blank", "damaged"]
)
def test_the_board_of_the_readme_is_written_as_shown(make_sandbox, contents):
    commands = transcript("record", prompt="$")
    assert commands[0][0] == "cat board.json"
    sandbox = make_sandbox(contents)
    (sandbox.directory / "board.json").write_text(commands[0][1])
    for command, printed in commands:
        assert sandbox.shell(command, stderr=subprocess.STDOUT).out.decode() == printed
    assert sandbox.read("--mac1") == b"02:a5:5e:12:34:01"
    assert sandbox.read("--ser_num") == b"SN-0000004711"


def test_the_sizes_in_the_readme_are_those_of_the_layouts(facts):
    size1, size2 = (facts["versions"][version]["size"] for version in "12")
    text = " ".join(README.split())
    for sentence in [
        f"a {size1}- or {size2}-byte part",
        f"`--format_v1` (for a part of {size1} bytes) and `--format_v2` ({size2} bytes)",
        f"`--format_v2` on a {size1}-byte part fails **and wipes it**",
        f"Version 1 fills a part of {size1} bytes, version 2 the first bytes of one of {size2}.",
    ]:
        assert sentence in text


@pytest.mark.parametrize("document", ["README.md", "man/kestrel.1", "man/kestrel-record.1"])
def test_the_bus_and_the_address_are_those_of_the_path(document):
    bus, address = re.search(r"devices/(\d+)-(\d+)/", DEVICE).groups()
    text = " ".join((ROOT / document).read_text().split())
    assert f"at address {int(address, 16):#x} of I2C bus {bus}" in text and "/" + DEVICE in text


@pytest.mark.parametrize(
    "document",
    [
        "README.md",
        "CONTRIBUTING.md",
        *sorted(f"docs/{p.name}" for p in (ROOT / "docs").glob("*.md")),
    ],
)
def test_the_links_of_a_document_lead_to_files(document):
    path = ROOT / document
    links = re.findall(r"\]\(([^)#]+)[^)]*\)", path.read_text())
    assert all((path.parent / link).is_file() for link in links), links


def test_the_version_is_the_same_wherever_it_stands():
    def found(pattern, name):
        return re.search(pattern, (ROOT / name).read_text(), re.MULTILINE)[1]

    version = found(r"^project\(kestrel VERSION (\S+)", "CMakeLists.txt")
    assert found(r"^## (\S+) \(\d{4}-\d\d-\d\d\)$", "CHANGELOG.md") == version
    assert found(r"\Akestrel \((\S+)-1\)", "debian/changelog") == version
    released = found(r"^ -- .*>  \w+, (\d+ \w+ \d+) ", "debian/changelog")
    date = time.strptime(released, "%d %b %Y")
    assert found(r"^## \S+ \((.*)\)$", "CHANGELOG.md") == time.strftime("%Y-%m-%d", date)
    pages = sorted((ROOT / "man").glob("*.[1-8]"))
    assert [found(r"^\.Os kestrel (\S+)$", page) for page in pages] == [version] * 4
    dates = {time.strptime(found(r"^\.Dd (.*)$", page), "%B %d, %Y") for page in pages}
    assert dates == {date}
    says(
        "CHANGELOG.md",
        "What a user notices, the newest first. Versions are those of `CMakeLists.txt`.",
    )
    says(
        "CONTRIBUTING.md",
        "1. Choose the version: *major* when a script of a production line could notice, *minor* for "
        "something new, *patch* otherwise. Set it in `project()` of `CMakeLists.txt`, and after `.Os` "
        "in the pages of `man/`, with the date after `.Dd`.",
        'Put the version and the date over what is under "Unreleased" in `CHANGELOG.md`, and add '
        "the same version with `-1` to `debian/changelog` (`dch -v VERSION-1`). A test compares "
        "all of them.",
    )


@pytest.mark.parametrize("document", ["docs/performance.md", "docs/reliability.md"])
def test_the_figures_of_a_document_are_as_they_were_written(document):
    written = re.compile(r"<!-- figures, sha256 (\w+) -->\n(.*)", re.DOTALL)
    sum_of_figures, figures = written.search((ROOT / document).read_text()).groups()
    assert checksum(figures) == sum_of_figures


PERFORMANCE = "docs/performance.md"


def figures(title):
    """The numbers of a table's rows, by the words in them."""
    lines = (ROOT / PERFORMANCE).read_text().split(f"\n**{title}**\n\n")[1].split("\n\n")[0]
    for line in lines.splitlines()[2:]:
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        numbers = [re.match(r"\d[\d.,]*", cell) for cell in cells]
        words = " ".join(cell for cell, number in zip(cells, numbers) if not number)
        yield words, [float(number[0].replace(",", "")) for number in numbers if number]


def test_the_device_calls_of_the_tables_are_those_that_are_computed():
    small, large = check([])[0].values()
    rows = dict(figures("Device calls, and bytes read and written, by the size of the part"))
    for (_, at_128), (arguments, at_2048) in zip(small, large):
        name = " ".join(arguments[:2]) + "`" if arguments else "the menu's first screen"
        [row] = [words for words in rows if name in words]
        assert rows[row] == [*at_128, *at_2048, round(bus_milliseconds(at_2048))], name


def test_what_is_said_of_the_figures_follows_from_them():
    read, dump = "`kestrel -r --crc`", "`kestrel --raw`"
    shared, release, static = dict(figures("Times, in multiples of `dd` of the part"))[read]
    assert release < shared / 2 and static < release
    says(PERFORMANCE, "Most of the cost of a read in the shared build is dynamic linking.")
    *_, (_, [in_c]) = figures("Targets")
    assert in_c > release
    says(PERFORMANCE, "In the locale `C`, `dd` has less to load and is quicker;")
    instructions = dict(figures("Instructions"))
    *_, (_, [_, percent, _]) = figures("The CRC (release)")
    assert (
        percent / 100 * instructions[dump][1] > (instructions[dump][1] - instructions[read][1]) / 2
    )
    says(PERFORMANCE, "it is most of the extra cost of a dump.")
    slow = figures("The virtual machine's slow bus, some 1 ms a byte, with a part of 2048 bytes")
    assert all(percent > 99 for _, [_, _, percent] in slow)
    says(
        PERFORMANCE,
        "The device calls cost far more than all else.",
        "The table after it is measured on the virtual machine, in software emulation, where "
        "everything takes longer; but the bus dominates either way.",
    )
    byte, part = (bus_milliseconds(Cost(0, size, 0)) for size in (1, 2048))
    says(
        PERFORMANCE,
        f"At 100 kHz a byte takes {byte * 1000:.0f} microseconds, so that loading 2048 bytes takes "
        f"{part:.0f} ms; the addressing and, after a write, the write cycle of the part come on "
        "top. The last column of the table of device calls is the time of the bytes alone.",
    )


def test_the_recipe_with_a_lock_waits_for_the_other_writer(make_sandbox):
    sandbox = make_sandbox(V2)
    with subprocess.Popen(
        ["flock", str(sandbox.path), "sh", "-c", "echo locked; sleep 0.5"], stdout=subprocess.PIPE
    ) as other:
        assert other.stdout.readline() == b"locked\n"
        start = time.monotonic()
        assert sandbox.shell(block("lock", "docs/reliability.md")).status == 0
        assert time.monotonic() - start > 0.3
    assert sandbox.image == records.with_field(V2, "--ser_num", b"SN-0000004711")
