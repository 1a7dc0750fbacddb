"""What README.md says about the EEPROM, and script/vm itself, on virtual machines."""

import os
import signal
import subprocess
import time

import pytest
import records
from documents import ROOT, says, text_of, transcript


def test_the_transcript_shows_what_the_machine_prints(machine):
    machine.do("part none; part 2048")
    steps = transcript("transcript")
    assert len(steps) > 3
    for command, printed in steps:
        result = machine.run(command + " 2>&1")
        assert result.out.decode() == printed, command


@pytest.mark.parametrize(
    "document, sentence, command, printed",
    [
        (
            "docs/on-the-board.md",
            "The kernel gives the file to root alone (mode 600).",
            "stat -c '%u %a' eeprom",
            "0 600",
        ),
        (
            "docs/vm.md",
            "A write across the end is short, and the next one fails with `File too large`.",
            "head -c 129 /dev/zero 2>&1 >eeprom | grep -o 'File.*'; wc -c <eeprom",
            "File too large\n128",
        ),
        (
            "docs/vm.md",
            "It runs Debian's kernel with its EEPROM driver `at24`, and has a simulated part at address "
            "0x50 of bus 0.",
            "basename $(pwd -P); readlink driver | sed 's/.*\\///'",
            "0-0050\nat24",
        ),
        (
            "docs/vm.md",
            "`: >eeprom` does nothing. | The file is empty. | A part cannot be blanked that way. |",
            ": >eeprom; wc -c <eeprom; kestrel -r --valid",
            "128\n1",
        ),
        (
            "docs/vm.md",
            "`--format_v2` on a 128-byte part fails after the record has been wiped.",
            "kestrel --format_v2 2>/dev/null; echo $?; od -A n -t x1 -j 8 -N 6 eeprom",
            "1\n 00 00 00 00 00 00",
        ),
    ],
)
def test_a_sentence_is_true_behind_the_driver(machine, document, sentence, command, printed):
    assert sentence in text_of(document)
    machine.put_part(records.formatted(1))
    result = machine.run(f"cd /sys/bus/i2c/devices/0-0050; {command}")
    assert result.out.decode() == printed + "\n"


def script_vm(*arguments):
    command = [ROOT / "script/vm", *arguments]
    return subprocess.run(command, capture_output=True, check=False, timeout=120)


def test_a_command_on_the_machine_gives_its_output_its_messages_and_its_status():
    done = script_vm("sh", "-c", 'kestrel --format_v2; kestrel -r --mac1; echo "it\'s" >&2; exit 7')
    assert (done.returncode, done.stdout, done.stderr) == (7, b"02:a5:5e:00:00:00\n", b"it's\n")
    says("docs/vm.md", "`script/vm COMMAND...` runs the command and returns its output and status")
    says("README.md", "`script/vm COMMAND...` runs one command.")
    says(
        "script/vm",
        "Boots a virtual machine, on which kestrel meets the kernel's own EEPROM driver, and opens a "
        "shell # there, or runs a command and returns its output and status. Nothing is kept.",
        "--slow the part is on a bus that takes about 1 ms a byte # The part is blank and has 2048 "
        'bytes; the command "part 128" puts one of 128 bytes in its place.',
    )


def test_a_machine_that_goes_down_without_an_answer_is_an_error():
    done = script_vm("reboot", "-f")
    assert (done.returncode, done.stdout) == (2, b"")
    assert done.stderr.endswith(b"the machine has not answered\n")
    says("docs/vm.md", "or status 2 if the answer is incomplete.")


def test_an_unknown_option_is_refused():
    done = script_vm("--fast", "kestrel")
    assert (done.returncode, done.stdout) == (2, b"")
    assert done.stderr.startswith(b"usage: script/vm")


@pytest.mark.parametrize("sent", [signal.SIGHUP, signal.SIGINT, signal.SIGTERM])
def test_a_machine_that_a_signal_ends_leaves_nothing(sent):
    before = consoles()
    with subprocess.Popen(
        [ROOT / "script/vm", "sleep", "60"],
        process_group=0,
        # In a background job of a script the interrupt is ignored.
        preexec_fn=lambda: signal.signal(sent, signal.SIG_DFL),
    ) as machine:
        while not (mine := consoles() - before):
            assert machine.poll() is None
            time.sleep(0.1)
        os.killpg(machine.pid, sent)
        assert machine.wait(20) == 128 + sent
    assert not any(console.parent.exists() for console in mine)
    says("docs/vm.md", "Nothing is kept.")


def consoles():
    """What the machines write on, that have been asked to run a command."""
    return set((ROOT / "build/machine").glob("run.*/console"))
