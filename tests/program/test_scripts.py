"""The scripts that people run: what they do, print and leave behind."""

# ctest: tree native

import fcntl
import os
import re
import shlex
import shutil
import signal
import subprocess
import time

import elements
import pytest
import records
from conftest import DEVICE
from documents import ROOT, checksum, says
from terminal import ENTER, Terminal

V2 = records.formatted(2)


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


@pytest.fixture
def checkout(tmp_path):
    return Checkout(tmp_path / "a checkout")


# script/setup

PURPOSES = ["build", "try", "diagrams", "test", "lint", "bench", "coverage", "fuzz", "cross", "vm"]
PURPOSES += ["fleet", "fresh", "package", "mutants"]


@pytest.fixture
def system(checkout):
    """A system on which all packages are installed, but for those that a test names."""

    def make(missing="", user=0, sudo="false"):
        state = f'case " {missing} " in *" $4 "*) echo config-files ;; *) echo installed ;; esac'
        checkout.fake("dpkg-query", state)
        checkout.fake("id", f"echo {user}")
        checkout.fake("apt-get")
        checkout.fake("sudo", sudo)
        return checkout

    return make


def apt_calls(checkout):
    return [call for call in checkout.calls() if not call.startswith(("dpkg-query", "id "))]


def needed(system, *purposes):
    """What a system lacks that has nothing."""
    checkout = system('" $4 "', user=1000)
    *_, messages = checkout.run("script/setup", *purposes)
    return set(messages.split("apt-get install")[1].split())


def test_setup_changes_nothing_where_nothing_is_missing(system):
    checkout = system()
    assert checkout.run("script/setup") == (0, "", "")
    assert not [call for call in apt_calls(checkout) if "apt-get" in call]


def test_setup_installs_what_is_missing_as_root(system):
    checkout = system(missing="umockdev mandoc")
    assert checkout.run("script/setup", "try") == (0, "", "installing umockdev\n")
    install = "apt-get install -qq -y --no-install-recommends umockdev"
    assert apt_calls(checkout) == ["apt-get update -qq", install]
    says(
        "script/setup",
        "Installs the Debian packages that kestrel is built, tried and tested with, as far as they are "
        "missing.",
    )


@pytest.mark.parametrize("step", ["update", "install"])
def test_setup_fails_where_a_package_cannot_be_had(system, step):
    checkout = system(missing="umockdev")
    checkout.fake("apt-get", f"[ $1 != {step} ] || exit 100")
    assert checkout.run("script/setup", "try")[0] == 100


def test_setup_installs_through_sudo_where_it_asks_no_password(system):
    checkout = system(missing="umockdev", user=1000, sudo='[ "$1" = -n ] || "$@"')
    assert checkout.run("script/setup", "try") == (0, "", "installing umockdev\n")
    as_root = [call for call in apt_calls(checkout) if call.startswith("sudo")]
    assert as_root[:2] == ["sudo -n true", "sudo apt-get update -qq"]
    assert as_root[2].endswith(" apt-get install -qq -y --no-install-recommends umockdev")
    says("README.md", "missing packages are installed (as root or with passwordless sudo).")


def test_setup_names_what_is_missing_and_stops_where_it_may_not_install(system):
    checkout = system(missing="umockdev cmake", user=1000)
    status, out, messages = checkout.run("script/setup", "try")
    assert (status, out) == (1, "")
    assert messages.endswith("\n    sudo apt-get install cmake umockdev\n")
    assert apt_calls(checkout) == ["sudo -n true"]


def test_setup_takes_all_purposes_without_an_argument(system):
    everything = needed(system)
    assert all(needed(system, purpose) <= everything for purpose in PURPOSES)
    assert everything == needed(system, *PURPOSES)
    says("script/setup", "all of them by default")


@pytest.mark.parametrize(
    "purposes", [["nosuch"], ["try", "nosuch"], ["nosuch", "try"]], ids=" ".join
)
def test_setup_refuses_an_unknown_purpose_and_installs_nothing(system, purposes):
    checkout = system(missing="umockdev")
    status, out, messages = checkout.run("script/setup", *purposes)
    assert (status, out, messages) == (2, "", "script/setup: unknown purpose nosuch\n")
    assert apt_calls(checkout) == []


def test_setup_names_its_purposes():
    usage = (ROOT / "script/setup").read_text().split("\nset -eu")[0]
    named = usage.split("PURPOSE  ")[1].split(";")[0]
    assert re.findall(r"\w+", named.replace(" or ", ", ")) == PURPOSES


def test_setup_names_the_packages_where_there_is_no_dpkg(checkout):
    for tool in ("dirname", "tr", "sort"):
        (checkout.folder / "bin" / tool).symlink_to(shutil.which(tool))
    script = checkout.folder / "script/setup"
    done = subprocess.run(
        ["/bin/sh", script, "try"],
        env={"PATH": f"{checkout.folder}/bin"},
        capture_output=True,
        check=False,
    )
    assert (done.returncode, done.stdout) == (1, b"")
    assert b"not a Debian system" in done.stderr and b"\numockdev\n" in done.stderr


# script/build


def test_a_build_is_silent_and_is_of_everything_without_a_target(checkout):
    checkout.fake("nproc", "echo 7")
    checkout.fake("cmake", "echo much; echo more >&2")
    assert checkout.run("script/build", "dev") == (0, "", "")
    configure, _, build = checkout.calls()
    assert configure.endswith("--preset dev")
    assert build == "cmake --build --preset dev --parallel 7 --target all"


