"""The container: end record, directory, local headers, zip64, data."""

import struct

from archive import (MARK16, MARK32, DESCRIPTOR, Entry, archive, extra_field, folder, unicode_path,
                     zip64)
from cases import CONTENT, Case, good_entry, manifest, package


def good(name, data):
    return Case(name, data)


def damaged(name, data, reason):
    return Case(name, data, "packageDamaged", reason)


def with_end(**fields):
    """A package whose end record has other values; a function gets the record and gives one."""
    def change(end):
        values = {field: value(end) if callable(value) else value
                  for field, value in fields.items()}
        for field, value in values.items():
            setattr(end, field, value)
    return package(good_entry(), change_end=change)


def forms():
    """All that packers write and the rules allow."""
    yield good("plain", package(good_entry()))
    yield good("stored", package(Entry("a.txt", CONTENT, method=0)))
    yield good("manifest-only", package())
    yield good("empty-file", package(Entry("a.txt", b"", method=0)))
    yield good("empty-file-deflated", package(Entry("a.txt", b"")))
    yield good("empty-folder", package(folder("empty")))
    yield good("folders-listed", package(folder("a"), folder("a/b"), Entry("a/b/c.txt", b"x")))
    yield good("folder-after-its-file", package(Entry("a/b.txt", b"x"), folder("a")))
    yield good("manifest-last", archive([good_entry(), Entry("extension.json", manifest())]))
    for width in (4, 8):
        for name, signature in (("signed", DESCRIPTOR), ("bare", b"")):
            yield good(f"descriptor-{name}-{width * 8}",
                       package(good_entry().with_descriptor(signature, width)))
    early = good_entry().with_descriptor()
    yield good("descriptor-and-early-size", package(early.set_local(size=len(CONTENT))))
    sized = Entry("a.txt", CONTENT, method=0)
    sized.both(extra=zip64(len(CONTENT), len(CONTENT)), size=MARK32, compressed=MARK32)
    yield good("zip64-sizes", package(sized))
    yield good("zip64-end", with_end(before=lambda end: end.zip64(), offset=MARK32))
    yield good("zip64-end-of-all", with_end(before=lambda end: end.zip64(), offset=MARK32,
                                            size=MARK32, entries=MARK16, here=MARK16))
    yield good("directory-in-another-order", package(good_entry(), order=lambda r: r[::-1]))
    yield good("entry-comment", package(good_entry().set(comment=b"note")))
    yield good("made-by-dos", package(good_entry().set(made_by=0, attributes=0)))
    yield good("unknown-extra-field",
               package(good_entry().set_local(extra=extra_field(7, b"x" * 300))))
    named = good_entry()
    named.central.extra = unicode_path(b"a.txt")
    yield good("the-name-again", package(named))
    for level in (1, 2, 3):
        yield good(f"deflate-level-flag-{level}", package(good_entry().both(flags=level << 1)))


