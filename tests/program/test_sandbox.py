"""A file in the place of the EEPROM: what it holds, what runs there, and what is left."""

# ctest: tree native

import os
import re
import signal
import subprocess

import pytest
import records
from conftest import DEVICE
from documents import ROOT, says

V2 = records.formatted(2)


@pytest.fixture(scope="module")
def release():
    subprocess.run([ROOT / "script/build", "release", "kestrel", "kestrel-record"], check=True)
    return ROOT / "build/release"


@pytest.fixture
def sandboxes(checkout, release):
    """A checkout that is built."""
    for name in ("script/setup", "script/build"):
        checkout.fake(name)
    (checkout.folder / "build").mkdir()
    for preset in ("dev", "release"):
        (checkout.folder / "build" / preset).symlink_to(release)
    return checkout


@pytest.fixture
def in_sandbox(sandboxes):
    def run(*arguments, **options):
        return subprocess.run(
            [sandboxes.folder / "script/sandbox", *arguments],
            capture_output=True,
            check=False,
            env={**os.environ, "SHELL": "/bin/sh", **options.pop("env", {})},
            **{"input": b"", **options},
        )

    return run


@pytest.mark.parametrize(
    "part, contents",
    [(["--v1"], records.formatted(1)), (["--v2"], V2), ([], records.BLANK_V2)],
    ids=["v1", "v2", "blank"],
)
def test_a_sandbox_has_the_part_that_its_option_says(sandboxes, in_sandbox, part, contents):
    done = in_sandbox(*part, "cat", f"/{DEVICE}")
    assert (done.returncode, done.stdout, done.stderr) == (0, contents, b"")
    assert sandboxes.calls() == ["script/setup try", "script/build release kestrel kestrel-record"]
    says(
        "script/sandbox",
        "Without an option the part is blank and has 2048 bytes.",
        "--v1 a 128-byte part with a freshly formatted record of version 1",
        "--v2 a 2048-byte part with a freshly formatted record of version 2",
    )
    says("README.md", "script/sandbox --v2 kestrel # the menu of a freshly formatted part")


@pytest.mark.parametrize("relative", [False, True], ids=["absolute", "relative"])
def test_a_sandbox_keeps_the_named_image(in_sandbox, tmp_path, relative):
    image = tmp_path / "an image.bin"
    image.write_bytes(V2)
    name = image.name if relative else image
    done = in_sandbox("--image", name, "kestrel", "-w", "--pcb_rev", "001", cwd=tmp_path)
    assert (done.returncode, done.stdout, done.stderr) == (0, b"", b"")
    assert image.read_bytes() == records.with_field(V2, "--pcb_rev", b"001")
    says(
        "script/sandbox",
        "Runs a command, or a shell, in a sandbox: the EEPROM is a file there, and kestrel and # "
        "kestrel-record are on the PATH.",
        "the part is FILE itself, an image from the field, say: commands change it",
    )


DEBUGGED = {
    "kestrel --raw": "FormatVersion ",
    "kestrel -r --valid": "1\n",
    "strace -e lseek,read,write kestrel -w --pcb_rev 001": '"001", 3)',
    "gdb --args build/dev/kestrel -w --pcb_rev 001": "gdb --args build/dev/kestrel -w --pcb_rev 001\n",
    "valgrind build/dev/kestrel --raw": "HEAP SUMMARY",
}


@pytest.mark.parametrize("command", DEBUGGED)
def test_a_sandbox_runs_the_commands_that_are_shown(sandboxes, in_sandbox, command):
    sandboxes.fake("gdb", 'echo gdb "$@"')
    (sandboxes.folder / "part.bin").write_bytes(V2)
    part = ["--v2"] if "valid" not in command else ["--image", "part.bin"]
    words = command.split()
    done = in_sandbox(*part, *words, cwd=sandboxes.folder, env=sandboxes.environment())
    assert done.returncode == 0
    assert DEBUGGED[command] in (done.stdout + done.stderr).decode()
    says("CONTRIBUTING.md", f"script/sandbox {' '.join(part)} {command}")
    says(
        "CONTRIBUTING.md",
        "`script/sandbox` puts a file in the place of the EEPROM and runs a command on it, or a "
        "shell.",
    )


def test_a_sandbox_returns_the_commands_status(in_sandbox):
    assert in_sandbox("--v2", "kestrel", "-r", "--nothing").returncode == 255
    assert in_sandbox("--v2", "sh", "-c", "exit 7").returncode == 7


