"""What the documents say, and the commands that are marked there for the tests."""

import functools
import hashlib
import re
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
MAN = ROOT / "man"


@functools.cache
def rendered(page, width=78):
    command = ["mandoc", "-T", "utf8", "-O", f"width={width}", MAN / page]
    done = subprocess.run(command, capture_output=True, check=True)
    return re.sub(".\b", "", done.stdout.decode())


def in_one_line(text):
    return " ".join(text.split())


def text_of(document):
    """A manual page as it is read, any other document as it is."""
    is_page = re.search(r"\.\d$", document)
    return in_one_line(rendered(document, 1000) if is_page else (ROOT / document).read_text())


def says(document, *sentences):
    """Holds sentences against what the test shows beside this call."""
    for sentence in sentences:
        assert sentence in text_of(document), sentence


def checksum(figures):
    """What script/with-figures.sh puts before figures."""
    return hashlib.sha256(figures.encode()).hexdigest()[:16]


def block(name, document):
    """The lines of an example."""
    text = (ROOT / document).read_text()
    return re.search(rf"<!-- test: {name} -->\n```\w*\n(.*?)```", text, re.DOTALL)[1]


def transcript(name, document="README.md", prompt="vm#"):
    """The commands of a session, each with what it printed."""
    step = rf"^{re.escape(prompt)} (.*)\n((?:(?!{re.escape(prompt)} ).*\n)*)"
    return re.findall(step, block(name, document), re.MULTILINE)
