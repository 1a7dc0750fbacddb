"""The examples that give a board's network interfaces their MAC addresses, as they are installed."""

# ctest: tree native

import re
import shutil
import subprocess
from pathlib import Path

import pytest
import records
from conftest import DEVICE, result_of
from documents import block, says, transcript

DOCUMENT = "docs/on-the-board.md"
V1 = records.formatted(1)
V2 = records.formatted(2)
ADDRESS = {"mac1": "02:a5:5e:12:34:01", "mac2": "02:a5:5e:12:34:02"}


def with_mac(contents, field, mac):
    return records.with_field(contents, f"--{field}", bytes.fromhex(mac.replace(":", "")))


def filled(contents):
    for field, mac in ADDRESS.items():
        contents = with_mac(contents, field, mac)
    return contents


# The device tree

BOARD = """/dts-v1/;
/ {
    i2c0: i2c { #address-cells = <1>; #size-cells = <0>; };
    ethernet0: ethernet0 { };
    ethernet1: ethernet1 { };
};
/include/ "SNIPPET"
"""
PART = "/i2c/eeprom@50"


class Tree:
    """A compiled device tree with the snippet, and the node that has the cells."""

    def __init__(self, folder, snippet, cells):
        self.blob = folder / "board.dtb"
        self.cells = cells
        source = BOARD.replace("SNIPPET", snippet).encode()
        compiler = ["dtc", "-i", folder, "-o", self.blob, "-"]
        done = subprocess.run(compiler, input=source, capture_output=True, check=False)
        assert (done.returncode, done.stderr) == (0, b"")

    def get(self, node, name, kind="u"):
        return subprocess.check_output(
            ["fdtget", "-t", kind, self.blob, node, name], text=True
        ).split()

    def addresses(self):
        """The nodes of the cells."""
        names = subprocess.check_output(["fdtget", "-l", self.blob, self.cells], text=True).split()
        return [f"{self.cells}/{name}" for name in names]


@pytest.fixture(params=["since 6.5", "before 6.5"])
def tree(request, installed_examples, tmp_path):
    shutil.copy(installed_examples / "kestrel-macs.dtsi", tmp_path)
    if request.param == "since 6.5":
        tree = Tree(tmp_path, "kestrel-macs.dtsi", f"{PART}/nvmem-layout")
        assert tree.get(tree.cells, "compatible", "s") == ["fixed-layout"]
        return tree
    subprocess.run(["sh", "-ec", block("old cells", DOCUMENT)], cwd=tmp_path, check=True)
    says(
        "examples/kestrel-macs.dtsi",
        "What the kernel * does not check, and the form for kernels before 6.5: docs/on-the-board.md.",
    )
    return Tree(tmp_path, "kestrel-macs-old.dtsi", PART)


@pytest.mark.parametrize("version", ["1", "2"])
def test_the_cells_are_where_the_record_has_its_macs(tree, facts, version):
    assert tree.get(tree.cells, "#address-cells") == tree.get(tree.cells, "#size-cells") == ["1"]
    fields = facts["versions"][version]["fields"]
    macs = [field for field in fields if re.fullmatch(r"MAC\d", field["name"])]
    places = [[str(field["position"]), str(field["length"])] for field in macs]
    # These are all the bytes that the kernel is told of.
    assert [tree.get(node, "reg") for node in tree.addresses()] == places
    says(
        DOCUMENT,
        "It makes an `nvmem` cell of each address, at positions that both versions of the record "
        "have in common, and gives two Ethernet drivers their cell.",
        "**The kernel checks no CRC.** It looks for neither the version nor the pattern.",
        "The file has the form that Linux knows since 6.5, `fixed-layout`. An older kernel, such as "
        "the 6.1 of Debian 12, wants the cells in the part's own node. This makes the older form:",
        "An Ethernet driver may wait for its cell for ever: with the wrong form, or a part that does "
        "not answer, there is **no interface** then.",
        "The tests compile both forms and compare the positions with those of the record. They boot "
        "no kernel with them.",
    )


