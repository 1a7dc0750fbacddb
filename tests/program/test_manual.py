"""The manual pages: their examples, and that they say what the program does.

A number in the text is read from the page and tried on the program, so that it cannot be changed
on either side alone.
"""

# ctest: tree native

import re
import subprocess

import elements
import pytest
import record_model
import records
from documents import MAN, ROOT, in_one_line, rendered, says, text_of

PAGES = sorted(page.name for page in MAN.glob("*.[1-8]"))
EACH_PAGE = pytest.mark.parametrize("page", PAGES)
VERSIONS = pytest.mark.parametrize("version", [1, 2])

PARTS = {
    "formatted-v1": records.formatted(1),
    "formatted-v2": records.formatted(2),
    "damaged-v1": records.damaged(records.formatted(1)),
    "damaged-v2": records.damaged(records.formatted(2)),
    "blank-v1": records.BLANK_V1,
    "blank-v2": records.BLANK_V2,
    "mistaken-v1": records.MISTAKEN_V1,
}


def numbers(sentence, page="kestrel.1"):
    """The numbers at the # of a sentence of the page."""
    pattern = re.escape(sentence).replace(r"\#", r"(0x[0-9a-f]+|\d+)")
    found = re.findall(pattern, text_of(page))
    assert len(found) == 1, found
    return [int(number, 0) for number in ([found[0]] if isinstance(found[0], str) else found[0])]


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


@EACH_PAGE
def test_an_example_can_be_copied_from_the_screen(page):
    command = ["groff", "-mdoc", "-T", "utf8", "-P", "-cbou", MAN / page]
    groff = subprocess.run(command, capture_output=True, check=True).stdout.decode()
    for screen in (rendered(page), groff):
        lines = [line.rstrip() for line in screen.splitlines()]
        for _, _, _, body in examples(page):
            width = len(next(line for line in lines if line.strip() == body[0])) - len(body[0])
            indented = "\n".join((" " * width + line).rstrip() for line in body)
            assert indented in "\n".join(lines)


# Of each example, in the order of the pages and on them.
CAPTIONS = """\
EXAMPLES
The first pass:
The first message, if there is any:
Bring a new board into use, whatever its part holds, and read it back:
Change one value, look at the difference first, and save the record:
Save what is left of a damaged record, check it, and write it again:
Make an image for a device programmer, and look into it:
Keep kestrel(1), which takes no lock, apart from kestrel-record:
The document of a fresh record of version 2:
Check a record of version 2 without kestrel(1): the stored CRC, and the one that gzip(1) \
computes, which it stores with its least significant byte first.
The same of version 1:
The date of production, in decimal, and MAC0:
Write and read an element, and print the record:
A serial number that is too long is refused in silence:
Values in other forms, and what is stored:
Write the present time as the date of production:
Scripts that share a part must lock it, since the program itself locks nothing and the CRC could \
be computed while another one writes:
Keep what the part holds before anything else is tried:
prints what is left of it. Correct that, and write it back:
So does a blank part, though it was never formatted and its version is 65535.
The record gets the version of the part's size, and default values:
Put an image that was kept back as a whole:
"""


def test_each_example_follows_its_caption():
    for caption, (page, _, _, body) in zip(CAPTIONS.splitlines(), EXAMPLES, strict=True):
        says(page, f"{caption} {in_one_line(' '.join(body))}")


# The elements and their values


def accepts(sandbox, option, value):
    """Whether the value changes what the element shows."""
    sandbox.image = PARTS["formatted-v2"]
    before = sandbox.read(option)
    sandbox.write(option, value)
    return sandbox.read(option) != before


def test_every_element_and_word_has_a_paragraph():
    heads = re.findall(r"^\.It Fl (.*)", (MAN / "kestrel.1").read_text(), re.MULTILINE)
    named = {"-" + word for head in heads for word in re.findall(r"-\w+", head)}
    assert named == {*elements.WRITABLE, *elements.READ_ONLY, *elements.SPECIAL}


