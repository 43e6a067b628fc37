#include "tools/tavik/Changes.h"

#include <iterator>

#include "platform/core/package/Version.h"
#include "tools/tavik/Words.h"

namespace tavik::front {
namespace {

// In the order of the enumeration.
constexpr Word kOperations[] = {Word::didInstall, Word::didUpdate, Word::didReinstall,
                                Word::didRemove,  Word::didEnable, Word::didDisable,
                                Word::didMask,    Word::didUnmask};

std::string describe(const Change& change, Language language) {
    std::string text = word(kOperations[static_cast<std::size_t>(change.operation)], language);
    text += " " + change.id + " " + (change.from.empty() ? change.to : change.from);
    if (change.operation == Operation::update)
        text += " -> " + change.to;
    if (change.scope == Scope::shared)
        text += std::string(" (") + scopeText(change.scope, language) + ")";
    return text;
}

}  // namespace

Changes::~Changes() {
    run_.output().objects(kChangesMember.name, changes_, [](JsonText& json, const Change& change) {
        json.member("operation", nameOf(change.operation));
        json.member("id", change.id);
        json.optional("from", change.from);
        json.optional("to", change.to);
        json.member("scope", scopeName(change.scope));
    });
}

void Changes::add(Change change) {
    run_.output().line(describe(change, run_.language()));
    changes_.push_back(std::move(change));
}

Operation installOperation(const std::string& from, const std::string& to) {
    if (from.empty())
        return Operation::install;
    const auto before = Version::parse(from);
    const auto after = Version::parse(to);
    return before && after && *before == *after ? Operation::reinstall : Operation::update;
}

std::string operationText(const std::string& name, Language language) {
    for (std::size_t i = 0; i < std::size(kOperations); ++i)
        if (nameOf(static_cast<Operation>(i)) == name)
            return word(kOperations[i], language);
    return name;
}

const char* scopeName(Scope scope) noexcept {
    return scope == Scope::shared ? "allUsers" : "user";
}

const char* scopeText(Scope scope, Language language) noexcept {
    return word(scope == Scope::shared ? Word::forAllUsers : Word::forUser, language);
}

}  // namespace tavik::front
