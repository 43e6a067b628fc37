#pragma once

#include <sys/types.h>

#include <ctime>
#include <map>
#include <optional>
#include <string>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/disk/StoreLocation.h"

namespace tavik {

/// Knows whether a store is still as the last change has left it, rows, folders and links in
/// agreement: then the next change need not compare them. The source has the steps. It belongs to
/// one store and is used under its lock. Nothing here fails: where something is not known, the
/// change compares.
class Settlement {
  public:
    /// `store`: must outlive this object. `other`: the other store that this user works with.
    Settlement(const StoreFolder& store, const std::optional<StoreLocation>& other);

    /// Reads the note of the last change. `seal`: of the store's database as it is now.
    bool isInOrder(const std::string& seal) noexcept;

    /// Told before rows, folders and links are compared.
    void beginComparison() noexcept;

    /// Told where this change has found, or leaves, something that the next one has to look at.
    void distrust() noexcept { isKnown_ = false; }

    /// Deletes the note, so that the next change compares.
    void forget() noexcept;

    /// Writes the note for the next change, where all is as it should be.
    void write(const std::string& seal) noexcept;

    /// Encloses what a change does itself in one of the folders that are watched.
    class Step {
      public:
        /// `path`: absolute, or below the store.
        Step(Settlement& settlement, const std::string& path) noexcept;
        ~Step();
        Step(const Step&) = delete;
        Step& operator=(const Step&) = delete;

      private:
        Settlement& settlement_;
        std::string folder_;  ///< below the store; empty where it is not watched
    };

  private:
    /// Inode and times of a folder; all are zero where there is none.
    struct State {
        ino_t inode = 0;
        timespec modified{};
        timespec changed{};
    };
    using States = std::map<std::string, State>;  ///< by the path below the store
    struct Note;

    static bool isSame(const State& a, const State& b) noexcept;
    States look() const;
    State stateOf(const std::string& folder) const;
    std::optional<State> stamp(const std::string& folder) const noexcept;
    std::string watchedName(const std::string& path) const;
    std::string othersSeal() const;
    std::string textOf(const States& states, const std::string& seal) const;
    std::optional<Note> readNote() const;

    const StoreFolder& store_;
    const std::optional<StoreLocation>& other_;
    States expected_;
    std::string othersSeal_;
    std::time_t comparedAt_ = 0;
    bool isKnown_ = false;
};

}  // namespace tavik
