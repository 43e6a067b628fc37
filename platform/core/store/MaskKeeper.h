#pragma once

#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/disk/StoreLock.h"
#include "platform/core/store/ExtensionRow.h"
#include "platform/core/store/Settlement.h"

namespace tavik {

class ExtensionTable;

/// The masks of one moment: by the key of the id, the products that it is masked for.
using Masks = std::unordered_map<std::string, std::set<std::string>>;

/// Whether the id is masked for that product, or no host product can have such a name.
bool isMaskedFor(const Masks& masks, const std::string& idKey, const std::string& product);

/// Whether an extension that is masked at all is masked for all products that it was made for. An
/// update of the shared store may have added some.
bool isCovered(const Masks& masks, const ExtensionRow& shared);
bool areAllCovered(const Masks& masks, ExtensionTable& shared);

/// The masks of a user's store: which extensions of the shared store this user has switched off for
/// himself. A mask is an empty file `products/NAME/disabled/ID` for each product that the extension
/// was made for. An id is masked if any product has its file, and nothing else is stored. So the
/// mask begins with the first file and ends with the last one. After a crash in between, the next
/// change adds the missing files.
class MaskKeeper {
  public:
    /// `store`: the user's; must outlive the keeper.
    explicit MaskKeeper(const StoreFolder& store) : store_(store) {}

    /// Only looks: creates nothing, takes no lock.
    Masks read() const;

    /// Masks the id for these products; what is there stays. Product names that cannot name a
    /// folder are passed over, since no host product has one.
    void set(const std::string& id, const std::set<std::string>& products, Settlement& settlement,
             const StoreLock&);

    /// Whether set() has made entries for that id that clear() has not taken away.
    bool hasMade(const std::string& idKey) const { return made_.count(idKey) != 0; }

    /// Throws where clear() would find no right to write, or a folder that is not safe.
    void requireClearable(const std::string& idKey) const;

    /// Takes the mask away, for all products and however the letters of the id are written. Looks
    /// for all entries first, so that after a failure the id is still masked.
    void clear(const std::string& idKey, Settlement& settlement, const StoreLock&);

    /// Makes durable what was changed, and with it all else on the store's file system. False where
    /// nothing was changed.
    bool synchronise();

  private:
    /// An empty file of a mask.
    struct Entry {
        std::string folder;  ///< below the store
        std::string name;
    };
    std::vector<std::string> products() const;
    std::vector<Entry> entriesOf(const std::string& idKey) const;
    FileDescriptor folderOf(const Entry& entry) const;

    const StoreFolder& store_;
    bool isChanged_ = false;
    std::multiset<std::string> made_;  ///< keys of ids, one for each entry
};

}  // namespace tavik
