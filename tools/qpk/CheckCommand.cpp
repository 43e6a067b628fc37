#include <algorithm>
#include <filesystem>
#include <iostream>

#include "platform/core/disk/AtomicFile.h"
#include "platform/support/Environment.h"
#include "tools/qpk/CheckReport.h"
#include "tools/qpk/Command.h"
#include "tools/qpk/Failure.h"
#include "tools/qpk/FolderPacking.h"
#include "tools/qpk/Output.h"

namespace tavik::qpk {
namespace {

constexpr const char* kHelp =
    "usage: qpk check FILE|FOLDER... [--product NAME=VERSION]... [--json]\n\n"
    "Shows everything that is wrong with packages, a line for each fault: the container, the\n"
    "manifest, every entry, the signature. Of a FOLDER, it checks the package that qpk pack would\n"
    "make. It is stricter than an install: unknown members of the manifest, addresses that no "
    "core\n"
    "fetches, names that would break an XML list, and files left behind by an editor or a version\n"
    "control system are faults as well. Exit status 0: none found in any of them.\n\n"
    "  --product NAME=VERSION  would it also install where this host product is; several\n"
    "                          are installed side by side\n"
    "  --json                  print one JSON document, with line and column of each fault of\n"
    "                          a manifest (docs/schemas/qpk-check.json)\n";

TargetProduct parseProduct(const std::string& text) {
    const std::size_t equals = text.rfind('=');
    const auto version =
        equals == std::string::npos ? std::nullopt : Version::parse(text.substr(equals + 1));
    if (equals == 0 || !version)
        throw UsageError("--product " + text + " is not of the form NAME=VERSION");
    return {text.substr(0, equals), *version};
}

/// What can be read from the package itself, beside the faults that were found already.
void describe(const std::string& file, const std::vector<TargetProduct>& products,
              CheckedPackage& package) {
    if (!products.empty())
        addProductFaults(file, products, package.faults);
    package.manifest = readManifestText(file).value_or("");
    const Manifest manifest = readManifestLeniently(package.manifest);
    package.id = manifest.id;
    const auto isAboutVersion = [](const Fault& fault) {
        return fault.place == kManifestPath && (fault.member == "version" || fault.member.empty());
    };
    const auto& faults = package.faults;
    if (!package.manifest.empty() && std::none_of(faults.begin(), faults.end(), isAboutVersion))
        package.version = manifest.version.text();
}

/// Where temporary files are kept. The file is gone with this process and never gets its name, so
/// nobody can take that name before.
std::string scratchPath() {
    return environmentVariable("TMPDIR").value_or("/tmp") + "/qpk-check.qpk";
}

CheckedPackage checkOne(const std::string& path, const std::vector<TargetProduct>& products) {
    CheckedPackage package;
    package.path = path;
    if (std::filesystem::is_directory(path)) {
        AtomicFile file(scratchPath());
        package.faults = packFolder(path, file).faults;
        describe(file.temporaryPath(), products, package);
    } else {
        package.faults = findAuthorFaults(path);
        describe(path, products, package);
    }
    return package;
}

void printFaults(const CheckedPackage& package) {
    for (const std::string& text : describeFaults(package.faults))
        printLine(package.path + ": " + text);
    if (package.faults.empty())
        printLine(package.path + ": " + package.id + " " + package.version + ", no faults");
}

int check(const CommandLine& line) {
    std::vector<TargetProduct> products;
    for (const std::string& text : line.allOf("product"))
        products.push_back(parseProduct(text));

    const bool isJson = line.has("json");
    std::vector<CheckedPackage> packages;
    std::vector<Explanation> failures;
    bool isGood = true;
    for (const std::string& path : line.operands())
        try {
            packages.push_back(checkOne(path, products));
            isGood = isGood && packages.back().faults.empty();
            if (!isJson)
                printFaults(packages.back());
        } catch (const std::exception& exception) {
            failures.push_back(explain(exception));
            printProblem(failures.back().line());
        }
    if (isJson)
        std::cout << writeCheckReport(packages, failures);
    return isGood && failures.empty() ? 0 : 1;
}

}  // namespace

const Command kCheckCommand = {"check",
                               "shows everything that is wrong with packages",
                               kHelp,
                               {"FILE",
                                Syntax::Operand::several,
                                {{"product", '\0', OptionRule::Times::any},
                                 {"json", '\0', OptionRule::Times::once, OptionRule::Value::none}}},
                               check};

}  // namespace tavik::qpk
