"""Packages: how they are made, and tried in fresh systems."""

# ctest: tree native

import os
import re
import shutil
import subprocess

import pytest
from documents import ROOT, says


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
