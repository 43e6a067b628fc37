"""Methods that put the stores on another place: a disk with little room, folders with other rights,
a disk whose power is cut. They need root, to mount and to become an ordinary user."""

import contextlib
import ctypes
import os
import shutil
import subprocess
import tempfile

import calls
import judge
from machine import Disagreement, Machine, Tree
from operations import (A, OPERATIONS, ORDINARY_SCENES, ORDINARY_USER, become_ordinary,
                        build_scene)

PAGE = 4096
ROOMS = range(PAGE, (1 << 20) + 1, PAGE)
IMAGE_BYTES = 16 << 20
CHANGES = [index for index, operation in enumerate(OPERATIONS) if operation.change]


def command(*words):
    subprocess.run([str(word) for word in words], check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.PIPE)


def leave_mounts_to_ourselves():
    """What this process mounts is seen by nobody else, and gone when it ends."""
    clone_newns = 0x00020000
    if ctypes.CDLL(None, use_errno=True).unshare(clone_newns) == 0:
        command("mount", "--make-rprivate", "/")


def reason_against(*commands):
    """Why one of these commands fails in a throw-away folder "$0"; empty where none does."""
    if os.geteuid() != 0:
        return "it needs root"
    with tempfile.TemporaryDirectory() as folder:
        result = subprocess.run(["unshare", "--mount", "sh", "-euc", "\n".join(commands), folder],
                                capture_output=True, text=True)
    return "" if result.returncode == 0 else (result.stderr.strip() or "not allowed here")


def reason_against_disks():
    return reason_against('mount -t tmpfs -o size=64k none "$0"')


def reason_against_power_cuts():
    return reason_against('truncate -s 16M "$0/image"', 'mkfs.ext4 -q "$0/image"',
                          'mkdir "$0/m"', 'mount -o loop "$0/image" "$0/m"')


@contextlib.contextmanager
def mounted(folder, *options):
    command("mount", *options, folder)
    try:
        yield
    finally:
        command("umount", "--lazy", folder)


def point_name(method, operation, what):
    return f"{method}: {operation.name}: {what}"


def run_rooms(bench, operation_index, every):
    """The operation on a disk with so much room left, from a page to a MiB."""
    operation = OPERATIONS[operation_index]
    points, bad = 0, []
    for room in ROOMS[operation_index % every::every]:
        machine = bench.at_start_of(operation)
        home = machine.store(operation.change[0]).parent
        content = Tree(home)
        shutil.rmtree(home, ignore_errors=True)
        home.mkdir(mode=0o755)
        points += 1
        try:
            with mounted(home, "-t", "tmpfs", "-o", "size=64m,mode=755", "none"):
                content.write()
                if operation.scene in ORDINARY_SCENES:
                    become_ordinary(machine)
                disk = os.statvfs(home)
                used = (disk.f_blocks - disk.f_bfree) * disk.f_frsize
                command("mount", "-o", f"remount,size={used + room}", home)
                judge_room(machine, operation, home)
        except Disagreement as disagreement:
            bad.append((point_name("disk", operation, f"{room >> 10} KiB of room"),
                        str(disagreement)))
    return points, bad


def judge_room(machine, operation, home):
    before = judge.shown(machine)
    run = machine.run(operation.arguments(machine))
    now = judge.judge_aftermath(machine, operation, run, before, "full disk")
    if A in now["user"] and operation.change[0] == "user":
        machine.must(["--remove", A])  # a full disk keeps nobody from removing
        now["user"].pop(A)
    command("mount", "-o", "remount,size=64m", home)
    judge.judge_next_change(machine, operation, now)


def give(path, owner):
    for folder, folders, files in os.walk(path):
        for name in [""] + folders + files:
            os.lchown(os.path.join(folder, name), owner, owner)


# What is taken from the ordinary user, in the folder of the store.
SHAPES = {
    "the store is another's": None,
    "no writing in the family folder": (".", 0o555),
    "no writing in ext/": ("ext", 0o555),
    "no writing in staging/": ("staging", 0o555),
    "no writing in the links' folder": ("products/sketch/extensions", 0o555),
    "no reading of the database": ("store.db", 0o000),
    "no opening of the lock": (".lock", 0o000),
}


