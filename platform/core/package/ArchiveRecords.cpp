#include "platform/core/package/ArchiveRecords.h"

#include <optional>

namespace tavik {
namespace {

constexpr std::uint32_t kLocalSignature = 0x04034b50;
constexpr std::uint32_t kDirectorySignature = 0x02014b50;
constexpr std::uint32_t kEndSignature = 0x06054b50;
constexpr std::uint32_t kZip64EndSignature = 0x06064b50;
constexpr std::uint32_t kZip64LocatorSignature = 0x07064b50;
constexpr std::uint32_t kDescriptorSignature = 0x08074b50;

constexpr std::uint16_t kZip64Extra = 0x0001;
constexpr std::uint16_t kUnicodePathExtra = 0x7075;

// A field with this value has its number in the zip64 field.
constexpr std::uint16_t kMark16 = 0xFFFF;
constexpr std::uint32_t kMark32 = 0xFFFFFFFF;

/// Reads little-endian numbers and texts one after the other.
class Cursor {
  public:
    explicit Cursor(std::string_view bytes) : bytes_(bytes) {}

    std::string_view text(std::size_t size) {
        if (bytes_.size() < size)
            throw BadRecord{"a record ends early"};
        const std::string_view text = bytes_.substr(0, size);
        bytes_.remove_prefix(size);
        return text;
    }

    std::uint64_t number(std::size_t bytes) {
        std::uint64_t value = 0;
        const std::string_view raw = text(bytes);
        for (std::size_t i = 0; i < bytes; ++i)
            value |= std::uint64_t{static_cast<unsigned char>(raw[i])} << (8 * i);
        return value;
    }
    std::uint16_t number16() { return static_cast<std::uint16_t>(number(2)); }
    std::uint32_t number32() { return static_cast<std::uint32_t>(number(4)); }
    std::uint64_t number64() { return number(8); }
    void skip(std::size_t bytes) { text(bytes); }

    void expectSignature(std::uint32_t signature, const char* fault) {
        if (bytes_.size() < 4 || number32() != signature)
            throw BadRecord{fault};
    }

    bool isAtEnd() const { return bytes_.empty(); }
    std::string_view rest() const { return bytes_; }

  private:
    std::string_view bytes_;
};

struct Extras {
    std::optional<std::string_view> zip64;
    std::optional<std::string_view> unicodePath;
};

Extras parseExtras(std::string_view bytes) {
    Extras extras;
    Cursor cursor(bytes);
    while (!cursor.isAtEnd()) {
        if (cursor.rest().size() < 4)
            throw BadRecord{"its extra fields are malformed"};
        const std::uint16_t kind = cursor.number16();
        const std::uint16_t size = cursor.number16();
        if (cursor.rest().size() < size)
            throw BadRecord{"its extra fields are malformed"};
        const std::string_view content = cursor.text(size);
        if (kind != kZip64Extra && kind != kUnicodePathExtra)
            continue;
        auto& known = kind == kZip64Extra ? extras.zip64 : extras.unicodePath;
        if (known)
            throw BadRecord{"it has an extra field twice"};
        known = content;
    }
    return extras;
}

/// Some readers take the name from this field instead.
void checkUnicodePath(const Extras& extras, std::string_view name) {
    constexpr std::size_t kVersionAndCrc = 5;
    if (extras.unicodePath && (extras.unicodePath->size() < kVersionAndCrc ||
                               extras.unicodePath->substr(kVersionAndCrc) != name))
        throw BadRecord{"it has a second name"};
}

/// The numbers of a zip64 field, which must be exactly those that are marked in the header.
class Zip64Fields {
  public:
    explicit Zip64Fields(const Extras& extras)
        : isPresent_(extras.zip64.has_value()), cursor_(extras.zip64.value_or("")) {}

    void resolve(std::uint64_t& field) {
        if (field != kMark32)
            return;
        isUsed_ = true;
        if (cursor_.rest().size() < 8)
            throw BadRecord{"its zip64 field is missing or too short"};
        field = cursor_.number64();
    }

    bool finish() {
        if (isPresent_ != isUsed_ || !cursor_.isAtEnd())
            throw BadRecord{"its zip64 field has numbers that the header does not ask for"};
        return isUsed_;
    }

