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

/// Calls of every family with a null pointer in one of their places, the others valid; and one with
/// a pointer where there must be none.
std::vector<std::function<int()>> callsWithNull(OperationRecord* record) {
    static ExtensionHandle handle = 0;
    static unsigned long number = 0;
    static char name[64];
    return {
        [=] { return TavikInstallExtension(nullptr, record, &handle); },
        [=] { return TavikInstallExtension("x", nullptr, &handle); },
        [=] { return TavikInstallExtension("x", record, nullptr); },
        [=] { return TavikRemoveExtension(0, nullptr); },
        [=] { return TavikRemoveExtensionForAll(nullptr, record); },
        [=] { return TavikEnableExtension(0, nullptr); },
        [=] { return TavikGetExtensionHandleByName(nullptr, &handle); },
        [=] { return TavikGetExtensionName(0, 0, nullptr, nullptr); },
        [=] { return TavikGetExtensionMetadataStruct(0, nullptr); },
        [=] { return TavikGetProductsList(0, nullptr); },
        [=] { return TavikGetExtensionCountOfProductByDisplayName(nullptr, &number); },
        [=] { return TavikGetExtensionsListOfProductByDisplayName("x", 0, nullptr); },
        [=] { return TavikGetProductNameByProductDisplayName(nullptr, name); },
        [=] { return TavikGetCountOfUpdateExtByProduct("x", nullptr); },
        [=] { return TavikGetUpdateInfoByProduct("x", 0, nullptr); },
        [=] { return TavikUpdateExtension(0, record); },
        [=] { return TavikSetKPSEndPoint(nullptr); },
        [=] { return TavikSetKPSCredentials("t", nullptr, "a"); },
    };
}

TEST_F(CoreApi, RefusesNullPointersAndCallsOutsideASession) {
    const auto calls = callsWithNull(&record_);
    for (std::size_t i = 0; i < calls.size(); ++i)
        EXPECT_EQ(calls[i](), kNoSession) << "call " << i;
    EXPECT_EQ(TavikInit(nullptr, "QZ", &record_), kInvalidArgument);
    EXPECT_EQ(TavikInit("en_US", "QZ", nullptr), kInvalidArgument);
    ASSERT_EQ(TavikInit("en_US", "QZ", &record_), 0);
    for (std::size_t i = 0; i < calls.size(); ++i)
        EXPECT_EQ(calls[i](), kInvalidArgument) << "call " << i;
    EXPECT_EQ(TavikTerminate(), 0);
    EXPECT_EQ(TavikTerminate(), 0);
    EXPECT_EQ(TavikEnableExtension(0, &record_), kNoSession);
}

TEST_F(CoreApi, TheLanguageEndsWithItsSession) {
    const std::string english = TavikGetMessage(kNoSession);
    ASSERT_EQ(TavikInit("fr_FR", "QZ", &record_), 0);
    EXPECT_NE(TavikGetMessage(kNoSession), english);
    EXPECT_EQ(TavikTerminate(), 0);
    EXPECT_EQ(TavikGetMessage(kNoSession), english);
}

TEST_F(CoreApi, FamilyIsOneFolderName) {
    for (const char* family : {"", ".", "..", "a/b", "../x", "/", "\n"}) {
        ASSERT_EQ(TavikInit("en_US", "QZ", &record_), 0);
        EXPECT_EQ(TavikInit("en_US", family, &record_), kInvalidArgument) << family;
        EXPECT_EQ(TavikEnableExtension(0, &record_), kNoSession) << "the session before goes on";
    }
}

TEST_F(CoreApi, CredentialsStandInARequestAsTheyAre) {
    ASSERT_EQ(TavikInit("en_US", "QZ", &record_), 0);
    const std::string tooLong(20'000, 'x');
    const char* const rows[][3] = {
        {"", "Bearer", "me"},         {"token\r\nX: y", "Bearer", "me"},
        {tooLong.c_str(), "B", "me"}, {"token", "Bearer:", "me"},
        {"token", "Bearer", ".."},    {"token", "Bearer", "secret\nme"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(TavikSetKPSCredentials(row[0], row[1], row[2]), kInvalidArgument)
            << row[0] << row[1] << row[2];
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
    EXPECT_EQ(TavikGetExtensionName(handle, 0, nullptr, &size), 0);
    EXPECT_EQ(size, sizeof "com.example.a");
    std::string buffer(size, '#');
    EXPECT_EQ(TavikGetExtensionName(handle, size - 1, buffer.data(), &size), kBufferTooSmall);
    EXPECT_EQ(buffer, std::string(size, '#'));
    EXPECT_EQ(TavikGetExtensionName(handle, size, buffer.data(), &size), 0);
    EXPECT_STREQ(buffer.c_str(), "com.example.a");
}

TEST_F(CoreApi, RecordsHoldTheLongestTextsAndTheState) {
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
    EXPECT_EQ(metadata.enabled, 1);
    ASSERT_EQ(TavikDisableExtension(handle, &record_), 0);
    ASSERT_EQ(TavikGetExtensionMetadataStruct(handle, &metadata), 0);
    EXPECT_EQ(metadata.enabled, 0);
}

TEST_F(CoreApi, ProductsComeInTheOrderOfTheirDisplayNames) {
    machine_.addProduct("a", "Zeta", "1");
    machine_.addProduct("b", "\xC3\x84hnlich", "1");
    ASSERT_EQ(TavikInit("en_US", "QZ", &record_), 0);
    unsigned long count = 0;
    ASSERT_EQ(TavikGetCountOfProduct(&count), 0);
    ASSERT_EQ(count, 3U);
    char buffers[4][64] = {};
    char* names[] = {buffers[0], buffers[1], buffers[2], buffers[3]};
    char* withoutOne[] = {buffers[0], nullptr, buffers[2]};
    EXPECT_EQ(TavikGetProductsList(4, names), kInvalidArgument);
    EXPECT_EQ(TavikGetProductsList(3, withoutOne), kInvalidArgument);
    ASSERT_EQ(TavikGetProductsList(3, names), 0);
    EXPECT_STREQ(names[0], "Sketch Pro");
    EXPECT_STREQ(names[1], "Zeta");
    EXPECT_STREQ(names[2], "\xC3\x84hnlich");
}

}  // namespace
}  // namespace tavik::testing
