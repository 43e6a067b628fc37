#!/usr/bin/env python3
"""Types into a real shell on a pseudo-terminal, lets it complete, and looks at what programs get.

Usage: shells.py SHELL SOURCE_FOLDER BUILD_FOLDER. Exit status 77: this machine has no such shell.

The four programs are stand-ins that write their arguments into a pipe, so a name that the shell did
not quote right arrives in pieces. For candidates they run the real tavik on stores of the test, and
count that: a completion may start one program at the most.
"""
import json
import os
import pathlib
import pty
import select
import shutil
import subprocess
import sys
import tempfile
import time
import zipfile

SECONDS = 30

STAND_IN = """#!/bin/sh
if [ "$1" = complete ]; then
    echo "$@" >>"{folder}/runs"
    exec "{build}/bin/tavik" "$@"
fi
printf '%s\\0' "$@" >"{folder}/answer.new"
cat "{folder}/answer.new" - </dev/null >"{folder}/pipe"
"""

# id, name, store, whether it is switched off again
EXTENSIONS = [
    ("com.example.brushes", "Example Brushes", "user", False),
    ("com.example.summer", "Palettes d'été", "user", True),
    ("com.example.paper", 'Paper "Fine" $5', "user", False),
    ("com.example.folder", "Works", "user", False),  # a folder has this name
    ("com.example.twin1", "Twin", "user", False),
    ("com.example.twin2", "Twin", "user", False),
    ("com.example.fonts", "Fonts & Letters", "allUsers", False),
    ("com.example.marks", "Marks", "allUsers", True),
]

# What is typed before the tab, and the arguments that the program gets then.
ROWS = [
    # Options and verbs.
    ("TavikCmd --list_update_e\t", ["--list_update_extension"]),
    ("TavikCmd --locale fr\t --setK\t x", ["--locale", "fr_FR", "--setKPSEndPoint", "x"]),
    ("tavik upda\t", ["update"]),
    ("tavik list --upd\t --ch\t", ["list", "--updates", "--check"]),
    ("tavik help verif\t", ["help", "verify"]),
    ("tavik doctor --js\t", ["doctor", "--json"]),
    ("qpk key\t --succ\t aut\t", ["keygen", "--succeeds", "author.key"]),
    ("qpk feed Wor\t --bl\t x", ["feed", "Works", "--block", "x"]),
    ("vellctl imp\t sta\t", ["import", "state.json"]),
    # Files of the right kind: brushes.txt is none.
    ("TavikCmd --install bru\t", ["--install", "brushes.qpk"]),
    ("TavikCmd --install_for_all bru\t", ["--install_for_all", "brushes.qpk"]),
    ("tavik install My\t", ["install", "My Brushes.qpk"]),
    ("tavik apply sta\t", ["apply", "state.json"]),
    ("qpk check bru\t", ["check", "brushes.qpk"]),
    # Names by state and store.
    ("TavikCmd --remove Exa\t", ["--remove", "Example Brushes"]),
    ("TavikCmd --remove_for_all Fo\t", ["--remove_for_all", "Fonts & Letters"]),
    ("TavikCmd --enable P\t", ["--enable", "Palettes d'été"]),
    ("TavikCmd --disable P\t", ["--disable", 'Paper "Fine" $5']),
    ("TavikCmd --enable M\t", ["--enable", "Marks"]),
    ("TavikCmd --update Exa\t", ["--update", "Example Brushes"]),
    ("TavikCmd --list_update_extension Fo\t", ["--list_update_extension", "Fonts & Letters"]),
    ("tavik enable P\t", ["enable", "Palettes d'été"]),
    ("tavik disable P\t", ["disable", 'Paper "Fine" $5']),
    ("tavik remove --all-users F\t", ["remove", "--all-users", "Fonts & Letters"]),
    ("tavik remove Exa\t Pal\t", ["remove", "Example Brushes", "Palettes d'été"]),
    ("tavik info com.example.bru\t", ["info", "com.example.brushes"]),
    ("tavik remove Wo\t", ["remove", "Works"]),
    ("tavik info com.example.twin1\t", ["info", "com.example.twin1"]),
    # In quotes, and behind a backslash.
    ('TavikCmd --disable "P\t', ["--disable", 'Paper "Fine" $5']),
    ("TavikCmd --enable 'Palettes d\t", ["--enable", "Palettes d'été"]),
    ("tavik remove Example\\ Br\t", ["remove", "Example Brushes"]),
    ('tavik remove "Palettes d\'\t', ["remove", "Palettes d'été"]),
    # Products.
    ("TavikCmd --list Sk\t", ["--list", "Sketch Pro"]),
    ("TavikCmd --list_as_xml al\t", ["--list_as_xml", "all"]),
    ("tavik list --product La\t", ["list", "--product", "Layout Studio"]),
]
# bash alone, which splits words at "=".
BASH_ROWS = [
    ("TavikCmd --remove=Exa\t", ["--remove=Example Brushes"]),
    ("tavik list --product=La\t", ["list", "--product=Layout Studio"]),
]


