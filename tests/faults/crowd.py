"""Eight processes change both stores at once; two list, and a host loads what it finds."""

import json
import os
import random
import threading

import judge
from machine import STATUSES, Disagreement
from operations import OPERATIONS

WRITERS, READERS = 8, 2
COMMANDS = 60  # of each writer
ATTEMPTS = 20
OPERATION = next(index for index, each in enumerate(OPERATIONS) if each.name == "list")
NAMES = [f"com.example.crowd{index}" for index in range(5)]

# Another process may have been first.
LATE = {STATUSES[name] for name in ("extensionNotFound", "olderVersion", "installedForAllUsers")}


def some_command(machine, dice):
    name = dice.choice(NAMES)
    package = machine.package(name, dice.choice(("1.0", "2.0")))
    return dice.choice((["--install", package], ["--install", package], ["--remove", name],
                        ["--enable", name], ["--disable", name], ["--install_for_all", package],
                        ["--remove_for_all", name]))


class Crowd:
    def __init__(self, machine, seed, commands):
        self.machine, self.seed, self.commands = machine, seed, commands
        self.fixed = judge.merged(judge.shown(machine))
        self.is_over = threading.Event()
        self.points, self.bad = 0, []

    def note(self, trouble):
        self.bad.append((f"crowd: seed {self.seed}", trouble))

    def write(self, number):
        dice = random.Random(self.seed * WRITERS + number)
        for _ in range(self.commands):
            arguments = some_command(self.machine, dice)
            run = self.machine.run(arguments)
            self.points += 1
            if run.exit_code != 0 and run.status not in LATE:
                self.note(f"{arguments}: {run}")
            elif run.exit_code == 0 and run.err:
                self.note(f"{arguments} warns: {run}")

    def read(self):
        """What nobody changes is always listed, as it is."""
        while not self.is_over.is_set():
            found = self.machine.listed()
            self.points += 1
            fixed = {name: found[name] for name in self.fixed if name in found}
            if fixed != self.fixed:
                self.note(f"a list shows {found}")

    def load(self):
        """Whatever happens meanwhile, a link leads to a whole extension, of one version."""
        folder = self.machine.user / "products/sketch/extensions"
        while not self.is_over.is_set():
            for name in os.listdir(folder):
                self.points += 1
                # A folder may be replaced while it is read; its link leads to the next one then.
                if not any(self.load_from(name, folder / name) for _ in range(ATTEMPTS)):
                    self.note(f"a host never finds all of {name}")

    def load_from(self, name, link):
        """False where the folder was deleted meanwhile."""
        try:
            descriptor = os.open(link, os.O_RDONLY | os.O_DIRECTORY)
        except FileNotFoundError:
            return not link.is_symlink()  # removed since the folder of links was read

        def content(file):
            with open(os.open(file, os.O_RDONLY, dir_fd=descriptor), encoding="utf-8") as opened:
                return opened.read()
        try:
            version = json.loads(content("extension.json"))["version"]
            if content("data/more.txt") != version * 100:
                self.note(f"a host finds half of {name}")
        except FileNotFoundError:
            return False
        finally:
            os.close(descriptor)
        return True

    def watched(self, function, *arguments):
        try:
            function(*arguments)
        except (Disagreement, OSError, ValueError) as trouble:
            self.note(str(trouble))

    def run(self):
        def start(function, *arguments):
            thread = threading.Thread(target=self.watched, args=(function, *arguments))
            thread.start()
            return thread
        others = [start(self.read) for _ in range(READERS)] + [start(self.load)]
        for writer in [start(self.write, number) for number in range(WRITERS)]:
            writer.join()
        self.is_over.set()
        for other in others:
            other.join()


def run_crowd(bench, _, seed, every):
    machine = bench.at_start_of(OPERATIONS[OPERATION])
    for name in NAMES:
        for version in ("1.0", "2.0"):
            machine.package(name, version)
    crowd = Crowd(machine, seed, max(4, COMMANDS // every))
    crowd.run()
    try:
        if not crowd.bad:
            judge.judge_sound(machine, judge.shown(machine))
    except Disagreement as disagreement:
        crowd.note(str(disagreement))
    return crowd.points, crowd.bad


def tasks(every):
    for seed in range(4 if every == 1 else 1):
        yield (run_crowd, OPERATION, seed, every)
