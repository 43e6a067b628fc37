#pragma once

#include <cstdint>
#include <string_view>

namespace tavik {

/// The records of a ZIP file (PKWARE's APPNOTE, sections 4.3 to 4.5), taken from raw bytes and not
/// yet judged. Texts are views into those bytes. A parsing function throws BadRecord.
struct BadRecord {
    const char* text;
};

/// What the local header and the directory record both say of an entry, zip64 fields resolved.
struct EntryHeader {
    std::string_view name;
    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint32_t crc = 0;
    std::uint64_t compressedSize = 0;
    std::uint64_t size = 0;
    bool isZip64 = false;
};

struct LocalHeader : EntryHeader {};

struct DirectoryRecord : EntryHeader {
    std::uint64_t offset = 0;      ///< of the local header
    std::uint32_t attributes = 0;  ///< the Unix mode in the upper half, that of DOS in the lower
};

struct EndRecord {
    std::uint64_t entries = 0;
    std::uint64_t directorySize = 0;
    std::uint64_t directoryOffset = 0;
    bool needsZip64 = false;  ///< a field says that the zip64 record has its number
};

struct DataDescriptor {
    std::uint32_t crc = 0;
    std::uint64_t compressedSize = 0;
    std::uint64_t size = 0;
    bool isZip64 = false;
};

inline constexpr std::uint16_t kDescriptorFlag = 1U << 3;  ///< sizes and CRC follow the data

inline constexpr std::size_t kLocalHeaderBytes = 30;      ///< without name and extra fields
inline constexpr std::size_t kDirectoryRecordBytes = 46;  ///< without name, extra fields, comment
inline constexpr std::size_t kEndRecordBytes = 22;        ///< without comment
inline constexpr std::size_t kZip64EndBytes = 56;
inline constexpr std::size_t kZip64LocatorBytes = 20;
inline constexpr std::size_t kMaxDescriptorBytes = 24;

/// Bytes that stand behind the fixed part of a local header.
std::size_t localTailBytes(std::string_view fixedPart);

/// `bytes`: the header with its name and extra fields.
LocalHeader parseLocalHeader(std::string_view bytes);

/// Takes the first record off `bytes`.
DirectoryRecord takeDirectoryRecord(std::string_view& bytes);

/// `bytes`: exactly the record, as the last of the file.
EndRecord parseEndRecord(std::string_view bytes);

bool isZip64Locator(std::string_view bytes);

/// `bytes`: the zip64 end record and its locator, which stand at `offset` in the file.
EndRecord parseZip64End(std::string_view bytes, std::uint64_t offset);

/// `bytes`: everything between an entry's data and the next header. The length tells the form.
DataDescriptor parseDataDescriptor(std::string_view bytes);

}  // namespace tavik
