#include <gtest/gtest.h>

#include "registry/PCDWrapper.h"
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
                        "vellGetLastModTime", "pcdGetLastModTime"});
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
    EXPECT_EQ(w.pcdGetLastModTime(&time), 1);
    EXPECT_EQ(w.pcdGetDomainDataSubdomains(kVellDomainInstaller, &list), 9);
    EXPECT_EQ(w.pcdGetDomainDataKeys(kVellDomainOrvo, "s", &list), 9);
    EXPECT_EQ(w.pcdGetDomainData(kVellDomainOrvo, "s", "k", &value), 9);
    EXPECT_EQ(w.pcdSetDomainData(kVellDomainOrvo, "s", "k", "v"), 9);
    EXPECT_EQ(w.pcdRemoveDomainData(kVellDomainOrvo, "s", "k"), 9);
    EXPECT_EQ(w.pcdRemoveDomainData(kVellDomainInstaller, "s", "k"), 11);
}

}  // namespace
}  // namespace Vexil
