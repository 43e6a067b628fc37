#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/support/Sqlite.h"
#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using List = std::vector<std::string>;

constexpr int kStoreUnsafe = 256 - 21;
constexpr const char* kRebuilt = "is made anew from the installed extensions";

/// The form that was changed in place, as the version before wrote it.
constexpr const char* kEarlierSchema = R"sql(
PRAGMA application_id = 0x5461766B;
PRAGMA user_version = 1;
CREATE TABLE extension (
    idKey TEXT NOT NULL PRIMARY KEY, id TEXT NOT NULL, name TEXT NOT NULL, version TEXT NOT NULL,
    storeName TEXT NOT NULL, updateUrl TEXT NOT NULL, folder TEXT NOT NULL UNIQUE,
    signer TEXT NOT NULL, state INTEGER NOT NULL CHECK (state IN (0, 1)),
    requiresAccount INTEGER NOT NULL CHECK (requiresAccount IN (0, 1))
) STRICT, WITHOUT ROWID;
CREATE TABLE extensionProduct (
    idKey TEXT NOT NULL REFERENCES extension ON DELETE CASCADE, position INTEGER NOT NULL,
    product TEXT NOT NULL, minVersion TEXT NOT NULL, maxVersion TEXT NOT NULL,
    PRIMARY KEY (idKey, position)
) STRICT, WITHOUT ROWID;
CREATE TABLE settlement (count INTEGER NOT NULL, linkedProducts TEXT NOT NULL) STRICT;
INSERT INTO settlement VALUES (0, '');
PRAGMA journal_mode = WAL;
)sql";

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// A machine with an enabled extension, a disabled one, and the history of both.
class StoreForm : public ::testing::Test {
  protected:
    StoreForm() {
        EXPECT_EQ(machine_.install(machine_.package("com.example.a", "1.0")).exitCode, 0);
        EXPECT_EQ(machine_.install(machine_.package("com.example.b", "1.0")).exitCode, 0);
        EXPECT_EQ(machine_.tavik({"--disable", "com.example.b"}).exitCode, 0);
        // The version before the last one knows the state too.
        EXPECT_EQ(machine_.install(machine_.package("com.example.a", "2.0")).exitCode, 0);
        before_ = machine_.listed();
        EXPECT_EQ(before_, (List{"Enabled com.example.a 2.0", "Disabled com.example.b 1.0"}));
    }

