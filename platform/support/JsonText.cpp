#include "platform/support/JsonText.h"

#include <cstring>
#include <optional>

#include "platform/support/JsonObject.h"
#include "platform/support/Text.h"

namespace tavik {
namespace {

constexpr std::size_t kIndent = 2;

rapidjson::SizeType sizeOf(std::string_view text) {
    return static_cast<rapidjson::SizeType>(text.size());
}

/// Nothing where the text is no JSON.
std::optional<JsonDocument> parsed(std::string_view text) {
    try {
        return parseJson(text);
    } catch (const JsonError&) {
        return std::nullopt;
    }
}

}  // namespace

JsonText::JsonText() : writer_(buffer_) {
    open('{', Form::lines);
}

void JsonText::put(std::string_view bytes) {
    std::memcpy(buffer_.Push(bytes.size()), bytes.data(), bytes.size());
}

void JsonText::startLine() {
    put("\n");
    std::memset(buffer_.Push(kIndent * levels_.size()), ' ', kIndent * levels_.size());
}

/// Writes what stands between the last member or entry and the next one.
void JsonText::startEntry() {
    Level& level = levels_.back();
    if (!level.isEmpty)
        put(",");
    if (level.form == Form::lines)
        startLine();
    else if (!level.isEmpty || level.bracket == '{')
        put(" ");
    level.isEmpty = false;
}

void JsonText::open(char bracket, Form form) {
    if (!levels_.empty()) {
        if (!isMember_)
            startEntry();
        if (levels_.back().form == Form::oneLine)
            form = Form::oneLine;
    }
    isMember_ = false;
    levels_.push_back({bracket, form, true});
    put({&bracket, 1});
}

void JsonText::close() {
    const Level level = levels_.back();
    levels_.pop_back();
    if (!level.isEmpty && level.form == Form::lines)
        startLine();
    else if (!level.isEmpty && level.bracket == '{')
        put(" ");
    put(level.bracket == '{' ? "}" : "]");
}

/// Writes a text, a number or the like through the library.
template <class Write>
void JsonText::plain(Write write) {
    if (!isMember_)
        startEntry();
    isMember_ = false;
    // The library's writer takes one value for a whole document.
    writer_.Reset(buffer_);
    write();
}

void JsonText::key(std::string_view name) {
    text(name);
    put(": ");
    isMember_ = true;
}

void JsonText::text(std::string_view value) {
    if (!isUtf8(value))
        return text(validUtf8(value));
    plain([&] { writer_.String(value.data(), sizeOf(value)); });
}

void JsonText::number(std::int64_t value) {
    plain([&] { writer_.Int64(value); });
}

void JsonText::boolean(bool value) {
    plain([&] { writer_.Bool(value); });
}

void JsonText::null() {
    plain([&] { writer_.Null(); });
}

void JsonText::json(const JsonValue& value) {
    if (value.IsObject())
        object([&] {
            for (const auto& each : value.GetObject()) {
                key(viewOf(each.name));
                json(each.value);
            }
        });
    else if (value.IsArray()) {
        open('[', Form::lines);
        for (const auto& each : value.GetArray())
            json(each);
        close();
    } else {
        plain([&] { value.Accept(writer_); });
    }
}

void JsonText::jsonMember(std::string_view name, std::string_view value) {
    key(name);
    if (const auto document = parsed(value))
        json(*document);
    else
        null();
}

std::string JsonText::end() {
    close();
    return std::string(buffer_.GetString(), buffer_.GetSize()) + "\n";
}

}  // namespace tavik
