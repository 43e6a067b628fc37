#!/usr/bin/env python3
"""The shipped nginx configuration, under the real nginx with TLS and HTTP/2, asked by the real tools."""
import unittest

from support import BIN, Machine, Nginx, Site, run, steps


class Feeds(Site):
    def setUp(self):
        super().setUp()
        self.web = self.folder / "web"
        self.package("brushes", "1.0", "web")
        self.publish()
        (self.folder / "mirror").mkdir()
        self.nginx = Nginx(self.folder / "nginx", {"origin": self.web, "mirror": self.folder / "mirror"})
        self.addCleanup(self.nginx.stop)

    def publish(self):
        if not (self.folder / "k.key").exists():
            run(BIN / "qpk", "keygen", self.folder / "k")
        run(BIN / "qpk", "feed", self.web, "--key", self.folder / "k.key")

    def machine(self, name, feed="feed.json"):
        return Machine(self.folder / name, self.nginx.address("origin", feed),
                       {"SSL_CERT_FILE": str(self.nginx.certificate)})

    # Catches a feed that cannot be had over TLS and HTTP/2, one that is sent again unchanged, and a
    # new one that is answered with "unchanged".
    def test_a_machine_updates_and_then_gets_304(self):
        machine = self.machine("machine")
        machine.tavik("install", self.web / "brushes-1.0.qpk")
        self.assertEqual(machine.tavik("list", "--updates", "--check")["extensions"], [])
        self.assertIn("GET /feed.json HTTP/2.0 200 application/json", " ".join(self.nginx.requests("origin")))

        before = len(self.nginx.requests("origin"))
        machine.tavik("list", "--updates", "--check")
        asked = self.nginx.requests("origin")[before:]
        self.assertEqual([line.split()[3] for line in asked if "/feed.json " in line], ["304"], asked)

        self.package("brushes", "2.0", "web")
        self.publish()
        machine.tavik("list", "--updates", "--check", status=3)
        self.assertEqual(steps(machine.tavik("update", "--all")["changes"]), ["update com.example.brushes 1.0 2.0"])
        self.assertIn("GET /brushes-2.0.qpk HTTP/2.0 200 application/octet-stream", self.nginx.requests("origin"))

    # Catches a mirror whose files differ, one that is copied anew, and a machine that goes past the
    # mirror although the policy sends it there.
    def test_machines_are_sent_to_the_mirror(self):
        copier = self.machine("copier")
        self.package("brushes", "2.0", "web")
        self.publish()
        mirror = self.folder / "mirror"
        feed = self.nginx.address("origin", "feed.json")
        self.assertEqual(copier.tavik("mirror", feed, mirror)["failures"], [])
        again = copier.tavik("mirror", feed, mirror)
        self.assertEqual((again["copied"], again["removed"]), ([], []))
        copy = next(mirror.rglob("feed.json")).parent
        for name in ("feed.json", "feed.json.sig", "brushes-1.0.qpk", "brushes-2.0.qpk"):
            self.assertEqual((copy / name).read_bytes(), (self.web / name).read_bytes(), name)

        machine = self.machine("machine")
        machine.tavik("install", self.web / "brushes-1.0.qpk")
        place = self.nginx.address("mirror", f"{copy.relative_to(mirror)}/")
        machine.write("shared/QZ/policy.json", {"redirects": {self.nginx.address("origin"): place}})
        before = len(self.nginx.requests("origin"))
        self.assertEqual(steps(machine.tavik("update", "--all")["changes"]), ["update com.example.brushes 1.0 2.0"])
        self.assertEqual(self.nginx.requests("origin")[before:], [])
        self.assertIn("brushes-2.0.qpk HTTP/2.0 200", " ".join(self.nginx.requests("mirror")))

    # Catches what must not be served, and headers that let a cache show an old feed.
    def test_serves_only_what_is_published(self):
        (self.web / ".feed.json.4711").write_text("half")

        def answer(path, *options):
            return run("curl", "-s", "-o", "/dev/null", "--cacert", self.nginx.certificate, *options, "-w",
                       "%{http_code} %{content_type} %header{cache-control}", self.nginx.address("origin", path))

        self.assertEqual(answer("feed.json"), "200 application/json no-cache")
        self.assertEqual(answer("feed.json.sig"), "200 application/octet-stream no-cache")
        self.assertEqual(answer("brushes-1.0.qpk"), "200 application/octet-stream public, max-age=604800")
        self.assertTrue(answer("").startswith("200 text/html"), answer(""))
        for path, options, status in ((".feed.json.4711", (), "404"), ("nowhere", (), "404"), ("..%2fk.key", (), "400"),
                                      ("feed.json", ("-X", "POST"), "403"), ("brushes-1.0.qpk", ("-X", "PUT"), "403")):
            self.assertEqual(answer(path, *options).split()[0], status, path)


if __name__ == "__main__":
    unittest.main()
