#pragma once

#include <rapidjson/document.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tavik {

/// What a foreign JSON text may have at the most.
struct JsonLimits {
    std::size_t bytes = std::size_t{1} << 20;
    unsigned depth = 32;  ///< arrays and objects within each other
};

/// Memory for the library, which does not look whether it got any: throws std::bad_alloc.
class JsonMemory {
  public:
    // NOLINTBEGIN(readability-identifier-naming): the library calls them by these names.
    static const bool kNeedFree = true;
    static void* Malloc(std::size_t size);
    static void* Realloc(void* old, std::size_t oldSize, std::size_t size);
    static void Free(void* bytes) noexcept;
    // NOLINTEND(readability-identifier-naming)
};

using JsonDocument =
    rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::MemoryPoolAllocator<JsonMemory>,
                               JsonMemory>;
using JsonValue = JsonDocument::ValueType;

/// A JSON text that was refused; what() names the fault and its place ("byte 17", "$.products[0]").
class JsonError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    JsonError(const std::string& text, std::size_t offset)
        : std::runtime_error(text), offset_(offset) {}

    /// The byte where the text stops being JSON; 0 where the fault is about what it says.
    std::size_t offset() const noexcept { return offset_; }

  private:
    std::size_t offset_ = 0;
};

/// The one way into JSON from outside: strict RFC 8259 and valid UTF-8, with duplicate keys, a BOM,
/// text after the value, NUL in strings, and whatever passes the limits refused. Throws JsonError.
JsonDocument parseJson(std::string_view text, const JsonLimits& limits = {});

/// `text` as a JSON string with its quotes, escaped as far as JSON needs it.
std::string quoteJson(std::string_view text);

}  // namespace tavik
