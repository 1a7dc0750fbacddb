"""What kestrel-record read and diff show of a part."""

import json
import random

import pytest
import record_model as model
import records

VERSIONS = pytest.mark.parametrize("version", [1, 2])

FRESH_V1 = records.text("document-fresh-v1.json")
FRESH_V2 = records.text("document-fresh-v2.json")


def noise(version, seed, size=None):
    """An intact record of any bytes whatsoever."""
    contents = random.Random(seed).randbytes(size or records.SIZE[version])
    head = bytes([0, version]) + b"Vantor"
    return records.with_crc(records.patched(contents, 0, head))


def test_a_fresh_record_is_printed_with_one_key_a_line(make_part):
    assert make_part(records.formatted(1)).run("read") == (0, FRESH_V1, b"")
    assert make_part(records.formatted(1, 2048)).run("read") == (0, FRESH_V1, b"")
    assert make_part(records.formatted(2)).run("read") == (0, FRESH_V2, b"")


def test_the_default_part_is_that_of_the_board(make_sandbox):
    sandbox = make_sandbox(records.formatted(2), "kestrel-record")
    assert sandbox.run("read") == (0, FRESH_V2, b"")
    assert sandbox.run("diff", "--set", "type=0x30") == (0, b"same\n", b"")
    assert sandbox.run("write", "--set", "ser_num=1").status == 0
    assert sandbox.image == records.with_field(records.formatted(2), "--ser_num", b"1")


@VERSIONS
def test_whatever_an_intact_record_holds_is_shown_as_it_is_stored(make_part, version):
    part = make_part()
    for seed in range(50):
        part.image = noise(version, seed, 2048 if seed % 2 else None)
        result = part.run("read")
        document = json.loads(result.out)
        assert (result.status, result.err) == (0, b"") and result.out.isascii()
        assert document == model.decoded(part.image, version)
        refusals = part.report("check", document=result.out)
        assert {error["field"] for error in refusals["errors"]} == model.refused(document)
        assert part.report("diff", document={"version": version})["result"] == "same"


@pytest.mark.parametrize(
    "position, data, key, shown",
    [
        (114, b'\xe4\n\x7f"\\ \0x', "ser_num", rb'"\u00e4\u000a\u007f\"\\ "'),
        (114, bytes(13), "ser_num", b'""'),
        (114, b"x" * 13, "ser_num", b'"xxxxxxxxxxxxx"'),
        (56, bytes([21, 50, 2, 30, 99, 0, 7]), "productiondate", b'"2150-02-30 99:00:07"'),
        (63, b"\xff" * 7, "servicedate", b'"255255-255-255 255:255:255"'),
        (63, bytes(7), "servicedate", b'"0000-00-00 00:00:00"'),
        (40, bytes(6), "usb_local_mac", b'"00:00:00:00:00:00"'),
        (48, bytes(6), "usb_host_mac", b'"00:00:00:00:00:00"'),
        (8, b"\xff" * 6, "mac1", b'"ff:ff:ff:ff:ff:ff"'),
        (70, b"\0\0", "type", b'"0x0"'),
        (70, b"\xab\xcd", "type", b'"0xabcd"'),
        (127, b"\xff" * 8, "entity_id", b'"0xffffffffffffffff"'),
        (135, bytes(8), "entity_model_id", b'"0x0000000000000000"'),
        (175, b"\x90\x00\x00\x01", "ari", b'"0x90000001"'),
        (175, bytes(4), "ari", b'"0x00000000"'),
        (
            143,
            b"".join(n.to_bytes(4, "big", signed=True) for n in (3, -3, 50, -50, 10, 51, -1, 105)),
            "aio_calibration",
            b"[0.3, -0.3, 5, -5, 1, 5.1, -0.1, 10.5]",
        ),
        (
            143,
            (2**31 - 1).to_bytes(4, "big") + (2**31).to_bytes(4, "big"),
            "aio_calibration",
            b"[214748364.7, -214748364.8, 0, 0, 0, 0, 0, 0]",
        ),
    ],
    ids=str,
)
def test_the_stored_form_of_a_value(make_part, position, data, key, shown):
    part = make_part(records.with_crc(records.patched(records.formatted(2), position, data)))
    lines = part.run("read").out.splitlines()
    [line] = [line for line in lines if line.startswith(f'    "{key}"'.encode())]
    assert line.removesuffix(b",") == f'    "{key}": '.encode() + shown


