"""The program as it is installed on boards: hardened, and clean under Valgrind."""

# ctest: tree

import subprocess
from pathlib import Path

import elf
import pytest
import records

ROOT = Path(__file__).parents[2]
V1 = records.formatted(1)
V2 = records.formatted(2)


@pytest.fixture(scope="module")
def emulated(request):
    return Path(request.config.getoption("--programs")).name == "emulated"


@pytest.fixture(scope="module")
def program(request, emulated):
    """A build for another processor is for boards; any other has the release build made."""
    if emulated:
        return Path(request.config.getoption("--programs")).parent / "kestrel"
    subprocess.run([ROOT / "script/build", "release", "kestrel"], check=True)
    return ROOT / "build/release/kestrel"


def test_it_is_position_independent(program):
    assert elf.is_position_independent(program)


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


@pytest.mark.parametrize(
    "contents, arguments, status",
    [
        (V2, ["--raw"], 0),
        (records.damaged(V2), ["--raw"], 0),
        (V1, ["--raw"], 0),
        (V2, ["-r", "--pcb_ser_num"], 0),
        (V2, ["-w", "--pcb_ser_num", "x" * 36], 0),
        (V2, ["-w", "--productiondate", "2026-11-15"], 1),
        (V2, ["-w", "--mac1"], 1),
        (records.BLANK_V2, ["--format_v2"], 0),
        (V1, ["--format_v1"], 0),
        (V2, ["--erase"], 0),
        (V2, ["--help"], 0),
        (V2, ["foo"], 255),
        (records.BLANK_V1, ["--raw"], 1),
    ],
)
def test_valgrind_finds_nothing(make_sandbox, emulated, program, contents, arguments, status):
    if emulated:
        pytest.skip("Valgrind runs programs of this machine only")
    sandbox = make_sandbox(contents)
    # An exception that ends the process is not freed, and not lost either.
    checker = ["valgrind", "-q", "--error-exitcode=99", "--leak-check=full"]
    checker += ["--show-leak-kinds=definite,indirect", "--errors-for-leak-kinds=definite,indirect"]
    done = subprocess.run(
        ["umockdev-wrapper", *checker, program, *arguments],
        env=sandbox.environment(),
        capture_output=True,
        check=False,
    )
    assert done.returncode == status, done.stderr.decode()
    assert b"==" not in done.stderr
