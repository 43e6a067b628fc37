#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "tests/registry/ScriptedFramework.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

constexpr const char* kTavik = "/norva/parlex/tavik-7.0";
constexpr int kNotFound = 255;  // status -1

/// The real program on a scripted registry, with applications that tell how they were started.
class Launch : public ::testing::Test {
  protected:
    /// Makes an application; it prints its own name and its arguments.
    static std::string application(const ScriptedFramework& framework, const std::string& name) {
        const std::string folder = framework.folder() / name;
        const std::string executable = folder + "/Contents/MacOS/Norva Quendel QZ";
        writeFile(executable, "#!/bin/sh\necho \"" + name + " $# '$1'\"\n");
        fs::permissions(executable, fs::perms::owner_all);
        return folder;
    }
};

struct Row {
    const char* name;
    std::function<void(ScriptedFramework&, const std::string& folder)> script;
    const char* started;  ///< the application; empty for none
};

std::string configPath(const std::string& folder) {
    return folder + "/P.app/Contents/Resources/Q/conf.xml";
}

/// A registered application without a path, and the payload with its bus code.
void pathlessApplication(ScriptedFramework& f, const ScriptedFramework::Values& values) {
    f.subdomain(
        "{P}", {{"ParlexCode", "/Norva/Parlex/other"}, {"ParlexCode1", "/Norva/Parlex/Tavik-7.0"}});
    f.subdomain(kTavik, values);
}

const std::vector<Row> kRows{
    {"specifier in other letters",
     [](auto& f, auto& at) {
         f.subdomain("/norva/parlex/x", {{"Specifier", "Tavik-7.0"}, {"Path", at + "/A.app"}});
     },
     "A.app"},
    {"product code",
     [](auto& f, auto& at) {
         f.subdomain("/norva/parlex/x", {{"ProductCode", "TAVIK-7.0"}, {"Path", at + "/A.app"}});
     },
     "A.app"},
    {"subdomain",
     [](auto& f, auto& at) {
         f.subdomain(kTavik, {{"Path", at + "/A.app"}});
     },
     "A.app"},
    {"subdomain in other letters",
     [](auto& f, auto& at) {
         f.subdomain("/norva/parlex/Tavik-7.0", {{"Path", at + "/A.app"}});
     },
     ""},
    {"locale or version of another application",
     [](auto& f, auto& at) {
         f.subdomain("/norva/parlex/tavik-7.0-en_us", {{"Path", at + "/A.app"}});
         f.subdomain("/norva/parlex/tavik-7.1", {{"Path", at + "/A.app"}});
     },
     ""},
    {"other prefix",
     [](auto& f, auto& at) {
         f.subdomain("/norva/other/", {{"Specifier", "tavik-7.0"}, {"Path", at + "/A.app"}});
     },
     ""},
    {"below the groups",
     [](auto& f, auto& at) {
         f.subdomain("/norva/parlex/groups/x",
                     {{"Specifier", "tavik-7.0"}, {"Path", at + "/A.app"}});
     },
     ""},
    {"first of two",
     [](auto& f, auto& at) {
         f.subdomain("/norva/parlex/x", {{"Specifier", "tavik-7.0"}, {"Path", at + "/B.app"}});
         f.subdomain(kTavik, {{"Path", at + "/A.app"}});
     },
     "B.app"},
    {"neither path nor redirect",
     [](auto& f, auto&) {
         f.subdomain(kTavik, {{"X", "Y"}});
     },
     ""},
    {"path by payload, its own data",
     [](auto& f, auto& at) {
         pathlessApplication(f, {{"ExecutableBasename", "P"}});
         f.answer("vellGetPayloadData|{P}|4|QRTConfigPath", "0|" + configPath(at));
         f.answer("pcdGetDomainData|1|{P}|QRTConfigPath", "0|/wrong");
     },
     "P.app"},
    {"path by payload, configuration database",
     [](auto& f, auto& at) {
         pathlessApplication(f, {{"ExecutableBasename", "P"}});
         f.answer("vellGetPayloadData|{P}|4|QRTConfigPath", "0|");
         f.answer("pcdGetDomainData|1|{P}|QRTConfigPath", "0|" + configPath(at));
         f.answer("vellGetPayloadData|{P}|0|QRTConfigPath", "0|/wrong");
     },
     "P.app"},
    {"path by payload, installer's data, other extension",
     [](auto& f, auto& at) {
         pathlessApplication(f, {{"ExecutableBasename", "A"}, {"ExecutableExtensionMac", "tool"}});
         f.answer("vellGetPayloadData|{P}|0|QRTConfigPath", "0|" + configPath(at));
     },
     "A.tool"},
    {"path by payload, shell tool, folder without a dot",
     [](auto& f, auto& at) {
         pathlessApplication(f, {{"IsShellTool", "true"},
                                 {"ExecutableExtensionMac", ""},
                                 {"ExecutableBasename", "A"}});
         f.answer("vellGetPayloadData|{P}|4|QRTConfigPath", "0|" + at);
     },
     "A.term"},
    {"payload's file not deep enough",
     [](auto& f, auto&) {
         pathlessApplication(f, {{"ExecutableBasename", "P"}});
         f.answer("vellGetPayloadData|{P}|4|QRTConfigPath", "0|/a/b/c/d/e.xml");
     },
     ""},
    {"redirect, the target behind",
     [](auto& f, auto& at) {
         f.subdomain(kTavik, {{"RedirectTo", "other-1.0"}});
         f.subdomain("/norva/parlex/other-1.0", {{"Path", at + "/B.app"}});
     },
     "B.app"},
    {"chain of redirects over an instance",
     [](auto& f, auto& at) {
         f.subdomain("/norva/parlex/end-1.0", {{"Path", at + "/B.app"}});
         f.subdomain(kTavik, {{"Path", at + "/A.app"}, {"RedirectTo", "between-1.0"}});
         f.subdomain("/norva/parlex/between-1.0", {{"Path", "/x"}, {"RedirectTo", "End_2-1.0"}});
     },
     "B.app"},
    {"redirect to nothing",
     [](auto& f, auto& at) {
         f.subdomain(kTavik, {{"Path", at + "/A.app"}, {"RedirectTo", "nobody"}});
     },
     "A.app"},
    {"cycle of redirects",
     [](auto& f, auto& at) {
         f.subdomain(kTavik, {{"Path", at + "/A.app"}, {"RedirectTo", "other"}});
         f.subdomain("/norva/parlex/other", {{"Path", "/x"}, {"RedirectTo", "tavik-7.0"}});
     },
     "A.app"},
    {"a value that cannot be read empties the list",
     [](auto& f, auto& at) {
         f.subdomain(kTavik, {{"Path", at + "/A.app"}});
         f.subdomain("/norva/parlex/x", {{"DisplayName", "x"}});
         f.answer("pcdGetDomainData|1|/norva/parlex/x|DisplayName", "5");
     },
     ""},
    {"and later records are listed still",
     [](auto& f, auto& at) {
         f.subdomain(kTavik, {{"Path", at + "/A.app"}, {"DisplayName", "x"}});
         f.subdomain("/norva/parlex/x", {{"Specifier", "tavik-7.0"}, {"Path", at + "/B.app"}});
         f.answer("pcdGetDomainData|1|" + std::string(kTavik) + "|DisplayName", "5");
     },
     "A.app"},
    {"keys that cannot be listed",
     [](auto& f, auto& at) {
         f.subdomain(kTavik, {{"Path", at + "/A.app"}});
         f.subdomain("/other", {});
         f.answer("pcdGetDomainDataKeys|1|/other", "5");
     },
     ""},
    {"null value",
     [](auto& f, auto& at) {
         f.subdomain(kTavik, {{"Path", at + "/A.app"}, {"ProductCode", "null"}});
     },
     "A.app"},
    {"no subdomains", [](auto& f, auto&) { f.answer("pcdGetDomainDataSubdomains|1", "8"); }, ""},
    {"null list", [](auto& f, auto&) { f.answer("pcdGetDomainDataSubdomains|1", "0|null"); }, ""},
    {"subdomains that cannot be listed", [](auto&, auto&) {}, ""},
    {"PCD that does not open",
     [](auto& f, auto& at) {
         f.subdomain(kTavik, {{"Path", at + "/A.app"}});
         f.answer("pcdOpenSessionNoCreate", "5");
     },
     ""},
    {"application that is not there",
     [](auto& f, auto& at) {
         f.subdomain(kTavik, {{"Path", at + "/nothing.app"}});
     },
     "nothing"},
};

