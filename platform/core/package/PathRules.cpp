#include "platform/core/package/PathRules.h"

#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>

#include "platform/support/Text.h"

namespace tavik {
namespace {

bool isAscii(std::string_view text) noexcept {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string mapUtf8(std::string_view text, int options) {
    utf8proc_uint8_t* mapped = nullptr;
    const utf8proc_ssize_t size =
        utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                     static_cast<utf8proc_ssize_t>(text.size()), &mapped,
                     static_cast<utf8proc_option_t>(options));
    const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(mapped, &std::free);
    if (size < 0)  // The text is valid UTF-8, so only memory can be missing.
        throw std::bad_alloc();
    return {reinterpret_cast<const char*>(mapped), static_cast<std::size_t>(size)};
}

std::string componentFault(std::string_view component) {
    if (component.empty())
        return "has an empty component";
    if (component == "." || component == "..")
        return "has a component " + quoteName(component);
    if (component.size() > kMaxComponentBytes)
        return "has a component of more than " + std::to_string(kMaxComponentBytes) + " bytes";
    return {};
}

bool hasDrive(std::string_view path) noexcept {
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    return path.size() >= 2 && isLetter(path[0]) && path[1] == ':';
}

}  // namespace

std::string pathFault(std::string_view path) {
    if (path.empty())
        return "has no name";
    if (path.size() > kMaxPathBytes)
        return "has a path of more than " + std::to_string(kMaxPathBytes) + " bytes";
    if (!isControlFree(path))
        return "has a name that is no UTF-8 or has control characters";
    if (path.find('\\') != std::string_view::npos)
        return "has a backslash in its name";
    if (path.front() == '/' || hasDrive(path))
        return "has an absolute path";
    if (static_cast<std::size_t>(std::count(path.begin(), path.end(), '/')) >= kMaxPathDepth)
        return "is more than " + std::to_string(kMaxPathDepth) + " levels deep";
    for (std::size_t start = 0; start <= path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        if (auto fault = componentFault(path.substr(start, end - start)); !fault.empty())
            return fault;
        start = end + 1;
    }
    return {};
}

std::string foldPath(std::string_view path) {
    if (isAscii(path))
        return toLowerAscii(path);
    // Accents are ordered before case folding, because some letters fold to several.
    const std::string ordered = mapUtf8(path, UTF8PROC_STABLE | UTF8PROC_DECOMPOSE);
    return mapUtf8(ordered, UTF8PROC_STABLE | UTF8PROC_COMPOSE | UTF8PROC_CASEFOLD);
}

std::string PathSet::add(const std::string& path, Kind kind) {
    const std::size_t slash = path.rfind('/');
    if (slash != std::string::npos) {
        if (auto fault = addParents(std::string_view(path).substr(0, slash)); !fault.empty())
            return fault;
    }
    return put(path, kind, true);
}

std::string PathSet::addParents(std::string_view parent) {
    if (parent == lastParent_)
        return {};
    for (std::size_t end = parent.find('/'); end != std::string_view::npos;
         end = parent.find('/', end + 1)) {
        if (auto fault = put(parent.substr(0, end), Kind::folder, false); !fault.empty())
            return fault;
    }
    auto fault = put(parent, Kind::folder, false);
    if (fault.empty())
        lastParent_ = parent;
    return fault;
}

std::string PathSet::put(std::string_view path, Kind kind, bool isListed) {
    const auto [at, isNew] =
        nodes_.try_emplace(foldPath(path), Node{std::string(path), kind, isListed});
    Node& node = at->second;
    if (isNew) {
        folderCount_ += kind == Kind::folder ? 1 : 0;
        return {};
    }
    if (node.path != path)
        return "is the same path as " + quoteName(node.path) + " on some systems";
    if (node.kind != kind)
        return quoteName(path) + " is both a file and a folder";
    if (isListed && node.isListed)
        return "is listed twice";
    node.isListed = node.isListed || isListed;
    return {};
}

std::vector<std::string> PathSet::folders() const {
    std::vector<std::string> folders;
    folders.reserve(folderCount_);
    for (const auto& [key, node] : nodes_) {
        if (node.kind == Kind::folder)
            folders.push_back(node.path);
    }
    std::sort(folders.begin(), folders.end());
    return folders;
}

}  // namespace tavik
