"""The tool beside what Debian has for the same work: one class a peer.

A peer installs a payload of so many files as one item, lists its items, and removes one. `install`
gives the command to be timed, and `prepare_install` the one that makes an empty store before it;
`fill` makes a store of so many items, which `list` then shows. A peer whose program is missing is
left out. Each works in a folder of its own and touches nothing of the machine.
"""

import json
import os
import shlex
import shutil
import subprocess
import zipfile


def write_payload(folder, files, size, content):
    for i in range(files):
        path = folder / f"folder{i // 100:03}" / f"file{i:05}.dat"
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content(size, i))


class Peer:
    name = ""
    program = ""

    def __init__(self, folder, content):
        self.folder = folder / self.name
        self.folder.mkdir()
        self.content = content
        self.environment = {}

    @classmethod
    def is_here(cls):
        return shutil.which(cls.program) is not None

    def run(self, command):
        subprocess.run(["sh", "-c", command], check=True, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, env=dict(os.environ, **self.environment))

    def fresh(self, path):
        """The command that makes an empty folder. What stood there is put away, not deleted: a file
        system is slower just after a deletion."""
        old = f"$(mktemp -d {self.folder}/old-XXXXXXXX)"
        return f"(test ! -e {path} || mv {path} {old}) && mkdir -p {path}"

    def fill(self, count):
        """Makes a store of so many items."""
        items = [self.package(f"item{number}", 1, 100) for number in range(count)]
        self.run(self.prepare_install())
        self.install_all(items)

    def install_all(self, items):
        for item in items:
            self.run(self.install(item))

    def synced(self, command):
        """What the peer does not make durable by itself is made so."""
        return f"{command} && sync -f {self.folder}"


class Tavik(Peer):
    name = "TavikCmd"

    def __init__(self, folder, content, build):
        super().__init__(folder, content)
        self.tool = build / "bin" / "TavikCmd"
        self.environment = {"TAVIK_HOME": str(self.folder / "home"),
                            "TAVIK_SHARED_HOME": str(self.folder / "shared"),
                            "DBUS_SESSION_BUS_ADDRESS": ""}

    def package(self, name, files, size):
        path = self.folder / (name + ".qpk")
        manifest = {"formatVersion": 1, "id": "bench." + name, "name": "Bench " + name,
                    "version": "1.0", "products": [{"name": "sketch"}]}
        with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as package:
            package.writestr("extension.json", json.dumps(manifest))
            for i in range(files):
                package.writestr(f"folder{i // 100:03}/file{i:05}.dat", self.content(size, i))
        return path

    def prepare_install(self):
        products = self.folder / "home/QZ/products.d"
        descriptor = '{"name": "sketch", "displayName": "Sketch Pro", "version": "17.2"}'
        return (f"{self.fresh(self.folder / 'home')} && mkdir -p -m 755 {products} && "
                f"echo {shlex.quote(descriptor)} > {products}/sketch.json")

    def install(self, package):
        return f"{self.tool} --disableSendResult true --install {package}"

    def list(self):
        return f"{self.tool} --list all"

    def remove(self, name):
        return f"{self.tool} --disableSendResult true --remove bench.{name}"


class Dpkg(Peer):
    name = "dpkg"
    program = "dpkg"

    def package(self, name, files, size):
        tree = self.folder / (name + ".tree")
        (tree / "DEBIAN").mkdir(parents=True)
        (tree / "DEBIAN/control").write_text(
            f"Package: bench-{name}\nVersion: 1.0\nArchitecture: all\n"
            "Maintainer: Bench <bench@example.com>\nDescription: payload\n")
        write_payload(tree / "opt" / name, files, size, self.content)
        path = self.folder / (name + ".deb")
        self.run(f"dpkg-deb --root-owner-group -Zgzip -b {tree} {path}")
        shutil.rmtree(tree)
        return path

    def prepare_install(self):
        admin = self.folder / "root/var/lib/dpkg"
        return (f"{self.fresh(self.folder / 'root')} && mkdir -p {admin}/info {admin}/updates && "
                f"touch {admin}/status {admin}/available")

    def command(self, rest):
        return f"dpkg --root={self.folder}/root --log=/dev/null {rest}"

    def install(self, package):
        return self.command(f"-i {package}")

    def install_all(self, items):
        self.run(self.command("-i " + " ".join(str(item) for item in items)))

    def list(self):
        return self.command("-l")

    def remove(self, name):
        return self.command(f"-P bench-{name}")


