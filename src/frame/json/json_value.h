// The JSON document model of the message envelope: RapidJSON values whose memory comes from malloc, so that a
// value may be filled on one side of the interface with the host and released on the other.
//
// RapidJSON asserts, or reads the wrong member of a union, when a value is not of the asked type. What comes
// from the host may be of any type; so this header is where RapidJSON's accessors are named, each behind a
// test of the type, and everything else goes through these functions. Their pointers may be null: a look-up
// in "nothing" finds nothing.
#pragma once

#include <rapidjson/document.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace em {

using JsonAllocator = rapidjson::CrtAllocator;
using JsonValue = rapidjson::GenericValue<rapidjson::UTF8<>, JsonAllocator>;
using JsonMember = JsonValue::Member;

// The host's values are laid out the same way.
static_assert(sizeof(JsonValue) == 16 && sizeof(JsonMember) == 32);

enum class JsonType : uint32_t { Null, False, True, Object, Array, String, Number };

static_assert(rapidjson::kNullType == 0 && rapidjson::kFalseType == 1 && rapidjson::kTrueType == 2 &&
              rapidjson::kObjectType == 3 && rapidjson::kArrayType == 4 && rapidjson::kStringType == 5 &&
              rapidjson::kNumberType == 6);

} // namespace em

namespace em::json {

// Has no state: any one is as good as any other.
inline constinit JsonAllocator allocator;

// Looking at a value ----------------------------------------------------------------------------------------

inline JsonType typeOf(const JsonValue& value) {
    return static_cast<JsonType>(value.GetType());
}
inline bool isObject(const JsonValue* value) {
    return value != nullptr && value->IsObject();
}
inline bool isArray(const JsonValue* value) {
    return value != nullptr && value->IsArray();
}

// The elements; none for what is no array.
inline std::span<const JsonValue> elements(const JsonValue* value) {
    return isArray(value) ? std::span(value->Begin(), value->Size()) : std::span<const JsonValue>();
}
inline std::span<JsonValue> elements(JsonValue* value) {
    return isArray(value) ? std::span(value->Begin(), value->Size()) : std::span<JsonValue>();
}

// The members; none for what is no object.
inline std::span<const JsonMember> members(const JsonValue* value) {
    return isObject(value) && value->MemberCount() != 0
               ? std::span<const JsonMember>(&*value->MemberBegin(), value->MemberCount())
               : std::span<const JsonMember>();
}
inline std::span<JsonMember> members(JsonValue* value) {
    return isObject(value) && value->MemberCount() != 0
               ? std::span<JsonMember>(&*value->MemberBegin(), value->MemberCount())
               : std::span<JsonMember>();
}

// The text, NUL bytes included; nothing for what is no string.
inline std::optional<std::string_view> text(const JsonValue& value) {
    if (!value.IsString()) {
        return std::nullopt;
    }
    return std::string_view(value.GetString(), value.GetStringLength());
}

// The value of the first member of that name, null when there is none.
inline const JsonValue* member(const JsonValue* object, std::string_view key) {
    for (const JsonMember& each : members(object)) {
        if (text(each.name) == key) {
            return &each.value;
        }
    }
    return nullptr;
}
inline JsonValue* member(JsonValue* object, std::string_view key) {
    return const_cast<JsonValue*>(member(static_cast<const JsonValue*>(object), key));
}

inline std::optional<bool> boolean(const JsonValue& value) {
    return value.IsBool() ? std::optional(value.IsTrue()) : std::nullopt;
}

// Numbers. An integer is one by its type: a 5.0 is none.
inline bool isNumber(const JsonValue* value) {
    return value != nullptr && value->IsNumber();
}
inline std::optional<uint64_t> unsignedNumber(const JsonValue& value) {
    return value.IsUint64() ? std::optional(value.GetUint64()) : std::nullopt;
}
inline std::optional<int64_t> signedNumber(const JsonValue& value) {
    return value.IsInt64() ? std::optional(value.GetInt64()) : std::nullopt;
}
inline std::optional<double> realNumber(const JsonValue& value) {
    return value.IsDouble() ? std::optional(value.GetDouble()) : std::nullopt;
}
inline bool isInteger(const JsonValue& value) {
    return value.IsUint64() || value.IsInt64();
}
inline bool fitsWord(const JsonValue& value) {
    return value.IsInt() || value.IsUint();
}

// Changing a value ------------------------------------------------------------------------------------------

inline JsonValue number(uint32_t value) {
    return JsonValue(value);
}
// Always an owned copy: a reference could outlive the library that holds the text.
inline JsonValue ownedText(std::string_view value) {
    return {value.data(), static_cast<rapidjson::SizeType>(value.size()), allocator};
}

// An empty object or array that takes so many members or elements without moving, in a block of just that
// size.
JsonValue newObject(uint32_t capacity);
JsonValue newArray(uint32_t capacity);

// Appends to what is known to be an object or an array.
inline JsonValue& append(JsonValue& object, std::string_view key, JsonValue&& value) {
    object.AddMember(ownedText(key), std::move(value), allocator);
    return (object.MemberEnd() - 1)->value;
}
inline JsonValue& append(JsonValue& array, JsonValue&& value) {
    array.PushBack(std::move(value), allocator);
    return *(array.End() - 1);
}

} // namespace em::json
