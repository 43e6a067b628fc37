#!/usr/bin/env python3
"""Holds every #include "..." of the product against the table of allowed arrows.

Usage: arrows.py SOURCE_FOLDER. Names each include that the table does not allow, and each arrow in
the table that no include uses, and exits with 1 if there is one.
"""
import pathlib
import re
import sys

# Folder: the folders that its files may include, besides itself. A folder stands for its subfolders
# that have no row of their own. Rows go from the ground up: each names only rows before it, so no
# arrow runs up.
ARROWS = {
    "platform/include": "",
    "platform/support": "",
    "platform/core/status": "platform/support",
    "platform/core/disk": "platform/core/status platform/support",
    "platform/core/crypto": "platform/support",
    "platform/core/net": "platform/core/crypto platform/core/disk platform/core/status"
                         " platform/support",
    "platform/core/package": "platform/core/disk platform/core/status platform/support",
    "platform/core/policy": "platform/core/package platform/core/net platform/core/disk"
                            " platform/core/status platform/support",
    "platform/core/products": "platform/core/package platform/core/disk platform/core/status"
                              " platform/support",
    "platform/core/trust": "platform/core/policy platform/core/package platform/core/crypto"
                           " platform/core/disk platform/core/status platform/support",
    "platform/core/store": "platform/core/products platform/core/trust platform/core/package"
                           " platform/core/disk platform/core/status platform/support",
    "platform/core/updates": "platform/core/trust platform/core/policy platform/core/package"
                             " platform/core/net platform/core/crypto platform/core/disk"
                             " platform/core/status platform/support",
    "platform/core/identity": "platform/core/net platform/core/status platform/support",
    "platform/core/session": "platform/core/identity platform/core/updates platform/core/store"
                             " platform/core/trust platform/core/products"
                             " platform/core/package platform/core/net platform/core/disk"
                             " platform/core/status platform/support platform/include",
    "platform/core": "platform/core/session platform/core/status platform/support platform/include",
    "platform/messaging": "platform/support platform/include",
    "platform/vell": "platform/support platform/include",
    "TavikCmd/objects": "",
    "TavikCmd/framework": "platform/include",
    "TavikCmd/productinfo": "TavikCmd/framework platform/include",
    "TavikCmd/registry": "TavikCmd/objects TavikCmd/productinfo TavikCmd/framework"
                         " platform/include",
    "TavikCmd/reporting": "platform/include",
    "TavikCmd": "TavikCmd/registry TavikCmd/reporting platform/include",
    "tools/qpk": "platform/core/updates platform/core/trust"
                 " platform/core/package platform/core/net platform/core/crypto platform/core/disk"
                 " platform/core/status platform/support",
    "tools/tavik": "platform/core/session platform/core/store platform/core/package"
                   " platform/core/net platform/core/disk platform/core/status platform/messaging"
                   " platform/vell platform/support",
    "tools/vellctl": "platform/core/disk platform/vell platform/support",
}
# What the names of a bare include are looked for in, as the compiler does.
SEARCHED = ["platform/include", "TavikCmd"]
INCLUDE = re.compile(r'^\s*#\s*include\s+["<]([^">]+)[">]', re.MULTILINE)


def room_of(path: str) -> str:
    """The row that a file or folder belongs to: the longest one that leads to it."""
    rows = [row for row in ARROWS if path.startswith(row + "/")]
    return max(rows, key=len, default="")


def included(root: pathlib.Path, file: pathlib.Path, name: str) -> str:
    """The included file below `root`, or "" for one of the system."""
    for folder in [file.parent, root, *(root / each for each in SEARCHED)]:
        if (folder / name).is_file() and (folder / name).resolve().is_relative_to(root):
            return (folder / name).resolve().relative_to(root).as_posix()
    return ""


def main() -> int:
    root = pathlib.Path(sys.argv[1]).resolve()
    rows = list(ARROWS)
    faults = [f"{row} -> {other}: an arrow that runs up" for row, other in
              ((row, other) for row in rows for other in ARROWS[row].split())
              if other not in rows[:rows.index(row)]]
    unused = {(row, other) for row, allowed in ARROWS.items() for other in allowed.split()}
    files = [file for top in ("TavikCmd", "platform", "tools")
             for file in sorted((root / top).rglob("*")) if file.suffix in (".h", ".cpp", ".c")]
    if not files:
        faults.append(f"{root}: no sources found")
    for file in files:
        path = file.relative_to(root).as_posix()
        room = room_of(path)
        for name in INCLUDE.findall(file.read_text(encoding="utf-8")):
            target = included(root, file, name)
            other = room_of(target) if target else room
            unused.discard((room, other))
            if other != room and other not in ARROWS.get(room, "").split():
                faults.append(f"{path}: includes {target}, but {room} may not include {other}")
    faults += [f"{room} -> {other}: no include needs this arrow" for room, other in sorted(unused)]
    print("\n".join(faults) or f"{len(files)} files follow the arrows")
    return 1 if faults else 0


sys.exit(main())
