"""What the files of the example are for, each as it is installed."""

import json
import re
import resource

import pytest
import record_model
import records
from documents import block, says, text_of
from fleet import LOCAL, Board

V2 = records.formatted(2)
DOCUMENT = {"mac1": "02:a5:5e:12:34:01", "ser_num": "SN-0000004711"}
WRITTEN = record_model.written(V2, DOCUMENT)
REFUSED = {"mac1": ""}
DOCUMENT_FILE = "docs/fleet.md"
MODULE = "examples/fleet/library/kestrel_record.py"


def on_files(fleet):
    """Gives the boards of the installed inventory files in the place of an address and a part."""
    inventory = fleet.folder / "inventory.ini"
    part = fleet.part("{{ inventory_hostname }}")
    local = "\n".join([*LOCAL.split(), f"kestrel_device={part}", ""])
    inventory.write_text(inventory.read_text() + local)
    for line in inventory.read_text().splitlines():
        if line.startswith("board-"):
            name = line.split()[0]
            version = json.loads((fleet.folder / f"documents/{name}.json").read_text())["version"]
            fleet.part(name).write_bytes(records.formatted(version))


def documents(fleet):
    return {path.stem: json.loads(path.read_text()) for path in fleet.folder.glob("documents/*")}


def test_the_installed_inventory_brings_the_installed_documents_to_its_boards(fleet):
    on_files(fleet)
    before = fleet.images()
    run = fleet.run()
    assert run.status == 0, run.output
    assert run.hosts("changed") == set(before) == set(documents(fleet)) != set()
    for name, document in documents(fleet).items():
        assert fleet.part(name).read_bytes() == record_model.written(before[name][0], document)
    says(
        DOCUMENT_FILE,
        "A fleet is driven by [Ansible](../examples/fleet/playbook.yml). The example in "
        "`examples/fleet/` (`/usr/share/doc/kestrel/examples/fleet/`) makes each board hold the document "
        "that the inventory names for it.",
        "Put the documents into `documents/` and the hosts into `inventory.ini`. Then, in that folder:",
        "**No Python**: a module of Ansible would need it, but the task `kestrel_record` is an "
        "action plugin, which runs on the controller.",  # LOCAL has no Python
    )
    says("examples/fleet/inventory.ini", "One host a line, each with the document of its board.")
    says(
        MODULE,
        "The document, a file on the controller. A relative path starts at the folder of the playbook.",
    )
    says(
        "examples/fleet/playbook.yml", "Makes each board hold the document that the inventory names"
    )


def test_in_a_folder_that_everyone_may_write_the_configuration_is_ignored(fleet):
    version = ["ansible", "--version"]
    assert f"config file = {fleet.folder}/ansible.cfg" in fleet.command(*version).stdout
    fleet.folder.chmod(0o777)
    assert f"config file = {fleet.folder}/ansible.cfg" not in fleet.command(*version).stdout
    says(
        DOCUMENT_FILE,
        "Copy the folder to one of your own, which not everyone may write (otherwise Ansible "
        "ignores `ansible.cfg`).",
    )
    says(
        "examples/fleet/ansible.cfg", "Ansible takes this file where it is started in this folder."
    )


def test_hosts_may_share_a_document(fleet):
    date = {"servicedate": "2026-11-15 10:42:16"}
    shared = Board("b", V2, None, f"{LOCAL} kestrel_document=documents/a.json")
    fleet.set_up([Board("a", V2, date), shared])
    assert fleet.run().hosts("changed") == {"a", "b"}
    assert fleet.part("a").read_bytes() == fleet.part("b").read_bytes()
    says(
        DOCUMENT_FILE,
        "and hosts may share one: to set the date of service of a hundred boards, name one document "
        "with `servicedate` in all hundred lines.",
    )


def test_a_host_that_the_inventory_is_wrong_for_is_only_in_the_output(fleet):
    fleet.set_up([Board("a", V2, None, f'{LOCAL} kestrel_document="{{{{ 1 | nowhere }}}}"')])
    run = fleet.run()
    assert (run.hosts("failed"), run.reports) == ({"a"}, [])
    says(
        DOCUMENT_FILE,
        "Hosts that Ansible itself gives up before it starts the task, for a mistake in the "
        "inventory, are only in its output.",
    )