@VERSIONS
def test_each_field_is_printed_alone_on_a_line_and_in_the_order_asked_for(make_part, version):
    document = model.sample(version)
    part = make_part(records.formatted(version))
    assert part.run("write", document=document).status == 0
    names = [*reversed(document), "version"]
    lines = part.run("read", *names).out.decode().splitlines()
    assert lines[-1] == str(version)
    for name, line in zip(names, lines, strict=True):
        value = document[name]
        assert line == value if isinstance(value, str) else json.loads(line) == value
    for name in set(model.FIELDS) - set(document):
        result = part.run("read", "ser_num", name)
        assert (result.status, result.out) == (6, b"") and name.encode() in result.err


def test_a_field_alone_is_escaped_in_its_line_and_not_cut(make_part):
    stored = b'\xe4\n\x7f"\\' + b"\xff" * 8
    part = make_part(records.with_field(records.formatted(2), "--ser_num", stored))
    shown = b'\\u00e4\\u000a\\u007f"\\' + rb"\u00ff" * 8
    assert part.run("read", "ser_num") == (0, shown + b"\n", b"")


# Parts without an intact record

V1, V2 = records.formatted(1), records.formatted(2)
NOT_INTACT = {
    "blank 128": (records.BLANK_V1, 1),
    "blank 2048": (records.BLANK_V2, 2),
    "zero 128": (bytes(128), 1),
    "zero 2048": (bytes(2048), 2),
    "version 2 in 128 bytes": (
        records.with_crc(records.patched(V1, 1, b"\2") + bytes(80))[:128],
        1,
    ),
    "version 0": (records.with_crc(records.patched(V2, 1, b"\0")), 2),
    "version 3": (records.with_crc(records.patched(V2, 1, b"\3")), 2),
    "version 257": (records.with_crc(records.patched(V2, 0, b"\1\1")), 2),
    "version 513": (records.with_crc(records.patched(V2, 0, b"\2\2")), 2),
    "version 1 in 2048 bytes, damaged": (records.damaged(records.formatted(1, 2048)), 1),
    "mistaken": (records.MISTAKEN_V1, 1),
    **{f"pattern {i}": (records.with_crc(records.patched(V2, i, b"x")), 2) for i in range(2, 8)},
    **{f"pattern {i} 1": (records.with_crc(records.patched(V1, i, b"x")), 1) for i in range(2, 8)},
    **{f"byte {i}": (records.patched(V2, i, bytes([V2[i] ^ 1])), 2) for i in range(8, 183, 5)},
    **{f"crc {i}": (records.patched(V2, i, bytes([V2[i] ^ 1])), 2) for i in range(179, 183)},
    **{f"crc {i}": (records.patched(V1, i, bytes([V1[i] ^ 1])), 1) for i in range(102, 107)},
}


@pytest.mark.parametrize("contents, version", NOT_INTACT.values(), ids=NOT_INTACT)
def test_a_record_that_is_not_intact_shows_no_value_unless_asked_for(make_part, contents, version):
    assert model.intact(contents) is None
    part = make_part(contents)
    for arguments in ([], ["ser_num"]):
        result = part.run("read", *arguments)
        assert (result.status, result.out) == (6, b"")
        assert result.err.startswith(b"kestrel-record: ") and result.err.count(b"\n") == 1
    result = part.run("read", "--damaged")
    assert result.status == 6 and result.err.startswith(b"kestrel-record: ")
    expected = model.decoded(contents, version)
    assert json.loads(result.out) == expected and [*json.loads(result.out)] == [*expected]
    result = part.run("read", "--damaged", "version", "mac1")
    assert (result.status, result.out.decode()) == (6, f"{version}\n{expected['mac1']}\n")
    absent = min({*model.FIELDS} - {*expected})
    result = part.run("read", "--damaged", "mac1", absent)
    assert (result.status, result.out) == (6, b"") and absent.encode() in result.err
    assert b"no intact record" in result.err
    report = part.report("diff", "--set", "type=0x30")
    assert (report["result"], report["status"]) == ("refused", 6)
    assert part.image == contents


@VERSIONS
def test_bytes_after_the_crc_do_not_damage_a_record(make_part, version):
    end = records.CRC_POSITION[version] + 4
    contents = records.formatted(version)[:end].ljust(records.SIZE[version], b"\x5a")
    assert make_part(contents).run("read", "version").status == 0


