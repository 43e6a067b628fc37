"""A machine in a folder of its own: both stores, host products, packages, a feed. The real tool runs
on it, and everything that can be seen of the stores from the outside is read here."""

import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import sqlite3
import subprocess
import time
import zipfile

SOURCE = pathlib.Path(__file__).resolve().parent.parent.parent
LIMIT_SECONDS = 60  # longer than any wait of the tool: what takes longer hangs

STATUSES = {name: int(number) for number, name in re.findall(
    r"^\| (-?\d+) \| \d+ \| `(\w+)`", (SOURCE / "docs/statuses.md").read_text(), re.MULTILINE)}
FOLDER_NAME = re.compile(r"(.+)@[0-9a-f]{16}")
LISTED_ROW = re.compile(r"^ *(Enabled|Disabled) +(\S+) +(\S+)$", re.MULTILINE)
XML_ROW = re.compile(r'<extension status="(\w+)" name="[^"]*" id="([^"]+)" version="([^"]+)"')


class Disagreement(Exception):
    """Something is not as it was promised."""


class Run:
    """How a run of the tool ended."""

    def __init__(self, exit_code, out, err):
        self.exit_code, self.out, self.err = exit_code, out, err
        self.was_killed = exit_code == -signal.SIGKILL

    @property
    def status(self):
        """The core's status of a failed run."""
        return self.exit_code - 256

    def __str__(self):
        ended = (f"signal {-self.exit_code}" if self.exit_code < 0 else f"exit {self.exit_code}")
        return f"{ended}; out: {self.out.strip()!r}; err: {self.err.strip()!r}"


class Extension:
    """A row of a store, as its list shows it, and the folder that belongs to it."""

    def __init__(self, version, is_enabled, folder):
        self.version, self.is_enabled, self.folder = version, is_enabled, folder

    def shown(self):
        return (self.version, "Enabled" if self.is_enabled else "Disabled")


class Tree:
    """A copy of folders in memory, to bring them back quickly."""

    def __init__(self, *roots):
        self.roots = [str(root) for root in roots]
        self.entries = []
        for root in self.roots:
            if os.path.exists(root):
                self._add(root)
                for folder, folders, files in os.walk(root):
                    for name in folders + files:
                        self._add(os.path.join(folder, name))

    def _add(self, path):
        info = os.lstat(path)
        mode = info.st_mode & 0o7777
        if os.path.islink(path):
            self.entries.append((path, "link", mode, os.readlink(path)))
        elif os.path.isdir(path):
            self.entries.append((path, "folder", mode, None))
        else:
            with open(path, "rb") as file:
                self.entries.append((path, "file", mode, file.read()))

    def restore(self):
        for root in self.roots:
            shutil.rmtree(root, ignore_errors=True)
        self.write()

    def write(self):
        modes = []
        for path, kind, mode, content in self.entries:
            if kind == "link":
                os.symlink(content, path)
            elif kind == "folder":
                os.makedirs(path, exist_ok=True)
                modes.append((path, mode))
            else:
                descriptor = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, mode)
                os.write(descriptor, content)
                os.close(descriptor)
        for path, mode in modes:
            os.chmod(path, mode)


def make_package(path, identifier, version, files=None):
    """A package for both host products; its name is its id."""
    manifest = {"formatVersion": 1, "id": identifier, "name": identifier, "version": version,
                "products": [{"name": "sketch"}, {"name": "layout"}]}
    files = files or {"content.txt": version, "data/more.txt": version * 100}
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as package:
        package.writestr("extension.json", json.dumps(manifest))
        for name, content in files.items():
            package.writestr(name, content)