TEST_F(Launch, StartsTheApplicationThatTheRegistryNames) {
    for (const Row& row : kRows) {
        ScriptedFramework framework;
        for (const char* name : {"A.app", "B.app", "P.app", "A.tool", "A.term"})
            application(framework, name);
        row.script(framework, framework.folder().path());
        const Result result = framework.run({"--launch", "fr_FR"});
        const std::string started = row.started;
        EXPECT_EQ(result.exitCode, started.empty() ? kNotFound : 0) << row.name;
        EXPECT_EQ(result.out,
                  started.empty() || started == "nothing" ? "" : started + " 1 'fr_FR'\n")
            << row.name;
    }
}

// One faulty binding must not take the launch down, nor make up an application.
TEST_F(Launch, TakesEveryEntryAsOptional) {
    ScriptedFramework framework;
    framework.subdomain(kTavik, {{"Path", application(framework, "A.app")}});
    const std::pair<const char*, int> rows[] = {
        {"pcdOpenSessionNoCreate", kNotFound},
        {"pcdCloseSession", 0},
        {"pcdGetDomainDataSubdomains", kNotFound},
        {"pcdGetDomainDataKeys", kNotFound},
        {"pcdGetDomainData", kNotFound},
        {"pcdSetDomainData", 0},
        {"pcdRemoveDomainData", 0},
        {"vellOpenSession", 0},
        {"vellCloseSession", 0},
        {"vellGetCollectionPayloads", 0},
        {"vellGetPayloadDataKeys", 0},
        {"vellGetPayloadData", 0},
        {"vellGetPayloads", 0},
        {"vellGetLastModTime", 0},
        {"pcdGetLastModTime", 0},
    };
    for (const auto& [entry, exitCode] : rows) {
        const Result result = framework.run({"--launch", "ja_JP"}, {entry});
        EXPECT_EQ(result.exitCode, exitCode) << entry;
        EXPECT_EQ(result.out, exitCode == 0 ? "A.app 1 'ja_JP'\n" : "") << entry;
        EXPECT_EQ(framework.calls().find(entry + std::string("|")), std::string::npos) << entry;
    }
}

