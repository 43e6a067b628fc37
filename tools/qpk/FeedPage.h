#pragma once

#include <map>
#include <string>
#include <string_view>

#include "tools/qpk/FeedDocument.h"

namespace tavik::qpk {

/// What a feed's page says beyond the feed.
struct FeedPage {
    std::string title = "Extensions";
    std::map<std::string, std::string> productNames;  ///< what people call a product, by its name
};

/// A page for people that works without scripts and loads nothing.
std::string writeFeedPage(const FeedDocument& feed, const FeedPage& page);

/// Stands in every page that writeFeedPage has made.
inline constexpr std::string_view kPageMark = R"(<meta name="generator" content="qpk feed">)";

}  // namespace tavik::qpk
