"""Writes ZIP archives byte by byte, so that every field can be wrong."""

import struct
import zlib

LOCAL, DIRECTORY, END = 0x04034B50, 0x02014B50, 0x06054B50
ZIP64_END, ZIP64_LOCATOR, DESCRIPTOR = 0x06064B50, 0x07064B50, b"PK\x07\x08"
MARK16, MARK32 = 0xFFFF, 0xFFFFFFFF
UTF8_FLAG, DESCRIPTOR_FLAG = 1 << 11, 1 << 3
REGULAR, EXECUTABLE, FOLDER = 0o100644, 0o100755, 0o040755


class Header:
    """What the local header and the directory record both say."""

    def __init__(self, name, flags, method, crc, compressed, size):
        self.name, self.flags, self.method = name, flags, method
        self.crc, self.compressed, self.size = crc, compressed, size
        self.extra = b""

    def pack(self):
        return struct.pack("<HHHHIIIHH", self.flags, self.method, 0, 0x21, self.crc,
                           self.compressed, self.size, len(self.name), len(self.extra))


def deflated(data):
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    return packer.compress(data) + packer.flush()


class Entry:
    """One entry; everything can be changed before it is written."""

    def __init__(self, name, data=b"", mode=REGULAR, method=8):
        name = name if isinstance(name, bytes) else name.encode()
        data = data if isinstance(data, bytes) else data.encode()
        self.packed = data if method == 0 else deflated(data)
        common = (name, UTF8_FLAG, method, zlib.crc32(data), len(self.packed), len(data))
        self.local, self.central = Header(*common), Header(*common)
        self.made_by, self.attributes = 3, mode << 16
        self.comment, self.disk, self.offset = b"", 0, None
        self.before, self.after = b"", b""

    def both(self, **fields):
        for header in (self.local, self.central):
            for field, value in fields.items():
                setattr(header, field, value)
        return self

    def set(self, **fields):
        for field, value in fields.items():
            setattr(self, field, value)
        return self

    def set_local(self, **fields):
        for field, value in fields.items():
            setattr(self.local, field, value)
        return self

    def with_descriptor(self, signature=DESCRIPTOR, width=4):
        """Moves the sizes behind the data, as packers do that cannot seek."""
        number = {4: "I", 8: "Q"}[width]
        self.after = signature + struct.pack(f"<I{number}{number}", self.central.crc,
                                             self.central.compressed, self.central.size)
        self.both(flags=self.central.flags | DESCRIPTOR_FLAG)
        self.set_local(crc=0, size=0, compressed=0)
        if width == 8:
            self.set_local(size=MARK32, compressed=MARK32, extra=zip64(0, 0))
        return self


def folder(name, mode=FOLDER):
    return Entry(name + "/", b"", mode, method=0)


def extra_field(kind, content):
    return struct.pack("<HH", kind, len(content)) + content


def zip64(*numbers):
    return extra_field(1, b"".join(struct.pack("<Q", number) for number in numbers))


def unicode_path(name):
    return extra_field(0x7075, b"\x01" * 5 + name)


class End:
    """The end record, and what stands before and behind it."""

    def __init__(self, entries, size, offset):
        self.disk = self.directory_disk = 0
        self.here = self.entries = entries
        self.size, self.offset = size, offset
        self.before, self.comment, self.after = b"", b"", b""

    def zip64(self):
        """The zip64 end record and its locator."""
        at = self.offset + self.size
        return (struct.pack("<IQHHIIQQQQ", ZIP64_END, 44, 45, 45, 0, 0, self.here, self.entries,
                            self.size, self.offset) +
                struct.pack("<IIQI", ZIP64_LOCATOR, 0, at, 1))

    def pack(self):
        return (self.before + struct.pack("<IHHHHIIH", END, self.disk, self.directory_disk,
                                          self.here, self.entries, self.size, self.offset,
                                          len(self.comment)) + self.comment + self.after)


def archive(entries, change_end=None, order=None):
    """The archive's bytes; `change_end` gets the end record, `order` the directory's records."""
    body, records = bytearray(), []
    for entry in entries:
        body += entry.before
        offset = len(body) if entry.offset is None else entry.offset
        body += struct.pack("<IH", LOCAL, 20) + entry.local.pack()
        body += entry.local.name + entry.local.extra + entry.packed + entry.after
        header = entry.central
        records.append(
            struct.pack("<IBBH", DIRECTORY, 20, entry.made_by, 20) + header.pack() +
            struct.pack("<HHHII", len(entry.comment), entry.disk, 0, entry.attributes, offset) +
            header.name + header.extra + entry.comment)
    directory = b"".join(order(records) if order else records)
    end = End(len(records), len(directory), len(body))
    if change_end:
        change_end(end)
    return bytes(body) + directory + end.pack()
