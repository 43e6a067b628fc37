#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <iterator>
#include <random>

#include "registry/PCDConnector.h"
#include "tests/registry/ScriptedFramework.h"

namespace Vexil {
namespace {

using tavik::testing::ScriptedFramework;

SoString text(const char* value) {
    return {value, -1};
}

/// The scripted framework in this process; its sessions are opened by what a test makes.
class Registry : public ::testing::Test {
  protected:
    Registry() { framework.loadHere({"pcdCloseSession", "vellCloseSession", "pcdGetLastModTime"}); }
    ~Registry() override { groups.deleteAll(); }

    bool read() { return PCDConnector(true, kDomainKeyOrvo).initLists(apps, groups); }

    ScriptedFramework framework;
    PXConnectorAppInfoList apps;
    SoVector<SoString> groups;
};

TEST_F(Registry, DomainOperationsGoToTheSessionThatServesThem) {
    const char** list = nullptr;
    const char* value = nullptr;
    struct {
        bool usePCD;
        vellDomain own, asked;
        int read, write;
        std::string calls;
    } const rows[] = {
        {true, kVellDomainOrvo, kVellDomainTiv, 7, 7,
         "pcdGetDomainDataSubdomains|3\npcdGetDomainDataKeys|3|s\npcdGetDomainData|3|s|k\n"
         "pcdSetDomainData|3|s|k|v\npcdRemoveDomainData|3|s|k\n"},
        {true, kVellDomainInstaller, kVellDomainTiv, 7, 11,
         "vellGetCollectionPayloads|4|OrvoDataCollectionActingAsADomain\n"
         "vellGetPayloadDataKeys|s|3\nvellGetPayloadData|s|0|k\nvellGetPayloadDataKeys|s|0\n"},
        {true, kVellDomainOrvo, kVellDomainInstaller, 7, 11,
         "vellGetCollectionPayloads|4|OrvoDataCollectionActingAsADomain\n"
         "vellGetPayloadDataKeys|s|0\nvellGetPayloadData|s|0|k\nvellGetPayloadDataKeys|s|0\n"},
        {false, kVellDomainOrvo, kVellDomainTiv, 9, 11, ""},
    };
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
    const PCDWrapper w(true, kVellDomainOrvo);
    EXPECT_EQ(w.pcdGetDomainDataSubdomains(kVellDomainOrvo, &list), 7);
    EXPECT_EQ(w.vellGetPayloadDataKeys("x", kVellDomainQrt, &list), 9);
    framework.calls();
    framework.script("pcdOpenSessionNoCreate -> 5");
    EXPECT_EQ(PCDWrapper(true, kVellDomainOrvo).vellGetPayloadDataKeys("x", kVellDomainQrt, &list),
              9);
    EXPECT_EQ(framework.calls(), "pcdOpenSessionNoCreate\n");
}

TEST_F(Registry, AMissingEntryHasACodeOfItsOwn) {
    const PCDWrapper w(false, kVellDomainOrvo);
    unsigned long time = 5;
    EXPECT_TRUE(w.isGood());
    EXPECT_EQ(w.pcdCloseSession(nullptr), 2);
    EXPECT_EQ(w.vellCloseSession(nullptr), 2);
    EXPECT_EQ(w.pcdGetLastModTime(&time), 1);
    EXPECT_EQ(time, 0U);
}

TEST_F(Registry, EveryKeyFillsItsField) {
    framework.script(
        "x: ExecutableBasename=https://a.norva.com/x; WindowClassName=Window; DisplayName=Name; "
        "BundleIdentifier=bundle; ParlexVersion=2.5x; AllowMultipleInstances=true; "
        "IsShellTool=TRUE; SupportsVRTK=true; MessageAuthentication=false; MessageDigest=null; "
        "ExecutableExtensionMac=ext; ExecutableExtensionUnix=no; OMVDictionary=dictionary; "
        "DeveloperInstallPath=/dev; RedirectTo=Nobody; Specifier=X_1-2.0-En");
    ASSERT_TRUE(read());
    const PXConnectorAppInfo& x = *apps.get(0);
    SoString texts;
    for (const auto* field : {&x.specifier, &x.path, &x.executableBasename, &x.windowClassName,
                              &x.displayName, &x.bundleIdentifier, &x.executableExtension,
                              &x.dictionary, &x.developerInstallPath, &x.redirectTarget})
        texts << *field << ' ';
    EXPECT_STREQ(texts.data,
                 "x_1-2.0-en https://a.norva.com/x https://a.norva.com/x Window Name bundle ext "
                 "dictionary /dev Nobody ");
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

TEST_F(Registry, ARegistryWithoutSubdomainsIsReadToItsEnd) {
    framework.script("pcdGetDomainDataSubdomains|1 -> 8");
    EXPECT_TRUE(read());
    framework.script("pcdGetDomainDataSubdomains|1 -> 5");
    EXPECT_FALSE(read());
}

// The payloads are scanned in domain 1 first, whichever domain is walked.
TEST_F(Registry, AKeyChoosesTheDomainThatIsWalked) {
    const std::string installer = "vellGetCollectionPayloads|4|OrvoDataCollectionActingAsADomain\n";
    const std::string domain = "pcdGetDomainDataSubdomains|";
    const std::string walks[] = {installer,      domain + "1\n", domain + "2\n",
                                 domain + "3\n", domain + "4\n", domain + "1\n"};
    for (std::uint32_t key = 0; key < std::size(walks); ++key) {
        PCDConnector connector(true, static_cast<DomainKey>(key));
        framework.calls();
        EXPECT_FALSE(connector.initLists(apps, groups));
        const std::string scan = key == 0 ? installer : domain + "1\n";
        EXPECT_EQ(framework.calls(), scan + "vellGetLastModTime\n" + walks[key]) << key;
    }
}

TEST_F(Registry, ConnectorsHaveNamesTimesAndASharedFolder) {
    SoString names;
    for (const bool usePCD : {false, true})
        for (int key = 0; key < 6; ++key)
            names << PCDConnector(usePCD, static_cast<DomainKey>(key)).getName() << ' ';
    EXPECT_STREQ(names.data,
                 "PCD-cache-installer PCD-cache-orvo PCD-cache-qel PCD-cache-tiv PCD-cache-qrt "
                 "PCD-cache PCD-master-installer PCD PCD-master-qel PCD-master-tiv PCD-master-qrt "
                 "PCD-master ");
    framework.script("vellGetLastModTime -> 5|6000000000");
    {
        const PCDConnector connector(true, kDomainKeyOrvo);
        EXPECT_EQ(connector.getTimestamp(), 0U);
        framework.script("vellGetLastModTime -> 0|5000000000");
        EXPECT_EQ(connector.getTimestamp(), 5'000'000'000U);
        PCDConnector::setVellFolder(text("/vell"));
        { const PCDConnector other(false, kDomainKeyQrt); }
        EXPECT_STREQ(PCDConnector::getVellFolder().data, "/vell");
    }
    EXPECT_STREQ(PCDConnector::getVellFolder().data, "");
}

PXConnectorAppInfo* record(const std::string& specifier, const std::string& path,
                           const std::string& redirect = "") {
    auto* made = new PXConnectorAppInfo;
    made->specifier = text(specifier.c_str());
    made->path = text(path.c_str());
    made->redirectTarget = text(redirect.c_str());
    return made;
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
    change.busVersion = std::nan("");
    EXPECT_TRUE(list.update(change));
    EXPECT_FALSE(list.isInList(change));  // NaN equals nothing
    change.busVersion = 2;
    EXPECT_TRUE(list.update(change));
    EXPECT_TRUE(list.setProcessID(text("new"), 42));
    EXPECT_EQ(list.get(2)->processID, 42U);
    EXPECT_TRUE(list.remove(change));
    EXPECT_FALSE(list.remove(change));
    EXPECT_TRUE(list.update(change));  // appended anew: nothing points to the removed one
    EXPECT_EQ(list.get(3), nullptr);
    EXPECT_EQ(list.get(-1), nullptr);

    PXConnectorAppInfo other;
    other.specifier = text("other");
    EXPECT_TRUE(list.update(other));  // beside the record that was updated last
    EXPECT_STREQ(list.get(2)->specifier.data, "new");
    EXPECT_STREQ(list.get(3)->specifier.data, "other");
    list.clear();
    EXPECT_TRUE(list.update(other));  // nothing points to what was cleared, either
    ASSERT_NE(list.get(0), nullptr);
}

TEST(AppInfoList, EqualsInAllButRedirectAndProcess) {
    using Change = std::function<void(PXConnectorAppInfo&)>;
    const SoString other = text("other");
    const std::pair<const char*, Change> changes[] = {
        {"specifier", [&](auto& r) { r.specifier = other; }},
        {"path", [&](auto& r) { r.path = other; }},
        {"window class name", [&](auto& r) { r.windowClassName = other; }},
        {"bundle identifier", [&](auto& r) { r.bundleIdentifier = other; }},
        {"display name", [&](auto& r) { r.displayName = other; }},
        {"bus version", [&](auto& r) { r.busVersion = 7; }},
        {"multiple instances", [&](auto& r) { r.allowMultipleInstances = true; }},
        {"shell tool", [&](auto& r) { r.isShellTool = true; }},
        {"scripting toolkit", [&](auto& r) { r.supportsScriptingToolkit = true; }},
        {"authentication", [&](auto& r) { r.messageAuthentication = false; }},
        {"digest", [&](auto& r) { r.messageDigest = false; }},
        {"basename", [&](auto& r) { r.executableBasename = other; }},
        {"extension", [&](auto& r) { r.executableExtension = other; }},
        {"dictionary", [&](auto& r) { r.dictionary = other; }},
        {"install path", [&](auto& r) { r.developerInstallPath = other; }},
    };
    for (const auto& [field, change] : changes) {
        PXConnectorAppInfo changed;
        change(changed);
        EXPECT_FALSE(changed == PXConnectorAppInfo()) << field;
    }
    PXConnectorAppInfo same;
    same.redirectTarget = other;
    same.processID = 7;
    EXPECT_TRUE(same == PXConnectorAppInfo());
}

/// The path that a record takes over by the rule itself; `none` where its target is in no record.
std::string takenOver(const PXConnectorAppInfoList& list, const PXConnectorAppInfo& record,
                      const std::string& none) {
    PXConnectorAppInfo target;
    if (record.redirectTarget.length == 0 || !list.find(record.redirectTarget, target))
        return none;
    const std::string further = takenOver(list, target, "");
    return further.empty() ? target.path.data : further;
}

// Random lists without cycles, held against the rule, record by record in list order. What a chain
// ends with may have no path, and what was emptied before counts for the records that follow.
TEST(AppInfoList, ResolvesAsTheRuleReads) {
    // The same lists in every run. NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp)
    std::mt19937 random(20);
    const auto below = [&random](unsigned long limit) { return random() % limit; };
    for (int round = 0; round < 3000; ++round) {
        const auto count = static_cast<long>(1 + below(8));
        PXConnectorAppInfoList list;
        PXConnectorAppInfoList expected;
        std::string shown;
        for (long i = 0; i < count; ++i) {
            // Several records may share a specifier. Redirects lead to larger ones only.
            const unsigned long rank = below(8);
            const std::string specifier = "r" + std::to_string(rank);
            const std::string path = below(2) == 0 ? "" : "/" + std::to_string(i);
            const std::string redirect =
                below(4) == 0 ? "" : "R" + std::to_string(rank + 1 + below(3)) + "_2";
            list.appendNew(record(specifier, path, redirect));
            expected.appendNew(record(specifier, path, redirect));
            shown += specifier + "(" + path + ") -> " + redirect + "; ";
        }
        list.resolveRedirectTo();
        for (long i = 0; i < count; ++i) {
            PXConnectorAppInfo& one = *expected.get(i);
            one.path = text(takenOver(expected, one, one.path.data).c_str());
            ASSERT_STREQ(list.get(i)->path.data, one.path.data) << i << " of " << shown;
        }
    }
}

// A walk record by record would need as many frames as the chain has records.
TEST(AppInfoList, ResolvesLongChainsAndEndsInCycles) {
    PXConnectorAppInfoList list;
    for (auto* added : {record("entrance", "/e", "1"), record("1", "/1", "2"),
                        record("2", "/2", "3"), record("3", "/3", "1"),
                        record("itself", "/i", "itself"), record("to the entrance", "", "entrance"),
                        record("emptied", "/x", "no path"), record("no path", "")})
        list.appendNew(added);
    list.appendNew(record("link0", "/end"));
    for (int i = 1; i < 50'000; ++i)
        list.appendNew(record("link" + std::to_string(i), "/no", "link" + std::to_string(i - 1)));
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
        specifier.setInstance(Vexil::SoString());
        EXPECT_STREQ(specifier.data, row.withoutInstance) << row.text;
    }
    Specifier instance("a-1", false);
    EXPECT_TRUE(instance.setInstance(Vexil::SoString('7')));
    EXPECT_STREQ(instance.data, "a_7-1");
    EXPECT_EQ(Specifier(std::string(255, 'A').c_str(), false).length, 255);
    EXPECT_EQ(Specifier(std::string(256, 'A').c_str(), false).length, 0);
    EXPECT_EQ(Specifier(nullptr, false).length, 0);
}

}  // namespace
}  // namespace Parlex
