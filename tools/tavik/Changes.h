#pragma once

#include <string>
#include <vector>

#include "platform/core/disk/StoreLocation.h"
#include "platform/core/store/History.h"
#include "tools/tavik/Run.h"

namespace tavik::front {

/// A change of one extension in one store.
struct Change {
    Operation operation;
    std::string id;
    std::string from;  ///< version before; empty: was not installed
    std::string to;    ///< version after; empty: is gone
    Scope scope;
};

/// The changes of one run: each is told as it comes, and all of them are in the document.
class Changes {
  public:
    explicit Changes(Run& run) : run_(run) {}
    /// Writes the document's member.
    ~Changes();
    Changes(const Changes&) = delete;
    Changes& operator=(const Changes&) = delete;

    void add(Change change);
    bool empty() const noexcept { return changes_.empty(); }

  private:
    Run& run_;
    std::vector<Change> changes_;
};

inline constexpr DocumentMember kChangesMember = {"changes", DocumentMember::Kind::list};

/// What putting version `to` in the place of version `from` is called.
Operation installOperation(const std::string& from, const std::string& to);

/// What a change that a history names is called; without a word of its own, that name.
std::string operationText(const std::string& name, Language language);

const char* scopeName(Scope scope) noexcept;

/// "for me", "for all users" in the run's language.
const char* scopeText(Scope scope, Language language) noexcept;

}  // namespace tavik::front
