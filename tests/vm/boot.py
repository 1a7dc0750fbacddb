"""Makes the system of a virtual machine from files of this one, and boots it in QEMU.

Run by script/vm, which says what it is for.
"""

import argparse
import fcntl
import gzip
import os
import re
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
from glob import glob
from itertools import chain
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
GUEST = ROOT / "tests/vm/guest"
NAMES = ["kestrel", "kestrel-boardtest", "kestrel-record"]
PROGRAMS = [ROOT / "build/release" / name for name in NAMES]
MACHINES = ROOT / "build/machine"
KERNEL = MACHINES / "kernel"
MODULES = [
    "at24.ko",
    "dummy.ko",
    "i2c-stub.ko",
    "i2c-piix4.ko",
    "i2c-taos-evm.ko",
    "serport.ko",
]
SYSTEMD_PROGRAMS = ["/bin/journalctl", "/bin/systemctl", "/lib/systemd/systemd"]
SYSTEMD_PROGRAMS += ["/lib/systemd/systemd-journald"]
SYSTEMD_FILES = [
    "/lib/systemd/system/*.target",
    "/lib/systemd/system/systemd-journald.s*",
    "/lib/udev/rules.d/99-systemd.rules",
]


def output_of(*command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, check=True, **options).stdout


# The kernel comes from Debian's package, which is unpacked: installing it might start it here.


