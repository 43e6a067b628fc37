// How the container is checked, before any content is read. A ZIP file names its entries twice: in
// a local header before each entry's data and in the directory behind the last one. Tools differ in
// which of the two they believe, and in what they make of bytes that neither mentions; a package
// whose meaning depends on the reader could show one content to a check and install another. So:
//
// 1. Read the end record from the last bytes of the file. It has no comment, so there is one place
//    where it can be. If there is a zip64 end record, the two must not contradict each other.
// 2. Refuse too many entries, or a directory that is too large for them, before reading it.
// 3. Read the directory: it must stand directly before the end records and have exactly the
//    entries that these count.
// 4. Judge each record alone: method, flags, type, mode (see ArchiveRules).
// 5. Sort the entries by where they begin, and walk them. Each local header must say what the
//    directory says, and the next entry must begin where this one ends: no gap, no overlap, nothing
//    in front of the first. This also bounds the work: two entries cannot share the same data.
// 6. Judge all paths beside each other, and the sizes in all.
//
// Damage that hides where the next record begins stops the check. Everything else is reported, and
// the check goes on, so that an author sees all faults at once.

#include "platform/core/package/Archive.h"

#include <algorithm>
#include <numeric>

#include "platform/core/package/ArchiveRecords.h"
#include "platform/core/package/ArchiveRules.h"
#include "platform/core/package/PathRules.h"
#include "platform/support/Text.h"

