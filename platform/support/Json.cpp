#include "platform/support/Json.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdlib>
#include <new>
#include <set>
#include <vector>

namespace tavik {
namespace {

/// Feeds a document and refuses what the library itself lets through.
class StrictHandler {
  public:
    using Char = char;

    StrictHandler(JsonDocument& target, unsigned depth) : target_(target), depth_(depth) {}

    const std::string& fault() const { return fault_; }

    // NOLINTBEGIN(readability-identifier-naming): the library calls them by these names.
    bool Null() { return target_.Null(); }
    bool Bool(bool value) { return target_.Bool(value); }
    bool Int(int value) { return target_.Int(value); }
    bool Uint(unsigned value) { return target_.Uint(value); }
    bool Int64(int64_t value) { return target_.Int64(value); }
    bool Uint64(uint64_t value) { return target_.Uint64(value); }
    bool Double(double value) { return target_.Double(value); }
    bool RawNumber(const char* text, rapidjson::SizeType size, bool copy) {
        return target_.RawNumber(text, size, copy);
    }
    bool String(const char* text, rapidjson::SizeType size, bool /*copy*/) {
        if (std::string_view(text, size).find('\0') != std::string_view::npos)
            return refuse("NUL in a string");
        return target_.String(text, size, true);
    }
    bool StartObject() {
        keys_.emplace_back();
        return enter() && target_.StartObject();
    }
    bool Key(const char* text, rapidjson::SizeType size, bool /*copy*/) {
        if (!keys_.back().emplace(text, size).second)
            return refuse("duplicate key \"" + std::string(text, size) + "\"");
        return String(text, size, true);
    }
    bool EndObject(rapidjson::SizeType count) {
        keys_.pop_back();
        --open_;
        return target_.EndObject(count);
    }
    bool StartArray() { return enter() && target_.StartArray(); }
    bool EndArray(rapidjson::SizeType count) {
        --open_;
        return target_.EndArray(count);
    }

    // NOLINTEND(readability-identifier-naming)

  private:
    bool enter() {
        return ++open_ <= depth_ || refuse("more than " + std::to_string(depth_) + " levels deep");
    }
    bool refuse(std::string fault) {
        fault_ = std::move(fault);
        return false;
    }

    JsonDocument& target_;
    unsigned depth_;
    unsigned open_ = 0;
    std::vector<std::set<std::string, std::less<>>> keys_;
    std::string fault_;
};

std::string describe(const rapidjson::ParseResult& result, const std::string& fault) {
    const std::string cause = fault.empty() ? rapidjson::GetParseError_En(result.Code()) : fault;
    return cause + " (byte " + std::to_string(result.Offset()) + ")";
}

}  // namespace

void* JsonMemory::Malloc(std::size_t size) {
    return Realloc(nullptr, 0, size);
}

void* JsonMemory::Realloc(void* old, std::size_t /*oldSize*/, std::size_t size) {
    if (size == 0) {
        std::free(old);
        return nullptr;
    }
    void* bytes = std::realloc(old, size);
    if (bytes == nullptr)
        throw std::bad_alloc();
    return bytes;
}

void JsonMemory::Free(void* bytes) noexcept {
    std::free(bytes);
}

JsonDocument parseJson(std::string_view text, const JsonLimits& limits) {
    if (text.size() > limits.bytes)
        throw JsonError("longer than " + std::to_string(limits.bytes) + " bytes");
    // The reader takes a NUL for the end and would not look behind it.
    if (const auto at = text.find('\0'); at != std::string_view::npos)
        throw JsonError("NUL outside a string (byte " + std::to_string(at) + ")", at);

    // No full precision: no format of ours has fractions, and that parser runs into undefined
    // behaviour for numbers such as 0E-32.
    constexpr unsigned kFlags =
        rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag;
    JsonDocument document;
    rapidjson::ParseResult result;
    std::string fault;
    auto generate = [&](JsonDocument& target) {
        StrictHandler handler(target, limits.depth);
        rapidjson::MemoryStream stream(text.data(), text.size());
        rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory> reader;
        result = reader.Parse<kFlags>(stream, handler);
        fault = handler.fault();
        return !result.IsError();
    };
    document.Populate(generate);
    if (result.IsError())
        throw JsonError(describe(result, fault), result.Offset());
    return document;
}

std::string quoteJson(std::string_view text) {
    using Buffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, JsonMemory>;
    Buffer buffer;
    rapidjson::Writer<Buffer, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory> writer(buffer);
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace tavik
