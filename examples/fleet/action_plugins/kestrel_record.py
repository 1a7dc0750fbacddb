"""Makes a board hold its document. Runs on the controller; the board needs only a shell.

library/kestrel_record.py has the documentation.
"""

import contextlib
import datetime
import fcntl
import json
import os
import shlex

from ansible.errors import AnsibleActionFail, AnsibleConnectionFailure, AnsibleError
from ansible.plugins.action import ActionBase

ARGUMENTS = {
    "document": {"type": "str", "required": True},
    "device": {"type": "str"},
    "wait": {"type": "int"},
    "reports": {"type": "path"},
}


class ActionModule(ActionBase):
    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        host = task_vars["inventory_hostname"]
        try:
            result.update(self.write(host))
        except AnsibleConnectionFailure as lost:
            self.keep(host, "unreachable", {"msg": str(lost).strip()})
            raise
        except AnsibleError as error:
            result.update(failed=True, changed=False, msg=str(error))
        outcome = "changed" if result["changed"] else "unchanged"
        self.keep(host, "failed" if result["failed"] else outcome, result)
        if result["failed"]:
            result.pop("report", None)  # or else every error would be shown twice
        return result

    def write(self, host):
        """Makes the board hold the document; the result that the engine is to have."""
        _, arguments = self.validate_argument_spec(ARGUMENTS)
        document = self.document(arguments["document"])
        report = self.report_of(self.command(arguments), document)
        result = {
            "changed": report["result"] in ("written", "would write"),
            "failed": report["status"] != 0,
            "rc": report["status"],
            "msg": message(report),
            "report": report,
        }
        if not result["failed"]:
            sides = {"before": report["before"], "after": report["after"]}
            headers = {"before_header": host, "after_header": arguments["document"]}
            result["diff"] = {**sides, **headers}
        return result

    def command(self, arguments):
        command = ["kestrel-record", "write", "--json"]
        if self._task.check_mode:
            command.append("--dry-run")
        for option in ("device", "wait"):
            if arguments.get(option) is not None:
                command += [f"--{option}", str(arguments[option])]
        return shlex.join([*command, "-"])

    def document(self, name):
        path = self._loader.path_dwim(name)
        try:
            with open(path, "rb") as file:
                return file.read()
        except OSError as error:
            raise AnsibleActionFail(f"cannot read the document {path}: {error.strerror}") from None

    def report_of(self, command, document):
        # Without any input, even a newline, ssh would give the board a terminal to wait for.
        done = self._low_level_execute_command(command, in_data=document + b"\n")
        try:
            return json.loads(done["stdout"])
        except ValueError:
            said = (done["stderr"] or done["stdout"]).strip()
            raise AnsibleActionFail(f"no report, but status {done['rc']}: {said}") from None

    def keep(self, host, outcome, result):
        """Appends a line to the file of reports, if there is to be one."""
        path = self._task.args.get("reports")
        if not path:
            return
        now = datetime.datetime.now(datetime.timezone.utc)
        line = {
            "time": now.isoformat(timespec="seconds"),
            "host": host,
            "check": self._task.check_mode,
            "outcome": outcome,
            "msg": result["msg"],
            "report": result.get("report"),
        }
        try:
            append(path, json.dumps(line).encode() + b"\n")
        except OSError as error:
            lost = f"{outcome}, but the report cannot be kept in {path}: {error.strerror}"
            raise AnsibleActionFail(f"{lost}\n{result['msg']}") from None


def message(report):
    """The errors, one a line, or else the result."""
    errors = report["errors"]
    named = [f"{error['field']}: " if error["field"] else "" for error in errors]
    lines = [name + error["message"] for name, error in zip(named, errors)]
    return "\n".join(lines) or report["result"]


def append(path, line):
    """Appends a line as a whole or not at all, whoever else appends to the file."""
    with open(path, "ab", buffering=0) as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        end = file.seek(0, os.SEEK_END)
        try:
            written = file.write(line)
            file.write(line[written:])
        except OSError:
            with contextlib.suppress(OSError):  # the first error is the one to report
                file.truncate(end)
            raise