def test_a_build_is_of_the_preset_and_the_targets_that_are_named(checkout):
    checkout.fake("cmake")
    assert checkout.run("script/build")[0] != 0 and not checkout.calls()
    assert checkout.run("script/build", "release", "kestrel", "facts") == (0, "", "")
    assert checkout.calls()[-1].endswith(" --target kestrel facts")


@pytest.mark.parametrize("step", ["--preset", "--build"])
def test_a_build_that_fails_prints_all_output_and_has_a_status(checkout, step):
    checkout.fake("cmake", f"case $* in *{step}*) echo much; echo wrong >&2; exit 3 ;; esac")
    assert checkout.run("script/build", "dev") == (1, "", "much\nwrong\n")
    says("script/build", "Configures and builds, in silence unless something fails.")


def test_a_build_keeps_what_is_there_unless_another_tool_made_it(checkout):
    checkout.fake("cmake")
    (checkout.folder / "build/dev").mkdir(parents=True)
    cache = checkout.folder / "build/dev/CMakeCache.txt"
    for generator, options in (("Unix Makefiles", ""), ("Ninja", "--fresh ")):
        cache.write_text(f"CMAKE_GENERATOR:INTERNAL={generator}\n")
        checkout.run("script/build", "dev")
        assert checkout.calls()[-2] == f"cmake {options}--preset dev"


@pytest.mark.parametrize(
    "script, argument, lock, call",
    [("build", "dev", "dev", "--preset dev"), ("setup", "try", "setup", "apt-get")],
)
def test_a_build_waits_for_one_of_its_preset_only_and_setup_for_setup(
    system, script, argument, lock, call
):
    checkout = system(missing="umockdev")
    checkout.fake("cmake")
    (checkout.folder / "build").mkdir()
    with open(checkout.folder / f"build/{lock}.lock", "w") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        command = [checkout.folder / "script" / script, argument]
        with subprocess.Popen(command, env=checkout.environment()) as waiting:
            assert checkout.run("script/build", "asan") == (0, "", "")
            time.sleep(0.2)
            assert waiting.poll() is None
            assert not any(call in made for made in checkout.calls())
            fcntl.flock(file, fcntl.LOCK_UN)
            assert waiting.wait(10) == 0
    assert call in checkout.calls()[-1]
    says("script/build", "Waits for another build of the preset.")


# script/test


@pytest.fixture
def tools(checkout):
    for tool in ("script/setup", "script/build", "ctest", "gcovr"):
        checkout.fake(tool)
    (checkout.folder / "build/coverage").mkdir(parents=True)
    return checkout


@pytest.mark.parametrize(
    "arguments, purpose, preset",
    [([], "test", "dev"), (["asan"], "test", "asan"), (["clang"], "lint", "clang")],
)
def test_the_tests_are_built_and_run(tools, arguments, purpose, preset):
    assert tools.run("script/test", *arguments) == (0, "", "")
    assert tools.calls() == [
        f"script/setup {purpose}",
        f"script/build {preset}",
        f"ctest --preset {preset} --progress",
    ]
    says(
        "script/test",
        "Builds everything and runs all tests. # usage: script/test [PRESET] dev (the default), clang, "
        "asan, release or coverage",
    )
    says("README.md", "script/test # test it: builds everything and runs all tests")
    says(
        "CONTRIBUTING.md",
        "script/test # builds and runs all tests",
        "script/test asan # the same in another build: clang, asan, release or coverage",
    )


def test_the_coverage_is_counted_anew_and_printed(tools):
    old = tools.folder / "build/coverage/old.gcda"
    old.touch()
    assert tools.run("script/test", "coverage") == (0, "", "")
    assert not old.exists()
    assert [call.split()[0] for call in tools.calls()][-2:] == ["ctest", "gcovr"]
    counted = re.findall(r"--filter (\w+)/", tools.calls()[-1])
    assert {*counted} == {path.parent.name for path in ROOT.glob("*/*.cpp")}


@pytest.mark.parametrize("failing", ["script/setup", "script/build", "ctest"])
@pytest.mark.parametrize("preset", ["dev", "coverage"])
def test_what_fails_ends_the_tests_with_its_status(tools, failing, preset):
    tools.fake(failing, "exit 8")
    assert tools.run("script/test", preset) == (8, "", "")
    assert tools.calls()[-1].startswith(failing)


# script/sandbox


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


# script/fuzz


@pytest.mark.parametrize("seconds", ["", "0", "00", "-1", "1.5", "6x", "DocumentFuzzer"])
def test_fuzzing_refuses_what_is_not_a_number_of_seconds(checkout, seconds):
    checkout.fake("script/setup")
    message = "usage: script/fuzz [SECONDS]\n"
    assert checkout.run("script/fuzz", seconds) == (2, "", message)
    assert checkout.calls() == []


@pytest.fixture
def targets(checkout):
    """A checkout whose fuzz targets add an input to their folder, and the names of the targets."""
    (checkout.folder / "build/fuzz/tests/fuzz").mkdir(parents=True)
    names = {path.stem for path in (ROOT / "tests/fuzz").glob("*Fuzzer.cpp")}
    checkout.put({f"tests/fuzz/corpus/{name}/seed": "" for name in names})
    for name in ("script/setup", "script/build"):
        checkout.fake(name)
    does = 'for folder; do :; done; cp "$folder/seed" "$folder/new" || exit 1\n'
    does += "echo stat::number_of_executed_units: 12 >&2"
    for name in names:
        checkout.fake(f"build/fuzz/tests/fuzz/{name}", does)
    return checkout, names