def fetch_kernel(scratch):
    """Fetches it once, even when two machines are started at the same time."""
    with open(MACHINES / "lock", "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if all((KERNEL / name).exists() for name in ["vmlinuz", "udevadm", *MODULES]):
            return
        print("fetching the kernel", file=sys.stderr)
        try:
            download(scratch)
        except subprocess.CalledProcessError:
            as_root = [] if os.getuid() == 0 else ["sudo", "-n"]
            subprocess.run([*as_root, "apt-get", "update", "-qq"], check=True)
            download(scratch)
        unpacked = scratch / "kernel"
        unpacked.mkdir()
        unpack(next(scratch.glob("linux-image-*.deb")), ["vmlinuz-*", *MODULES], unpacked)
        unpack(next(scratch.glob("udev_*.deb")), ["bin/udevadm"], unpacked)
        next(unpacked.glob("vmlinuz-*")).rename(unpacked / "vmlinuz")
        shutil.rmtree(KERNEL, ignore_errors=True)  # one that an older script/vm has left
        unpacked.rename(KERNEL)


def download(scratch):
    depends = output_of("apt-cache", "depends", "linux-image-amd64", text=True)
    package = re.search(r"Depends: (linux-image-\S+)", depends)[1]
    as_now = ["-o", "APT::Sandbox::User=root"]
    command = ["apt-get", "download", "-qq", *as_now, package, "udev"]
    subprocess.run(command, cwd=scratch, stderr=subprocess.DEVNULL, check=True)


def unpack(package, names, folder):
    """Takes the files of these names out of a package, wherever they are in it."""
    archive = output_of("dpkg-deb", "--fsys-tarfile", package)
    patterns = [f"*/{name}" for name in names]
    options = ["--extract", "--wildcards", "--transform=s,.*/,,"]
    subprocess.run(["tar", "-C", folder, *options, *patterns], input=archive, check=True)


# The system


def make_system(root, with_systemd):
    for folder in ("bin", "modules", "proc", "sys", "dev", "tmp"):
        (root / folder).mkdir(parents=True)
    root.chmod(0o755)
    tools = [shutil.which("flock"), shutil.which("inputattach"), KERNEL / "udevadm"]
    programs = [*tools, *PROGRAMS]
    for file in [*GUEST.iterdir(), "/bin/busybox", *programs]:
        shutil.copy(file, root / "bin")
    for name in ("init", "welcome"):
        (root / "bin" / name).rename(root / name)
    (root / "bin/sh").symlink_to("busybox")
    (root / "bin/udevd").symlink_to("udevadm")
    for module in KERNEL.glob("*.ko"):
        shutil.copy(module, root / "modules")
    if with_systemd:
        programs += SYSTEMD_PROGRAMS
        for file in [*SYSTEMD_PROGRAMS, *chain.from_iterable(map(glob, SYSTEMD_FILES))]:
            copy_to_its_place(file, root)
    for library in libraries(programs):
        copy_to_its_place(library, root)
    shutil.copytree("/lib/terminfo", root / "lib/terminfo", symlinks=True)
    description = output_of("infocmp", "-x", terminal())
    compiler = ["tic", "-x", "-o", root / "lib/terminfo", "-"]
    subprocess.run(compiler, input=description, stderr=subprocess.DEVNULL, check=True)


def libraries(programs):
    return set(re.findall(r"[ \t](/\S+)", output_of("ldd", *programs, text=True)))


def copy_to_its_place(file, root):
    place = root / file.lstrip("/")
    place.parent.mkdir(parents=True, exist_ok=True)
    shutil.copy(file, place)


def terminal():
    """The name of this one, or that of a simple one where Debian does not know it."""
    name = os.environ.get("TERM", "")
    known = subprocess.run(["infocmp", name], capture_output=True, check=False).returncode == 0
    return name if name and known else "vt100"


def pack(scratch):
    """Makes the archive that the kernel unpacks into its memory."""
    names = output_of("find", ".", "-print0", cwd=scratch / "root")
    packer = ["cpio", "--quiet", "--null", "-o", "-H", "newc", "-R", "0:0"]
    archive = output_of(*packer, input=names, cwd=scratch / "root")
    (scratch / "initramfs").write_bytes(gzip.compress(archive, compresslevel=1))


# Runs


def boot(scratch, parameters, serial_lines, **options):
    """Runs the machine; parameters are for its kernel, which passes the unknown ones to init."""
    # Programs at the same addresses each time spare QEMU most of their translation.
    kernel = ["console=ttyS0", "quiet", "panic=-1", "norandmaps", *parameters]
    command = ["qemu-system-x86_64", "-machine", "pc", "-accel", "tcg", "-cpu", "max", "-m", "256"]
    command += ["-nodefaults", "-no-reboot", "-display", "none", "-append", " ".join(kernel)]
    command += ["-kernel", KERNEL / "vmlinuz", "-initrd", scratch / "initramfs"]
    for line in serial_lines:
        command += ["-serial", line]
    subprocess.run(command, check=True, **options)


def run(scratch, bus, command):
    """Has the machine run a command, prints its output and its messages, and returns its status."""
    (scratch / "root/request").write_text(shlex.join(command) + "\n")
    pack(scratch)
    console, answer = scratch / "console", scratch / "answer"
    lines = [f"file:{plain(file)}" for file in (console, answer)]
    boot(scratch, [f"BUS={bus}", "MODE=request"], lines, stdin=subprocess.DEVNULL)
    try:
        status, *sizes, rest = answer.read_bytes().split(b"\n", 3)
        output, messages = map(int, sizes)
    except ValueError:
        output, messages, rest = 0, 0, b"not an answer"
    if len(rest) != output + messages:
        sys.stderr.buffer.write(console.read_bytes())
        print("script/vm: the machine has not answered", file=sys.stderr)
        return 2
    sys.stdout.buffer.write(rest[:output])
    sys.stderr.buffer.write(rest[output:])
    return int(status)


def open_shell(scratch, bus, control):
    """Opens a shell on the console; a control folder gets sockets to the other serial lines."""
    pack(scratch)
    rows, columns = size_of_terminal()
    parameters = [f"BUS={bus}", "MODE=shell", f"TERM={terminal()}"]
    parameters += [f"ROWS={rows}", f"COLUMNS={columns}"]
    lines = ["mon:stdio"]
    for name in ("commands", "bus"):
        lines.append(f"unix:{plain(control / name)},server=on,wait=off" if control else "null")
    boot(scratch, parameters, lines)


def plain(path):
    """QEMU takes a comma in a path for its end unless it is doubled."""
    return str(path).replace(",", ",,")


def size_of_terminal():
    try:
        return os.get_terminal_size(0).lines, os.get_terminal_size(0).columns
    except OSError:
        return 24, 80


def arguments():
    parser = argparse.ArgumentParser(
        prog="script/vm", usage="script/vm [--slow] [COMMAND...]", allow_abbrev=False
    )
    parser.add_argument("--slow", action="store_true", help="use a bus that takes 1 ms a byte")
    # For the tests.
    parser.add_argument("--control", type=Path, help=argparse.SUPPRESS)
    parser.add_argument("command", nargs=argparse.REMAINDER, metavar="COMMAND")
    return parser.parse_args()


def main():
    options = arguments()
    for ending in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM):
        signal.signal(ending, lambda number, frame: sys.exit(128 + number))
    bus = "piix4" if options.slow else "stub"
    MACHINES.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="run.", dir=MACHINES) as directory:
        scratch = Path(directory)
        fetch_kernel(scratch)
        make_system(scratch / "root", with_systemd=options.control)
        if options.command:
            return run(scratch, bus, options.command)
        return open_shell(scratch, bus, options.control)


if __name__ == "__main__":
    sys.exit(main())