class Machine:
    def __init__(self, root, build):
        self.root = pathlib.Path(root)
        self.build = build
        self.user = self.root / "user" / "QZ"
        self.shared = self.root / "shared" / "QZ"
        self.plugins = self.root / "plugins"
        self.packages = self.root / "packages"
        self.site = self.root / "site"
        for folder in (self.packages, self.site):
            folder.mkdir(parents=True, exist_ok=True, mode=0o755)
        self.identity = {}  # of the user who runs the tool, for subprocess
        self.faults = str(build / "tests" / "libfaults.so")
        self.environment = {
            "PATH": os.environ["PATH"], "HOME": str(self.root / "home"),
            "TAVIK_HOME": str(self.root / "user"), "TAVIK_SHARED_HOME": str(self.root / "shared"),
            "DBUS_SESSION_BUS_ADDRESS": ""}

    def store(self, name):
        return self.user if name == "user" else self.shared

    def package(self, identifier, version):
        path = self.packages / f"{identifier}-{version}.qpk"
        if not path.exists():
            make_package(path, identifier, version)
        return str(path)

    def add_product(self, name, more=None):
        """Makes a host product known to all users."""
        folder = self.shared / "products.d"
        folder.mkdir(parents=True, exist_ok=True, mode=0o755)
        (folder / f"{name}.json").write_text(json.dumps(
            {"name": name, "displayName": name.title() + " Pro", "version": "17.2",
             "updateFeed": f"file://{self.site}/feed.json", **(more or {})}))

    def publish(self, *packages):
        """Offers the packages in the products' update feed."""
        for path in packages:
            shutil.copy(path, self.site)
        subprocess.run([self.build / "bin" / "qpk", "feed", self.site], check=True,
                       stdout=subprocess.DEVNULL)

    def settle(self):
        """Notes that both stores are in order, as a change would. The note that was brought back
        names other folders than those that came with it."""
        def seal(store):
            database = self.store(store) / "store.db"
            return database.read_bytes()[-16:].decode() if database.exists() else "-"
        for store, other in (("user", "shared"), ("shared", "user")):
            root = self.store(store)
            folders = ["ext", "products"] + [
                f"products/{path.name}{below}" for path in (root / "products").glob("*")
                for below in ("", "/extensions", "/disabled")]
            lines = ["tavik-settled 1", f"{seal(store)} {seal(other)} {int(time.time())}"]
            for folder in folders:
                numbers = "0 0 0 0 0"
                if (root / folder).is_dir():
                    info = os.lstat(root / folder)
                    times = [divmod(ns, 10**9) for ns in (info.st_mtime_ns, info.st_ctime_ns)]
                    numbers = " ".join(str(each) for each in [info.st_ino, *times[0], *times[1]])
                lines.append(f"{numbers} {folder}")
            note = root / ".settled"
            note.write_text("\n".join([*lines, f"end {len(folders)}", ""]))
            note.chmod(0o600)

    def tree(self):
        return Tree(self.root / "user", self.root / "shared", self.plugins)

    def start(self, arguments, faults=None, **more):
        environment = dict(self.environment)
        if faults:
            environment.update(faults, LD_PRELOAD=self.faults)
        return subprocess.Popen(
            [str(self.build / "bin" / "TavikCmd"), *arguments], env=environment, text=True,
            errors="replace", stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, cwd="/", close_fds=False,
            **self.identity, **more)

    def run(self, arguments, faults=None, **more):
        """Runs the tool; `faults` are variables of the preloaded library."""
        process = self.start(arguments, faults, **more)
        try:
            out, err = process.communicate(timeout=LIMIT_SECONDS)
        except subprocess.TimeoutExpired:
            process.kill()
            process.communicate()
            raise Disagreement(f"it hangs: {' '.join(arguments)}") from None
        return Run(process.returncode, out, err)

    def must(self, arguments, **more):
        run = self.run(arguments, **more)
        if run.exit_code != 0 or run.err:
            raise Disagreement(f"{' '.join(arguments)} fails: {run}")

    def rows(self, store):
        """The rows of one store by their ids."""
        path = self.store(store) / "store.db"
        if not path.exists():
            return {}
        try:
            with contextlib.closing(sqlite3.connect(f"file:{path}?mode=ro", uri=True)) as database:
                return {row[0]: Extension(row[1], bool(row[2]), row[3]) for row in
                        database.execute("SELECT id, version, state, folder FROM extension")}
        except sqlite3.Error as error:
            raise Disagreement(f"{path} cannot be read: {error}") from None

    def list_run(self, **more):
        return self.run(["--list", "all", "--list_as_xml", "all"], **more)

    def listed(self, run=None, warnings_are_fine=False):
        """What the list shows: {id: (version, state)}; the table and the XML must agree."""
        run = run or self.list_run()
        if run.exit_code != 0 or "atus = " in run.out or (run.err and not warnings_are_fine):
            raise Disagreement(f"the list fails: {run}")
        table = {name: (version, state) for state, name, version in LISTED_ROW.findall(run.out)}
        xml = {name: (version, state) for state, name, version in XML_ROW.findall(run.out)}
        if table != xml:
            raise Disagreement(f"the table and the XML differ: {run.out}")
        return table

    def link_folders(self):
        """The folders in which host products look for links, and the store each belongs to."""
        for store in ("user", "shared"):
            for folder in sorted((self.store(store) / "products").glob("*/extensions")):
                yield folder, store
        if self.plugins.exists():
            yield self.plugins, "both"

    def links(self):
        """{path of a link: what it leads to}, of all products."""
        return {str(folder / name): os.readlink(folder / name)
                for folder, _ in self.link_folders() for name in os.listdir(folder)
                if os.path.islink(folder / name)}

    def masked(self, product="*"):
        """The ids that the user's store keeps from a product's hosts, or from any."""
        return {path.name for path in (self.user / "products").glob(f"{product}/disabled/*")}