def test_each_ethernet_driver_gets_the_cell_of_its_own_address(tree):
    for number, node in enumerate(tree.addresses()[:2]):
        driver = f"/ethernet{number}"
        assert tree.get(driver, "nvmem-cells") == tree.get(node, "phandle")
        assert tree.get(driver, "nvmem-cell-names", "s") == ["mac-address"]
        properties = subprocess.check_output(["fdtget", "-p", tree.blob, driver], text=True)
        assert {*properties.split()} == {"nvmem-cells", "nvmem-cell-names"}
    says(
        DOCUMENT,
        "The drivers get nothing but the cell. Let the boot loader add no `local-mac-address`.",
        "[examples/kestrel-macs.dtsi](../examples/kestrel-macs.dtsi) is for the end of the board's "
        "device tree.",
    )
    says(
        "examples/kestrel-macs.dtsi",
        "Lets the kernel's Ethernet drivers take their MAC addresses from the EEPROM. For the end of "
        "the * board's device tree, whose labels may be others than i2c0, ethernet0 and ethernet1.",
    )


def test_the_part_of_the_device_tree_is_the_one_that_the_programs_open(tree):
    assert [int(number) for number in tree.get(PART, "reg")] == [int(DEVICE[-11:-7], 16)]


def test_the_type_of_the_part_has_the_bytes_that_are_beside_it(tree, facts):
    snippet = (tree.blob.parent / "kestrel-macs.dtsi").read_text()
    types = re.findall(r'"atmel,24c(\d+)"', snippet)  # thousands of bits
    sizes = re.search(r"(\d+) bytes, version 2; (\d+) bytes, version 1:", snippet)
    expected = [facts["versions"][version]["size"] for version in "21"]
    assert [*map(int, sizes.groups())] == [int(bits) * 128 for bits in types] == expected
    assert tree.get(PART, "compatible", "s") == [f"atmel,24c{types[0]}"]
    says(
        "examples/kestrel-macs.dtsi",
        'compatible = "atmel,24c16"; /* 2048 bytes, version 2; 128 bytes, version 1: "atmel,24c01" */',
    )


# The service


@pytest.fixture
def unit(installed_examples):
    """The lines of the unit, by their keys."""
    lines = re.findall(
        r"^(\w+)=(.*)", (installed_examples / "kestrel-macs.service").read_text(), re.M
    )
    return {key: " ".join(value for name, value in lines if name == key) for key, _ in lines}


def test_systemd_finds_nothing_wrong_with_the_unit(installed_examples, unit):
    program = unit["ExecStart"].split()[0]
    assert block("boot", DOCUMENT).splitlines() == [
        "cd /usr/share/doc/kestrel/examples",
        f"cp kestrel-macs {Path(program).parent}/",
        "cp kestrel-macs.service /etc/systemd/system/",
        "systemctl enable kestrel-macs",
    ]
    bound = ["proot", "-v", "-1", "-b", f"{installed_examples}/kestrel-macs:{program}"]
    verify = ["systemd-analyze", "verify", installed_examples / "kestrel-macs.service"]
    done = subprocess.run([*bound, *verify], capture_output=True, check=False)
    assert (done.returncode, done.stderr) == (0, b"")


def test_the_unit_waits_for_just_the_interfaces_that_it_sets(unit):
    interfaces = [pair.split("=")[0] for pair in unit["ExecStart"].split()[1:]]
    devices = {f"sys-subsystem-net-devices-{interface}.device" for interface in interfaces}
    for key in ("Wants", "After"):
        assert {name for name in unit[key].split() if name.endswith(".device")} == devices
    assert not {"Requires", "BindsTo", "Requisite"} & {*unit}
    says(
        DOCUMENT,
        "systemd waits for an interface for 90, and starts the script without it then.",
        "Then name the board's interfaces in `/etc/systemd/system/kestrel-macs.service`, in three "
        "lines.",
    )
    says(
        "examples/kestrel-macs.service",
        "Gives the network interfaces the MAC addresses of the EEPROM before the network starts. "
        "Name your # interfaces in Wants=, After= and ExecStart=. How to install it: "
        "docs/on-the-board.md.",
        "Description=MAC addresses of the network interfaces from the EEPROM",
        "Earlier than this, udev might still rename an interface or give it an address of its own.",
    )


