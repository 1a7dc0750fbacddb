"""What kestrel-record write leaves on a part, and by which calls."""

# ctest: first

import json
import random
import re
import shlex
import signal
import subprocess

import pytest
import record_model as model
import records

TAIL = bytes(range(256)) * 8
VERSIONS = pytest.mark.parametrize("version", [1, 2])


def filled(version, size):
    """An intact record whose gaps and unused bytes are in use, too."""
    base = records.with_crc(records.patched(TAIL[:size], 0, bytes([0, version]) + b"Vantor"))
    chance = random.Random(version)
    return model.encoded(base, version, model.random_document(chance, version))


PARTS = {
    (kind, size): contents
    for size in (128, 2048)
    for kind, contents in {
        "blank": b"\xff" * size,
        "zero": bytes(size),
        "fresh version 1": records.formatted(1, size),
        "filled version 1": filled(1, size),
        "damaged version 1": records.damaged(filled(1, size)),
        "no record": TAIL[:size],
    }.items()
}
PARTS |= {
    ("fresh version 2", 2048): records.formatted(2),
    ("filled version 2", 2048): filled(2, 2048),
    ("damaged version 2", 2048): records.damaged(filled(2, 2048)),
    ("mistaken", 128): records.MISTAKEN_V1,
    ("cut off", 128): filled(2, 2048)[:128],
}
EACH_PART = pytest.mark.parametrize(
    "contents", [pytest.param(c, id=" ".join(map(str, name))) for name, c in PARTS.items()]
)


def without(document, *keys):
    return {key: value for key, value in document.items() if key not in keys}


ONE_FIELD = [{key: field.sample} for key, field in model.FIELDS.items() if field.sample]
DOCUMENTS = [
    {},
    {"pcb_ser_num": "x" * 13},
    {"pcb_ser_num": "", "ser_num": ""},
    *({"version": v, "type": "0x1E", "mac3": "02:A5:5E:12:34:0A"} for v in (1, 2)),
    *(without(model.sample(v), "ser_num") for v in (1, 2)),
    *({**without(model.sample(v), "version"), "pcb_ser_num": ""} for v in (1, 2)),
    *(model.decoded(records.formatted(v), v) for v in (1, 2)),
    *(model.sample(v) for v in (1, 2)),
]


@EACH_PART
@pytest.mark.parametrize("afresh", [False, True], ids=["", "--format"])
def test_a_part_holds_what_the_model_says_or_is_left_alone(make_part, contents, afresh):
    part = make_part()
    options = ["--format"] if afresh else []
    kept = model.intact(contents) and not afresh
    for document in [*DOCUMENTS, *(ONE_FIELD if kept else ONE_FIELD[-1:])]:
        part.image = contents
        after = model.written(contents, document, afresh)
        dry = part.report("write", "--dry-run", *options, document=document)
        assert part.image == contents, document
        report = part.report("write", *options, document=document)
        if after is None:
            assert part.image == contents, document
            assert (report["result"], report["status"]) == ("refused", 6), document
            assert report == dry and report["errors"] and report["version"] is None
            continue
        assert part.image == after, document
        changed = after != contents
        assert report == {
            "result": "written" if changed else "unchanged",
            "status": 0,
            **differences(contents, after),
            "errors": [],
        }
        assert dry == {**report, "result": "would write" if changed else "unchanged"}
        if changed and not afresh:
            again = part.report("write", document=document)
            assert again["result"] == "unchanged" and part.image == after


def test_what_a_complete_document_lacks_is_named_with_the_way_to_do_without(make_part):
    part = make_part(records.BLANK_V1)
    refused = part.run("write", document=without(model.sample(1), "version", "mac2", "block8"))
    assert (refused.status, refused.out) == (6, b"")
    assert refused.err.decode().splitlines() == [
        "kestrel-record: the part holds no intact record: its version word is 0xffff, "
        "so every field must be named, or --format given",
        "kestrel-record: mac2: not named",
        "kestrel-record: block8: not named",
    ]


def differences(before, after):
    """What a report says of a write."""
    version = model.intact(after)
    new = model.decoded(after, version)
    old = model.decoded(before, version) if model.intact(before) == version else None
    names = [key for key in new if old is None or old[key] != new[key]]
    return {
        "version": version,
        "changed": names,
        "before": old and {key: old[key] for key in names},
        "after": {key: new[key] for key in names},
    }


