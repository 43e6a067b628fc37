#include <array>
#include <iterator>

#include "platform/core/status/OnlineTexts.h"
#include "platform/core/status/RequestTexts.h"
#include "platform/core/status/StoreTexts.h"
#include "platform/core/status/ToolTexts.h"

namespace tavik {
namespace {

constexpr std::size_t kCount = std::size(kRequestCauses) + std::size(kStoreCauses) +
                               std::size(kOnlineCauses) + std::size(kToolCauses);

/// The parts as one table. The compiler builds it, because a text is needed even when memory is
/// short.
constexpr std::array<Cause, kCount> joined() {
    std::array<Cause, kCount> all{};
    std::size_t at = 0;
    for (const Cause& cause : kRequestCauses)
        all[at++] = cause;
    for (const Cause& cause : kStoreCauses)
        all[at++] = cause;
    for (const Cause& cause : kOnlineCauses)
        all[at++] = cause;
    for (const Cause& cause : kToolCauses)
        all[at++] = cause;
    return all;
}

constexpr std::array<Cause, kCount> kCauses = joined();

}  // namespace

const Cause* causes() noexcept {
    return kCauses.data();
}

std::size_t causeCount() noexcept {
    return kCauses.size();
}

}  // namespace tavik
