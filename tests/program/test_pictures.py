"""The pictures of docs/: drawn from today's code and texts, and true to what the program does."""

import re
import subprocess
from pathlib import Path

import pytest
import records

ROOT = Path(__file__).parents[2]
DOCS = ROOT / "docs"

SCRIPTS = {
    "script/menu-picture": ["menu.svg"],
    "script/record-picture": ["record.svg"],
}


@pytest.mark.parametrize("script", SCRIPTS)
def test_a_script_draws_its_pictures_as_they_are(tmp_path, script):
    pictures = SCRIPTS[script]
    subprocess.run([ROOT / script, tmp_path / pictures[0]], check=True)
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
    subprocess.run([ROOT / "script/build", "release", "record-fields"], check=True)
    printed = subprocess.check_output([ROOT / "build/release/tests/record-fields"], text=True)
    lines = [line.split("\t") for line in printed.splitlines()]
    return {int(line[2]): (int(line[3]), line[5]) for line in lines if line[0] == str(version)}


@pytest.mark.parametrize("version", [1, 2])
def test_the_map_of_the_record_has_each_field_as_it_is_written(make_board, version):
    operations = make_board(records.formatted(version)).operations(f"--format_v{version}")
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