def test_the_playbook_gathers_no_facts(fleet):
    says(
        DOCUMENT_FILE,
        "For the same reason the playbook gathers no facts. Other modules that you add to it may need Python.",
    )
    says("examples/fleet/playbook.yml", "gather_facts: false # that would need Python on the board")
    fleet.set_up([Board("good", V2, DOCUMENT)])
    assert "Gathering Facts" not in fleet.run().output
    assert fleet.command("ansible", "all", "-m", "ping").returncode != 0


def test_the_playbook_passes_the_check_of_its_syntax(fleet):
    done = fleet.command("ansible-playbook", "playbook.yml", "--syntax-check")
    assert (done.returncode, done.stdout) == (0, "\nplaybook: playbook.yml\n")


def test_the_documentation_has_every_argument_of_the_task(fleet):
    done = fleet.command("ansible-doc", "-j", "-M", "library", "kestrel_record")
    options = json.loads(done.stdout)["kestrel_record"]["doc"]["options"]
    taken = "import json, runpy; print(json.dumps(runpy.run_path(plugin)['ARGUMENTS']))"
    plugin = "action_plugins/kestrel_record.py"
    done = fleet.command("/usr/bin/python3", "-B", "-c", f"plugin = '{plugin}'; {taken}")
    documented = {
        name: {key: option[key] for key in ("type", "required") if key in option}
        for name, option in options.items()
    }
    assert documented == json.loads(done.stdout)


def test_the_documentation_can_be_read(fleet):
    done = fleet.command("ansible-doc", "-M", "library", "kestrel_record")
    assert done.returncode == 0
    assert all(part in done.stdout for part in ("OPTIONS", "EXAMPLES", "RETURN VALUES"))
    says(
        DOCUMENT_FILE,
        "`ansible-doc -M library kestrel_record` prints the options and results of the task.",
    )
    says(
        MODULE,
        "The documentation of the task, for ansible-doc. action_plugins/kestrel_record.py does the work.",
        "short_description: Make a board hold the product data of its document",
    )


@pytest.mark.parametrize("mistake", ["devise: x", "wait: soon"])
def test_a_mistaken_argument_fails_and_is_reported(fleet, mistake):
    fleet.set_up([Board("board", V2, DOCUMENT)])
    playbook = fleet.folder / "playbook.yml"
    without_wait = re.sub(" +wait: .*\n", "", playbook.read_text())
    playbook.write_text(re.sub("( +)reports:", rf"\g<1>{mistake}\n\g<0>", without_wait))
    run = fleet.run()
    assert run.hosts("failed") == {"board"}
    assert mistake.split(":")[0] in run.report("board")["msg"]
    assert fleet.part("board").read_bytes() == V2


def test_the_boards_that_failed_are_driven_again_by_themselves(fleet):
    fleet.set_up([Board("good", V2, DOCUMENT), Board("bad", V2, REFUSED)])
    assert fleet.run().status == 2
    (fleet.folder / "documents/bad.json").write_text(json.dumps(DOCUMENT))
    again = fleet.run("--limit", "@playbook.retry")
    assert again.status == 0
    assert [report["host"] for report in again.reports] == ["bad"]
    assert fleet.part("bad").read_bytes() == WRITTEN


def test_the_hosts_to_drive_again_are_those_of_the_last_run_in_which_any_failed(fleet):
    sentence = "the hosts that failed or were unreachable in the last run in which there were any."
    assert f"`playbook.retry`: {sentence}" in text_of(DOCUMENT_FILE)
    fleet.set_up([Board("one", V2, REFUSED), Board("two", V2, REFUSED)])
    retry = fleet.folder / "playbook.retry"
    for host, named in [("one", ["one"]), ("two", ["two"])]:
        fleet.run("--limit", host)
        assert retry.read_text().split() == named
    (fleet.folder / "documents/one.json").write_text(json.dumps(DOCUMENT))
    assert fleet.run("--limit", "one").status == 0
    assert retry.read_text().split() == ["two"]


