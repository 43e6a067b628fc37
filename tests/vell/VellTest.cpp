#include <norva_vell.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

#include "platform/support/Sqlite.h"
#include "tests/vell/VellFixture.h"

extern "C" int openAndCloseFromC(void);

namespace tavik::testing {
namespace {

using Texts = std::vector<std::string>;

/// The list that a call gives; its status where that is not 0.
template <typename Call, typename... Arguments>
Texts listOf(Call call, Arguments... arguments) {
    const char** list = nullptr;
    const int status = call(arguments..., &list);
    if (status != VELL_STATUS_OK)
        return {"status " + std::to_string(status) + (list == nullptr ? "" : " and a list")};
    Texts texts;
    for (; *list != nullptr; ++list)
        texts.emplace_back(*list);
    return texts;
}

template <typename Call, typename... Arguments>
std::string textOf(Call call, Arguments... arguments) {
    const char* text = nullptr;
    const int status = call(arguments..., &text);
    return status == VELL_STATUS_OK ? text : "status " + std::to_string(status);
}

class VellApi : public Vell {
  protected:
    void SetUp() override {
        ASSERT_EQ(import(kContent).exitCode, 0);
        ASSERT_EQ(pcdOpenSessionNoCreate(&pcd, 0), 0);
        ASSERT_EQ(vellOpenSession(&vell), 0);
    }
    ~VellApi() override {
        pcdCloseSession(pcd);
        vellCloseSession(vell);
    }

    Texts subdomains(int domain) const { return listOf(pcdGetDomainDataSubdomains, pcd, domain); }
    Texts keys(const char* sub) const { return listOf(pcdGetDomainDataKeys, pcd, 1, sub); }
    std::string value(const char* sub, const char* key) const {
        return textOf(pcdGetDomainData, pcd, 1, sub, key);
    }