# Beside kestrel


@VERSIONS
def test_a_complete_document_leaves_what_kestrel_leaves(make_sandbox, make_part, version):
    document = model.sample(version)
    lines = [f"kestrel --format_v{version}"]
    lines += [f"kestrel -w --{key} {shlex.quote(document[key])}" for key in model.ELEMENTS]
    part = make_part(records.formatted(version))
    sandbox = make_sandbox(records.formatted(version))
    for contents in (
        records.formatted(version),
        records.damaged(filled(version, part_size(version))),
    ):
        sandbox.image = contents
        assert sandbox.shell("\n".join(["set -e", *lines])) == (0, b"", b"")
        part.image = contents
        written = {key: document[key] for key in model.ELEMENTS}
        assert part.run("write", "--format", document={**written, "version": version}).status == 0
        assert part.image == sandbox.image
        assert part.run("write", document=document).status == 0
        without_elements = set(model.keys(version)) - {*model.ELEMENTS}
        assert part.image == model.encoded(
            sandbox.image, version, {key: document[key] for key in without_elements}
        )


def part_size(version):
    return records.SIZE[version]


@VERSIONS
def test_each_element_alone_leaves_what_kestrel_leaves(make_sandbox, make_part, version):
    contents = filled(version, part_size(version))
    part, sandbox = make_part(contents), make_sandbox(contents)
    for key in model.ELEMENTS:
        value = model.sample(version)[key]
        sandbox.write(f"--{key}", value)
        assert part.run("write", "--set", f"{key}={value}").status == 0
        assert part.image == sandbox.image
        assert part.run("read", key).out == sandbox.read(f"--{key}") + b"\n"


def test_what_read_prints_write_leaves_unchanged(request, make_part, tmp_path):
    part = make_part()
    rounds = request.config.getoption("--rounds")
    chance = random.Random(0)
    parts = tmp_path / "parts"
    parts.mkdir()
    for number in range(rounds):
        version = chance.choice([1, 2])
        noise = chance.randbytes(chance.choice([part_size(version), 2048]))
        head = bytes([0, version]) + b"Vantor"
        base = records.with_crc(records.patched(noise, 0, head))
        record = model.encoded(base, version, model.random_document(chance, version))
        (parts / str(number)).write_bytes(record)
    before = {path: path.read_bytes() for path in parts.iterdir()}
    script = 'for part in *; do "$0" read --device $part | "$0" write --device $part -; done'
    done = subprocess.run(
        ["sh", "-c", script, part.program], cwd=parts, capture_output=True, check=True
    )
    assert (done.stdout, done.stderr) == (b"unchanged\n" * rounds, b"")
    assert {path: path.read_bytes() for path in parts.iterdir()} == before


def test_what_follows_the_end_of_a_text_is_left_alone(make_part):
    contents = records.with_field(records.formatted(2), "--ser_num", b"SN-1\0junk")
    part = make_part(contents)
    assert part.run("write", "--set", "ser_num=SN-1").out == b"unchanged\n"
    assert part.run("write", "--set", "ser_num=SN-2").status == 0
    assert part.image == records.with_field(contents, "--ser_num", b"SN-2")


# The lines without a report


def test_what_is_changed_is_shown_in_lines(make_part):
    part = make_part(records.formatted(2))
    line = b"ser_num: 0000000000000 -> SN-0000004711\n"
    setting = ["--set", "ser_num=SN-0000004711"]
    assert part.run("write", "-n", *setting) == (0, line + b"would write\n", b"")
    assert part.run("write", *setting) == (0, line + b"written\n", b"")
    assert part.run("write", *setting) == (0, b"unchanged\n", b"")
    assert part.run("diff", *setting) == (0, b"same\n", b"")
    line = b"ser_num: SN-0000004711 -> 0\n"
    assert part.run("diff", "--set", "ser_num=0") == (1, line + b"differs\n", b"")


