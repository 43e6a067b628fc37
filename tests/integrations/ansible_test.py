#!/usr/bin/env python3
"""The Ansible collection, by ansible-playbook against several stores of this machine, and held to
ansible-test sanity."""
import json
import os
import pathlib
import shutil
import subprocess
import unittest

from support import BIN, LIMIT, SOURCE, Machine, Site, run, steps

# The tests of ansible-test that need no packages from a network.
SANITY = ("action-plugin-docs", "compile", "empty-init", "future-import-boilerplate", "line-endings",
          "metaclass-boilerplate", "no-assert", "no-basestring", "no-dict-iteritems", "no-get-exception",
          "no-illegal-filenames", "no-smart-quotes", "no-unicode-literals", "replace-urlopen", "shebang",
          "symlinks", "use-argspec-type-path", "use-compat-six")
# The one of them that reads the module's documentation beside its arguments. ansible-test would run
# it in an environment that it fetches; here it runs in Debian's.
VALIDATE = pathlib.Path("/usr/lib/python3/dist-packages/ansible_test/_util/controller/sanity/validate-modules")


class Collection(Site):
    def setUp(self):
        super().setUp()
        self.collection = self.folder / "ansible_collections/tavik/extensions"
        shutil.copytree(SOURCE / "integrations/ansible", self.collection)
        self.environment = {
            # Debian's Python alone: ansible-test stumbles over others in the path.
            "PATH": "/usr/bin:/bin", "LANG": "C.UTF-8", "LC_ALL": "C.UTF-8", "HOME": str(self.folder / "home"),
            "ANSIBLE_HOME": str(self.folder / "ansible"), "ANSIBLE_COLLECTIONS_PATH": str(self.folder),
            "ANSIBLE_NOCOLOR": "1"}
        self.machines = {}

    def machine(self, name):
        self.machines[name] = Machine(self.folder / name)
        return self.machines[name]

    def play(self, options, *arguments, status=0):
        """Runs the module once on every machine; its results by the machines' names, and the output."""
        hosts = {name: {"ansible_connection": "local", "ansible_python_interpreter": "/usr/bin/python3",
                        "stores": machine.environment} for name, machine in self.machines.items()}
        inventory = self.folder / "inventory.json"
        inventory.write_text(json.dumps({"all": {"hosts": hosts}}))
        results = self.folder / "results"
        shutil.rmtree(results, ignore_errors=True)
        results.mkdir()
        book = self.folder / "book.json"
        book.write_text(json.dumps([{
            "hosts": "all", "gather_facts": False,
            "tasks": [
                {"tavik.extensions.tavik_extensions": {"executable": str(BIN / "tavik"), **options},
                 "environment": "{{ stores }}", "register": "result", "ignore_errors": True},
                {"ansible.builtin.copy": {"dest": str(results / "{{ inventory_hostname }}"),
                                          "content": "{{ result | to_json }}"},
                 "check_mode": False, "diff": False}]}]))
        out = run("ansible-playbook", "-i", inventory, book, *arguments, env=self.environment, status=status)
        return {path.name: json.loads(path.read_text()) for path in results.iterdir()}, out

    # Catches a second run that changes something, a check that does, and stores that are mixed up.
    def test_brings_several_stores_to_one_state(self):
        old, new = self.package("brushes", "1.0"), self.package("brushes", "2.0")
        palettes = self.package("palettes", "1.0")
        self.machine("empty")
        behind = self.machine("behind")
        behind.tavik("install", old, palettes)
        there = self.machine("there")
        there.tavik("install", new)
        there.tavik("disable", "com.example.brushes")
        options = {"prune": True, "extensions": [
            {"id": "com.example.brushes", "min_version": "1.5", "source": str(new), "state": "disabled"}]}
        wanted = {"empty": ["install com.example.brushes - 2.0", "disable com.example.brushes 2.0 2.0"],
                  "behind": ["update com.example.brushes 1.0 2.0", "disable com.example.brushes 2.0 2.0",
                             "remove com.example.palettes 1.0 -"],
                  "there": []}
        before = {name: machine.listed() for name, machine in self.machines.items()}

        def check(results):
            self.assertEqual({name: steps(result["changes"]) for name, result in results.items()}, wanted)
            self.assertEqual({name: result["changed"] for name, result in results.items()},
                             {name: bool(changes) for name, changes in wanted.items()})

        results, out = self.play(options, "--check", "--diff")
        check(results)
        for line in ("-com.example.brushes 1.0 for this user", "+com.example.brushes 2.0 for this user",
                     "-com.example.palettes 1.0 for this user", "+com.example.brushes 2.0 for this user disabled"):
            self.assertIn(line, out.splitlines())
        self.assertEqual({name: machine.listed() for name, machine in self.machines.items()}, before)
        check(self.play(options)[0])
        for name, machine in self.machines.items():
            self.assertEqual(machine.listed(), ["com.example.brushes 2.0 disabled user"], name)
        wanted = {name: [] for name in wanted}
        check(self.play(options)[0])

    # Catches a failure that is taken for success, hides what was done, or keeps the rest from being done.
    def test_names_what_cannot_be_done(self):
        machine = self.machine("machine")
        state = self.folder / "state.json"
        state.write_text(json.dumps({"formatVersion": 1, "extensions": [
            {"id": "com.example.nowhere"},
            {"id": "com.example.brushes", "source": str(self.package("brushes", "1.0")), "allUsers": True}]}))
        result = self.play({"state_file": str(state)})[0]["machine"]
        self.assertTrue(result["failed"])
        self.assertEqual([each["subject"] for each in result["failures"]], ["com.example.nowhere"])
        self.assertIn("com.example.nowhere: ", result["msg"])
        self.assertEqual(machine.listed(), ["com.example.brushes 1.0 enabled allUsers"])

        for options, message in (({"state_file": str(self.folder / "no.json")}, "no.json"),
                                 ({"extensions": [{"id": "a", "source": "a.qpk"}]}, "absolute path"),
                                 ({"extensions": [], "executable": "/nowhere/tavik"}, "/nowhere/tavik"),
                                 ({}, "one of the following is required")):
            result = self.play(options)[0]["machine"]
            self.assertTrue(result["failed"], options)
            self.assertIn(message, result["msg"])

    # Catches a module that breaks the rules of the host's program, or whose documentation is not true.
    def test_passes_sanity(self):
        run("ansible-test", "sanity", "--color", "no", *(f"--test={name}" for name in SANITY),
            cwd=self.collection, env=self.environment)
        done = subprocess.run(["/usr/bin/python3", "-W", "ignore", VALIDATE / "validate.py", "--arg-spec",
                               "--collection", "ansible_collections/tavik/extensions", "plugins/modules"],
                              cwd=self.collection, timeout=LIMIT, text=True, stdout=subprocess.PIPE,
                              env={**self.environment, "PYTHONPATH": f"{VALIDATE}:{self.folder}"})
        # That the module should be under the host program's licence is no fault of it.
        self.assertEqual([line for line in done.stdout.splitlines() if "missing-gplv3-license" not in line], [])
        self.assertIn("missing-gplv3-license", done.stdout, "it has read the module")
        self.assertIn("state_file", run("ansible-doc", "-t", "module", "tavik.extensions.tavik_extensions",
                                        env=self.environment))


if __name__ == "__main__":
    unittest.main()
