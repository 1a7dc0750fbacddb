"""The manual pages: their form, their examples, and that they say what the program says."""

# ctest: tree native first

import json
import re
import subprocess
from pathlib import Path

import elements
import pytest
import records

ROOT = Path(__file__).resolve().parents[2]
MAN = ROOT / "man"
PAGES = sorted(page.name for page in MAN.glob("*.[1-8]"))
EACH_PAGE = pytest.mark.parametrize("page", PAGES)

PARTS = {
    "formatted-v1": records.formatted(1),
    "formatted-v2": records.formatted(2),
    "damaged-v1": records.damaged(records.formatted(1)),
    "damaged-v2": records.damaged(records.formatted(2)),
    "blank-v1": records.BLANK_V1,
    "blank-v2": records.BLANK_V2,
    "mistaken-v1": records.MISTAKEN_V1,
}


def rendered(page, width=78):
    command = ["mandoc", "-T", "utf8", "-O", f"width={width}", MAN / page]
    done = subprocess.run(command, capture_output=True, check=True)
    return re.sub(".\b", "", done.stdout.decode())


def in_one_line(text):
    return " ".join(text.split())


def test_there_are_three_pages():
    assert PAGES == ["kestrel-boardtest.1", "kestrel-record.5", "kestrel.1"]


def test_the_pages_are_installed_in_their_sections(request, tmp_path):
    build = request.config.getoption("--programs")
    command = ["cmake", "--install", build, "--prefix", tmp_path]
    subprocess.run(command, stdout=subprocess.PIPE, check=True)
    for page in PAGES:
        installed = tmp_path / f"share/man/man{page[-1]}" / page
        assert installed.read_bytes() == (MAN / page).read_bytes()


@EACH_PAGE
def test_mandoc_finds_nothing(page):
    command = ["mandoc", "-T", "lint", "-W", "style", MAN / page]
    done = subprocess.run(command, stdout=subprocess.PIPE, check=False)
    # Which other manuals there are depends on the machine.
    found = [line for line in done.stdout.decode().splitlines() if "manual not found" not in line]
    assert found == []


@EACH_PAGE
def test_groff_finds_nothing(page):
    command = ["groff", "-mdoc", "-ww", "-z", "-T", "utf8", MAN / page]
    done = subprocess.run(command, capture_output=True, check=False)
    assert (done.returncode, done.stdout, done.stderr) == (0, b"", b"")


@EACH_PAGE
def test_the_pages_of_kestrel_refer_to_each_other(page):
    referred = re.findall(r"^\.Xr (kestrel\S*) (\d)", (MAN / page).read_text(), re.MULTILINE)
    name, section = page.rsplit(".", 1)
    assert {f"{name}.{section}" for name, section in referred} == {*PAGES} - {page}, (name, section)


# Examples


def plain(line):
    """A line of a display without roff's escapes."""
    assert not re.search(r"\\[^e]|^[.']", line), line
    return line.replace(r"\e", "\\")


def examples(page):
    """Each display of the page: the parts it runs on, what becomes of them, and its lines."""
    found = []
    lines = iter((MAN / page).read_text().splitlines())
    before = ""
    for line in lines:
        if line.startswith(".Bd"):
            note = re.fullmatch(r'\.\\" example on: ([\w -]+?)(?:; leaves it ([\w ]+))?', before)
            assert note, f"{page} has a display that is no example: {line}"
            body = [plain(text) for text in iter(lambda: next(lines), ".Ed")]
            found.append((page, note[1].split(), note[2], body))
        before = line
    return found


EXAMPLES = [example for page in PAGES for example in examples(page)]
RUNS = [
    pytest.param(body, part, after, id=f"{page}-{number}-{part}")
    for number, (page, parts, after, body) in enumerate(EXAMPLES)
    for part in parts
]


def script_of(body):
    """What prints the commands of a transcript with their output, or the script itself."""
    if not body[0].startswith("$ "):
        return "set -eu\n" + "\n".join(body)
    commands = [line[2:] for line in body if line.startswith("$ ")]
    quoted = ["'" + command.replace("'", "'\\''") + "'" for command in commands]
    return "\n".join(f"echo $ {text}\n{command}" for text, command in zip(quoted, commands))


