"""The example of a station, here, with kestrel-record and the part on the virtual machine.

That is how the computer of a line reaches a board, too.
"""

import json
import subprocess
import sys
import threading
from multiprocessing.connection import Listener

import pytest
import record_model
import records
from machine import EEPROM, ROOT, quoted

# Passes its arguments and its input on, and ends as the program there has ended.
FORWARDER = """
import sys
from multiprocessing.connection import Client

line = Client(sys.argv[1])
line.send((sys.argv[2:], sys.stdin.buffer.read()))
status, out, err = line.recv()
sys.stdout.buffer.write(out)
sys.stderr.buffer.write(err)
sys.exit(status)
"""


class Shift:
    """A station at work. Scripts are run on the machine before a command: {"write": "part "
    "none"}."""

    def __init__(self, machine, folder, *options):
        self.machine = machine
        self.scripts = {}
        self.listener = Listener(str(folder / "line"))
        threading.Thread(target=self.serve, daemon=True).start()
        (folder / "forwarder").write_text(FORWARDER)
        record = f"{sys.executable} {folder}/forwarder {folder}/line"
        command = [ROOT / "examples/station/station", "--log", folder / "log", "--record", record]
        pipes = dict.fromkeys(("stdin", "stdout"), subprocess.PIPE)
        self.process = subprocess.Popen([*command, *options], text=True, **pipes)

    def serve(self):
        while True:
            with self.listener.accept() as line:
                arguments, text = line.recv()
                words = b" ".join(map(quoted, ["kestrel-record", *arguments]))
                script = self.scripts.pop(arguments[0], "true").encode()
                line.send(
                    tuple(
                        self.machine.run(script + b"; printf %s " + quoted(text) + b" | " + words)
                    )
                )

    def scan(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        return self.process.stdout.readline().rstrip("\n")

    def end(self):
        """The last line and the status."""
        out, _ = self.process.communicate(timeout=60)
        return out, self.process.returncode


FIRST, SECOND, *_ = (ROOT / "examples/station/units.csv").read_text().splitlines()
KEYS = ["ser_num", "mac1", "mac2", "mac3", "mac4"]


def holds(machine, scan):
    image = machine.do(f"cat {EEPROM}")
    document = record_model.decoded(image, record_model.intact(image))
    return dict(zip(KEYS, scan.split(","))).items() <= document.items()


def test_a_shift_on_parts_behind_the_driver(machine, tmp_path):
    machine.put_part(records.BLANK_V2)
    shift = Shift(machine, tmp_path)
    assert shift.scan(FIRST) == "PASS SN-0000004711"
    assert holds(machine, FIRST)
    assert shift.scan(FIRST) == "PASS SN-0000004711: passed before"
    assert shift.scan(SECOND) == 'FAIL SN-0000004712: the board has ser_num "SN-0000004711"'
    assert holds(machine, FIRST)

    machine.do("part none")
    gone = shift.scan(SECOND)
    assert gone.startswith("FAIL SN-0000004712: ") and "No such file or directory" in gone
    machine.put_part(records.BLANK_V2)
    shift.scripts["write"] = "part none"
    gone = shift.scan(SECOND)
    assert gone.startswith("FAIL SN-0000004712: ") and "No such file or directory" in gone
    machine.put_part(records.BLANK_V2)
    assert shift.scan(SECOND) == "PASS SN-0000004712"
    assert holds(machine, SECOND)
    assert shift.end() == ("3 of 6 passed\n", 1)
    entries = [json.loads(line) for line in (tmp_path / "log").read_text().splitlines()]
    assert [entry["result"] for entry in entries] == ["PASS", "FAIL", "FAIL", "FAIL", "PASS"]


@pytest.mark.parametrize("part", [records.BLANK_V1, records.formatted(1)], ids=["blank", "fresh"])
def test_a_part_of_128_bytes_gets_a_record_of_version_1(machine, tmp_path, part):
    machine.put_part(part)
    template = tmp_path / "template.json"
    template.write_text('{"version": 1, "type": "0x1e"}')
    shift = Shift(machine, tmp_path, "--template", template)
    assert shift.scan(FIRST) == "PASS SN-0000004711"
    assert holds(machine, FIRST)
    assert shift.end() == ("1 of 1 passed\n", 0)
