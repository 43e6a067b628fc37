#!/usr/bin/env python3
"""Judges the manual pages: mandoc finds no fault in their form, and each verb and option that the
programs' own tables have is in its program's page.

Usage: pages.py BUILD_FOLDER. Exit status 77: mandoc is not installed.
"""
import pathlib
import re
import shutil
import subprocess
import sys

NEEDED = ("NAME", "DESCRIPTION", "SEE ALSO")
NEEDED_OF_PROGRAMS = ("SYNOPSIS", "ENVIRONMENT", "EXIT STATUS", "EXAMPLES")


def output_of(*command):
    return subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          check=False).stdout


def main():
    build = pathlib.Path(sys.argv[1])
    if shutil.which("mandoc") is None:
        print("mandoc is not installed")
        return 77
    pages = sorted((build / "man").iterdir())
    faults = [] if len(pages) == 10 else [f"{len(pages)} pages instead of 10"]
    texts = {}
    for page in pages:
        faults += output_of("mandoc", "-Tlint", "-W", "warning", page).splitlines()
        texts[page.name] = output_of("mandoc", "-Tascii", "-Owidth=200", page)
        # Bold and underlined letters are overstruck.
        texts[page.name] = re.sub(".\b", "", texts[page.name])
        # tavik's examples stand in the section of each verb.
        needed = NEEDED + (NEEDED_OF_PROGRAMS if page.suffix == ".1" else ())
        faults += [f"{page.name}: has no section {each}" for each in needed
                   if each not in texts[page.name].splitlines() and (page.name, each) != ("tavik.1", "EXAMPLES")]
    for row in output_of(build / "tests/command_tables").splitlines():
        program, verb, kind, name, _, _ = row.split("\t")
        if kind in ("verb", "option") and name not in texts[f"{program}.1"]:
            faults.append(f"{program}.1: says nothing about {verb} {name}")
        if kind == "operand" and program == "tavik" and verb != "help" and not re.search(
                rf"^ +tavik {verb} \[option \.\.\.\] \[?{name}", texts["tavik.1"], re.MULTILINE):
            faults.append(f"tavik.1: the synopsis of {verb} does not say that it takes {name}")
    print("\n".join(faults))
    return 1 if faults else 0


sys.exit(main())