def run_rights(bench, operation_index, every):
    """The operation as an ordinary user, from whom something is taken."""
    operation = OPERATIONS[operation_index]
    points, bad = 0, []
    for shape in list(SHAPES)[operation_index % every::every]:
        machine = bench.at_start_of(operation)
        store = machine.store(operation.change[0])
        taken = SHAPES[shape]
        if not store.exists() or taken and operation.change[0] == "shared" or (
                not taken and operation.scene in ORDINARY_SCENES):
            continue  # there is nothing that could be taken
        points += 1
        machine.identity = {"user": ORDINARY_USER, "group": ORDINARY_USER, "extra_groups": []}
        try:
            judge_rights(machine, operation, store, taken)
        except Disagreement as disagreement:
            bad.append((point_name("rights", operation, shape), str(disagreement)))
        finally:
            machine.identity = {}
    return points, bad


def judge_rights(machine, operation, store, taken):
    """The ordinary user has a store of his own; that of all users is root's, or also his."""
    own = machine.root / "user"
    own.mkdir(exist_ok=True)
    own.chmod(0o755)
    if taken or operation.change[0] == "shared":
        give(own, ORDINARY_USER)
        give(machine.plugins, ORDINARY_USER)
    if taken:
        kept = (store / taken[0]).stat().st_mode & 0o7777
        (store / taken[0]).chmod(taken[1])
    before = judge.shown(machine)
    run = machine.run(operation.arguments(machine))
    judge.judge_ending(run, "rights")
    now = judge.shown(machine)
    if operation.name.startswith("disable for all") and now["masked"]:
        # Who may not disable it for all has switched it off for himself.
        judge.require({**now, "masked": {}} == before, f"it is masked, and rows differ: {run}")
        judge.judge_sound(machine, now)
        return
    now = judge.judge_state(machine, run, before, operation.expected(before))
    judge.judge_hosts(machine)
    if taken and taken[0] == "store.db":
        judge.judge_explained(machine.list_run())
    else:
        # What the list would finish still lacks the right: it may say so again.
        judge.judge_list(machine, now, warnings_are_fine=True)
    if taken:
        (store / taken[0]).chmod(kept)
    else:
        give(own, 0)
        give(machine.plugins, 0)
        machine.identity = {}
    judge.judge_next_change(machine, operation, now)


class CutDisk:
    """A machine on a file system in an image. A power cut is a copy of the image as it is: what the
    system had not written to it by then is lost."""

    def __init__(self, bench, operation):
        self.base = bench.root / f"{operation.scene.replace(' ', '-')}.base"
        self.image = bench.root / "disk.image"
        self.cut = bench.root / "cut.image"
        self.folder = bench.root / f"cut-{operation.scene.replace(' ', '-')}"
        self.build = bench.build
        self.is_ordinary = operation.scene in ORDINARY_SCENES
        if not self.base.exists():
            self.folder.mkdir()
            self.make(operation.scene)

    def make(self, scene):
        with open(self.image, "wb") as file:
            file.truncate(IMAGE_BYTES)
        command("mkfs.ext4", "-q", "-J", "size=4", "-E", "lazy_itable_init=0", self.image)
        with mounted(self.folder, "-o", "loop", self.image):
            build_scene(Machine(self.folder, self.build), scene)
            command("umount", self.folder)
            shutil.copyfile(self.image, self.base)
            command("mount", "-o", "loop", self.image, self.folder)

    def machine(self):
        machine = Machine(self.folder, self.build)
        if self.is_ordinary:
            become_ordinary(machine)
        return machine


def run_power_cuts(bench, operation_index, every):
    """The power is cut before each call that changes the disk, and after the command's end."""
    operation = OPERATIONS[operation_index]
    strike = calls.STRIKES["kill"][0]
    count = calls.count_calls(bench, operation, strike)
    disk = CutDisk(bench, operation)
    points, bad = 0, []
    for call in sorted({*range(1 + operation_index % every, count + 1, every), count + 1}):
        shutil.copyfile(disk.base, disk.image)
        with mounted(disk.folder, "-o", "loop", disk.image):
            machine = disk.machine()
            before = judge.shown(machine)
            run, struck = calls.strike_at(machine, operation, strike, call)
            shutil.copyfile(disk.image, disk.cut)
        points += 1
        try:
            with mounted(disk.folder, "-o", "loop", disk.cut):
                judge.judge_change(disk.machine(), operation, run, before)
        except Disagreement as disagreement:
            bad.append((point_name("power", operation, f"cut at call {call} ({struck})"),
                        str(disagreement)))
    return points, bad


def tasks(function, every):
    for index in CHANGES:
        yield (function, index, every)
