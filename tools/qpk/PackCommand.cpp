#include <filesystem>

#include "platform/core/package/Manifest.h"
#include "platform/core/package/PackageLimits.h"
#include "tools/qpk/Command.h"
#include "tools/qpk/Failure.h"
#include "tools/qpk/FolderPacking.h"
#include "tools/qpk/IgnoreRules.h"
#include "tools/qpk/InputFile.h"
#include "tools/qpk/Output.h"
#include "tools/qpk/OutputFile.h"

namespace tavik::qpk {
namespace {

namespace fs = std::filesystem;

constexpr const char* kHelp =
    "usage: qpk pack FOLDER [-o FILE]\n\n"
    "Makes a package of everything in FOLDER, which has extension.json at its top. What\n"
    "qpk check refuses is refused, and then no file is written. The same content gives the\n"
    "same bytes, whatever the files' times and owners: of the rights, only whether a file is\n"
    "executable goes into the package.\n\n"
    "Left out are what version control, file managers and editors keep in a folder (.git,\n"
    ".DS_Store, a.txt~ and the like), packages at its top, and what FOLDER/.qpkignore names, in\n"
    "the form of .gitignore. A line with ! in front takes something in again.\n\n"
    "  -o, --output FILE  write FILE, replacing it; without it ID-VERSION.qpk in the current\n"
    "                     folder\n";

/// The name from the manifest. A manifest with faults gives any name: the check reports them.
std::string defaultName(const std::string& folder, const PackageLimits& limits) try {
    const auto bytes = readWhole(folder + "/" + std::string(kManifestPath), limits.manifest.bytes,
                                 FinalLink::refused);
    const Manifest manifest = parseManifest(bytes.value_or(""), limits.manifest,
                                            [](const Fault&) { throw CheckStopped(); });
    return manifest.id + "-" + manifest.version.text() + ".qpk";
} catch (const CheckStopped&) {
    return "extension.qpk";
}

/// The package must not get into the next one: in its own folder, it needs a rule that leaves it
/// out.
void requireLeftOut(const std::string& folder, const std::string& output) {
    const fs::path top = fs::weakly_canonical(folder);
    const fs::path target =
        fs::weakly_canonical(fs::absolute(output).parent_path()) / fs::path(output).filename();
    const fs::path relative = target.lexically_relative(top);
    if (relative.empty() || *relative.begin() == "..")
        return;
    const IgnoreRules rules = IgnoreRules::ofFolder(folder);
    fs::path part;
    for (const fs::path& name : relative) {
        part /= name;
        if (rules.ignores(part.string(),
                          part == relative ? IgnoreRules::Kind::file : IgnoreRules::Kind::folder))
            return;
    }
    throw Failure(output, "the package would lie in the folder that it is made from",
                  std::string("name another place with -o, or the package in ") + kIgnoreFileName);
}

int pack(const CommandLine& line) {
    const std::string& folder = line.operand();
    const auto output = line.option("output");
    const std::string path = output ? *output : defaultName(folder, {});
    requireLeftOut(folder, path);
    OutputFile file(path, FinalLink::refused);
    const PackedFolder packed = packFolder(folder, file);
    if (!packed.faults.empty())
        return refuseFor(folder, packed.faults);
    file.finish();
    printLine(file.path() + ": " + counted(packed.files, "file") + ", " +
              readableSize(file.size()));
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
