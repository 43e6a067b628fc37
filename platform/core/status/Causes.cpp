#include <array>
#include <iterator>

#include "platform/core/status/OnlineCauses.h"
#include "platform/core/status/RequestCauses.h"
#include "platform/core/status/StoreCauses.h"
#include "platform/core/status/ToolCauses.h"

namespace tavik {
namespace {

constexpr std::size_t kCount = std::size(kRequestCauses) + std::size(kStoreCauses) +
                               std::size(kOnlineCauses) + std::size(kToolCauses);

/// The parts as one table, put together by the compiler: a text is wanted also when there is
/// no memory left.
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