def test_an_intact_record_is_printed_with_status_0_also_when_damaged_ones_are_asked_for(make_part):
    assert make_part(V1).run("read", "--damaged") == (0, FRESH_V1, b"")


# What cannot be a part


@pytest.mark.parametrize("size", [0, 1, 127, 129, 255, 2047, 2049, 4096])
@pytest.mark.parametrize("command", [["read"], ["read", "--damaged"], ["diff"], ["write"]], ids=str)
def test_a_file_of_another_size_cannot_serve(make_part, size, command):
    contents = V2[:size].ljust(size, b"\xff")
    part = make_part(contents)
    document = None if command[0] == "read" else {}
    result = part.run(*command, document=document)
    assert (result.status, result.out) == (6, b"") and result.err.startswith(b"kestrel-record: ")
    assert result.err.endswith(b" is not a regular file of 128 or 2048 bytes\n")
    assert part.image == contents


# diff


@VERSIONS
def test_a_difference_is_shown_with_the_value_of_the_part_first(make_part, version):
    part = make_part(records.formatted(version))
    contents, held = part.image, model.decoded(records.formatted(version), version)
    for key, value in model.sample(version).items():
        report = part.report("diff", document={key: value})
        if key == "version":
            assert (report["result"], report["status"], report["changed"]) == ("same", 0, [])
            continue
        assert report == {
            "result": "differs",
            "status": 1,
            "version": version,
            "changed": [key],
            "before": {key: held[key]},
            "after": {key: value},
            "errors": [],
        }
    report = part.report("diff", document={**model.sample(version), "mac1": held["mac1"]})
    assert report["changed"] == [key for key in held if key not in ("version", "mac1")]
    assert part.report("diff", document=held)["result"] == "same"
    assert part.report("diff", document={})["result"] == "same"
    assert part.image == contents


@pytest.mark.parametrize("version, size", [(1, 128), (1, 2048), (2, 2048)])
def test_where_the_document_names_the_other_version_it_alone_differs(make_part, version, size):
    part = make_part(records.formatted(version, size))
    report = part.report("diff", document=model.sample(3 - version))
    assert (report["result"], report["status"], report["changed"]) == ("differs", 1, ["version"])
    assert report["version"] == version
    assert (report["before"], report["after"]) == ({"version": version}, {"version": 3 - version})


def test_a_field_that_the_record_has_not_and_a_text_without_room_in_it_are_status_6(make_part):
    part = make_part(V1)
    for document in ({"ari": "0x105c8000"}, {"pcb_ser_num": "x" * 13}):
        for command in ("diff", "write"):
            report = part.report(command, document=document)
            assert (report["result"], report["status"]) == ("refused", 6)
            assert [error["field"] for error in report["errors"]] == [*document]
    assert part.image == V1
    assert make_part(V2).report("diff", document={"block8": "0" * 16})["status"] == 6


def test_values_are_compared_and_not_their_texts(make_part):
    part = make_part(records.with_field(V2, "--type", b"\0\x1e"))
    document = {"type": "0x001E", "mac1": "02:A5:5E:00:00:00", "aio_calibration": [-0.0] * 8}
    document |= {"version": 2.0, "entity_id": "0x02A55E0000000000", "ari": "0x105C8000"}
    assert part.report("diff", document=document)["result"] == "same"
    assert part.report("write", document=document)["result"] == "unchanged"
    part.image = records.patched(V1, 120, bytes.fromhex("0123456789abcdef"))
    assert part.report("diff", document={"block8": "0123456789ABCDEF"})["result"] == "same"


@pytest.mark.parametrize("contents", [records.BLANK_V1, records.BLANK_V2], ids=["v1", "v2"])
@pytest.mark.parametrize("command", ["read", "diff", "write"])
def test_a_part_without_a_record_is_refused_with_the_reason(make_part, command, contents):
    part = make_part(contents)
    needed = ", so every field must be named, or --format given" if command == "write" else ""
    document = None if command == "read" else {"ser_num": "x"}
    result = part.run(command, document=document)
    reason = f"the part holds no intact record: its version word is 0xffff{needed}"
    assert (result.status, result.out) == (6, b"")
    assert result.err.splitlines()[0].decode() == f"kestrel-record: {reason}"
