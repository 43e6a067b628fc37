// A signed package has a list with path, size, digest and executable bit of each entry, and a
// signature of that list. How it is checked:
//
// 1. Look for list, signature and succession by their names. Anything else in their folder is
//    refused, and so is one of list and signature without the other.
// 2. For a package without them, the policy decides whether a signature is needed.
// 3. Check the signature over the list's bytes. The list is read once, and parsed only after that.
// 4. Compare the archive's headers with the list, both ways: an entry that was added or left out is
//    refused, and so is another size or executable bit.
// 5. Compare the manifest's bytes, which were read before.
// 6. Leave the other files to ContentDigests, which compares the bytes that are extracted: the
//    package could change between a check of its own and the extraction. The three files that sign
//    it are compared with the bytes that were checked here.

#include "platform/core/trust/PackageSignature.h"

#include <algorithm>
#include <map>
#include <unordered_map>

#include "platform/core/package/EntryReader.h"
#include "platform/core/status/Status.h"
#include "platform/core/trust/ContentDigests.h"
#include "platform/core/trust/Digests.h"
#include "platform/core/trust/Succession.h"
#include "platform/support/Text.h"

namespace tavik {
namespace {

constexpr std::string_view kReservedFolder = "META-INF";

// The longest possible line of the list (the longest path with every character escaped, the digest,
// the member names), and some bytes for the text around the lines.
constexpr std::size_t kMaxListBytesPerEntry = 2400;

/// The reserved entries: none, or list and signature, with or without a succession.
struct SignatureEntries {
    const ArchiveEntry* list = nullptr;
    const ArchiveEntry* signature = nullptr;
    const ArchiveEntry* succession = nullptr;
};

[[noreturn]] void failDiffers(const Package& package, const std::string& path, const char* text) {
    fail(Status::contentDiffers, package.path(), entryPlace(path) + ": " + text);
}

SignatureEntries findSignature(const Package& package) {
    SignatureEntries found;
    for (const ArchiveEntry& entry : package.archive().entries()) {
        if (!isReservedPath(entry.path))
            continue;
        if (entry.path == kContentListPath && !entry.isFolder())
            found.list = &entry;
        else if (entry.path == kContentSignaturePath && !entry.isFolder())
            found.signature = &entry;
        else if (entry.path == kSuccessionPath && !entry.isFolder())
            found.succession = &entry;
        else
            fail(Status::packageUnsafe, package.path(),
                 entryPlace(entry.path) + ": " + std::string(kReservedFolder) +
                     " is reserved for the signature");
    }
    const bool isSigned =
        found.list != nullptr || found.signature != nullptr || found.succession != nullptr;
    if (isSigned && (found.list == nullptr || found.signature == nullptr))
        fail(Status::signatureWrong, package.path(),
             std::string(found.list == nullptr ? kContentListPath : kContentSignaturePath) +
                 " is missing");
    return found;
}

std::map<std::string, ListedEntry> parseList(const Package& package, const std::string& json) {
    std::vector<ListedEntry> entries;
    try {
        entries = parseContentList(json, json.size());
    } catch (const JsonError& error) {
        fail(Status::contentDiffers, package.path(),
             std::string(kContentListPath) + ": " + error.what());
    }
    std::map<std::string, ListedEntry> byPath;
    for (ListedEntry& entry : entries) {
        std::string path = entry.path;
        if (!byPath.emplace(path, std::move(entry)).second)
            failDiffers(package, path, "is listed twice");
    }
    return byPath;
}

std::string digestOf(EntryReader& reader, const ArchiveEntry& entry, Crypto& crypto) {
    const auto digest = crypto.sha256();
    reader.read(entry, [&](std::string_view bytes) { digest->update(bytes); });
    return digest->finish();
}

bool isInArchive(const Archive& archive, std::string_view listed) {
    const bool isFolder = !listed.empty() && listed.back() == '/';
    const ArchiveEntry* entry = archive.find(listed.substr(0, listed.size() - (isFolder ? 1 : 0)));
    return entry != nullptr && entry->isFolder() == isFolder && !isReservedPath(entry->path);
}

/// Compares what the headers say: which entries there are, their kinds and sizes. A folder has no
/// content, so its digest must be that of zero bytes.
void compareHeaders(const Package& package, const std::map<std::string, ListedEntry>& list,
                    Crypto& crypto) {
    const std::string nothing = digestOf(std::string_view(), crypto);
    for (const ArchiveEntry& entry : package.archive().entries()) {
        if (isReservedPath(entry.path))
            continue;
        const auto listed = list.find(listedPath(entry.path, entry.isFolder()));
        if (listed == list.end())
            failDiffers(package, entry.path, "is not in the signed list");
        if (listed->second.size != entry.size)
            failDiffers(package, entry.path, "has another size than in the signed list");
        if (listed->second.isExecutable != entry.isExecutable())
            failDiffers(package, entry.path,
                        entry.isExecutable() ? "is executable, and not so in the signed list"
                                             : "is not executable, but so in the signed list");
        if (entry.isFolder() && listed->second.sha256 != nothing)
            failDiffers(package, entry.path, "has another digest than in the signed list");
    }
    for (const auto& [path, listed] : list)
        if (!isInArchive(package.archive(), path))
            failDiffers(package, path, "is in the signed list, but missing");
}

/// The expected digests by path.
std::unordered_map<std::string, std::string> digestsOf(
    const std::map<std::string, ListedEntry>& listed) {
    std::unordered_map<std::string, std::string> digests;
    for (const auto& [path, entry] : listed)
        digests[path] = entry.sha256;
    return digests;
}

}  // namespace

bool isReservedPath(std::string_view path) {
    return equalsIgnoringCase(path.substr(0, path.find('/')), kReservedFolder);
}

std::vector<ListedEntry> listContent(const Package& package, Crypto& crypto) {
    EntryReader reader(package.file());
    std::vector<ListedEntry> entries;
    for (const ArchiveEntry& entry : package.archive().entries())
        if (!isReservedPath(entry.path))
            entries.push_back({listedPath(entry.path, entry.isFolder()), entry.size,
                               digestOf(reader, entry, crypto), entry.isExecutable()});
    std::sort(entries.begin(), entries.end(),
              [](const ListedEntry& a, const ListedEntry& b) { return a.path < b.path; });
    return entries;
}

VerifiedPackage verifyPackage(const Package& package, const TrustRules& rules) {
    const SignatureEntries entries = findSignature(package);
    if (entries.list == nullptr) {
        requireNoSignatureNeeded(package.path(), rules);
        return {};
    }
    const std::uint64_t limit = kMaxListBytesPerEntry * package.archive().entries().size();
    const std::string list = package.read(*entries.list, limit);
    const std::string signature = package.read(*entries.signature, limit);
    const std::string succession = entries.succession == nullptr
                                       ? std::string()
                                       : package.read(*entries.succession, kMaxSuccessionBytes);
    Signer signer = verifySignature(
        {package.path(), std::string(kContentSignaturePath), list, signature, succession}, rules);
    const auto listed = parseList(package, list);
    Crypto& crypto = rules.crypto();
    compareHeaders(package, listed, crypto);

    auto digests = digestsOf(listed);
    digests[std::string(kContentListPath)] = digestOf(list, crypto);
    digests[std::string(kContentSignaturePath)] = digestOf(signature, crypto);
    digests[std::string(kSuccessionPath)] = digestOf(succession, crypto);
    auto content =
        std::make_shared<const ContentDigests>(package.path(), std::move(digests), crypto);
    // The manifest was read before the extraction, so its bytes are checked here as well.
    content->require(std::string(kManifestPath), package.manifestText());
    return {std::move(signer), std::move(content)};
}

VerifiedPackage verifyWholePackage(const Package& package, const TrustRules& rules) {
    VerifiedPackage verified = verifyPackage(package, rules);
    if (!verified.content)
        return verified;
    EntryReader reader(package.file());
    for (const ArchiveEntry& entry : package.archive().entries()) {
        if (entry.isFolder())
            continue;
        const auto check = verified.content->start(entry);
        reader.read(entry, [&](std::string_view bytes) { check->take(bytes); });
        check->finish();
    }
    return verified;
}

}  // namespace tavik
