// Measures the walk over a large application registry beside one plain SELECT of the same rows over
// the same file, and prints a table of medians.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/support/Sqlite.h"
#include "platform/vell/DataWriter.h"
#include "platform/vell/InstallerDatabase.h"
#include "registry/PCDConnector.h"

namespace {

namespace vell = tavik::vell;

constexpr int kSubdomains = 20'000;
constexpr int kKeys = 8;
constexpr int kRuns = 15;
constexpr double kTarget = 5;

std::string specifierOf(int number) {
    return "application" + std::to_string(number) + "-1.0";
}

void fill(const std::string& path) {
    tavik::Database database = vell::open(path, vell::Access::create);
    tavik::Transaction transaction(database, tavik::Transaction::Kind::write);
    vell::createTables(database);
    vell::DataWriter writer(database);
    for (int i = 0; i < kSubdomains; ++i) {
        const std::string number = std::to_string(i);
        const auto id = writer.dataSet(vell::DataKind::pcd, 1, "/norva/parlex/" + specifierOf(i));
        writer.set(id, "Specifier", specifierOf(i));
        writer.set(id, "Path", "/opt/norva/applications/Application " + number + ".app");
        writer.set(id, "DisplayName", "Application number " + number);
        writer.set(id, "BundleIdentifier", "com.norva.application" + number);
        writer.set(id, "ParlexVersion", "1.5");
        writer.set(id, "IsShellTool", "false");
        writer.set(id, "MessageDigest", "true");
        writer.set(id, "RedirectTo", specifierOf(i == 0 ? 0 : i - 1));
    }
    touch(database, vell::Part::pcd);
    transaction.commit();
}

void plainSelect(const std::string& path) {
    tavik::Database database = vell::open(path, vell::Access::read);
    tavik::Statement rows(database,
                          "SELECT data_set.name, data.key, data.value FROM data_set "
                          "JOIN data ON data.data_set = data_set.id "
                          "WHERE data_set.kind = 'pcd' AND data_set.domain = 1");
    std::size_t bytes = 0;
    int count = 0;
    for (; rows.step(); ++count)
        bytes += rows.text(0).size() + rows.text(1).size() + rows.text(2).size();
    if (count != kSubdomains * kKeys || bytes == 0)
        throw std::runtime_error("the SELECT gave " + std::to_string(count) + " rows");
}

void walk() {
    Vexil::PCDConnector connector(true, Vexil::kDomainKeyOrvo);
    Vexil::PXConnectorAppInfoList apps;
    Vexil::SoVector<Vexil::SoString> groups;
    if (!connector.initLists(apps, groups) || apps.get(kSubdomains - 1) == nullptr)
        throw std::runtime_error("the walk did not list every application");
}

double milliseconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void measure(const std::string& path) {
    fill(path);
    std::vector<double> walks;
    std::vector<double> selects;
    for (int i = 0; i < kRuns; ++i) {
        selects.push_back(milliseconds([&] { plainSelect(path); }));
        walks.push_back(milliseconds(walk));
    }
    const double ours = median(walks);
    const double theirs = median(selects);
    std::printf("%-32s %-30s %9s %10s %6s %7s\n", "work", "beside", "ours ms", "theirs ms", "ratio",
                "target");
    std::printf("%-32s %-30s %9.2f %10.2f %6.2f %7.2f\n", "registry of 20,000, 8 keys each",
                "one SELECT, same rows and file", ours, theirs, ours / theirs, kTarget);
}

}  // namespace

int main() try {
    std::string folder = (std::filesystem::temp_directory_path() / "tavik-bench-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr)
        throw std::runtime_error("cannot make a folder: " + folder);
    const std::string path = folder + "/vell.db";
    setenv("NORVA_VELL_DB", path.c_str(), 1);
    measure(path);
    std::filesystem::remove_all(folder);
    return 0;
} catch (const std::exception& error) {
    std::cerr << "registry_walk: " << error.what() << '\n';
    return 1;
}
