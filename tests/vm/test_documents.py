"""What README.md says of the sandbox, and of script/vm, on the sandbox."""

import subprocess

from documents import ROOT, transcript


def test_the_transcript_shows_what_the_board_prints(machine):
    machine.do("part none; part 2048")
    steps = transcript("transcript")
    assert len(steps) > 5
    for command, printed in steps:
        result = machine.run(command + " 2>&1")
        assert result.out.decode() == printed, command


def script_board(*arguments):
    command = [ROOT / "script/vm", *arguments]
    return subprocess.run(command, capture_output=True, check=False, timeout=120)


def test_a_command_on_the_board_gives_its_output_its_messages_and_its_status():
    done = script_board(
        "sh", "-c", 'kestrel --format_v2; kestrel -r --mac1; echo "it\'s" >&2; exit 7'
    )
    assert (done.returncode, done.stdout, done.stderr) == (7, b"02:a5:5e:00:00:00\n", b"it's\n")


def test_a_board_that_goes_down_without_an_answer_is_an_error():
    done = script_board("reboot", "-f")
    assert (done.returncode, done.stdout) == (2, b"")
    assert done.stderr.endswith(b"the machine has not answered\n")


def test_an_unknown_option_is_refused():
    done = script_board("--fast", "kestrel")
    assert (done.returncode, done.stdout) == (2, b"")
    assert done.stderr.startswith(b"Boots a virtual machine")
