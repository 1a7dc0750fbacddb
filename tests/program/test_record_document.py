"""Which documents kestrel-record takes, and what it says of the others."""

# ctest: native

import itertools
import json
import random

import jsonschema
import pytest
import record_model as model
import records
from documents import ROOT, says

SCHEMA = json.loads((ROOT / "man/kestrel-record.schema.json").read_text())
MIB = 1 << 20


def texts(*values):
    return [json.dumps(value) for value in values]


def gains(*values):
    return ["[%s]" % ", ".join([value] + ["0"] * 7) for value in values]


OF_ANY_KEY = ["null", "true", "{}", "[]", "[[]]", '["x"]']
NO_TEXT = [*OF_ANY_KEY, "0", "1", "1.5"]
A_MAC = "02:a5:5e:12:34:01"
A_DATE = "2026-11-15 10:42:16"

MAC = (
    texts(A_MAC, "02:A5:5e:Ab:cD:eF", "00:00:00:00:00:01", "fe:ff:ff:ff:ff:ff"),
    [
        *NO_TEXT,
        *texts("00:00:00:00:00:00", "01:00:00:00:00:00", "ff:ff:ff:ff:ff:ff", "03:a5:5e:12:34:01"),
        *texts("", A_MAC[:-1], A_MAC[:-3], A_MAC + "0", A_MAC + ":00", A_MAC + "\n", A_MAC + "\0"),
        *texts(A_MAC.replace(":", "-"), A_MAC.replace(":", ""), " " + A_MAC, A_MAC + " "),
        *texts("02:a5:5e:12:34:0g", "02:a5:5e:12:34: 1", "02:a5:5e:12:34:-1", "2:a5:5e:12:34:010"),
        *texts("02:a5:5e:12:34;01", "02.a5:5e:12:34:01", "0\u0662:a5:5e:12:34:01"),
    ],
)
DATE = (
    texts(A_DATE, "2013-01-01 00:00:00", "2099-12-31 23:59:59", "2024-02-29 00:00:00"),
    [
        *NO_TEXT,
        *texts("2012-12-31 23:59:59", "2100-01-01 00:00:00", "2113-01-01 00:00:00"),
        *texts("2026-00-15 10:42:16", "2026-13-15 10:42:16", "2026-11-00 10:42:16"),
        *texts("2026-11-31 10:42:16", "2026-12-32 10:42:16", "2026-02-29 10:42:16"),
        *texts("2026-04-31 00:00:00", "2026-06-31 00:00:00", "2026-09-31 00:00:00"),
        *texts("2028-02-30 00:00:00", "2026-11-15 24:42:16", "2026-11-15 10:60:16"),
        *texts("2026-11-15 10:42:60", "2026-11-15T10:42:16", "2026/11/15 10:42:16"),
        *texts("2026-11-15 10.42.16", "2026-11-15", "2026-1-15 10:42:16", "2026-11-15 10:42"),
        *texts("", A_DATE + "Z", A_DATE + " ", " " + A_DATE, A_DATE + "\n", "2026-11-15 10:42: 6"),
        *texts("2026-11-15 +1:42:16", "2026-11-15 10:42:1x", "2026-11-15 10:42:1\u0666"),
    ],
)
REVISION = (
    texts("000", "1.2", "   ", '"\\/', "~~~"),
    [*NO_TEXT, *texts("", "00", "0000", "00\n", "00\0", "00\x7f", "00\x1f", "0\u00e4", "00\u0660")],
)
ID = (
    texts("0x02a55e0000000000", "0xFfFfFfFfFfFfFfFf", "0x0000000000000000"),
    [
        *NO_TEXT,
        *texts("0x", "0x02a55e000000000", "0x02a55e00000000000", "0X02a55e0000000000"),
        *texts("", "02a55e0000000000", "0x02a55e000000000g", "0x02a55e0000000000\n"),
        *texts(" 0x02a55e000000000", "0x 2a55e0000000000", "0x-2a55e0000000000"),
    ],
)
# key: (values that are accepted, values that are refused), as they stand in a document
VALUES = {
    "version": (
        ["1", "2", "1.0", "2.0", "2e0", "0.1e1"],
        [*OF_ANY_KEY, "0", "3", "-1", "1.5", "65537", "4294967297", '"1"', "1e300"],
    ),
    **{key: MAC for key in ("mac1", "mac2", "mac3", "mac4", "usb_local_mac", "usb_host_mac")},
    "productiondate": DATE,
    "servicedate": DATE,
    "type": (
        texts("0x0", "0x1e", "0x001e", "0xFFFF", "0xabCD"),
        [*NO_TEXT, *texts("", "1e", "0x", "0X1e", "0x00001", "0x1g", "0x1e ", " 0x1e", "0x-1")]
        + texts("-0x1", "0x1e\n", "0x 1", "30"),
    ),
    "hardware_rev": REVISION,
    "pcb_rev": REVISION,
    "pcb_ser_num": (
        texts("", "x", "x" * 12, "x" * 36, ' !~"\\'),
        [*NO_TEXT, *texts("x" * 37, "x" * 100000, "x\r", "x\0", "\x7f", "\u00e4", "\x1f")],
    ),
    "ser_num": (
        texts("", "x", "x" * 13, ' !~"\\'),
        [*NO_TEXT, *texts("x" * 14, "x" * 100000, "x\r", "x\0", "\x7f", "\u00e4", "\x1f")],
    ),
    "entity_id": ID,
    "entity_model_id": ID,
    "ari": (
        texts("0x105c8000", "0x105c8fff", "0x105C8aBc"),
        [*NO_TEXT, *texts("0x105c7fff", "0x105c9000", "0x005c8000", "0x905c8000", "105c8000")]
        + texts("", "0X105c8000", "0x105c800", "0x105c80000", "0x105c800g", "0x105c8000\n"),
    ),
    "aio_calibration": (
        [
            *gains("0", "-0", "1e0", "0.3", "-0.1", "5", "-5", "5.0", "-50e-1", "0.30", "4.9"),
            *(f"[{', '.join(str(n / 10) for n in range(k, k + 8))}]" for k in range(-50, 44)),
        ],
        [
            *OF_ANY_KEY,
            *gains("5.1", "-5.1", "0.05", "0.30000000000000004", "1e-9", "6", "1e300", "50"),
            *gains('"1"', "null", "true", "[]", "{}"),
            *["0", '"0"', "[0, 0, 0, 0, 0, 0, 0]", "[0, 0, 0, 0, 0, 0, 0, 0, 0]"],
        ],
    ),
    "block8": (
        texts("0000000000000000", "0123456789abcdef", "FFFFFFFFFFFFFFFF"),
        [*NO_TEXT, *texts("", "0x00000000000000", "0" * 15, "0" * 17, "0x" + "0" * 16)]
        + texts("000000000000000g", "0" * 16 + "\n", " " + "0" * 15),
    ),
}

