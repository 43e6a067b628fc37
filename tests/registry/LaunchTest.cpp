#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "tests/registry/ScriptedFramework.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;

constexpr int kNotFound = 255;  // status -1

/// Makes an application that prints its own name and its arguments.
void application(const ScriptedFramework& framework, const std::string& name) {
    const fs::path file = framework.folder() / (name + "/Contents/MacOS/Norva Quendel QZ");
    writeFile(file, "#!/bin/sh\necho \"" + name + " $# '$1'\"\n");
    fs::permissions(file, fs::perms::owner_all);
}

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
    {"path by payload, application",
     PAYLOAD "vellGetPayloadData|{P}|4" CONFIG
             "tavik-7.0: ExecutableExtensionMac=; ExecutableBasename=P",
     "P.app"},
    {"path by payload, specifier in other letters",
     "{P}: ParlexCode=/norva/parlex/end-1.0; QRTConfigPath=@P.app/Contents/Resources/Q/conf.xml\n"
     "End-1.0: ExecutableBasename=P\ntavik-7.0: RedirectTo=End-1.0",
     "P.app"},
    {"own path before the payload's",
     PAYLOAD "vellGetPayloadData|{P}|4" CONFIG "tavik-7.0: Path=@A.app; ExecutableBasename=P",
     "A.app"},
    {"own path before a web address",
     "tavik-7.0: Path=@A.app; ExecutableBasename=https://x.norva.com/y", "A.app"},
    {"no path by payload without a basename",
     PAYLOAD "vellGetPayloadData|{P}|4" CONFIG "tavik-7.0: DisplayName=P", ""},
    {"no path by what is no payload",
     "/P: ParlexCode=/norva/parlex/tavik-7.0; QRTConfigPath=@P.app/Contents/Resources/Q/conf.xml\n"
     "tavik-7.0: ExecutableBasename=P",
     ""},
    {"payload's file not deep enough",
     PAYLOAD "vellGetPayloadData|{P}|4|QRTConfigPath -> 0|/a/b/c/d/e.xml\n"
             "tavik-7.0: ExecutableBasename=P",
     ""},
    {"chain of redirects over an instance",
     "end-1.0: Path=@B.app\ntavik-7.0: Path=@A.app; RedirectTo=between-1.0\n"
     "between-1.0: Path=/x; RedirectTo=End_2-1.0",
     "B.app"},
    {"redirect to nothing", "tavik-7.0: Path=@A.app; RedirectTo=nobody", "A.app"},
    {"last payload with a file, codes up to an empty one",
     "{A}: ParlexCode=/norva/parlex/tavik-7.0; QRTConfigPath=/nowhere\n"
     "{B}: ParlexCode=/norva/parlex/TAVIK-7.0; ParlexCode1=; QRTConfigPath=@\n"
     "{C}: ParlexCode=; ParlexCode1=/norva/parlex/tavik-7.0; QRTConfigPath=/nowhere\n"
     "{D}: ParlexCode=/norva/parlex/tavik-7.0\n"
     "tavik-7.0: ExecutableBasename=A",
     "A.app"},
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

TEST(Launch, StartsTheApplicationThatTheRegistryNames) {
    for (const Row& row : kRows) {
        ScriptedFramework framework;
        for (const char* name : {"A.app", "B.app", "P.app", "A.tool", "A.term"})
            application(framework, name);
        framework.script(row.script);
        const Result result = framework.launch("fr_FR");
        const std::string started = row.started;
        EXPECT_EQ(result.exitCode, started.empty() ? kNotFound : 0) << row.name;
        EXPECT_EQ(result.out,
                  started.empty() || started == "nothing" ? "" : started + " 1 'fr_FR'\n")
            << row.name;
    }
}

// One faulty binding must not take the launch down, nor make up an application.
TEST(Launch, ClosesItsSessionsAndTakesEveryEntryAsOptional) {
    ScriptedFramework framework;
    application(framework, "A.app");
    framework.script("tavik-7.0: Path=@A.app");
    framework.launch("");
    EXPECT_NE(framework.calls().find("pcdCloseSession|pcd\nvellCloseSession|vell\n"),
              std::string::npos);
    const std::string needed[] = {"pcdOpenSessionNoCreate", "pcdGetDomainDataSubdomains",
                                  "pcdGetDomainDataKeys", "pcdGetDomainData"};
    const std::string spare[] = {"pcdCloseSession", "vellOpenSession", "vellCloseSession",
                                 "vellGetLastModTime"};
    for (const auto& entry : needed) {
        const Result result = framework.launch("", {entry});
        EXPECT_EQ(result.exitCode, kNotFound) << entry;
        EXPECT_EQ(result.out, "") << entry;
    }
    for (const auto& entry : spare)
        EXPECT_EQ(framework.launch("", {entry}).out, "A.app 1 ''\n") << entry;
}

