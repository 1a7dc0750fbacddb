"""The pictures of docs/: drawn from today's code and texts, and true to what the program does."""

# ctest: tree native

import json
import re
import subprocess
from pathlib import Path

import pytest
import records
from conftest import Sandbox, short_form

ROOT = Path(__file__).parents[2]
DOCS = ROOT / "docs"

SCRIPTS = {
    "script/diagrams": ["layers.svg", "write-sequence.svg"],
    "script/menu-picture": ["menu.svg"],
    "script/record-picture": ["record.svg"],
}


@pytest.mark.parametrize("script", SCRIPTS)
def test_a_script_draws_its_pictures_as_they_are(tmp_path, script):
    pictures = SCRIPTS[script]
    target = tmp_path if script == "script/diagrams" else tmp_path / pictures[0]
    subprocess.run([ROOT / script, target], check=True)
    for picture in pictures:
        assert (tmp_path / picture).read_text() == (DOCS / picture).read_text()


def test_every_picture_says_which_script_draws_it():
    scripts = {}
    for picture in DOCS.glob("*.svg"):
        made_by = re.search(r"<!-- made by (\S+) .*-->", picture.read_text())[1]
        scripts.setdefault(made_by, []).append(picture.name)
    assert {script: sorted(pictures) for script, pictures in scripts.items()} == SCRIPTS


def fields_of(version):
    """What script/record-picture draws: {position: (length, name)}."""
    subprocess.run([ROOT / "script/build", "release", "facts"], check=True)
    printed = subprocess.check_output([ROOT / "build/release/tests/facts"])
    fields = json.loads(printed)["versions"][str(version)]["fields"]
    return {field["position"]: (field["length"], field["name"]) for field in fields}


@pytest.mark.parametrize("version", [1, 2])
def test_the_map_of_the_record_has_each_field_as_it_is_written(make_sandbox, version):
    operations = make_sandbox(records.formatted(version)).operations(f"--format_v{version}")
    written = {}
    for seek, write in zip(operations, operations[1:]):
        if seek.startswith("seek") and write.startswith("write"):
            position, length = int(seek.split()[1]), int(write.split()[1])
            written[position] = max(length, written.get(position, 0))
    del written[0]  # the header, which is more than a field

    fields = fields_of(version)
    unwritten = ("Format", "AioCalibration", "8-byte block")
    assert written == {
        position: length
        for position, (length, name) in fields.items()
        if not name.startswith(unwritten)
    }
    for position, length in written.items():
        fields.pop(position)
    assert fields == {
        0: (2, "FormatVersion"),
        2: (6, "FormatPattern"),
        **(
            {120: (8, "8-byte block")}
            if version == 1
            else {143 + 4 * i: (4, f"AioCalibration {i}") for i in range(8)}
        ),
    }


def sequence():
    """The device calls of docs/write-sequence.msc, each with the functions that lead to it."""
    functions = []
    arcs = r'\w+ (?:=>|box) (\w+) \[label = "((?:[^"\\]|\\.)*)"'
    for target, label in re.findall(arcs, (DOCS / "write-sequence.msc").read_text()):
        if function := re.match(r"(~?\w+)\(", label):
            functions.append(function[1])
        elif target == "file" and re.fullmatch(r"[a-z]+( \d+)?(, [a-z]+ \d+)*", label):
            yield from ((call, functions) for call in label.split(", "))
            functions = []


def calls_with_callers(sandbox, *arguments):
    """The device calls of a run, each with the functions that lead to it, the outermost first."""
    result, lines = sandbox.strace(["-k"], arguments)
    assert (result.status, result.err) == (0, b"")
    calls = []
    for line in lines:
        if function := re.search(r" > .*?\((?:\w+::)*(~?\w+)\([^{]*\+0x", line):
            calls[-1][1].insert(0, function[1])
        elif not line.startswith((" > ", "+++")):
            calls.append((short_form(line), []))
    return calls


def test_the_write_sequence_is_that_of_a_run(tmp_path):
    # Not of the build under test: an optimised one has functions that the stack does not show.
    subprocess.run([ROOT / "script/build", "dev", "kestrel"], check=True)
    sandbox = Sandbox(tmp_path / "sandbox", ROOT / "build/dev/kestrel", records.formatted(2))
    run = calls_with_callers(sandbox, "-w", "--pcb_rev", "001")
    drawn = list(sequence())
    assert [call for call, _ in drawn] == [call for call, _ in run]
    for (call, functions), (_, stack) in zip(drawn, run):
        assert [function for function in stack if function in functions] == functions, call


def includes():
    """(name, name) of all sources: the first one's files include the second one's header."""
    for folder in ("tool", "process", "boardsupport"):
        for source in (ROOT / folder).iterdir():
            for header in re.findall(r'^#include "(\w+)\.h"', source.read_text(), re.MULTILINE):
                yield source.stem, header


def test_the_layers_include_each_other_as_drawn():
    plain = subprocess.check_output(["dot", "-Tplain", DOCS / "layers.dot"], text=True)
    lines = [line.split() for line in plain.splitlines()]
    nodes = {line[1] for line in lines if line[0] == "node"} - {"file"}
    edges = {(line[1], line[2]) for line in lines if line[0] == "edge"}

    def node_of(stem):
        """VaEepromReads.cpp is of VaEeprom, say."""
        return next((n for n in nodes if re.fullmatch(n + r"([A-Z]\w*)?", stem)), None)

    assert edges - {("DescriptorIo", "file")} == {
        (node_of(stem), header)
        for stem, header in includes()
        if node_of(stem) and header in nodes and node_of(stem) != header
    }
