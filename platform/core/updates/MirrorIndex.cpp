#include "platform/core/updates/MirrorIndex.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/core/disk/AtomicFile.h"
#include "platform/core/disk/SafeFolder.h"
#include "platform/core/package/PathRules.h"
#include "platform/support/JsonObject.h"
#include "platform/support/JsonText.h"

namespace tavik {
namespace {

constexpr const char* kName = ".tavik-mirror.json";
constexpr std::size_t kMaxIndexBytes = std::size_t{64} << 20;
constexpr int kFormatVersion = 1;
constexpr std::int64_t kSecond = 1'000'000'000;

std::int64_t numberIn(const JsonObject& entry, std::string_view name) {
    const JsonValue* value = entry.need(name);
    if (!value->IsInt64())
        entry.complain(name, "is not a whole number");
    return value->GetInt64();
}

}  // namespace

MirrorIndex MirrorIndex::read(int folder, const std::string& path) {
    MirrorIndex index;
    const auto text =
        readSafeFile(folder, kName, kMaxIndexBytes, {path + "/" + kName, Status::storeUnsafe});
    if (!text)
        return index;
    try {
        const auto document = parseJson(*text, {kMaxIndexBytes, 8});
        const JsonObject whole(document, "$");
        for (const auto& value : whole.neededArray("files")->GetArray()) {
            const JsonObject entry(value, "$.files");
            const std::string file = entry.neededText("path");
            // The index says what may be deleted, which must lie in the folder.
            if (pathFault(file).empty())
                index.files_[file] = {entry.neededText("sha256"), numberIn(entry, "size"),
                                      numberIn(entry, "modified")};
        }
        // Earlier versions did not remember feeds.
        if (const JsonValue* feeds = whole.array("feeds"))
            for (const auto& value : feeds->GetArray()) {
                const JsonObject entry(value, "$.feeds");
                index.feeds_[entry.neededText("address")] = {numberIn(entry, "serial"),
                                                             entry.neededText("signer")};
            }
    } catch (const std::exception&) {
        // All files are then copied anew, and none is removed.
        return {};
    }
    return index;
}

void MirrorIndex::write(int folder, const std::string& path) const {
    JsonText json;
    json.number("formatVersion", kFormatVersion);
    const auto writeFile = [&](const auto& each) {
        const auto& [place, known] = each;
        json.member("path", place);
        json.member("sha256", known.sha256);
        json.number("size", known.size);
        json.number("modified", known.modified);
    };
    json.objects("files", files_, writeFile, JsonText::Form::oneLine);
    const auto writeFeed = [&](const auto& each) {
        const auto& [address, feed] = each;
        json.member("address", address);
        json.number("serial", feed.serial);
        json.member("signer", feed.signer);
    };
    json.objects("feeds", feeds_, writeFeed, JsonText::Form::oneLine);
    AtomicFile file(folder, kName, path + "/" + kName);
    file.write(json.end());
    file.finish(0644);
}

MirroredFile lookAt(int folder, const std::string& name, const std::string& sha256) {
    struct stat info {};
    if (::fstatat(folder, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(info.st_mode))
        return {sha256, -1, 0};
    return {sha256, info.st_size, info.st_mtim.tv_sec * kSecond + info.st_mtim.tv_nsec};
}

}  // namespace tavik