def test_of_a_part_without_a_record_the_lines_show_only_what_is_written(make_part):
    part = make_part(records.BLANK_V1)
    out = part.run("write", "--format", document={}).out.decode().splitlines()
    document = model.decoded(records.formatted(1), 1)
    assert out == [*(f"{key}: -> {value}" for key, value in document.items()), "written"]


def test_bytes_that_cannot_be_printed_are_escaped_in_the_lines(make_part):
    part = make_part(records.with_field(records.formatted(2), "--ser_num", b"\xe4\r\x7f"))
    line = b"ser_num: \\u00e4\\u000d\\u007f -> 1\nwould write\n"
    assert part.run("write", "-n", "--set", "ser_num=1").out == line


# The calls on the part


def operations(part, *arguments, **options):
    """The calls on the part, in short: "open O_RDWR", "flock LOCK_EX", "seek 0", "read 255"."""
    _, lines = part.strace([], *arguments, **options)
    return [short for short in map(short_form, lines) if short not in ("stat", "close", "exited")]


SHORT_FORMS = {
    r"openat\(AT_FDCWD, \"[^\"]*\", (O_RDONLY|O_RDWR)((?:\|O_(?:NONBLOCK|CLOEXEC|NOCTTY))*)\) = \d+": r"open \1",
    r"flock\(\d+, (LOCK_\w+)(\|LOCK_NB)?\) = 0": r"flock \1",
    r"lseek\(\d+, (\d+), SEEK_SET\) = \1": r"seek \1",
    r"(read|write)\(\d+, .*, (\d+)\) = \2": r"\1 \2",
    r"(newfstatat|fstat\d*|statx)\(.*\) = 0": "stat",
    r"close\(\d+\) = 0": "close",
    r"\+\+\+ exited with \d \+\+\+": "exited",
}


def short_form(line):
    line = re.sub(r"\s+= ", " = ", line)
    for form, short in SHORT_FORMS.items():
        if match := re.fullmatch(form, line):
            return match.expand(short)
    return line


def reading(mode, lock, size):
    return [f"open {mode}", f"flock {lock}", "seek 0", f"read {model.FORMATTED_END[size]}"]


@EACH_PART
def test_reading_commands_lock_the_part_shared_and_read_it_once(make_part, contents):
    part = make_part(contents)
    calls = reading("O_RDONLY", "LOCK_SH", len(contents))
    for arguments in (["read"], ["read", "--damaged"], ["diff", "--set", "type=0x1e"]):
        assert operations(part, *arguments) == calls


@VERSIONS
def test_a_dry_run_opens_the_part_for_reading_only_and_locks_it_shared(make_part, version):
    contents = records.formatted(version)
    part = make_part(contents)
    calls = operations(part, "write", "-n", document=model.sample(version))
    assert calls == reading("O_RDONLY", "LOCK_SH", len(contents))


@EACH_PART
def test_a_write_reads_once_writes_once_what_it_must_and_reads_once(make_part, contents):
    part = make_part()
    for document in ({}, *DOCUMENTS[-3:]):
        part.image = contents
        after = model.written(contents, document, True)
        if after is None:
            continue
        calls = reading("O_RDWR", "LOCK_EX", len(contents))
        if after != contents:
            first, end = model.extent(contents, after)
            calls += [f"seek {first}", f"write {end - first}", *calls[2:]]
        assert operations(part, "write", "--format", document=document) == calls
        assert part.image == after


@pytest.mark.parametrize(
    "version, settings, first, length",
    [
        (2, ["ser_num=1"], 114, 69),
        (2, ["ari=0x105c8001"], 178, 5),
        (2, ["type=0x19a"], 70, 113),  # the last byte of its CRC is that of the fresh record's
        (2, ["ser_num=0000000000001", "mac1=02:a5:5e:00:00:01"], 13, 170),
        (1, ["type=0x31"], 55, 52),
        (1, ["block8=0000000000000001"], 127, 1),
        (1, ["block8=0100000000000000", "type=0x31"], 55, 66),
    ],
)
def test_a_write_begins_at_the_first_changed_byte_and_ends_at_the_crc_or_later(
    make_part, version, settings, first, length
):
    part = make_part(records.formatted(version))
    words = [f"--set={setting}" for setting in settings]
    assert operations(part, "write", *words)[4:6] == [f"seek {first}", f"write {length}"]


