#include <charconv>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "platform/core/disk/RegularFile.h"
#include "platform/support/FileDescriptor.h"
#include "platform/support/Json.h"
#include "platform/support/StandardDescriptors.h"
#include "platform/support/Text.h"
#include "platform/vell/Failure.h"
#include "platform/vell/InstallerDatabase.h"
#include "platform/vell/Session.h"
#include "tools/vellctl/ContentJson.h"

namespace tavik::vellctl {
namespace {

using Arguments = std::vector<std::string>;

constexpr std::size_t kMaxFileBytes = std::size_t{64} << 20;

constexpr const char* kUsage = R"(usage: vellctl COMMAND ARGUMENTS

  import FILE.json                  put what the file holds in the place of the whole content,
                                    in one transaction; makes the database where it is missing
  export                            print the whole content in the same form
  get DOMAIN SUBDOMAIN KEY          print one value of the product configuration
  set DOMAIN SUBDOMAIN KEY VALUE    write one value of the product configuration
  remove DOMAIN SUBDOMAIN KEY       take one value of the product configuration out
  --help                            print this
  --version                         print the version

The installer database is the file that NORVA_VELL_DB names; else
${XDG_DATA_HOME:-$HOME/.local/share}/norva/vell.db where that exists; else
/var/lib/norva/vell.db.

Exit status: 0 done, 1 failed, 2 wrong usage.
)";

class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

std::string readFile(const std::string& path) {
    const RegularFile file = openRegularFile(path, FinalLink::followed);
    if (!file && file.error != 0)
        throw std::runtime_error(path + ": cannot be opened: " + errnoText(file.error));
    if (!file)
        throw std::runtime_error(path + ": " + file.refusal + "; write the content into a file");
    try {
        return readUpTo(file.descriptor.get(), kMaxFileBytes);
    } catch (const std::system_error& error) {
        throw std::runtime_error(path + ": cannot be read: " + errnoText(error.code().value()));
    }
}

int domainFrom(const std::string& text) {
    int domain = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, domain);
    if (result.ec != std::errc() || result.ptr != end || domain < 0)
        throw UsageError("DOMAIN is a whole number from 0 on, not \"" + text + "\"");
    return domain;
}

void importFile(const Arguments& arguments) {
    vell::Content content;
    try {
        content = fromJson(readFile(arguments[0]));
    } catch (const JsonError& error) {
        throw std::runtime_error(arguments[0] + ": " + error.what() + "; nothing was imported");
    }
    const std::string path = vell::databasePath();
    std::error_code ignored;
    const bool isNew = !std::filesystem::exists(path, ignored);
    Database database = vell::open(path, vell::Access::create);
    try {
        vell::replace(database, content);
    } catch (...) {
        if (isNew)
            std::filesystem::remove(path, ignored);  // it never held anything
        throw;
    }
}

void exportAll(const Arguments& /*arguments*/) {
    Database database = vell::open(vell::databasePath(), vell::Access::read);
    std::cout << toJson(vell::load(database));
}

void getValue(const Arguments& arguments) {
    const int domain = domainFrom(arguments[0]);
    vell::Session session;
    std::cout << session.value(vell::DataKind::pcd, domain, arguments[1].c_str(),
                               arguments[2].c_str())
              << '\n';
}

void setValue(const Arguments& arguments) {
    const int domain = domainFrom(arguments[0]);
    vell::Session().set(domain, arguments[1].c_str(), arguments[2].c_str(), arguments[3].c_str());
}

void removeValue(const Arguments& arguments) {
    const int domain = domainFrom(arguments[0]);
    vell::Session().remove(domain, arguments[1].c_str(), arguments[2].c_str());
}

struct Command {
    const char* name;
    std::size_t arguments;
    void (*run)(const Arguments&);
};

constexpr Command kCommands[] = {
    {"import", 1, importFile}, {"export", 0, exportAll},   {"get", 3, getValue},
    {"set", 4, setValue},      {"remove", 3, removeValue},
};

void run(Arguments arguments) {
    if (arguments.empty())
        throw UsageError("a command is missing");
    const std::string name = arguments.front();
    arguments.erase(arguments.begin());
    for (const Command& command : kCommands) {
        if (name != command.name)
            continue;
        if (arguments.size() != command.arguments)
            throw UsageError(name + " takes " + std::to_string(command.arguments) +
                             " arguments, not " + std::to_string(arguments.size()));
        return command.run(arguments);
    }
    throw UsageError("there is no command \"" + name + "\"");
}

}  // namespace

/// Prints one line and returns the exit status. The text may hold names from files and arguments.
static int report(const std::exception& error, const char* remedy, int exitStatus) {
    std::cerr << "vellctl: " << printable(error.what()) << remedy << '\n';
    return exitStatus;
}

}  // namespace tavik::vellctl

int main(int argc, char** argv) try {
    tavik::reserveStandardDescriptors();
    // Everyone on the machine may read the database, but only its owner may write to it.
    ::umask(022);
    const tavik::vellctl::Arguments arguments(argv + 1, argv + argc);
    if (arguments.size() == 1 && arguments[0] == "--help")
        std::cout << tavik::vellctl::kUsage;
    else if (arguments.size() == 1 && arguments[0] == "--version")
        std::cout << "vellctl " TAVIK_VERSION "\n";
    else
        tavik::vellctl::run(arguments);
    if (!std::cout.flush())
        throw std::runtime_error(
            "standard output: cannot be written; check the file, pipe or terminal that it goes to");
    return 0;
} catch (const tavik::vellctl::UsageError& error) {
    return tavik::vellctl::report(error, "; see vellctl --help", 2);
} catch (const tavik::SqliteError& error) {
    return tavik::vellctl::report(tavik::vell::describe(error, tavik::vell::databasePath()), "", 1);
} catch (const std::exception& error) {
    return tavik::vellctl::report(error, "", 1);
}
