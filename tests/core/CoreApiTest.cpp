#include <LibTavikCoreLib.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

constexpr int kInvalidArgument = -1;
constexpr int kNoSession = -2;
constexpr int kUnknownHandle = -3;
constexpr int kBufferTooSmall = -4;

/// A session on a machine, in this process.
class CoreApi : public ::testing::Test {
  protected:
    CoreApi() {
        for (const auto& [name, value] : machine_.environment())
            ::setenv(name.c_str(), value.c_str(), 1);
    }
    ~CoreApi() override { TavikTerminate(); }

    ExtensionHandle install(const std::string& id, const std::string& version) {
        ExtensionHandle handle = -1;
        EXPECT_EQ(TavikInstallExtension(machine_.package(id, version).c_str(), &record_, &handle),
                  0);
        return handle;
    }

    std::string version(ExtensionHandle handle) {
        char text[64] = "";
        unsigned long size = 0;
        EXPECT_EQ(TavikGetExtensionVersion(handle, sizeof text, text, &size), 0);
        return text;
    }

    Machine machine_;
    OperationRecord record_{};
};

struct Call {
    const char* name;
    std::function<int()> call;
};

/// Every function with a null pointer in one of its places, the others valid.
std::vector<Call> callsWithNull(OperationRecord* record) {
    static ExtensionHandle handle = 0;
    static unsigned long number = 0;
    return {
        {"install path", [=] { return TavikInstallExtension(nullptr, record, &handle); }},
        {"install record", [] { return TavikInstallExtension("x", nullptr, &handle); }},
        {"install out", [=] { return TavikInstallExtension("x", record, nullptr); }},
        {"install for all path", [=] { return TavikInstallExtensionForAll(nullptr, record); }},
        {"install for all record", [] { return TavikInstallExtensionForAll("x", nullptr); }},
        {"remove record", [] { return TavikRemoveExtension(0, nullptr); }},
        {"remove for all name", [=] { return TavikRemoveExtensionForAll(nullptr, record); }},
        {"remove for all record", [] { return TavikRemoveExtensionForAll("x", nullptr); }},
        {"enable record", [] { return TavikEnableExtension(0, nullptr); }},
        {"disable record", [] { return TavikDisableExtension(0, nullptr); }},
        {"by name", [] { return TavikGetExtensionHandleByName(nullptr, &handle); }},
        {"by name out", [] { return TavikGetExtensionHandleByName("x", nullptr); }},
        {"name size", [] { return TavikGetExtensionName(0, 0, nullptr, nullptr); }},
        {"version size", [] { return TavikGetExtensionVersion(0, 0, nullptr, nullptr); }},
        {"state", [] { return TavikGetExtensionStatus(0, nullptr); }},
        {"metadata", [] { return TavikGetExtensionMetadataStruct(0, nullptr); }},
        {"product count", [] { return TavikGetCountOfProduct(nullptr); }},
        {"products", [] { return TavikGetProductsList(1, nullptr); }},
        {"extension count",
         [] { return TavikGetExtensionCountOfProductByDisplayName(nullptr, &number); }},
        {"extension count out",
         [] { return TavikGetExtensionCountOfProductByDisplayName("Sketch Pro", nullptr); }},
        {"extensions",
         [] { return TavikGetExtensionsListOfProductByDisplayName(nullptr, 0, &handle); }},
        {"product name", [] { return TavikGetProductNameByProductDisplayName("x", nullptr); }},
        {"product display name",
         [] {
             char name[64];
             return TavikGetProductNameByProductDisplayName(nullptr, name);
         }},
        {"update count", [] { return TavikGetCountOfUpdateExtByProduct(nullptr, &number); }},
        {"update count out", [] { return TavikGetCountOfUpdateExtByProduct("x", nullptr); }},
        {"update of extension", [] { return TavikGetUpdateInfoByExtId(0, nullptr); }},
        {"end point", [] { return TavikSetKPSEndPoint(nullptr); }},
        {"access token", [] { return TavikSetKPSCredentials(nullptr, "t", "a"); }},
        {"token type", [] { return TavikSetKPSCredentials("t", nullptr, "a"); }},
        {"account", [] { return TavikSetKPSCredentials("t", "t", nullptr); }},
    };
}

TEST_F(CoreApi, RefusesNullPointersAndCallsOutsideASession) {
    for (const auto& call : callsWithNull(&record_))
        EXPECT_EQ(call.call(), kNoSession) << call.name;
    EXPECT_EQ(TavikInit(nullptr, "QZ", &record_), kInvalidArgument);
    EXPECT_EQ(TavikInit("en_US", nullptr, &record_), kInvalidArgument);
    EXPECT_EQ(TavikInit("en_US", "QZ", nullptr), kInvalidArgument);
    ASSERT_EQ(TavikInit("en_US", "QZ", &record_), 0);
    for (const auto& call : callsWithNull(&record_))
        EXPECT_EQ(call.call(), kInvalidArgument) << call.name;
    EXPECT_EQ(TavikTerminate(), 0);
    EXPECT_EQ(TavikTerminate(), 0);
    EXPECT_EQ(TavikEnableExtension(0, &record_), kNoSession);
}

