#include "tests/registry/ScriptedFramework.h"

#include <dlfcn.h>

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tavik::testing {

ScriptedFramework::ScriptedFramework() {
    writeFile(folder_ / "log", "");
    setenv("SCRIPTED_VELL", folder_.path().c_str(), 1);
}

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
            add(line);
        else
            subdomain(line.substr(0, line.find(':')), line.substr(line.find(':') + 1));
    }
}

void ScriptedFramework::add(const std::string& line) const {
    std::ofstream(folder_ / "script", std::ios::app) << line << '\n';
}

void ScriptedFramework::subdomain(std::string name, const std::string& values) {
    if (std::isalpha(name[0]) != 0)
        name.insert(0, "/norva/parlex/");
    std::string keys;
    std::istringstream stream(values);
    for (std::string value; std::getline(stream >> std::ws, value, ';');) {
        const auto end = value.find('=');
        const std::string key = "|" + value.substr(0, end);
        keys += key;
        add("pcdGetDomainData|1|" + name + key + " -> 0|" + value.substr(end + 1));
    }
    subdomains_ += "|" + name;
    add("pcdGetDomainDataKeys|1|" + name + " -> 0" + keys);
    add("pcdGetDomainDataSubdomains|1 -> 0" + subdomains_);
}

Result ScriptedFramework::launch(const std::string& locale,
                                 const std::vector<std::string>& missingEntries) const {
    return run({program("TavikCmd"), "--launch", locale},
               {{"LD_LIBRARY_PATH", library(missingEntries)}, {"SCRIPTED_VELL", folder_.path()}});
}

std::string ScriptedFramework::calls() const {
    std::string calls = readFile(folder_ / "log");
    writeFile(folder_ / "log", "");
    return calls;
}

}  // namespace tavik::testing
