#include "platform/core/store/EarlierForm.h"

#include <fcntl.h>
#include <stdlib.h>

#include <cerrno>

#include "platform/core/disk/SafeFolder.h"
#include "platform/core/disk/TreeRemoval.h"
#include "platform/core/status/SqliteFailure.h"
#include "platform/core/status/Status.h"
#include "platform/core/store/RowReader.h"
#include "platform/core/store/StoreImage.h"
#include "platform/core/store/StoreSchema.h"

namespace tavik {
namespace {

constexpr std::size_t kMaxBytes = std::size_t{1} << 30;
constexpr std::chrono::seconds kBusyTimeout{10};

/// A folder for the copy that disappears with this object.
class CopyFolder {
  public:
    CopyFolder() {
        // TMPDIR is not used: it may lie below another user's folder, and root would write there.
        std::string name = "/tmp/tavik-XXXXXX";
        if (::mkdtemp(name.data()) == nullptr)
            failErrno(errno, name, "make a temporary folder");
        path_ = name;
    }
    ~CopyFolder() { removeTree(AT_FDCWD, path_); }
    CopyFolder(const CopyFolder&) = delete;
    CopyFolder& operator=(const CopyFolder&) = delete;

    void copy(const StoreFolder& store, const char* name) const {
        const std::string path = store.path() + "/" + name;
        const auto bytes =
            readSafeFile(store.descriptor(), name, kMaxBytes, {path, Status::storeUnsafe});
        if (!bytes)
            return;
        const FileDescriptor file(::open((path_ + "/" + name).c_str(),
                                         O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                         0600));
        if (!file || !writeAll(file.get(), *bytes))
            failErrno(errno, path_ + "/" + name, "copy the database");
    }

    const std::string& path() const noexcept { return path_; }

  private:
    std::string path_;
};

EarlierStore readCopy(const CopyFolder& copy, const std::string& path) {
    Database database(copy.path() + "/" + kDatabaseName, SQLITE_OPEN_READWRITE, kBusyTimeout);
    Statement check(database, "PRAGMA integrity_check(1)");
    if (!check.step() || check.text(0) != "ok")
        fail(Status::storeDamaged, path, std::string(check.text(0)));
    EarlierStore store;
    store.rows = readRows(database, sql::kSelectEarlierExtensions, "", path);
    Statement products(database, sql::kSelectEarlierLinkedProducts);
    if (products.step())
        store.linkedProducts = products.text(0);
    return store;
}

}  // namespace

EarlierStore readEarlierForm(const StoreFolder& folder) {
    const std::string path = folder.path() + "/" + kDatabaseName;
    const CopyFolder copy;
    copy.copy(folder, kDatabaseName);
    // The index is made anew from the log.
    copy.copy(folder, "store.db-wal");
    copy.copy(folder, "store.db-journal");
    try {
        return readCopy(copy, path);
    } catch (const SqliteError& error) {
        failSqlite(error, path);
    }
}

}  // namespace tavik
