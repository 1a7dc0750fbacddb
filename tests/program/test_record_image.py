"""The images that kestrel-record makes for a programmer of parts, and where it puts them."""

import os
import random
import signal
import stat
import subprocess

import pytest
import record_model as model
import records
from conftest import HEEDING_MODES

VERSIONS = pytest.mark.parametrize("version", [1, 2])
V1 = records.formatted(1)


@pytest.fixture
def record(make_part):
    return make_part()


def made(version, document):
    return model.encoded(records.formatted(version), version, document)


@VERSIONS
def test_an_image_is_a_fresh_record_with_what_the_document_names(record, version):
    documents = [{}, model.sample(version), {"type": "0x1e", "ser_num": ""}]
    chance = random.Random(version)
    documents += [model.random_document(chance, version) for _ in range(20)]
    for document in documents:
        document = {**document, "version": version}
        image = made(version, document)
        assert record.run("image", "-o", "-", document=document) == (0, image, b"")
        assert len(image) == records.SIZE[version]
    for key, value in model.sample(version).items():
        document = {"version": version, key: value}
        assert record.run("image", "-o", "-", document=document).out == made(version, document)


def test_the_version_is_to_be_named(record):
    for document in ({}, {key: model.sample(2)[key] for key in model.keys(2)[1:]}):
        result = record.run("image", "-o", "-", document=document)
        assert (result.status, result.out) == (3, b"")
        assert result.err.startswith(b"kestrel-record: version: ")
    assert record.run("image", "-o", "-", "--set", "version=1") == (0, V1, b"")


def test_a_refused_document_makes_no_file(record, tmp_path):
    file = tmp_path / "image"
    result = record.run("image", "-o", file, "--set", "type=x", document={"version": 2})
    assert result.status == 3 and not file.exists()
    file.write_bytes(b"old")
    record.run("image", "-o", file, "--set", "type=x", document={"version": 2})
    assert file.read_bytes() == b"old"


def image(record, file, *options, **more):
    return record.run("image", "--set", "version=1", "-o", file, *options, **more)


@pytest.mark.parametrize("mask", [0o022, 0o027, 0o000, 0o777])
def test_a_new_file_has_the_mode_that_a_redirection_gives(record, tmp_path, mask):
    file = tmp_path / "image"
    assert image(record, file, preexec_fn=lambda: os.umask(mask)) == (0, b"", b"")
    assert stat.S_IMODE(file.stat().st_mode) == 0o666 & ~mask
    file.chmod(0o600)  # or only root may read it
    assert file.read_bytes() == V1
    assert [path.name for path in tmp_path.iterdir()] == ["image"]


@pytest.mark.parametrize("mode", [0o600, 0o640, 0o666, 0o1755])
def test_a_file_is_replaced_whole_and_keeps_its_mode(record, tmp_path, mode):
    file, link = tmp_path / "image", tmp_path / "link"
    file.write_bytes(b"old" * 1000)
    file.chmod(mode)
    link.hardlink_to(file)
    assert image(record, file) == (0, b"", b"")
    assert (file.read_bytes(), link.read_bytes()) == (V1, b"old" * 1000)
    assert stat.S_IMODE(file.stat().st_mode) == mode
    assert sorted(path.name for path in tmp_path.iterdir()) == ["image", "link"]


def test_a_name_without_a_folder_is_one_in_the_working_directory(record, tmp_path):
    assert image(record, "image", cwd=tmp_path).status == 0
    assert (tmp_path / "image").read_bytes() == V1


@pytest.mark.parametrize("start", ["", "/"], ids=["relative", "absolute"])
@pytest.mark.parametrize("there", [True, False], ids=["to a file", "to nothing"])
def test_a_symbolic_link_stays_and_what_it_names_is_made(record, tmp_path, there, start):
    (tmp_path / "folder").mkdir()
    target, link = tmp_path / "folder/target", tmp_path / "link"
    if there:
        target.write_bytes(b"old")
        (tmp_path / "old").hardlink_to(target)
    link.symlink_to(target if start else "folder/target")
    assert image(record, link).status == 0
    assert not there or (tmp_path / "old").read_bytes() == b"old"
    assert link.is_symlink() and target.read_bytes() == V1
    assert [path.name for path in (tmp_path / "folder").iterdir()] == ["target"]


def test_as_many_links_are_followed_as_the_system_follows(record, tmp_path):
    target = tmp_path / "0"
    target.write_bytes(b"old")
    for number in range(1, 41):
        (tmp_path / str(number)).symlink_to(str(number - 1))
    assert image(record, tmp_path / "40").status == 0
    assert target.read_bytes() == V1
    assert all((tmp_path / str(number)).is_symlink() for number in range(1, 41))


def test_a_pipe_is_written_and_stays(record, tmp_path):
    pipe = tmp_path / "pipe"
    os.mkfifo(pipe)
    with subprocess.Popen(["cat", pipe], stdout=subprocess.PIPE) as reading:
        try:
            assert image(record, pipe).status == 0
            assert reading.communicate(timeout=20)[0] == V1
        finally:
            reading.kill()
    assert stat.S_ISFIFO(pipe.stat().st_mode)
    assert [path.name for path in tmp_path.iterdir()] == ["pipe"]