@pytest.mark.parametrize("body, part, after", RUNS)
def test_an_example_prints_what_the_page_shows(make_sandbox, body, part, after):
    sandbox = make_sandbox(PARTS[part])
    done = sandbox.shell(script_of(body), stderr=subprocess.STDOUT)
    shown = "".join(line + "\n" for line in body) if body[0].startswith("$ ") else ""
    assert (done.out.decode(), done.status) == (shown, 0)
    if after == "formatted":
        assert sandbox.image == PARTS["formatted-" + part[-2:]]
    else:
        assert after in (None, "as it was")
        assert sandbox.image == PARTS[part] or not after


@pytest.mark.parametrize("page, parts, after, body", EXAMPLES, ids=lambda value: "")
def test_an_example_can_be_copied_from_the_screen(page, parts, after, body):
    groff = subprocess.run(
        ["groff", "-mdoc", "-T", "utf8", "-P", "-cbou", MAN / page], capture_output=True, check=True
    )
    for screen in (rendered(page), groff.stdout.decode()):
        lines = screen.splitlines()
        width = len(next(line for line in lines if line.strip() == body[0])) - len(body[0])
        indented = "\n".join((" " * width + line).rstrip() for line in body)
        assert indented in "\n".join(map(str.rstrip, lines))


def test_the_script_that_reads_back_notices_a_refused_value(make_sandbox):
    [body] = [body for _, _, _, body in EXAMPLES if body[0] == "put() {"]
    sandbox = make_sandbox(PARTS["formatted-v2"])
    script = script_of(body).replace("SN-0000004711", "SN-00000004711")
    done = sandbox.shell(script, stderr=subprocess.STDOUT)
    assert (done.out, done.status) == (b"--ser_num was not taken: SN-00000004711\n", 1)


# Completeness


def test_every_element_and_word_has_a_paragraph():
    heads = re.findall(r"^\.It Fl (.*)", (MAN / "kestrel.1").read_text(), re.MULTILINE)
    named = {"-" + word for head in heads for word in re.findall(r"-\w+", head)}
    assert named == {*elements.WRITABLE, *elements.READ_ONLY, *elements.SPECIAL}
    assert {*elements.COMMANDS} < {*elements.SPECIAL}


def texts_of_the_sources():
    """Every text of more than one word in the programs, but for usage, dump and formats."""
    for source in sorted([*ROOT.glob("boardsupport/*.cpp"), *ROOT.glob("tool/*.cpp")]):
        if source.name in ("Usage.cpp", "VaEepromDump.cpp"):
            continue
        code = re.sub(r"//.*", "", source.read_text())
        for text in re.findall(r'"((?:[^"\\\n]|\\.)*)"', code):
            if re.search(r"\w\S* \S*\w", text) and "%" not in text:
                yield from (line for line in text.split("\\n") if line)


def test_every_message_of_the_sources_stands_on_a_page():
    pages = [in_one_line(rendered(page, 1000)) for page in PAGES]
    texts = [*texts_of_the_sources()]
    assert "CRC invalid" in texts and len(texts) > 25
    missing = [text for text in texts if not any(in_one_line(text) in page for page in pages)]
    assert missing == []


@pytest.mark.parametrize("name", ["Executing Erase command...", "terminated", "std::bad_alloc"])
def test_the_messages_put_together_stand_on_the_page(name):
    assert name in in_one_line(rendered("kestrel.1", 1000))


# The record

RECORD = (MAN / "kestrel-record.5").read_text()
VERSIONS = pytest.mark.parametrize("version", [1, 2])


def table(heading):
    """The rows below a heading, without the first, which names the columns."""
    part = re.search(rf"^\.Ss {heading}\n(.*?)^\.El\n", RECORD, re.DOTALL | re.MULTILINE)[1]
    rows = re.findall(r"^\.It (.*)", part[part.index(".Bl -column") :], re.MULTILINE)
    return [row.split(" Ta ") for row in rows][1:]


