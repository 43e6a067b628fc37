#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/core/disk/StoreFolder.h"

namespace tavik {

/// A folder `set-aside/DATE.REASON.TOKEN/` in a store, for what a change takes out of the store
/// without deleting it. It is made with the first thing that is put into it.
class SetAside {
  public:
    /// `reason`: one word for the folder's name, e.g. "damaged".
    SetAside(const StoreFolder& store, std::string reason);

    /// Moves `name` out of the open folder into this one; true where it was there. Throws errno
    /// failures.
    bool take(int folder, const std::string& name);

    /// Gives a file below the open folder a second name here, below as many folders; it also stays
    /// where it is. Links are not followed. Throws errno failures, also where the file system knows
    /// no second names.
    void keepName(int folder, const std::string& path);

    /// Writes a copy of a file that stays where it is.
    void keepCopy(const std::string& name, std::string_view bytes);

    /// Where the things are, for people.
    const std::string& path() const noexcept { return path_; }

    /// What has been set aside in a store, the oldest first: "DATE.REASON.TOKEN".
    static std::vector<std::string> namesOf(const StoreFolder& store);

    /// Deletes all folders of that reason.
    static void clear(const StoreFolder& store, const std::string& reason) noexcept;

  private:
    int descriptor();

    const StoreFolder& store_;
    std::string reason_;
    std::string name_;
    std::string path_;
    FileDescriptor folder_;
};

}  // namespace tavik
