#include "registry/SoPXConnector.h"

#include <string_view>
#include <unordered_map>
#include <vector>

namespace Vexil {
namespace {

/// Where a record stands whose specifier answers to `spec`, by a search for exactly one specifier;
/// -1 where there is none.
template <typename Search>
long positionOf(const SoString& spec, Search exactly) {
    const long at = exactly(spec);
    if (at >= 0)
        return at;
    // An instance that is not registered by itself is looked up as the application it belongs to.
    Parlex::Specifier plain(spec.data, false);
    plain.setInstance(SoString());
    return plain == spec ? -1 : exactly(plain);
}

/// For each record the position of the one that it redirects to, -1 for none.
std::vector<long> redirectTargets(const SoVector<PXConnectorAppInfo>& items) {
    std::unordered_map<std::string_view, long> positions;
    const auto viewOf = [](const SoString& text) {
        return std::string_view(text.data, static_cast<std::size_t>(text.length));
    };
    for (long i = 0; i < items.count; ++i)
        positions.emplace(viewOf(items.at(i)->specifier), i);
    const auto exactly = [&](const SoString& spec) {
        const auto found = positions.find(viewOf(spec));
        return found == positions.end() ? -1 : found->second;
    };
    std::vector<long> targets;
    for (long i = 0; i < items.count; ++i) {
        const SoString& target = items.at(i)->redirectTarget;
        targets.push_back(target.length == 0 ? -1 : positionOf(target, exactly));
    }
    return targets;
}

/// For each record the one that its chain of redirects ends at: itself where it redirects nowhere,
/// and where its chain comes back to it. Each record is walked once.
std::vector<long> chainEnds(const std::vector<long>& targets) {
    constexpr long kUnknown = -1;
    constexpr long kOnThisWalk = -2;
    std::vector<long> ends(targets.size(), kUnknown);
    std::vector<std::size_t> walk;
    for (std::size_t start = 0; start < targets.size(); ++start) {
        std::size_t at = start;
        walk.clear();
        while (ends[at] == kUnknown && targets[at] >= 0) {
            ends[at] = kOnThisWalk;
            walk.push_back(at);
            at = static_cast<std::size_t>(targets[at]);
        }
        if (ends[at] == kUnknown)
            ends[at] = static_cast<long>(at);
        if (ends[at] == kOnThisWalk) {
            std::size_t member = at;
            do {
                ends[member] = static_cast<long>(member);
                member = static_cast<std::size_t>(targets[member]);
            } while (member != at);
        }
        for (const std::size_t passed : walk)
            if (ends[passed] == kOnThisWalk)
                ends[passed] = ends[at];
    }
    return ends;
}

/// The path at the end of a record's chain or, where that is empty, the last path on the way there;
/// the record's own is not on the way.
SoString pathAlong(const SoVector<PXConnectorAppInfo>& items, const std::vector<long>& targets,
                   long record, long end) {
    const SoString* path = &items.at(end)->path;
    if (path->length != 0)
        return *path;
    for (long at = targets[static_cast<std::size_t>(record)]; at != end;
         at = targets[static_cast<std::size_t>(at)])
        if (items.at(at)->path.length != 0)
            path = &items.at(at)->path;
    return *path;
}

}  // namespace

bool PXConnectorAppInfo::operator==(const PXConnectorAppInfo& other) const {
    return specifier == other.specifier && path == other.path &&
           windowClassName == other.windowClassName && bundleIdentifier == other.bundleIdentifier &&
           displayName == other.displayName && busVersion == other.busVersion &&
           allowMultipleInstances == other.allowMultipleInstances &&
           isShellTool == other.isShellTool &&
           supportsScriptingToolkit == other.supportsScriptingToolkit &&
           messageAuthentication == other.messageAuthentication &&
           messageDigest == other.messageDigest && executableBasename == other.executableBasename &&
           executableExtension == other.executableExtension && dictionary == other.dictionary &&
           developerInstallPath == other.developerInstallPath;
}

PXConnectorAppInfoList::~PXConnectorAppInfoList() {
    items.deleteAll();
}

bool PXConnectorAppInfoList::append(PXConnectorAppInfo* r) {
    if (isInList(*r)) {
        delete r;
        return false;
    }
    appendNew(r);
    return true;
}

void PXConnectorAppInfoList::appendNew(PXConnectorAppInfo* r) {
    items.append(r);
}

bool PXConnectorAppInfoList::isInList(const PXConnectorAppInfo& r) const {
    for (long i = 0; i < items.count; ++i)
        if (*items.at(i) == r)
            return true;
    return false;
}

bool PXConnectorAppInfoList::update(const PXConnectorAppInfo& r) {
    PXConnectorAppInfo* known = lastUpdated;
    if (known == nullptr || known->specifier != r.specifier)
        known = find(r.specifier);
    if (known != nullptr) {
        *known = r;
    } else if (r.specifier.length != 0) {
        known = new PXConnectorAppInfo(r);
        appendNew(known);
    } else {
        return false;
    }
    lastUpdated = known;
    return true;
}

PXConnectorAppInfo* PXConnectorAppInfoList::find(const SoString& spec, long* index) const {
    const long position = positionOf(spec, [this](const SoString& exact) {
        for (long i = 0; i < items.count; ++i)
            if (items.at(i)->specifier == exact)
                return i;
        return -1L;
    });
    if (index != nullptr)
        *index = position;
    return get(position);
}

bool PXConnectorAppInfoList::find(const SoString& spec, PXConnectorAppInfo& out,
                                  long* index) const {
    const PXConnectorAppInfo* found = find(spec, index);
    if (found == nullptr)
        return false;
    out = *found;
    return true;
}

bool PXConnectorAppInfoList::getItemAt(long i, PXConnectorAppInfo& out) const {
    out = *items.at(i);
    return true;
}

PXConnectorAppInfo* PXConnectorAppInfoList::get(long i) const {
    return i < 0 || i >= items.count ? nullptr : items.at(i);
}

bool PXConnectorAppInfoList::remove(const PXConnectorAppInfo& r) {
    lastUpdated = nullptr;
    for (long i = 0; i < items.count; ++i) {
        if (*items.at(i) == r) {
            delete items.removeAt(i);
            return true;
        }
    }
    return false;
}

void PXConnectorAppInfoList::clear() {
    clearWithoutLocking();
}

void PXConnectorAppInfoList::clearWithoutLocking() {
    lastUpdated = nullptr;
    items.deleteAll();
}

bool PXConnectorAppInfoList::resolveRedirectTo() {
    bool anyRedirects = false;
    const std::vector<long> targets = redirectTargets(items);
    const std::vector<long> ends = chainEnds(targets);
    for (long i = 0; i < items.count; ++i) {
        PXConnectorAppInfo& record = *items.at(i);
        anyRedirects = anyRedirects || record.redirectTarget.length != 0;
        // In list order: a path that is set or emptied here counts for the records that follow.
        const long end = ends[static_cast<std::size_t>(i)];
        if (end != i)
            record.path = pathAlong(items, targets, i, end);
    }
    return anyRedirects;
}

bool PXConnectorAppInfoList::setProcessID(const SoString& spec, unsigned long pid) {
    for (long i = 0; i < items.count; ++i) {
        if (items.at(i)->specifier == spec) {
            items.at(i)->processID = static_cast<std::uint32_t>(pid);
            return true;
        }
    }
    return false;
}

}  // namespace Vexil