def test_fuzzing_starts_from_the_corpus_and_leaves_it_as_it_is(targets):
    checkout, names = targets
    status, printed, _ = checkout.run("script/fuzz")
    lines = sorted(f"{name}: executions: 12" for name in names)
    assert (status, sorted(printed.splitlines())) == (0, lines)
    corpus = checkout.folder / "tests/fuzz/corpus"
    assert {path.name for path in corpus.rglob("*") if path.is_file()} == {"seed"}
    ran = [call for call in checkout.calls() if "Fuzzer" in call]
    assert all("-max_total_time=60 " in call for call in ran)
    says("script/fuzz", "60 by default")


@pytest.mark.parametrize(
    "broken", ["FieldTextFuzzer", "DocumentFuzzer", "ImageFuzzer", "ArgumentsFuzzer"]
)
def test_an_input_that_breaks_a_fuzz_target_is_kept_and_ends_the_fuzzing_with_1(targets, broken):
    checkout, names = targets
    finds = 'for word; do case $word in -artifact_prefix=*) echo >"${word#*=}crash" ;; esac; done'
    checkout.fake(f"build/fuzz/tests/fuzz/{broken}", f"{finds}; exit 77")
    assert checkout.run("script/fuzz", "7")[0] == 1
    assert [path.name for path in (checkout.folder / "build/fuzz-found").iterdir()] == [
        f"{broken}-crash"
    ]
    ran = {call.split()[0]: call for call in checkout.calls() if "Fuzzer" in call}
    assert all("-max_total_time=7 " in call for call in ran.values())
    assert broken == "FieldTextFuzzer" or {name.split("/")[-1] for name in ran} == names
    says(
        "script/fuzz",
        "Feeds made-up texts, documents, images and command lines to the programs, through four "
        "targets that # each run for the given time. An input that breaks one is "
        "kept in build/fuzz-found/.",
    )


# script/lint


# Of each checker what makes a finding an error, and files that it must see.
CODE = ["tests/unit/some.cpp", "record/some.h"]
SHELL = ["script/lint", "completion/some.bash", "some.sh"]
PYTHON = ["tests/a name.py", "examples/some"]
PAGES = ["man/some.1", "man/some.5"]
CHECKERS = {
    "clang-format": ("exit 1", "--dry-run --Werror ", CODE),
    "run-clang-tidy": ("exit 1", "-p build/clang ", []),
    "cppcheck": ("exit 1", "--error-exitcode=1 ", []),
    "shellcheck": ("exit 1", "", SHELL),
    "black": ("exit 1", "--check ", PYTHON),
    "pyflakes": ("exit 1", "", PYTHON),
    "codespell": ("exit 1", "", [*CODE, *SHELL, *PYTHON, *PAGES, "README.md"]),
    "mandoc": ("echo found", "-T lint -W style ", PAGES),
    "groff": ("echo found >&2", "-ww ", PAGES),
}


@pytest.fixture
def checkers(checkout):
    for name in ["script/setup", "script/build", *CHECKERS]:
        checkout.fake(name)
    checkout.put(dict.fromkeys([*CODE, *SHELL[1:], PYTHON[0], *PAGES, "README.md"], ""))
    run = "import os, sys; sys.exit(os.spawnvp(os.P_WAIT, 'pyflakes', sys.argv))"
    # python3 -m looks in the folder first.
    checkout.put({PYTHON[1]: "#!/usr/bin/python3\n", "pyflakes.py": run})
    checkout.git("init", "-q")
    checkout.git("add", ".")
    return checkout


def test_every_source_folder_is_analysed_and_both_compilers_build(checkers):
    assert checkers.run("script/lint") == (0, "lint: nothing found\n", "")
    folders = {path.parent.name for path in ROOT.glob("*/*.cpp")}
    for checker in ("run-clang-tidy", "cppcheck"):
        (call,) = (call for call in checkers.calls() if call.startswith(checker))
        assert folders <= set(re.findall(r"\w+", call)), checker
    assert {"script/build dev", "script/build clang"} <= {*checkers.calls()}
    says("CONTRIBUTING.md", "script/lint # formatting, both compilers' warnings, checkers")
    says(
        "script/lint",
        "Checks the whole tree without running it: warnings of both compilers, formatting, static "
        "analysis. # Any finding is an error.",
    )


@pytest.mark.parametrize("checker", CHECKERS)
def test_what_a_checker_finds_is_an_error(checkers, checker):
    finds, options, files = CHECKERS[checker]
    checkers.fake(checker, finds)
    status, printed, _ = checkers.run("script/lint")
    assert status != 0 and "nothing found" not in printed
    (call,) = (call for call in checkers.calls() if call.startswith(f"{checker} "))
    assert all(words in call for words in [options, *files])


# script/package


@pytest.fixture
def committed(checkout):
    """What is committed in the checkout, where the tools for packages are."""
    for name in ("script/setup", "dpkg-buildpackage", "lintian", "mmdebstrap"):
        checkout.fake(name)
    checkout.fake("xz", "cat")
    checkout.fake("dpkg", "echo amd64")
    files = {"CMakeLists.txt": "project(kestrel VERSION 1.2.3 LANGUAGES CXX)\n", "debian/rules": ""}
    checkout.put(files)
    checkout.git("init", "-q")
    checkout.git("add", *files)
    checkout.git("commit", "-q", "-m", "x")
    return files


