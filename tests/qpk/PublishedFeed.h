#pragma once

#include <filesystem>

#include "platform/core/updates/Feed.h"
#include "tests/qpk/Qpk.h"

namespace tavik::testing {

/// A folder that is published, and the feed in it.
class PublishedFeed : public Qpk {
  protected:
    PublishedFeed() { std::filesystem::create_directory(web_); }

    /// Packs the folder into the published one.
    void publish(const std::string& source, const std::string& name) const {
        good({"pack", source, "-o", web_ + "/" + name});
    }

    /// The feed as the core reads it.
    Feed feed() const { return parseFeed(readFile(web_ + "/feed.json"), address()); }
    Address address() const { return Address::parse("file://" + web_ + "/feed.json"); }

    const std::string web_ = at("web");
};

}  // namespace tavik::testing
