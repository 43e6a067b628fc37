#!/usr/bin/env python3
"""An installed tree works wherever it is moved: its programs, what they load, and what host
applications build against it."""

import os
import pathlib
import re
import select
import shutil
import subprocess
import tempfile
import time
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["TAVIK_BUILD"])
VERSION = os.environ["TAVIK_VERSION"]
CC = os.environ.get("CC", "cc")

INTERFACES = {
    "TavikCoreLib": r"Tavik\w+",
    "ZephalMessage4": r"((typeinfo|typeinfo name|vtable) for )?norva::zephal::api::.*",
    "norva_vell": r"(mdb|pcd|pdb|vell)\w+",
}


def dynamic(file, tag):
    """The values of one tag in the file's dynamic section."""
    section = subprocess.run(["readelf", "-d", file], check=True, capture_output=True, text=True).stdout
    return re.findall(rf"\({tag}\).*\[(.*)\]", section)


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="tavik-installed-")
        cls.work = pathlib.Path(cls.folder.name)
        first = cls.work / "first"
        subprocess.run(["cmake", "--install", BUILD, "--prefix", first],
                       check=True, stdout=subprocess.DEVNULL)
        (cls.work / "moved").mkdir()
        cls.prefix = first.rename(cls.work / "moved/to here")
        cls.libraries = cls.prefix / "lib/tavik"

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def setUp(self):
        """A home folder of the test's own, with the two sample products."""
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="home-", dir=self.work))
        self.family = self.home / "store/QZ"
        shutil.copytree(self.prefix / "share/tavik/samples/products", self.family / "products.d")
        self.environment = {
            "PATH": f"{self.prefix}/bin:{os.environ['PATH']}", "HOME": str(self.home), "LANG": "C.UTF-8",
            "TAVIK_HOME": f"{self.home}/store", "TAVIK_SHARED_HOME": f"{self.home}/shared",
            "NORVA_VELL_DB": f"{self.home}/vell.db", "DBUS_SESSION_BUS_ADDRESS": "",
            "PKG_CONFIG_PATH": f"{self.prefix}/lib/pkgconfig"}

    def run_program(self, *command, status=0, **environment):
        """Standard output of a command that ends with `status`."""
        result = subprocess.run(command, env={**self.environment, **environment}, cwd=self.home,
                                capture_output=True, text=True, timeout=60)
        self.assertEqual(result.returncode, status, f"{command}\n{result.stdout}{result.stderr}")
        return result.stdout

    def sample(self, name):
        return self.prefix / f"share/tavik/samples/{name}.qpk"

    def test_the_tool_asks_for_bare_names_and_hosts_for_versions(self):
        tool = self.prefix / "bin/TavikCmd"
        needed = [name for name in dynamic(tool, "NEEDED") if re.match(r"lib(Tavik|Zephal|norva)", name)]
        self.assertEqual(sorted(needed), ["libTavikCoreLib.so", "libZephalMessage4.so"])
        self.assertEqual(dynamic(tool, "RUNPATH"), ["$ORIGIN/../lib/tavik"])
        for name in INTERFACES:
            library = self.libraries / f"lib{name}.so"
            self.assertEqual(dynamic(library, "SONAME"), [f"lib{name}.so.{VERSION.split('.')[0]}"])
            self.assertEqual(library.resolve().name, f"lib{name}.so.{VERSION}")

    def test_nothing_installed_searches_folders_outside_the_tree(self):
        files = [*(self.prefix / "bin").iterdir(), *self.libraries.iterdir()]
        for file in files:
            self.assertEqual(dynamic(file, "RPATH"), [], file)
            self.assertIn(dynamic(file, "RUNPATH"), ([], ["$ORIGIN"], ["$ORIGIN/../lib/tavik"]), file)

    def test_the_libraries_export_their_interface_alone(self):
        for name, interface in INTERFACES.items():
            listing = subprocess.run(["nm", "-DC", "--defined-only", "--format=posix",
                                      self.libraries / f"lib{name}.so"],
                                     check=True, capture_output=True, text=True).stdout
            exported = [re.sub(r" \w( [0-9a-f]+){0,2} ?$", "", line) for line in listing.splitlines()]
            self.assertGreater(len(exported), 10)
            self.assertEqual([symbol for symbol in exported if not re.fullmatch(interface, symbol)], [])

    def test_every_version_is_the_project_s(self):
        for program in ("tavik", "qpk", "vellctl"):
            self.assertEqual(self.run_program(program, "--version").split()[:2], [program, VERSION])
        self.assertEqual(self.run_program("pkg-config", "--modversion", "tavik").strip(), VERSION)

    def test_every_link_of_the_pages_leads_to_something_installed(self):
        self.run_program("python3", SOURCE / "tests/layout/links.py", self.prefix / "share/doc/tavik")

    def test_a_session(self):
        self.assertEqual(self.run_program("TavikCmd", "--install", self.sample("brushes")), "")
        self.assertIn("Enabled    Example Brushes", self.run_program("TavikCmd", "--list", "Sketch Pro"))
        self.assertEqual(self.run_program("TavikCmd", "--disable", "Example Brushes"), "")
        self.assertIn("disabled", self.run_program("tavik", "list").lower())
        self.run_program("tavik", "doctor")
        self.assertEqual(self.run_program("TavikCmd", "--remove", "Example Brushes"), "")
        self.assertIn("0 extension", self.run_program("TavikCmd", "--list", "Sketch Pro"))

    def test_both_front_ends_find_the_module_for_updates(self):
        self.run_program("TavikCmd", "--install", self.sample("brushes"))
        shutil.copytree(SOURCE / "samples/extensions/brushes", self.home / "brushes")
        manifest = self.home / "brushes/extension.json"
        manifest.write_text(manifest.read_text().replace('"1.4.0"', '"1.5.0"'))
        (self.home / "site").mkdir()
        self.run_program("qpk", "pack", "brushes", "-o", "site/brushes.qpk")
        self.run_program("qpk", "feed", "site")
        product = self.family / "products.d/sketch.json"
        product.write_text(product.read_text().replace(
            '"version"', f'"updateFeed": "file://{self.home}/site/feed.json", "version"'))
        self.assertIn("1.5.0", self.run_program("TavikCmd", "--list_update", "all"))
        self.run_program("tavik", "update", "com.example.brushes")
        self.assertIn("1.5.0", self.run_program("tavik", "list"))

    def test_the_graphical_application_is_found_and_started(self):
        self.run_program("vellctl", "import", SOURCE / "samples/registry.json")
        self.run_program("vellctl", "set", "1", "/norva/parlex/tavik-7.0", "Path",
                         SOURCE / "samples/Quendel.app")
        started = self.home / "started"
        os.mkfifo(started)
        # Open for both: neither side waits for the other one's opening.
        reader = os.open(started, os.O_RDWR)
        self.addCleanup(os.close, reader)
        self.run_program("TavikCmd", "--launch", "fr_FR", QUENDEL_SAMPLE_LOG=str(started))
        self.assertTrue(select.select([reader], [], [], 30)[0], "the application was not started")
        self.assertIn(b"fr_FR", os.read(reader, 4096))

    def test_results_go_to_the_session_bus(self):
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"],
                               stdout=subprocess.PIPE, text=True)
        self.addCleanup(bus.stdout.close)
        self.addCleanup(bus.wait)
        self.addCleanup(bus.kill)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()
        monitor = subprocess.Popen(["dbus-monitor", "interface='com.norva.Zephal4'"],
                                   env=self.environment, stdout=subprocess.PIPE)
        self.addCleanup(monitor.stdout.close)
        self.addCleanup(monitor.wait)
        self.addCleanup(monitor.kill)
        self.read_until(monitor.stdout, b"NameLost")  # from here on it sees all messages
        self.run_program("TavikCmd", "--install", self.sample("brushes"))
        self.read_until(monitor.stdout, b"zephal.suite.")

    def read_until(self, stream, text):
        seen = b""
        end = time.monotonic() + 30
        while text not in seen:
            self.assertTrue(select.select([stream], [], [], max(0, end - time.monotonic()))[0], seen)
            seen += os.read(stream.fileno(), 65536)

    def test_another_build_of_the_core_goes_in_front(self):
        script = self.home / "script"
        script.write_text("product|Scripted Product|scripted\n")
        listing = self.run_program("TavikCmd", "--list", "all", LD_LIBRARY_PATH=str(BUILD / "tests/scripted"),
                                   SCRIPTED_CORE_SCRIPT=str(script), SCRIPTED_CORE_LOG=str(self.home / "log"))
        self.assertIn("Scripted Product", listing)

    def page_program(self):
        """The page's program and CMakeLists.txt, in the home folder."""
        page = (self.prefix / "share/doc/tavik/docs/c-interface.md").read_text()
        for language, file in (("c", "extensions.c"), ("cmake", "CMakeLists.txt")):
            text = re.search(rf"^```{language}\n(.*?)^```$", page, re.DOTALL | re.MULTILINE).group(1)
            (self.home / file).write_text(text)

    def check_program(self, program):
        listing = self.run_program(program, "Sketch Pro", self.sample("brushes"))
        self.assertEqual(listing, "enabled   com.example.brushes 1.4.0\n")
        self.assertEqual([name for name in dynamic(program, "NEEDED") if "Tavik" in name],
                         [f"libTavikCoreLib.so.{VERSION.split('.')[0]}"])

    def test_the_page_s_program_builds_with_pkg_config(self):
        self.page_program()
        self.run_program("sh", "-c", f"eval {CC} -Wall -Wextra -Werror -o extensions extensions.c "
                         "$(pkg-config --cflags --libs tavik)")
        self.check_program(self.home / "extensions")

    def test_the_page_s_program_builds_with_cmake(self):
        self.page_program()
        self.run_program("cmake", "-S", ".", "-B", "build", "-G", "Ninja", f"-DCMAKE_C_COMPILER={CC}",
                         f"-DCMAKE_PREFIX_PATH={self.prefix}")
        self.run_program("cmake", "--build", "build")
        self.check_program(self.home / "build/extensions")


if __name__ == "__main__":
    unittest.main()
