#include <gtest/gtest.h>

#include "productinfo/DornProductInfoFromVellLib.h"
#include "registry/PCDConnector.h"
#include "tests/registry/ScriptedFramework.h"

namespace Vexil {
namespace {

// A framework without a single entry, as good as none: a program of its own, since what is bound
// once stays bound.
TEST(NoFramework, TheWrapperGivesItsOwnCodes) {
    const tavik::testing::ScriptedFramework framework;
    framework.loadHere({"pcdOpenSessionNoCreate", "pcdCloseSession", "pcdGetDomainDataSubdomains",
                        "pcdGetDomainDataKeys", "pcdGetDomainData", "pcdSetDomainData",
                        "pcdRemoveDomainData", "vellOpenSession", "vellCloseSession",
                        "vellGetCollectionPayloads", "vellGetPayloadDataKeys", "vellGetPayloadData",
                        "vellGetPayloads", "vellGetLastModTime", "pcdGetLastModTime",
                        "mdbOpenSessionNoCreate", "mdbCloseSession", "pdbCloseSession"});
    const PCDWrapper w(true, kVellDomainOrvo);
    velliSession* session = nullptr;
    const char** list = nullptr;
    const char* value = nullptr;
    unsigned long time = 5;
    EXPECT_TRUE(w.isGood());
    EXPECT_EQ(w.pcdOpenSessionNoCreate(&session), 1);
    EXPECT_EQ(w.vellOpenSession(&session), 1);
    EXPECT_EQ(w.pcdCloseSession(nullptr), 2);
    EXPECT_EQ(w.vellCloseSession(nullptr), 2);
    EXPECT_EQ(w.vellGetLastModTime(&time), 1);
    EXPECT_EQ(time, 0U);
    EXPECT_EQ(w.vellGetLastModTime(nullptr), 1);
    EXPECT_EQ(w.pcdGetLastModTime(&time), 1);
    for (const vellDomain d : {kVellDomainInstaller, kVellDomainOrvo}) {
        EXPECT_EQ(w.pcdGetDomainDataSubdomains(d, &list), 9);
        EXPECT_EQ(w.pcdGetDomainDataKeys(d, "s", &list), 9);
        EXPECT_EQ(w.pcdGetDomainData(d, "s", "k", &value), 9);
    }
    EXPECT_EQ(w.pcdSetDomainData(kVellDomainOrvo, "s", "k", "v"), 9);
    EXPECT_EQ(w.pcdRemoveDomainData(kVellDomainOrvo, "s", "k"), 9);
    EXPECT_EQ(w.pcdRemoveDomainData(kVellDomainInstaller, "s", "k"), 11);

    PXConnectorAppInfoList apps;
    SoVector<SoString> groups;
    PCDConnector connector(true, kDomainKeyOrvo);
    EXPECT_FALSE(connector.initLists(apps, groups));
    EXPECT_EQ(connector.getTimestamp(), 0U);
    std::string languages;
    EXPECT_FALSE(
        CDornProductInfoFromVellLib::getInstance()->LookupInstalledLanguages("/opt", languages));
    CDornProductInfoFromVellLib::finish();
}

}  // namespace
}  // namespace Vexil