TOGETHER = [  # no version takes these together
    {"block8": "0" * 16, "ari": "0x105c8000"},
    {"block8": "0" * 16, "usb_host_mac": A_MAC, "mac1": A_MAC},
    {"block8": "0" * 16, "pcb_ser_num": "x" * 13},
    {"block8": "0" * 16, "aio_calibration": [0] * 8, "usb_local_mac": A_MAC},
    {"block8": "0" * 16, "ari": "bad"},
]


@pytest.fixture
def record(make_part):
    return make_part()


def short(value):
    return str(value)[:40]


def test_the_values_of_all_keys_are_tried():
    assert [*VALUES] == [*model.FIELDS]


@pytest.mark.parametrize("key", model.FIELDS)
def test_a_value_that_a_record_can_hold_is_accepted(record, key):
    for value in VALUES[key][0]:
        document = f'{{"{key}": {value}}}'.encode()
        assert model.refused(json.loads(document)) == set()
        assert record.run("check", document=document) == (0, b"valid\n", b""), value


@pytest.mark.parametrize("key", model.FIELDS)
def test_a_value_that_no_record_can_hold_is_refused_by_the_name_of_its_key(record, key):
    for value in VALUES[key][1]:
        document = f'{{"{key}": {value}}}'.encode()
        assert model.refused(json.loads(document)) == {key}
        result = record.run("check", document=document)
        assert (result.status, result.out) == (3, b""), value
        assert result.err.startswith(f"kestrel-record: {key}: ".encode()), value
        assert result.err.count(b"\n") == 1 and result.err.isascii(), value