@pytest.mark.parametrize(
    "architecture, system, host",
    [
        ("amd64", "--include=build-essential ", ""),
        (
            "armhf",
            "--include=crossbuild-essential-armhf,libstdc++6:armhf --architectures=amd64,armhf ",
            "-aarmhf -Pcross,nocheck",
        ),
    ],
)
def test_the_package_for_an_architecture_is_made_in_a_system_of_its_own(
    checkout, committed, architecture, system, host
):
    assert committed
    checkout.fake("mmdebstrap", '[ "$TMPDIR" = "$PWD/build" ]')
    assert checkout.run("script/package", architecture) == (0, "", "")
    made = "\n".join(checkout.calls()).split("mmdebstrap ")[1]
    folder = f"build/package-{architecture}"
    assert system in made and f"build-dep {host} .\n" in made
    assert f"dpkg-buildpackage -us -uc -b {host}'" in made
    assert f"=sync-in {folder} /srv " in made and f"=sync-out /srv {folder} bookworm" in made
    assert (checkout.folder / folder / "kestrel-1.2.3/debian/rules").is_file()
    assert checkout.calls()[-1].endswith(f" {folder}/*.changes")
    says(
        "script/package",
        "ARCHITECTURE amd64, arm64 or armhf: builds for it in a fresh Debian system with nothing but the "
        "# build dependencies, in build/package-ARCHITECTURE/",
    )
    says(
        "docs/on-the-board.md",
        "As a package of what is committed, on any amd64 Debian 12 machine: script/package # for "
        "amd64, with all tests of the program, into build/package/ script/package armhf # for a "
        "32-bit ARM board, without the tests, into build/package-armhf/ script/package arm64 # for a "
        "64-bit ARM board, likewise The two for ARM need no ARM machine, and change nothing on the "
        "one where they run: a Debian system for both architectures is made below `build/` and "
        "removed at the end.",
    )


@pytest.mark.parametrize(
    "arguments, tool, log",
    [([], "dpkg-buildpackage", "package"), (["arm64"], "mmdebstrap", "package-arm64")],
)
def test_a_package_that_cannot_be_made_or_has_a_fault_is_an_error(
    checkout, committed, arguments, tool, log
):
    assert committed
    checkout.fake("lintian", "exit 2")
    assert checkout.run("script/package", *arguments)[0] == 2
    checkout.fake(tool, "echo much; echo wrong >&2; exit 3")
    assert checkout.run("script/package", *arguments) == (1, "", "much\nwrong\n")
    assert (checkout.folder / f"build/{log}.log").read_text() == "much\nwrong\n"
    says("script/package", "and checks them with lintian. The log is in build/package.log.")


def test_the_package_is_made_of_what_is_committed(checkout, committed):
    files = committed
    checkout.put({"CMakeLists.txt": files["CMakeLists.txt"] + "changed\n", "debian/new": ""})
    checkout.git("add", "debian/new")
    checkout.put({"build/package/old.changes": ""})
    assert checkout.run("script/package") == (0, "", "")
    assert checkout.calls()[-2:-1] == ["dpkg-buildpackage -us -uc"]
    assert not (checkout.folder / "build/package/old.changes").exists()
    failing = re.search(r"--fail-on (\S+)", checkout.calls()[-1])[1].split(",")
    assert {"error", "warning", "info", "pedantic"} <= set(failing)
    source = checkout.folder / "build/package/kestrel-1.2.3"
    assert {
        str(path.relative_to(source)): path.read_text()
        for path in source.rglob("*")
        if path.is_file()
    } == files
    tarball = checkout.folder / "build/package/kestrel-1.2.3.tar.xz"
    listed = subprocess.check_output(["tar", "-tf", tarball], text=True).split()
    packed = {name for name in listed if not name.endswith("/")}
    assert packed == {f"kestrel-1.2.3/{name}" for name in files}
    says(
        "script/package",
        "Makes the release tarball and Debian's source and binary packages of what is committed, in # "
        "build/package/,",
    )
    says(
        "docs/on-the-board.md",
        "`script/package` also leaves the release tarball, `kestrel-VERSION.tar.xz`, which builds "
        "without git. The version is that of `project()` in `CMakeLists.txt`.",
    )


# script/cross


def test_a_cross_build_is_tested_and_has_both_programs_as_one_file(checkout):
    for name in ("script/setup", "script/build", "ctest"):
        checkout.fake(name)
    (checkout.folder / "build/sysroot-armhf").mkdir(parents=True)
    assert checkout.run("script/cross", "armhf") == (0, "", "")
    assert checkout.calls() == [
        "script/setup cross",
        "script/build armhf",
        "script/build static-armhf kestrel kestrel-record",
        "ctest --preset armhf --progress",
    ]
    assert checkout.run("script/cross", "x") == (2, "", "usage: script/cross armhf|arm64\n")
    says(
        "docs/on-the-board.md",
        "script/cross armhf # build/static-armhf/kestrel, after the tests in emulation script/cross arm64 # build/static-arm64/kestrel, likewise Copy it",
    )
    says(
        "script/cross",
        "Builds for a processor of the boards with Debian's cross compiler, also as one static file, "
        "and runs # the tests in emulation. # usage: script/cross armhf|arm64",
    )


