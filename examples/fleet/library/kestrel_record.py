"""The documentation of the task, for ansible-doc. action_plugins/kestrel_record.py does the work."""

DOCUMENTATION = r"""
module: kestrel_record
short_description: Make a board hold the product data of its document
description:
  - Runs C(kestrel-record write --json) on the board and gives it the document on its standard input.
  - Writes only what differs. With a document that is refused, a damaged board or a locked one the task
    fails with all errors, and nothing is written.
  - Everything but C(kestrel-record) runs on the controller. The board needs a shell, but no Python
    and no room for a file.
options:
  document:
    description:
      - The document, a file on the controller. A relative path starts at the folder of the playbook.
    type: str
    required: true
  device:
    description:
      - The part on the board; without it the EEPROM that C(kestrel-record) takes by itself.
    type: str
  wait:
    description:
      - How many seconds to wait for a program that has locked the part; without it, as long as
        C(kestrel-record) does by itself.
    type: int
  reports:
    description:
      - A file on the controller to which one line of JSON is appended for each host, also for one that
        failed or is unreachable, and also in check mode.
      - A host whose line cannot be kept fails, even if its board was written.
    type: path
notes:
  - Supports check mode and diff mode. In check mode C(kestrel-record) opens the part for reading only.
author: the authors of kestrel
"""

EXAMPLES = r"""
- name: Make the board hold its document
  kestrel_record:
    document: documents/{{ inventory_hostname }}.json
    reports: "{{ playbook_dir }}/reports.jsonl"
"""

RETURN = r"""
msg:
  description: All errors, one a line, each with its field; without any, the result.
  returned: always
  type: str
rc:
  description: The exit status of C(kestrel-record), see its manual.
  returned: when it made a report
  type: int
report:
  description:
    - What C(kestrel-record) reported, see its manual. The file of reports has it also after a failure.
  returned: success
  type: dict
diff:
  description: The values that change, before and after.
  returned: success
  type: dict
"""