def test_the_lengths_are_those_of_the_fields(facts):
    lengths = [
        {field["name"]: field["length"] for field in facts["versions"][version]["fields"]}
        for version in "12"
    ]
    for of_version in lengths:
        for name, sentence in [
            ("Hardware Rev", "--hardware_rev The revision of the hardware: exactly # characters."),
            (
                "PCB Rev",
                "--pcb_rev The revision of the printed circuit board: exactly # characters.",
            ),
            ("SerialNumber", "--ser_num The serial number of the unit: up to # characters."),
        ]:
            assert numbers(sentence) == [of_version[name]]
        assert numbers("a revision that is not # characters long") == [of_version["PCB Rev"]]
    sentence = "--pcb_ser_num The serial number of the printed circuit board: "
    sentence += "up to # characters in version 1, up to # in version 2."
    assert numbers(sentence) == [of_version["PCB SerialNumber"] for of_version in lengths]
    sizes = [facts["versions"][version]["size"] for version in "12"]
    sentence = (
        "The EEPROM is a part of # bytes, with a record of version 1, or of # bytes, with one "
    )
    assert (
        numbers(sentence + "of version 2; kestrel-record(5) says where each field lies.") == sizes
    )
    sentence = "There are two versions of it, for parts of # and of # bytes"
    assert numbers(sentence, "kestrel-record.5") == sizes
    for version, size in zip("12", sizes):
        sentence = f"--format_v{version} Write a fresh record of version {version}, for a part of "
        assert numbers(sentence + "# bytes") == [size]
    assert numbers("The bytes from # on are left as they are") == [facts["formatted_end"]["2"]]
    assert numbers("with the bytes from # on as they were") == [facts["formatted_end"]["1"]]
    assert numbers("the first # bytes for a record of version 1") == sizes[:1]


def test_a_mac_address_has_as_many_characters_as_the_page_says(make_sandbox):
    sentence = (
        "--mac1, --mac2, --mac3, --mac4 The MAC addresses, as ‘02:a5:5e:00:00:01’: # characters."
    )
    [length] = numbers(sentence)
    assert numbers("a MAC address that is not # characters long") == [length]
    mac = "02:a5:5e:00:00:01"
    assert len(mac) == length
    sandbox = make_sandbox(None)
    for text in (mac, mac + "0", mac[:-1]):
        assert accepts(sandbox, "--mac1", text) == (len(text) == length)


def test_the_limits_of_a_date_are_those_of_the_page(make_sandbox):
    sentence = (
        "--productiondate The date of production, as ‘2026-11-15 10:42:16’; the years # to #."
    )
    first, last = numbers(sentence)
    assert numbers("a date outside the years # to #") == [first, last]
    month, day, hour, rest = numbers(
        "with a month above #, a day above #, an hour above #, or a minute or second above #"
    )
    at_most = [last, month, day, hour, rest, rest]
    sandbox = make_sandbox(None)

    def accepted(date):
        return accepts(sandbox, "--servicedate", "%04d-%02d-%02d %02d:%02d:%02d" % tuple(date))

    assert accepted(at_most) and accepted([first, 0, 0, 0, 0, 0])
    assert not accepted([first - 1, *at_most[1:]])
    for part in range(6):
        assert not accepted([n + (index == part) for index, n in enumerate(at_most)])


def test_the_parts_of_a_date_are_at_the_places_of_the_page(make_sandbox):
    places = numbers(
        "The parts of a date are the seven pairs of characters at the places #, #, #, #, #, # and #"
    )
    text = ["x"] * 30
    for place, pair in zip(places, ["20", "26", "11", "15", "10", "42", "16"]):
        text[place - 1 : place + 1] = pair
    sandbox = make_sandbox(PARTS["formatted-v2"])
    sandbox.write("--servicedate", "".join(text))
    assert sandbox.read("--servicedate") == b"2026-11-15 10:42:16"
    [shortest] = numbers("A text of fewer than # characters is an error, with a message.")
    sandbox.write("--servicedate", "".join(text)[:shortest])
    status, _, message = sandbox.run("-w", "--servicedate", "".join(text)[: shortest - 1])
    assert status == 1 and message


def test_a_type_has_as_many_bits_as_the_page_says(make_sandbox):
    [bits] = numbers("a number of # bits in hexadecimal")
    [limit, too_large] = numbers("A number of more than # bits is written as #")
    assert limit == bits
    sandbox = make_sandbox(PARTS["formatted-v2"])
    for number, shown in [(2**bits - 2, 2**bits - 2), (2**bits, too_large)]:
        sandbox.write("--type", f"{number:x}")
        assert sandbox.read("--type").decode() == f"{shown:#x}"


def test_the_version_of_a_blank_part_is_that_of_the_page(make_sandbox):
    assert numbers("The version that the part holds, in decimal: # if the part is blank") == [
        int(make_sandbox(records.BLANK_V2).read("--version"))
    ]


