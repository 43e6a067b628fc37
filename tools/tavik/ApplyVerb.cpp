#include <unistd.h>

#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

#include "platform/core/disk/RegularFile.h"
#include "platform/core/package/Manifest.h"
#include "platform/core/session/StateFile.h"
#include "platform/core/status/Status.h"
#include "platform/support/FileDescriptor.h"
#include "tools/tavik/Account.h"
#include "tools/tavik/Changes.h"
#include "tools/tavik/Words.h"

namespace tavik::front {
namespace {

constexpr std::size_t kMaxStateFileBytes = std::size_t{8} << 20;

bool isStandardInput(const std::string& path) {
    return path == "-" || path == "/dev/stdin";
}

/// A regular file, or the standard input, which may be a pipe: any other pipe could stand there
/// without a writer, and reading would never end.
std::string readStateFile(const std::string& path) try {
    if (isStandardInput(path))
        return readUpTo(STDIN_FILENO, kMaxStateFileBytes);
    const RegularFile file = openRegularFile(path, FinalLink::followed);
    if (!file)
        fail(Status::stateFileInvalid, path, "it cannot be opened: " + file.cause());
    return readUpTo(file.descriptor.get(), kMaxStateFileBytes);
} catch (const std::system_error& error) {
    fail(Status::stateFileInvalid, path, "it cannot be read: " + errnoText(error.code().value()));
}

/// Brings one store's extension to what the file wants, step by step; a dry run only tells them.
class Application {
  public:
    Application(const std::string& file, bool isDry, Run& run, Changes& changes)
        : folder_(isStandardInput(file) ? "" : std::filesystem::path(file).parent_path()),
          isDry_(isDry),
          run_(run),
          changes_(changes),
          before_(run.session().inventory()) {
        // Of a store that cannot be read nothing would be removed, and nobody would know.
        for (const Error& error : before_.failures())
            run_.output().failure(error);
    }

    void bring(const WantedExtension& wanted) {
        const InventoryEntry* entry = before_.find(wanted.scope, toIdKey(wanted.id));
        std::string version = entry == nullptr ? "" : entry->row.version.text();
        if (entry == nullptr || !wanted.accepts(entry->row.version))
            version = install(wanted, version);
        // A new extension is enabled.
        const ExtensionState state = entry == nullptr ? ExtensionState::enabled : entry->row.state;
        if (state != wanted.state)
            switchTo(wanted, version);
        // A user's own copy goes before the one for all users, and decides about its mask too.
        const bool isCovered = before_.find(Scope::user, toIdKey(wanted.id)) != nullptr;
        const bool isMasked = entry != nullptr && entry->isMasked;
        if (wanted.scope == Scope::shared && !isCovered && isMasked != wanted.isMasked)
            mask(wanted, version);
    }

    void prune(const std::vector<WantedExtension>& wanted) {
        std::set<std::pair<Scope, std::string>> kept;
        for (const auto& each : wanted)
            kept.emplace(each.scope, toIdKey(each.id));
        for (const auto& entry : before_.entries())
            if (kept.count({entry.scope, entry.row.idKey}) == 0)
                run_.attempt([&] { remove(entry); });
    }

  private:
    /// The version that is installed afterwards, or would be after a dry run.
    std::string install(const WantedExtension& wanted, const std::string& from) {
        const PackageSource source = sourceOf(wanted);
        std::string to = isDry_ ? run_.session().versionOf(source, wanted.scope)
                                : run_.session().install(source, wanted.scope).version.text();
        changes_.add({installOperation(from, to), wanted.id, from, to, wanted.scope});
        return to;
    }

    PackageSource sourceOf(const WantedExtension& wanted) const {
        PackageSource source;
        source.id = wanted.id;
        source.version = wanted.version;
        source.minVersion = wanted.minVersion;
        source.sha256 = wanted.sha256;
        if (wanted.version)
            source.olderVersion = InstallDetails::OlderVersion::allowed;
        source.place = wanted.source;
        const bool isPath = wanted.source.find("://") == std::string::npos;
        if (!wanted.source.empty() && isPath)
            source.place = folder_ / wanted.source;
        return source;
    }

    void switchTo(const WantedExtension& wanted, const std::string& version) {
        if (!isDry_)
            run_.session().setState(present(run_.session().inventory(), wanted), wanted.state);
        const bool enables = wanted.state == ExtensionState::enabled;
        changes_.add({enables ? Operation::enable : Operation::disable, wanted.id, version, version,
                      wanted.scope});
    }

    void mask(const WantedExtension& wanted, const std::string& version) {
        if (!isDry_)
            run_.session().setMask(
                present(run_.session().inventory(), wanted),
                wanted.isMasked ? ExtensionState::disabled : ExtensionState::enabled);
        changes_.add({wanted.isMasked ? Operation::mask : Operation::unmask, wanted.id, version,
                      version, wanted.scope});
    }

    static InventoryEntry present(const Inventory& now, const WantedExtension& wanted) {
        const InventoryEntry* entry = now.find(wanted.scope, toIdKey(wanted.id));
        if (entry == nullptr)
            fail(Status::extensionNotFound, wanted.id);
        return *entry;
    }

    void remove(const InventoryEntry& entry) {
        if (!isDry_)
            run_.session().remove(entry);
        changes_.add({Operation::remove, entry.row.id, entry.row.version.text(), "", entry.scope});
    }

    /// Of the state file: relative paths in it begin here. Empty, the current one, for the standard
    /// input.
    std::filesystem::path folder_;
    bool isDry_;
    Run& run_;
    Changes& changes_;
    Inventory before_;
};

void apply(const Arguments& arguments, Run& run) {
    const std::string& path = arguments.operands.front();
    const bool isDry = arguments.has(kDryRunOption.name);
    useAccount(arguments, run);
    Changes changes(run);
    const auto wanted = parseStateFile(readStateFile(path), path);
    if (isDry)
        run.session().setInterrupted(Session::Interrupted::stays);
    Application application(path, isDry, run, changes);
    for (const auto& each : wanted)
        run.attempt([&] { application.bring(each); });
    if (arguments.has("prune"))
        application.prune(wanted);
    if (changes.empty() && !run.output().hasFailures())
        run.output().line(word(Word::nothingToDo, run.language()));
    if (isDry && !changes.empty())
        run.output().pending();
}

}  // namespace

const Verb kApplyVerb = {
    "apply",
    "brings the stores to what a state file says",
    {"FILE", "a state file, as freeze prints it; - for the standard input", 1, 1},
    withAccountOptions(
        {{"prune", nullptr, "also remove what the file does not name, from both stores"},
         kDryRunOption}),
    {kChangesMember},
    apply};

}  // namespace tavik::front
