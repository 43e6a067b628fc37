#include "platform/core/net/Address.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>

#include "platform/support/Hex.h"
#include "platform/support/Text.h"

namespace tavik {
namespace {

constexpr std::size_t kMaxHostBytes = 253;

/// Programs disagree about characters that RFC 3986 does not allow, so these are refused.
void requirePlain(std::string_view text) {
    if (text.size() > Address::kMaxBytes)
        throw AddressError("is longer than " + std::to_string(Address::kMaxBytes) + " bytes");
    for (const char c : text)
        if (c <= ' ' || c >= '\x7F' || std::string_view("\"<>\\^`{|}").find(c) != std::string::npos)
            throw AddressError("has a character that must be percent-encoded in an address");
}

/// The scheme in front of `text`, with its colon taken off; empty where there is none.
std::string takeScheme(std::string_view& text) {
    const std::size_t colon = text.find_first_of(":/?#");
    if (colon == std::string_view::npos || colon == 0 || text[colon] != ':')
        return {};
    std::string scheme = toLowerAscii(text.substr(0, colon));
    text.remove_prefix(colon + 1);
    return scheme;
}

/// The characters up to the first of `ends`, taken off `text`.
std::string_view takeUntil(std::string_view& text, const char* ends) {
    const std::string_view taken = text.substr(0, text.find_first_of(ends));
    text.remove_prefix(taken.size());
    return taken;
}

bool isLoopback(const std::string& host) {
    in_addr four{};
    in6_addr six{};
    if (::inet_pton(AF_INET, host.c_str(), &four) == 1)
        return (ntohl(four.s_addr) >> 24) == 127;
    if (host.front() == '[')
        return ::inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &six) == 1 &&
               IN6_IS_ADDR_LOOPBACK(&six);
    return host == "localhost";
}

void checkHost(const std::string& host) {
    if (host.size() > 2 && host.front() == '[') {
        in6_addr six{};
        if (::inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &six) != 1)
            throw AddressError("has no valid IPv6 address in its brackets");
        return;
    }
    const bool plain = std::all_of(host.begin(), host.end(), [](char c) {
        return isAlphanumeric(c) || c == '.' || c == '-' || c == '_';
    });
    if (host.empty() || host.size() > kMaxHostBytes || !plain)
        throw AddressError("has no valid host name");
}

/// The port behind a colon; nothing where it is the scheme's own.
std::string portText(std::string_view port, unsigned schemesOwn) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    if (error != std::errc() || end != port.data() + port.size() || number == 0 || number > 65535)
        throw AddressError("has no valid port number");
    return number == schemesOwn ? std::string() : ":" + std::to_string(number);
}

/// RFC 3986, 5.2.4, for a path that begins with a slash.
std::string withoutDotSegments(std::string_view path) {
    std::string result;
    while (!path.empty()) {
        path.remove_prefix(1);
        const std::string_view segment = takeUntil(path, "/");
        const bool last = path.empty();
        if (segment == "..")
            result.erase(std::min(result.rfind('/'), result.size()));
        if (segment != "." && segment != "..")
            result.append("/").append(segment);
        else if (last)
            result.append("/");
    }
    return result.empty() ? "/" : result;
}

/// Takes the character at the beginning of the text, which is not empty, off it: one as it stands,
/// or %XX.
std::string takeCharacter(std::string_view& text, bool& isEncoded) {
    isEncoded = text.front() == '%';
    if (!isEncoded) {
        std::string plain(text.substr(0, 1));
        text.remove_prefix(1);
        return plain;
    }
    const auto byte = fromHex(text.substr(1, 2));
    if (!byte || byte->empty())
        throw AddressError("has a % without two hexadecimal digits behind it");
    text.remove_prefix(3);
    return *byte;
}

std::string percentDecoded(std::string_view text) {
    std::string result;
    for (bool isEncoded = false; !text.empty();)
        result += takeCharacter(text, isEncoded);
    if (result.find('\0') != std::string::npos)
        throw AddressError("has a NUL in its path");
    return result;
}

/// RFC 3986, 6.2.2: the one form of all paths that mean the same. Nothing is encoded that need not
/// be, the digits of the rest are capitals, and there is no step "." or "..".
std::string normalized(std::string_view path) {
    std::string result;
    for (bool isEncoded = false; !path.empty();) {
        const std::string character = takeCharacter(path, isEncoded);
        result += isEncoded ? percentEncoded(character) : character;
    }
    return withoutDotSegments(result);
}

/// Some servers take %2F for a slash: behind it too, no step may lead upwards.
void requireNoHiddenSteps(std::string path) {
    for (std::size_t at = 0; (at = path.find("%2F", at)) != std::string::npos;)
        path.replace(at, 3, "/");
    if (withoutDotSegments(path) != path)
        throw AddressError("has a step \".\" or \"..\" behind an encoded slash");
}

}  // namespace

