#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/core/session/Inventory.h"
#include "platform/core/session/Session.h"
#include "tools/tavik/Output.h"

namespace tavik::front {

/// One run of a verb: what it works on, and what it says.
class Run {
  public:
    Run(Output& output, std::string locale) : output_(output), locale_(std::move(locale)) {}

    Output& output() noexcept { return output_; }
    Language language() const noexcept { return output_.language(); }

    /// Opened when it is first asked for. Throws Error.
    Session& session();

    /// Runs `work`, and reports its failure: the other names and files go on.
    template <class Work>
    void attempt(Work work) {
        try {
            work();
        } catch (const Error& error) {
            output_.failure(error);
        }
    }

  private:
    Output& output_;
    std::string locale_;
    std::unique_ptr<Session> session_;
};

/// The store that an option such as --all-users names.
inline Scope scopeOf(const Arguments& arguments) {
    return arguments.has(kAllUsersOption.name) ? Scope::shared : Scope::user;
}

/// The extension that a name or id means: of the store `only`, or of both, where the user's own
/// copy goes before the one for all users. Throws what findByName throws, or why a store that may
/// hold it cannot be read.
const InventoryEntry& named(const Inventory& inventory, const std::string& name,
                            std::optional<Scope> only = {});

}  // namespace tavik::front