@pytest.fixture
def full(tmp_path):
    """A device of its own if possible, so that a program in error replaces no one else's."""
    device = tmp_path / "full"
    try:
        os.mknod(device, 0o666 | stat.S_IFCHR, os.makedev(1, 7))
        os.close(os.open(device, os.O_WRONLY))
        return device
    except PermissionError:
        return "/dev/full"


def test_a_device_is_written_and_stays(record, full):
    result = image(record, full)
    reason = b": Error writing to file descriptor:: No space left on device\n"
    assert (result.status, result.out) == (4, b"") and result.err.endswith(reason)
    assert stat.S_ISCHR(os.stat(full).st_mode)


@pytest.mark.parametrize(
    "name, reason",
    [
        ("", b"Is a directory"),
        ("folder", b"Is a directory"),
        ("missing/image", b"No such file or directory"),
        ("file/image", b"Not a directory"),
        ("loop", b"Too many levels of symbolic links"),
    ],
)
def test_what_cannot_be_written_is_status_4(record, tmp_path, name, reason):
    def files():
        return sorted((path, path.is_symlink()) for path in tmp_path.rglob("*"))

    (tmp_path / "folder").mkdir()
    (tmp_path / "file").write_bytes(b"")
    (tmp_path / "loop").symlink_to("loop")
    before = files()
    result = image(record, f"{tmp_path}/{name}")
    assert (result.status, result.out) == (4, b"") and result.err.startswith(b"kestrel-record: ")
    assert result.err.endswith(b": " + reason + b"\n")
    assert files() == before


def test_a_signal_while_the_file_is_made_takes_effect_after_that(record, tmp_path):
    file = tmp_path / "image"
    tracing = ["strace", "-o", os.devnull, "-e", "inject=fsync:signal=SIGTERM"]
    assert image(record, file, before=tracing).status == -signal.SIGTERM
    assert file.read_bytes() == V1 and list(tmp_path.iterdir()) == [file]


def with_fault(record, tmp_path, fault):
    """A strace with the fault in front of the program; LAST is the last one of the calls."""
    log = tmp_path / "log"
    call = fault.split(":")[0]
    image(record, tmp_path / "other", before=["strace", "-o", log, "-e", f"trace={call}"])
    fault = fault.replace("LAST", str(log.read_text().count(f"{call}(")))
    return ["strace", "-o", log, "-e", f"inject={fault}"]


@pytest.mark.parametrize("there", [True, False], ids=["old file", "no file"])
@pytest.mark.parametrize(
    "fault",
    [
        "openat:error=EACCES:when=LAST",
        "write:error=ENOSPC:when=LAST",
        "fsync:error=EIO",
        "close:error=EIO:when=LAST",
        "rename,renameat,renameat2:error=EIO",
    ],
)
def test_a_file_that_cannot_be_made_leaves_the_folder_as_it_was(record, tmp_path, fault, there):
    folder = tmp_path / "folder"
    folder.mkdir()
    file = folder / "image"
    if there:
        file.write_bytes(b"old")
    result = image(record, file, before=with_fault(record, tmp_path, fault))
    calls = (tmp_path / "log").read_text()
    assert "INJECTED" in calls and f'openat(AT_FDCWD, "{folder}/.' in calls  # and not elsewhere
    assert result.status == 4 and result.err.startswith(b"kestrel-record: ")
    assert [path.read_bytes() for path in folder.iterdir()] == ([b"old"] if there else [])


def test_a_file_in_a_folder_that_takes_no_other_stays_as_it_was(record, tmp_path):
    file = tmp_path / "folder/image"
    file.parent.mkdir()
    file.write_bytes(b"old")
    file.parent.chmod(0o555)
    result = image(record, file, before=HEEDING_MODES)
    assert result.status == 4 and b"Permission denied" in result.err
    assert file.read_bytes() == b"old"


def test_standard_output_that_cannot_be_written_is_status_4(record):
    with open("/dev/full", "wb") as full:
        result = image(record, "-", stdout=full)
    reason = b"Error writing to file descriptor:: No space left on device"
    assert result == (4, None, b"kestrel-record: cannot write standard output: " + reason + b"\n")


def test_a_file_that_has_lost_its_name_is_written_and_no_other_of_that_name(record, tmp_path):
    other = tmp_path / "image (deleted)"
    other.write_bytes(b"other")
    with open(tmp_path / "image", "w+b") as file:
        os.unlink(file.name)
        assert image(record, "/proc/self/fd/1", stdout=file).status == 0
        file.seek(0)
        assert (file.read(), other.read_bytes()) == (V1, b"other")
        failing = with_fault(record, tmp_path, "close:error=EIO:when=LAST")
        assert image(record, "/proc/self/fd/1", stdout=file, before=failing).status == 4


@VERSIONS
def test_an_image_is_a_part_that_can_be_read_compared_and_written(make_part, version):
    part = make_part()
    document = model.sample(version)
    assert part.run("image", "-o", part.path, document=document).status == 0
    assert part.report("diff", document=document)["result"] == "same"
    assert part.report("write", "--set", "ser_num=1")["result"] == "written"
    assert part.run("read", "ser_num").out == b"1\n"