@pytest.mark.parametrize("version", [1, 2])
def test_a_key_that_the_version_lacks_and_a_value_without_room_in_it_are_refused(record, version):
    for key, field in model.FIELDS.items():
        document = {"version": version, **({} if key == "version" else {key: field.sample})}
        expected = [] if version in field.places else [key]
        report = record.report("check", document=document)
        assert [error["field"] for error in report["errors"]] == expected
    for length, statuses in ((12, {1: 0, 2: 0}), (13, {1: 3, 2: 0}), (36, {1: 3, 2: 0})):
        document = {"pcb_ser_num": "x" * length, "version": version}
        assert record.report("check", document=document)["status"] == statuses[version]


@pytest.mark.parametrize("document", TOGETHER, ids=short)
def test_keys_and_values_that_no_one_version_takes_together_are_refused(record, document):
    document = {**document}
    report = record.report("check", document=document)
    assert (report["status"], report["result"]) == (3, "refused")
    assert {error["field"] for error in report["errors"]} == {*document} - {"mac1"}
    del document["block8"]
    report = record.report("check", document=document)
    assert report["result"] == ("refused" if document.get("ari") == "bad" else "valid")
    assert report["version"] is None  # also where only one has these keys


@pytest.mark.parametrize("key", ["", "crc", "mac0", "mac5", "MAC1", "mac1 ", "version\n", "\u00e4"])
@pytest.mark.parametrize("version", [{}, {"version": 1}, {"version": 2}], ids=str)
def test_an_unknown_key_is_refused_by_its_name(record, key, version):
    report = record.report("check", document={**version, key: "x"})
    assert (report["status"], [error["field"] for error in report["errors"]]) == (3, [key])


def test_every_error_is_named_at_once(record):
    document = {key: None for key in [*model.FIELDS, "crc", "mac0"]}
    report = record.report("check", document=document)
    assert report["status"] == 3
    assert sorted(error["field"] for error in report["errors"]) == sorted(document)
    assert all(error["message"] for error in report["errors"])
    lines = record.run("check", document=document).err.decode().splitlines()
    assert sorted(line.split(": ")[:2] for line in lines) == sorted(
        ["kestrel-record", key] for key in document
    )


@pytest.mark.parametrize(
    "document, messages",
    [
        ({"nix": 1}, ["nix: there is no such field"]),
        (
            {"version": 1, "ari": "0x105c8000", "pcb_ser_num": "0123456789012"},
            [
                "ari: version 1 does not have this field",
                "pcb_ser_num: version 1 has room for 12 characters, not for 13",
            ],
        ),
        (
            {"ari": "0x105c8000", "block8": "0011223344556677"},
            [
                f"{key}: version {version} does not have this field,"
                " and the other version does not take everything that is named"
                for key, version in (("ari", 1), ("block8", 2))
            ],
        ),
    ],
)
def test_what_is_wrong_is_said_in_these_words(record, document, messages):
    lines = "".join(f"kestrel-record: {message}\n" for message in messages)
    assert record.run("check", document=document) == (3, b"", lines.encode())


def test_each_key_says_what_it_must_be(record):
    nothing = {key: None for key in model.FIELDS}
    refusals = records.text("record-refusals.txt")
    assert record.run("check", document=nothing) == (3, b"", refusals)


def test_an_image_needs_a_version(record):
    message = b"kestrel-record: version: must be named\n"
    assert record.run("image", "-o", "-", document={}) == (3, b"", message)


def test_an_empty_document_and_a_complete_one_of_each_version_are_accepted(record):
    for document in ({}, model.sample(1), model.sample(2)):
        assert record.run("check", document=document) == (0, b"valid\n", b"")
        assert record.report("check", document=document)["version"] == document.get("version")


# Text that is no document


NO_DOCUMENTS = (
    [b"", b" ", b"[]", b"null", b"1", b'"x"', b"{", b"}", b'{"type"}', b'{"type": }', b"{},"]
    + [b"{}{}", b"{} x", b"{}\0", b"\0", b'{"version": 1\0}', b'{"version": 1\0']
    + [b'{"type"\0: "0x1"}', b"\xef\xbb\xbf{}", b'{"type": "0x1",}', b"{'type': '0x1'}"]
    + [b"// x\n{}", b"{} // x", b"/* x */ {}", b"# x\n{}", b'{type: "0x1"}', b'{"type": 0x1}']
    + [b'{"version": NaN}', b'{"version": 01}', b'{"version": +1}', b'{"version": 1.}']
    + [b'{"version": 1e999}', b'{"version": 18446744073709551617}', b'{"ser_num": "\xff"}']
    + [b'{"ser_num": "\xc3"}', b'{"ser_num": "\xed\xa0\x80"}', b'{"ser_num": "\xc0\xb0"}']
    + [b'{"\xff": 1}', b"\xff{}", b'{"ser_num": "\n"}', b'{"ser_num": "\\x"}', b'{"ser_num": "']
    + [b'{"ser_num": "\\ud800"}', b'{"type": "0x1", "type": "0x1"}', b"[" * 100000]
    + [b'{"aio_calibration": ' + b"[" * 100000, b'{"x":' * 100000, b"[" * 100000 + b"]" * 100000]
    + [b"{}" + b" " * (MIB - 1), b"x" * 3 * MIB, b'{"ser_num": "' + b"x" * 3 * MIB + b'"}']
)


