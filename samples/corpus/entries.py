"""The entries: names, collisions, types, limits."""

from archive import Entry, extra_field, folder
from cases import CONTENT, Case, good_entry, package

LONGEST_NAME = "c" * 255
LONGEST_PATH = "/".join([LONGEST_NAME] * 4)


def deep(folders):
    return "d/" * folders + "x"


def names():
    for name, path in (("dots", "..a/.../d"), ("accents", "déjà/vu.txt"), ("spaces", " a b .txt"),
                       ("depth-32", deep(31)), ("longest-component", LONGEST_NAME),
                       ("longest-path", LONGEST_PATH), ("emoji", "🎨/🖌.txt"),
                       ("hidden-file", ".hidden"), ("leading-hyphen", "-rf"),
                       ("quotes", "a'b\"c$(d)`e`"), ("percent", "%2e%2e/x"),
                       ("dos-device", "aux.txt"), ("colon-later", "ab:c")):
        yield Case("name-" + name, package(Entry(path, CONTENT)))
    for name, path, reason in (
            ("empty", "", "no name"), ("dot", ".", "a component ."),
            ("dot-dot", "..", "a component .."), ("parent", "../x", "a component .."),
            ("parent-later", "a/../../x", "a component .."), ("parent-last", "a/..", "a component .."),
            ("dot-inside", "a/./x", "a component ."), ("two-slashes", "a//x", "an empty component"),
            ("absolute", "/etc/passwd", "absolute"), ("network", "//host/share/x", "absolute"),
            ("drive", "C:/x", "a drive"), ("drive-relative", "c:x", "a drive"),
            ("backslash", "a\\b", "a backslash"), ("backslash-parent", "a\\..\\x", "a backslash"),
            ("newline", "a\nb", "a control character"), ("tab", "a\tb", "a control character"),
            ("escape", "a\x1b[31m", "a control character"), ("delete", "a\x7f", "a control character"),
            ("c1-control", "a\u0085", "a control character"), ("nul", "a\0b", "NUL"),
            ("not-utf8", b"\xff", "no UTF-8"), ("overlong", b"\xc0\xae\xc0\xae/x", "no UTF-8"),
            ("surrogate", b"\xed\xa0\x80", "no UTF-8"), ("cut-utf8", b"\xe2\x82", "no UTF-8"),
            ("beyond-unicode", b"\xf4\x90\x80\x80", "no UTF-8"),
            ("component-too-long", LONGEST_NAME + "c", "a component of 256 bytes"),
            ("path-too-long", LONGEST_PATH + "/x", "a path of more than 1,024 bytes"),
            ("too-deep", deep(32), "33 levels")):
        yield Case("name-" + name, package(Entry(path, CONTENT)), "packageUnsafe", reason)
    for name, path in (("empty", ""), ("two-slashes", "a/"), ("dot-dot", ".."), ("absolute", "/a")):
        yield Case("folder-name-" + name, package(folder(path)), "packageUnsafe",
                   "a folder with a name that is not allowed")


def collisions():
    for name, first, second, reason in (
            ("twice", "a", "a", "the same name twice"),
            ("case", "a.txt", "A.TXT", "differs in case only"),
            ("manifest-case", "x", "Extension.JSON", "differs from the manifest in case only"),
            ("manifest-twice", "x", "extension.json", "a second manifest"),
            ("below-the-manifest", "x", "extension.json/x", "the manifest as a folder"),
            ("accents", "é", "e\u0301", "accents written in two ways"),
            ("accents-and-case", "é", "É", "differs in case only"),
            ("sharp-s", "ß", "SS", "the same after case folding"),
            ("kelvin", "\u212a", "k", "the same after case folding"),
            ("folder-case", "a/B/c/x", "a/b/c/y", "folders that differ in case only"),
            ("mark-order", "α\u0301\u0345", "α\u0345\u0301", "the same after normalization"),
            ("file-and-folder", "a", "a/x", "a file and a folder"),
            ("file-and-folder-case", "a/b/x", "A", "a file and a folder, but for case")):
        yield Case("collision-" + name, package(Entry(first, b"1"), Entry(second, b"2")),
                   "packageUnsafe", reason)
    yield Case("collision-folder-twice", package(folder("a"), folder("a")), "packageUnsafe",
               "the same folder twice")
    yield Case("collision-folder-and-file", package(folder("a"), Entry("a", b"x")),
               "packageUnsafe", "a file and a folder")
    yield Case("no-collision", package(Entry("a/x", b"1"), Entry("b/x", b"2"), Entry("ab", b"3")))


