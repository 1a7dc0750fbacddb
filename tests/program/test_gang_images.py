"""The recipe for the images of a gang programmer, as docs/on-the-board.md has it."""

# ctest: tree native

import json
import os
from pathlib import Path

import pytest
import record_model as model
import records
from conftest import result_of
from documents import block, says

DOCUMENT = "docs/on-the-board.md"
UNITS = block("units", DOCUMENT)
SHARED = {"version": 2, "type": "0x1e", "mac3": "02:a5:5e:12:00:03"}
FIELDS = ("ser_num", "mac1", "mac2")


@pytest.fixture
def run(request, tmp_path):
    """Runs a recipe of the document in a folder of its own."""
    programs = Path(request.config.getoption("--programs")).resolve()
    (tmp_path / "board.json").write_text(json.dumps(SHARED))

    def run_it(recipe, units=None):
        if units is not None:
            (tmp_path / "units.txt").write_bytes(units.encode())
        environment = {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}"}
        return result_of(["sh", "-c", block(recipe, DOCUMENT)], environment, cwd=tmp_path)

    return run_it


def images(folder):
    return {file.name: file.read_bytes() for file in (folder / "images").iterdir()}


def expected():
    documents = [dict(zip(FIELDS, line.split())) for line in UNITS.splitlines()]
    fresh = records.formatted(2)
    return {
        f"{document['ser_num']}.bin": model.encoded(fresh, 2, {**SHARED, **document})
        for document in documents
    }


@pytest.mark.parametrize(
    "units",
    [UNITS, UNITS.replace("\n", "\r\n"), UNITS[:-1], "\n" + UNITS.replace("\n", "\n\n")],
    ids=["as shown", "from Windows", "no end of the last line", "empty lines"],
)
def test_each_unit_of_the_list_gets_its_image(run, tmp_path, units):
    assert run("images", units) == (0, b"", b"")
    assert images(tmp_path) == expected() and len(expected()) == 2
    (tmp_path / "images").rename(tmp_path / "earlier")
    assert run("images", units).status == 0
    says(
        DOCUMENT,
        "A gang programmer writes parts before they are soldered, each with a file of its own. "
        "`board.json` is what all units share, with the `version`; `units.txt` has a line for each "
        "unit, with its serial number and its addresses:",
        f"This makes `images/{min(expected())}` and so on.",
        "Lists from elsewhere have line ends of their own, empty lines, and none after the last unit.",
        "Units of earlier lists are not known here: keep the lists, and look there for numbers that "
        "come again.",
    )


FIRST, SECOND = UNITS.splitlines()
REFUSED = {
    "a bad address": (FIRST.replace("02:a5", "03:a5"), SECOND),
    "a bad last unit": (FIRST, SECOND + "0"),
    "a serial number twice": (FIRST, SECOND.replace("4712", "4711")),
    "a serial number in other letters": (FIRST, FIRST.lower().replace("12:34", "00:34")),
    "an address twice": (FIRST, SECOND.replace("34:03", "34:02")),
    "an address in other letters": (
        FIRST,
        SECOND.replace("02:a5:5e:12:34:03", "02:A5:5E:12:34:02"),
    ),
    "one address for both": (FIRST.replace("34:02", "34:01"), SECOND),
    "a missing address": (FIRST, SECOND.rpartition(" ")[0]),
    "one word too many": (FIRST + " 4713", SECOND),
    "a name in another folder": (FIRST, SECOND.replace("SN-", "../")),
}


@pytest.mark.parametrize("lines", REFUSED.values(), ids=REFUSED)
def test_a_list_with_a_unit_that_cannot_be_made_leaves_no_images(run, tmp_path, lines):
    status, out, messages = run("images", "\n".join(lines) + "\n")
    assert (status, out) == (1, b"") and messages
    assert not (tmp_path / "images").exists()
    assert not list(tmp_path.glob("*.bin"))


def test_every_refused_unit_is_named(run):
    *_, messages = run("images", UNITS.replace("SN-000000", "SN-00000000"))
    named = [line for line in messages.decode().splitlines() if line.endswith(": no image")]
    assert named == ["SN-000000004711: no image", "SN-000000004712: no image"]
    says(
        DOCUMENT,
        "There are images of all units or of none: if one is refused, or a number or an address "
        "stands twice, it says so, and there is no folder `images`.",
    )


@pytest.mark.parametrize("units", ["", "\r\n"], ids=["empty", "only an empty line"])
def test_a_list_without_units_is_refused(run, tmp_path, units):
    assert run("images", units) == (1, b"", b"units.txt: no units\n")
    assert not (tmp_path / "images").exists()


def test_images_that_are_there_already_stay_as_they_are(run, tmp_path):
    (tmp_path / "images").mkdir()
    assert run("images", UNITS) == (1, b"", b"images: already there\n")
    assert images(tmp_path) == {}


def test_what_an_interrupted_run_has_left_is_not_taken_for_images(run, tmp_path):
    (tmp_path / "images.new").mkdir()
    (tmp_path / "images.new/SN-OLD.bin").touch()
    assert run("images", UNITS).status == 0
    assert images(tmp_path) == expected()


def test_a_sample_is_the_same_as_its_image_or_shows_the_difference(run, tmp_path):
    run("images", UNITS)
    own, other = sorted(images(tmp_path).values())
    sample = tmp_path / "sample.bin"
    sample.write_bytes(own)
    assert run("sample") == (0, b"same\n", b"")
    says(
        DOCUMENT,
        "Let the programmer verify each part. Then check samples, at the beginning of a batch at "
        "least: read a part back into a file, and compare it with the image of the number that is "
        "**on its label**. On a board leave out `--device sample.bin`.",
    )
    sample.write_bytes(other)
    status, out, _ = run("sample")
    assert status == 1 and b"ser_num: SN-0000004712 -> SN-0000004711\n" in out
    sample.write_bytes(records.damaged(own))
    assert run("sample").status == 6


def test_a_sample_of_a_number_without_an_image_is_an_error(run, tmp_path):
    (tmp_path / "sample.bin").write_bytes(records.formatted(2))
    (tmp_path / "images").mkdir()
    assert run("sample").status == 3