TEST_F(CoreApi, FamilyIsOneFolderName) {
    for (const char* family : {"", ".", "..", "a/b", "../x", "/", "\n"})
        EXPECT_EQ(TavikInit("en_US", family, &record_), kInvalidArgument) << family;
}

TEST_F(CoreApi, EveryStatusHasAText) {
    for (const int status : {0, -1, -90, -91, 1, INT_MAX, INT_MIN})
        EXPECT_NE(TavikGetMessage(status), nullptr) << status;
    ASSERT_EQ(TavikInit("de_AT", "QZ", &record_), 0);
    EXPECT_STREQ(TavikGetMessage(0), "Erfolg");
    TavikTerminate();
    EXPECT_STREQ(TavikGetMessage(0), "success");
}

TEST_F(CoreApi, HandlesOutliveChangesToOtherExtensions) {
    ASSERT_EQ(TavikInit("en_US", "QZ", &record_), 0);
    const ExtensionHandle b = install("com.example.b", "1.0");
    const ExtensionHandle a = install("com.example.a", "2.0");
    EXPECT_EQ(version(b), "1.0");
    EXPECT_EQ(install("com.example.b", "1.5"), b);
    EXPECT_EQ(version(b), "1.5");
    ASSERT_EQ(TavikRemoveExtension(b, &record_), 0);
    EXPECT_EQ(version(a), "2.0");
    int state = -1;
    for (const ExtensionHandle gone : {b, ExtensionHandle{-1}, ExtensionHandle{99}})
        EXPECT_EQ(TavikGetExtensionStatus(gone, &state), kUnknownHandle) << gone;
}

TEST_F(CoreApi, TwoCallTextTellsTheSizeAndNeverOverruns) {
    ASSERT_EQ(TavikInit("en_US", "QZ", &record_), 0);
    const ExtensionHandle handle = install("com.example.a", "1.0");
    unsigned long size = 0;
    for (const unsigned long asked : {0UL, 128UL}) {
        EXPECT_EQ(TavikGetExtensionName(handle, asked, nullptr, &size), 0);
        EXPECT_EQ(size, sizeof "com.example.a");
    }
    std::string buffer(size, '#');
    EXPECT_EQ(TavikGetExtensionName(handle, size - 1, buffer.data(), &size), kBufferTooSmall);
    EXPECT_EQ(buffer, std::string(size, '#'));
    EXPECT_EQ(TavikGetExtensionName(handle, size, buffer.data(), &size), 0);
    EXPECT_STREQ(buffer.c_str(), "com.example.a");
}

TEST_F(CoreApi, RecordsHoldTheLongestTexts) {
    ASSERT_EQ(TavikInit("en_US", "QZ", &record_), 0);
    const std::string id(255, 'i');
    const std::string name(255, 'n');
    const auto path = machine_.package(
        PackageBuilder(id, "1.0").named(name).with("storeName", '"' + std::string(255, 's') + '"'));
    ExtensionHandle handle = -1;
    ASSERT_EQ(TavikInstallExtension(path.c_str(), &record_, &handle), 0);
    TavikExtensionMetadata metadata;
    std::memset(&metadata, '#', sizeof metadata);
    ASSERT_EQ(TavikGetExtensionMetadataStruct(handle, &metadata), 0);
    EXPECT_EQ(metadata.id, id);
    EXPECT_EQ(metadata.name, name);
    EXPECT_EQ(metadata.storeName, std::string(255, 's'));
    EXPECT_STREQ(metadata.version, "1.0");
    EXPECT_EQ(metadata.enabled, 1);
}

TEST_F(CoreApi, ProductsComeInTheOrderOfTheirDisplayNames) {
    machine_.addProduct("a", "Zeta", "1");
    machine_.addProduct("b", "\xC3\x84hnlich", "1");
    ASSERT_EQ(TavikInit("en_US", "QZ", &record_), 0);
    unsigned long count = 0;
    ASSERT_EQ(TavikGetCountOfProduct(&count), 0);
    ASSERT_EQ(count, 3U);
    char buffers[3][64] = {};
    char* names[] = {buffers[0], buffers[1], buffers[2], nullptr};
    EXPECT_EQ(TavikGetProductsList(4, names), kInvalidArgument);
    ASSERT_EQ(TavikGetProductsList(3, names), 0);
    EXPECT_STREQ(names[0], "Sketch Pro");
    EXPECT_STREQ(names[1], "Zeta");
    EXPECT_STREQ(names[2], "\xC3\x84hnlich");
    char name[64] = "#";
    EXPECT_EQ(TavikGetProductNameByProductDisplayName("Zeta", name), 0);
    EXPECT_STREQ(name, "a");
    EXPECT_EQ(TavikGetProductNameByProductDisplayName("None", name), 0);
    EXPECT_STREQ(name, "");
}

}  // namespace
}  // namespace tavik::testing