BATCHES = ("-e", '{"batches": [1, "100%"]}')


def test_a_batch_in_which_every_board_fails_is_the_last_one(fleet):
    fleet.set_up([Board("a", V2, REFUSED), Board("b", V2, DOCUMENT), Board("c", V2, DOCUMENT)])
    run = fleet.run(*BATCHES)
    assert run.status == 2
    assert [report["host"] for report in run.reports] == ["a"]
    assert fleet.part("b").read_bytes() == fleet.part("c").read_bytes() == V2
    says(
        DOCUMENT_FILE,
        "A small one first shows a mistake that is the same in all documents before it reaches all "
        "boards: when every board of a batch fails, the rest is left alone.",
        "Ansible counts as failed what is refused, not what is wrong but possible. Look at the "
        "reports of `--check --diff` first.",
    )
    says(
        "examples/fleet/playbook.yml",
        "starts with a few boards, and stops when all of a batch fail",
    )


def test_a_batch_is_followed_by_the_next_one_if_a_board_is_well(fleet):
    fleet.set_up([Board("a", V2, DOCUMENT), Board("b", V2, REFUSED), Board("c", V2, DOCUMENT)])
    run = fleet.run(*BATCHES)
    assert run.output.count("PLAY [") == 2
    assert (run.hosts("changed"), run.hosts("failed")) == ({"a", "c"}, {"b"})


def test_a_board_whose_report_cannot_be_kept_fails(fleet):
    (fleet.folder / "reports.jsonl").symlink_to("/dev/full")
    fleet.set_up([Board("good", V2, DOCUMENT), Board("bad", V2, REFUSED)])
    run = fleet.run()
    assert run.hosts("failed") == {"good", "bad"}
    says(MODULE, "A host whose line cannot be kept fails, even if its board was written.")
    place = f"{fleet.folder}/reports.jsonl: No space left on device"
    written = f"changed, but the report cannot be kept in {place}\nwritten"
    assert run.shown("good")["msg"] == written
    assert run.shown("bad")["msg"].startswith(
        f"failed, but the report cannot be kept in {place}\nmac1: "
    )
    says(
        DOCUMENT_FILE,
        "A host whose line cannot be kept, on a full disk for example, fails, and its message "
        "says what became of the board.",
    )


def test_no_part_of_a_line_is_left_in_a_file_of_reports_that_is_full(fleet):
    limit = 100_000
    reports = fleet.folder / "reports.jsonl"
    held = b'{"host": "board-0001"}'.ljust(limit - 30) + b"\n"
    reports.write_bytes(held)
    fleet.set_up([Board("board", V2, DOCUMENT)])
    done = fleet.command(
        "ansible-playbook",
        "playbook.yml",
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)),
    )
    assert (done.returncode, reports.read_bytes()) == (2, held)
    says(
        "examples/fleet/action_plugins/kestrel_record.py",
        "Appends a line as a whole or not at all, whoever else appends to the file.",
    )
    assert "File too large" in done.stdout and fleet.part("board").read_bytes() == WRITTEN


def test_a_line_for_the_file_of_reports_waits_for_who_has_locked_it(fleet):
    plugin = "import runpy; add = runpy.run_path('action_plugins/kestrel_record.py')['append']"
    appends = ["/usr/bin/python3", "-B", "-c", f"{plugin}; add('reports.jsonl', b'{{}}\\n')"]
    waits = fleet.command("flock", "reports.jsonl", "timeout", "3", *appends)
    assert (waits.returncode, fleet.reports()) == (124, [])
    assert fleet.command(*appends).returncode == 0 and fleet.reports() == [{}]


@pytest.fixture
def over_ssh(fleet):
    """A board over an ssh that notes its calls and runs the command here, as a board would."""
    calls = fleet.folder.parent / "calls"
    on_board = f'echo "ssh $*" >>"{calls}"\nfor last; do :; done\nexec /bin/sh -c "$last"'
    fleet.fake("ssh", f'[ "$*" = "-o ControlPersist" ] || {{ {on_board}; }}')
    for other in ("scp", "sftp"):
        fleet.fake(other, f'echo {other} >>"{calls}"')

    def run(variables):
        fleet.set_up([Board("board", V2, DOCUMENT, f"ansible_user=service {variables}")])
        assert fleet.run().hosts("changed") == {"board"}
        assert fleet.part("board").read_bytes() == WRITTEN
        return calls.read_text().splitlines()

    return run


