#!/usr/bin/env python3
"""The tool builds alone, against libraries that are found on the machine, and runs with them."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["TAVIK_BUILD"])


class MakersLibraries(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tavik-makers-")
        self.addCleanup(folder.cleanup)
        self.work = pathlib.Path(folder.name)
        # Outside of the source tree: CMake leaves folders inside of it out of installed run paths.
        self.makers = self.work / "makers"
        self.makers.mkdir()
        shutil.copy(BUILD / "tests/scripted/libTavikCoreLib.so", self.makers)
        shutil.copy(BUILD / "lib/libZephalMessage4.so", self.makers)

    def configure(self, *options):
        # Without pkg-config's folders: what only our own libraries need must not be looked for.
        return subprocess.run(
            ["cmake", "-S", SOURCE, "-B", self.work / "build", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
             "-DTAVIK_LOCAL_LIBRARIES=OFF", *options],
            env={**os.environ, "PKG_CONFIG_LIBDIR": "/nonexistent"}, capture_output=True, text=True)

    def test_the_tool_runs_with_the_libraries_it_was_pointed_to(self):
        configured = self.configure(f"-DTAVIK_LIBRARY_HINTS={self.makers}")
        self.assertEqual(configured.returncode, 0, configured.stderr)
        subprocess.run(["cmake", "--build", self.work / "build"], check=True)
        subprocess.run(["cmake", "--install", self.work / "build", "--prefix", self.work / "prefix"],
                       check=True)

        script = self.work / "script"
        script.write_text("product|Scripted Product|scripted\n"
                          "extension|Scripted Product|1|Some Name|3.1|some.id|\n")
        for tool in (self.work / "build/bin/TavikCmd", self.work / "prefix/bin/TavikCmd"):
            listing = subprocess.run([tool, "--list", "all"], check=True, capture_output=True, text=True,
                                     env={**os.environ, "SCRIPTED_CORE_SCRIPT": str(script),
                                          "SCRIPTED_CORE_LOG": str(self.work / "log")}).stdout
            self.assertIn("1 extension installed for Scripted Product", listing)
            self.assertIn("Some Name", listing)

    def test_a_library_that_is_not_found_is_named_with_the_options_that_help(self):
        configured = self.configure("-DTAVIK_CORE_LIBRARY_NAMES=NoSuchCore",
                                    f"-DTAVIK_LIBRARY_HINTS={self.makers}")
        self.assertNotEqual(configured.returncode, 0)
        for text in ("NoSuchCore", "-DTAVIK_LIBRARY_HINTS=", "-DTAVIK_CORE_LIBRARY="):
            self.assertIn(text, configured.stderr)


if __name__ == "__main__":
    unittest.main()
