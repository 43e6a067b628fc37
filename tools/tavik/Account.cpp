#include "tools/tavik/Account.h"

#include <iterator>
#include <system_error>

#include "platform/core/disk/RegularFile.h"
#include "platform/core/status/Status.h"
#include "platform/support/Environment.h"
#include "platform/support/Secret.h"
#include "tools/tavik/Run.h"

namespace tavik::front {
namespace {

constexpr const char* kService = "identity-service";
constexpr const char* kAccount = "account";
constexpr const char* kTokenFile = "token-file";
constexpr const char* kTokenType = "token-type";
constexpr const char* kTokenVariable = "TAVIK_ACCESS_TOKEN";
constexpr std::size_t kMaxTokenBytes = std::size_t{16} << 10;

// There is no option for the token itself: every user of the machine can see options.
constexpr OptionRule kOptions[] = {
    {kService, "ADDRESS",
     "who is asked whether the account may install; or TAVIK_IDENTITY_SERVICE"},
    {kAccount, "NAME", "the account, for extensions that need one; or TAVIK_ACCOUNT"},
    {kTokenFile, "FILE",
     "the file with the account's access token; or TAVIK_ACCESS_TOKEN, the token"},
    {kTokenType, "TYPE", "the token's type, Bearer unless given; or TAVIK_TOKEN_TYPE"},
};

std::string setting(const Arguments& arguments, const char* option, const char* variable) {
    if (const auto value = arguments.value(option))
        return *value;
    return environmentVariable(variable).value_or("");
}

/// The file's only line.
std::string readTokenFile(const std::string& path) try {
    const RegularFile file = openRegularFile(path, FinalLink::followed);
    if (file.error != 0)
        failErrno(file.error, path, "open the file of the token");
    if (!file)
        fail(Status::invalidArgument, path, file.cause());
    std::string token = readUpTo(file.descriptor.get(), kMaxTokenBytes);
    while (!token.empty() && (token.back() == '\n' || token.back() == '\r'))
        token.pop_back();
    if (token.empty())
        fail(Status::invalidArgument, path, "it is empty; it must hold the token");
    return token;
} catch (const std::system_error& error) {
    failErrno(error.code().value(), path, "read the file of the token");
}

}  // namespace

std::vector<OptionRule> withAccountOptions(std::vector<OptionRule> options) {
    options.insert(options.end(), std::begin(kOptions), std::end(kOptions));
    return options;
}

void useAccount(const Arguments& arguments, Run& run) {
    Secret token(takeVariable(kTokenVariable).value_or(""));
    if (const auto file = arguments.value(kTokenFile))
        token.set(readTokenFile(*file));
    const std::string account = setting(arguments, kAccount, "TAVIK_ACCOUNT");
    if (token.empty() != account.empty())
        throw UsageError(account.empty() ? "the access token needs an --account beside it"
                                         : "--account needs an access token: give --token-file");
    const std::string service = setting(arguments, kService, "TAVIK_IDENTITY_SERVICE");
    if (!service.empty())
        run.session().identity().setEndPoint(service);
    const std::string type = setting(arguments, kTokenType, "TAVIK_TOKEN_TYPE");
    if (!token.empty())
        run.session().identity().setCredentials(token.reveal(), type.empty() ? "Bearer" : type,
                                                account);
}

}  // namespace tavik::front
