#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "platform/support/Json.h"

namespace tavik {

/// The fault text for an unknown member.
std::string unknownMember(std::string_view name);

/// Takes what is wrong with a JSON value: where it stands ("$.products[0].name") and the fault
/// ("is missing").
using JsonComplaint = std::function<void(const std::string& place, const std::string& fault)>;

/// The two in one text; a place that is empty is left out.
std::string complaintText(const std::string& place, const std::string& fault);

/// The complaint that throws a JsonError, "$.products[0].name is missing".
[[noreturn]] void throwJsonComplaint(const std::string& place, const std::string& fault);

/// Reads the members of one object. If the complaint handler returns, the member counts as missing:
/// nullopt, an empty text or null.
class JsonObject {
  public:
    /// `place` names the object: "$", "$.products[0]"; with "" its members stand under their bare
    /// names. A value that is no object is complained about and has no members. The value must
    /// outlive this reader.
    JsonObject(const JsonValue& value, std::string place,
               JsonComplaint complain = throwJsonComplaint);

    /// Where a member stands.
    std::string place(std::string_view member) const;
    void complain(std::string_view member, const std::string& fault) const {
        complain_(place(member), fault);
    }

    /// Null where there is no such member.
    const JsonValue* find(std::string_view member) const;
    /// The same, and a missing member is complained about.
    const JsonValue* need(std::string_view member) const;

    std::optional<std::string> text(std::string_view member) const;
    std::string neededText(std::string_view member) const;
    std::optional<bool> flag(std::string_view member) const;
    /// A whole number from `least` to `most`, both included.
    std::optional<std::uint64_t> number(std::string_view member, std::uint64_t least,
                                        std::uint64_t most) const;
    std::uint64_t neededNumber(std::string_view member, std::uint64_t least,
                               std::uint64_t most) const;
    const JsonValue* array(std::string_view member) const;
    const JsonValue* neededArray(std::string_view member) const;

    /// The member as an object that is read in the same way.
    std::optional<JsonObject> object(std::string_view member) const;
    /// The entry of an array member as an object that is read in the same way.
    JsonObject entry(std::string_view member, const JsonValue& value, std::size_t index) const;

    /// All members in the order of the text; none where the value was no object.
    JsonValue::ConstObject members() const;

    /// Complains about each member that is not among these.
    void allowOnly(std::initializer_list<std::string_view> known) const;
    /// Complains about each member whose name `isKnown` refuses.
    void allowOnly(const std::function<bool(std::string_view)>& isKnown) const;

  private:
    const JsonValue* object_;  ///< null where the value was no object
    std::string place_;
    JsonComplaint complain_;
};

/// The place of an array's entry: "$.products[3]".
std::string entryPlace(const std::string& array, std::size_t index);

/// The bytes of a JSON string.
std::string_view viewOf(const JsonValue& text);

}  // namespace tavik
