#include "platform/core/package/ArchiveRules.h"

#include <sys/stat.h>

#include <algorithm>

#include "platform/core/package/PathRules.h"

namespace tavik {
namespace {

constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kDeflated = 8;

constexpr std::uint16_t kEncryptedFlag = 1U << 0;
// Flags that do not change how an entry is read: deflate's level (bits 1 and 2), a data descriptor
// (3), a UTF-8 name (11).
constexpr std::uint16_t kKnownFlags = 1U << 1 | 1U << 2 | kDescriptorFlag | 1U << 11;

constexpr std::uint32_t kDosFolder = 0x10;
constexpr std::uint32_t kDosSpecial = 0x08 | 0x40 | 0x400;  // volume label, device, reparse point

void checkReadable(const JudgedEntry& judged, const FaultSink& report) {
    const DirectoryRecord& record = judged.record;
    const std::string place = entryPlace(judged.entry.path);
    if ((record.flags & kEncryptedFlag) != 0)
        report({Status::packageUnsupported, place, "is encrypted"});
    else if ((record.flags & ~kKnownFlags) != 0)
        report({Status::packageUnsupported, place, "has flags of another kind of archive"});
    if (record.method != kStored && record.method != kDeflated)
        report({Status::packageUnsupported, place,
                "is compressed by method " + std::to_string(record.method) +
                    "; a package has stored and deflated entries only"});
    else if (record.method == kStored && record.size != record.compressedSize)
        stopAt(report, {Status::packageDamaged, place, "is stored, but its two sizes differ"});
    if (judged.entry.isFolder() &&
        (record.method != kStored || record.size != 0 || record.crc != 0))
        stopAt(report, {Status::packageDamaged, place, "is a folder with content"});
}

/// The mode is judged whatever system the entry names as its maker, because some extractors apply
/// it regardless.
void checkType(const JudgedEntry& judged, const FaultSink& report) {
    const std::uint32_t mode = judged.record.attributes >> 16;
    const std::uint32_t type = mode & S_IFMT;
    const bool isFolder = judged.entry.isFolder();
    const auto unsafe = [&](const char* text) {
        report({Status::packageUnsafe, entryPlace(judged.entry.path), text});
    };
    if ((type != 0 && type != S_IFREG && type != S_IFDIR) ||
        (judged.record.attributes & kDosSpecial) != 0)
        unsafe("is a link, a device or another special file");
    else if ((type == S_IFDIR && !isFolder) || (type == S_IFREG && isFolder) ||
             ((judged.record.attributes & kDosFolder) != 0 && !isFolder))
        unsafe("is a file by its name and a folder by its mode, or the other way round");
    if ((mode & (S_ISUID | S_ISGID)) != 0)
        unsafe("has a set-id bit");
}

std::uint64_t addSaturating(std::uint64_t a, std::uint64_t b) noexcept {
    return a + b < a ? UINT64_MAX : a + b;
}

}  // namespace

ArchiveEntry toEntry(const DirectoryRecord& record) {
    ArchiveEntry entry;
    std::string_view path = record.name;
    const bool isFolder = !path.empty() && path.back() == '/';
    if (isFolder)
        path.remove_suffix(1);
    entry.path = path;
    if (isFolder)
        entry.kind = ArchiveEntry::Kind::folder;
    else if ((record.attributes >> 16 & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0)
        entry.kind = ArchiveEntry::Kind::executable;
    entry.method =
        record.method == kStored ? ArchiveEntry::Method::stored : ArchiveEntry::Method::deflated;
    entry.crc = record.crc;
    entry.size = record.size;
    entry.compressedSize = record.compressedSize;
    return entry;
}

void checkEntry(const JudgedEntry& judged, const FaultSink& report) {
    checkReadable(judged, report);
    checkType(judged, report);
}

std::uint64_t checkSizes(const std::vector<JudgedEntry>& all, const PackageLimits& limits,
                         const FaultSink& report) {
    std::uint64_t total = 0;
    std::uint64_t compressed = 0;
    for (const auto& [record, entry] : all) {
        if (entry.size > limits.fileBytes)
            report({Status::packageTooLarge, entryPlace(entry.path),
                    std::to_string(entry.size) + " bytes, more than " +
                        std::to_string(limits.fileBytes)});
        total = addSaturating(total, entry.size);
        compressed = addSaturating(compressed, entry.compressedSize);
    }
    if (total > limits.totalBytes)
        report({Status::packageTooLarge, "",
                std::to_string(total) + " bytes in all, more than " +
                    std::to_string(limits.totalBytes)});
    const std::uint64_t grace = limits.graceBytes * all.size();
    if (total > grace &&
        (total - grace - 1) / std::max<std::uint64_t>(limits.ratio, 1) >= compressed)
        report({Status::packageTooLarge, "",
                "it inflates to more than " + std::to_string(limits.ratio) + " times its size"});
    return total;
}

std::vector<std::string> checkPaths(const std::vector<JudgedEntry>& all,
                                    const PackageLimits& limits, const FaultSink& report) {
    PathSet paths;
    for (const auto& [record, entry] : all) {
        std::string fault = pathFault(entry.path);
        if (fault.empty())
            fault = paths.add(entry.path,
                              entry.isFolder() ? PathSet::Kind::folder : PathSet::Kind::file);
        if (!fault.empty())
            report({Status::packageUnsafe, entryPlace(entry.path), fault});
        if (paths.folderCount() > limits.entries)
            stopAt(report, {Status::packageTooLarge, "",
                            "more than " + std::to_string(limits.entries) + " folders"});
    }
    return paths.folders();
}

}  // namespace tavik
