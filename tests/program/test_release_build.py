"""The programs as they are installed on boards: hardened, and clean under Valgrind."""

# ctest: tree

import json
import re
import subprocess
from pathlib import Path

import elf
import pytest
import record_model
import records
from documents import says

ROOT = Path(__file__).parents[2]
V1 = records.formatted(1)
V2 = records.formatted(2)


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


@pytest.mark.parametrize(
    "contents, arguments, status",
    [
        (V2, ["--raw"], 0),
        (records.damaged(V2), ["--raw"], 0),
        (V2, ["-w", "--pcb_ser_num", "x" * 36], 0),
        (V2, ["-w", "--mac1"], 1),
        (records.BLANK_V2, ["--format_v2"], 0),
        (V2, ["foo"], 255),
        (records.BLANK_V1, ["--raw"], 1),
    ],
)
def test_valgrind_finds_nothing(make_sandbox, emulated, programs, contents, arguments, status):
    sandbox = make_sandbox(contents)
    check(emulated, sandbox, [programs / "kestrel", *arguments], status)


BOARD = record_model.sample(2)


@pytest.mark.parametrize(
    "contents, arguments, document, status",
    [
        (records.damaged(V2), ["read", "--damaged"], None, 6),
        (V2, ["check", "--json", "-"], {**BOARD, "crc": 1, "mac1": 2, "ari": "x"}, 3),
        (V2, ["diff", "-"], BOARD, 1),
        (V2, ["write", "--json", "-"], BOARD, 0),
        (V2, ["write", "--dry-run", "--format", "--set", "ser_num=4711", "-"], BOARD, 0),
        (V1, ["write", "-"], BOARD, 6),
        (V1, ["image", "-o", "-", "-"], BOARD, 0),
        (None, ["read"], None, 4),
    ],
)
def test_valgrind_finds_nothing_in_a_command_on_the_whole_record(
    make_sandbox, emulated, programs, contents, arguments, document, status
):
    sandbox = make_sandbox(contents)
    text = json.dumps(document).encode()
    check(emulated, sandbox, [programs / "kestrel-record", *arguments], status, input=text)


def check(emulated, sandbox, command, status, **options):
    if emulated:
        pytest.skip("Valgrind runs programs of this machine only")
    # An exception that ends the process is not freed, and not lost either.
    checker = ["valgrind", "-q", "--error-exitcode=99", "--leak-check=full"]
    checker += ["--show-leak-kinds=definite,indirect", "--errors-for-leak-kinds=definite,indirect"]
    done = subprocess.run(
        ["umockdev-wrapper", *checker, *command],
        env=sandbox.environment(),
        capture_output=True,
        check=False,
        **options,
    )
    assert done.returncode == status, done.stderr.decode()
    assert b"==" not in done.stderr