def types():
    for name, mode in (("executable", 0o100755), ("only-ours", 0o100600), ("read-only", 0o100444),
                       ("everybody", 0o100777), ("no-type", 0o644), ("sticky", 0o101644)):
        yield Case("mode-" + name, package(Entry("a", CONTENT, mode)))
    special = "neither a regular file nor a folder"
    for name, mode in (("link", 0o120777), ("pipe", 0o010644), ("character-device", 0o020644),
                       ("block-device", 0o060644), ("socket", 0o140644)):
        yield Case("type-" + name, package(Entry("a", b"/etc/passwd", mode, method=0)),
                   "packageUnsafe", special)
        yield Case(f"type-{name}-made-by-dos",
                   package(Entry("a", b"/etc/passwd", mode, method=0).set(made_by=0)),
                   "packageUnsafe", special)
    for name, mode in (("set-user-id", 0o104755), ("set-group-id", 0o102755),
                       ("set-group-id-without-type", 0o002755)):
        yield Case("mode-" + name, package(Entry("a", CONTENT, mode)), "packageUnsafe",
                   "a set-id bit")
    yield Case("mode-folder-set-group-id", package(folder("a", 0o042755)), "packageUnsafe",
               "a set-id bit")
    mixed = "a file by its name and a folder by its mode, or the other way round"
    yield Case("type-folder-by-mode", package(Entry("a", b"", 0o040755, method=0)),
               "packageUnsafe", mixed)
    yield Case("type-file-by-mode", package(folder("a", 0o100644)), "packageUnsafe", mixed)
    for name, bits, reason in (("folder", 0x10, mixed), ("volume-label", 0x08, special),
                               ("device", 0x40, special), ("reparse-point", 0x400, special)):
        yield Case("dos-" + name, package(good_entry().set(made_by=0, attributes=bits)),
                   "packageUnsafe", reason)


def limits():
    many = [Entry(f"f{number}", b"", method=0) for number in range(9_999)]
    yield Case("limit-10000-entries", package(*many))
    yield Case("over-10001-entries", package(*many, good_entry()), "packageTooLarge",
               "more than 10,000 entries")
    yield Case("over-one-file", package(good_entry().both(size=(256 << 20) + 1)),
               "packageTooLarge", "a file of more than 256 MiB")
    # Enough packed bytes for the ratio, so that the sum alone is over.
    third = [Entry(name, bytes(1 << 20), method=0) for name in "abc"]
    for entry in third:
        entry.both(size=200 << 20, method=8)
    yield Case("over-all-files", package(*third), "packageTooLarge", "more than 512 MiB in all")
    yield Case("over-ratio", package(Entry("zeros", bytes(20 << 20))), "packageTooLarge",
               "unpacks to more than 200 times its size")
    yield Case("limit-grace", package(Entry("zeros", bytes(20 << 10))))
    bombs = [Entry(f"bomb{number}", bytes(1 << 20)) for number in range(30)]
    yield Case("over-ratio-in-many", package(*bombs), "packageTooLarge",
               "unpacks to more than 200 times its size")
    long = good_entry().set(comment=b"x" * 65000)
    long.central.extra = extra_field(7, b"x" * 60000)
    yield Case("over-directory", package(long), "packageTooLarge",
               "a directory that is out of proportion")
    folders = [Entry(f"{number}/a/b/c/d/e/f/g/h/i/j/x", b"", method=0) for number in range(1_000)]
    yield Case("over-implied-folders", package(*folders), "packageTooLarge",
               "more than 10,000 folders")


def cases():
    for group in (names, collisions, types, limits):
        yield from group()