  private:
    bool isPresent_;
    bool isUsed_ = false;
    Cursor cursor_;
};

struct Lengths {
    std::uint16_t name = 0;
    std::uint16_t extra = 0;
};

/// From the flags to the lengths, the fields stand in the same order in both headers.
Lengths readCommon(Cursor& cursor, EntryHeader& header) {
    header.flags = cursor.number16();
    header.method = cursor.number16();
    cursor.skip(4);  // time and date
    header.crc = cursor.number32();
    header.compressedSize = cursor.number32();
    header.size = cursor.number32();
    const std::uint16_t name = cursor.number16();
    const std::uint16_t extra = cursor.number16();
    return {name, extra};
}

}  // namespace

std::size_t localTailBytes(std::string_view fixedPart) {
    constexpr std::size_t kLengthsOffset = 26;
    Cursor cursor(fixedPart);
    cursor.skip(kLengthsOffset);
    const std::size_t name = cursor.number16();
    return name + cursor.number16();
}

LocalHeader parseLocalHeader(std::string_view bytes) {
    LocalHeader header;
    Cursor cursor(bytes);
    cursor.expectSignature(kLocalSignature, "its local header is not where the directory says");
    cursor.skip(2);  // version needed
    const Lengths lengths = readCommon(cursor, header);
    header.name = cursor.text(lengths.name);
    const Extras extras = parseExtras(cursor.text(lengths.extra));
    checkUnicodePath(extras, header.name);
    // In a local header, the zip64 field has both sizes or neither.
    if ((header.size == kMark32) != (header.compressedSize == kMark32))
        throw BadRecord{"its zip64 field has one size of two"};
    Zip64Fields zip64(extras);
    zip64.resolve(header.size);
    zip64.resolve(header.compressedSize);
    header.isZip64 = zip64.finish();
    return header;
}

DirectoryRecord takeDirectoryRecord(std::string_view& bytes) {
    DirectoryRecord record;
    Cursor cursor(bytes);
    cursor.expectSignature(kDirectorySignature, "the directory has fewer records than it says");
    cursor.skip(4);  // version made by, version needed
    const Lengths lengths = readCommon(cursor, record);
    const std::uint16_t commentBytes = cursor.number16();
    const std::uint16_t disk = cursor.number16();
    cursor.skip(2);  // internal attributes
    record.attributes = cursor.number32();
    record.offset = cursor.number32();
    record.name = cursor.text(lengths.name);
    const Extras extras = parseExtras(cursor.text(lengths.extra));
    checkUnicodePath(extras, record.name);
    cursor.skip(commentBytes);
    if (disk != 0)
        throw BadRecord{"it is on another disk"};
    Zip64Fields zip64(extras);
    zip64.resolve(record.size);
    zip64.resolve(record.compressedSize);
    zip64.resolve(record.offset);
    record.isZip64 = zip64.finish();
    bytes = cursor.rest();
    return record;
}

EndRecord parseEndRecord(std::string_view bytes) {
    Cursor cursor(bytes);
    cursor.expectSignature(kEndSignature, "no whole ZIP file: no end record at the last byte");
    const std::uint16_t disk = cursor.number16();
    const std::uint16_t directoryDisk = cursor.number16();
    const std::uint16_t entriesHere = cursor.number16();
    EndRecord end;
    end.entries = cursor.number16();
    end.directorySize = cursor.number32();
    end.directoryOffset = cursor.number32();
    end.needsZip64 =
        end.entries == kMark16 || end.directorySize == kMark32 || end.directoryOffset == kMark32;
    if (disk != 0 || directoryDisk != 0 || entriesHere != end.entries)
        throw BadRecord{"the archive has more than one disk"};
    if (cursor.number16() != 0)
        throw BadRecord{"a comment behind the end record"};
    return end;
}

bool isZip64Locator(std::string_view bytes) {
    return Cursor(bytes).number32() == kZip64LocatorSignature;
}

EndRecord parseZip64End(std::string_view bytes, std::uint64_t offset) {
    Cursor cursor(bytes);
    cursor.expectSignature(kZip64EndSignature, "no zip64 end record before its locator");
    if (cursor.number64() != kZip64EndBytes - 12)
        throw BadRecord{"the zip64 end record has another length"};
    cursor.skip(4);  // version made by, version needed
    const std::uint32_t disk = cursor.number32();
    const std::uint32_t directoryDisk = cursor.number32();
    const std::uint64_t entriesHere = cursor.number64();
    EndRecord end;
    end.entries = cursor.number64();
    end.directorySize = cursor.number64();
    end.directoryOffset = cursor.number64();
    cursor.skip(4);  // the locator's signature
    const std::uint32_t endDisk = cursor.number32();
    if (cursor.number64() != offset)
        throw BadRecord{"the zip64 locator points elsewhere"};
    const std::uint32_t disks = cursor.number32();
    if (disk != 0 || directoryDisk != 0 || endDisk != 0 || disks > 1 || entriesHere != end.entries)
        throw BadRecord{"the archive has more than one disk"};
    return end;
}

DataDescriptor parseDataDescriptor(std::string_view bytes) {
    constexpr std::size_t kShort = 12;
    constexpr std::size_t kLong = 20;
    constexpr std::size_t kSignature = 4;
    DataDescriptor descriptor;
    Cursor cursor(bytes);
    if (bytes.size() == kShort + kSignature || bytes.size() == kLong + kSignature)
        cursor.expectSignature(kDescriptorSignature, "its data descriptor is malformed");
    else if (bytes.size() != kShort && bytes.size() != kLong)
        throw BadRecord{"its data is not followed by a data descriptor and the next entry"};
    descriptor.isZip64 = bytes.size() >= kLong;
    const std::size_t width = descriptor.isZip64 ? 8 : 4;
    descriptor.crc = cursor.number32();
    descriptor.compressedSize = cursor.number(width);
    descriptor.size = cursor.number(width);
    return descriptor;
}

}  // namespace tavik