def test_a_board_gets_one_command_over_ssh_and_no_file(fleet, over_ssh):
    (call,) = over_ssh("kestrel_wait=0")
    assert "-o BatchMode=yes" in call and "ControlMaster" not in call
    assert " -tt " not in call
    says(
        "examples/fleet/action_plugins/kestrel_record.py",
        "Makes a board hold its document. Runs on the controller; the board needs only a shell.",
        "Without any input, even a newline, ssh would give the board a terminal to wait for.",
    )
    part = f"'\"'\"'{fleet.part('board')}'\"'\"'"
    command = f"kestrel-record write --json --device {part} --wait 0 - && sleep 0"
    assert call.endswith(f" board /bin/sh -c '{command}'")
    says(
        DOCUMENT_FILE,
        "It starts one command on the board and gives it the document on its standard input. No "
        "file is copied to the board, and nothing is left there.",
        "A shell, an SSH server and `kestrel-record` on the `PATH` that commands over SSH have.",
        "Use keys, not passwords. `ansible.cfg` says that ssh must not ask anything:",
        "On the board a run is one login and one command,",
    )
    says(
        MODULE,
        "Runs C(kestrel-record write --json) on the board and gives it the document on its standard "
        "input.",
        "Everything but C(kestrel-record) runs on the controller. The board needs a shell, but no "
        "Python and no room for a file.",
    )
    says(
        DOCUMENT_FILE,
        "`kestrel_wait=SECONDS` in the inventory sets another time, and `kestrel_device=PATH` "
        "another part.",
    )


def test_a_board_that_only_root_may_write_is_written_by_sudo(fleet, over_ssh):
    drop_options = 'while [ "$1" != /bin/sh ]; do shift; done'
    used = fleet.folder.parent / "used"
    fleet.fake("sudo", f'echo "$*" >"{used}"\n{drop_options}\nexec "$@"')
    assert len(over_ssh("ansible_become=true")) == 1
    assert re.search(" -u root /bin/sh -c .*kestrel-record write ", used.read_text())
    assert "--wait" not in used.read_text()
    says(DOCUMENT_FILE, "A locked part is waited for as long as `kestrel-record` does by itself;")
    says(
        MODULE,
        "How many seconds to wait for a program that has locked the part; without it, as long as "
        "C(kestrel-record) does by itself.",
        "The part on the board; without it the EEPROM that C(kestrel-record) takes by itself.",
    )
    says(
        "examples/fleet/inventory.ini",
        "# Unless the user may write the part, as in 90-kestrel.rules: #ansible_become=true",
    )
    says(
        DOCUMENT_FILE,
        "`ansible_become=true`: the command is run by `sudo`, which must then let that user run "
        "a shell. - Logging in as root.",
    )


def test_a_connection_that_breaks_is_unreachable_and_the_next_run_shows_what_the_board_is(fleet):
    on_board = 'for last; do :; done\n/bin/sh -c "$last"'
    broken = f'[ "$*" = "-o ControlPersist" ] || {{ {on_board}\nexit $(cat "$HOME/../status"); }}'
    fleet.fake("ssh", broken)
    status = fleet.home.parent / "status"
    status.write_text("255")
    fleet.set_up([Board("board", V2, DOCUMENT, "")])
    run = fleet.run()
    assert run.hosts("unreachable") == {"board"}
    assert run.report("board")["outcome"] == "unreachable"
    assert fleet.part("board").read_bytes() == WRITTEN
    status.write_text("0")
    assert fleet.run().report("board")["outcome"] == "unchanged"
    says(
        DOCUMENT_FILE,
        # ssh ends like this, too, if a key is not known.
        "a board whose host key is not known is unreachable. Collect the keys when the boards are "
        "made, or with `ssh-keyscan` on a network that you trust.",
        "Where a connection breaks in the middle, the board may have been written. The record is "
        "whole all the same, and the next run shows what it is.",
    )


