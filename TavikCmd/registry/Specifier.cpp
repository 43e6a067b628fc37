#include "registry/Specifier.h"

#include <cstring>

namespace Parlex {
namespace {

using Vexil::SoString;

constexpr unsigned long kMaxBytes = 255;

/// The position of `c` at or after `from`; -1 where there is none.
long find(const SoString& text, char c, long from = 0) {
    const char* start = text.data + from;
    const void* at = std::memchr(start, c, static_cast<unsigned long>(text.length - from));
    return at == nullptr ? -1 : static_cast<const char*>(at) - text.data;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

Specifier::Specifier(const char* text, bool /*unused*/) {
    if (text == nullptr || std::strlen(text) > kMaxBytes)
        return;
    const SoString lower = SoString(text, -1).lowercase();
    assign(lower.data, lower.length);
}

SoString Specifier::appName() const {
    return {data, static_cast<long>(std::strcspn(data, "-#_"))};
}

SoString Specifier::version() const {
    const long dash = find(*this, '-');
    if (dash < 0)
        return {};
    const long nextDash = find(*this, '-', dash + 1);
    const long hash = find(*this, '#');
    long end = nextDash;
    if (nextDash < 0 || (hash >= 0 && hash < nextDash))
        end = hash >= 0 ? hash : length;
    // A "#" before the "-" makes the length negative, which takes the rest of the text: the version
    // of "app#x-1" is 1.
    SoString result(data + dash + 1, end - (dash + 1));
    return isDigit(*result.data) ? result : SoString();
}

SoString Specifier::locale() const {
    long dash = find(*this, '-');
    const long hash = find(*this, '#');
    if (dash < 0 || (hash >= 0 && hash < dash))
        return {};
    if (isDigit(data[dash + 1])) {
        dash = find(*this, '-', dash + 1);
        if (dash < 0 || (hash >= 0 && hash < dash))
            return {};
    }
    return {data + dash + 1, hash < 0 ? -1 : hash - (dash + 1)};
}

SoString Specifier::suffix() const {
    const long hash = find(*this, '#');
    return hash < 0 ? SoString() : SoString(data + hash + 1, -1);
}

bool Specifier::setInstance(const SoString& instance) {
    const auto addPart = [](SoString& to, char mark, const SoString& part) {
        if (part.length != 0)
            to << mark << part;
    };
    SoString rebuilt = appName();
    addPart(rebuilt, '_', instance);
    addPart(rebuilt, '-', version());
    addPart(rebuilt, '-', locale());
    addPart(rebuilt, '#', suffix());
    assign(rebuilt.data, rebuilt.length);
    return true;
}

}  // namespace Parlex