namespace tavik {
namespace {

[[noreturn]] void stopDamaged(const FaultSink& report, const std::string& place,
                              const std::string& text) {
    stopAt(report, {Status::packageDamaged, place, text});
}

std::string readText(const PackageFile& file, std::uint64_t offset, std::size_t size) {
    std::string bytes(size, '\0');
    file.readAt(offset, bytes.data(), size);
    return bytes;
}

/// The end records, whose directory ends at `directoryEnd` in the file.
struct End {
    EndRecord record;
    std::uint64_t directoryEnd;
};

bool agree(const EndRecord& plain, const EndRecord& zip64) {
    const auto same = [](std::uint64_t field, std::uint64_t mark, std::uint64_t number) {
        return field == mark || field == number;
    };
    return same(plain.entries, 0xFFFF, zip64.entries) &&
           same(plain.directorySize, 0xFFFFFFFF, zip64.directorySize) &&
           same(plain.directoryOffset, 0xFFFFFFFF, zip64.directoryOffset);
}

End readEnd(const PackageFile& file) {
    constexpr std::uint64_t kZip64Bytes = kZip64EndBytes + kZip64LocatorBytes;
    if (file.size() < kEndRecordBytes)
        throw BadRecord{"it is too short for a package"};
    const std::uint64_t at = file.size() - kEndRecordBytes;
    End end{parseEndRecord(readText(file, at, kEndRecordBytes)), at};
    const bool hasZip64 =
        at >= kZip64Bytes &&
        isZip64Locator(readText(file, at - kZip64LocatorBytes, kZip64LocatorBytes));
    if (hasZip64) {
        end.directoryEnd = at - kZip64Bytes;
        const EndRecord zip64 =
            parseZip64End(readText(file, end.directoryEnd, kZip64Bytes), end.directoryEnd);
        if (!agree(end.record, zip64))
            throw BadRecord{"the two end records disagree"};
        end.record = zip64;
    } else if (end.record.needsZip64) {
        throw BadRecord{"the zip64 end record is missing"};
    }
    if (end.record.directorySize > end.directoryEnd ||
        end.record.directoryOffset != end.directoryEnd - end.record.directorySize)
        throw BadRecord{"the directory is not directly before the end record"};
    return end;
}

End checkedEnd(const PackageFile& file, const PackageLimits& limits, const FaultSink& report) {
    // Names are short, and so are the extra fields and comments that packers write. A longer
    // directory would only cost memory.
    constexpr std::uint64_t kFewBytes = 64U << 10;
    constexpr std::uint64_t kMaxRecordBytes = kDirectoryRecordBytes + 2 * kMaxPathBytes;
    End end{};
    try {
        end = readEnd(file);
    } catch (const BadRecord& bad) {
        stopDamaged(report, "", bad.text);
    }
    const std::uint64_t entries = end.record.entries;
    if (entries > limits.entries)
        stopAt(report,
               {Status::packageTooLarge, "",
                std::to_string(entries) + " entries, more than " + std::to_string(limits.entries)});
    if (end.record.directorySize > kFewBytes + entries * kMaxRecordBytes)
        stopAt(report, {Status::packageTooLarge, "",
                        "a directory of " + std::to_string(end.record.directorySize) +
                            " bytes for " + std::to_string(entries) + " entries"});
    return end;
}

std::vector<JudgedEntry> takeRecords(std::string_view directory, std::uint64_t count,
                                     const FaultSink& report) {
    std::vector<JudgedEntry> all;
    for (std::uint64_t i = 0; i < count; ++i) {
        try {
            all.push_back({takeDirectoryRecord(directory), {}});
        } catch (const BadRecord& bad) {
            stopDamaged(report, "directory record " + std::to_string(i + 1), bad.text);
        }
    }
    if (!directory.empty())
        stopDamaged(report, "", "the directory has more in it than the entries that it counts");
    return all;
}

void checkDescriptor(const DirectoryRecord& record, const LocalHeader& local,
                     std::string_view bytes) {
    if ((record.flags & kDescriptorFlag) == 0) {
        if (!bytes.empty())
            throw BadRecord{"there are bytes between its data and what follows"};
        if (local.crc != record.crc || local.size != record.size ||
            local.compressedSize != record.compressedSize)
            throw BadRecord{"its local header and the directory disagree on sizes or CRC"};
        return;
    }
    const auto agrees = [](std::uint64_t early, std::uint64_t final) {
        return early == 0 || early == final;
    };
    if (!agrees(local.crc, record.crc) || !agrees(local.size, record.size) ||
        !agrees(local.compressedSize, record.compressedSize))
        throw BadRecord{"its local header and the directory disagree on sizes or CRC"};
    const DataDescriptor descriptor = parseDataDescriptor(bytes);
    if (descriptor.crc != record.crc || descriptor.size != record.size ||
        descriptor.compressedSize != record.compressedSize || descriptor.isZip64 != local.isZip64)
        throw BadRecord{"its data descriptor and the directory disagree"};
}

/// Checks an entry against its local header. `next` is where the next entry, or the directory,
/// begins. Returns the offset of the entry's data.
std::uint64_t checkLocal(const PackageFile& file, const DirectoryRecord& record,
                         std::uint64_t next) {
    constexpr std::size_t kUsualExtraBytes = 128;
    const std::uint64_t room = next - record.offset;
    if (room < kLocalHeaderBytes)
        throw BadRecord{"it overlaps what follows"};
    std::string bytes =
        readText(file, record.offset,
                 static_cast<std::size_t>(std::min<std::uint64_t>(
                     room, kLocalHeaderBytes + record.name.size() + kUsualExtraBytes)));
    const std::size_t headerBytes = kLocalHeaderBytes + localTailBytes(bytes);
    if (headerBytes > room || record.compressedSize > room - headerBytes)
        throw BadRecord{"it overlaps what follows"};
    if (headerBytes > bytes.size())
        bytes = readText(file, record.offset, headerBytes);
    const LocalHeader local = parseLocalHeader(std::string_view(bytes).substr(0, headerBytes));
    if (local.name != record.name || local.flags != record.flags || local.method != record.method)
        throw BadRecord{"its local header and the directory disagree on name, flags or method"};
    const std::uint64_t data = record.offset + headerBytes;
    const std::uint64_t behind = next - data - record.compressedSize;
    if (behind > kMaxDescriptorBytes)
        throw BadRecord{"there are bytes between its data and what follows"};
    checkDescriptor(record, local,
                    readText(file, data + record.compressedSize, static_cast<std::size_t>(behind)));
    return data;
}

void checkLayout(const PackageFile& file, std::vector<JudgedEntry>& all, std::uint64_t directory,
                 const FaultSink& report) {
    std::stable_sort(all.begin(), all.end(), [](const JudgedEntry& a, const JudgedEntry& b) {
        return a.record.offset < b.record.offset;
    });
    const std::uint64_t first = all.empty() ? directory : all.front().record.offset;
    if (first != 0)
        stopDamaged(report, "", "there are bytes before the first entry");
    for (std::size_t i = 0; i < all.size(); ++i) {
        auto& [record, entry] = all[i];
        const std::uint64_t next = i + 1 < all.size() ? all[i + 1].record.offset : directory;
        try {
            if (record.offset > directory || next > directory)
                throw BadRecord{"it is not before the directory"};
            entry.dataOffset = checkLocal(file, record, next);
        } catch (const BadRecord& bad) {
            stopDamaged(report, entryPlace(entry.path), bad.text);
        }
    }
}

}  // namespace

std::string entryPlace(std::string_view path) {
    return "entry " + quoteName(path);
}

Archive Archive::read(const PackageFile& file, const PackageLimits& limits,
                      const FaultSink& report) {
    const End end = checkedEnd(file, limits, report);
    const std::string directory = readText(file, end.record.directoryOffset,
                                           static_cast<std::size_t>(end.record.directorySize));
    std::vector<JudgedEntry> all = takeRecords(directory, end.record.entries, report);
    for (JudgedEntry& judged : all) {
        judged.entry = toEntry(judged.record);
        checkEntry(judged, report);
    }
    checkLayout(file, all, end.record.directoryOffset, report);

    Archive archive;
    archive.folders_ = checkPaths(all, limits, report);
    archive.totalBytes_ = checkSizes(all, limits, report);
    archive.entries_.reserve(all.size());
    for (JudgedEntry& judged : all)
        archive.entries_.push_back(std::move(judged.entry));
    archive.byPath_.resize(all.size());
    std::iota(archive.byPath_.begin(), archive.byPath_.end(), 0U);
    std::sort(archive.byPath_.begin(), archive.byPath_.end(),
              [&](std::uint32_t a, std::uint32_t b) {
                  return archive.entries_[a].path < archive.entries_[b].path;
              });
    return archive;
}

const ArchiveEntry* Archive::find(std::string_view path) const noexcept {
    const auto at = std::lower_bound(byPath_.begin(), byPath_.end(), path,
                                     [&](std::uint32_t entry, std::string_view wanted) {
                                         return entries_[entry].path < wanted;
                                     });
    return at == byPath_.end() || entries_[*at].path != path ? nullptr : &entries_[*at];
}

}  // namespace tavik
