#include "platform/core/identity/IdentityService.h"

#include <algorithm>

#include "platform/core/net/Online.h"
#include "platform/core/status/Status.h"
#include "platform/support/Json.h"
#include "platform/support/Text.h"

namespace tavik {
namespace {

constexpr std::size_t kMaxTokenBytes = 16384;
constexpr std::size_t kMaxTypeBytes = 64;
constexpr std::size_t kMaxAccountBytes = 255;

[[noreturn]] void refuse(const std::string& what, const std::string& cause) {
    fail(Status::invalidArgument, what, cause);
}

void checkLength(const std::string& what, std::string_view text, std::size_t maxBytes) {
    if (text.empty() || text.size() > maxBytes)
        refuse(what, "not 1 to " + std::to_string(maxBytes) + " bytes long");
}

/// A line break in the token would end the header line and begin another.
void checkToken(std::string_view token) {
    checkLength("access token", token, kMaxTokenBytes);
    if (std::any_of(token.begin(), token.end(), [](char c) { return c < '!' || c > '~'; }))
        refuse("access token", "has other characters than visible ASCII");
}

void checkType(std::string_view type) {
    checkLength("token type", type, kMaxTypeBytes);
    if (!std::all_of(type.begin(), type.end(), [](char c) {
            return isAlphanumeric(c) ||
                   std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
        }))
        refuse("token type", "is not one word such as Bearer");
}

void checkAccount(std::string_view account) {
    checkLength("account", account, kMaxAccountBytes);
    // "." and ".." would change the address's path.
    if (!isPrintableText(account) || account == "." || account == "..")
        refuse("account", "is not a valid account name");
}

}  // namespace

void IdentityService::setEndPoint(std::string_view address) try {
    Address endPoint = Address::parse(address);
    if (endPoint.scheme() == Address::Scheme::file)
        throw AddressError("is a file");
    if (!endPoint.query().empty())
        throw AddressError("has a query");
    endPoint_ = std::move(endPoint);
} catch (const AddressError& error) {
    fail(Status::endPointInvalid, "identity service", std::string("its address ") + error.what());
}

void IdentityService::setCredentials(std::string_view token, std::string_view tokenType,
                                     std::string_view account) {
    checkToken(token);
    checkType(tokenType);
    checkAccount(account);
    std::string authorization;
    authorization.reserve(tokenType.size() + 1 + token.size());
    authorization.append(tokenType).append(" ").append(token);
    authorization_.set(std::move(authorization));
    account_.set(percentEncoded(account));
}

void IdentityService::requireAccount(const std::string& extensionId, const std::string& name) {
    if (!endPoint_)
        fail(Status::endPointMissing, name);
    if (authorization_.empty())
        fail(Status::credentialsMissing, name);
    std::string path = "accounts/";
    path.append(account_.reveal()).append("/extensions/").append(percentEncoded(extensionId));
    const FetchResult result = loadOnline().newFetcher({})->ask(
        endPoint_->withPathSuffix(endPoint_->text().back() == '/' ? path : "/" + path),
        authorization_.reveal());
    if (result.outcome == FetchResult::Outcome::fetched)
        return;
    if (result.outcome == FetchResult::Outcome::untrusted)
        fail(Status::certificateRefused, name, "the identity service: " + result.failure);
    // Any other status, such as 408 or 429, says nothing about the account.
    const int status = result.httpStatus;
    const bool refused = status == 401 || status == 403 || status == 404;
    fail(refused ? Status::accountRefused : Status::identityUnreachable, name, result.failure);
}

}  // namespace tavik
