"""The README and docs/: their commands work, their links lead somewhere, their numbers are true."""

# ctest: tree native

import re
import subprocess
import time

import pytest
import records
from conftest import DEVICE
from documents import ROOT, block, checksum, says, transcript

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
    assert found(r"^## \S+ \((.*)\)$", "CHANGELOG.md") == time.strftime(
        "%Y-%m-%d", time.strptime(released, "%d %b %Y")
    )
    pages = sorted((ROOT / "man").glob("*.[1-8]"))
    assert [found(r"^\.Os kestrel (\S+)$", page) for page in pages] == [version] * 4
    says(
        "CHANGELOG.md",
        "What a user notices, the newest first. Versions are those of `CMakeLists.txt`.",
    )
    says(
        "CONTRIBUTING.md",
        "Set it in `project()` of `CMakeLists.txt`, and after `.Os` in the pages of `man/`.",
        'Put the version and the date over what is under "Unreleased" in `CHANGELOG.md`, and add '
        "the same version with `-1` to `debian/changelog` (`dch -v VERSION-1`). A test compares "
        "all of them.",
    )


@pytest.mark.parametrize("document", ["docs/performance.md", "docs/reliability.md"])
def test_the_figures_of_a_document_are_as_they_were_written(document):
    written = re.compile(r"<!-- figures, sha256 (\w+) -->\n(.*)", re.DOTALL)
    sum_of_figures, figures = written.search((ROOT / document).read_text()).groups()
    assert checksum(figures) == sum_of_figures


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
