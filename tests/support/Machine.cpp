#include "tests/support/Machine.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "platform/support/Sqlite.h"

namespace tavik::testing {

namespace fs = std::filesystem;

Machine::Machine()
    : environment_{{"HOME", folder_ / "home"},
                   {"TAVIK_HOME", folder_ / "user"},
                   {"TAVIK_SHARED_HOME", folder_ / "shared"},
                   {"NORVA_VELL_DB", folder_ / "vell.db"}} {
    addProduct("sketch", "Sketch Pro", "17.2");
}

void Machine::addProduct(const std::string& name, const std::string& displayName,
                         const std::string& version, const std::string& moreMembers) {
    writeFile(user("products.d/" + name + ".json"),
              R"({"name": ")" + name + R"(", "displayName": ")" + displayName +
                  R"(", "version": ")" + version + "\"" + moreMembers + "}");
}

std::string Machine::package(const PackageBuilder& builder) {
    std::string path = folder_ / ("packages/" + std::to_string(++packages_) + ".qpk");
    builder.write(path);
    return path;
}

std::string Machine::package(const std::string& id, const std::string& version) {
    return package(PackageBuilder(id, version).file("content.txt", version));
}

Result Machine::tavik(const std::vector<std::string>& arguments, const std::string& name) const {
    std::vector<std::string> command;
    if (who_ == As::ordinaryUser && ::geteuid() == 0)
        command = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    command.push_back(program(name));
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run(command, environment_);
}

std::vector<std::string> Machine::listed(const std::string& displayName) const {
    const Result result = tavik({"--list", displayName});
    std::istringstream lines(result.out);
    std::vector<std::string> rows;
    std::string line;
    for (int i = 0; i < 3; ++i)
        std::getline(lines, line);
    if (line.substr(0, 2) != "==" || !result.err.empty())
        return {result.out + result.err};
    while (std::getline(lines, line) && !line.empty()) {
        std::istringstream words(line);
        std::string row;
        for (std::string word; words >> word;)
            row += (row.empty() ? "" : " ") + word;
        rows.push_back(row);
    }
    return rows;
}

std::string Machine::seenByHost(const std::string& id, const std::string& file) const {
    const std::string path = user("products/sketch/extensions/" + id + "/" + file);
    return fs::exists(path) ? readFile(path) : "";
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    if (fs::is_directory(folder))
        for (const auto& entry : fs::directory_iterator(folder))
            names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> Machine::garbage() const {
    std::vector<std::string> found;
    std::vector<std::string> rows;
    if (fs::exists(user("store.db"))) {
        const Database database(user("store.db"), SQLITE_OPEN_READONLY, std::chrono::seconds(5));
        Statement select(database, "SELECT folder FROM extension ORDER BY folder");
        while (select.step())
            rows.emplace_back(select.text(0));
    }
    auto folders = namesIn(user("ext"));
    // The list of files belongs to its folder; what an earlier version installed has none.
    folders.erase(std::remove_if(folders.begin(), folders.end(),
                                 [&](const std::string& name) {
                                     const auto end = name.rfind(".files");
                                     return end != std::string::npos &&
                                            std::binary_search(rows.begin(), rows.end(),
                                                               name.substr(0, end));
                                 }),
                  folders.end());
    std::set_symmetric_difference(rows.begin(), rows.end(), folders.begin(), folders.end(),
                                  std::back_inserter(found));
    for (const auto& name : namesIn(user("staging")))
        found.push_back("staging/" + name);
    for (const auto& name : namesIn(user("set-aside")))
        found.push_back("set-aside/" + name);
    const std::string links = user("products/sketch/extensions");
    for (const auto& name : namesIn(links))
        if (!fs::exists(links + "/" + name))
            found.push_back("dangling link " + name);
    return found;
}

}  // namespace tavik::testing
