#!/usr/bin/env python3
"""Holds docs/porting.md against the code: each use of what only Linux has stands in its table with its
file, and nothing stands there that the code no longer uses."""

import pathlib
import re
import sys

# What the table calls it, and how the code writes it.
CALLS = {
    "/proc/PID/comm": r'"/comm"',
    "/proc/self/exe": r"/proc/self/exe",
    "/proc/self/fd": r"/proc/self/fd",
    "O_TMPFILE": r"\bO_TMPFILE\b",
    "O_PATH": r"\bO_PATH\b",
    "openat2": r"\bSYS_openat2\b",
    "syncfs": r"\bsyncfs\(",
    "madvise": r"\bmadvise\(",
    "sync_file_range": r"\bsync_file_range\(",
    "posix_fallocate": r"\bposix_fallocate\(",
    "getrandom": r"\bgetrandom\(",
    "explicit_bzero": r"\bexplicit_bzero\(",
    "prctl": r"\bprctl\(",
    "dladdr1": r"\bdladdr1\(",
    "sigtimedwait": r"\bsigtimedwait\(",
    "eventfd": r"\beventfd\(",
    "sd_bus_": r"\bsd_bus_\w+",
    "st_mtim": r"\bst_[acm]tim\b",
    # Not used at present; who uses one adds its row.
    "renameat2": r"\brenameat2\(",
    "statx": r"\bstatx\(",
    "memfd_create": r"\bmemfd_create\(",
    "inotify": r"\binotify_\w+\(",
    "copy_file_range": r"\bcopy_file_range\(",
    "sendfile": r"\bsendfile\(",
    "epoll": r"\bepoll_\w+\(",
    "signalfd": r"\bsignalfd\(",
    "timerfd": r"\btimerfd_\w+\(",
    "pipe2": r"\bpipe2\(",
    "accept4": r"\baccept4\(",
    "gettid": r"\bgettid\(",
    "syscall": r"\bSYS_(?!openat2\b)\w+",
    "linux/": r"#include <linux/(?!openat2\.h)",
}


def uses(root):
    """(call, file) pairs of the product's code, comments left out."""
    for folder in ("TavikCmd", "platform", "tools"):
        for file in sorted((root / folder).rglob("*")):
            if file.suffix in (".cpp", ".h"):
                code = re.sub(r"//.*|/\*.*?\*/", "", file.read_text())
                for call, pattern in CALLS.items():
                    if re.search(pattern, code):
                        yield call, str(file.relative_to(root))


def rows(root):
    """(call, file) pairs of the page's table."""
    for line in (root / "docs/porting.md").read_text().splitlines():
        cells = line.split("|")
        if len(cells) == 6 and (call := re.fullmatch(r" `(.*)` ", cells[1])):
            for file in re.findall(r"`([^`]+\.(?:cpp|h))`", cells[2]):
                yield call.group(1), file


def main():
    root = pathlib.Path(sys.argv[1])
    used, named = set(uses(root)), set(rows(root))
    for call, file in sorted(used - named):
        print(f"docs/porting.md: no row says that {file} uses {call}")
    for call, file in sorted(named - used):
        print(f"docs/porting.md: {file} does not use {call}")
    sys.exit(used != named or not used)


main()