class Shell:
    def __init__(self, command, environment, folder, pipe):
        self.screen = b""
        self.pipe = pipe
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            os.chdir(folder)
            os.execvpe(command[0], command, environment)

    def type(self, keys):
        os.write(self.terminal, keys.encode())

    def answer(self):
        """The arguments of the next program that is started; None: none was in time."""
        end = time.monotonic() + SECONDS
        got = b""
        while time.monotonic() < end:
            ready, _, _ = select.select([self.pipe, self.terminal], [], [], 1)
            if self.terminal in ready:
                try:
                    self.screen = (self.screen + os.read(self.terminal, 65536))[-3000:]
                except OSError:
                    return None
            if self.pipe in ready:
                got += os.read(self.pipe, 65536)
                if got.endswith(b"\0"):
                    return got.decode().split("\0")[:-1]
        return None

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.pid, 0)


def make_stores(folder, build, environment):
    products = folder / "user/QZ/products.d"
    products.mkdir(parents=True)
    for name, shown in (("sketch", "Sketch Pro"), ("layout", "Layout Studio")):
        (products / f"{name}.json").write_text(
            f'{{"name": "{name}", "displayName": "{shown}", "version": "17.2"}}')

    def run(*command):
        subprocess.run([build / "bin" / command[0], *command[1:]], env=environment, check=True,
                       stdout=subprocess.DEVNULL)

    for identifier, name, store, is_off in EXTENSIONS:
        package = folder / "made.qpk"
        pack(package, json.dumps({"formatVersion": 1, "id": identifier, "name": name,
                                  "version": "1.0", "products": [{"name": "sketch"}]}))
        option = ["--all-users"] if store == "allUsers" else []
        run("tavik", "install", str(package), *option)
        if is_off:
            run("tavik", "disable", identifier, *option)


def pack(package, manifest):
    """qpk refuses names with quotation marks, which an install takes."""
    with zipfile.ZipFile(package, "w") as archive:
        entry = zipfile.ZipInfo("extension.json")
        entry.external_attr = 0o644 << 16
        archive.writestr(entry, manifest)


def command_for(shell, scripts):
    """The shell's command, and what is typed first."""
    programs = ("TavikCmd", "tavik", "qpk", "vellctl")
    if shell == "bash":
        return ["bash", "--norc", "--noprofile", "-i"], \
            "".join(f"source '{scripts}/bash/{name}'; " for name in programs)
    if shell == "zsh":
        return ["zsh", "-f", "-i"], \
            f"fpath=('{scripts}/zsh' $fpath); autoload -U compinit; compinit -u -D; "
    return ["fish", "--no-config", "-i"], \
        "".join(f"source '{scripts}/fish/{name}.fish'; " for name in programs)


def check(shell, row, runs):
    typed, wanted = row
    runs.write_text("")
    shell.type(typed + "\n")
    got = shell.answer()
    count = len(runs.read_text().splitlines())
    # zsh takes the slash behind a folder away again.
    if got is None or [word.rstrip("/") for word in got] != wanted:
        return f"{typed!r} gives {got}, not {wanted}"
    if count > typed.count("\t"):
        return f"{typed!r} starts {count} programs"
    return ""


def main():
    name, source, build = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    if shutil.which(name) is None:
        print(f"{name} is not installed")
        return 77
    with tempfile.TemporaryDirectory() as text:
        folder = pathlib.Path(text)
        programs = folder / "programs"
        programs.mkdir()
        for program in ("TavikCmd", "tavik", "qpk", "vellctl"):
            (programs / program).write_text(STAND_IN.format(folder=folder, build=build))
            (programs / program).chmod(0o755)
        environment = {"HOME": text, "PATH": f"{programs}:/usr/bin:/bin", "LANG": "C.UTF-8",
                       "TERM": "xterm", "INPUTRC": "/dev/null", "DBUS_SESSION_BUS_ADDRESS": "",
                       "TAVIK_HOME": f"{text}/user", "TAVIK_SHARED_HOME": f"{text}/shared"}
        make_stores(folder, build, environment)
        work = folder / "work"
        (work / "Works").mkdir(parents=True)
        for file in ("brushes.qpk", "brushes.txt", "My Brushes.qpk", "state.json", "author.key"):
            (work / file).write_text("")
        os.mkfifo(folder / "pipe")
        pipe = os.open(folder / "pipe", os.O_RDWR | os.O_NONBLOCK)
        command, first = command_for(name, source / "packaging/completion")
        shell = Shell(command, environment, work, pipe)
        shell.type(first + "tavik ready\n")
        faults = [] if shell.answer() == ["ready"] else ["the shell does not start"]
        for row in ROWS + (BASH_ROWS if name == "bash" else []):
            if not faults:
                faults = [fault for fault in [check(shell, row, folder / "runs")] if fault]
        if faults:
            print("\n".join(faults), "\nthe screen:\n", shell.screen.decode(errors="replace"))
        shell.close()
        return 1 if faults else 0


sys.exit(main())
