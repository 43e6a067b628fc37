#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/support/Json.h"

namespace tavik {

/// Writes one JSON document, an object. Each member and each entry has a line of its own, two
/// blanks deeper than what it stands in. Bytes that are no UTF-8, which a path may have, become
/// U+FFFD. Bodies get nothing but values that are known already, so that no failure leaves half a
/// document.
class JsonText {
  public:
    /// How an object or an array stands: on lines, or on one line with all that is in it.
    enum class Form { lines, oneLine };

    JsonText();

    void key(std::string_view name);
    void text(std::string_view value);
    void number(std::int64_t value);
    void boolean(bool value);  // a JSON value, no switch
    void null();

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
    void object(Body body, Form form = Form::lines) {
        open('{', form);
        body();
        close();
    }
    template <class Body>
    void object(std::string_view name, Body body) {
        key(name);
        object(body);
    }

    /// An array of what `body` writes.
    template <class Body>
    void list(std::string_view name, Body body, Form form = Form::lines) {
        key(name);
        open('[', form);
        body();
        close();
    }
    /// Calls `body` for each of the values.
    template <class Values, class Body>
    void array(std::string_view name, const Values& values, Body body) {
        list(name, [&] {
            for (const auto& value : values)
                body(value);
        });
    }

    /// An array of objects; `body` writes the members of each.
    template <class Values, class Body>
    void objects(std::string_view name, const Values& values, Body body, Form form = Form::lines) {
        array(name, values, [&](const auto& value) { object([&] { body(value); }, form); });
    }

    /// Ends the document, and gives it with a line end.
    std::string end();

  private:
    using Buffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, JsonMemory>;

    /// An object or an array that is not ended yet.
    struct Level {
        char bracket;  ///< that opened it
        Form form;
        bool isEmpty;
    };

    void open(char bracket, Form form);
    void close();
    void startEntry();
    void startLine();
    void put(std::string_view bytes);
    template <class Write>
    void plain(Write write);
    void json(const JsonValue& value);

    Buffer buffer_;
    rapidjson::Writer<Buffer, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory> writer_;
    std::vector<Level> levels_;
    bool isMember_ = false;  ///< its key is written, and its value comes next
};

}  // namespace tavik