/// What a refused launch leaves: one line, the status for "not found", and nothing started.
void expectRefused(const Result& result, const std::string& cause) {
    EXPECT_EQ(result.exitCode, kNotFound) << cause;
    EXPECT_EQ(result.out, "") << cause;
    EXPECT_NE(result.err.find(cause), std::string::npos) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
}

// A relative path is another program in each folder.
TEST(Launch, RefusesAPathThatIsNotAbsolute) {
    ScriptedFramework framework;
    application(framework, "A.app");
    framework.script("tavik-7.0: Path=../A\x1B.app");
    const Result result = framework.launch("fr_FR");
    expectRefused(result, "no absolute path");
    EXPECT_EQ(result.err.find('\x1B'), std::string::npos);
}

// Another user must not choose what runs as root: not by owning the program, by writing to it or to
// a folder above it, nor by a link.
TEST(Launch, RootStartsRootsProgramsAlone) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give a program away";
    ScriptedFramework framework;
    for (const char* name : {"A.app", "B.app", "C.app", "D.app"})
        application(framework, name);
    const auto in = [&](const std::string& name) { return framework.folder() / name; };
    const std::string program = "/Contents/MacOS/Norva Quendel QZ";
    ASSERT_EQ(chown(in("A.app" + program).c_str(), 65534, 65534), 0);
    fs::permissions(in("B.app/Contents"), fs::perms::others_write, fs::perm_options::add);
    ASSERT_EQ(chown(in("C.app").c_str(), 65534, 65534), 0);
    fs::create_directory_symlink("A.app", in("link.app"));
    fs::create_directory_symlink("D.app", in("good.app"));
    for (const char* name : {"A.app", "B.app", "C.app", "link.app"}) {
        framework.script(std::string("tavik-7.0: Path=@") + name);
        expectRefused(framework.launch("fr_FR"), "others than root can change");
    }
    // In a folder such as /tmp, others can make a hard link to any program or link of root's.
    fs::create_directories(in("sticky"));
    fs::copy(in("D.app" + program), in("sticky/program"));
    fs::create_directories(in("E.app/Contents/MacOS"));
    fs::create_symlink(in("sticky/program"), in("E.app" + program));
    fs::create_directory_symlink("../D.app", in("sticky/F.app"));
    fs::permissions(in("sticky"), fs::perms::all | fs::perms::sticky_bit);
    for (const char* name : {"E.app", "sticky/F.app"}) {
        framework.script(std::string("tavik-7.0: Path=@") + name);
        expectRefused(framework.launch("fr_FR"), "others than root can change");
    }
    framework.script("tavik-7.0: Path=@good.app");
    EXPECT_EQ(framework.launch("fr_FR").out, "D.app 1 'fr_FR'\n");
}

// The sample registry and the sample application, through the local framework; then without the
// database, and with a framework that is no library.
TEST(Launch, StartsTheSampleApplicationFromARealDatabase) {
    const TemporaryFolder folder;
    const std::string log = folder / "log";
    // A sanitizer's dlopen does not use the program's own search path for libraries.
    const std::string libraries = fs::path(program("TavikCmd")).parent_path() / "../lib";
    Environment environment{{"NORVA_VELL_DB", folder / "vell.db"},
                            {"QUENDEL_SAMPLE_LOG", log},
                            {"LD_LIBRARY_PATH", libraries}};
    const std::string vellctl = program("vellctl");
    run({vellctl, "import", source("samples/registry.json")}, environment);
    // A copy: the source folder may be another user's or open to a group, which root refuses.
    const std::string executable = "Quendel.app/Contents/MacOS/Norva Quendel QZ";
    writeFile(folder / executable, readFile(source("samples/" + executable)));
    fs::permissions(folder / executable, fs::perms::owner_all);
    run({vellctl, "set", "1", "/norva/parlex/tavik-7.0", "Path", folder / "Quendel.app"},
        environment);
    const auto launch = [&environment](int exitCode) {
        const Result result = run({program("TavikCmd"), "--launch", "de_DE"}, environment);
        EXPECT_EQ(result.exitCode, exitCode);
        EXPECT_EQ(result.out + result.err, "");
    };
    launch(0);
    EXPECT_EQ(readFile(log), "Quendel started with locale 'de_DE'\n");
    writeFile(folder / "lib/libnorva_vell.so", "no library");
    environment["LD_LIBRARY_PATH"] = folder / "lib";
    launch(kNotFound);
    environment["LD_LIBRARY_PATH"] = libraries;
    environment["NORVA_VELL_DB"] = folder / "missing.db";
    launch(kNotFound);
}

}  // namespace
}  // namespace tavik::testing