def test_nothing_is_opened_for_a_document_that_is_refused(make_part):
    part = make_part(records.formatted(2))
    for command in ("write", "diff"):
        result, lines = part.strace([], command, "--set", "type=x")
        assert result.status == 3 and all("exited" in line for line in lines)


# Failures


def failed(part, injection, *arguments, **options):
    result = part.fail(injection, *arguments, **options)
    assert result.out == b""
    assert all(line.startswith(b"kestrel-record: ") for line in result.err.splitlines())
    return result.status, result.err.decode()


NOT_HELD = "kestrel-record: the part does not hold what was written to it (write protected?); "


def test_a_part_that_ignores_the_write_is_noticed(make_part):
    part = make_part(records.formatted(2))
    for claimed in (69, 1):
        ignored = f"write:retval={claimed}"
        status, message = failed(part, ignored, "write", "--set", "ser_num=1")
        assert (status, message) == (7, NOT_HELD + "the part may have been changed\n")
        report = json.loads(part.fail(ignored, "write", "--json", "--set", "ser_num=1").out)
        assert (report["result"], report["status"]) == ("failed", 7)
        values = [report[key] for key in ("changed", "before", "after")]
        assert values == [["ser_num"], {"ser_num": "0000000000000"}, {"ser_num": "1"}]
        assert part.image == records.formatted(2)


def test_a_part_that_takes_only_a_part_of_the_write_is_noticed(make_part):
    part = make_part(records.formatted(2))
    settings = ["--set", "ser_num=1", "--set", "mac1=02:a5:5e:00:00:01"]
    outcome = failed(part, "write:retval=5:when=1", "write", *settings)
    assert outcome == (7, NOT_HELD + "the part was changed\n")


@pytest.mark.parametrize("version, size", [(1, 128), (1, 2048), (2, 2048)])
def test_each_byte_read_back_counts_the_crc_and_what_follows_included(make_part, version, size):
    wanted = records.formatted(version, size)
    for position in {0, 2, 8, 103, 106, 107, 120, 127, 178, 179, 182, 183, 254}:
        if position < records.SIZE[version]:
            contents = records.patched(wanted, position, bytes([wanted[position] ^ 1]))
            first, end = model.extent(contents, wanted)
            part = make_part(contents)
            ignored = f"write:retval={end - first}"
            document = {"version": version}
            assert failed(part, ignored, "write", "--format", document=document)[0] == 7, position


@pytest.mark.parametrize("position", [0, 254])
def test_a_byte_that_reads_back_differently_is_noticed_outside_of_the_write_too(
    make_part, position
):
    part = make_part(records.formatted(2))
    wanted = records.with_field(part.image, "--ser_num", b"1")
    read_back = records.patched(wanted, position, bytes([wanted[position] ^ 1]))[: position + 1]
    damaged = f"read:poke_exit=@arg2={read_back.hex()}:when=2"
    outcome = failed(part, damaged, "write", "--set", "ser_num=1")
    assert outcome == (7, NOT_HELD + "the part was changed\n")


SEEK = "Error seek file descriptor: Input/output error"
READ = "Error reading from file descriptor"
WRITE = "Error writing to file descriptor"
BEFORE = {
    "openat:error=EACCES": "open {}: Permission denied",
    "openat:error=EIO": "open {}: Input/output error",
    "flock:error=EIO": "lock {}: Input/output error",
    "lseek:error=EIO:when=1": "read {}: " + SEEK,
    "read:error=EIO:when=1": "read {}: " + READ + ":: Input/output error",
    "read:retval=0:when=1": "read {}: " + READ + ". No bytes read:",
}
FROM_THEN_ON = {
    "write:error=EIO": "write {}: " + WRITE + ":: Input/output error",
    "write:error=ENXIO": "write {}: " + WRITE + ":: No such device or address",
    "write:retval=0": "write {}: " + WRITE + ". No bytes written:",
    "lseek:error=EIO:when=2": "write {}: " + SEEK,
    "lseek:error=EIO:when=3": "read {}: " + SEEK,
    "read:error=EIO:when=2": "read {}: " + READ + ":: Input/output error",
    "read:retval=0:when=2": "read {}: " + READ + ". No bytes read:",
}


