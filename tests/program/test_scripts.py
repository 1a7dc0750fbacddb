"""The other scripts that people run: what they do, print and leave behind."""

# ctest: tree native

import fcntl
import os
import re
import shutil
import subprocess
import time

import pytest
from documents import ROOT, checksum, says


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
    checkout.put({"build/fuzz-found/earlier": ""})
    assert checkout.run("script/fuzz", "7")[0] == 1
    found = {path.name for path in (checkout.folder / "build/fuzz-found").iterdir()}
    assert found == {"earlier", f"{broken}-crash"}
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
