"""The programs as they are installed on boards: hardened."""

# ctest: tree

import re
import subprocess
from pathlib import Path

import elf
import pytest
from documents import says

ROOT = Path(__file__).parents[2]


@pytest.fixture(scope="module")
def emulated(request):
    return Path(request.config.getoption("--programs")).name == "emulated"


@pytest.fixture(scope="module")
def programs(request, emulated):
    """A build for another processor is for boards; any other has the release build made."""
    if emulated:
        return Path(request.config.getoption("--programs")).parent
    subprocess.run([ROOT / "script/build", "release", "kestrel", "kestrel-record"], check=True)
    return ROOT / "build/release"


@pytest.fixture(params=["kestrel", "kestrel-record"])
def program(request, programs):
    return programs / request.param


def test_it_is_position_independent(program):
    assert elf.is_position_independent(program)


def test_it_needs_only_libc(program):
    needed = re.findall(r"\(NEEDED\).*\[(.*?)\.so", elf.readelf(program, "-d"))
    assert {name for name in needed if not name.startswith("ld-")} <= {"libc", "libm"}
    says("CHANGELOG.md", "Other builds need only libc")


def test_its_relocations_are_bound_at_once_and_read_only(program):
    assert elf.has_read_only_relocations(program)
    assert "Flags: NOW PIE" in elf.readelf(program, "-d")


def test_its_stack_is_protected_and_not_executable(program):
    assert "__stack_chk_fail" in elf.readelf(program, "--dyn-syms")
    assert elf.has_non_executable_stack(program)


def test_it_calls_the_plain_file_functions_which_a_test_bed_can_replace(program):
    symbols = {
        line.split()[7].split("@")[0]
        for line in elf.readelf(program, "--dyn-syms").splitlines()
        if " UND " in line and len(line.split()) > 7
    }
    assert {"open", "lseek", "read", "write", "close"} <= symbols
    assert not symbols & {"__read_chk", "__open_2", "__pread_chk", "open64", "lseek64"}
    assert any(symbol.endswith("_chk") for symbol in symbols), "fortified nowhere"
    says(
        "docs/performance.md",
        "The default keeps libc dynamic, since a fully static program ignores a test bed's "
        "preloaded library.",
    )
