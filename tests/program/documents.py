"""The commands in the documents, marked there for the tests."""

import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def block(name, document):
    """The lines of an example."""
    text = (ROOT / document).read_text()
    return re.search(rf"<!-- test: {name} -->\n```\w*\n(.*?)```", text, re.DOTALL)[1]


def transcript(name, document="README.md", prompt="vm#"):
    """The commands of a session, each with what it printed."""
    step = rf"^{re.escape(prompt)} (.*)\n((?:(?!{re.escape(prompt)} ).*\n)*)"
    return re.findall(step, block(name, document), re.MULTILINE)