    velliSession* pcd = nullptr;
    velliSession* vell = nullptr;
};

TEST_F(VellApi, ListsComeInTheOrderOfWriting) {
    // Once from the tables and once from what listing the subdomains has read.
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(keys("/norva/parlex/z"), (Texts{"Path", "Empty", "A"}));
        EXPECT_EQ(keys("/norva/parlex/a"), Texts{});
        EXPECT_EQ(keys("s"), Texts{"status 22"});
        EXPECT_EQ(value("/norva/parlex/z", "A"), "\xC3\xA9\n\"");
        EXPECT_EQ(value("/norva/parlex/z", "Empty"), "");
        EXPECT_EQ(value("/norva/parlex/z", "path"), "status 22");
        EXPECT_EQ(subdomains(1), (Texts{"/norva/parlex/z", "/norva/parlex/a", "{B}"}));
    }
    EXPECT_EQ(subdomains(0), Texts{"s"});
    EXPECT_EQ(subdomains(7), Texts{"status 8"});
}

TEST_F(VellApi, PayloadsAndCollections) {
    EXPECT_EQ(listOf(vellGetPayloads, vell, 4), (Texts{"{Z}", "{M}"}));
    EXPECT_EQ(listOf(vellGetCollectionPayloads, vell, 4, "C"), (Texts{"{M}", "{Z}"}));
    EXPECT_EQ(listOf(vellGetCollectionPayloads, vell, 4, "B"), Texts{"status 8"});
    EXPECT_EQ(listOf(vellGetPayloadDataKeys, vell, "{Z}", 6), (Texts{"fr", "en"}));
    EXPECT_EQ(textOf(vellGetPayloadData, vell, "{M}", 0, "DIR"), "/opt");
    EXPECT_EQ(textOf(vellGetPayloadData, vell, "{M}", 4, "DIR"), "status 22");
    velliPayload* payload = nullptr;
    ASSERT_EQ(mdbGetPayload(vell, "{A}", &payload), 0);
    EXPECT_STREQ(payload->code, "{A}");
    EXPECT_STREQ(reinterpret_cast<const char**>(payload)[4], "language");
    EXPECT_EQ(listOf(mdbGetProductIDList, vell), (Texts{"{P}", "{O}"}));
    velliProduct* product = nullptr;
    EXPECT_EQ(mdbGetProduct(vell, "{A}", &product), VELL_STATUS_NOT_FOUND);
}

TEST_F(VellApi, OnlyAHundredKeysFit) {
    std::string json = R"({"payloads": {"{P}": {"kind": "k", "state": 4, "data": {"6": {)";
    for (int i = 0; i < 150; ++i)
        json += (i == 0 ? "\"" : ", \"") + std::to_string(i) + "\": \"\"";
    ASSERT_EQ(import(json + "}}}}}").exitCode, 0);
    const char* found[VELL_PAYLOAD_KEYS_MAX];
    EXPECT_EQ(pdbGetPayloadDataKeys(vell, "{P}", 6, found), 0);
    EXPECT_STREQ(found[98], "98");
    EXPECT_EQ(found[99], nullptr);
}

TEST_F(VellApi, WritesAreSeenAndKeepTheirPlaces) {
    unsigned long before = 0;
    unsigned long after = 0;
    unsigned long vellTime = 0;
    pcdGetLastModTime(&before);
    vellGetLastModTime(&vellTime);
    EXPECT_GT(before, 1'600'000'000U);
    subdomains(1);
    const char* old = nullptr;
    pcdGetDomainData(pcd, 1, "/norva/parlex/z", "Path", &old);

    EXPECT_EQ(pcdSetDomainData(pcd, 1, "/norva/parlex/z", "Path", "/new"), 0);
    EXPECT_EQ(pcdSetDomainData(pcd, 1, "/norva/parlex/z", "B", "b"), 0);
    EXPECT_EQ(pcdSetDomainData(pcd, 1, "new", "k", "v"), 0);
    EXPECT_EQ(pcdRemoveDomainData(pcd, 1, "{B}", "ParlexCode"), 0);
    EXPECT_EQ(pcdRemoveDomainData(pcd, 1, "{B}", "ParlexCode"), VELL_STATUS_NOT_FOUND);
    EXPECT_STREQ(old, "/z");  // handed out before, and still the session's
    EXPECT_EQ(value("/norva/parlex/z", "Path"), "/new");
    EXPECT_EQ(keys("/norva/parlex/z"), (Texts{"Path", "Empty", "A", "B"}));
    EXPECT_EQ(subdomains(1), (Texts{"/norva/parlex/z", "/norva/parlex/a", "new"}));

    pcdGetLastModTime(&after);
    EXPECT_GE(after, before + 4);  // each change moves it, however many fit in a second
    vellGetLastModTime(&after);
    EXPECT_EQ(after, vellTime);
}

// A reader sees a domain as it was when it listed it, whole.
TEST_F(VellApi, AWalkSeesOneMoment) {
    subdomains(1);
    ASSERT_EQ(vellctl({"set", "1", "/norva/parlex/z", "Path", "/other"}).exitCode, 0);
    EXPECT_EQ(value("/norva/parlex/z", "Path"), "/z");
    subdomains(1);
    EXPECT_EQ(value("/norva/parlex/z", "Path"), "/other");
}

TEST_F(VellApi, RefusesNullsAndWhatIsNoText) {
    const char** list = nullptr;
    EXPECT_EQ(pcdOpenSessionNoCreate(nullptr, 0), VELL_STATUS_INVALID);
    EXPECT_EQ(pcdCloseSession(nullptr), VELL_STATUS_INVALID);
    EXPECT_EQ(pcdGetDomainDataSubdomains(nullptr, 1, &list), VELL_STATUS_INVALID);
    EXPECT_EQ(pcdSetDomainData(pcd, 1, "", "k", "v"), VELL_STATUS_INVALID);
    EXPECT_EQ(pcdSetDomainData(pcd, 1, "s", "k", "\xFF"), VELL_STATUS_INVALID);
    EXPECT_EQ(mdbGetProductPayloads(pcd, nullptr, &list), VELL_STATUS_INVALID);
    EXPECT_EQ(vellGetLastModTime(nullptr), VELL_STATUS_INVALID);
    EXPECT_EQ(openAndCloseFromC(), VELL_STATUS_OK);
}

TEST_F(VellApi, WritesLongTextsAndNoNegativeDomains) {
    const std::string long8 = std::string(8 << 20, 'x');
    EXPECT_EQ(pcdSetDomainData(pcd, 1, "s", "k", long8.c_str()), VELL_STATUS_OK);
    EXPECT_EQ(value("s", "k"), long8);
    EXPECT_EQ(pcdSetDomainData(pcd, 1, "s", "k", (long8 + "x").c_str()), VELL_STATUS_TOO_LARGE);
    const std::string name = std::string(64 << 10, 'n');
    EXPECT_EQ(pcdSetDomainData(pcd, 1, name.c_str(), name.c_str(), "v"), VELL_STATUS_OK);
    EXPECT_EQ(pcdSetDomainData(pcd, 1, "s", (name + "n").c_str(), "v"), VELL_STATUS_TOO_LARGE);
    EXPECT_EQ(pcdSetDomainData(pcd, -1, "s", "k", "v"), VELL_STATUS_INVALID);
    EXPECT_EQ(pcdRemoveDomainData(pcd, -1, "s", "k"), VELL_STATUS_INVALID);
    EXPECT_EQ(value("s", "k"), long8);
}

class VellFailure : public Vell {
  protected:
    /// What a reader that starts now says of the database: the status of opening or listing, and
    /// one line on standard error however often it asks.
    void expect(const char* name, int status) const {
        const auto read = [] {
            velliSession* session = nullptr;
            const char** list = nullptr;
            unsigned long time = 0;
            const int opened = pcdOpenSessionNoCreate(&session, 0);
            pcdGetLastModTime(&time);
            if (opened != VELL_STATUS_OK)
                _exit(session == nullptr ? opened : 99);
            _exit(pcdGetDomainDataSubdomains(session, 1, &list));
        };
        EXPECT_EXIT(read(), ::testing::ExitedWithCode(status), "^[^\n]*" + database + "[^\n]*\n$")
            << name;
    }

    void sql(const char* statements) const {
        Database(database, SQLITE_OPEN_READWRITE, std::chrono::seconds(1)).execute(statements);
    }
};

TEST_F(VellFailure, EachHasItsStatusAndDamageItsLine) {
    velliSession* session = nullptr;
    unsigned long time = 9;
    EXPECT_EQ(pcdOpenSessionNoCreate(&session, 0), VELL_STATUS_NO_DATABASE);
    EXPECT_EQ(pcdGetLastModTime(&time), VELL_STATUS_NO_DATABASE);
    EXPECT_EQ(time, 0U);
    writeFile(database, std::string(5000, 'x'));
    expect("other file", VELL_STATUS_DAMAGED);
    EXPECT_EQ(import(kContent).exitCode, 1);  // which is not overwritten
    EXPECT_EQ(readFile(database), std::string(5000, 'x'));
    std::filesystem::remove(database);

    ASSERT_EQ(import(kContent).exitCode, 0);
    const std::string whole = readFile(database);
    std::string damaged = whole;
    std::fill(damaged.begin() + 4096, damaged.end(), '\x5A');
    writeFile(database, damaged);
    expect("damaged page", VELL_STATUS_DAMAGED);

    writeFile(database, whole);
    sql("PRAGMA user_version=2");
    expect("newer version", VELL_STATUS_NEWER);
    const Result exported = vellctl({"export"});
    EXPECT_EQ(exported.exitCode, 1);
    EXPECT_NE(exported.err.find("version 2 and this program knows 1"), std::string::npos)
        << exported.err;
    EXPECT_EQ(import(kContent).exitCode, 1);
    sql("PRAGMA user_version=1; PRAGMA application_id=7");
    expect("another program's", VELL_STATUS_DAMAGED);
    sql("PRAGMA application_id=1314276684; DROP TABLE data; DROP TABLE modification");
    expect("missing table", VELL_STATUS_DAMAGED);
}

// A writer that dies after its first pages have reached the file.
TEST_F(VellFailure, AnInterruptedWritingIsUndone) {
    ASSERT_EQ(import(kContent).exitCode, 0);
    const auto write = [this] {
        Database writer(database, SQLITE_OPEN_READWRITE, std::chrono::seconds(1));
        writer.execute(
            "PRAGMA cache_size=2; BEGIN EXCLUSIVE; UPDATE data SET value = 'half'; "
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3000) "
            "INSERT INTO data_set (kind, domain, name) SELECT 'pcd', 1, 'name ' || i FROM n");
        _exit(0);
    };
    EXPECT_EXIT(write(), ::testing::ExitedWithCode(0), "");
    ASSERT_TRUE(std::filesystem::exists(database + "-journal"));
    EXPECT_EQ(vellctl({"get", "0", "s", "k"}).out, "v\n");
}

TEST_F(VellFailure, ALockedDatabaseIsWaitedForAndThenBusy) {
    ASSERT_EQ(import(kContent).exitCode, 0);
    Database writer(database, SQLITE_OPEN_READWRITE, std::chrono::seconds(1));
    writer.execute("BEGIN EXCLUSIVE");
    const Result reader = vellctl({"get", "0", "s", "k"});
    EXPECT_EQ(reader.exitCode, 1);
    EXPECT_NE(reader.err.find("database is locked"), std::string::npos) << reader.err;
    expect("locked", VELL_STATUS_BUSY);  // in another process, which locks are between

    // A command opens several sessions, and must wait only for the first.
    const auto open = [](int (*entry)(velliSession**)) {
        velliSession* session = nullptr;
        const auto start = std::chrono::steady_clock::now();
        const int status = entry(&session);
        EXPECT_EQ(status, VELL_STATUS_BUSY);
        return std::chrono::steady_clock::now() - start;
    };
    const auto openAll = [&] {
        const auto first = open(vellOpenSession);
        const auto others = open(mdbOpenSessionNoCreate) + open(pdbOpenSessionNoCreate);
        _exit(others < first ? 0 : 1);
    };
    EXPECT_EXIT(openAll(), ::testing::ExitedWithCode(0), "");
}

// Whoever can write to the database, or put a journal beside it, chooses the program that is
// started.
TEST_F(VellFailure, WhatSomebodyElseMayWriteToIsRefused) {
    namespace fs = std::filesystem;
    ASSERT_EQ(import(kContent).exitCode, 0);
    const std::string parent = fs::path(database).parent_path();
    for (const std::string& path : {database, parent}) {
        const auto before = fs::status(path).permissions();
        for (const auto right : {fs::perms::group_write, fs::perms::others_write}) {
            fs::permissions(path, before | right);
            expect("writable", VELL_STATUS_UNTRUSTED);
            EXPECT_EQ(vellctl({"get", "0", "s", "k"}).exitCode, 1);
            EXPECT_EQ(vellctl({"set", "0", "s", "k", "w"}).exitCode, 1);
            fs::permissions(path, before);
        }
        if (geteuid() == 0) {  // Only root can give a file away.
            ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
            expect("another user's", VELL_STATUS_UNTRUSTED);
            ASSERT_EQ(chown(path.c_str(), 0, 0), 0);
        }
    }
    EXPECT_EQ(vellctl({"get", "0", "s", "k"}).out, "v\n");
}

}  // namespace
}  // namespace tavik::testing
