#include "platform/support/JsonObject.h"

#include <algorithm>

#include "platform/support/Text.h"

namespace tavik {

std::string unknownMember(std::string_view name) {
    return "has an unknown member " + quoteName(name);
}

std::string complaintText(const std::string& place, const std::string& fault) {
    return place.empty() ? fault : place + ' ' + fault;
}

void throwJsonComplaint(const std::string& place, const std::string& fault) {
    throw JsonError(complaintText(place, fault));
}

JsonObject::JsonObject(const JsonValue& value, std::string place, JsonComplaint complain)
    : object_(value.IsObject() ? &value : nullptr),
      place_(std::move(place)),
      complain_(std::move(complain)) {
    if (object_ == nullptr)
        complain_(place_, "is not an object");
}

std::string JsonObject::place(std::string_view member) const {
    return place_.empty() ? std::string(member) : place_ + '.' + std::string(member);
}

const JsonValue* JsonObject::find(std::string_view member) const {
    if (object_ == nullptr)
        return nullptr;
    const JsonValue name(
        rapidjson::StringRef(member.data(), static_cast<rapidjson::SizeType>(member.size())));
    const auto found = object_->FindMember(name);
    return found == object_->MemberEnd() ? nullptr : &found->value;
}

const JsonValue* JsonObject::need(std::string_view member) const {
    const JsonValue* value = find(member);
    if (value == nullptr && object_ != nullptr)
        complain(member, "is missing");
    return value;
}

JsonValue::ConstObject JsonObject::members() const {
    static const JsonValue kEmpty(rapidjson::kObjectType);
    return (object_ == nullptr ? kEmpty : *object_).GetObject();
}

std::optional<std::string> JsonObject::text(std::string_view member) const {
    const JsonValue* value = find(member);
    if (value == nullptr)
        return std::nullopt;
    if (value->IsString())
        return std::string(viewOf(*value));
    complain(member, "is not a string");
    return std::nullopt;
}

std::string JsonObject::neededText(std::string_view member) const {
    return need(member) == nullptr ? std::string() : text(member).value_or("");
}

std::optional<bool> JsonObject::flag(std::string_view member) const {
    const JsonValue* value = find(member);
    if (value == nullptr)
        return std::nullopt;
    if (value->IsBool())
        return value->GetBool();
    complain(member, "is not true or false");
    return std::nullopt;
}

std::optional<std::uint64_t> JsonObject::number(std::string_view member, std::uint64_t least,
                                                std::uint64_t most) const {
    const JsonValue* value = find(member);
    if (value == nullptr)
        return std::nullopt;
    if (value->IsUint64() && value->GetUint64() >= least && value->GetUint64() <= most)
        return value->GetUint64();
    complain(member,
             "is not a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    return std::nullopt;
}

std::uint64_t JsonObject::neededNumber(std::string_view member, std::uint64_t least,
                                       std::uint64_t most) const {
    return need(member) == nullptr ? least : number(member, least, most).value_or(least);
}

const JsonValue* JsonObject::array(std::string_view member) const {
    const JsonValue* value = find(member);
    if (value == nullptr || value->IsArray())
        return value;
    complain(member, "is not an array");
    return nullptr;
}

const JsonValue* JsonObject::neededArray(std::string_view member) const {
    return need(member) == nullptr ? nullptr : array(member);
}

std::optional<JsonObject> JsonObject::object(std::string_view member) const {
    const JsonValue* value = find(member);
    if (value == nullptr)
        return std::nullopt;
    return JsonObject(*value, place(member), complain_);
}

JsonObject JsonObject::entry(std::string_view member, const JsonValue& value,
                             std::size_t index) const {
    return {value, entryPlace(place(member), index), complain_};
}

void JsonObject::allowOnly(std::initializer_list<std::string_view> known) const {
    allowOnly([known](std::string_view name) {
        return std::find(known.begin(), known.end(), name) != known.end();
    });
}

void JsonObject::allowOnly(const std::function<bool(std::string_view)>& isKnown) const {
    if (object_ == nullptr)
        return;
    for (const auto& member : object_->GetObject())
        if (!isKnown(viewOf(member.name)))
            complain_(place_, unknownMember(viewOf(member.name)));
}

std::string entryPlace(const std::string& array, std::size_t index) {
    return array + '[' + std::to_string(index) + ']';
}

std::string_view viewOf(const JsonValue& text) {
    return {text.GetString(), text.GetStringLength()};
}

}  // namespace tavik
