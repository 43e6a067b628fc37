#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/disk/StoreLock.h"
#include "platform/core/store/ExtensionRow.h"
#include "platform/core/store/FolderName.h"
#include "platform/core/store/History.h"
#include "platform/support/Arena.h"
#include "platform/support/Error.h"
#include "platform/support/PageMemory.h"
#include "platform/support/Sqlite.h"

namespace tavik {

/// The rows of a store's database `store.db`: one for each installed extension, and the history.
///
/// The file is read whole through one checked descriptor, its seal is compared, and SQLite works on
/// the bytes in memory: a reader takes no lock, makes no file and blocks nobody. Changes too are
/// made in memory; StoreChange writes the result as the next version of the file. A database that
/// is lost, damaged or another program's is built anew in memory, from the version before it and
/// the installed folders. Failures of SQLite come out as Error with a status of the core.
class ExtensionTable {
  public:
    /// Where the rows come from. All but `sound` are to be written by the next change.
    enum class Origin { sound, fresh, earlierForm, rebuilt };

    /// For lists. Nothing where the store has no database and nothing installed.
    static std::optional<ExtensionTable> openForReading(const StoreFolder& folder);

    /// For changes: empty where there is no database yet. A change uses the names in the rows, so
    /// all of them are checked first, unless `isInOrder` says of the file's seal that they have
    /// been.
    using IsInOrder = std::function<bool(const std::string& seal)>;
    static ExtensionTable openForWriting(const StoreFolder& folder, const StoreLock&,
                                         const IsInOrder& isInOrder);

    /// The seal of the store's file that holds these rows; empty where there is none.
    const std::string& seal() const noexcept { return seal_; }

    Origin origin() const noexcept { return origin_; }

    /// Why the database had to be built anew; nothing where it is sound.
    const std::optional<Error>& trouble() const noexcept { return trouble_; }

    /// All rows, whole or with only the columns of a list (much faster), ordered by key.
    std::vector<ExtensionRow> readAll();
    ExtensionList readList(Arena& texts);
    void visitList(Arena& texts, const ListSink& sink);

    /// The folders that the rows name, in no order, and their digest. Status::storeDamaged for a
    /// row that is not valid.
    std::vector<std::string> readFolders();
    FolderDigest folderDigest();

    std::optional<ExtensionRow> find(const std::string& idKey);

    /// All lines, the oldest first.
    std::vector<HistoryLine> readHistory();

    /// The products that the links were last made for; see LinkKeeper.
    std::string linkedProducts();

    void setLinkedProducts(const std::string& text);
    /// Whether they were set and not written yet.
    bool areLinkedProductsNew() const noexcept { return areLinkedProductsNew_; }
    void put(const ExtensionRow& row);
    void remove(const std::string& idKey);
    void setState(const std::string& idKey, ExtensionState state);
    void addHistory(const HistoryLine& line);

    /// Hands the bytes of the file that holds these rows over: the database, and its seal.
    void writeFile(const std::function<void(std::string_view)>& write);

    /// Told when that file is the store's.
    void noteWritten() noexcept {
        origin_ = Origin::sound;
        areLinkedProductsNew_ = false;
        seal_.swap(nextSeal_);
    }

  private:
    ExtensionTable(std::string path, Database database, Origin origin)
        : path_(std::move(path)), database_(std::move(database)), origin_(origin) {}

    enum class Access { read, change };

    static ExtensionTable empty(const StoreFolder& folder, Origin origin);
    static ExtensionTable ofImage(const StoreFolder& folder, PageMemory image, Access access);
    static ExtensionTable ofEarlierForm(const StoreFolder& folder);
    static ExtensionTable rebuild(const StoreFolder& folder, const std::string& fault);
    static std::optional<ExtensionTable> open(const StoreFolder& folder, Access access,
                                              const IsInOrder& isInOrder);

    void visitFolders(const std::function<void(std::string_view)>& visit);

    template <class Work>
    auto guarded(Work work);

    std::string path_;
    PageMemory image_;  ///< what the database works on; stays where it is
    Database database_;
    Origin origin_;
    std::string seal_;
    std::string nextSeal_;                ///< of what was written last
    std::optional<FolderDigest> digest_;  ///< until a row changes
    std::optional<Error> trouble_;
    bool areLinkedProductsNew_ = false;
};

}  // namespace tavik