def end_records():
    whole = package()
    for name, data, reason in (
            ("empty", b"", "an empty file"),
            ("text", b"This is no archive.\n" * 20, "no ZIP at all"),
            ("only-an-end-cut", whole[-21:], "shorter than an end record"),
            ("last-byte-missing", whole[:-1], "the end record is not at the last byte"),
            ("half", whole[:len(whole) // 2], "cut in the middle"),
            ("byte-behind-the-end", with_end(after=b"x"), "a byte behind the end record"),
            ("newline-behind-the-end", with_end(after=b"\n"), "a byte behind the end record"),
            ("comment", with_end(comment=b"x"), "a comment behind the end record"),
            ("end-in-the-comment", with_end(comment=b"PK\x05\x06" + bytes(18)),
             "two end records; readers choose differently"),
            ("two-archives", whole + whole, "an archive before the archive"),
            ("more-entries-claimed", with_end(entries=3, here=3), "counts disagree"),
            ("fewer-entries-claimed", with_end(entries=1, here=1), "counts disagree"),
            ("no-entries-claimed", with_end(entries=0, here=0), "counts disagree"),
            ("entries-here-differ", with_end(here=1), "entries on another disk"),
            ("second-disk", with_end(disk=1), "several disks"),
            ("directory-on-another-disk", with_end(directory_disk=1), "several disks"),
            ("directory-one-too-early", with_end(offset=lambda end: end.offset - 1),
             "the directory is not where the end record says"),
            ("directory-one-too-late", with_end(offset=lambda end: end.offset + 1),
             "the directory is not where the end record says"),
            ("directory-too-small", with_end(size=lambda end: end.size - 1),
             "the directory does not end at the end record"),
            ("directory-before-the-file", with_end(size=0xFFFFFF00),
             "a directory larger than the file"),
            ("gap-behind-the-directory", with_end(before=b"gap"),
             "bytes between directory and end record"),
            ("zip64-mark-alone", with_end(offset=MARK32), "zip64 is asked for and missing"),
            ("zip64-count-mark-alone", with_end(entries=MARK16, here=MARK16),
             "zip64 is asked for and missing"),
            ("zip64-disagrees", with_end(before=lambda end: end.zip64(), entries=3, here=3),
             "the two end records disagree"),
            ("zip64-locator-alone", with_end(before=lambda end: end.zip64()[56:]),
             "a locator without its record"),
            ("zip64-locator-elsewhere",
             with_end(before=lambda end: end.zip64()[:64] + struct.pack("<Q", 1) +
                      end.zip64()[72:]), "the locator points elsewhere"),
            ("zip64-longer", with_end(before=lambda end: end.zip64()[:4] + struct.pack("<Q", 45) +
                                      end.zip64()[12:]), "a zip64 end record of another length"),
            ("zip64-of-two-disks", with_end(before=lambda end: end.zip64()[:-4] + b"\2\0\0\0"),
             "several disks")):
        yield damaged("end-" + name, data, reason)


def layouts():
    hidden = archive([Entry("hidden.txt", b"x", method=0)])[:41]
    overlap = [Entry("a", b"x", method=0).both(size=33, compressed=33),
               Entry("b", b"x", method=0)]
    for name, data, reason in (
            ("program-in-front", b"#!/bin/sh\nexit\n" + package(), "bytes before the first entry"),
            ("prefix-with-right-offsets", archive([Entry("extension.json", manifest()).set(
                before=b"MZ")]), "bytes before the first entry"),
            ("gap-between-entries", package(good_entry().set(before=b"xx")),
             "bytes between entries"),
            ("gap-behind-the-last-entry", package(good_entry().set(after=b"x")),
             "bytes between data and directory"),
            ("hidden-entry", package(good_entry().set(before=hidden)),
             "an entry that the directory does not name"),
            ("two-records-of-one-entry", package(good_entry().set(offset=0)),
             "two records of one entry"),
            ("overlapping-entries", package(*overlap), "data that runs over the next entry"),
            ("offset-behind-the-file", package(good_entry().set(offset=0x7FFFFFFF)),
             "an entry behind the file"),
            ("offset-in-the-directory", package(good_entry().set(offset=300)),
             "an entry in the directory"),
            ("data-longer", package(good_entry().both(compressed=99)),
             "data longer than its room"),
            ("data-shorter", package(good_entry().both(compressed=5)),
             "data shorter than its room"),
            ("entry-on-another-disk", package(good_entry().set(disk=1)), "several disks")):
        yield damaged("layout-" + name, data, reason)


def headers():
    disagree = "local header and directory disagree"
    for field, value in (("name", b"b.txt"), ("flags", 0), ("method", 0), ("crc", 1), ("size", 7),
                         ("compressed", 7)):
        yield damaged(f"local-{field}", package(good_entry().set_local(**{field: value})), disagree)
    yield damaged("local-signature", b"QK" + package()[2:], "no local header at the start")

    def descriptor(change, signature=DESCRIPTOR):
        entry = good_entry().with_descriptor(signature)
        return package(entry.set(after=change(entry.after)))
    malformed = "the data descriptor is malformed, or says something else than the directory"
    for name, data in (
            ("missing", descriptor(lambda after: b"")),
            ("longer", descriptor(lambda after: after + b"x")),
            ("shorter", descriptor(lambda after: after[:-1])),
            ("other-signature", descriptor(lambda after: b"PK\7\7" + after[4:])),
            ("other-crc", descriptor(lambda after: after[:4] + b"\0\0\0\0" + after[8:])),
            ("other-size", descriptor(lambda after: after[:-4] + b"\7\0\0\0")),
            ("other-packed-size", descriptor(lambda after: after[:8] + b"\7\0\0\0" + after[12:])),
            ("twice", descriptor(lambda after: after * 2))):
        yield damaged("descriptor-" + name, data, malformed)
    wrong64 = "the zip64 field has not exactly the numbers that the header asks for"
    size = len(CONTENT)

    def zip64_entry(extra, **fields):
        return package(Entry("a.txt", CONTENT, method=0).both(extra=extra, **fields))
    marks = {"size": MARK32, "compressed": MARK32}
    for name, data in (
            ("unasked", zip64_entry(zip64(size))),
            ("unasked-empty", zip64_entry(zip64())),
            ("missing", zip64_entry(b"", size=MARK32)),
            ("too-short", zip64_entry(zip64(size), **marks)),
            ("too-long", zip64_entry(zip64(size, size, 0, 0), **marks)),
            ("twice", zip64_entry(zip64(size, size) * 2, **marks)),
            ("one-of-two-sizes", zip64_entry(zip64(size), size=MARK32))):
        yield damaged("zip64-field-" + name, data, wrong64)
    for name, extra in (("cut", struct.pack("<H", 7)), ("too-long", struct.pack("<HH", 7, 5) + b"x"),
                        ("second-name", unicode_path(b"b.txt")),
                        ("short-second-name", extra_field(0x7075, b"\1"))):
        yield damaged("extra-" + name, package(good_entry().both(extra=extra)),
                      "the extra fields are malformed, or give the entry a second name")


def data():
    """What shows only while the entries are read."""
    content = bytes(range(256)) * 40
    packed = Entry("a.bin", content).packed

    def raw(new, **fields):
        entry = Entry("a.bin", content).set(packed=new)
        return package(entry.both(compressed=len(new), **fields))
    for name, bytes_, reason in (
            ("wrong-crc", raw(packed, crc=1), "the CRC differs"),
            ("wrong-crc-stored", package(Entry("a", CONTENT, method=0).both(crc=1)),
             "the CRC differs"),
            ("cut-stream", raw(packed[:-5]), "the deflated data is cut off"),
            ("bytes-behind-the-stream", raw(packed + b"xx"), "the deflated data ends early"),
            ("longer-than-its-size", raw(packed, size=len(content) - 1),
             "it inflates to more than its size"),
            ("shorter-than-its-size", raw(packed, size=len(content) + 1),
             "it inflates to less than its size"),
            ("noise", raw(bytes(range(7, 90))), "the deflated data is malformed"),
            ("no-data", raw(b""), "the deflated data is missing"),
            ("stored-with-two-sizes", package(good_entry().both(method=0)),
             "stored, but its sizes differ"),
            ("folder-with-content", package(Entry("a/", b"x", 0o040755, method=0)),
             "a folder with content"),
            ("folder-with-crc", package(folder("a").both(crc=1)), "a folder with content"),
            ("deflated-folder", package(Entry("a/", b"", 0o040755)), "a folder with content")):
        yield damaged("data-" + name, bytes_, reason)


def unsupported():
    for bit, what in ((0, "encryption"), (4, "enhanced deflating"), (5, "patch data"),
                      (6, "strong encryption"), (7, "an unused flag"), (9, "an unused flag"),
                      (12, "enhanced compression"), (13, "masked headers"), (15, "a reserved flag")):
        yield Case(f"flag-{bit}", package(good_entry().both(flags=1 << bit)),
                   "packageUnsupported", what)
    for method, what in ((1, "shrunk"), (6, "imploded"), (9, "deflate64"), (12, "bzip2"),
                         (14, "LZMA"), (93, "zstd"), (95, "xz"), (98, "PPMd"), (99, "AES")):
        yield Case(f"method-{method}", package(good_entry().both(method=method)),
                   "packageUnsupported", what)


def cases():
    for group in (forms, end_records, layouts, headers, data, unsupported):
        yield from group()