APT_GET = """
for word; do
    case $word in
        update) exit 100 ;; # the indexes cannot be had
        download) echo >libc6_2_armhf.deb ;;
    esac
done
"""


def test_the_libraries_for_a_cross_build_are_unpacked_as_a_whole_or_not_at_all(checkout):
    for name in ("script/setup", "script/build", "ctest"):
        checkout.fake(name)
    checkout.fake("apt-get", APT_GET)
    sysroot = checkout.folder / "build/sysroot-armhf"
    checkout.fake("dpkg-deb", "exit 1")
    assert checkout.run("script/cross", "armhf")[0] == 1
    assert not sysroot.exists() and not any("script/build" in call for call in checkout.calls())
    unpacks = 'mkdir -p "$3/lib"; echo >"$3/lib/libm.so.6"; ln -s /lib/libm.so.6 "$3/libm.so"'
    checkout.fake("dpkg-deb", unpacks)
    assert checkout.run("script/cross", "armhf")[0] == 0
    assert {path.name for path in sysroot.iterdir()} == {"lib", "libm.so"}
    assert os.readlink(sysroot / "libm.so") == "lib/libm.so.6"
    of_the_board = [call for call in checkout.calls() if call.startswith("apt-get ")]
    assert all("APT::Architecture=armhf " in call for call in of_the_board)


# script/reproducible


def test_all_varies_between_the_builds_but_user_and_host(checkout):
    checkout.put({"build/package/kestrel_1.2.3-1.dsc": ""})
    checkout.fake("script/setup")
    checkout.fake("reprotest", "echo much; echo Reproduction successful; echo files")
    assert checkout.run("script/reproducible")[:2] == (0, "Reproduction successful\nfiles\n")
    varied = checkout.calls()[-1].replace(",-fileordering", "").removeprefix("reprotest ")
    assert varied == "--vary=-user_group,-domain_host build/package/kestrel_1.2.3-1.dsc"
    checkout.fake("reprotest", "exit 1")
    assert checkout.run("script/reproducible")[0] == 1
    says(
        "script/reproducible",
        "Builds the package of build/package, which script/package makes, twice more and compares the "
        "bytes. # The folder, the time, the language and so on differ.",
    )
    says(
        "docs/on-the-board.md",
        "`script/reproducible` builds the package twice more, in another folder, year, language, "
        "time zone and so on, and finds the same bytes.",
    )


# script/reliability and script/bench


@pytest.fixture
def measured(checkout):
    """A checkout in which the figures are "new", and the documents have "old" ones."""
    for name in ("script/setup", "script/build"):
        checkout.fake(name)
    files = {
        "tests/program/conftest.py": "def pytest_addoption(parser):\n"
        "    parser.addoption('--programs')\n    parser.addoption('--rounds')\n",
        "tests/program/test_record_write.py": "def test_what_read_prints_write_leaves_unchanged"
        "(request):\n    assert request.config.getoption('--rounds') == '10000'\n",
        "tests/reliability/report.py": "import sys; print('new', *sys.argv[1:])\n",
        "tests/bench/report.py": "import sys; print('new', *sys.argv[1:])\n",
        "docs/reliability.md": "text\n<!-- figures -->\n\nold\n",
        "docs/performance.md": "text\n<!-- figures -->\n\nold\n",
    }
    checkout.put(files)
    return checkout


def sealed(figures):
    return f"text\n<!-- figures, sha256 {checksum(figures)} -->\n{figures}"


def test_figures_of_reliability_that_differ_from_the_document_are_shown_and_an_error(measured):
    document = measured.folder / "docs/reliability.md"
    status, printed, _ = measured.run("script/reliability")
    new = "new build/release/kestrel\n"
    assert status == 1 and f"< old\n---\n> {new}" in printed and "old" in document.read_text()
    assert measured.calls()[1] == "script/build release kestrel kestrel-record short-transfers"
    assert measured.run("script/reliability", "--write")[0] == 0
    assert document.read_text() == sealed(f"\n{new}")
    printed = "reliability: docs/reliability.md holds\n"
    assert measured.run("script/reliability")[:2] == (0, printed)
    for broken in ("tests/program/test_record_write.py", "tests/reliability/report.py"):
        works = (measured.folder / broken).read_text()
        measured.put({broken: "exit(1)\n"})
        assert measured.run("script/reliability", "--write")[0] != 0
        measured.put({broken: works})
    assert document.read_text() == sealed(f"\n{new}")
    says(
        "docs/reliability.md",
        "The tables at the end are made by `script/reliability --write`",
        "`script/reliability` runs the same and compares.",
    )
    says(
        "script/reliability",
        "Runs the fault and crash sweeps and the race of two writers on the release build, and "
        "compares their # figures with docs/reliability.md. # usage: script/reliability [--write] "
        "--write puts the figures into the document instead",
    )
    says(
        "script/with-figures.sh",
        "Sourced by scripts that write figures into a document, after the line for them. The line "
        "keeps their # checksum: nobody is to change them by hand.",
    )