@pytest.mark.parametrize("text", NO_DOCUMENTS, ids=short)
def test_a_text_that_is_no_document_is_refused_in_one_line(record, text):
    report = record.report("check", document=text)
    assert (report["result"], report["status"]) == ("refused", 3)
    assert len(report["errors"]) == 1 and report["errors"][0]["message"]
    assert report["version"] is None
    result = record.run("check", document=text)
    assert (result.status, result.out) == (3, b"")
    assert result.err.startswith(b"kestrel-record: ") and result.err.count(b"\n") == 1
    assert len(result.err) < 1000 and result.err.isascii()


def test_line_and_column_of_the_error_are_named(record):
    for text, line, column in ((b'{"type": "0x1",\n  x}', "2", "3"), (b"\n\n{}  x", "3", "5")):
        message = record.report("check", document=text)["errors"][0]["message"]
        assert f"line {line}" in message and f"column {column}" in message, message


def test_a_key_that_stands_twice_is_named(record):
    text = b'{"type": "0x1", "ser_num": "1", "type": "0x1"}'
    error = record.report("check", document=text)["errors"][0]
    assert "type" in (error["field"] or error["message"])


def test_blanks_and_line_ends_around_the_object_are_no_harm_up_to_one_mebibyte(record):
    for text in (b" \r\n\t{ } \n", b"{}" + b" " * (MIB - 2), b"\n" * (MIB - 2) + b"{}"):
        assert record.run("check", document=text) == (0, b"valid\n", b"")


def test_an_endless_document_is_refused_where_it_is_too_long(record):
    assert record.run("check", "/dev/zero").status == 3


# What messages show


def test_a_value_in_a_message_is_escaped_and_cut(record):
    for value, shown in (("SN-4711\r", "SN-4711\\u000d"), ("\u00e4\x7f", "\\u00c3\\u00a4\\u007f")):
        result = record.run("check", "--set", f"hardware_rev={value}")
        assert result.status == 3 and shown.encode() in result.err, result
        assert result.err[:-1].isascii() and result.err[:-1].decode().isprintable()
    for key, value in (("ser_num", "x" * 100000), ("x" * 100000, "y"), ("\n" * 5000, "y")):
        result = record.run("check", document={key: value})
        assert result.status == 3 and result.err.startswith(b"kestrel-record: ")
        assert result.err.count(b"\n") == 1 and len(result.err) < 500


# --set


def accepted(record, *arguments, **options):
    return record.run("check", *arguments, **options).status == 0


def test_set_replaces_what_the_document_says_before_it_is_checked(record):
    for bad in ("bad", None, 5):
        assert accepted(record, "--set", "type=0x1e", document={"type": bad})
        assert not accepted(record, "--set", "ser_num=1", document={"type": bad})
    assert not accepted(record, "--set", "type=bad", document={"type": "0x1e"})
    assert accepted(record, "--set", "version=2", document={"version": 1, "ari": "0x105c8000"})


def test_the_last_set_of_a_field_counts_and_only_it_is_checked(record):
    assert accepted(record, "--set", "type=bad", "--set", "type=0x1")
    assert accepted(record, "--set", "version=[", "--set", "version=1")
    assert not accepted(record, "--set", "type=0x1", "--set", "type=bad")


def settings_of(key):
    """Each value of the key that a setting can have, as its text, and as a document has it."""
    is_json = key in ("version", "aio_calibration")
    for value in [*VALUES[key][0], *VALUES[key][1]]:
        text = value if is_json else json.loads(value)
        if isinstance(text, str) and "\0" not in text and text:
            yield key, text, json.loads(value)


