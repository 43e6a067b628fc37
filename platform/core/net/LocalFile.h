#pragma once

#include <cstdint>

#include "platform/core/net/Fetcher.h"

namespace tavik {

/// Reads a `file:` address, a regular file of `limit` bytes at the most, into `sink`.
FetchResult readLocalFile(const Address& address, std::uint64_t limit, const Fetcher::Sink& sink);

}  // namespace tavik
