"""What cmake --install puts where."""

# ctest: native

import os
import re
import subprocess
from pathlib import Path

import pytest
import records

ROOT = Path(__file__).parents[2]


@pytest.fixture
def build(request):
    return Path(request.config.getoption("--programs")).resolve()


def installed(build, destination, prefix):
    """Installs below the destination; the names of the files that are there then."""
    subprocess.run(
        ["cmake", "--install", build, "--prefix", prefix],
        env=dict(os.environ, DESTDIR=str(destination)),
        stdout=subprocess.DEVNULL,
        check=True,
    )
    return {
        f"/{path.relative_to(destination)}" for path in destination.rglob("*") if path.is_file()
    }


@pytest.mark.parametrize("prefix", ["/usr", "/opt/kestrel"])
def test_everything_is_installed_below_the_prefix_and_the_destination(build, tmp_path, prefix):
    names = installed(build, tmp_path, prefix)
    programs = {f"{prefix}/bin/kestrel{suffix}" for suffix in ("", "-boardtest", "-record")}
    assert programs | {f"{prefix}/share/kestrel/kestrel-record.schema.json"} <= names
    documents = f"{prefix}/share/doc/kestrel"
    assert {f"{documents}/README.md", f"{documents}/examples/90-kestrel.rules"} <= names
    assert all(name.startswith((f"{prefix}/bin/", f"{prefix}/share/")) for name in names)


def test_every_document_that_the_readme_links_is_installed(build, tmp_path):
    names = installed(build, tmp_path, "/usr")
    links = re.findall(r"\]\(((?:docs|examples)/[^)#]*)", (ROOT / "README.md").read_text())
    assert links
    assert {f"/usr/share/doc/kestrel/{link}" for link in links} <= names


def test_an_installed_program_works(make_sandbox, build, tmp_path):
    installed(build, tmp_path, "/usr")
    sandbox = make_sandbox(records.formatted(2), tmp_path / "usr/bin/kestrel")
    assert sandbox.read("--valid") == b"1"