    /// Puts the rows into a database of the earlier form; the last stand in its log alone.
    void makeEarlierForm() {
        Database now(machine_.user("store.db"), SQLITE_OPEN_READONLY, std::chrono::seconds(1));
        const std::string path = machine_.user("earlier/store.db");
        fs::create_directory(machine_.user("earlier"));
        {
            Database earlier(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                             std::chrono::seconds(1));
            sqlite3_db_config(earlier.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
            int persist = 1;
            sqlite3_file_control(earlier.get(), "main", SQLITE_FCNTL_PERSIST_WAL, &persist);
            earlier.execute(kEarlierSchema);
            Statement rows(now, "SELECT idKey, folder, version, state FROM extension");
            while (rows.step()) {
                const std::string key(rows.text(0));
                earlier.execute(("INSERT INTO extension VALUES ('" + key + "', '" + key + "', '" +
                                 key + "', '" + std::string(rows.text(2)) + "', '', '', '" +
                                 std::string(rows.text(1)) + "', 'signer of " + key + "', " +
                                 std::to_string(rows.number(3)) +
                                 ", 0); INSERT INTO extensionProduct VALUES ('" + key +
                                 "', 0, 'sketch', '', '')")
                                    .c_str());
            }
        }
        fs::remove(machine_.user("store.db"));
        fs::remove(machine_.user("store.db.previous"));
        for (const auto& name : namesIn(machine_.user("earlier")))
            fs::rename(machine_.user("earlier/" + name), machine_.user(name));
        fs::remove(machine_.user("earlier"));
        ASSERT_GT(fs::file_size(machine_.user("store.db-wal")), 0U);
    }

    void shell(const std::string& commands) {
        ASSERT_EQ(run({"sh", "-euc", "cd \"$0\"; " + commands, machine_.user()}).exitCode, 0);
    }

    /// The next list tells once what it met, and shows what it showed before.
    void expectRebuilt(const std::string& where) {
        const Result first = machine_.tavik({"--list", "Sketch Pro"});
        EXPECT_EQ(first.exitCode, 0) << where << first.err;
        EXPECT_TRUE(contains(first.err, kRebuilt)) << where << ": " << first.err;
        EXPECT_EQ(machine_.listed(), before_) << where;
        EXPECT_EQ(machine_.seenByHost("com.example.a"), "2.0") << where;
        EXPECT_EQ(machine_.seenByHost("com.example.b"), "") << where;
    }

    List history() {
        Database database(machine_.user("store.db"), SQLITE_OPEN_READONLY, std::chrono::seconds(1));
        Statement select(database,
                         "SELECT operation || ' ' || id || ' ' || fromVersion || '>' || toVersion"
                         " FROM history WHERE time LIKE '20__-__-__T__:__:__Z' ORDER BY line");
        List lines;
        while (select.step())
            lines.emplace_back(select.text(0));
        return lines;
    }

    Machine machine_;
    List before_;
};

TEST_F(StoreForm, ChangesAndTheirHistoryAreOneCommit) {
    ASSERT_EQ(machine_.tavik({"--enable", "com.example.b"}).exitCode, 0);
    ASSERT_EQ(machine_.tavik({"--enable", "com.example.b"}).exitCode, 0);  // nothing to do
    ASSERT_EQ(machine_.install(machine_.package("com.example.b", "1.0.0")).exitCode, 0);
    ASSERT_EQ(machine_.tavik({"--remove", "com.example.b"}).exitCode, 0);
    EXPECT_NE(machine_.install(machine_.package("com.example.a", "1.0")).exitCode, 0);
    EXPECT_EQ(history(), (List{"install com.example.a >1.0", "install com.example.b >1.0",
                               "disable com.example.b 1.0>1.0", "update com.example.a 1.0>2.0",
                               "enable com.example.b 1.0>1.0", "reinstall com.example.b 1.0>1.0.0",
                               "remove com.example.b 1.0.0>"}));
}

TEST_F(StoreForm, InstalledFilesAreListedBesideTheirFolder) {
    const auto path = machine_.package(PackageBuilder("com.example.c", "3")
                                           .file("x/run.sh", "123456789", 0100755)
                                           .file("empty", ""));
    ASSERT_EQ(machine_.install(path).exitCode, 0);
    std::string text;
    for (const auto& name : namesIn(machine_.user("ext")))
        if (name.find("com.example.c@") == 0 && contains(name, ".files"))
            text = readFile(machine_.user("ext/" + name));
    for (const char* line :
         {"tavik-files 1\nid com.example.c\nversion 3\nsigner \ninstalledAt 20", "\ninstalledBy ",
          "\nfile cbf43926 9 x x/run.sh\n", "\nfile 00000000 0 - empty\nend 3\n"})
        EXPECT_TRUE(contains(text, line)) << line << "in\n" << text;
}

// All kinds of damage. What is installed stays the same, states included.
TEST_F(StoreForm, LostOrDamagedDatabaseIsBuiltAnew) {
    for (const char* damage :
         {"rm store.db", ": > store.db", "truncate -s 5000 store.db", "truncate -s -1 store.db",
          "head -c 40000 /dev/urandom > store.db", "yes | head -c 16 >> store.db",
          "rm store.db; sqlite3 store.db 'CREATE TABLE foreign_table (x)'",
          "mv store.db x; mkdir store.db; mv x store.db/mine", "rm store.db; mkfifo store.db",
          "mv store.db x; ln -s x store.db", "truncate -s 2G store.db"}) {
        SCOPED_TRACE(damage);
        shell("rm -rf set-aside");
        shell(damage);
        const bool isLost = !fs::exists(fs::symlink_status(machine_.user("store.db")));
        expectRebuilt(damage);
        EXPECT_EQ(namesIn(machine_.user("set-aside")).size(), isLost ? 0U : 1U);
        ASSERT_EQ(machine_.install(machine_.package("com.example.a", "2.0")).exitCode, 0);
        EXPECT_EQ(machine_.listed(), before_);
    }
}

// The version before names only the old folder, which is gone.
TEST_F(StoreForm, AnUpdateSinceTheVersionBeforeKeepsTheState) {
    ASSERT_EQ(machine_.install(machine_.package("com.example.b", "1.5")).exitCode, 0);
    fs::remove(machine_.user("store.db"));
    before_[1] = "Disabled com.example.b 1.5";
    expectRebuilt("lost after an update");
}

// A crash may have left the folder that an update replaced.
TEST_F(StoreForm, OfTwoFoldersTheNewerVersionCounts) {
    shell(
        "cp -r ext/com.example.a@???????????????? ext/com.example.a@0000000000000000; "
        "sed -i s/2.0/1.0/ ext/com.example.a@0000000000000000/extension.json; rm store.db");
    expectRebuilt("lost beside an older folder");
}

TEST_F(StoreForm, OneWrongByteInAnyPageIsNoticed) {
    const auto size = fs::file_size(machine_.user("store.db"));
    ASSERT_GT(size, 4096U);
    for (std::uintmax_t at = 70; at < size; at += 4096) {
        std::fstream file(machine_.user("store.db"),
                          std::ios::in | std::ios::out | std::ios::binary);
        file.seekg(static_cast<std::streamoff>(at));
        const char byte = static_cast<char>(file.get() ^ 1);
        file.seekp(static_cast<std::streamoff>(at));
        file.put(byte);
        file.close();
        expectRebuilt("byte " + std::to_string(at));
    }
}

// A store for all users, whose list an ordinary user reads: he can repair nothing.
TEST_F(StoreForm, DamagedSharedStoreIsListedByThoseWhoMayNotRepairIt) {
    fs::permissions(machine_.path(""), fs::perms(0755));
    fs::create_directories(machine_.shared("products.d"));
    fs::copy(machine_.user("products.d/sketch.json"), machine_.shared("products.d"));
    ASSERT_EQ(
        machine_.tavik({"--install_for_all", machine_.package("com.example.s", "1.0")}).exitCode,
        0);
    writeFile(machine_.shared("store.db"), "noise");
    machine_.environment()["TAVIK_HOME"] = machine_.path("nobody");
    machine_.runAs(Machine::As::ordinaryUser);
    const Result result = machine_.tavik({"--list", "all"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_TRUE(contains(result.out, "com.example.s")) << result.out;
    if (::geteuid() == 0) {
        EXPECT_TRUE(contains(result.err, kRebuilt)) << result.err;
        EXPECT_EQ(readFile(machine_.shared("store.db")), "noise");
    }
}

TEST_F(StoreForm, UnusableSharedStoreDoesNotKeepTheUserFromHisOwn) {
    ASSERT_EQ(
        machine_.tavik({"--install_for_all", machine_.package("com.example.s", "1.0")}).exitCode,
        0);
    fs::permissions(machine_.shared("store.db"), fs::perms(0666));
    const Result result = machine_.tavik({"--list", "Sketch Pro"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(contains(result.out, "com.example.a")) << result.out;
    EXPECT_TRUE(contains(result.err, machine_.shared("store.db"))) << result.err;
    EXPECT_NE(machine_.tavik({"--remove_for_all", "com.example.s"}).exitCode, 0);
}

TEST_F(StoreForm, EarlierFormIsReadAndTakenOverByTheFirstChange) {
    makeEarlierForm();
    const List names = namesIn(machine_.user());
    EXPECT_EQ(machine_.listed(), before_);
    EXPECT_EQ(namesIn(machine_.user()), names) << "a list made or deleted something";

    ASSERT_EQ(machine_.tavik({"--enable", "com.example.b"}).exitCode, 0);
    EXPECT_EQ(machine_.listed(), (List{"Enabled com.example.a 2.0", "Enabled com.example.b 1.0"}));
    const List aside = namesIn(machine_.user("set-aside"));
    ASSERT_EQ(aside.size(), 1U);
    EXPECT_EQ(namesIn(machine_.user("set-aside/" + aside[0])),
              (List{"store.db", "store.db-shm", "store.db-wal"}));
    EXPECT_FALSE(fs::exists(machine_.user("store.db-wal")));
    // Who signed it is remembered: an unsigned package is refused.
    EXPECT_EQ(machine_.install(machine_.package("com.example.a", "3.0")).exitCode, 256 - 59);
    EXPECT_EQ(machine_.garbage(), List{});
}

// A database that came back from a backup knows nothing of what was installed since.
TEST_F(StoreForm, FoldersWithoutARowAreAdoptedOrSetAside) {
    fs::copy(machine_.user("store.db"), machine_.path("backup"));
    ASSERT_EQ(machine_.install(machine_.package("com.example.c", "1.0")).exitCode, 0);
    fs::copy(machine_.path("backup"), machine_.user("store.db"),
             fs::copy_options::overwrite_existing);
    writeFile(machine_.user("ext/com.example.d@0123456789abcdef/mine.txt"), "mine");
    const Result change = machine_.tavik({"--enable", "com.example.b"});
    ASSERT_EQ(change.exitCode, 0);
    EXPECT_EQ(machine_.listed(), (List{"Enabled com.example.a 2.0", "Enabled com.example.b 1.0",
                                       "Enabled com.example.c 1.0"}));
    EXPECT_EQ(machine_.seenByHost("com.example.c"), "1.0");
    EXPECT_TRUE(contains(change.err, "no whole extension")) << change.err;
    EXPECT_FALSE(contains(change.err, "missing or changed")) << change.err;
    const List aside = namesIn(machine_.user("set-aside"));
    ASSERT_EQ(aside.size(), 1U);
    EXPECT_EQ(readFile(machine_.user("set-aside/" + aside[0] +
                                     "/com.example.d@0123456789abcdef/mine.txt")),
              "mine");
    // Nothing deletes it, so somebody has to be told of it.
    const Result doctor = run({program("tavik"), "doctor"}, machine_.environment());
    EXPECT_NE(doctor.out.find("set-aside/" + aside[0]), std::string::npos) << doctor.out;
}

/// Changes the rows by hand and writes a right seal: only the rows are wrong then.
void changeRows(const std::string& path, const std::string& sql) {
    const std::string image = readFile(path);
    writeFile(path, image.substr(0, image.size() - 16));
    Database(path, SQLITE_OPEN_READWRITE, std::chrono::seconds(1)).execute(sql.c_str());
    const Result seal = run({"python3", "-c",
                             "import sys, zlib; b = open(sys.argv[1], 'rb').read();"
                             "open(sys.argv[1], 'ab').write(b'TavkSum1%08x' % zlib.crc32(b))",
                             path});
    ASSERT_EQ(seal.exitCode, 0) << seal.err;
}

// Catches lines that are lost, doubled or out of order when old ones are packed, and a file that
// keeps the room of those that were rows.
TEST_F(StoreForm, ALongHistoryIsSmallAndWhole) {
    changeRows(
        machine_.user("store.db"),
        "WITH RECURSIVE n(i) AS (SELECT 100 UNION ALL SELECT i + 1 FROM n WHERE i < 12099)"
        " INSERT INTO history SELECT i, (SELECT max(time) FROM history), 'update', 'com.example.a',"
        " 'Gr\u00fc\u00dfe \"quoted\"', '1.' || i, '1.' || (i + 1), 0, 'root', '' FROM n");
    const auto history = [&] {
        std::istringstream text(run({"sh", "-c", "\"$0\" history | tr -s ' '", program("tavik")},
                                    machine_.environment())
                                    .out);
        List lines;
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        return lines;
    };
    List all = history();
    EXPECT_EQ(all.size(), 12'005U);  // with a head
    for (const char* option : {"--enable", "--disable"}) {
        ASSERT_EQ(machine_.tavik({option, "com.example.b"}).exitCode, 0);
        List now = history();
        ASSERT_GT(now.size(), 10'000U);
        ASSERT_LT(now.size(), 10'300U);
        EXPECT_TRUE(contains(now.back(), option + 2)) << now.back();
        EXPECT_TRUE(std::equal(now.rbegin() + 1, now.rend() - 1, all.rbegin())) << option;
        EXPECT_LT(fs::file_size(machine_.user("store.db")), 300'000U);
        all = now;
    }
}

// A removal deletes what the row names. With a row that was damaged or made up, that must be
// nothing but the extension's own folder.
TEST(StoreRows, ThatNoChangeWroteAreDamage) {
    const std::string columns[] = {
        "folder = '@victim'",
        "folder = '../../../victim@0123456789abcdef'",
        "folder = '.'",
        "folder = ''",
        "folder = 'com.example.a@0123456789abcdeF'",
        "folder = 'com.example.z@0123456789abcdef'",
        "id = '../../victim'",
        "id = 'com.example.z'",
    };
    for (std::string column : columns) {
        SCOPED_TRACE(column);
        Machine machine;
        writeFile(machine.path("victim/x.txt"), "x");
        writeFile(machine.path("victim@0123456789abcdef/x.txt"), "x");
        ASSERT_EQ(machine.install(machine.package("com.example.a", "1.0")).exitCode, 0);
        if (const auto at = column.find("@victim"); at != std::string::npos)
            column.replace(at, 7, machine.path("victim"));
        changeRows(machine.user("store.db"), "UPDATE extension SET " + column);
        const Result removed = machine.tavik({"--remove", "com.example.a"});
        EXPECT_EQ(removed.exitCode, 0) << removed.err;
        EXPECT_TRUE(contains(removed.err, "a row that is not of an extension")) << removed.err;
        EXPECT_TRUE(fs::exists(machine.path("victim/x.txt")));
        EXPECT_TRUE(fs::exists(machine.path("victim@0123456789abcdef/x.txt")));
        EXPECT_EQ(machine.listed(), List{});
    }
}

// Rows that an earlier version or somebody else wrote: a name that turns the line around, and
// products that no descriptor can have. The first is shown, the others make nothing anywhere.
TEST(StoreRows, WithForeignTextsHarmNothing) {
    Machine machine;
    ASSERT_EQ(machine.install(machine.package("com.example.a", "1.0")).exitCode, 0);
    changeRows(
        machine.user("store.db"),
        "UPDATE extension SET name = 'a' || char(0x202E, 27) || 'b';"
        "INSERT INTO extensionProduct VALUES ('com.example.a', 1, '../../../out', '', ''),"
        " ('com.example.a', 2, 'unknown', 'no version', ''), ('com.example.a', 3, '', '', '')");
    EXPECT_EQ(machine.listed(), List{"Enabled a??b 1.0"});
    for (const char* option : {"--disable", "--enable", "--remove"}) {
        const Result result = machine.tavik({option, "com.example.a"});
        EXPECT_EQ(result.exitCode, 0) << option << result.err;
        EXPECT_EQ(result.err, "") << option;
    }
    EXPECT_FALSE(fs::exists(machine.path("out")));
    EXPECT_EQ(machine.garbage(), List{});
}

// SQLite would replay a log that lies beside a database, whoever wrote it.
TEST_F(StoreForm, ALogThatIsNotOursChangesNothing) {
    const std::string path = machine_.path("copy/store.db");
    const std::string image = readFile(machine_.user("store.db"));
    writeFile(path, image.substr(0, image.size() - 16));
    {
        Database copy(path, SQLITE_OPEN_READWRITE, std::chrono::seconds(1));
        sqlite3_db_config(copy.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        int persist = 1;
        sqlite3_file_control(copy.get(), "main", SQLITE_FCNTL_PERSIST_WAL, &persist);
        copy.execute("PRAGMA journal_mode = WAL; UPDATE extension SET state = 1 - state");
    }
    ASSERT_GT(fs::file_size(path + "-wal"), 0U);
    fs::copy(path + "-wal", machine_.user("store.db-wal"));
    fs::copy(path + "-wal", machine_.user("store.db-journal"));
    EXPECT_EQ(machine_.listed(), before_);
    ASSERT_EQ(machine_.install(machine_.package("com.example.c", "1.0")).exitCode, 0);
    List after = before_;
    after.emplace_back("Enabled com.example.c 1.0");
    EXPECT_EQ(machine_.listed(), after);
}

// In the earlier form the log belongs to the database, so nobody else may have written it.
TEST_F(StoreForm, TheLogOfAnEarlierFormIsTheUsersOwn) {
    makeEarlierForm();
    const std::string log = machine_.user("store.db-wal");
    fs::permissions(log, fs::perms::others_write, fs::perm_options::add);
    EXPECT_EQ(machine_.tavik({"--enable", "com.example.b"}).exitCode, kStoreUnsafe);
    fs::permissions(log, fs::perms::others_write, fs::perm_options::remove);
    fs::rename(log, machine_.path("log"));
    fs::create_symlink(machine_.path("log"), log);
    EXPECT_EQ(machine_.tavik({"--enable", "com.example.b"}).exitCode, kStoreUnsafe);
    fs::remove(log);
    fs::rename(machine_.path("log"), log);
    EXPECT_EQ(machine_.tavik({"--enable", "com.example.b"}).exitCode, 0);
}

TEST_F(StoreForm, AListFinishesWhatWasInterrupted) {
    const std::string link = machine_.user("products/sketch/extensions/com.example.a");
    fs::remove(link);
    writeFile(machine_.user("staging/unfinished"), "");
    EXPECT_EQ(machine_.listed(), before_);
    EXPECT_TRUE(fs::exists(link));
    EXPECT_EQ(machine_.garbage(), List{});
}

TEST_F(StoreForm, AnEmptyReserveIsFilled) {
    writeFile(machine_.user(".reserve"), "");
    ASSERT_EQ(machine_.tavik({"--enable", "com.example.b"}).exitCode, 0);
    EXPECT_GE(fs::file_size(machine_.user(".reserve")), 128U << 10U);
}

}  // namespace
}  // namespace tavik::testing
