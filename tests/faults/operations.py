"""The operations that every method runs, and the scenes in which they run. An operation is one
change of one store; each is named here once, for all methods."""

import os

A, B, C, E = (f"com.example.{letter}" for letter in "abce")
NEW, NEXT = "com.example.new", "com.example.next"
REMOVED, MASKED, UNMASKED = "removed", "masked", "unmasked"
ORDINARY_USER, ORDINARY_SCENES = 65534, ("ordinary user", "masked")


class Operation:
    """`arguments`: from a machine to the tool's arguments. `change`: (store, id, version or REMOVED
    or None where it stays, whether it is enabled or None where that stays); None for a list. With
    MASKED or UNMASKED, an ordinary user switches an extension of the shared store for himself."""

    def __init__(self, name, scene, arguments, change):
        self.name, self.scene, self.arguments, self.change = name, scene, arguments, change

    def expected(self, before):
        """What both stores hold afterwards; see judge.shown()."""
        after = {store: dict(rows) for store, rows in before.items()}
        if self.change is None:
            return after
        store, identifier, version, enabled = self.change
        if version in (MASKED, UNMASKED):
            after["masked"].pop(identifier, None)
            if version == MASKED:
                after["masked"][identifier] = True
            return after
        old_version, old_state = after[store].pop(identifier, (None, "Enabled"))
        if version != REMOVED:
            state = old_state if enabled is None else "Enabled" if enabled else "Disabled"
            after[store][identifier] = (version or old_version, state)
        return after


def install(option, identifier, version):
    return lambda machine: [option, machine.package(identifier, version)]


def words(*arguments):
    return lambda machine: list(arguments)


OPERATIONS = [
    Operation("first install", "empty", install("--install", NEW, "1.0"),
              ("user", NEW, "1.0", True)),
    Operation("install", "usual", install("--install", NEW, "1.0"), ("user", NEW, "1.0", True)),
    Operation("reinstall", "usual", install("--install", A, "1.0"), ("user", A, "1.0", None)),
    Operation("update from a file", "usual", install("--install", A, "2.0"),
              ("user", A, "2.0", None)),
    Operation("update of a disabled one", "usual", install("--install", B, "2.0"),
              ("user", B, "2.0", None)),
    Operation("update from a feed", "usual", words("--update", A), ("user", A, "2.0", None)),
    Operation("remove", "usual", words("--remove", A), ("user", A, REMOVED, None)),
    Operation("enable", "usual", words("--enable", B), ("user", B, None, True)),
    Operation("disable", "usual", words("--disable", A), ("user", A, None, False)),
    Operation("first install for all", "empty", install("--install_for_all", NEW, "1.0"),
              ("shared", NEW, "1.0", True)),
    Operation("install for all", "usual", install("--install_for_all", NEW, "1.0"),
              ("shared", NEW, "1.0", True)),
    Operation("reinstall for all", "usual", install("--install_for_all", C, "1.0"),
              ("shared", C, "1.0", None)),
    Operation("update for all from a file", "usual", install("--install_for_all", C, "2.0"),
              ("shared", C, "2.0", None)),
    Operation("update for all from a feed", "usual", words("--update", C),
              ("shared", C, "2.0", None)),
    Operation("remove for all", "usual", words("--remove_for_all", C),
              ("shared", C, REMOVED, None)),
    Operation("enable for all", "usual", words("--enable", E), ("shared", E, None, True)),
    Operation("disable for all", "usual", words("--disable", C), ("shared", C, None, False)),
    Operation("install over the shared one", "one folder", install("--install", C, "1.0"),
              ("user", C, "1.0", True)),
    Operation("remove over the shared one", "one folder", words("--remove", A),
              ("user", A, REMOVED, None)),
    Operation("update below the user's", "one folder", install("--install_for_all", A, "2.0"),
              ("shared", A, "2.0", None)),
    Operation("remove below the user's", "one folder", words("--remove_for_all", A),
              ("shared", A, REMOVED, None)),
    Operation("disable after a long history", "long history", words("--disable", A),
              ("user", A, None, False)),
    Operation("install after a long history", "long history", install("--install", NEW, "1.0"),
              ("user", NEW, "1.0", True)),
    Operation("install where all is in order", "in order", install("--install", NEW, "1.0"),
              ("user", NEW, "1.0", True)),
    Operation("update where all is in order", "in order", install("--install", A, "2.0"),
              ("user", A, "2.0", None)),
    Operation("remove where all is in order", "in order", words("--remove", A),
              ("user", A, REMOVED, None)),
    Operation("enable where all is in order", "in order", words("--enable", B),
              ("user", B, None, True)),
    Operation("disable for all where all is in order", "in order", words("--disable", C),
              ("shared", C, None, False)),
    Operation("list", "usual", words("--list", "all", "--list_as_xml", "all"), None),
]
if os.geteuid() == 0:  # others cannot become an ordinary user beside root's store
    OPERATIONS += [
        Operation("mask", "ordinary user", words("--disable", C), ("user", C, MASKED, None)),
        Operation("unmask", "masked", words("--enable", C), ("user", C, UNMASKED, None)),
    ]


def build_scene(machine, scene):
    """Brings the machine from nothing to where the scene's operations begin."""
    machine.add_product("sketch")
    if scene == "one folder":
        machine.plugins.mkdir(mode=0o755)
        machine.add_product("layout", {"extensionsFolder": str(machine.plugins)})
    if scene == "empty":
        return
    machine.publish(machine.package(A, "2.0"), machine.package(C, "2.0"))
    for identifier in (A, B):
        machine.must(["--install", machine.package(identifier, "1.0")])
    for identifier in (C, E) + ((A,) if scene == "one folder" else ()):
        machine.must(["--install_for_all", machine.package(identifier, "1.0")])
    machine.must(["--disable", B, "--disable", E])
    if scene == "long history":
        # So many lines that the next one packs the oldest.
        machine.must(["--enable", B, "--disable", B] * 190)
    if scene == "in order":
        machine.settle()
    if scene in ORDINARY_SCENES:
        become_ordinary(machine)
    if scene == "masked":
        machine.must(["--disable", C])


def become_ordinary(machine):
    """From here on, the tool is run by a user who may not change the shared store."""
    for folder, folders, files in os.walk(machine.root / "user"):
        for name in [""] + folders + files:
            os.lchown(os.path.join(folder, name), ORDINARY_USER, ORDINARY_USER)
    machine.root.chmod(0o1777)
    machine.identity = {"user": ORDINARY_USER, "group": ORDINARY_USER, "extra_groups": []}