def test_the_tables_of_the_bench_are_printed_or_written_and_its_failure_is_an_error(measured):
    document = measured.folder / "docs/performance.md"
    assert measured.run("script/bench") == (0, "new\n", "")
    assert document.read_text() == "text\n<!-- figures -->\n\nold\n"
    assert measured.run("script/bench", "--write") == (0, "", "")
    assert document.read_text() == sealed("new --write\n")
    built = {call for call in measured.calls() if call.startswith("script/build")}
    assert {call.split()[1] for call in built} == {"shared", "release", "static"}
    (measured.folder / "tests/bench/report.py").write_text("print('too much')\nexit(1)\n")
    for arguments in ([], ["--write"]):
        assert measured.run("script/bench", *arguments) == (1, "too much\n", "")
    assert "much" not in document.read_text()
    says(
        "docs/performance.md",
        "The tables at the end are made by `script/bench --write`",
        "`script/bench` only prints them",
    )
    says(
        "script/bench",
        "Measures the builds against each other and against everyday commands, and prints the tables "
        "of # docs/performance.md. Fails if a command's device calls are not the expected ones, or if "
        "a figure that # does not depend on the load exceeds its limit.",
        "--write puts the tables into the document instead, with the times of a whole board on the "
        "slow bus",
    )


# script/vm, script/vm-test, script/fleet-test and script/mutants

PROGRAMS = "script/build release kestrel kestrel-boardtest kestrel-record"


@pytest.mark.parametrize(
    "script, expected",
    [
        ("vm", ["program/test_shared.py::test_one", "vm/test_it.py::test_one"]),
        ("fleet", ["fleet/test_it.py::test_one"]),
    ],
)
def test_the_arguments_of_the_tests_on_other_systems_are_those_of_pytest(
    checkout, script, expected
):
    for name in ("script/setup", "script/build"):
        checkout.fake(name)
    files = {
        f"tests/{script}/machine.py": "",
        f"tests/{script}/fleet.py": "def pytest_addoption(parser): parser.addoption('--programs')",
        f"tests/{script}/test_it.py": "def test_one(): pass\ndef test_two(): pass\ndef test_none(): 0 / 0\n",
        "tests/program/test_shared.py": "# ctest: vm\ndef test_one(): pass\n",
        "tests/program/test_other.py": "def test_one(): pass\n",
    }
    checkout.put(files)
    status, printed, _ = checkout.run(f"script/{script}-test", "-k", "one", "-rA")
    assert (status, sorted(re.findall(r"PASSED (\S+)", printed))) == (1, expected)
    assert checkout.calls()[1] == PROGRAMS
    says(
        "script/vm-test",
        "Runs program tests on a virtual machine, where the kernel's own driver provides the EEPROM, "
        "and the # tests of what only that driver does. # usage: script/vm-test [ARGUMENT...] for "
        "pytest: -k menu, say",
    )
    says(
        "script/fleet-test",
        "Runs the tests of the example in which Ansible drives many boards, each of which is a file. # "
        "usage: script/fleet-test [ARGUMENT...] for pytest: -k locked, say",
    )


@pytest.mark.parametrize(
    "script, program, steps",
    [
        ("vm", "tests/vm/boot.py", ["script/setup vm", PROGRAMS]),
        ("mutants", "tests/mutation/mutants.py", ["script/setup mutants"]),
    ],
)
def test_a_script_hands_on_its_arguments_and_the_status(checkout, script, program, steps):
    for name in ("script/setup", "script/build"):
        checkout.fake(name)
    checkout.put({program: "import sys; print(sys.argv[1:]); exit(3)\n"})
    done = checkout.run(f"script/{script}", "--slow", "a name")
    assert done == (3, "['--slow', 'a name']\n", "")
    assert checkout.calls() == steps


# script/fresh-test and script/package-test


@pytest.mark.parametrize("arguments, suite", [([], "trixie"), (["bookworm"], "bookworm")])
def test_a_newcomers_system_is_debian_13_unless_another_is_named(checkout, arguments, suite):
    for name in ("script/setup", "mmdebstrap"):
        checkout.fake(name)
    assert checkout.run("script/fresh-test", *arguments) == (0, "", "")
    made = checkout.calls()[-1]
    assert made.endswith(f" {suite} /dev/null")
    hooks = ['git clone --quiet . "$1/srv/kestrel"', "upload tests/package/newcomer /srv/newcomer"]
    assert hooks_of(made) == [*hooks, 'chroot "$1" sh /srv/newcomer']
    checkout.fake("mmdebstrap", "exit 1")
    assert checkout.run("script/fresh-test", *arguments)[0] == 1
    says(
        "script/fresh-test",
        "Runs script/demo and script/test on what is committed as newcomers do, in a fresh minimal "
        "Debian 13: as # root, where nothing can make a namespace or a mount, as in a container, and "
        "in a folder with an # awkward name; then as a user without privileges. The system is gone "
        "afterwards.",
        "another release of Debian: bookworm, say",
    )
    says("README.md", "Both need only Debian 12 or 13;")
    says("CONTRIBUTING.md", "You need Debian 12 or 13; the scripts install the rest.")


# Without its options setpriv only runs a command here, which finds them in BY.
NEWCOMERS_TOOLS = {
    "chown": "",
    "git": 'cp -r "$3" "$4"',
    "mount": "exit 1",
    "setpriv": """by=
while case $1 in --*) ;; *) false ;; esac; do by="$by $1"; shift; done
BY=$by exec "$@" """,
    "unshare": "exit 1",
    "useradd": "mkdir /home/newcomer",
}
TESTS = "log=build/dev/Testing/Temporary/LastTest.log; mkdir -p ${log%/*}; echo tests passed"
STEP = 'echo "${0##*/} in $PWD by$BY" >>/srv/steps'