class Flatpak(Peer):
    name = "flatpak"
    program = "flatpak"

    def __init__(self, folder, content):
        super().__init__(folder, content)
        self.environment = {"XDG_DATA_HOME": str(self.folder / "home"),
                            "FLATPAK_SYSTEM_DIR": str(self.folder / "system")}

    def package(self, name, files, size):
        tree = self.folder / (name + ".tree")
        (tree / "files").mkdir(parents=True)
        (tree / "usr").mkdir()
        (tree / "metadata").write_text(f"[Runtime]\nname=com.bench.{name}\n")
        write_payload(tree / "usr", files, size, self.content)
        self.run(f"flatpak build-export --runtime --no-update-summary {self.folder}/offer {tree} v1")
        shutil.rmtree(tree)
        return name

    def prepare_install(self):
        # The summary that a client reads is of all that was exported until then.
        return (f"flatpak build-update-repo {self.folder}/offer && "
                f"{self.fresh(self.folder / 'home')} && "
                f"flatpak --user remote-add --no-gpg-verify local {self.folder}/offer")

    def install_all(self, items):
        refs = " ".join(f"runtime/com.bench.{item}/x86_64/v1" for item in items)
        self.run(f"flatpak --user install -y --noninteractive --no-deps local {refs}")

    def install(self, package):
        return ("flatpak --user install -y --noninteractive --no-deps local "
                f"runtime/com.bench.{package}/x86_64/v1")

    def list(self):
        return "flatpak --user list"

    def remove(self, name):
        return f"flatpak --user uninstall -y --noninteractive com.bench.{name}"


class Kpackagetool(Peer):
    name = "kpackagetool5"
    program = "kpackagetool5"

    def __init__(self, folder, content):
        super().__init__(folder, content)
        self.environment = {"QT_QPA_PLATFORM": "offscreen", "HOME": str(self.folder)}

    def package(self, name, files, size):
        path = self.folder / (name + ".zip")
        plugin = {"KPlugin": {"Id": "com.bench." + name, "Name": name, "Version": "1.0"},
                  "KPackageStructure": "KPackage/Generic"}
        with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as package:
            package.writestr("metadata.json", json.dumps(plugin))
            for i in range(files):
                package.writestr(f"contents/folder{i // 100:03}/file{i:05}.dat",
                                 self.content(size, i))
        return path

    def prepare_install(self):
        return self.fresh(self.folder / "root")

    def command(self, rest):
        return f"kpackagetool5 -t KPackage/Generic -p {self.folder}/root {rest}"

    def install(self, package):
        return self.synced(self.command(f"-i {package}"))

    def list(self):
        return self.command("-l")

    def remove(self, name):
        return None  # it does not find what it installed in a root of its own


class Unopkg(Peer):
    """Refuses to work for root alone, so root runs it as the user nobody."""
    name = "unopkg"
    program = "unopkg"

    def __init__(self, folder, content):
        super().__init__(folder, content)
        self.account = ""
        if os.geteuid() == 0:
            self.account = "setpriv --reuid 65534 --regid 65534 --clear-groups "
            folder.chmod(0o755)

    def package(self, name, files, size):
        path = self.folder / (name + ".oxt")
        description = ('<?xml version="1.0"?><description '
                       'xmlns="http://openoffice.org/extensions/description/2006">'
                       f'<identifier value="com.bench.{name}"/><version value="1.0"/>'
                       "</description>")
        manifest = ('<?xml version="1.0"?><manifest:manifest '
                    'xmlns:manifest="http://openoffice.org/2001/manifest"/>')
        with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as package:
            package.writestr("META-INF/manifest.xml", manifest)
            package.writestr("description.xml", description)
            for i in range(files):
                package.writestr(f"folder{i // 100:03}/file{i:05}.dat", self.content(size, i))
        return path

    def prepare_install(self):
        profile = self.folder / "profile"
        return self.fresh(profile) + (f" && chown 65534 {profile}" if self.account else "")

    def command(self, verb, rest=""):
        return f"{self.account}unopkg {verb} -env:UserInstallation=file://{self.folder}/profile {rest}"

    def install(self, package):
        return self.synced(self.command("add", str(package)))

    def install_all(self, items):
        self.run(self.command("add", " ".join(str(item) for item in items)))

    def list(self):
        return self.command("list")

    def remove(self, name):
        return self.synced(self.command("remove", "com.bench." + name))


class GnomeExtensions(Peer):
    name = "gnome-extensions"
    program = "gnome-extensions"

    def package(self, name, files, size):
        path = self.folder / (name + ".zip")
        metadata = {"uuid": name + "@bench.example", "name": name, "description": "payload",
                    "shell-version": ["43"]}
        with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as package:
            package.writestr("metadata.json", json.dumps(metadata))
            package.writestr("extension.js", "")
            for i in range(files):
                package.writestr(f"folder{i // 100:03}/file{i:05}.dat", self.content(size, i))
        return path

    def prepare_install(self):
        return self.fresh(self.folder / "home")

    def install(self, package):
        # flatpak has a folder of its own behind the same variable.
        return self.synced(f"env XDG_DATA_HOME={self.folder}/home gnome-extensions install {package}")

    def list(self):
        return None  # the running desktop answers, and removes

    def remove(self, name):
        return None


PEERS = (Dpkg, Kpackagetool, Flatpak, Unopkg, GnomeExtensions)
