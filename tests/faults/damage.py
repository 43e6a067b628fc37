"""Damage of every file of a store: flipped, cut, emptied, deleted, noise, or somebody else's."""

import os
import random
import shutil
import sqlite3

import judge
from machine import STATUSES, Disagreement
from operations import A, B, NEW, NEXT, OPERATIONS

FOREIGN_TARGET = "/nonexistent"
FLIPS = 64  # bytes of a file in which a bit is flipped; not of those that hold nothing
OPERATION = next(index for index, each in enumerate(OPERATIONS) if each.name == "list")


def flip(position):
    def apply(path):
        content = bytearray(path.read_bytes())
        content[position] ^= 1 << position % 8
        path.write_bytes(content)
    return apply


def keep(size):
    return lambda path: os.truncate(path, size)


def noise(path):
    path.write_bytes(random.Random(1).randbytes(path.stat().st_size))


def zeros(path):
    path.write_bytes(bytes(path.stat().st_size))


def delete(path):
    if path.is_dir() and not path.is_symlink():
        shutil.rmtree(path)
    else:
        path.unlink()


def foreign_text(path):
    path.write_text("[settings]\ncolour = blue\n" * 100)


def foreign_database(path):
    delete(path)
    database = sqlite3.connect(path)
    database.executescript("CREATE TABLE extension(name TEXT); INSERT INTO extension VALUES('x')")
    database.close()


def folder_instead(path):
    delete(path)
    path.mkdir()


def link_instead(path):
    delete(path)
    path.symlink_to(FOREIGN_TARGET)


def pipe_instead(path):
    delete(path)
    os.mkfifo(path)


WHOLE = {"deleted": delete, "a folder": folder_instead, "a dangling link": link_instead,
         "a pipe": pipe_instead}


def damages_of(path):
    """{name: what does it to the path}."""
    found = dict(WHOLE)
    if path.is_file() and not path.is_symlink():
        size = path.stat().st_size
        found.update({"emptied": keep(0), "noise": noise, "zeros": zeros,
                      "a text": foreign_text, "another's database": foreign_database})
        found.update({f"cut at byte {size * part // 8}": keep(size * part // 8)
                      for part in range(1, 8)})
        used = [position for position, byte in enumerate(path.read_bytes()) if byte]
        found.update({f"bit flipped in byte {position}": flip(position)
                      for position in used[::max(1, len(used) // FLIPS)]})
    return found


def targets(machine):
    """What may be damaged: all of the family folder but the extensions' own content."""
    yield from sorted(path for path in machine.user.iterdir())
    yield from sorted((machine.user / "ext").glob("*.files"))
    yield from sorted((machine.user / "ext").glob(A + "@*[0-9a-f]"))
    yield from sorted((machine.user / "products/sketch/extensions").iterdir())


CHANGES = {
    "install": (lambda machine: ["--install", machine.package(NEW, "1.0")]),
    "update": (lambda machine: ["--install", machine.package(A, "2.0")]),
    "remove": (lambda machine: ["--remove", B]),
    "disable": (lambda machine: ["--disable", A]),
    "check": (lambda machine: ["--list_update", "all"]),
}


def run_damage(bench, _, target_index, every):
    """All damages of one file, each followed by a list, a change and the next change."""
    operation = OPERATIONS[OPERATION]
    machine = bench.at_start_of(operation)
    machine.run(["--list_update", "all"])  # so that feeds.db is there
    tree = machine.tree()
    paths = list(targets(machine))
    if target_index >= len(paths):
        return 0, []
    path = paths[target_index]
    name = str(path.relative_to(machine.user)).split("@")[0]
    points, bad = 0, []
    damages = list(damages_of(path).items())
    for index in range(target_index % every, len(damages), every):
        what, damage = damages[index]
        change = list(CHANGES)[index % len(CHANGES)]
        tree.restore()
        before = judge.shown(machine)
        damage(path)
        points += 1
        try:
            judge_damage(machine, path, what in WHOLE, change, before)
        except Disagreement as disagreement:
            bad.append((f"damage: {name}: {what}, then {change}", str(disagreement)))
    return points, bad


def is_refused(run, path):
    """What stands there is no file or folder of ours: that is left to people, and named. Only a
    database is set aside and built anew."""
    return (path.name != "store.db" and run.exit_code != 0 and run.status == STATUSES["storeUnsafe"] and
            str(path) in run.err)


def judge_damage(machine, path, is_of_other_kind, change, before):
    listing = machine.list_run()
    if listing.exit_code == 0 and "atus = " not in listing.out:
        found = machine.listed(listing, warnings_are_fine=True)
        judge.require(found == judge.merged(before) or listing.err,
                      f"the list shows {found} without a word")
    else:
        judge.judge_explained(listing)
    run = machine.run(CHANGES[change](machine))
    judge.judge_ending(run, None)
    if is_of_other_kind and is_refused(run, path):
        return
    following = machine.run(["--install", machine.package(NEXT, "1.0")])
    if is_of_other_kind and is_refused(following, path):
        return
    judge.require(following.exit_code == 0,
                  f"the next change fails as well: {following}; before it: {run}")
    judge_nothing_lost(machine, path, change, run, before)


def versions_after(change, run, before):
    """What the user's store is to hold after both changes: {id: version}."""
    versions = {name: version for name, (version, _) in before["user"].items()}
    versions[NEXT] = "1.0"
    if run.exit_code == 0:
        versions.update({"install": {NEW: "1.0"}, "update": {A: "2.0"}}.get(change, {}))
        if change == "remove":
            versions.pop(B)
    return versions


def judge_nothing_lost(machine, path, change, run, before):
    """Everything that was installed still is, and what was reported has happened."""
    now = judge.shown(machine)
    versions = versions_after(change, run, before)
    judge.require({name: version for name, (version, _) in now["user"].items()} == versions,
                  f"the store holds {now['user']}, not {versions}; {run}")
    is_content = path.name == "ext" or path.parent.name == "ext"
    if is_content and path.suffix != ".files":
        # Whoever deletes content has deleted it. It is said, and installing it again repairs it.
        for name, version in versions.items():
            machine.run(["--install", machine.package(name, version)])
    if path.parent.name == "extensions" and os.path.islink(path) and \
            os.readlink(path) == FOREIGN_TARGET:
        path.unlink()  # never ours to replace
        machine.must(["--enable", path.name])
        now = judge.shown(machine)
    judge.judge_sound(machine, now)


def tasks(every):
    for target_index in range(24):
        yield (run_damage, OPERATION, target_index, every)
