#include "tools/qpk/PackageCheck.h"

#include <algorithm>

#include "platform/core/crypto/OpenSslCrypto.h"
#include "platform/core/package/Package.h"
#include "platform/core/trust/PackageSignature.h"
#include "platform/support/Text.h"
#include "tools/qpk/IgnoreRules.h"
#include "tools/qpk/ManifestRules.h"
#include "tools/qpk/Signing.h"

namespace tavik::qpk {
namespace {

constexpr std::size_t kMaxFactBytes = 300;  // of a manifest that names many products

std::optional<Fault> signatureFault(const std::string& path) try {
    verifyWholePackage(Package::open(path), authorRules());
    return std::nullopt;
} catch (const Error& error) {
    return Fault{static_cast<Status>(error.status()), "", error.detail()};
}

/// Whether the path, or a folder on the way to it, is what editors and systems leave behind.
bool isLeftOver(std::string_view path) {
    static const IgnoreRules kRules(kLeftOvers);
    for (std::size_t end = 0; end < path.size(); ++end) {
        end = std::min(path.find('/', end), path.size());
        if (kRules.ignores(path.substr(0, end), IgnoreRules::Kind::file))
            return true;
    }
    return false;
}

/// The container and the manifest's bytes, as far as they can be read: what is wrong with them is
/// for others to report.
struct Contents {
    Archive archive;
    std::optional<std::string> manifest;
};

Contents readContents(const std::string& path, const PackageLimits& limits) {
    Contents contents;
    const PackageFile file = PackageFile::open(path);
    try {
        contents.archive = Archive::read(file, limits, [](const Fault&) {});
        const ArchiveEntry* entry = contents.archive.find(kManifestPath);
        if (entry == nullptr || entry->isFolder() || entry->size > limits.manifest.bytes)
            return contents;
        std::string bytes;
        EntryReader(file).read(*entry, [&](std::string_view piece) { bytes += piece; });
        contents.manifest = std::move(bytes);
    } catch (const CheckStopped&) {
        // Nothing behind that fault can be checked.
    } catch (const Error&) {
        // The manifest does not inflate.
    }
    return contents;
}

}  // namespace

Manifest readManifestLeniently(const std::string& bytes) try {
    return parseManifest(bytes, PackageLimits().manifest, [](const Fault&) {});
} catch (const CheckStopped&) {
    return {};
}

std::optional<std::string> readManifestText(const std::string& path) {
    return readContents(path, {}).manifest;
}

std::vector<Fault> findCoreFaults(const std::string& path) {
    std::vector<Fault> faults = findFaults(path);
    if (faults.empty())
        if (auto fault = signatureFault(path))
            faults.push_back(*std::move(fault));
    return faults;
}

std::vector<Fault> findAuthorFaults(const std::string& path) {
    std::vector<Fault> faults = findCoreFaults(path);
    const auto collect = [&](const Fault& fault) { faults.push_back(fault); };
    const PackageLimits limits;
    const Contents contents = readContents(path, limits);
    for (const ArchiveEntry& entry : contents.archive.entries())
        if (isLeftOver(entry.path))
            collect({Status::packageUnsafe, entryPlace(entry.path),
                     "was left behind by a file manager, an editor or version control"});
    if (contents.manifest)
        checkManifestRules(*contents.manifest, limits.manifest, collect);
    return faults;
}

void addProductFaults(const std::string& path, const std::vector<TargetProduct>& products,
                      std::vector<Fault>& faults) {
    const PackageLimits limits;
    const Contents contents = readContents(path, limits);
    if (!contents.manifest)
        return;
    const Manifest manifest = readManifestLeniently(*contents.manifest);
    std::string wanted;
    for (const ProductRequirement& requirement : manifest.products) {
        for (const TargetProduct& product : products)
            if (requirement.name == product.name && requirement.accepts(product.version))
                return;
        wanted += (wanted.empty() ? "" : ", ") + describe(requirement);
    }
    std::string found;
    for (const TargetProduct& product : products)
        found += (found.empty() ? "" : ", ") + product.name + " " + product.version.text();
    faults.push_back({Status::noFittingProduct, std::string(kManifestPath),
                      "is made for " +
                          (wanted.empty() ? "no product" : shortened(wanted, kMaxFactBytes)) +
                          ", and does not fit " + oneLine(found),
                      "products"});
}

std::vector<std::string> describeFaults(const std::vector<Fault>& faults) {
    std::vector<std::string> lines;
    for (const Fault& fault : faults)
        lines.push_back(fault.place.empty() ? fault.text : fault.place + ": " + fault.text);
    const auto isOfEntry = [](const std::string& line) { return line.rfind("entry ", 0) == 0; };
    const auto entries = std::stable_partition(
        lines.begin(), lines.end(), [&](const std::string& line) { return !isOfEntry(line); });
    std::stable_sort(entries, lines.end());
    return lines;
}

}  // namespace tavik::qpk
