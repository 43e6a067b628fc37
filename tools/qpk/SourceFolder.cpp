#include "tools/qpk/SourceFolder.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "platform/core/trust/PackageSignature.h"
#include "tools/qpk/IgnoreRules.h"
#include "tools/qpk/InputFile.h"

namespace tavik::qpk {
namespace {

namespace fs = std::filesystem;

ArchiveEntry::Kind kindOf(const fs::file_status& status) {
    constexpr fs::perms kExecutable =
        fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec;
    if (status.type() == fs::file_type::directory)
        return ArchiveEntry::Kind::folder;
    return (status.permissions() & kExecutable) == fs::perms::none ? ArchiveEntry::Kind::file
                                                                   : ArchiveEntry::Kind::executable;
}

/// Why this cannot be part of a package; empty if it can.
std::string sourceFault(const std::string& path, fs::file_type type) {
    if (isReservedPath(path))
        return "is in the folder that is reserved for the signature";
    if (type == fs::file_type::symlink)
        return "is a link";
    if (type != fs::file_type::regular && type != fs::file_type::directory)
        return "is neither a file nor a folder";
    return {};
}

std::vector<SourceEntry> walk(const std::string& folder, const PackageLimits& limits,
                              const FaultSink& report) {
    const IgnoreRules rules = IgnoreRules::ofFolder(folder);
    std::vector<SourceEntry> entries;
    for (fs::recursive_directory_iterator at(folder); at != fs::recursive_directory_iterator();
         ++at) {
        const std::string path = at->path().lexically_relative(folder).string();
        const fs::file_status status = at->symlink_status();
        if (rules.ignores(path, fs::is_directory(status) ? IgnoreRules::Kind::folder
                                                         : IgnoreRules::Kind::file)) {
            at.disable_recursion_pending();
            continue;
        }
        if (const std::string fault = sourceFault(path, status.type()); !fault.empty()) {
            report({Status::packageUnsafe, entryPlace(path), fault});
            at.disable_recursion_pending();
            continue;
        }
        // A folder that is not empty is implied by its files.
        if (fs::is_directory(status) && !fs::is_empty(at->path()))
            continue;
        const std::uint64_t size = fs::is_directory(status) ? 0 : at->file_size();
        entries.push_back({path, kindOf(status), size});
        if (entries.size() > limits.entries)
            stopAt(report, {Status::packageTooLarge, "",
                            "more than " + std::to_string(limits.entries) + " files"});
    }
    return entries;
}

}  // namespace

std::vector<SourceEntry> readSourceFolder(const std::string& folder, const PackageLimits& limits,
                                          const FaultSink& report) try {
    std::vector<SourceEntry> entries = walk(folder, limits, report);
    std::sort(entries.begin(), entries.end(),
              [](const SourceEntry& a, const SourceEntry& b) { return a.path < b.path; });
    return entries;
} catch (const fs::filesystem_error& error) {
    failSystem(error.code().value(), error.path1().string(), "read the folder");
}

std::string readSourceFile(const std::string& folder, const std::string& path,
                           std::uint64_t limit) {
    const std::string whole = folder + "/" + path;
    auto content = readWhole(whole, static_cast<std::size_t>(limit), FinalLink::refused);
    if (!content)
        failSystem(ENOENT, whole, "open the file");
    if (content->size() > limit)
        fail(Status::packageTooLarge, whole, "more than " + std::to_string(limit) + " bytes");
    return *std::move(content);
}

}  // namespace tavik::qpk
