#!/usr/bin/python
# -*- coding: utf-8 -*-
"""Brings the extensions of this machine to a state, by one call of `tavik apply`.

All decisions are that program's: this module writes a state file where it got a list, calls it, and
words its document for Ansible.
"""
from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
---
module: tavik_extensions
short_description: Bring extensions to a wanted state
version_added: "1.0.0"
description:
  - Installs, updates, enables, disables and, where asked, removes extensions of host products, as a
    state file or a list says. All of it is done by one call of C(tavik apply) on the managed machine.
  - The user of the task is the user whose store is changed.
options:
  state_file:
    description:
      - A state file on the managed machine, as C(tavik freeze) prints it.
      - Exactly one of C(state_file) and C(extensions) is needed.
    type: path
  extensions:
    description:
      - The wanted extensions.
    type: list
    elements: dict
    suboptions:
      id:
        description: The extension's id.
        type: str
        required: true
      version:
        description: Exactly this version.
        type: str
      min_version:
        description: This version or a newer one.
        type: str
      source:
        description:
          - Where the package is, an absolute path on the managed machine or an address.
          - Without it, the feeds of the installed products are asked.
        type: str
      sha256:
        description: The package's SHA-256, 64 hexadecimal digits.
        type: str
      state:
        description:
          - Whether it is loaded. C(masked) is for an extension of all users that is off for this user.
        type: str
        choices: [enabled, disabled, masked]
        default: enabled
      all_users:
        description: In the store for all users; without it as C(all_users) says.
        type: bool
  all_users:
    description: The default of the entries of C(extensions).
    type: bool
    default: false
  prune:
    description: Also remove what is not named, from both stores.
    type: bool
    default: false
  executable:
    description: The program C(tavik), a name in PATH or a path.
    type: str
    default: tavik
attributes:
  check_mode:
    description: Reports what would change, and changes nothing.
    support: full
  diff_mode:
    description: Shows each extension that changes before and after.
    support: full
author:
  - The maintainers of TavikCmd (@tavikcmd)
"""

EXAMPLES = r"""
- name: Two extensions for every user, and no others
  become: true
  tavik.extensions.tavik_extensions:
    all_users: true
    prune: true
    extensions:
      - id: com.example.brushes
        min_version: "1.4"
      - id: com.example.palettes
        version: "2.1"
        state: disabled

- name: What was frozen on another machine
  tavik.extensions.tavik_extensions:
    state_file: /etc/example/extensions.json
"""

RETURN = r"""
changes:
  description: What was changed, or in check mode would be.
  returned: always
  type: list
  elements: dict
  sample:
    - operation: update
      id: com.example.brushes
      from: "1.3"
      to: "1.4"
      scope: allUsers
failures:
  description: What could not be done. The rest was done.
  returned: always
  type: list
  elements: dict
  sample:
    - subject: com.example.palettes
      status: -44
      name: notOffered
      cause: no feed of the installed products offers this extension for them
      remedy: check the id and the version
"""

import json
import os

from ansible.module_utils.basic import AnsibleModule

# As tavik's manual has them.
DONE, FAILED, PENDING = 0, 1, 3

ENTRY = dict(
    id=dict(type="str", required=True),
    version=dict(type="str"),
    min_version=dict(type="str"),
    source=dict(type="str"),
    sha256=dict(type="str"),
    state=dict(type="str", choices=["enabled", "disabled", "masked"], default="enabled"),
    all_users=dict(type="bool"),
)
# What the state file calls them.
MEMBERS = dict(
    id="id",
    version="version",
    min_version="minVersion",
    source="source",
    sha256="sha256",
    state="state",
)
# The states before and after an operation that leaves the version as it is.
SWITCHES = dict(
    enable=("disabled", "enabled"),
    disable=("enabled", "disabled"),
    mask=("enabled", "masked"),
    unmask=("masked", "enabled"),
)


def state_of(module):
    """The text of a state file for the list."""
    entries = []
    for wanted in module.params["extensions"]:
        entry = dict((member, wanted[option]) for option, member in MEMBERS.items() if wanted[option] is not None)
        source = entry.get("source", "")
        if source and "://" not in source and not os.path.isabs(source):
            module.fail_json(
                msg="%s: the source %s is neither an address nor an absolute path" % (wanted["id"], source)
            )
        is_for_all = wanted["all_users"]
        entry["allUsers"] = module.params["all_users"] if is_for_all is None else is_for_all
        entries.append(entry)
    return json.dumps(dict(formatVersion=1, extensions=entries), indent=2)


def state_file_of(module):
    if module.params["state_file"] is not None:
        return module.params["state_file"]
    # The folder is this task's own, and goes with it.
    path = os.path.join(module.tmpdir, "extensions.json")
    with open(path, "w") as file:
        file.write(state_of(module))
    return path


def apply(module, path):
    """Calls tavik; its document."""
    program = module.get_bin_path(module.params["executable"], required=True)
    command = [program, "apply", path, "--json", "--locale", "en"]
    if module.params["prune"]:
        command.append("--prune")
    if module.check_mode:
        command.append("--dry-run")
    status, out, err = module.run_command(command)
    try:
        document = json.loads(out)
    except ValueError:
        document = None
    if status not in (DONE, FAILED, PENDING) or not isinstance(document, dict):
        module.fail_json(
            msg="tavik ended with status %d and no answer: %s" % (status, err.strip() or out.strip()),
            cmd=command,
            rc=status,
            changes=[],
            failures=[],
        )
    return document


def described(change, side):
    """One line about an extension before (0) or after (1) a change; none where it is not there."""
    version = change["to" if side else "from"]
    if version is None:
        return ""
    words = [change["id"], version, "for all users" if change["scope"] == "allUsers" else "for this user"]
    if change["operation"] in SWITCHES:
        words.append(SWITCHES[change["operation"]][side])
    return " ".join(words) + "\n"


def diff_of(changes):
    before, after = ["".join(described(change, side) for change in changes) for side in (0, 1)]
    return dict(before=before, after=after, before_header="extensions", after_header="extensions")


def main():
    module = AnsibleModule(
        argument_spec=dict(
            state_file=dict(type="path"),
            extensions=dict(type="list", elements="dict", options=ENTRY),
            all_users=dict(type="bool", default=False),
            prune=dict(type="bool", default=False),
            executable=dict(type="str", default="tavik"),
        ),
        required_one_of=[["state_file", "extensions"]],
        mutually_exclusive=[["state_file", "extensions"]],
        supports_check_mode=True,
    )
    document = apply(module, state_file_of(module))
    changes, failures = document.get("changes", []), document.get("failures", [])
    result = dict(changed=bool(changes), changes=changes, failures=failures)
    if module._diff:
        result["diff"] = diff_of(changes)
    if failures:
        causes = ["%s: %s" % (failure["subject"], failure["cause"]) for failure in failures]
        module.fail_json(msg="; ".join(causes), **result)
    module.exit_json(**result)


if __name__ == "__main__":
    main()
