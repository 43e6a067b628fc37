"""META-INF/ and what is signed. No key of the corpus is trusted anywhere, so what is signed rightly
is installed as if it were not, as long as no policy asks for signatures."""

import hashlib
import json

from archive import EXECUTABLE, Entry, archive, folder
from cases import CONTENT, Case, manifest
from ed25519 import ORDER, Key, pem

LIST, SIGNATURE = "META-INF/content.json", "META-INF/content.json.sig"
KEY, OTHER_KEY = Key(b"a key of the corpus".ljust(32)), Key(b"another of the corpus".ljust(32))


def files(text=CONTENT, mode=EXECUTABLE):
    return [Entry("extension.json", manifest()), Entry("a.txt", text),
            Entry("run", b"#!/bin/sh\n", mode), folder("empty")]


def listed():
    """The lines of the list for files()."""
    def line(path, data, **more):
        data = data if isinstance(data, bytes) else data.encode()
        return {"path": path, "size": len(data), "sha256": hashlib.sha256(data).hexdigest(), **more}
    return [line("a.txt", CONTENT), line("empty/", b""), line("extension.json", manifest()),
            line("run", b"#!/bin/sh\n", executable=True)]


def list_text(lines=None, **more):
    return json.dumps({"formatVersion": 1, "entries": listed() if lines is None else lines, **more})


def signed(entries=None, text=None, signature=None):
    text = list_text() if text is None else text
    signature = KEY.detached(text.encode()) if signature is None else signature
    return archive((files() if entries is None else entries) +
                   [Entry(LIST, text), Entry(SIGNATURE, signature)])


def wrong_signatures():
    text = list_text().encode()
    right = KEY.detached(text)
    key, signature = right[:right.index("-----BEGIN ED")], right[right.index("-----BEGIN ED"):]
    flipped = bytearray(KEY.sign(text))
    flipped[40] ^= 1
    # The second half must be below the group's order: else a signature has several forms.
    whole = KEY.sign(text)
    shifted = int.from_bytes(whole[32:], "little") + ORDER
    malleable = whole[:32] + shifted.to_bytes(32, "little")
    for name, data, reason in (
            ("list-changed", signed(text=list_text() + " ", signature=right),
             "the list is not what was signed"),
            ("of-another-key", signed(signature=OTHER_KEY.detached(text)[:len(key)] + signature),
             "another key than the signature's stands beside it"),
            ("bit-flipped", signed(signature=key + pem("ED25519 SIGNATURE", bytes(flipped))),
             "a wrong signature"),
            ("second-form", signed(signature=key + pem("ED25519 SIGNATURE", malleable)),
             "a signature whose number is not reduced"),
            ("without-key", signed(signature=signature), "the key is missing"),
            ("key-alone", signed(signature=key), "the signature is missing"),
            ("empty", signed(signature=""), "an empty signature file"),
            ("something-behind", signed(signature=right + "x"), "something behind the two blocks"),
            ("twice", signed(signature=right + right), "four blocks"),
            ("short", signed(signature=key + pem("ED25519 SIGNATURE", whole[:63])), "63 bytes"),
            ("list-alone", archive(files() + [Entry(LIST, list_text())]),
             "half of a signature: the list alone"),
            ("signature-alone", archive(files() + [Entry(SIGNATURE, right)]),
             "half of a signature: the signature alone")):
        yield Case("signature-" + name, data, "signatureWrong", reason)


def other_content():
    lines = listed()
    first = lines[0]

    def changed(**fields):
        return list_text([{**first, **fields}, *lines[1:]])
    for name, data, reason in (
            ("byte", signed(files(text=CONTENT[:-1] + b"T")), "one byte differs"),
            ("size", signed(files(text=CONTENT + b".")), "the size differs"),
            ("executable", signed(files(mode=0o100644)), "the executable bit differs"),
            ("more", signed(files() + [Entry("b.txt", b"")]), "an entry that is not in the list"),
            ("less", signed(files()[:-1]), "a listed folder is missing"),
            ("folder-as-file", signed(files()[:-1] + [Entry("empty", b"", method=0)]),
             "a folder has become a file"),
            ("listed-twice", signed(text=list_text(lines + [first])), "a line twice"),
            ("unknown-member", signed(text=list_text(note="x")), "an unknown member of the list"),
            ("unknown-member-of-line", signed(text=changed(note="x")),
             "an unknown member of a line"),
            ("newer-form", signed(text=list_text(formatVersion=2)), "a list of another form"),
            ("size-as-text", signed(text=changed(size="1")), "a size that is no number"),
            ("upper-case-digest", signed(text=changed(sha256=first["sha256"].upper())),
             "a digest in upper case"),
            ("empty-list", signed(text=list_text([])), "nothing is listed"),
            ("no-json", signed(text="hello"), "the list is no JSON"),
            ("lists-itself", signed(text=list_text(
                lines + [{"path": LIST, "size": 1, "sha256": "0" * 64}])),
             "the list names a reserved entry")):
        yield Case("content-" + name, data, "contentDiffers", reason)


def cases():
    yield Case("signed", signed())
    yield Case("signed-by-another", signed(signature=OTHER_KEY.detached(list_text().encode())))
    yield from wrong_signatures()
    yield from other_content()
    reserved = "META-INF/ is reserved for the signature"
    for name, entry in (("manifest-mf", Entry("META-INF/MANIFEST.MF", b"")),
                        ("folder", folder("META-INF")),
                        ("lower-case", Entry("meta-inf/content.json", list_text())),
                        ("file", Entry("META-INF", b"x")),
                        ("deeper", Entry("META-INF/services/x", b"x"))):
        yield Case("reserved-" + name, archive(files() + [entry]), "packageUnsafe", reserved)
    yield Case("reserved-beside-a-signature",
               archive(files() + [Entry(LIST, list_text()),
                                  Entry(SIGNATURE, KEY.detached(list_text().encode())),
                                  Entry("META-INF/x", b"")]), "packageUnsafe", reserved)
    yield Case("not-reserved", archive(files() + [Entry("META-INFO/x", b""),
                                                  Entry("a/META-INF/x", b"")]))