def test_the_unit_starts_early_and_says_what_other_units_have_by_default(unit):
    assert (unit["DefaultDependencies"], unit["Conflicts"]) == ("no", "shutdown.target")
    assert {"network-pre.target", "shutdown.target"} == {*unit["Before"].split()}
    assert "local-fs.target" in unit["After"].split() and "network-pre.target" in unit["Wants"]
    assert unit["WantedBy"] == "multi-user.target"
    says(DOCUMENT, "It is run at every start from then on.")


class Board:
    """A sandbox with the script, and fakes of what would change this machine, first on the PATH."""

    def __init__(self, sandbox, script, unit):
        self.sandbox = sandbox
        self.script = script
        self.arguments = unit["ExecStart"].split()[1:]
        self.bin = sandbox.directory / "bin"
        self.bin.mkdir()
        self.log = sandbox.directory / "log"
        self.fake("ip")
        self.fake("sleep")

    def fake(self, command, does=""):
        file = self.bin / command
        file.write_text(f'#!/bin/sh\necho "{command} $*" >>"{self.log}"\n{does}\n')
        file.chmod(0o755)

    def run(self, *arguments):
        environment = self.sandbox.environment()
        environment["PATH"] = f"{self.bin}:{self.sandbox.program.parent}:{environment['PATH']}"
        command = ["umockdev-wrapper", self.script, *(arguments or self.arguments)]
        return result_of(command, environment)

    def calls(self, command):
        lines = self.log.read_text().splitlines() if self.log.exists() else []
        return [line for line in lines if line.startswith(f"{command} ")]


@pytest.fixture
def make_board(make_sandbox, installed_examples, unit):
    return lambda contents: Board(make_sandbox(contents), installed_examples / "kestrel-macs", unit)


def set_to(interface, field):
    return f"ip link set dev {interface} address {ADDRESS[field]}"


BOTH = [set_to("eth0", "mac1"), set_to("eth1", "mac2")]


@pytest.mark.parametrize("contents", [V1, V2], ids=["128 bytes", "2048 bytes"])
def test_each_interface_of_the_unit_gets_its_address_from_an_intact_record(make_board, contents):
    board = make_board(filled(contents))
    assert board.run() == (0, b"", b"")
    assert board.calls("ip") == BOTH
    says(
        DOCUMENT,
        "### By a service of systemd [examples/kestrel-macs](../examples/kestrel-macs) sets the "
        "addresses with `kestrel-record` and `ip`, and [examples/kestrel-macs.service]"
        "(../examples/kestrel-macs.service) runs it before the network starts:",
        "Without systemd, run the script as `kestrel-macs eth0=mac1 eth1=mac2` from whatever starts "
        "the network.",
        "An interface that is up, as after a start over the network, is not taken down. Most drivers "
        "refuse a new address then.",
    )


