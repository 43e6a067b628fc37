#include "tools/qpk/Signing.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <system_error>

#include "platform/core/crypto/OpenSslCrypto.h"
#include "platform/core/status/Status.h"
#include "platform/support/Environment.h"
#include "platform/support/FileDescriptor.h"
#include "platform/support/Json.h"
#include "platform/support/Secret.h"
#include "platform/support/Text.h"
#include "tools/qpk/Failure.h"
#include "tools/qpk/InputFile.h"

namespace tavik::qpk {
namespace {

constexpr const char* kDescriptor = "fd:";
constexpr const char* kVariable = "env:";

std::string readDescriptor(const std::string& source) {
    int number = -1;
    const char* end = source.data() + source.size();
    const auto [stop, error] =
        std::from_chars(source.data() + std::strlen(kDescriptor), end, number);
    if (error != std::errc() || stop != end || number < 0)
        throw UsageError("--key " + source + " names no descriptor");
    try {
        return readUpTo(number, kMaxKeyBytes);
    } catch (const std::system_error& failure) {
        failSystem(failure.code().value(), source, "read the descriptor");
    }
}

std::string readVariable(const std::string& source) {
    auto text = takeVariable(source.c_str() + std::strlen(kVariable));
    if (!text)
        throw Failure(source, "the environment variable is not set", "set it to the key's text");
    return *std::move(text);
}

std::string readKeyText(const std::string& source) {
    if (source.rfind(kDescriptor, 0) == 0)
        return readDescriptor(source);
    if (source.rfind(kVariable, 0) == 0)
        return readVariable(source);
    auto pem = readWhole(source, kMaxKeyBytes, FinalLink::followed);
    if (!pem)
        failSystem(ENOENT, source, "open the file");
    return *std::move(pem);
}

std::vector<Succession> readSuccession(const std::string& keyFile) {
    const std::string path = successionFileOf(keyFile);
    const auto json = readWhole(path, kMaxSuccessionBytes, FinalLink::followed);
    if (!json)
        return {};
    try {
        return parseSuccessions(*json);
    } catch (const JsonError& error) {
        fail(Status::keyInvalid, path, error.what());
    }
}

}  // namespace

Crypto& authorCrypto() {
    static OpenSslCrypto crypto;
    return crypto;
}

TrustRules authorRules() {
    return {{}, {}, []() -> Crypto& { return authorCrypto(); }};
}

bool isKeyFile(const std::string& source) {
    return source.rfind(kDescriptor, 0) != 0 && source.rfind(kVariable, 0) != 0;
}

std::string successionFileOf(const std::string& keyFile) {
    constexpr std::string_view kEnding = ".key";
    std::string name = keyFile;
    if (name.size() > kEnding.size() && endsWith(name, kEnding))
        name.resize(name.size() - kEnding.size());
    return name + ".succession.json";
}

SigningKey readSigningKey(const std::string& source) {
    SigningKey signing;
    const Secret pem(readKeyText(source));
    try {
        signing.key = PrivateKey::parse(pem.reveal());
    } catch (const Ed25519Error& error) {
        fail(Status::keyInvalid, source, error.what());
    }
    if (isKeyFile(source))
        signing.succession = readSuccession(source);
    return signing;
}

}  // namespace tavik::qpk
