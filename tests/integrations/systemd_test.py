#!/usr/bin/env python3
"""The shipped units, judged by systemd itself."""
import os
import re
import subprocess
import unittest

from support import BIN, LIMIT, SOURCE, Machine, Site, run

UNITS = SOURCE / "integrations/systemd"


class Units(Site):
    # Catches a member that systemd does not know or a value that it does not take: it would be left
    # out with a line in the journal.
    def test_systemd_takes_them(self):
        services = sorted(UNITS.glob("*.service"))
        self.assertEqual(len(services), 2)
        for unit in [*services, *UNITS.glob("*.timer")]:
            # The program need not be where a package would put it.
            (self.folder / unit.name).write_text(unit.read_text().replace("/usr/bin/tavik", "/bin/true"))
        for manager in ("--system", "--user"):
            done = subprocess.run(["systemd-analyze", manager, "verify", "--man=no", "--recursive-errors=no",
                                   *sorted(self.folder.glob("tavik-*"))], timeout=LIMIT, text=True,
                                  env={**os.environ, "XDG_RUNTIME_DIR": str(self.folder)},
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            self.assertEqual((done.returncode, done.stdout), (0, ""), manager)

    # Catches a command line that tavik does not take, an answer that systemd takes for a failure, and
    # a variable that is missing where the machine's manager starts the service: HOME, for one.
    def test_their_commands_work(self):
        machine = Machine(self.folder / "machine", f"file://{self.folder}/packages/feed.json")
        (self.folder / "machine/user").rename(self.folder / "machine/shared")
        machine.tavik("install", "--all-users", self.package("brushes", "1.0"))
        self.package("brushes", "2.0")
        run(BIN / "qpk", "feed", self.folder / "packages")

        def call(unit):
            text = (UNITS / unit).read_text()
            command = re.search("^ExecStart=/usr/bin/(.*)$", text, re.M)[1].split()
            good = {0, *map(int, re.findall("^SuccessExitStatus=(.*)$", text, re.M))}
            given = dict(re.findall("^Environment=([A-Z]+)=(.*)$", text.replace("%h", f"{self.folder}/root"), re.M))
            environment = {name: machine.environment[name] for name in ("PATH", "LANG", "TAVIK_SHARED_HOME")}
            done = subprocess.run([BIN / command[0], *command[1:]], env={**environment, **given}, timeout=LIMIT,
                                  text=True, stdout=subprocess.PIPE)
            self.assertIn(done.returncode, good, unit)
            return done.stdout

        self.assertIn("2.0", call("tavik-check.service"))
        self.assertIn("com.example.brushes 1.0 -> 2.0", call("tavik-update.service"))
        self.assertEqual(machine.listed(), ["com.example.brushes 2.0 enabled allUsers"])


if __name__ == "__main__":
    unittest.main()
