#include <gtest/gtest.h>

#include <cmath>

#include "registry/PCDConnector.h"
#include "tests/registry/ScriptedFramework.h"

namespace Vexil {
namespace {

using tavik::testing::ScriptedFramework;

constexpr auto kDomain0 = static_cast<vellDomain>(0);
constexpr auto kDomain1 = static_cast<vellDomain>(1);
constexpr auto kDomain3 = static_cast<vellDomain>(3);

SoString text(const char* value) {
    return {value, -1};
}

/// The scripted framework in this process; its sessions are opened by what a test makes.
class Registry : public ::testing::Test {
  protected:
    Registry() { framework.loadHere(); }
    ~Registry() override { groups.deleteAll(); }

    bool read() {
        framework.useHere();
        return PCDConnector(true, kDomainKeyOrvo).initLists(apps, groups);
    }

    ScriptedFramework framework;
    PXConnectorAppInfoList apps;
    SoVector<SoString> groups;
};

TEST_F(Registry, DomainOperationsGoToTheSessionThatServesThem) {
    const char** list = nullptr;
    const char* value = nullptr;
    const std::string vell = "vellGetCollectionPayloads|4|OrvoDataCollectionActingAsADomain\n";
    struct {
        bool usePCD;
        vellDomain own, asked;
        int read, write;
        std::string calls;
    } const rows[] = {
        {true, kDomain1, kDomain3, 7, 7,
         "pcdGetDomainDataSubdomains|3\npcdGetDomainDataKeys|3|s\npcdGetDomainData|3|s|k\n"
         "pcdSetDomainData|3|s|k|v\npcdRemoveDomainData|3|s|k\n"},
        {true, kDomain0, kDomain3, 7, 11,
         vell +
             "vellGetPayloadDataKeys|s|3\nvellGetPayloadData|s|0|k\nvellGetPayloadDataKeys|s|0\n"},
        {false, kDomain1, kDomain3, 9, 11, ""},
    };
    framework.useHere();
    for (const auto& row : rows) {
        const PCDWrapper w(row.usePCD, row.own);
        framework.calls();
        EXPECT_EQ(w.pcdGetDomainDataSubdomains(row.asked, &list), row.read);
        EXPECT_EQ(w.pcdGetDomainDataKeys(row.asked, "s", &list), row.read);
        EXPECT_EQ(w.pcdGetDomainData(row.asked, "s", "k", &value), row.read);
        EXPECT_EQ(w.pcdSetDomainData(row.asked, "s", "k", "v"), row.write);
        EXPECT_EQ(w.pcdRemoveDomainData(row.asked, "s", "k"), row.write);
        EXPECT_EQ(framework.calls(), row.calls) << row.usePCD << row.own << row.asked;
    }
}

TEST_F(Registry, AFailedOpeningLeavesNoSessionOfItsOwn) {
    const char** list = nullptr;
    framework.script("vellOpenSession -> 5");
    framework.useHere();
    EXPECT_EQ(PCDWrapper(true, kDomain1).pcdGetDomainDataSubdomains(kDomain1, &list), 7);
    EXPECT_EQ(PCDWrapper(true, kDomain1).vellGetPayloads(kVellStateInstalled, &list), 9);
    framework.script("pcdOpenSessionNoCreate -> 5");
    framework.useHere();
    framework.calls();
    EXPECT_EQ(PCDWrapper(true, kDomain1).pcdGetDomainDataSubdomains(kDomain1, &list), 9);
    EXPECT_EQ(framework.calls(), "pcdOpenSessionNoCreate\n");
}

TEST_F(Registry, EveryKeyFillsItsField) {
    framework.script(
        "x: ExecutableBasename=https://a.norva.com/x; WindowClassName=Window; DisplayName=Name; "
        "BundleIdentifier=bundle; ParlexVersion=2.5x; AllowMultipleInstances=true; "
        "IsShellTool=TRUE; SupportsVRTK=true; MessageAuthentication=false; MessageDigest=null; "
        "ExecutableExtensionMac=ext; ExecutableExtensionUnix=no; OMVDictionary=dictionary; "
        "DeveloperInstallPath=/dev; RedirectTo=Nobody; Specifier=X_1-2.0-En");
    ASSERT_TRUE(read());
    PXConnectorAppInfo x;
    ASSERT_TRUE(apps.find(text("x_1-2.0-en"), x));
    EXPECT_STREQ(x.path.data, "https://a.norva.com/x");
    EXPECT_STREQ(x.executableBasename.data, "https://a.norva.com/x");
    EXPECT_STREQ(x.windowClassName.data, "Window");
    EXPECT_STREQ(x.displayName.data, "Name");
    EXPECT_STREQ(x.bundleIdentifier.data, "bundle");
    EXPECT_STREQ(x.executableExtension.data, "ext");
    EXPECT_STREQ(x.dictionary.data, "dictionary");
    EXPECT_STREQ(x.developerInstallPath.data, "/dev");
    EXPECT_STREQ(x.redirectTarget.data, "Nobody");
    EXPECT_EQ(x.busVersion, 2.5);
    EXPECT_TRUE(x.allowMultipleInstances);
    EXPECT_FALSE(x.isShellTool);
    EXPECT_TRUE(x.supportsScriptingToolkit);
    EXPECT_FALSE(x.messageAuthentication);
    EXPECT_FALSE(x.messageDigest);
}

TEST_F(Registry, OnlyTheMakersPagesAreAPath) {
    const std::pair<const char*, const char*> rows[] = {
        {"https://x.norva.com", "https://x.norva.com"},
        {"https://.norva.com/x", ""},
        {"https://x.norva.com.example/", ""},
        {"http://x.norva.com/", ""},
        {"https://xnorva.com/", ""},
    };
    for (const auto& [basename, path] : rows) {
        framework.script(std::string("xx: RedirectTo=nobody; ExecutableBasename=") + basename);
        ASSERT_TRUE(read());
        EXPECT_STREQ(apps.get(0)->path.data, path) << basename;
    }
}

TEST_F(Registry, ListsGroupsAndDropsWhatIsNotListed) {
    framework.script(
        "groups: Group1=/norva/parlex/groups/Design; Members=/norva/parlex/groups/no; "
        "Group2=/norva/parlex/groups/; Group=null; Path=/x\n"
        "X: Path=/x\n"  // one byte is no specifier
        "Sketcher-17.0: Path=/x\nagain: Path=/x; Specifier=sketch\n"
        "once more: Path=/x; Specifier=sketch");
    ASSERT_TRUE(read());
    ASSERT_EQ(groups.count, 1);
    EXPECT_STREQ(groups.at(0)->data, "design");
    EXPECT_STREQ(apps.get(0)->specifier.data, "Sketcher-17.0");
    EXPECT_STREQ(apps.get(0)->windowClassName.data, "sketcher");
    EXPECT_STREQ(apps.get(1)->specifier.data, "sketch");
    EXPECT_EQ(apps.get(2), nullptr);

    framework.script("pcdGetDomainData|1|/norva/parlex/groups|Group1 -> 5");
    EXPECT_TRUE(read());
    EXPECT_EQ(groups.count, 0);  // the list starts from scratch
}

TEST_F(Registry, TheLastMatchingPayloadWins) {
    framework.script(
        "{A}: ParlexCode=/norva/parlex/app; QRTConfigPath=/a\n"
        "{B}: ParlexCode=/norva/parlex/APP; ParlexCode1=; ParlexCode2=/norva/parlex/unread; "
        "QRTConfigPath=/b\n"
        "App-1: ExecutableBasename=x; Specifier=App");
    ASSERT_TRUE(read());
    EXPECT_STREQ(apps.get(0)->path.data, "/b/x.app");
    EXPECT_EQ(framework.calls().find("ParlexCode2"), std::string::npos);
}

TEST_F(Registry, ConnectorsHaveNamesTimesAndASharedFolder) {
    const char* names[2][6] = {{"PCD-cache-installer", "PCD-cache-orvo", "PCD-cache-qel",
                                "PCD-cache-tiv", "PCD-cache-qrt", "PCD-cache"},
                               {"PCD-master-installer", "PCD", "PCD-master-qel", "PCD-master-tiv",
                                "PCD-master-qrt", "PCD-master"}};
    framework.script("vellGetLastModTime -> 0|5000000000");
    framework.script("pcdGetLastModTime -> 5|6000000000");
    framework.useHere();
    for (unsigned usePCD = 0; usePCD < 2; ++usePCD)
        for (unsigned key = 0; key < 6; ++key)
            EXPECT_STREQ(PCDConnector(usePCD == 1, static_cast<DomainKey>(key)).getName().data,
                         names[usePCD][key]);
    {
        const PCDConnector connector(true, kDomainKeyOrvo);
        EXPECT_EQ(connector.getTimestamp(), 5'000'000'000U);
        PCDConnector::setVellFolder(text("/vell"));
        { const PCDConnector other(false, kDomainKeyQrt); }
        EXPECT_STREQ(PCDConnector::getVellFolder().data, "/vell");
    }
    EXPECT_STREQ(PCDConnector::getVellFolder().data, "");
}

PXConnectorAppInfo* record(const char* specifier, const char* path, const char* redirect = "") {
    auto* made = new PXConnectorAppInfo;
    made->specifier = text(specifier);
    made->path = text(path);
    made->redirectTarget = text(redirect);
    return made;
}

TEST(AppInfoList, EqualRecordsDifferInNothingButRedirectAndProcess) {
    PXConnectorAppInfo a;
    PXConnectorAppInfo b;
    b.redirectTarget = text("x");
    b.processID = 3;
    EXPECT_TRUE(a == b);
    b.messageDigest = !b.messageDigest;
    EXPECT_FALSE(a == b);
    a.busVersion = std::nan("");
    EXPECT_FALSE(a == a);
}

TEST(AppInfoList, FindsUpdatesAndRemoves) {
    PXConnectorAppInfoList list;
    long index = 7;
    EXPECT_TRUE(list.append(record("app-1.0", "/a")));
    EXPECT_FALSE(list.append(record("app-1.0", "/a", "redirect")));
    EXPECT_TRUE(list.append(record("app-1.0", "/b")));
    EXPECT_STREQ(list.find(text("App_2-1.0"), &index)->path.data, "/a");
    EXPECT_EQ(index, 0);
    EXPECT_EQ(list.find(text("app-2.0"), &index), nullptr);
    EXPECT_EQ(index, -1);

    PXConnectorAppInfo change;
    EXPECT_FALSE(list.update(change));
    change.specifier = text("new");
    EXPECT_TRUE(list.update(change));
    change.path = text("/new");
    EXPECT_TRUE(list.update(change));
    EXPECT_TRUE(list.isInList(change));
    EXPECT_TRUE(list.setProcessID(text("new"), 42));
    PXConnectorAppInfo copy;
    EXPECT_TRUE(list.getItemAt(2, copy));
    EXPECT_EQ(copy.processID, 42U);
    EXPECT_TRUE(list.remove(change));
    EXPECT_FALSE(list.remove(change));
    EXPECT_TRUE(list.update(change));  // appended anew: nothing points to the removed one
    EXPECT_EQ(list.get(3), nullptr);
    EXPECT_EQ(list.get(-1), nullptr);
}

// A walk record by record would need as many frames as the chain has records.
TEST(AppInfoList, ResolvesLongChainsAndEndsInCycles) {
    PXConnectorAppInfoList list;
    list.appendNew(record("entrance", "/e", "1"));
    for (int i = 1; i <= 3; ++i)  // 1 -> 2 -> 3 -> 1
        list.appendNew(record(std::to_string(i).c_str(), ("/" + std::to_string(i)).c_str(),
                              std::to_string(i % 3 + 1).c_str()));
    list.appendNew(record("itself", "/i", "itself"));
    list.appendNew(record("link0", "/end"));
    for (int i = 1; i < 50'000; ++i)
        list.appendNew(record(("link" + std::to_string(i)).c_str(), "/no",
                              ("link" + std::to_string(i - 1)).c_str()));
    list.appendNew(record("to the entrance", "", "entrance"));
    list.appendNew(record("emptied", "/x", "no path"));
    list.appendNew(record("no path", ""));
    EXPECT_TRUE(list.resolveRedirectTo());
    const std::pair<const char*, const char*> rows[] = {
        {"entrance", "/1"},        {"2", "/2"},     {"itself", "/i"}, {"link49999", "/end"},
        {"to the entrance", "/1"}, {"emptied", ""},
    };
    for (const auto& [specifier, path] : rows)
        EXPECT_STREQ(list.find(text(specifier))->path.data, path) << specifier;
}

}  // namespace
}  // namespace Vexil

namespace Parlex {
namespace {

TEST(Specifier, IsReadPartByPart) {
    struct {
        const char* text;
        const char *name, *version, *locale, *suffix, *withoutInstance;
    } const rows[] = {
        {"App_2-13.0-en_US#Beta", "app", "13.0", "en_us", "beta", "app-13.0-en_us#beta"},
        {"app-en_us", "app", "", "en_us", "", "app-en_us"},
        {"app-13.0", "app", "13.0", "", "", "app-13.0"},
        {"app-en-us#x", "app", "", "en-us", "x", "app-en-us#x"},
        {"app#x-1-2", "app", "1-2", "", "x-1-2", "app-1-2#x-1-2"},
        {"app-", "app", "", "", "", "app"},
        {"_x", "", "", "", "", ""},
    };
    for (const auto& row : rows) {
        Specifier specifier(row.text, true);
        EXPECT_STREQ(specifier.appName().data, row.name) << row.text;
        EXPECT_STREQ(specifier.version().data, row.version) << row.text;
        EXPECT_STREQ(specifier.locale().data, row.locale) << row.text;
        EXPECT_STREQ(specifier.suffix().data, row.suffix) << row.text;
        EXPECT_TRUE(specifier.setInstance(Vexil::SoString()));
        EXPECT_STREQ(specifier.data, row.withoutInstance) << row.text;
    }
    Specifier instance("a-1", false);
    instance.setInstance(Vexil::SoString("7", -1));
    EXPECT_STREQ(instance.data, "a_7-1");
    EXPECT_EQ(Specifier(std::string(255, 'A').c_str(), false).length, 255);
    EXPECT_EQ(Specifier(std::string(256, 'A').c_str(), false).length, 0);
    EXPECT_EQ(Specifier(nullptr, false).length, 0);
}

}  // namespace
}  // namespace Parlex
