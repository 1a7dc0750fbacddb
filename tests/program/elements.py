"""The words of the command line, taken from the program's own tables."""

import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

_ENTRY = r'append(ReadOnly|Command|)\w*\(\s*"[^"]+", "(--\w+)"'
_entries = re.findall(_ENTRY, (ROOT / "tool/MenuEntryTable.cpp").read_text())

READ_ONLY = [option for kind, option in _entries if kind == "ReadOnly"]
WRITABLE = [option for kind, option in _entries if kind == ""]
COMMANDS = [option for kind, option in _entries if kind == "Command"]
SPECIAL = re.findall(r'\{"(--\w+)", ', (ROOT / "tool/CommandLine.cpp").read_text())
