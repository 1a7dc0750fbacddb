"""The example of a service that gives interfaces their MAC addresses, on a boot of systemd."""

from collections import namedtuple

import pytest
import records
from documents import block, says, transcript
from machine import ROOT

DOCUMENT = "docs/on-the-board.md"
EXAMPLES = "/usr/share/doc/kestrel/examples"
UNITS = "/etc/systemd/system"
DRIVER = "/sys/bus/i2c/drivers/at24"
V1 = records.formatted(1)
V2 = records.formatted(2)
OWN = ["02:00:00:00:00:01", "02:00:00:00:00:02"]
STORED = ["02:a5:5e:12:34:01", "02:a5:5e:12:34:02"]

# Stands for what sets up the network, and notes the addresses that it finds.
NETWORK = """[Unit]
DefaultDependencies=no
After=network-pre.target
[Service]
Type=oneshot
ExecStart=sh -c 'cat /sys/class/net/eth*/address >/tmp/network'
[Install]
WantedBy=multi-user.target
"""


def filled(contents):
    for number, mac in enumerate(STORED, 1):
        mac = bytes.fromhex(mac.replace(":", ""))
        contents = records.with_field(contents, f"--mac{number}", mac)
    return contents


@pytest.fixture(scope="module")
def installed(machine):
    """A machine with the service, installed as the document says."""
    wants = f"{UNITS}/sysinit.target.wants"
    machine.do(f"mkdir -p {EXAMPLES} /usr/local/sbin {wants}")
    for name, mode in (("kestrel-macs", 755), ("kestrel-macs.service", 644)):
        text = (ROOT / "examples" / name).read_text()
        machine.do(f"cd {EXAMPLES}; cat >{name} <<'END'\n{text}END\nchmod {mode} {name}")
    assert machine.run("set -e\n" + block("boot", DOCUMENT)).status == 0
    machine.do(f"ln -s /lib/systemd/system/systemd-journald.service {wants}/")
    machine.do(f"cat >{UNITS}/network.service <<'END'\n{NETWORK}END\nsystemctl -q enable network")
    machine.do("insmod /modules/dummy.ko numdummies=0")
    return machine


# The addresses of the interfaces at the end and when the network started, and what the commands of the
# document print.
Boot = namedtuple("Boot", "addresses network printed")
SHOWN = transcript("failed boot", DOCUMENT, prompt="$")


@pytest.fixture
def boot(installed):
    """Boots with two interfaces; a late command is run when all that need not wait has started."""

    def boot_it(late="true"):
        commands = "; echo ==; ".join(command for command, _ in SHOWN)
        late = f"until [ -S /run/systemd/private ]; do sleep 0.1; done; sleep 4; {late}"
        result = installed.run(f"({late}) & boot sh -c '{commands}'")
        addresses = installed.do("cat /sys/class/net/eth*/address").decode().split()
        network = installed.do("cat /tmp/network; rm /tmp/network").decode().split()
        return Boot(addresses, network, result.out.decode().split("==\n"))

    for number, mac in enumerate(OWN):
        installed.do(f"ip link add eth{number} address {mac} type dummy")
    yield boot_it
    installed.do("ip link del eth0; ip link del eth1; part none; part 2048")


@pytest.mark.parametrize("contents", [V1, V2], ids=["128 bytes", "2048 bytes"])
def test_the_interfaces_have_the_addresses_of_an_intact_record_when_the_network_starts(
    installed, boot, contents
):
    installed.put_part(filled(contents))
    assert boot() == (STORED, STORED, ["active\n", ""])


def test_with_a_damaged_record_the_service_fails_as_shown_and_the_network_starts(installed, boot):
    installed.put_part(records.damaged(filled(V2)))
    assert boot() == (OWN, OWN, [printed for _, printed in SHOWN])
    says(DOCUMENT, "The network starts in any case, and the failure is plain to see")


def test_without_a_part_the_service_fails_and_the_network_starts(installed, boot):
    installed.put_part(None)
    addresses, network, (state, messages) = boot()
    assert (addresses, network, state) == (OWN, OWN, "failed\n")
    assert messages.count("No such file or directory") == messages.count("is left as it is") == 2


LATE = {
    "the part": (f"echo 0-0050 >{DRIVER}/unbind", f"echo 0-0050 >{DRIVER}/bind"),
    "an interface": ("ip link del eth1", "ip link add eth1 type dummy"),
}


@pytest.mark.parametrize("hide, show", LATE.values(), ids=LATE)
def test_what_comes_late_is_waited_for(installed, boot, hide, show):
    installed.put_part(filled(V1))
    installed.do(hide)
    assert boot(show) == (STORED, STORED, ["active\n", ""])


def test_a_read_only_part_serves(installed, boot):
    installed.put_part(filled(V2))
    installed.do(
        "mount -o remount,ro /sys; /usr/local/sbin/kestrel-macs eth1=mac1; mount -o remount,rw /sys"
    )
    assert installed.do("cat /sys/class/net/eth1/address").decode().split() == STORED[:1]
