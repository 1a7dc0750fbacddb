"""A copy of the scripts, in which the commands that they call are fakes."""

import os
import shlex
import shutil
import subprocess

from documents import ROOT


class Checkout:
    """A folder with the scripts and, first on the PATH, commands that only note their arguments."""

    def __init__(self, folder):
        self.folder = folder
        self.calls_file = folder / "calls"
        shutil.copytree(ROOT / "script", folder / "script")
        (folder / "bin").mkdir()

    def fake(self, command, does=""):
        """A name with a folder stands for that file; what a fake does is a line of shell."""
        file = self.folder / (command if "/" in command else f"bin/{command}")
        file.write_text(
            f'#!/bin/sh\necho "{command} $*" >>{shlex.quote(str(self.calls_file))}\n{does}\n'
        )
        file.chmod(0o755)

    def environment(self):
        return {"PATH": f"{self.folder}/bin:{os.environ['PATH']}"}

    def run(self, *command):
        done = subprocess.run(
            [self.folder / command[0], *command[1:]],
            env=self.environment(),
            capture_output=True,
            check=False,
            text=True,
        )
        return done.returncode, done.stdout, done.stderr

    def calls(self):
        return self.calls_file.read_text().splitlines() if self.calls_file.exists() else []

    def put(self, files):
        for name, text in files.items():
            (self.folder / name).parent.mkdir(parents=True, exist_ok=True)
            (self.folder / name).write_text(text)

    def git(self, *arguments):
        identity = ["-c", "user.name=x", "-c", "user.email=x@localhost"]
        subprocess.run(["git", "-C", self.folder, *identity, *arguments], check=True)
