#include "platform/core/updates/MirrorIndex.h"

#include <sys/stat.h>

#include "platform/core/disk/AtomicFile.h"
#include "platform/core/disk/RegularFile.h"
#include "platform/core/package/PathRules.h"
#include "platform/support/JsonObject.h"

namespace tavik {
namespace {

constexpr const char* kName = "/.tavik-mirror.json";
constexpr std::size_t kMaxIndexBytes = std::size_t{64} << 20;
constexpr std::int64_t kSecond = 1'000'000'000;

std::int64_t numberIn(const JsonObject& entry, std::string_view name) {
    const JsonValue* value = entry.need(name);
    if (!value->IsInt64())
        entry.complain(name, "is not a whole number");
    return value->GetInt64();
}

}  // namespace

MirrorIndex MirrorIndex::read(const std::string& folder) {
    MirrorIndex index;
    const RegularFile file = openRegularFile(folder + kName, FinalLink::refused);
    if (!file)
        return index;
    try {
        const auto document =
            parseJson(readUpTo(file.descriptor.get(), kMaxIndexBytes), {kMaxIndexBytes, 8});
        const JsonValue* files = JsonObject(document, "$").neededArray("files");
        for (const auto& value : files->GetArray()) {
            const JsonObject entry(value, "$.files");
            const std::string path = entry.neededText("path");
            // The index says what may be deleted, which must lie in the folder.
            if (pathFault(path).empty())
                index.files_[path] = {entry.neededText("sha256"), numberIn(entry, "size"),
                                      numberIn(entry, "modified")};
        }
    } catch (const std::exception&) {
        // All files are then copied anew, and none is removed.
        index.files_.clear();
    }
    return index;
}

void MirrorIndex::write(const std::string& folder) const {
    std::string text = "{\"formatVersion\": 1, \"files\": [";
    const char* separator = "\n";
    for (const auto& [path, file] : files_) {
        text += std::string(separator) + "{\"path\": " + quoteJson(path) +
                ", \"sha256\": " + quoteJson(file.sha256) +
                ", \"size\": " + std::to_string(file.size) +
                ", \"modified\": " + std::to_string(file.modified) + "}";
        separator = ",\n";
    }
    AtomicFile file(folder + kName);
    file.write(text + "\n]}\n");
    file.finish(0644);
}

MirroredFile lookAt(const std::string& path, const std::string& sha256) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
        return {sha256, -1, 0};
    return {sha256, info.st_size, info.st_mtim.tv_sec * kSecond + info.st_mtim.tv_nsec};
}

}  // namespace tavik