def newcomer(tmp_path, **broken):
    """The status of a newcomer's day in folders of its own, and the commands that it came to."""
    for name in ("srv/bin", "srv/kestrel/script", "home", "tmp"):
        (tmp_path / name).mkdir(parents=True)
    files = {f"bin/{name}": text for name, text in NEWCOMERS_TOOLS.items()}
    files["kestrel/script/demo"] = f"{STEP}; echo '== The first'"
    files["kestrel/script/test"] = f"{STEP}; {TESTS}; echo 7 passed >>$log"
    for name, text in {**files, **broken}.items():
        (tmp_path / "srv" / name).write_text(f"#!/bin/sh\n{text}\n")
        (tmp_path / "srv" / name).chmod(0o755)
    shutil.copy(ROOT / "tests/package/newcomer", tmp_path / "srv")
    bound = [f"--bind={tmp_path}/{name}:/{name}" for name in ("srv", "home", "tmp")]
    done = subprocess.run(
        ["proot", "-v", "-1", *bound, "sh", "/srv/newcomer"],
        env={"PATH": f"/srv/bin:{os.environ['PATH']}"},
        stdout=subprocess.PIPE,
        check=False,
    )
    return done.returncode, (tmp_path / "srv/steps").read_text().splitlines()


def test_a_newcomer_runs_both_commands_confined_and_as_a_user(tmp_path):
    confined = "by --bounding-set=-sys_admin --inh-caps=-sys_admin --no-new-privs"
    user = "by --reuid=newcomer --regid=newcomer --clear-groups"
    places = [f"in /srv/a b'c%d/kestrel {confined}", f"in /home/newcomer/kestrel {user}"]
    steps = [f"{name} {place}" for place in places for name in ("demo", "test")]
    assert newcomer(tmp_path) == (0, steps)


@pytest.mark.parametrize(
    "name, does",
    [
        ("bin/unshare", ""),
        ("bin/mount", ""),
        ("kestrel/script/demo", "echo '== The first'; exit 1"),
        ("kestrel/script/test", f"{TESTS}; echo 7 passed >$log; exit 1"),
        ("kestrel/script/test", f"{TESTS}; echo 1 skipped >$log"),
    ],
)
def test_what_goes_wrong_at_a_newcomer_is_an_error(tmp_path, name, does):
    assert newcomer(tmp_path, **{name: f"{STEP}; {does}"})[0] == 1


def hooks_of(made):
    return re.findall(r"--customize-hook=(.*?)(?= --customize-hook=| \w+ /dev/null$)", made)


def test_the_package_of_this_architecture_is_tried_in_a_debian_12_of_its_own(checkout):
    for name in ("script/setup", "mmdebstrap"):
        checkout.fake(name)
    checkout.fake("dpkg", "echo armhf")
    packages = [f"build/package/kestrel_1-1_{name}.deb" for name in ("arm64", "armhf")]
    checkout.put(dict.fromkeys(packages[:1], ""))
    assert checkout.run("script/package-test")[0] != 0
    checkout.put(dict.fromkeys(packages, ""))
    assert checkout.run("script/package-test") == (0, "", "")
    made = checkout.calls()[-1]
    assert hooks_of(made) == [
        f"upload {packages[1]} /srv/kestrel.deb",
        "upload tests/package/fresh-system /srv/fresh-system",
        "copy-in examples /srv",
        'unshare --mount chroot "$1" sh /srv/fresh-system',
    ]
    assert made.endswith(" bookworm /dev/null")
    checkout.fake("mmdebstrap", "exit 1")
    assert checkout.run("script/package-test")[0] == 1
    says(
        "script/package-test",
        "Installs the package of build/package, which script/package makes, in a fresh minimal Debian "
        "# system, uses and removes it there, and prints all of that. The system is gone afterwards.",
    )


# .ci/run

NO_CHECKS = {"build", "mutants", "pictures", "sandbox", "setup", "vm"}


def test_everything_that_must_pass_is_run_and_what_fails_ends_it(checkout):
    (checkout.folder / ".ci").mkdir()
    shutil.copy(ROOT / ".ci/run", checkout.folder / ".ci")
    names = {path.name for path in (ROOT / "script").iterdir() if path.suffix != ".sh"}
    checks = {f"script/{name}" for name in names - NO_CHECKS}
    for check in checks:
        checkout.fake(check)
    assert checkout.run(".ci/run") == (0, "", "")
    calls = checkout.calls()
    assert {call.split()[0] for call in calls} == checks
    tested = {"script/test ", "script/test asan", "script/test release"}
    assert tested | {"script/cross armhf", "script/cross arm64"} <= {*calls}
    assert calls.index("script/package ") < calls.index("script/package-test ")
    assert calls.index("script/package ") < calls.index("script/reproducible ")
    assert not {"script/package armhf", "script/package arm64"} & {*calls}
    says(
        "CONTRIBUTING.md",
        "3. Commit, and run `.ci/run`, which leaves the release tarball and the packages in "
        "`build/package/`. Run `script/package armhf` and `script/package arm64`, which it leaves "
        "out.",
    )
    for check in checks:
        checkout.fake(check, "exit 3")
        assert checkout.run(".ci/run")[0] == 3
        assert checkout.calls()[-1].split()[0] == check
        checkout.fake(check)


