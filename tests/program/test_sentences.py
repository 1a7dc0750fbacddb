"""Sentences of the documents, each with a session that shows that it is true.

In sentences.txt a document and a sentence of it stand before the session, which runs on a part with
a fresh record of version 2.
"""

# ctest: tree native

import re
import subprocess

import pytest
import records
from conftest import DEVICE
from documents import ROOT, text_of

BLOCKS = (ROOT / "tests/program/sentences.txt").read_text().split("\n\n")
SENTENCES = [re.match(r"(\S+): (.*)\n", block).groups() for block in BLOCKS]
SESSIONS = [
    re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block.rstrip("\n") + "\n", re.M) for block in BLOCKS
]

# What the sessions use. ignoring takes the number of bytes that the first write claims to have written.
SETTING = f"""
part=/{DEVICE}
file=$UMOCKDEV_DIR$part
put() {{ dd of=$part bs=1 "seek=$1" conv=notrunc status=none; }}
get() {{ od -A n -v -t x1 -j "$1" -N "$2" $part; }}
damage() {{ printf x | put 9; }}
traced() {{ ASAN_OPTIONS=detect_leaks=0 strace -P "$file" "$@"; }}
ignoring() {{ count=$1; shift; traced -o log -e "inject=write:retval=$count:when=1" "$@"; }}
station() {{ "$examples/station/station" --log log "$@"; }}
unit() {{ echo "$1,02:a5:5e:00:00:0$2,02:a5:5e:00:00:1$2,02:a5:5e:00:00:2$2,02:a5:5e:00:00:3$2"; }}
blank() {{ head -c 2048 /dev/zero | tr '\\000' '\\377' | put 0; }}
"""


@pytest.mark.parametrize(
    "sentence, session", [*zip(SENTENCES, SESSIONS)], ids=[f"{s[0]}-{s[1]}" for s in SENTENCES]
)
def test_a_sentence_is_true(make_sandbox, installed_examples, sentence, session):
    document, words = sentence
    assert words in text_of(document) and session
    sandbox = make_sandbox(records.formatted(2))
    setting = f"examples='{installed_examples}'" + SETTING
    for command, printed in session:
        result = sandbox.shell(setting + command, stderr=subprocess.STDOUT)
        assert result.out.decode() == printed
