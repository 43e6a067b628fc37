#include "tools/qpk/ManifestPlaces.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <vector>

#include "platform/support/Json.h"
#include "platform/support/JsonObject.h"

namespace tavik::qpk {
namespace {

/// Notes where each member and each entry of an array begins. The reader tells only where a token
/// ends: it begins at the first byte behind the last one that is neither blank, colon nor comma.
class PlaceHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, PlaceHandler> {
  public:
    PlaceHandler(std::string_view text, const rapidjson::MemoryStream& stream,
                 std::map<std::string, std::size_t>& offsets)
        : text_(text), stream_(stream), offsets_(offsets) {}

    bool Default() {
        beginValue();
        return true;
    }
    bool Key(const char* text, rapidjson::SizeType size, bool /*copy*/) {
        const std::string& parent = open_.back().place;
        member_ = (parent.empty() ? "" : parent + ".") + std::string(text, size);
        offsets_.emplace(member_, tokenStart());
        return true;
    }
    bool StartObject() { return enter(false); }
    bool StartArray() { return enter(true); }
    bool EndObject(rapidjson::SizeType /*count*/) { return leave(); }
    bool EndArray(rapidjson::SizeType /*count*/) { return leave(); }

  private:
    struct Container {
        std::string place;
        bool isArray;
        std::size_t entries = 0;
    };

    std::size_t tokenStart() {
        const std::size_t start = text_.find_first_not_of(" \t\r\n:,", lastEnd_);
        lastEnd_ = stream_.Tell();
        return start;
    }

    /// The value's name. That of a member was noted with its key.
    std::string beginValue() {
        const std::size_t start = tokenStart();
        if (open_.empty())
            member_.clear();
        else if (open_.back().isArray)
            member_ = entryPlace(open_.back().place, open_.back().entries++);
        offsets_.emplace(member_, start);
        return member_;
    }

    bool enter(bool isArray) {
        open_.push_back({beginValue(), isArray});
        return true;
    }

    bool leave() {
        tokenStart();
        open_.pop_back();
        return true;
    }

    std::string_view text_;
    const rapidjson::MemoryStream& stream_;
    std::map<std::string, std::size_t>& offsets_;
    std::vector<Container> open_;
    std::string member_;  ///< whose value comes next
    std::size_t lastEnd_ = 0;
};

/// "a[3].b" is in "a[3]", which is in "a"; the whole is "".
std::string parentOf(const std::string& member) {
    const std::size_t end = member.find_last_of(".[");
    return end == std::string::npos ? std::string() : member.substr(0, end);
}

}  // namespace

TextPosition positionOf(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, std::min(offset, text.size()));
    const std::size_t lineStart = before.rfind('\n') + 1;  // 0 in the first line
    const auto isFirstByte = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
    TextPosition position;
    position.line += static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
    position.column += static_cast<std::size_t>(std::count_if(
        before.begin() + static_cast<std::ptrdiff_t>(lineStart), before.end(), isFirstByte));
    return position;
}

ManifestPlaces::ManifestPlaces(std::string_view text) : text_(text) {
    try {
        parseJson(text, {text.size(), JsonLimits().depth});
    } catch (const JsonError& error) {
        offsets_.emplace("", error.offset());
        return;
    }
    rapidjson::MemoryStream stream(text.data(), text.size());
    PlaceHandler handler(text, stream, offsets_);
    rapidjson::Reader().Parse(stream, handler);
}

TextPosition ManifestPlaces::of(std::string member) const {
    while (!member.empty() && offsets_.count(member) == 0)
        member = parentOf(member);
    return positionOf(text_, offsets_.at(member));
}

}  // namespace tavik::qpk
