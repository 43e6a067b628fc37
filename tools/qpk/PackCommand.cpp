#include <filesystem>
#include <iostream>

#include "platform/core/package/Manifest.h"
#include "tools/qpk/ArchiveWriter.h"
#include "tools/qpk/Command.h"
#include "tools/qpk/Failure.h"
#include "tools/qpk/InputFile.h"
#include "tools/qpk/Output.h"
#include "tools/qpk/PackageCheck.h"
#include "tools/qpk/SourceFolder.h"

namespace tavik::qpk {
namespace {

namespace fs = std::filesystem;

constexpr const char* kHelp =
    "usage: qpk pack FOLDER [-o FILE]\n\n"
    "Makes a package of everything in FOLDER, which has extension.json at its top. What\n"
    "qpk check refuses is refused, and then no file is written. The same content gives the\n"
    "same bytes, whatever the files' times and owners: of the rights, only whether a file is\n"
    "executable goes into the package.\n\n"
    "  -o, --output FILE  write FILE, replacing it; without it ID-VERSION.qpk in the current\n"
    "                     folder\n";

/// From the manifest; where that has faults, the check will say so before the name matters.
std::string defaultName(const std::string& folder, const PackageLimits& limits) try {
    const auto bytes = readWhole(folder + "/" + std::string(kManifestPath), limits.manifest.bytes,
                                 FinalLink::refused);
    const Manifest manifest = parseManifest(bytes.value_or(""), limits.manifest,
                                            [](const Fault&) { throw CheckStopped(); });
    return manifest.id + "-" + manifest.version.text() + ".qpk";
} catch (const CheckStopped&) {
    return "extension.qpk";
}

/// Else the next package would have this one in it.
void requireOutside(const std::string& folder, const std::string& output) {
    const fs::path top = fs::weakly_canonical(folder);
    const fs::path target = fs::weakly_canonical(fs::absolute(output).parent_path());
    const std::string relative = target.lexically_relative(top).string();
    if (relative.empty() || relative == ".." || relative.rfind("../", 0) == 0)
        return;
    throw Failure(output, "the package would lie in the folder that it is made from",
                  "name another place with -o");
}

void writeEntries(const std::string& folder, const std::vector<SourceEntry>& entries,
                  const PackageLimits& limits, OutputFile& file) {
    ArchiveWriter writer(file);
    for (const SourceEntry& entry : entries)
        writer.add(entry.path, entry.kind,
                   entry.kind == ArchiveEntry::Kind::folder
                       ? std::string()
                       : readSourceFile(folder, entry.path, limits.fileBytes));
    writer.finish();
}

int pack(const CommandLine& line) {
    const std::string& folder = line.operand();
    const PackageLimits limits;
    std::vector<Fault> faults;
    std::vector<SourceEntry> entries;
    try {
        entries =
            readSourceFolder(folder, limits, [&](const Fault& fault) { faults.push_back(fault); });
    } catch (const CheckStopped&) {
        // The fault is among the others.
    }
    if (!faults.empty())
        return refuseFor(folder, faults);

    const auto output = line.option("output");
    const std::string path = output ? *output : defaultName(folder, limits);
    requireOutside(folder, path);
    OutputFile file(path, FinalLink::refused);
    writeEntries(folder, entries, limits, file);
    faults = findAuthorFaults(file.temporaryPath());
    if (!faults.empty())
        return refuseFor(folder, faults);
    file.finish();
    std::cout << file.path() << ": " << counted(entries.size(), "file") << ", "
              << readableSize(file.size()) << '\n';
    return 0;
}

}  // namespace

const Command kPackCommand = {
    "pack",
    "makes a package of a folder",
    kHelp,
    {"FOLDER", Syntax::Operand::needed, {{"output", 'o', OptionRule::Times::once}}},
    pack};

}  // namespace tavik::qpk