def test_the_values_of_a_damaged_record_are_those_of_the_page(make_sandbox):
    shown = re.search(
        r"In place of a value these are printed: (.*?)\. Repeat", text_of("kestrel.1")
    )
    sandbox = make_sandbox(PARTS["damaged-v2"])
    printed = {sandbox.run("-r", element.option).out.decode()[:-1] for element in elements.CHECKED}
    assert {*re.findall("‘(.*?)’", shown[1])} == printed


# Statuses and messages


def test_the_statuses_are_those_of_the_page(make_sandbox):
    sandbox = make_sandbox(PARTS["formatted-v2"])
    for command, status in {
        "kestrel -w --ser_num SN-00000004711": 0,
        "kestrel -w --ser_num": 1,
        "kestrel --ser_nums": 255,
    }.items():
        assert sandbox.shell(command).status == status
    lines = (MAN / "kestrel.1").read_text().split(".Sh EXIT STATUS")[1].split(".Sh EXAMPLES")[0]
    assert re.findall(r"^\.It (\d+)$", lines, re.MULTILINE) == ["0", "1", "255", "134"]
    fault = f"strace -o log -P {sandbox.path} -e inject=read:retval=4000:when=1"
    for command, page in [
        ("kestrel -r --crc", "kestrel.1"),
        ("kestrel-boardtest 1", "kestrel-boardtest.1"),
        ("kestrel-record read", "kestrel-record.1"),
    ]:
        aborted = sandbox.shell(f"ASAN_OPTIONS=detect_leaks=0 {fault} {command}; echo $?")
        assert (
            page == "kestrel-record.1" or b"Assertion `" in aborted.err or b"Sanit" in aborted.err
        )
        if b"AddressSanitizer" in aborted.err:
            pytest.skip("the sanitizer believes the call and stops the process itself")
        assert aborted.out == b"134\n"
        assert page == "kestrel-record.1" or b"Assertion `" in aborted.err
        shell = "as the shell reports it" if page == "kestrel-record.1" else "in the shell"
        more = "" if page == "kestrel-boardtest.1" else ", and the program was stopped by SIGABRT"
        transfer = "The system reported a transfer of more bytes than were asked for"
        says(page, f"134 ({shell}) {transfer}{more}. EXAMPLES")
    says(
        "kestrel.1",
        "Further messages mean that memory was short or that the program itself is at fault. The "
        "last three are failed assertions, with status 134; two of them say that the system "
        "reported a transfer of more bytes than were asked for.",
    )


def texts_of_the_programs():
    """The texts of more than one word in the programs' constants, without usage, dump and menu."""
    subprocess.run([ROOT / "script/build", "dev"], check=True)
    sections = ["-p", ".rodata", "-p", ".rodata.str1.1", "-p", ".rodata.str1.8"]
    libraries = [
        ROOT / f"build/dev/lib{name}.a" for name in ("boardsupport", "process", "frontend")
    ]
    command = ["readelf", *sections, *libraries]
    printed = subprocess.run(command, capture_output=True, check=False).stdout.decode("latin-1")
    labels = re.findall(r"(.*?) *:", records.text("dump-formatted-v2.txt").decode())
    others = ("basic_string: ", "vector::", "cannot create std::")  # of the C++ library
    for text in re.findall(r"^ +\[ *[0-9a-f]+\]  (.*)", printed, re.MULTILINE):
        text = text.removesuffix(r"\n").strip()
        words = re.search(r"\w\S* \S*\w", text) and "%" not in text and "kestrel" not in text
        if words and text.rstrip(" :") not in labels and not text.startswith(others):
            yield text


def test_every_message_of_the_programs_stands_on_a_page():
    pages = [text_of(page) for page in PAGES]
    texts = [*texts_of_the_programs()]
    assert "CRC invalid" in texts and len(texts) > 20
    assert [text for text in texts if not any(in_one_line(text) in page for page in pages)] == []


@pytest.mark.parametrize("name", ["Executing Erase command...", "terminated", "std::bad_alloc"])
def test_the_messages_put_together_stand_on_the_page(name):
    assert name in text_of("kestrel.1")


def test_the_message_of_a_short_date_is_that_of_the_page(make_sandbox):
    result = make_sandbox(PARTS["formatted-v2"]).run("-w", "--servicedate", "2026-11-15")
    assert result.err.decode().removeprefix("kestrel: ")[:-1] in text_of("kestrel.1")
    assert numbers("this one has # characters") == [len("2026-11-15")]


# The record