/// RFC 3986's unreserved characters stay as they are.
std::string percentEncoded(std::string_view text) {
    constexpr std::string_view kHex = "0123456789ABCDEF";
    std::string result;
    result.reserve(3 * text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (isAlphanumeric(c) || std::string_view("-._~").find(c) != std::string_view::npos)
            result += c;
        else
            result.append("%").append(1, kHex[byte >> 4]).append(1, kHex[byte & 15]);
    }
    return result;
}

std::string withoutSecrets(std::string address) {
    const std::size_t start = address.find("://");
    const std::size_t host = start == std::string::npos ? 0 : start + 3;
    const std::size_t at = address.substr(0, address.find('/', host)).rfind('@');
    if (at != std::string::npos && at >= host)
        address.replace(host, at - host, "...");
    const std::size_t query = address.find('?');
    return query == std::string::npos ? address : address.substr(0, query) + "?...";
}

Address Address::parse(std::string_view text) {
    requirePlain(text);
    Address address;
    const std::string scheme = takeScheme(text);
    if (scheme == "https")
        address.scheme_ = Scheme::https;
    else if (scheme == "http")
        address.scheme_ = Scheme::http;
    else if (scheme == "file")
        address.scheme_ = Scheme::file;
    else
        throw AddressError("begins with none of https:, file: and http:");

    const bool hasAuthority = text.substr(0, 2) == "//";
    if (hasAuthority) {
        text.remove_prefix(2);
        address.setAuthority(takeUntil(text, "/?#"));
    } else if (address.scheme_ != Scheme::file) {
        throw AddressError("has no host name");
    }
    address.setPath(text);
    return address;
}

void Address::setAuthority(std::string_view authority) {
    if (authority.find('@') != std::string_view::npos)
        throw AddressError("has a user name or a password in it");
    if (scheme_ == Scheme::file) {
        if (!authority.empty() && toLowerAscii(authority) != "localhost")
            throw AddressError("is a file of another machine");
        return;
    }
    const std::size_t bracket = authority.find(']');
    const std::size_t colon = authority.find(':', bracket == std::string_view::npos ? 0 : bracket);
    const std::string host = toLowerAscii(authority.substr(0, colon));
    checkHost(host);
    authority_ = host;
    if (colon != std::string_view::npos)
        authority_ += portText(authority.substr(colon + 1), scheme_ == Scheme::https ? 443 : 80);
    if (scheme_ == Scheme::http && !isLoopback(host))
        throw AddressError("is http: of another machine, use https:");
}

void Address::setPath(std::string_view rest) {
    path_ = takeUntil(rest, "?#");
    query_ = takeUntil(rest, "#");
    if (scheme_ == Scheme::file && (path_.empty() || path_.front() != '/' || !query_.empty()))
        throw AddressError("is not file: with an absolute path");
    path_ = normalized(path_);
    requireNoHiddenSteps(path_);
    if (scheme_ == Scheme::file && path_.find("%2F") != std::string::npos)
        throw AddressError("has an encoded slash, which no file's name can have");
    if (scheme_ == Scheme::file)
        filePath();
}

Address Address::follow(std::string_view reference) const {
    requirePlain(reference);
    std::string_view rest = reference;
    if (!takeScheme(rest).empty()) {
        Address target = parse(reference);
        const bool weaker = (scheme_ == Scheme::https && target.scheme_ != Scheme::https) ||
                            (scheme_ == Scheme::http && target.scheme_ == Scheme::file);
        if (weaker)
            throw AddressError(scheme_ == Scheme::https ? "leads from https: to another scheme"
                                                        : "leads from http: to a file");
        return target;
    }
    Address target = *this;
    if (reference.substr(0, 2) == "//") {
        reference.remove_prefix(2);
        target.setAuthority(takeUntil(reference, "/?#"));
        target.setPath(reference);
        return target;
    }
    std::string_view query = reference;
    const std::string_view path = takeUntil(query, "?#");
    if (path.empty() && takeUntil(query, "#").empty())
        return target;
    std::string joined(path_);
    if (!path.empty() && path.front() == '/')
        joined = path;
    else if (!path.empty())
        joined.replace(joined.rfind('/') + 1, std::string::npos, path);
    target.setPath(withoutDotSegments(joined).append(reference.substr(path.size())));
    return target;
}

Address Address::withPathSuffix(std::string_view suffix) const {
    Address result = *this;
    result.path_.append(suffix);
    return result;
}

std::string Address::text() const {
    switch (scheme_) {
        case Scheme::https:
            return "https://" + authority_ + path_ + query_;
        case Scheme::http:
            return "http://" + authority_ + path_ + query_;
        case Scheme::file:
            break;
    }
    return "file://" + path_;
}

std::string Address::path() const {
    return percentDecoded(path_);
}

std::string Address::filePath() const {
    return path();
}

}  // namespace tavik
