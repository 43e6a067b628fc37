#include <fcntl.h>
#include <norva_vell.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "platform/support/Sqlite.h"
#include "tests/vell/VellFixture.h"

extern "C" int openAndCloseFromC(void);

namespace tavik::testing {
namespace {

using Texts = std::vector<std::string>;

/// The list that a call gives; its status where that is not 0.
Texts listOf(const std::function<int(const char***)>& call) {
    const char** list = nullptr;
    const int status = call(&list);
    Texts texts;
    if (status != VELL_STATUS_OK) {
        EXPECT_EQ(list, nullptr);
        return {"status " + std::to_string(status)};
    }
    for (; *list != nullptr; ++list)
        texts.emplace_back(*list);
    return texts;
}

std::string textOf(const std::function<int(const char**)>& call) {
    const char* text = nullptr;
    const int status = call(&text);
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

    Texts subdomains(int domain) const {
        return listOf([&](auto out) { return pcdGetDomainDataSubdomains(pcd, domain, out); });
    }
    Texts keys(int domain, const char* sub) const {
        return listOf([&](auto out) { return pcdGetDomainDataKeys(pcd, domain, sub, out); });
    }
    std::string value(int domain, const char* sub, const char* key) const {
        return textOf([&](auto out) { return pcdGetDomainData(pcd, domain, sub, key, out); });
    }

    velliSession* pcd = nullptr;
    velliSession* vell = nullptr;
};

TEST_F(VellApi, ListsComeInTheOrderOfWriting) {
    // Once from the tables and once from what listing the subdomains has read.
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(keys(1, "/norva/parlex/z"), (Texts{"Path", "Empty", "A"}));
        EXPECT_EQ(keys(1, "/norva/parlex/a"), Texts{});
        EXPECT_EQ(keys(1, "s"), Texts{"status 22"});
        EXPECT_EQ(value(1, "/norva/parlex/z", "A"), "\xC3\xA9\n\"");
        EXPECT_EQ(value(1, "/norva/parlex/z", "Empty"), "");
        EXPECT_EQ(value(1, "/norva/parlex/z", "path"), "status 22");
        EXPECT_EQ(value(0, "s", "k"), "v");
        EXPECT_EQ(subdomains(1), (Texts{"/norva/parlex/z", "/norva/parlex/a", "{B}"}));
    }
    EXPECT_EQ(subdomains(0), Texts{"s"});
    EXPECT_EQ(subdomains(7), Texts{"status 8"});
}

TEST_F(VellApi, PayloadsProductsAndCollections) {
    const auto payloads = [&](int state) {
        return listOf([&](auto out) { return vellGetPayloads(vell, state, out); });
    };
    const auto collection = [&](int state, const char* name) {
        return listOf([&](auto out) { return vellGetCollectionPayloads(vell, state, name, out); });
    };
    EXPECT_EQ(payloads(4), (Texts{"{Z}", "{M}"}));
    EXPECT_EQ(collection(4, "C"), (Texts{"{M}", "{Z}"}));
    EXPECT_EQ(collection(4, "B"), Texts{"status 8"});
    EXPECT_EQ(listOf([&](auto out) { return vellGetPayloadDataKeys(vell, "{Z}", 6, out); }),
              (Texts{"fr", "en"}));
    const auto data = [&](int domain) {
        return textOf(
            [&](auto out) { return vellGetPayloadData(vell, "{M}", domain, "DIR", out); });
    };
    EXPECT_EQ(data(0), "/opt");
    EXPECT_EQ(data(4), "status 22");

    velliSession* mdb = nullptr;
    velliProduct* product = nullptr;
    velliPayload* payload = nullptr;
    ASSERT_EQ(mdbOpenSessionNoCreate(&mdb), 0);
    EXPECT_EQ(listOf([&](auto out) { return mdbGetProductIDList(mdb, out); }),
              (Texts{"{P}", "{O}"}));
    ASSERT_EQ(mdbGetProduct(mdb, "{P}", &product), 0);
    EXPECT_EQ(listOf([&](auto out) { return mdbGetProductPayloads(mdb, product, out); }),
              (Texts{"{Z}", "{A}"}));
    EXPECT_EQ(mdbGetProduct(mdb, "{A}", &product), VELL_STATUS_NOT_FOUND);
    ASSERT_EQ(mdbGetPayload(mdb, "{A}", &payload), 0);
    EXPECT_STREQ(payload->code, "{A}");
    EXPECT_STREQ(reinterpret_cast<const char**>(payload)[4], "language");
    EXPECT_EQ(mdbCloseSession(mdb), 0);
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
    EXPECT_EQ(pdbGetPayloadDataKeys(vell, "{P}", 4, found), VELL_STATUS_NOT_FOUND);
    EXPECT_EQ(found[0], nullptr);
}

TEST_F(VellApi, WritesAreSeenAndKeepTheirPlaces) {
    unsigned long before = 0;
    unsigned long after = 0;
    unsigned long vellTime = 0;
    ASSERT_EQ(pcdGetLastModTime(&before), 0);
    EXPECT_GT(before, 1'600'000'000U);
    ASSERT_EQ(vellGetLastModTime(&vellTime), 0);
    subdomains(1);
    const char* old = nullptr;
    ASSERT_EQ(pcdGetDomainData(pcd, 1, "/norva/parlex/z", "Path", &old), 0);

    EXPECT_EQ(pcdSetDomainData(pcd, 1, "/norva/parlex/z", "Path", "/new"), 0);
    EXPECT_EQ(pcdSetDomainData(pcd, 1, "/norva/parlex/z", "B", "b"), 0);
    EXPECT_EQ(pcdSetDomainData(pcd, 1, "new", "k", "v"), 0);
    EXPECT_EQ(pcdRemoveDomainData(pcd, 1, "{B}", "ParlexCode"), 0);
    EXPECT_EQ(pcdRemoveDomainData(pcd, 1, "{B}", "ParlexCode"), VELL_STATUS_NOT_FOUND);
    EXPECT_STREQ(old, "/z");  // handed out before, and still the session's
    EXPECT_EQ(value(1, "/norva/parlex/z", "Path"), "/new");
    EXPECT_EQ(keys(1, "/norva/parlex/z"), (Texts{"Path", "Empty", "A", "B"}));
    EXPECT_EQ(subdomains(1), (Texts{"/norva/parlex/z", "/norva/parlex/a", "new"}));

    ASSERT_EQ(pcdGetLastModTime(&after), 0);
    EXPECT_GE(after, before + 4);  // each change moves it, however many fit in a second
    ASSERT_EQ(vellGetLastModTime(&after), 0);
    EXPECT_EQ(after, vellTime);
}

// A reader sees a domain as it was when it listed it, whole.
TEST_F(VellApi, AWalkSeesOneMoment) {
    subdomains(1);
    ASSERT_EQ(vellctl({"set", "1", "/norva/parlex/z", "Path", "/other"}).exitCode, 0);
    EXPECT_EQ(value(1, "/norva/parlex/z", "Path"), "/z");
    subdomains(1);
    EXPECT_EQ(value(1, "/norva/parlex/z", "Path"), "/other");
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

class VellFailure : public Vell {
  protected:
    /// What a reader says of the database: the statuses of opening, reading and asking the time,
    /// and the lines on standard error.
    void expect(const char* name, int status, int lines) const {
        const std::string err = folder / "stderr";
        const pid_t child = fork();
        if (child == 0) {
            dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
            velliSession* session = nullptr;
            const char** list = nullptr;
            unsigned long time = 9;
            int seen = pcdOpenSessionNoCreate(&session, 0);
            if (seen == 0)
                seen = pcdGetDomainDataSubdomains(session, 1, &list);
            const bool same = pcdGetLastModTime(&time) == seen && time == 0;
            _exit(same || name == std::string("damaged page") ? seen : 99);
        }
        int ended = 0;
        waitpid(child, &ended, 0);
        EXPECT_EQ(WEXITSTATUS(ended), status) << name;
        const std::string text = readFile(err);
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), lines) << name << ": " << text;
        EXPECT_EQ(text.find(database) != std::string::npos, lines > 0) << name << ": " << text;
    }

    void sql(const char* statements) const {
        Database(database, SQLITE_OPEN_READWRITE, std::chrono::seconds(1)).execute(statements);
    }
};

TEST_F(VellFailure, EachHasItsStatusAndDamageItsLine) {
    expect("missing", VELL_STATUS_NO_DATABASE, 0);
    writeFile(database, std::string(5000, 'x'));
    expect("other file", VELL_STATUS_DAMAGED, 1);
    EXPECT_EQ(import(kContent).exitCode, 1);  // which is not overwritten
    EXPECT_EQ(readFile(database), std::string(5000, 'x'));
    std::filesystem::remove(database);

    ASSERT_EQ(import(kContent).exitCode, 0);
    const std::string whole = readFile(database);
    std::string damaged = whole;
    std::fill(damaged.begin() + 4096, damaged.end(), '\x5A');
    writeFile(database, damaged);
    expect("damaged page", VELL_STATUS_DAMAGED, 1);

    writeFile(database, whole);
    sql("PRAGMA user_version=2");
    expect("newer version", VELL_STATUS_NEWER, 1);
    const Result exported = vellctl({"export"});
    EXPECT_EQ(exported.exitCode, 1);
    EXPECT_NE(exported.err.find("version 2 and this program knows 1"), std::string::npos)
        << exported.err;
    EXPECT_EQ(import(kContent).exitCode, 1);
    sql("PRAGMA user_version=1; PRAGMA application_id=7");
    expect("another program's", VELL_STATUS_DAMAGED, 1);
    sql("PRAGMA application_id=1314276684; DROP TABLE data; DROP TABLE modification");
    expect("missing table", VELL_STATUS_DAMAGED, 1);
}

// A writer that dies after its first pages have reached the file.
TEST_F(VellFailure, AnInterruptedWritingIsUndone) {
    ASSERT_EQ(import(kContent).exitCode, 0);
    const pid_t child = fork();
    if (child == 0) {
        Database writer(database, SQLITE_OPEN_READWRITE, std::chrono::seconds(1));
        writer.execute(
            "PRAGMA cache_size=2; BEGIN EXCLUSIVE; UPDATE data SET value = 'half'; "
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3000) "
            "INSERT INTO data_set (kind, domain, name) SELECT 'pcd', 1, 'name ' || i FROM n");
        _exit(0);
    }
    int ended = 0;
    waitpid(child, &ended, 0);
    ASSERT_TRUE(std::filesystem::exists(database + "-journal"));
    EXPECT_EQ(vellctl({"get", "0", "s", "k"}).out, "v\n");
}

TEST_F(VellFailure, ALockedDatabaseIsWaitedForAndThenBusy) {
    ASSERT_EQ(import(kContent).exitCode, 0);
    // Another process: within one, two SQLites do not see each other's locks, and this program has
    // its own beside the framework's.
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t holder = fork();
    if (holder == 0) {
        Database writer(database, SQLITE_OPEN_READWRITE, std::chrono::seconds(1));
        writer.execute("BEGIN EXCLUSIVE");
        close(ready[1]);
        pause();
    }
    close(ready[1]);
    char none = 0;
    EXPECT_EQ(read(ready[0], &none, 1), 0);
    close(ready[0]);

    const Result reader = vellctl({"get", "0", "s", "k"});
    EXPECT_EQ(reader.exitCode, 1);
    EXPECT_NE(reader.err.find("database is locked"), std::string::npos) << reader.err;
    velliSession* session = nullptr;
    EXPECT_EQ(pcdOpenSessionNoCreate(&session, 0), VELL_STATUS_BUSY);
    EXPECT_EQ(session, nullptr);
    kill(holder, SIGKILL);
    waitpid(holder, nullptr, 0);
}

}  // namespace
}  // namespace tavik::testing