def table(heading):
    """The rows below a heading of the record's page, without the first, which names the columns."""
    page = (MAN / "kestrel-record.5").read_text()
    part = re.search(rf"^\.Ss {heading}\n(.*?)^\.El\n", page, re.DOTALL | re.MULTILINE)[1]
    rows = re.findall(r"^\.It (.*)", part[part.index(".Bl -column") :], re.MULTILINE)
    return [row.split(" Ta ") for row in rows][1:]


def row_of(field):
    """A field of the program's tables as the page shows it."""
    name, data = field["name"], bytes.fromhex(field["formatted"])
    encoding = {"signed number": "calibration"}.get(field["encoding"], field["encoding"])
    if name.startswith("MAC"):
        encoding = "MAC"
    if name == "8-byte block":
        name = f"({name})"
    shown = {
        "number": lambda: "0x" + data.hex(),
        "MAC": lambda: data.hex(":"),
        "date": lambda: "%02i%02i-%02i-%02i %02i:%02i:%02i" % tuple(data),
        "text": lambda: data.rstrip(b"\0").decode(),
        "calibration": lambda: str(int.from_bytes(data, "big", signed=True)),
        "bytes": lambda: "" if any(data) else "zero",
    }[encoding]()
    return [name, str(field["position"]), str(field["length"]), encoding, shown]


@VERSIONS
def test_the_fields_are_those_of_the_program(facts, version):
    layout = facts["versions"][str(version)]
    rows = table(f"Version {version}")
    fields = [row for row in rows if row[0] not in ("(unused)", "(user bytes)")]
    assert all(row[3] == "bytes" for row in rows if row not in fields)
    assert fields == [row_of(field) for field in layout["fields"]]
    says("kestrel-record.5", "– the product data in the EEPROM of an embedded board DESCRIPTION")
    assert numbers(f"Version {version} The part has # bytes.", "kestrel-record.5") == [
        layout["size"]
    ]


@VERSIONS
def test_the_rows_fill_the_part_but_for_two_zero_bytes_after_each_mac(facts, version):
    part = records.formatted(version)
    end = 0
    for name, position, length, encoding, value in table(f"Version {version}"):
        position, length = int(position), int(length)
        assert position == end, name
        end += length
        if encoding == "MAC":
            assert part[end : end + 2] == b"\0\0"
            end += 2
        if name == "(unused)":
            assert {*part[position:end]} == {0 if value == "zero" else 0xFF}
        if name == "(user bytes)":
            assert {"position": position, "length": length} == facts["user_bytes"]
    assert end == len(part)
    sentence = "The two bytes after each MAC belong to no field, and are zero after formatting."
    assert text_of("kestrel-record.5").count(sentence) == 2
    says(
        "kestrel-record.5",
        "The EEPROM of an embedded Linux board holds one record of product data, which kestrel(1) "
        "reads and writes. The record begins with the first byte of the part.",
        f"Field Position Length Encoding Formatted FormatVersion 0 2 number 0x000{version}",
        "Field Element FormatVersion --version",
        "Field Key Version Value FormatVersion version 1, 2 1 or 2",
    )


@VERSIONS
def test_the_absent_fields_are_named(facts, version):
    def names(version):
        fields = facts["versions"][str(version)]["fields"]
        names = {field["name"] for field in fields}
        return {re.sub(r"(AioCalibration) \d", r"\1 0 to 7", name) for name in names}

    rest = text_of("kestrel-record.5").split(f"Version {version} The part")[1]
    absent = re.search(r"Absent from this version (?:is|are) (.*?)\. ", rest)[1]
    found = {name for name in names(1) | names(2) if name in absent}
    assert found == names(3 - version) - names(version)


def test_the_crc_is_computed_as_the_page_says():
    polynomial, start, result = numbers(
        "It is the CRC of Ethernet and gzip(1): the reflected polynomial #, starting at #, inverted "
        "at the end, so that the nine characters 123456789 give #.",
        "kestrel-record.5",
    )
    for data, expected in [
        (b"123456789", result),
        (PARTS["formatted-v2"][:179], int.from_bytes(PARTS["formatted-v2"][179:183], "big")),
    ]:
        crc = start
        for byte in data:
            crc ^= byte
            for _ in range(8):
                crc = crc >> 1 ^ (polynomial if crc & 1 else 0)
        assert crc ^ 0xFFFFFFFF == expected
    says(
        "kestrel-record.5",
        "Crc32 is the CRC-32 of all bytes before it, including the unused ones:",
        "Like every number it is stored with its most significant byte first.",
    )


@VERSIONS
def test_the_covered_bytes_are_those_before_the_crc(facts, version):
    last = facts["versions"][str(version)]["crc_position"] - 1
    assert f"bytes 0 to {last} in version {version}" in text_of("kestrel-record.5")


