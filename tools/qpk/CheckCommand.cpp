#include <iostream>

#include "platform/core/package/Package.h"
#include "tools/qpk/Command.h"
#include "tools/qpk/Failure.h"
#include "tools/qpk/Output.h"
#include "tools/qpk/PackageCheck.h"

namespace tavik::qpk {
namespace {

constexpr const char* kHelp =
    "usage: qpk check FILE [--product NAME=VERSION]...\n\n"
    "Shows everything that is wrong with a package, a line for each fault: the container, the\n"
    "manifest, every entry, the signature. It is stricter than an install: unknown members of the\n"
    "manifest, addresses that no core fetches, names that would break an XML list, and files left\n"
    "behind by an editor or a version control system are faults as well. Exit status 0: none "
    "found.\n\n"
    "  --product NAME=VERSION  would it also install where this host product is; several\n"
    "                          are installed side by side\n";

TargetProduct parseProduct(const std::string& text) {
    const std::size_t equals = text.rfind('=');
    const auto version =
        equals == std::string::npos ? std::nullopt : Version::parse(text.substr(equals + 1));
    if (equals == 0 || !version)
        throw UsageError("--product " + text + " is not of the form NAME=VERSION");
    return {text.substr(0, equals), *version};
}

int check(const CommandLine& line) {
    const std::string& path = line.operand();
    std::vector<TargetProduct> products;
    for (const std::string& text : line.allOf("product"))
        products.push_back(parseProduct(text));

    std::vector<Fault> faults = findAuthorFaults(path);
    if (!products.empty())
        addProductFaults(path, products, faults);
    for (const std::string& text : describeFaults(faults))
        std::cout << path << ": " << text << '\n';
    if (!faults.empty())
        return 1;
    const Package package = Package::open(path);
    std::cout << path << ": " << package.manifest().id << ' ' << package.manifest().version.text()
              << ", no faults\n";
    return 0;
}

}  // namespace

const Command kCheckCommand = {
    "check",
    "shows everything that is wrong with a package",
    kHelp,
    {"FILE", Syntax::Operand::needed, {{"product", '\0', OptionRule::Times::any}}},
    check};

}  // namespace tavik::qpk
