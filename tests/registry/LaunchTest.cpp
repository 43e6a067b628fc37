#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "tests/registry/ScriptedFramework.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

constexpr int kNotFound = 255;  // status -1

/// The real program on a scripted registry, with applications that tell how they were started.
class Launch : public ::testing::Test {
  protected:
    /// Makes an application; it prints its own name and its arguments.
    static void application(const ScriptedFramework& framework, const std::string& name) {
        const fs::path file = framework.folder() / (name + "/Contents/MacOS/Norva Quendel QZ");
        writeFile(file, "#!/bin/sh\necho \"" + name + " $# '$1'\"\n");
        fs::permissions(file, fs::perms::owner_all);
    }
};

struct Row {
    const char* name;
    const char* script;   ///< see ScriptedFramework::script
    const char* started;  ///< the application; empty for none
};

// A payload {P} with the bus code of the application, which has no path of its own.
#define PAYLOAD "{P}: ParlexCode=/Norva/Parlex/x; ParlexCode1=/Norva/Parlex/Tavik-7.0\n"
#define CONFIG "|QRTConfigPath -> 0|@P.app/Contents/Resources/Q/conf.xml\n"

const Row kRows[] = {
    {"specifier in other letters", "x: Specifier=Tavik-7.0; Path=@A.app", "A.app"},
    {"subdomain", "tavik-7.0: Path=@A.app", "A.app"},
    {"subdomain in other letters", "Tavik-7.0: Path=@A.app", ""},
    {"other specifiers", "tavik-7.0-en_us: Path=@A.app\ntavik-7.1: Path=@A.app", ""},
    {"other prefix", "/norva/other/: Specifier=tavik-7.0; Path=@A.app", ""},
    {"below the groups", "groups/x: Specifier=tavik-7.0; Path=@A.app", ""},
    {"first of two", "x: Specifier=tavik-7.0; Path=@B.app\ntavik-7.0: Path=@A.app", "B.app"},
    {"neither path nor redirect", "tavik-7.0: X=Y", ""},
    {"path by payload, its own data",
     PAYLOAD "vellGetPayloadData|{P}|4" CONFIG "pcdGetDomainData|1|{P}|QRTConfigPath -> 0|/wrong\n"
             "tavik-7.0: ExecutableBasename=P",
     "P.app"},
    {"path by payload, configuration database",
     PAYLOAD "vellGetPayloadData|{P}|4|QRTConfigPath -> 0|\npcdGetDomainData|1|{P}" CONFIG
             "vellGetPayloadData|{P}|0|QRTConfigPath -> 0|/wrong\ntavik-7.0: ExecutableBasename=P",
     "P.app"},
    {"path by payload, installer's data, other extension",
     PAYLOAD "vellGetPayloadData|{P}|0" CONFIG
             "tavik-7.0: ExecutableBasename=A; ExecutableExtensionMac=tool",
     "A.tool"},
    {"path by payload, shell tool, folder without a dot",
     PAYLOAD "vellGetPayloadData|{P}|4|QRTConfigPath -> 0|@\n"
             "tavik-7.0: IsShellTool=true; ExecutableExtensionMac=; ExecutableBasename=A",
     "A.term"},
    {"payload's file not deep enough",
     PAYLOAD "vellGetPayloadData|{P}|4|QRTConfigPath -> 0|/a/b/c/d/e.xml\n"
             "tavik-7.0: ExecutableBasename=P",
     ""},
    {"chain of redirects over an instance",
     "end-1.0: Path=@B.app\ntavik-7.0: Path=@A.app; RedirectTo=between-1.0\n"
     "between-1.0: Path=/x; RedirectTo=End_2-1.0",
     "B.app"},
    {"redirect to nothing", "tavik-7.0: Path=@A.app; RedirectTo=nobody", "A.app"},
    {"a value that cannot be read empties the list",
     "tavik-7.0: Path=@A.app\nx: DisplayName=x\n"
     "pcdGetDomainData|1|/norva/parlex/x|DisplayName -> 5",
     ""},
    {"and what comes later is listed still",
     "tavik-7.0: Path=@A.app\ny: Specifier=tavik-7.0; Path=@B.app; DisplayName=x\n"
     "pcdGetDomainData|1|/norva/parlex/y|DisplayName -> 5",
     "B.app"},
    {"keys that cannot be listed",
     "tavik-7.0: Path=@A.app\n/other:\npcdGetDomainDataKeys|1|/other -> 5", ""},
    {"product code, null value", "x: ProductCode=TAVIK-7.0; DisplayName=null; Path=@A.app",
     "A.app"},
    {"no subdomains", "pcdGetDomainDataSubdomains|1 -> 8", ""},
    {"PCD that does not open", "tavik-7.0: Path=@A.app\npcdOpenSessionNoCreate -> 5", ""},
    {"application that is not there", "tavik-7.0: Path=@nothing.app", "nothing"},
};

