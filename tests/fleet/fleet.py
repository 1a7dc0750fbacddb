"""A fleet of boards, each of which is a file, and runs of the installed example on it.

As a plugin of pytest it has the option and the fixture of tests/program that are needed here.
"""

import json
import os
import re
import shlex
import shutil
import subprocess
from dataclasses import dataclass, field

import conftest
import pytest
import yaml

pytest_addoption = conftest.pytest_addoption
installed = conftest.installed

LOCAL = "ansible_connection=local ansible_python_interpreter=/nonexistent"


@dataclass
class Board:
    """A host; what a test does not say is as with any board."""

    name: str
    image: bytes | None
    document: object = None  # JSON, or the bytes of the file; None for none
    variables: str = LOCAL


@dataclass
class Run:
    """What a run of the playbook said, and the lines that it added to the file of reports."""

    status: int
    output: str
    reports: list = field(repr=False)

    def hosts(self, outcome):
        """The hosts that the recap has with this outcome."""
        lines = re.findall(r"^(\S+) +: (ok=.*)$", self.output.split("PLAY RECAP")[-1], re.M)
        return {host for host, counts in lines if f" {outcome}=1 " in f" {counts} "}

    def shown(self, host):
        """What the run shows of a host that failed."""
        of_hosts = re.split(r"^(?=\S|\t)", self.output, flags=re.M)
        (text,) = [text for text in of_hosts if text.startswith(f"fatal: [{host}]: ")]
        return yaml.safe_load(text.partition("=>")[2])

    def report(self, host):
        (report,) = [report for report in self.reports if report["host"] == host]
        return report


class Fleet:
    """A copy of the installed example, as a user makes one, with boards of its own."""

    def __init__(self, installed, directory):
        self.folder = directory / "a fleet"
        shutil.copytree(installed / "share/doc/kestrel/examples/fleet", self.folder)
        self.parts = directory / "the parts"
        self.parts.mkdir()
        self.programs = installed / "bin"
        self.bin = directory / "bin"
        self.bin.mkdir()
        self.temporary = directory / "tmp"
        self.temporary.mkdir()
        self.home = directory / "home"
        self.home.mkdir()
        (self.home / ".ansible.cfg").write_text("[defaults]\ninventory = /nonexistent\n")
        self.home.chmod(0o555)

    def fake(self, command, script):
        """Puts a command in front of the one of that name."""
        (self.bin / command).write_text(f"#!/bin/sh\n{script}\n")
        (self.bin / command).chmod(0o755)

    def part(self, name):
        return self.parts / f"{name}.bin"

    def images(self):
        """The bytes of each part, and when they were last written."""
        return {
            path.stem: (path.read_bytes(), path.stat().st_mtime_ns) for path in self.parts.iterdir()
        }

    def add(self, board):
        """Makes the part and the document of a board; its line of the inventory."""
        if board.image is not None:
            self.part(board.name).write_bytes(board.image)
        line = f'{board.name} {board.variables} kestrel_device="{self.part(board.name)}"'
        if board.document is None:
            return line
        text = board.document
        if not isinstance(text, bytes):
            text = json.dumps(text).encode()
        (self.folder / f"documents/{board.name}.json").write_bytes(text)
        return f"{line} kestrel_document=documents/{board.name}.json"

    def set_up(self, boards):
        """Makes the boards, and an inventory that has just these."""
        lines = [self.add(board) for board in boards]
        (self.folder / "inventory.ini").write_text("\n".join(["[boards]", *lines, ""]))

    def command(self, *command, **options):
        """Runs a command in the folder, with nothing of the user's environment but PATH.

        The home may not be written, and has a configuration that is not meant for this.
        """
        path = f"{self.bin}:{self.programs}:{os.environ['PATH']}"
        environment = {"PATH": path, "HOME": str(self.home), "TMPDIR": str(self.temporary)}
        return subprocess.run(
            command,
            cwd=self.folder,
            env=environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
            timeout=300,
            **options,
        )

    def reports(self):
        path = self.folder / "reports.jsonl"
        return (
            [json.loads(line) for line in path.read_text().splitlines()] if path.is_file() else []
        )

    def run(self, *arguments):
        """Runs the playbook."""
        return self.shell(shlex.join(["ansible-playbook", "playbook.yml", *arguments]))

    def shell(self, line):
        """Runs a line of shell that runs the playbook."""
        before = len(self.reports())
        done = self.command("sh", "-c", line)
        return Run(done.returncode, done.stdout, self.reports()[before:])


@pytest.fixture
def fleet(installed, tmp_path):
    return Fleet(installed, tmp_path)