def dump(name):
    lines = records.text(name).decode().splitlines()
    return {line[:17].strip(" :"): line[18:].strip() for line in lines if line}


def test_the_fixed_values_of_the_dump_are_those_of_the_page():
    absent, damaged = dump("dump-formatted-v1.txt"), dump("dump-damaged-v2.txt")
    for of_fields in (absent, damaged):
        for sentence in [
            f"--raw shows {of_fields['MAC USB local']}, ",
            f"and likewise for MAC USB host {of_fields['MAC USB host']}.",
            "If ARI is absent or the record is damaged, it is shown as "
            f"{of_fields['ARI (DECT ID)']}, and each AioCalibration as {of_fields['AioCalibration 0']}.",
        ]:
            assert sentence in text_of("kestrel-record.5")
    ids = f"If the record is damaged, EntityId is shown as {damaged['EntityId']} and EntityModelId as "
    assert ids + damaged["EntityModelId"] + "." in text_of("kestrel-record.5")


def test_the_elements_of_the_fields_are_those_of_the_menu(facts):
    rows = [["--" + option.removeprefix("Fl -"), name] for name, option in table("The elements")]
    names = {f"MAC{number}": f"MAC{number - 1}" for number in range(1, 5)}
    options = {
        entry["option"]: names.get(entry["name"], entry["name"])
        for entry in facts["entries"]
        if entry["kind"] in ("value", "read only") and entry["name"] != "valid"
    }
    assert dict(rows) == options
    read_only = {entry["option"] for entry in facts["entries"] if entry["kind"] == "read only"}
    assert read_only & {*options} == {"--version", "--crc"}
    says(
        "kestrel-record.5",
        "reads and writes these fields as elements, the version and the CRC read only:",
    )
    says("kestrel.1", "--servicedate The date of the last service, likewise.")


# The board test


@VERSIONS
def test_the_board_test_has_the_messages_that_the_page_counts(make_sandbox, facts, version):
    counts = numbers(
        "for a damaged record there is a message for every read, # in a pass of version 1 and # in "
        "one of version 2 (MAC0 is read twice).",
        "kestrel-boardtest.1",
    )
    unread = {"FormatVersion", "DateOfProduction", "DateOfLastService", "8-byte block"}
    names = {field["name"] for field in facts["versions"][str(version)]["fields"]}
    assert len(names - unread) + 1 == counts[version - 1]
    sandbox = make_sandbox(PARTS[f"damaged-v{version}"])
    printed = sandbox.shell("kestrel-boardtest 2 2>&1 | sed /loop:9999/q").out.decode()
    assert printed.count("CRC invalid") == counts[version - 1]
    [passes] = numbers(
        "2 Read every field but the dates and the version # times, and check the CRC each time.",
        "kestrel-boardtest.1",
    )
    assert printed.startswith(f"loop:{passes}\n")


def test_the_keys_of_the_document_are_those_of_the_program(facts):
    rows = [(key, versions) for _, key, versions, _ in table("The document")]
    fields = record_model.FIELDS.items()
    assert rows == [(key, ", ".join(map(str, field.places))) for key, field in fields]
    says(
        "kestrel-record.5",
        "reads and writes the record as a JSON object with these keys, in this order.",
    )
    for name, key, versions, value in table("The document"):
        position, _ = record_model.FIELDS[key].places[int(versions[-1])]
        fields = facts["versions"][versions[-1]]["fields"]
        [row] = [row_of(field) for field in fields if field["position"] == position]
        assert name == row[0].replace("Calibration 0", "Calibration 0 to 7")
        assert value == {"version": "1 or 2", "aio_calibration": "array"}.get(key, row[3])


@pytest.mark.parametrize("page", ["kestrel.1", "kestrel-record.1"])
def test_the_synopsis_has_what_the_program_takes(page):
    synopsis = text_of(page).split(" SYNOPSIS ")[1].split(" DESCRIPTION ")[0]
    if page == "kestrel.1":
        words = " | ".join(elements.SPECIAL)
        assert synopsis == f"kestrel kestrel -r element kestrel [-w] element value kestrel {words}"
        return
    usage = records.text("record-usage.txt").decode().split("\n\n")[1]
    usage = usage.replace("| COMMAND", "\nkestrel-record COMMAND")
    lines = re.findall(r"^(?:kestrel-record| {8}).*", usage, re.MULTILINE)
    assert "".join(synopsis.split()) == re.sub(r"\s", "", "".join(lines)).lower()