TEST_F(Launch, StartsTheApplicationThatTheRegistryNames) {
    for (const Row& row : kRows) {
        ScriptedFramework framework;
        for (const char* name : {"A.app", "B.app", "P.app", "A.tool", "A.term"})
            application(framework, name);
        framework.script(row.script);
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
    application(framework, "A.app");
    framework.script("tavik-7.0: Path=@A.app");
    const std::set<std::string> needed{"pcdOpenSessionNoCreate", "pcdGetDomainDataSubdomains",
                                       "pcdGetDomainDataKeys", "pcdGetDomainData"};
    for (const std::string entry :
         {"pcdOpenSessionNoCreate", "pcdCloseSession", "pcdGetDomainDataSubdomains",
          "pcdGetDomainDataKeys", "pcdGetDomainData", "pcdSetDomainData", "pcdRemoveDomainData",
          "vellOpenSession", "vellCloseSession", "vellGetPayloads", "vellGetLastModTime"}) {
        const int exitCode = needed.count(entry) != 0 ? kNotFound : 0;
        const Result result = framework.run({"--launch"}, {entry});
        EXPECT_EQ(result.exitCode, exitCode) << entry;
        EXPECT_EQ(result.out, exitCode == 0 ? "A.app 1 ''\n" : "") << entry;
        EXPECT_EQ(framework.calls().find(entry + "|"), std::string::npos) << entry;
    }
}

TEST_F(Launch, ReadsInTheOrderOfTheDatabaseAndClosesBothSessions) {
    ScriptedFramework framework;
    framework.script(
        "{P}:\nvellGetPayloadData|{P}|4|QRTConfigPath -> 0|/c\n/other:\n"
        "tavik-7.0: Path=/nowhere; Unknown=x");
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
    const std::string vellctl = program("vellctl");
    ASSERT_EQ(run({vellctl, "import", source("samples/registry.json")}, environment).exitCode, 0);
    ASSERT_EQ(
        run({vellctl, "set", "1", "/norva/parlex/tavik-7.0", "Path", source("samples/Quendel.app")},
            environment)
            .exitCode,
        0);
    const Result found = run({program("TavikCmd"), "--launch", "de_DE"}, environment);
    EXPECT_EQ(found.exitCode, 0);
    EXPECT_EQ(found.out + found.err, "");
    EXPECT_EQ(readFile(log), "Quendel started with locale 'de_DE'\n");

    Environment other = environment;
    other["NORVA_VELL_DB"] = folder / "missing.db";
    const Result missing = run({program("TavikCmd"), "--launch", "de_DE"}, other);
    EXPECT_EQ(missing.exitCode, kNotFound);
    EXPECT_EQ(missing.out + missing.err, "");
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
    const std::string tool = installation / "bin/TavikCmd";
    const Environment environment{{"LD_LIBRARY_PATH", installation / "lib"}};
    for (int hasFile = 0; hasFile < 2; ++hasFile) {
        const Result launch = run({tool, "--launch", "fr_FR"}, environment);
        EXPECT_EQ(launch.exitCode, kNotFound) << hasFile;
        EXPECT_EQ(launch.out, "") << hasFile;
        EXPECT_EQ(run({tool, "--help"}, environment).exitCode, 0) << hasFile;
        writeFile(installation / "lib/libnorva_vell.so", "no library");
    }
}

}  // namespace
}  // namespace tavik::testing
