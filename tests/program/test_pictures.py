"""The pictures of docs/: drawn from what they show now, and true to what the program does.

What Graphviz and mscgen draw differs from version to version, so of their pictures only the texts
with their fonts and the state of the source are compared.
"""

# ctest: tree native

import re
import subprocess
from pathlib import Path

import pytest
import records
from documents import says

ROOT = Path(__file__).parents[2]
DOCS = ROOT / "docs"


@pytest.fixture(scope="module")
def drawn(tmp_path_factory):
    """Where the pictures have been drawn anew, over others."""
    directory = tmp_path_factory.mktemp("pictures")
    for path in DOCS.glob("*.svg"):
        (directory / path.name).write_text("old")
    subprocess.run([ROOT / "script/pictures", directory], check=True)
    return directory


def test_the_script_draws_all_pictures(drawn):
    new = {path.name for path in drawn.iterdir() if path.read_text() != "old"}
    assert new == {path.name for path in DOCS.glob("*.svg")}
    says(
        "script/pictures",
        "Draws the pictures of docs/: the menu from the cells of its real screen, the map of the record "
        "from # the program's own tables, the time of a whole board on the bus from the figures of # "
        "docs/performance.md, and each diagram from its text, a *.dot or a *.msc. # usage: "
        "script/pictures [DIRECTORY] where the pictures go, docs/ without it",
    )


@pytest.mark.parametrize("picture", ["menu.svg", "record.svg", "whole-board.svg"])
def test_a_picture_of_the_program_shows_it_as_it_is(drawn, picture):
    assert (DOCS / picture).read_text() == (drawn / picture).read_text()
    says(
        "CONTRIBUTING.md",
        "The pictures are drawn by `script/pictures`. A test fails when one of them is older than "
        "what it shows: run the script and look at the picture.",
    )


@pytest.mark.parametrize("picture", ["layers.svg", "write-sequence.svg"])
def test_a_diagram_is_drawn_from_its_source_as_it_is(drawn, picture):
    def content(path):
        source, texts = path.read_text().split("<!-- drawn from ")[1].split("-->", 1)
        style = {*re.findall(r'font-family="[^"]*"|<rect width="100%"[^>]*>| dy="[^"]*"', texts)}
        texts = re.findall(r"<(text|title)\b[^>]*>([^<]*)<", texts)
        return source, style, sorted((kind, text.strip()) for kind, text in texts)

    assert content(DOCS / picture) == content(drawn / picture)


def sequence():
    """The functions and the device calls of docs/write-sequence.msc, in its order."""
    arcs = r'\w+ (?:=>|box) (\w+) \[label = "((?:[^"\\]|\\.)*)"'
    functions, calls = [], []
    for target, label in re.findall(arcs, (DOCS / "write-sequence.msc").read_text()):
        if function := re.match(r"~?\w+(?=\()", label):
            functions.append(function[0])
        elif target == "file" and re.fullmatch(r"[a-z]+( \d+)?(, [a-z]+ \d+)*", label):
            calls += label.split(", ")
    return functions, calls


def test_the_write_sequence_has_the_device_calls_of_a_run(make_sandbox):
    run = make_sandbox(records.formatted(2)).operations("-w", "--pcb_rev", "001")
    assert sequence()[1] == run
    says(
        "docs/architecture.md",
        "the one way in which a field changes: write it, read it back, renew the CRC, load the "
        "mirror again. [Each call of a write](write-sequence.svg) shows it.",
    )


def test_the_write_sequence_names_functions_of_the_program(request):
    program = Path(request.config.getoption("--programs")) / "kestrel"
    symbols = subprocess.check_output(["nm", "-C", program], text=True)
    names = {*re.findall(r"(~?\w+)\(", symbols)}
    functions = sequence()[0]
    assert len(functions) > 8
    assert {*functions} <= names


def includes():
    """(source, header) of all sources: the first one includes the second one."""
    for folder in ("tool", "record", "process", "boardsupport"):
        for source in (ROOT / folder).iterdir():
            for header in re.findall(r'^#include "(\w+)\.h"', source.read_text(), re.MULTILINE):
                yield source, next(ROOT.glob(f"*/{header}.h"))


def test_the_layers_include_each_other_as_drawn():
    plain = subprocess.check_output(["dot", "-Tplain", DOCS / "layers.dot"], text=True)
    lines = [line.split() for line in plain.splitlines()]
    nodes = {line[1] for line in lines if line[0] == "node"} - {"file"}
    edges = {(line[1], line[2]) for line in lines if line[0] == "edge"}

    def node_of(path):
        """VaEepromReads.cpp belongs to VaEeprom, and a file of process/ to that."""
        if path.parent.name in nodes:
            return path.parent.name
        if (name := f"{path.parent.name}_{path.stem}") in nodes:
            return name
        rest = r"([A-Z]\w*)?" if path.suffix == ".cpp" else ""
        return next((node for node in nodes if re.fullmatch(node + rest, path.stem)), None)

    assert edges - {("DescriptorIo", "file")} == {
        (node_of(source), node_of(header))
        for source, header in includes()
        if node_of(source) and node_of(header) and node_of(source) != node_of(header)
    }
    says(
        "docs/architecture.md",
        "Each layer knows only those below it; an arrow is an include.",
        "and neither knows the other.",
    )
    says("README.md", "![The layers, and what each of them uses](docs/layers.svg)")