@pytest.mark.parametrize(
    "contents",
    [
        *map(records.damaged, map(filled, [V1, V2])),
        records.BLANK_V1,
        records.BLANK_V2,
        V2[:255],
        None,
    ],
    ids=["damaged 1", "damaged 2", "blank 1", "blank 2", "of another size", "absent"],
)
def test_without_an_intact_record_every_interface_is_left_as_it_is_and_named(make_board, contents):
    board = make_board(contents)
    status, out, messages = board.run()
    assert (status, out, board.calls("ip")) == (1, b"", [])
    reason, *others = messages.decode().splitlines()[::2]
    assert reason.startswith("kestrel-record: ") and others == [reason]
    left = [f"kestrel-macs: {interface} is left as it is" for interface in ("eth0", "eth1")]
    assert messages.decode().splitlines()[1::2] == left
    if contents in map(records.damaged, map(filled, [V1, V2])):
        assert messages.decode() == transcript("failed boot", DOCUMENT, prompt="$")[1][1]
    says(
        DOCUMENT,
        "There are two ways. With the first the kernel reads the addresses itself, and has them for "
        "a start over the network, too. The second checks the record before it uses it.",
        "An interface is **left as it is** if the part is absent, if its record is not intact,",
    )
    says(
        "examples/kestrel-macs",
        "Gives network interfaces the MAC addresses that the board's EEPROM holds. # usage: "
        "kestrel-macs INTERFACE=FIELD... such as eth0=mac1 # An interface whose address cannot be "
        "had,",
    )


@pytest.mark.parametrize("mac", ["00:00:00:00:00:00", "ff:ff:ff:ff:ff:ff", "03:a5:5e:12:34:01"])
def test_an_address_that_is_none_is_not_set_though_the_record_is_intact(make_board, mac):
    board = make_board(with_mac(filled(V2), "mac1", mac))
    status, _, messages = board.run()
    assert (status, board.calls("ip")) == (1, [set_to("eth1", "mac2")])
    assert re.fullmatch(
        rf'kestrel-record: mac1: .*"{mac}"\nkestrel-macs: eth0 is left as it is\n',
        messages.decode(),
    )
    says(DOCUMENT, "if the address in it is all zero or a group address,")
    says("examples/kestrel-macs", "what is intact need not be an address")


@pytest.mark.parametrize("pair", ["eth2=mac5", "eth2=", "eth2"])
def test_a_field_that_there_is_not_leaves_its_interface_and_the_others_are_set(make_board, pair):
    board = make_board(filled(V2))
    status, _, messages = board.run("eth0=mac1", pair, "eth1=mac2")
    assert (status, board.calls("ip")) == (1, BOTH)
    assert messages.endswith(b"kestrel-macs: eth2 is left as it is\n")


def test_an_address_that_the_kernel_refuses_fails_and_the_others_are_set(make_board):
    board = make_board(filled(V2))
    board.fake("ip", 'case "$*" in *eth0*) echo busy >&2; exit 2 ;; esac')
    assert board.run() == (1, b"", b"busy\nkestrel-macs: eth0 is left as it is\n")
    assert board.calls("ip") == BOTH
    says(DOCUMENT, "or if the kernel refuses it. The other interfaces are set all the same.")
    says(
        "examples/kestrel-macs",
        "is not valid or is refused by the kernel is left as it is; # the others are set all the "
        "same, and the status is 1.",
    )


def test_the_script_waits_ten_seconds_for_the_part(make_board):
    board = make_board(None)
    assert board.run().status == 1
    assert board.calls("sleep") == ["sleep 1"] * 10
    says(DOCUMENT, "The script waits for the part for 10 seconds.")
    says("examples/kestrel-macs", "for the part's driver, which may not have been loaded yet")


def test_a_part_that_comes_late_is_used(make_board):
    board = make_board(filled(V1))
    part, hidden = board.sandbox.path, board.sandbox.directory / "hidden"
    part.rename(hidden)
    board.fake("sleep", f'[ "$(wc -l <"{board.log}")" -lt 3 ] || mv "{hidden}" "{part}"')
    assert board.run() == (0, b"", b"")
    assert (len(board.calls("sleep")), board.calls("ip")) == (3, BOTH)


def test_without_an_interface_the_usage_is_printed(installed_examples):
    done = subprocess.run([installed_examples / "kestrel-macs"], capture_output=True, check=False)
    assert (done.returncode, done.stdout) == (2, b"")
    assert done.stderr == b"usage: kestrel-macs INTERFACE=FIELD...\n"
