"""How a program was linked, as readelf shows it."""

import subprocess


def readelf(program, option):
    done = subprocess.run(["readelf", "-W", option, program], capture_output=True, check=True)
    return done.stdout.decode()


def is_position_independent(program):
    return "DYN (Position-Independent Executable file)" in readelf(program, "-h")


def has_read_only_relocations(program):
    """All relocations must be bound at the start for that."""
    return "GNU_RELRO" in readelf(program, "-l") and "BIND_NOW" in readelf(program, "-d")


def has_non_executable_stack(program):
    stack = next(line for line in readelf(program, "-l").splitlines() if "GNU_STACK" in line)
    return " RW " in stack
