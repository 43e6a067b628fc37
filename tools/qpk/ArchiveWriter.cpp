#include "tools/qpk/ArchiveWriter.h"

#include <sys/stat.h>

#include <algorithm>
#include <new>

#include "tools/qpk/Failure.h"

namespace tavik::qpk {
namespace {

// PKWARE's APPNOTE, sections 4.3 and 4.4.
constexpr std::uint32_t kLocalSignature = 0x04034b50;
constexpr std::uint32_t kDirectorySignature = 0x02014b50;
constexpr std::uint32_t kEndSignature = 0x06054b50;
constexpr std::uint16_t kVersionNeeded = 20;
constexpr std::uint16_t kMadeByUnix = 3U << 8 | 30;
constexpr std::uint16_t kUtf8Flag = 1U << 11;
constexpr std::uint16_t kNoTime = 0;
constexpr std::uint16_t kFirstDay = 1U << 5 | 1;  // 1980-01-01, the first that the form can say
constexpr std::uint32_t kDosFolder = 0x10;

// Higher levels take longer and save next to nothing.
constexpr int kCompressionLevel = 9;
constexpr std::size_t kCopyBytes = std::size_t{1} << 20;

std::string number(std::uint64_t value, unsigned bytes) {
    std::string text;
    for (unsigned i = 0; i < bytes; ++i)
        text += static_cast<char>(value >> (8 * i) & 0xFF);
    return text;
}

std::string number16(std::uint64_t value) {
    return number(value, 2);
}

std::string number32(std::uint64_t value) {
    return number(value, 4);
}

std::string storedName(const ArchiveEntry& entry) {
    return entry.isFolder() ? entry.path + "/" : entry.path;
}

std::uint32_t attributes(const ArchiveEntry& entry) {
    if (entry.isFolder())
        return std::uint32_t{S_IFDIR | 0755} << 16 | kDosFolder;
    return std::uint32_t{S_IFREG | (entry.isExecutable() ? 0755U : 0644U)} << 16;
}

/// What both headers say.
std::string commonFields(const ArchiveEntry& entry) {
    const bool isDeflated = entry.method == ArchiveEntry::Method::deflated;
    return number16(kVersionNeeded) + number16(kUtf8Flag) + number16(isDeflated ? 8 : 0) +
           number16(kNoTime) + number16(kFirstDay) + number32(entry.crc) +
           number32(entry.compressedSize) + number32(entry.size) +
           number16(storedName(entry).size()) + number16(0);
}

/// The form without zip64: packages stay below its limits.
void requireRoom(const AtomicFile& file, std::size_t entries, const ArchiveEntry& entry) {
    constexpr std::uint64_t kMax32 = 0xFFFFFFFF;
    constexpr std::size_t kMax16 = 0xFFFF;
    if (file.size() >= kMax32 || entry.size >= kMax32 || entry.compressedSize >= kMax32 ||
        entries >= kMax16 || entry.path.size() >= kMax16)
        throw Failure(file.path(), "it gets too large for a package", "leave something out");
}

}  // namespace

ArchiveWriter::ArchiveWriter(AtomicFile& file)
    : file_(file), compressor_(libdeflate_alloc_compressor(kCompressionLevel)) {
    if (!compressor_)
        throw std::bad_alloc();
}

void ArchiveWriter::add(const std::string& path, ArchiveEntry::Kind kind,
                        std::string_view content) {
    ArchiveEntry entry;
    entry.path = path;
    entry.kind = kind;
    entry.crc = libdeflate_crc32(0, content.data(), content.size());
    entry.size = content.size();
    // The buffer is smaller than the content: what does not fit is stored instead.
    std::string deflated(content.empty() ? 0 : content.size() - 1, '\0');
    deflated.resize(libdeflate_deflate_compress(compressor_.get(), content.data(), content.size(),
                                                deflated.data(), deflated.size()));
    entry.method = deflated.empty() ? ArchiveEntry::Method::stored : ArchiveEntry::Method::deflated;
    const std::string_view data = deflated.empty() ? content : std::string_view(deflated);
    entry.compressedSize = data.size();
    writeHeader(entry);
    file_.write(data);
}

void ArchiveWriter::copy(const Package& package, const ArchiveEntry& entry) {
    writeHeader(entry);
    std::string buffer;
    for (std::uint64_t done = 0; done < entry.compressedSize; done += buffer.size()) {
        buffer.resize(static_cast<std::size_t>(
            std::min<std::uint64_t>(kCopyBytes, entry.compressedSize - done)));
        package.file().readAt(entry.dataOffset + done, buffer.data(), buffer.size());
        file_.write(buffer);
    }
}

void ArchiveWriter::writeHeader(const ArchiveEntry& entry) {
    requireRoom(file_, entries_, entry);
    directory_ += number32(kDirectorySignature) + number16(kMadeByUnix) + commonFields(entry) +
                  number16(0) + number16(0) + number16(0) + number32(attributes(entry)) +
                  number32(file_.size()) + storedName(entry);
    file_.write(number32(kLocalSignature) + commonFields(entry) + storedName(entry));
    ++entries_;
}

void ArchiveWriter::finish() {
    const std::uint64_t offset = file_.size();
    requireRoom(file_, entries_, {});
    file_.write(directory_);
    file_.write(number32(kEndSignature) + number16(0) + number16(0) + number16(entries_) +
                number16(entries_) + number32(directory_.size()) + number32(offset) + number16(0));
}

}  // namespace tavik::qpk