def test_a_sandbox_has_the_release_build_on_the_path(sandboxes, in_sandbox):
    sandboxes.fake("kestrel")  # as if another one was installed
    programs = "command -v kestrel; command -v kestrel-record"
    done = in_sandbox("sh", "-c", programs, env=sandboxes.environment())
    built = f"{sandboxes.folder}/build/release"
    assert done.stdout.decode() == f"{built}/kestrel\n{built}/kestrel-record\n"
    says("CONTRIBUTING.md", "`kestrel` is the release build there; name another with its path.")


def test_a_sandbox_without_a_command_is_a_shell(in_sandbox):
    done = in_sandbox("--v2", input=b"kestrel -r --valid; exit 7")
    assert (done.returncode, done.stdout) == (7, b"1\n")
    assert b"A shell in the sandbox" in done.stderr
    says(
        "README.md",
        "`script/sandbox` runs a command, or a shell, with a file in the place of the EEPROM:",
        "script/sandbox --image dump-from-the-field.bin # a shell on a part that you have",
    )


def test_a_sandbox_refuses_what_it_does_not_know(in_sandbox, tmp_path):
    read_only = tmp_path / "read-only"
    read_only.touch(0o444)
    images = [tmp_path / "missing", tmp_path]
    images += [] if os.access(read_only, os.W_OK) else [read_only]  # root may write it
    for image in images:
        done = in_sandbox("--image", image)
        assert done.returncode == 2 and b"cannot use the file" in done.stderr
    for arguments in (["--v3"], ["--image"]):
        done = in_sandbox(*arguments)
        assert done.returncode == 2 and done.stdout == b"" and done.stderr != b""
    assert b"usage: script/sandbox" in in_sandbox("--help").stderr


def test_a_sandbox_leaves_nothing_when_its_command_ends(in_sandbox, tmp_path):
    temporary = tmp_path / "temporary"
    temporary.mkdir()
    done = in_sandbox("sh", "-c", "echo $UMOCKDEV_DIR", env={"TMPDIR": str(temporary)})
    assert done.stdout.decode().startswith(f"{temporary}/")
    assert not list(temporary.iterdir())
    says("script/sandbox", "Only FILE is kept afterwards.")


SIGNALS = pytest.mark.parametrize("sent", [signal.SIGHUP, signal.SIGINT, signal.SIGTERM])


@SIGNALS
def test_a_script_that_a_signal_ends_cleans_up_once_and_does_not_go_on(sent):
    script = "clean_up() { echo cleaned; }; . script/clean-up.sh; kill -%i $$; echo went on" % sent
    done = subprocess.run(
        ["sh", "-c", script],
        cwd=ROOT,
        capture_output=True,
        check=False,
        # In a background job of a script the interrupt is ignored.
        preexec_fn=lambda: signal.signal(sent, signal.SIG_DFL),
    )
    assert (done.stdout, done.returncode) == (b"cleaned\n", 128 + sent)
    says(
        "script/clean-up.sh",
        "Sourced by scripts that remove something when they end, whatever ends them: they define "
        "clean_up. # A signal that is not trapped ends dash without its EXIT trap.",
    )


@SIGNALS
def test_a_sandbox_leaves_nothing_when_a_signal_ends_it(sandboxes, tmp_path, sent):
    temporary = tmp_path / "temporary"
    temporary.mkdir()
    with subprocess.Popen(
        [sandboxes.folder / "script/sandbox", "sh", "-c", "echo ready; exec sleep 60"],
        env={**os.environ, "TMPDIR": str(temporary)},
        stdout=subprocess.PIPE,
        process_group=0,
        preexec_fn=lambda: signal.signal(sent, signal.SIG_DFL),
    ) as sandbox:
        assert sandbox.stdout.readline() == b"ready\n"
        assert list(temporary.iterdir())
        os.killpg(sandbox.pid, sent)
        assert sandbox.wait(10) == 128 + sent
    assert not list(temporary.iterdir())


def test_every_script_that_makes_a_temporary_file_removes_it_in_the_same_way():
    scripts = {path: path.read_text() for path in (ROOT / "script").iterdir()}
    makers = {path for path, text in scripts.items() if "mktemp" in text}
    removers = {
        path
        for path, text in scripts.items()
        if re.search(
            r'^ *clean_up\(\) \{ rm .*\n( *# shellcheck .*\n)? *\. .*clean-up\.sh"?$', text, re.M
        )
    }
    assert makers and makers == removers
    trapping = {path.name for path, text in scripts.items() if re.search(r"^ *trap ", text, re.M)}
    assert trapping == {"clean-up.sh"}