# script/demo


@pytest.fixture(scope="module")
def demo():
    done = subprocess.run([ROOT / "script/demo"], capture_output=True, check=False, text=True)
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout


SHOWN = {1: 128, 2: 192}  # bytes of the part, at the end
WHOLE_BOARD = "\n== The document of a whole board\n"


def commands_of(text):
    """Each command of the demo with its output."""
    without_titles = re.sub(r"\n== .*\n", "", text)
    return re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", without_titles, re.M)


def steps_of(demo, version):
    """Each command on the part of a version, with its output."""
    elements_only = demo.partition(WHOLE_BOARD)[0]
    parts = re.split(r"\n== Format a part of (\d+) bytes as version (\d)\n", elements_only)
    sizes, versions, texts = parts[1::3], parts[2::3], parts[3::3]
    assert (sizes, versions) == (["128", "2048"], ["1", "2"])
    return commands_of(texts[version - 1])


@pytest.mark.parametrize("version", [1, 2])
def test_the_commands_of_the_demo_can_be_copied_and_print_what_it_shows(
    demo, make_sandbox, version
):
    sandbox = make_sandbox({1: b"\0\1" + b"\xff" * 126, 2: records.BLANK_V2}[version])
    for command, printed in steps_of(demo, version):
        assert sandbox.shell(command) == (0, printed.encode(), b""), command


@pytest.mark.parametrize("version", [1, 2])
def test_the_demo_formats_writes_reads_checks_and_dumps(demo, version):
    commands = [shlex.split(command) for command, _ in steps_of(demo, version)]
    options = [command[2] for command in commands if command[1] == "-w"]
    assert sorted(options) == sorted(elements.WRITABLE)
    assert commands == [
        ["kestrel", f"--format_v{version}"],
        *commands[1 : 1 + len(options)],
        *[["kestrel", "-r", option] for option in options],
        ["kestrel", "-r", "--valid"],
        ["kestrel", "--raw"],
        ["od", "-A", "d", "-t", "x1z", "-N", str(SHOWN[version]), f"/{DEVICE}"],
    ]
    assert f"\n== The first {SHOWN[version]} of {records.SIZE[version]} bytes\n$ od " in demo
    says(
        "script/demo",
        "Shows the main job on parts that are files, for both versions of the record: formats a part, "
        "writes # every element, reads each back, checks and dumps the record, and prints the bytes of "
        "the part. Then # shows how kestrel-record handles a whole board. Each command is printed in a "
        "form that can be copied.",
    )
    says(
        "README.md",
        "script/demo # try it: builds the tools and shows them at work on parts that are files",
    )


def test_the_commands_of_the_demo_on_a_whole_board_print_what_it_shows(demo, make_sandbox):
    sandbox = make_sandbox(records.BLANK_V2)
    for command, printed in commands_of(demo.partition(WHOLE_BOARD)[2]):
        if command.startswith("cat "):
            (sandbox.directory / command.removeprefix("cat ")).write_text(printed)
        status, output, messages = sandbox.shell(command)
        shown_status = f"[status {status}]\n" if status else ""
        assert (output + messages).decode() + shown_status == printed, command


def test_the_demo_handles_a_whole_board_from_a_document_to_an_image(demo):
    commands = commands_of(demo.partition(WHOLE_BOARD)[2])
    results = [(command, printed.splitlines()[-1:]) for command, printed in commands]
    assert results[:-1] == [
        ("cat board.json", ["}"]),
        ("cat mistakes.json", ["}"]),
        ("kestrel-record write mistakes.json", ["[status 3]"]),
        ("kestrel-record write board.json", ["written"]),
        ("kestrel-record write board.json", ["unchanged"]),
        ("kestrel -w --ser_num SN-0000004712", []),
        ("kestrel-record diff board.json", ["[status 1]"]),
        ("kestrel-record image -o part.bin board.json", []),
    ]
    assert commands[-1][0] == "od -A d -t x1z -N 192 part.bin"
    keys = {"version", "mac1", "mac5", "type", "servicedate", "ser_num", "ari"}
    wrong = re.findall(
        "^kestrel-record: ([^:]*): ", dict(commands)["kestrel-record write mistakes.json"], re.M
    )
    assert sorted(wrong) == sorted(keys - {"version"})


def test_the_demo_says_how_to_open_the_menu(demo):
    assert demo.endswith("\n== Open the menu on a part of your own with: script/demo --menu\n")


def test_the_demo_opens_the_menu_where_it_is_asked_to(make_sandbox):
    terminal = Terminal(make_sandbox(None), shell=shlex.quote(f"{ROOT}/script/demo") + " --menu")
    deadline = time.monotonic() + 60
    while "KESTREL" not in terminal.row(1) and time.monotonic() < deadline:
        terminal.pump(0.1)
    terminal.settle()
    assert terminal.row(3) == " -->FormatVersion     2"
    terminal.go_to("END")
    terminal.press(ENTER)
    assert terminal.wait_for_end() == 0
    says("script/demo", "--menu opens the menu of a formatted version 2 part instead")


def test_the_demo_refuses_another_argument():
    done = subprocess.run([ROOT / "script/demo", "menu"], capture_output=True, check=False)
    assert (done.returncode, done.stdout) == (2, b"")
    assert done.stderr.startswith(b"usage: script/demo")
