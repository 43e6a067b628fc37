#include "tools/tavik/JsonText.h"

#include "platform/support/Json.h"
#include "tools/tavik/DisplayText.h"

namespace tavik::front {
namespace {

rapidjson::SizeType sizeOf(std::string_view text) {
    return static_cast<rapidjson::SizeType>(text.size());
}

}  // namespace

JsonText::JsonText() : writer_(buffer_) {
    writer_.SetIndent(' ', 2);
}

void JsonText::key(std::string_view name) {
    writer_.Key(name.data(), sizeOf(name));
}

void JsonText::text(std::string_view value) {
    const std::string valid = validUtf8(value);
    writer_.String(valid.data(), sizeOf(valid));
}

void JsonText::jsonMember(std::string_view name, std::string_view value) {
    key(name);
    try {
        parseJson(value).Accept(writer_);
    } catch (const JsonError&) {
        null();
    }
}

std::string JsonText::end() {
    writer_.EndObject();
    return std::string(buffer_.GetString(), buffer_.GetSize()) + "\n";
}

}  // namespace tavik::front
