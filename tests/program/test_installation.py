"""What cmake --install puts where."""

# ctest: native

import os
import re
import subprocess
from pathlib import Path

import pytest
import records
from documents import ROOT, says


@pytest.fixture
def build(request):
    return Path(request.config.getoption("--programs")).resolve()


def installed(build, destination, prefix):
    """Installs below the destination; the names and the modes of the files that are there then."""
    subprocess.run(
        ["cmake", "--install", build, "--prefix", prefix],
        env=dict(os.environ, DESTDIR=str(destination)),
        stdout=subprocess.DEVNULL,
        check=True,
    )
    files = [path for path in destination.rglob("*") if path.is_file()]
    return {f"/{path.relative_to(destination)}": path.stat().st_mode & 0o777 for path in files}


def of_the_tree():
    """The same of what is to be installed below the prefix."""
    for suffix in ("", "-boardtest", "-record"):
        yield f"bin/kestrel{suffix}", 0o755
        yield f"share/bash-completion/completions/kestrel{suffix}", 0o644
    for name in ("_kestrel", "_kestrel-record"):
        yield f"share/zsh/completions/{name}", 0o644
    for page in (ROOT / "man").glob("*.[15]"):
        yield f"share/man/man{page.suffix[1:]}/{page.name}", 0o644
    yield "share/kestrel/kestrel-record.schema.json", 0o644
    for folder in ("docs", "examples"):
        for path in (ROOT / folder).rglob("*"):
            if path.is_file() and path.suffix not in (".dot", ".msc"):
                mode = 0o755 if os.access(path, os.X_OK) else 0o644
                yield f"share/doc/kestrel/{path.relative_to(ROOT)}", mode
    yield "share/doc/kestrel/README.md", 0o644


@pytest.mark.parametrize("prefix", ["/usr", "/opt/kestrel"])
def test_everything_is_installed_below_the_prefix_and_the_destination(build, tmp_path, prefix):
    modes = installed(build, tmp_path, prefix)
    # The folder for zsh depends on the prefix that the build was configured with.
    modes = {re.sub(r"/zsh/[\w-]+/", "/zsh/completions/", name): modes[name] for name in modes}
    assert modes == {f"{prefix}/{name}": mode for name, mode in of_the_tree()}
    assert "include(GNUInstallDirs)" in (ROOT / "CMakeLists.txt").read_text()
    says(
        "docs/on-the-board.md",
        "`DESTDIR` and the folders of GNUInstallDirs (`CMAKE_INSTALL_BINDIR` and so on) work as "
        "everywhere.",
        "The programs are installed to `bin`, not `sbin`: who may use them is a matter of the file's "
        "permissions, and a service user has no `sbin` in its path.",
    )
    says(
        "README.md",
        "The scripts are in the source tree; the package has the programs, their manual and these "
        "documents.",
        "- `man/`, `completion/`, `examples/`: the manual, completion for bash and zsh, and the "
        "examples.",
    )
    says(
        "CHANGELOG.md",
        "- Manual pages, completion for bash and zsh, a JSON Schema of the document, and a Debian "
        "package.",
        "- Examples: a station of a production line, a fleet driven by Ansible, network interfaces "
        "that get their MAC addresses from the part at boot, images for a programmer of parts, and a "
        "udev rule that lets a service use the part.",
    )


def test_an_installed_program_works(make_sandbox, build, tmp_path):
    installed(build, tmp_path, "/usr")
    sandbox = make_sandbox(records.formatted(2), tmp_path / "usr/bin/kestrel")
    assert sandbox.read("--valid") == b"1"