def test_set_takes_the_text_of_a_string_and_the_json_of_a_number_or_an_array(record):
    for row in itertools.zip_longest(*map(settings_of, VALUES)):
        row = [setting for setting in row if setting]
        report = record.report("check", *(f"--set={key}={text}" for key, text, _ in row))
        refused = model.refused({key: value for key, _, value in row})
        assert {error["field"] for error in report["errors"]} == refused, row
    for bad in ("version=x", "version=1 2", "version=", "aio_calibration=[1", "version=\xff"):
        assert not accepted(record, "--set", bad)


def test_set_is_cut_at_the_first_equals_sign(record):
    assert accepted(record, "--set", "ser_num==a=b=")
    assert not accepted(record, "--set", "ser_num==a=b=0123456789")


def test_bytes_that_are_no_utf8_are_refused_in_a_set(record):
    result = record.run("check", "--set", b"ser_num=SN-\xff")
    assert result.status == 3 and b"\\u00ff" in result.err


def test_an_unknown_key_in_a_set_is_refused_as_in_a_document(record):
    for key in ("", "crc", "MAC1", b"\xff"):
        setting = (key if isinstance(key, bytes) else key.encode()) + b"=x"
        assert record.report("check", "--set", setting)["result"] == "refused"


# The schema


def ecma_pattern(_validator, expression, instance, _schema):
    """In ECMA's expressions, unlike in Python's, $ does not match before a last line feed."""
    if isinstance(instance, str) and not model.re.search(expression.replace("$", r"\Z"), instance):
        yield jsonschema.ValidationError(expression)


VALIDATOR = jsonschema.validators.extend(jsonschema.Draft7Validator, {"pattern": ecma_pattern})(
    SCHEMA
)


def beyond_the_schema(document):
    """What a schema cannot say: which dates exist, and which doubles are tenths exactly.

    Nor can it speak of texts: those that are no JSON or too long, and keys that stand twice.
    """
    dates = [document.get(key) for key in ("productiondate", "servicedate")]
    unreal = any(isinstance(date, str) and not model.is_date(date, None) for date in dates)
    values = document.get("aio_calibration")
    numbers = (
        [value for value in values if model.is_number(value)] if isinstance(values, list) else []
    )
    return unreal or not all(map(model.is_gain, numbers))


def mixed_documents():
    """Complete documents with some values exchanged, keys left out and keys of other versions."""
    chance = random.Random(4711)
    for _ in range(300):
        document = model.sample(chance.choice([1, 2]))
        for _ in range(chance.randrange(4)):
            key = chance.choice([*model.FIELDS])
            good, bad = VALUES[key]
            document[key] = json.loads(chance.choice(chance.choice([good, good, bad])))
        for key in chance.sample([*document], chance.choice([0, 0, 1, 8])):
            del document[key]
        if chance.random() < 0.05:
            document[chance.choice(["", "crc", "Version"])] = 1
        yield document


def test_the_schema_agrees_with_the_program(record):
    jsonschema.Draft7Validator.check_schema(SCHEMA)
    # What the program says of a single value is known.
    for key, (good, bad) in VALUES.items():
        for value in good + bad:
            document = json.loads(f'{{"{key}": {value}}}')
            expected = VALIDATOR.is_valid(document) and not beyond_the_schema(document)
            assert (value in good) == expected, document
    documents = [*TOGETHER, *mixed_documents()]
    valid = 0
    for document in documents:
        report = record.report("check", document=document)
        fields = {error["field"] for error in report["errors"]}
        assert fields == model.refused(document), document
        expected = VALIDATOR.is_valid(document) and not beyond_the_schema(document)
        assert (report["status"] == 0) == expected, document
        valid += expected
    assert len(documents) / 4 < valid < len(documents) * 3 / 4
    for text in (b'{"servicedate": "2026-02-30 00:00:00"}', b'{"type": "0x1", "type": "0x1"}'):
        assert VALIDATOR.is_valid(json.loads(text))
        assert record.report("check", document=text)["status"] == 3
    says(
        "kestrel-record.1",
        "It cannot say everything: dates that do not exist and keys that stand twice are among the "
        "things that only check notices.",
    )


def test_the_schema_has_the_keys_of_the_program_in_its_order(make_part):
    for version, form in zip((1, 2), SCHEMA["anyOf"]):
        part = make_part(model.formatted(version))
        assert [*json.loads(part.run("read").out)] == [*form["properties"]]
        assert form["title"] == f"Version {version}"
