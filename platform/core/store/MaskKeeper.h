#pragma once

#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/disk/StoreLock.h"
#include "platform/core/store/Settlement.h"

namespace tavik {

/// The masks of a user's store: which extensions of the shared store this user has switched off for
/// himself. A mask is an empty file `products/NAME/disabled/ID` for each product that the extension
/// was made for. An id is masked if any product has its file, and nothing else is stored. So the
/// mask begins with the first file and ends with the last one. After a crash in between, the next
/// change adds the missing files.
class MaskKeeper {
  public:
    /// `store`: the user's; must outlive the keeper.
    explicit MaskKeeper(const StoreFolder& store) : store_(store) {}

    /// The keys of the ids that are masked. Only looks: creates nothing, takes no lock.
    std::unordered_set<std::string> read() const;

    /// Whether the id is masked for each of these products.
    bool covers(const std::string& id, const std::set<std::string>& products) const;

    /// Masks the id for these products; what is there stays. Product names that cannot name a
    /// folder are passed over, since no host product has one.
    void set(const std::string& id, const std::set<std::string>& products, Settlement& settlement,
             const StoreLock&);

    /// Takes the mask away, for all products and however the letters of the id are written.
    void clear(const std::string& idKey, Settlement& settlement, const StoreLock&);

    /// Makes durable what was changed, and with it all else on the store's file system. False where
    /// nothing was changed.
    bool synchronise();

  private:
    std::vector<std::string> products() const;

    const StoreFolder& store_;
    bool isChanged_ = false;
};

}  // namespace tavik
