#include "platform/core/package/Fault.h"

#include "platform/support/Json.h"

namespace tavik {

FaultSink throwOnFault(std::string subject) {
    return [subject = std::move(subject)](const Fault& fault) {
        fail(fault.status, subject,
             fault.place.empty() ? fault.text : fault.place + ": " + fault.text);
    };
}

void stopAt(const FaultSink& report, const Fault& fault) {
    report(fault);
    throw CheckStopped();
}

std::string oneLine(std::string_view text) {
    constexpr std::size_t kMaxShown = 160;
    constexpr std::string_view kHex = "0123456789abcdef";
    if (text.size() <= kMaxShown && isPrintableText(text))
        return std::string(text);
    std::string shown;
    for (const char c : text.substr(0, kMaxShown)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7F)
            shown += c;
        else
            shown.append("\\x").append(1, kHex[byte >> 4]).append(1, kHex[byte & 0xF]);
    }
    return text.size() > kMaxShown ? shown + "..." : shown;
}

std::string quoteName(std::string_view name) {
    return '"' + oneLine(name) + '"';
}

}  // namespace tavik