@pytest.mark.parametrize("fault", [*BEFORE, *FROM_THEN_ON])
def test_a_failure_before_the_write_or_from_then_on_says_so(make_part, fault):
    part = make_part(records.formatted(2))
    state = "was not changed" if fault in BEFORE else "may have been changed"
    what = {**BEFORE, **FROM_THEN_ON}[fault].format("PART")
    arguments = ["write", "--set", "ser_num=1"]
    status, line = failed(part, fault, *arguments)
    message = line.removeprefix("kestrel-record: ").removesuffix("\n")
    assert status == 4
    assert re.sub(" /[^:]*", " PART", message) == f"cannot {what}; the part {state}"
    assert part.image == records.formatted(2) or fault in FROM_THEN_ON
    part.image = records.formatted(2)
    report = json.loads(part.fail(fault, *arguments, "--json").out)
    assert (report["result"], report["status"]) == ("failed", 4)
    assert report["errors"] == [{"field": None, "message": message}]


@pytest.mark.parametrize("call", ["read:error=EINTR", "write:error=EAGAIN", "write:error=EINTR"])
def test_an_interrupted_call_is_repeated(make_part, call):
    part = make_part(records.formatted(2))
    assert part.fail(call + ":when=1..20", "write", "--set", "ser_num=1").status == 0
    assert part.image == records.with_field(records.formatted(2), "--ser_num", b"1")


@pytest.mark.parametrize(
    "fault", ["read:retval=256", "write:retval=70", "write:retval=-5000", "read:retval=300:when=2"]
)
def test_a_call_that_claims_more_than_was_asked_aborts(make_part, fault):
    part = make_part(records.formatted(2))
    result = part.fail(fault, "write", "--set", "ser_num=1")
    if b"AddressSanitizer" in result.err:
        pytest.skip("the sanitizer believes the call and stops the process itself")
    assert (result.status, result.out) == (-signal.SIGABRT, b"")


# Signals


@pytest.mark.parametrize("name", ["SIGINT", "SIGTERM", "SIGHUP", "SIGALRM"])
@pytest.mark.parametrize("call", ["lseek:when=2", "write:when=1", "read:when=2"])
def test_a_signal_during_the_write_takes_effect_after_the_report(make_part, name, call):
    part = make_part(records.formatted(2))
    system_call, when = call.split(":")
    arguments = ["write", "--json", "--set", "ser_num=1"]
    result, _ = part.strace(["-e", f"inject={system_call}:signal={name}:{when}"], *arguments)
    assert (result.status, result.err) == (-getattr(signal, name), b"")
    assert json.loads(result.out)["result"] == "written"
    assert part.image == records.with_field(records.formatted(2), "--ser_num", b"1")


@pytest.mark.parametrize("fault", ["error=EIO", "retval=69"])
def test_a_signal_during_a_write_that_fails_takes_effect_after_the_message(make_part, fault):
    part = make_part(records.formatted(2))
    result = part.fail(f"write:{fault}:signal=SIGTERM", "write", "--set", "ser_num=1")
    assert result.status == -signal.SIGTERM
    assert result.err.endswith(b"; the part may have been changed\n")


def test_a_signal_that_is_ignored_stays_ignored(make_part):
    part = make_part(records.formatted(2))
    ignoring = ["sh", "-c", "trap '' HUP; exec \"$@\"", "sh"]
    tracing = ["strace", "-o", part.path.parent / "log", "-P", part.path]
    signalled = [*ignoring, *tracing, "-e", "inject=write:signal=SIGHUP"]
    done = part.run("write", "--set", "ser_num=1", before=signalled)
    assert (done.status, done.out[-8:]) == (0, b"written\n")


# A part that is written while its report cannot be


@pytest.mark.parametrize("form", [[], ["--json"]], ids=str)
def test_a_report_that_cannot_be_written_is_status_4_and_the_part_is_written(make_part, form):
    part = make_part(records.formatted(2))
    with open("/dev/full", "wb") as full:
        result = part.run("write", "--set", "ser_num=1", *form, stdout=full)
    assert result.status == 4
    assert b"standard output" in result.err and b"was changed" in result.err, result.err
    assert part.image == records.with_field(records.formatted(2), "--ser_num", b"1")
