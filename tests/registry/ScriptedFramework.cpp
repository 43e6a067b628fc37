#include "tests/registry/ScriptedFramework.h"

#include <dlfcn.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace tavik::testing {

namespace fs = std::filesystem;

std::string ScriptedFramework::library(const std::vector<std::string>& missingEntries) const {
    std::string bytes = readFile(std::string(TAVIK_SCRIPTED_VELL) + "/libnorva_vell.so");
    for (const auto& entry : missingEntries) {
        // Under another name the entry is not found, and everything else stays as it is.
        const std::string name = '\0' + entry + '\0';
        for (auto at = bytes.find(name); at != std::string::npos; at = bytes.find(name, at + 1))
            bytes[at + 1] = '-';
    }
    writeFile(folder_ / "lib/libnorva_vell.so", bytes);
    return folder_ / "lib";
}

void ScriptedFramework::loadHere(const std::vector<std::string>& missingEntries) const {
    if (dlopen((library(missingEntries) + "/libnorva_vell.so").c_str(), RTLD_NOW) == nullptr)
        throw std::runtime_error(dlerror());
}

void ScriptedFramework::script(const std::string& lines) {
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        if (const auto at = line.find('@'); at != std::string::npos)
            line.replace(at, 1, folder_.path().string() + "/");
        if (line.find(" -> ") != std::string::npos)
            script_ += line + "\n";
        else
            subdomain(line.substr(0, line.find(':')), line.substr(line.find(':') + 1));
    }
}

void ScriptedFramework::subdomain(std::string name, const std::string& values) {
    if (std::isalpha(name[0]) != 0)
        name.insert(0, "/norva/parlex/");
    std::string keys;
    std::istringstream stream(values);
    for (std::string value; std::getline(stream >> std::ws, value, ';');) {
        const std::string key = value.substr(0, value.find('='));
        keys += "|" + key;
        script_ += "pcdGetDomainData|1|" + name + "|" + key + " -> 0|" +
                   value.substr(value.find('=') + 1) + "\n";
    }
    subdomains_ += "|" + name;
    script_ += "pcdGetDomainDataKeys|1|" + name + " -> 0" + keys + "\n";
    script_ += "pcdGetDomainDataSubdomains|1 -> 0" + subdomains_ + "\n";
}

void ScriptedFramework::useHere() const {
    writeFile(folder_ / "script", script_);
    setenv("SCRIPTED_VELL", (folder_ / "script").c_str(), 1);
    setenv("SCRIPTED_VELL_LOG", (folder_ / "log").c_str(), 1);
}

Result ScriptedFramework::run(const std::vector<std::string>& arguments,
                              const std::vector<std::string>& missingEntries) const {
    writeFile(folder_ / "script", script_);
    std::vector<std::string> command{program("TavikCmd")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return testing::run(command, {{"LD_LIBRARY_PATH", library(missingEntries)},
                                  {"SCRIPTED_VELL", folder_ / "script"},
                                  {"SCRIPTED_VELL_LOG", folder_ / "log"}});
}

std::string ScriptedFramework::calls() const {
    const std::string log = folder_ / "log";
    std::string calls = fs::exists(log) ? readFile(log) : "";
    fs::remove(log);
    return calls;
}

}  // namespace tavik::testing
