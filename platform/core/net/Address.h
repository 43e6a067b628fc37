#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace tavik {

/// Why an address was refused. The text never repeats the address, which may hold a password.
class AddressError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The text as one step of an address's path. It is never moved while it grows, so that no part of
/// a secret stays behind in memory that was given back.
std::string percentEncoded(std::string_view text);

/// What was given as an address, for people to read, without what may be a secret in it: a user's
/// name and password, and a query.
std::string withoutSecrets(std::string address);

/// An address that may be fetched from: `https:` of any host, `http:` of this machine only
/// (127.0.0.0/8, ::1, localhost), `file:` with an absolute path. It has no user name, no password
/// and no fragment, and so few kinds of characters that all readers of addresses agree on it. It is
/// kept in its normal form (RFC 3986, 6.2.2 and 6.2.3), so that addresses that lead to the same
/// place are equal, and none leads out of a folder whose address it begins with.
class Address {
  public:
    enum class Scheme { https, http, file };

    static constexpr std::size_t kMaxBytes = 4096;

    /// Throws AddressError.
    static Address parse(std::string_view text);

    /// The address that `reference`, which this address's document or answer names, leads to.
    /// Never a weaker one: https leads to https only, http to http or https, a file anywhere.
    /// Throws AddressError.
    Address follow(std::string_view reference) const;

    /// The same with `suffix` behind its path, before any query. `suffix`: percent-encoded, and
    /// more than dots alone, which could make a step upwards.
    Address withPathSuffix(std::string_view suffix) const;

    /// The whole: scheme and host in lower case, no port that is the scheme's own, no step "." or
    /// "..", nothing percent-encoded that need not be.
    std::string text() const;

    Scheme scheme() const noexcept { return scheme_; }
    const std::string& query() const noexcept { return query_; }

    /// The path as a web server takes it for a file's: its %XX read as bytes. It begins with "/".
    std::string path() const;

    /// The path of a `file:` address as the system takes it.
    std::string filePath() const;

  private:
    void setAuthority(std::string_view authority);
    void setPath(std::string_view rest);

    Scheme scheme_ = Scheme::https;
    std::string authority_;  ///< host and port; empty for a file
    std::string path_ = "/";
    std::string query_;  ///< with its `?`, or empty
};

}  // namespace tavik
