"""Valgrind finds nothing wrong in the release build."""

# ctest: tree native release

import json
import subprocess

import pytest
import record_model
import records

V1 = records.formatted(1)
V2 = records.formatted(2)


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
def test_it_finds_nothing(make_sandbox, contents, arguments, status):
    check(make_sandbox(contents), arguments, status)


BOARD = record_model.sample(2)


@pytest.mark.parametrize(
    "contents, arguments, document, status",
    [
        (V2, ["read"], None, 0),
        (V1, ["read", "ser_num", "block8"], None, 0),
        (records.damaged(V2), ["read", "--damaged"], None, 6),
        (records.BLANK_V2, ["read"], None, 6),
        (V2, ["read", "serial"], None, 2),
        (V2, ["check", "--json", "-"], {**BOARD, "crc": 1, "mac1": 2, "ari": "x"}, 3),
        (V2, ["diff", "-"], BOARD, 1),
        (V2, ["write", "--json", "-"], BOARD, 0),
        (V2, ["write", "--dry-run", "--format", "--set", "ser_num=4711", "-"], BOARD, 0),
        (records.BLANK_V1, ["write", "--set", "ser_num=4711"], None, 6),
        (V1, ["write", "-"], BOARD, 6),
        (V1, ["image", "-o", "-", "-"], BOARD, 0),
        (None, ["read"], None, 4),
    ],
)
def test_it_finds_nothing_in_a_command_on_the_whole_record(
    make_sandbox, contents, arguments, document, status
):
    sandbox = make_sandbox(contents, "kestrel-record")
    check(sandbox, arguments, status, input=json.dumps(document).encode())


def check(sandbox, arguments, status, **options):
    # An exception that ends the process is not freed, and not lost either.
    checker = ["valgrind", "-q", "--error-exitcode=99", "--leak-check=full"]
    checker += ["--show-leak-kinds=definite,indirect", "--errors-for-leak-kinds=definite,indirect"]
    done = subprocess.run(
        ["umockdev-wrapper", *checker, sandbox.program, *arguments],
        env=sandbox.environment(),
        capture_output=True,
        check=False,
        **options,
    )
    assert done.returncode == status, done.stderr.decode()
    assert b"==" not in done.stderr
