#include <sys/stat.h>

#include "platform/core/crypto/DetachedSignature.h"
#include "platform/core/package/Package.h"
#include "platform/core/trust/PackageSignature.h"
#include "tools/qpk/ArchiveWriter.h"
#include "tools/qpk/Command.h"
#include "tools/qpk/Output.h"
#include "tools/qpk/OutputFile.h"
#include "tools/qpk/PackageCheck.h"
#include "tools/qpk/Signing.h"

namespace tavik::qpk {
namespace {

const std::string kHelp =
    std::string(
        "usage: qpk sign FILE --key KEY\n\n"
        "Signs a package: adds a list of everything in it and the signature of that list. The "
        "file\n"
        "is replaced in one step; a signature that it had is replaced too. A package that is\n"
        "published already gets other bytes by this: sign before qpk feed.\n\n") +
    kKeyHelp;

bool isSignature(const ArchiveEntry& entry) {
    return entry.path == kContentListPath || entry.path == kContentSignaturePath ||
           entry.path == kSuccessionPath;
}

void writeSigned(const Package& package, const SigningKey& key, AtomicFile& file) {
    ArchiveWriter writer(file);
    for (const ArchiveEntry& entry : package.archive().entries())
        if (!isSignature(entry))
            writer.copy(package, entry);
    const std::string list = writeContentList(listContent(package, authorCrypto()));
    writer.add(std::string(kContentListPath), ArchiveEntry::Kind::file, list);
    writer.add(std::string(kContentSignaturePath), ArchiveEntry::Kind::file,
               signDetached(list, key.key));
    if (!key.succession.empty())
        writer.add(std::string(kSuccessionPath), ArchiveEntry::Kind::file,
                   writeSuccessions(key.succession));
    writer.finish();
}

mode_t rightsOf(const PackageFile& file) {
    struct stat info {};
    return ::fstat(file.descriptor(), &info) == 0 ? info.st_mode & 0777 : 0644;
}

int sign(const CommandLine& line) {
    const SigningKey key = readSigningKey(line.neededOption("key"));
    const std::string& path = line.operand();
    std::vector<Fault> faults = findFaults(path);
    if (!faults.empty())
        return refuseFor(path, faults);

    const Package package = Package::open(path);
    OutputFile file(path, FinalLink::followed);
    writeSigned(package, key, file);
    // The two new entries may make the package too large, or conflict with others in META-INF.
    faults = findCoreFaults(file.temporaryPath());
    if (!faults.empty())
        return refuseFor(path, faults);
    file.finish(rightsOf(package.file()));
    printLine(path + ": signed by key " + key.key.publicKey().fingerprint());
    return 0;
}

}  // namespace

const Command kSignCommand = {
    "sign",
    "signs a package",
    kHelp.c_str(),
    {"FILE", Syntax::Operand::needed, {{"key", '\0', OptionRule::Times::once}}},
    sign};

}  // namespace tavik::qpk
