#include "tools/tavik/Changes.h"

#include "platform/core/package/Version.h"
#include "tools/tavik/Words.h"

namespace tavik::front {
namespace {

struct OperationName {
    const char* name;
    Word word;
};

// In the order of the enumeration.
constexpr OperationName kOperations[] = {
    {"install", Word::didInstall}, {"update", Word::didUpdate}, {"reinstall", Word::didReinstall},
    {"remove", Word::didRemove},   {"enable", Word::didEnable}, {"disable", Word::didDisable},
    {"mask", Word::didMask},       {"unmask", Word::didUnmask}};

const OperationName& nameOf(Operation operation) {
    return kOperations[static_cast<std::size_t>(operation)];
}

std::string describe(const Change& change, Language language) {
    std::string text = word(nameOf(change.operation).word, language);
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
        json.member("operation", nameOf(change.operation).name);
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

const char* scopeName(Scope scope) noexcept {
    return scope == Scope::shared ? "allUsers" : "user";
}

const char* scopeText(Scope scope, Language language) noexcept {
    return word(scope == Scope::shared ? Word::forAllUsers : Word::forUser, language);
}

}  // namespace tavik::front
