#include <algorithm>
#include <sstream>

#include "platform/core/package/Package.h"
#include "platform/core/status/Texts.h"
#include "platform/core/trust/Digests.h"
#include "platform/core/trust/PackageSignature.h"
#include "platform/support/Text.h"
#include "tools/qpk/Command.h"
#include "tools/qpk/Output.h"
#include "tools/qpk/PackageCheck.h"
#include "tools/qpk/Signing.h"

namespace tavik::qpk {
namespace {

constexpr const char* kHelp =
    "usage: qpk show FILE\n\n"
    "Shows what a package says of itself, who signed it, and the files in it; executable ones\n"
    "have a star. Exit status 1: the signature is wrong.\n";

/// A line of the summary; a text of several lines is indented. Nothing for an empty one. The text
/// is the package's own: whatever it holds, the terminal stays as it is.
void printField(const std::string& label, const std::string& text) {
    constexpr std::size_t kWidth = 14;
    std::string margin = label;
    margin.resize(kWidth, ' ');
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line); margin.assign(kWidth, ' ')) {
        // A description may have tabs, and a carriage return before its line feeds.
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        std::replace(line.begin(), line.end(), '\t', ' ');
        printLine(margin + line);
    }
}

struct SignatureLine {
    std::string text;
    int exitStatus;
};

SignatureLine describeSignature(const Package& package) try {
    const std::string signer = verifyWholePackage(package, authorRules()).signer.key;
    return {!signer.empty() ? "key " + signer : "none", 0};
} catch (const Error& error) {
    return {std::string(wordingOf(error.status(), Language::english).cause) + " (" +
                error.detail() + ")",
            1};
}

void printManifest(const Manifest& manifest) {
    printField("id", manifest.id);
    printField("name", manifest.name);
    printField("version", manifest.version.text());
    for (const ProductRequirement& product : manifest.products)
        printField("product", describe(product));
    printField("store", manifest.storeName);
    printField("description", manifest.description);
    printField("author", manifest.author);
    printField("license", manifest.license);
    printField("homepage", manifest.homepage);
    printField("updates", manifest.updateUrl);
    printField("account", manifest.requiresAccount ? "needed" : "");
}

void printFiles(const Archive& archive) {
    std::uint64_t files = 0;
    for (const ArchiveEntry& entry : archive.entries())
        files += entry.isFolder() ? 0U : 1U;
    printField("content", counted(files, "file") + ", " + readableSize(archive.totalBytes()));
    for (const ArchiveEntry& entry : archive.entries())
        if (!entry.isFolder())
            printField(
                "", entry.path + (entry.isExecutable() ? "*  " : "  ") + readableSize(entry.size));
}

int show(const CommandLine& line) {
    const Package package = Package::open(line.operand());
    printManifest(package.manifest());
    printField("package", readableSize(package.file().size()));
    printField("sha256", digestOf(package.file(), authorCrypto()));
    const SignatureLine signature = describeSignature(package);
    printField("signature", signature.text);
    printFiles(package.archive());
    return signature.exitStatus;
}

}  // namespace

const Command kShowCommand = {
    "show", "shows what is in a package", kHelp, {"FILE", Syntax::Operand::needed, {}}, show};

}  // namespace tavik::qpk
