#pragma once

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace tavik::front {

/// Writes one JSON document. Bytes that are no UTF-8, which a path may have, become U+FFFD. Bodies
/// get nothing but values that are known already, so that no failure leaves half a document.
class JsonText {
  public:
    JsonText();

    void key(std::string_view name);
    void text(std::string_view value);
    void number(std::int64_t value) { writer_.Int64(value); }
    void boolean(bool value) { writer_.Bool(value); }  // a JSON value, no switch
    void null() { writer_.Null(); }

    void member(std::string_view name, std::string_view value) {
        key(name);
        text(value);
    }
    void number(std::string_view name, std::int64_t value) {
        key(name);
        number(value);
    }
    void boolean(std::string_view name, bool value) {
        key(name);
        boolean(value);
    }
    /// An empty text stands for an absent value, which is null.
    void optional(std::string_view name, std::string_view value) {
        key(name);
        value.empty() ? null() : text(value);
    }

    /// A value that is JSON itself; null where the text is no JSON.
    void jsonMember(std::string_view name, std::string_view value);

    template <class Body>
    void object(Body body) {
        writer_.StartObject();
        body();
        writer_.EndObject();
    }
    template <class Body>
    void object(std::string_view name, Body body) {
        key(name);
        object(body);
    }
    /// Calls `body` for each of the values.
    template <class Values, class Body>
    void array(std::string_view name, const Values& values, Body body) {
        key(name);
        writer_.StartArray();
        for (const auto& value : values)
            body(value);
        writer_.EndArray();
    }

    /// An array of objects; `body` writes the members of each.
    template <class Values, class Body>
    void objects(std::string_view name, const Values& values, Body body) {
        array(name, values, [&](const auto& value) { object([&] { body(value); }); });
    }

    void begin() { writer_.StartObject(); }
    /// Ends the document, and gives it with a line end.
    std::string end();

  private:
    rapidjson::StringBuffer buffer_;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer_;
};

}  // namespace tavik::front