# docs/fleet.md


def lines_of(name):
    """The commands of a block, without their comments."""
    return [line.split("  #")[0].strip() for line in block(name, DOCUMENT_FILE).splitlines()]


def test_the_three_runs_of_the_document_do_what_their_comments_say(fleet):
    on_files(fleet)
    fresh = fleet.images()
    check, first, second = lines_of("fleet")
    assert fleet.shell(check).output.count("+++ after: ") == len(fresh)
    assert fleet.images() == fresh
    assert fleet.shell(first).hosts("changed") == set(fresh)
    written = fleet.images()
    assert fleet.shell(second).hosts("ok") == set(fresh)
    assert fleet.images() == written
    comments = [line.split("# ")[1] for line in block("fleet", DOCUMENT_FILE).splitlines()]
    assert comments == [
        "what would change; changes nothing",
        "change it",
        "a second run changes nothing",
    ]
    says(
        "examples/fleet/playbook.yml",
        *[f"--diff # {comment}" for comment in ("what would change", "change it")],
    )


def test_the_document_starts_with_one_board_and_goes_on_with_ten(fleet):
    fleet.set_up([Board(f"board-{n:02}", V2, DOCUMENT) for n in range(12)])
    run = fleet.shell(*lines_of("batches"))
    sizes = [batch.count("changed: [") for batch in run.output.split("PLAY [")[1:]]
    assert sizes == [1, 10, 1]
    says(DOCUMENT_FILE, "Here one board is first, then ten, then the rest:")


def test_the_document_drives_the_boards_that_failed_again(fleet):
    fleet.set_up([Board("good", V2, DOCUMENT), Board("bad", V2, REFUSED)])
    fleet.run()
    why, again = lines_of("retry")
    (line,) = fleet.command("sh", "-c", why).stdout.splitlines()
    assert json.loads(line)["host"] == "bad"
    run = fleet.shell(again)
    assert [report["host"] for report in run.reports] == ["bad"]


def test_the_document_finds_numbers_that_stand_twice(fleet):
    search = "\n".join(lines_of("twice"))
    assert fleet.command("sh", "-c", search).stdout == ""
    says(DOCUMENT_FILE, "**First** see that no number stands twice. These print nothing then:")
    says(DOCUMENT_FILE, "sort | uniq -d # documents that hosts share", "reports.jsonl # why")
    twin = (fleet.folder / "documents/board-0001.json").read_text().replace("a5:5e", "A5:5E")
    (fleet.folder / "documents/board-0002.json").write_text(twin)
    inventory = fleet.folder / "inventory.ini"
    inventory.write_text(inventory.read_text().replace("board-0003.json", "board-0001.json"))
    assert fleet.command("sh", "-c", search).stdout.splitlines() == [
        '"ser_num": "sn-0000004711"',
        "02:a5:5e:12:34:01",
        "02:a5:5e:12:34:02",
        "02:a5:5e:12:34:03",
        "kestrel_document=documents/board-0001.json",
    ]


def test_the_numbers_of_the_document_are_those_of_the_configuration(fleet):
    text = text_of(DOCUMENT_FILE)
    configuration = (fleet.folder / "ansible.cfg").read_text()
    forks = re.search("^forks = (.*)$", configuration, re.M)[1]
    at_a_time = f"`ansible.cfg` lets it handle {forks} boards at a time; `--forks 100` on the "
    assert int(forks) < 100 and at_a_time + "command line is more." in text
    interval = re.search("ServerAliveInterval=([0-9]+)", configuration)[1]
    count = re.search("ServerAliveCountMax=([0-9]+)", configuration)[1]
    assert int(interval) * int(count) == 30
    says(
        DOCUMENT_FILE,
        "A board that falls silent in the middle is given up after half a minute, and holds up its "
        "batch until then.",
    )
    says(
        "examples/fleet/ansible.cfg",
        "One command a board, so no connection is kept open. Nothing is ever asked, and a board that "
        "falls # silent in the middle is given up after half a minute.",
    )
