"""What the tests of the integrations share: a machine of its own in a temporary folder, packages and
feeds made by the real qpk, and the real nginx over a shipped configuration."""
import contextlib
import json
import os
import pathlib
import pwd
import shutil
import socket
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BIN = pathlib.Path(os.environ.get("TAVIK_BIN", SOURCE / "build/dev/bin"))
LIMIT = 120  # seconds that a program may take


def run(*command, status=0, env=None, cwd=None):
    """Runs a program to its end; its standard output."""
    done = subprocess.run([str(each) for each in command], env=env, cwd=cwd, timeout=LIMIT, text=True,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    assert done.returncode == status, f"{command}: status {done.returncode}\n{done.stdout}{done.stderr}"
    return done.stdout


class Machine:
    """Two stores with the host product "sketch"."""

    def __init__(self, folder, feed=None, more_environment=None):
        self.folder = folder
        self.environment = {
            "PATH": os.environ["PATH"], "HOME": str(folder / "home"), "LANG": "C.UTF-8",
            "TAVIK_HOME": str(folder / "user"), "TAVIK_SHARED_HOME": str(folder / "shared"),
            **(more_environment or {})}
        product = {"name": "sketch", "displayName": "Sketch Pro", "version": "17.2"}
        if feed:
            product["updateFeed"] = feed
        self.write("user/QZ/products.d/sketch.json", product)

    def write(self, name, document):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(json.dumps(document), encoding="utf-8")
        return path

    def tavik(self, *arguments, status=0):
        """The document of a verb."""
        return json.loads(run(BIN / "tavik", *arguments, "--json", status=status, env=self.environment))

    def listed(self):
        return sorted(" ".join((each["id"], each["version"], each["state"], each["scope"]))
                      for each in self.tavik("list")["extensions"])


def steps(changes):
    return [" ".join((each["operation"], each["id"], each["from"] or "-", each["to"] or "-"))
            for each in changes]


class Site(unittest.TestCase):
    """A test with a folder of its own."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tavik-integration-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def package(self, name, version, folder="packages"):
        source = self.folder / "source" / f"{name}-{version}"
        source.mkdir(parents=True)
        (source / "extension.json").write_text(json.dumps({
            "formatVersion": 1, "id": f"com.example.{name}", "name": name, "version": version,
            "products": [{"name": "sketch"}]}))
        path = self.folder / folder / f"{name}-{version}.qpk"
        path.parent.mkdir(parents=True, exist_ok=True)
        run(BIN / "qpk", "pack", source, "-o", path)
        return path


class Nginx:
    """The shipped configuration on loopback, once for each folder that is served. The program has
    bound its ports when it goes into the background, so nobody has to wait for it."""

    CONF = SOURCE / "integrations/nginx/feeds.conf"

    def __init__(self, folder, roots, main=""):
        self.folder = folder
        folder.mkdir()
        self.certificate = folder / "cert.pem"
        run("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
            "-days", "2", "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost",
            "-keyout", folder / "key.pem", "-out", self.certificate)
        # A port that is free now may be another program's a moment later.
        for attempts_left in reversed(range(5)):
            self.configure(roots, main)
            try:
                return self.call()
            except AssertionError:
                if attempts_left == 0 or "Address already in use" not in (folder / "error.log").read_text():
                    raise

    def configure(self, roots, main):
        folder = self.folder
        self.ports = dict(zip(roots, free_ports(len(roots))))
        servers = "".join(self.server(name, root) for name, root in roots.items())
        user = pwd.getpwuid(os.getuid()).pw_name
        (folder / "nginx.conf").write_text(f"""
{f'user {user};' if os.getuid() == 0 else ''}
pid {folder}/pid;
error_log {folder}/error.log;
{main}
events {{ }}
http {{
    log_format requests '$request $status $sent_http_content_type';
    {''.join(f'{kind}_temp_path {folder}/{kind};' for kind in
             ('client_body', 'proxy', 'fastcgi', 'uwsgi', 'scgi'))}
    {servers}
}}
""")

    def server(self, name, root):
        text = self.CONF.read_text()
        for old, new in ((" 443 ", f" 127.0.0.1:{self.ports[name]} "), ("extensions.example.com;", "localhost;"),
                         ("/srv/extensions;", f"{root}; access_log {self.folder}/{name}.log requests;"),
                         ("/etc/ssl/extensions.example.com/fullchain.pem", str(self.certificate)),
                         ("/etc/ssl/extensions.example.com/key.pem", str(self.folder / "key.pem"))):
            assert old in text, f"{old} is not in {self.CONF}"
            text = text.replace(old, new)
        return text

    def call(self, *arguments):
        run("nginx", "-p", self.folder, "-c", self.folder / "nginx.conf", "-e", self.folder / "error.log",
            *arguments)

    def stop(self):
        self.call("-s", "quit")

    def address(self, name, path=""):
        return f"https://localhost:{self.ports[name]}/{path}"

    def requests(self, name):
        """The lines of a server's log, "GET /feed.json HTTP/2.0 200 application/json"."""
        log = self.folder / f"{name}.log"
        return log.read_text().splitlines() if log.exists() else []


def free_ports(count):
    """All of them are held until the last is known, so that none comes twice."""
    with contextlib.ExitStack() as held:
        probes = [held.enter_context(socket.socket()) for _ in range(count)]
        for probe in probes:
            probe.bind(("127.0.0.1", 0))
        return [probe.getsockname()[1] for probe in probes]
