"""Sentences of the documents, each with a session that shows that it is true.

In sentences.txt one or more documents, each with a sentence of it, stand before the session, which
runs on a part with a fresh record of version 2.
"""

# ctest: tree native first

import re
import subprocess

import pytest
import records
from conftest import DEVICE
from documents import ROOT, text_of

BLOCKS = (ROOT / "tests/program/sentences.txt").read_text().rstrip("\n").split("\n\n")
HEADS = [[line.split(": ", 1) for line in block.split("\n$ ")[0].split("\n")] for block in BLOCKS]
SESSIONS = [re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block + "\n", re.M) for block in BLOCKS]

# What the sessions use. failing takes a fault in strace's words; ignoring the number of bytes that the
# first write claims to have written; short lets no file grow past 128 bytes, as the driver does. Leaks
# are not looked for: a tracer is in the way, and ncurses leaves some when it cannot open a terminal.
SETTING = f"""
export ASAN_OPTIONS=detect_leaks=0
part=/{DEVICE}
file=$UMOCKDEV_DIR$part
put() {{ dd of=$part bs=1 "seek=$1" conv=notrunc status=none; }}
get() {{ od -A n -v -t x1 -j "$1" -N "$2" $part; }}
damage() {{ printf x | put 9; }}
traced() {{ strace -P "$file" "$@"; }}
failing() {{ fault=$1; shift; traced -o log -e "inject=$fault" "$@"; }}
ignoring() {{ count=$1; shift; failing "write:retval=$count:when=1" "$@"; }}
short() {{ env --ignore-signal=XFSZ prlimit --fsize=128 "$@"; }}
station() {{ "$examples/station/station" --log log "$@"; }}
unit() {{ echo "$1,02:a5:5e:00:00:0$2,02:a5:5e:00:00:1$2,02:a5:5e:00:00:2$2,02:a5:5e:00:00:3$2"; }}
blank() {{ head -c 2048 /dev/zero | tr '\\000' '\\377' | put 0; }}
checked() {{ key=$1; shift; for v; do kestrel-record check --set "$key=$v" >/dev/null 2>&1; echo $?; done | paste -s; }}
small() {{ rm -f "$file"; kestrel-record image --set version=1 -o "$file"; }}
"""


@pytest.mark.parametrize(
    "head, session", zip(HEADS, SESSIONS), ids=[block.split("\n")[0] for block in BLOCKS]
)
def test_a_sentence_is_true(make_sandbox, installed_examples, head, session):
    assert session
    for document, words in head:
        assert words in text_of(document)
    sandbox = make_sandbox(records.formatted(2))
    (sandbox.directory / "tree").symlink_to(ROOT)
    setting = f"examples='{installed_examples}'" + SETTING
    for command, printed in session:
        result = sandbox.shell(setting + command, stderr=subprocess.STDOUT)
        assert result.out.decode() == printed