def fields(version):
    return [
        (name, int(position), int(length), encoding, value)
        for name, position, length, encoding, value in table(f"Version {version}")
    ]


def positions(version):
    return {name: position for name, position, *_ in fields(version)}


def value_of(data, encoding):
    """The bytes of a field in the form of the table."""
    if encoding == "number":
        return "0x" + data.hex()
    if encoding == "MAC":
        return data.hex(":")
    if encoding == "date":
        return "{:02}{:02}-{:02}-{:02} {:02}:{:02}:{:02}".format(*data)
    if encoding == "text":
        text, _, rest = data.partition(b"\0")
        assert not rest.strip(b"\0")
        return text.decode()
    if encoding == "calibration":
        return str(int.from_bytes(data, "big", signed=True))
    assert encoding == "bytes"
    return {bytes(len(data)): "zero", b"\xff" * len(data): "as before"}[data]


@VERSIONS
def test_the_values_after_formatting_are_those_of_a_formatted_part(version):
    part = records.formatted(version)
    for name, position, length, encoding, value in fields(version):
        found = value_of(part[position : position + length], encoding)
        assert (name, found) == (name, value)


@VERSIONS
def test_the_fields_fill_the_part_but_for_two_zero_bytes_behind_each_mac(version):
    part = records.formatted(version)
    end = 0
    for name, position, length, encoding, _ in fields(version):
        assert position == end, name
        end += length
        if encoding == "MAC":
            assert (length, part[end : end + 2]) == (6, b"\0\0")
            end += 2
    assert end == len(part) == records.SIZE[version]


def layout(version):
    """The version's layout as the program has it."""
    subprocess.run([ROOT / "script/build", "dev", "facts"], check=True)
    printed = subprocess.check_output([ROOT / "build/dev/tests/facts"])
    return json.loads(printed)["versions"][str(version)]


@VERSIONS
def test_the_positions_are_those_of_the_layout(version):
    of_program = layout(version)
    assert of_program["size"] == records.SIZE[version]
    assert f"The part has {records.SIZE[version]} bytes." in RECORD
    placed = {field["name"]: (field["position"], field["length"]) for field in of_program["fields"]}
    named = {
        re.sub(r"^\((.*)\)$", r"\1", name): (position, length)
        for name, position, length, _, _ in fields(version)
    }
    named.pop("unused", None)
    assert named == placed


@VERSIONS
def test_the_absent_fields_are_named(version):
    rest = RECORD[RECORD.index(f".Ss Version {version}") :]
    absent = in_one_line(
        re.search(r"^Absent from this version (?:is|are) (.*?)\.$", rest, re.DOTALL | re.MULTILINE)[
            1
        ]
    )
    here, other = positions(version), positions(3 - version)
    for name in {*other} - {*here}:
        name = re.sub(r"AioCalibration \d", "AioCalibration 0 to 7", name).strip("()")
        assert name in absent
    assert not any(re.search(rf"\b{re.escape(name)}\b", absent) for name in here)


@VERSIONS
def test_the_covered_bytes_are_those_in_front_of_the_crc(version):
    last = positions(version)["Crc32"] - 1
    assert f"bytes 0 to {last} in version {version}" in in_one_line(RECORD)


def test_the_dump_shows_the_fields_of_the_tables():
    lines = records.text("dump-formatted-v2.txt").decode().splitlines()
    labels = [line.split(":")[0].strip() for line in lines if line]
    assert {*labels} == {*positions(2)} - {"(unused)"} | {"valid"}


def test_the_elements_of_the_fields_are_those_of_the_command_line():
    rows = {name: "-" + option.removeprefix("Fl ") for name, option in table("The elements")}
    assert {*rows.values(), "--valid"} == {*elements.WRITABLE, *elements.READ_ONLY}
    for name, option in rows.items():
        for version in (1, 2):
            expected = {"--version": 0, "--crc": records.CRC_POSITION[version]}.get(option)
            if expected is None:
                expected = elements.field(option, version).position
            assert positions(version)[name] == expected