TEST_F(Launch, PassesAnEmptyLocaleOn) {
    ScriptedFramework framework;
    framework.subdomain(kTavik, {{"Path", application(framework, "A.app")}});
    for (const auto& arguments : {std::vector<std::string>{"--launch"}, {"--launch", ""}}) {
        const Result result = framework.run(arguments);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.out, "A.app 1 ''\n");
    }
}

TEST_F(Launch, ReadsInTheOrderOfTheDatabaseAndClosesBothSessions) {
    ScriptedFramework framework;
    framework.subdomain("{P}", {});
    framework.answer("vellGetPayloadData|{P}|4|QRTConfigPath", "0|/c");
    framework.subdomain("/other", {});
    framework.subdomain(kTavik, {{"Path", "/nowhere"}, {"Unknown", "x"}});
    framework.run({"--launch", "x"});
    EXPECT_EQ(framework.calls(),
              "pcdOpenSessionNoCreate\n"
              "vellOpenSession\n"
              "pcdGetDomainDataSubdomains|1\n"
              "vellGetPayloadData|{P}|4|QRTConfigPath\n"
              "pcdGetDomainData|1|{P}|ParlexCode\n"
              "vellGetLastModTime\n"
              "pcdGetLastModTime\n"
              "pcdGetDomainDataSubdomains|1\n"
              "pcdGetDomainDataKeys|1|{P}\n"
              "pcdGetDomainDataKeys|1|/other\n"
              "pcdGetDomainDataKeys|1|/norva/parlex/tavik-7.0\n"
              "pcdGetDomainData|1|/norva/parlex/tavik-7.0|Path\n"
              "pcdCloseSession|pcd\n"
              "vellCloseSession|vell\n");
}

// The sample registry and the sample application, through the local framework.
TEST_F(Launch, StartsTheSampleApplicationFromARealDatabase) {
    const TemporaryFolder folder;
    const std::string log = folder / "log";
    // A sanitizer's own dlopen does not know where the program looks for its libraries.
    const std::string libraries = fs::path(program("TavikCmd")).parent_path() / "../lib";
    const Environment environment{{"NORVA_VELL_DB", folder / "vell.db"},
                                  {"QUENDEL_SAMPLE_LOG", log},
                                  {"LD_LIBRARY_PATH", libraries}};
    const auto vellctl = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), program("vellctl"));
        EXPECT_EQ(run(arguments, environment).exitCode, 0);
    };
    vellctl({"import", source("samples/registry.json")});
    vellctl({"set", "1", kTavik, "Path", source("samples/Quendel.app")});
    const Result found = run({program("TavikCmd"), "--launch", "de_DE"}, environment);
    EXPECT_EQ(found.exitCode, 0);
    EXPECT_EQ(found.out + found.err, "");
    EXPECT_EQ(readFile(log), "Quendel started with locale 'de_DE'\n");

    vellctl({"set", "1", kTavik, "Specifier", "tavik-7.1"});
    for (const char* database : {"vell.db", "missing.db"}) {
        Environment other = environment;
        other["NORVA_VELL_DB"] = folder / database;
        const Result missing = run({program("TavikCmd"), "--launch", "de_DE"}, other);
        EXPECT_EQ(missing.exitCode, kNotFound) << database;
        EXPECT_EQ(missing.out + missing.err, "") << database;
    }
}

// A moved installation without the framework, and one with a file that is no library.
TEST_F(Launch, EndsWithoutAFramework) {
    TemporaryFolder installation;
    const fs::path build = fs::path(program("TavikCmd")).parent_path().parent_path();
    fs::create_directories(installation / "bin");
    fs::create_directories(installation / "lib");
    fs::copy_file(program("TavikCmd"), installation / "bin/TavikCmd");
    for (const auto& file : fs::directory_iterator(build / "lib"))
        if (file.path().filename().string().find("vell") == std::string::npos)
            fs::copy_file(file, installation / ("lib/" + file.path().filename().string()));
    for (const char* library : {"", "no library"}) {
        if (*library != '\0')
            writeFile(installation / "lib/libnorva_vell.so", library);
        const std::string tool = installation / "bin/TavikCmd";
        const Environment environment{{"LD_LIBRARY_PATH", installation / "lib"}};
        const Result launch = run({tool, "--launch", "fr_FR"}, environment);
        EXPECT_EQ(launch.exitCode, kNotFound) << library;
        EXPECT_EQ(launch.out, "") << library;
        EXPECT_EQ(run({tool, "--help"}, environment).exitCode, 0) << library;
    }
}

}  // namespace
}  // namespace tavik::testing
