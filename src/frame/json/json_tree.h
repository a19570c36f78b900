// Whole trees of JSON values: copying, releasing, replacing.
//
// RapidJSON's own copy shares strings that were set as references, which would leave the copy pointing into
// another library's data after that is unloaded; and its destructor goes one call deeper with each level. A
// host may hand over any depth, and the thread that ends up with the copy may have a small stack. So what
// stands here owns every byte and needs a bounded stack for any depth: below a fixed depth a subtree is put
// aside on the heap and taken up again from the outside.
// Why: docs/decisions/own-json-copy.md
#pragma once

#include "frame/json/json_value.h"

namespace em::json {

// A copy that shares nothing with its source: members, elements, numbers and texts, in blocks without spare
// room.
[[nodiscard]] JsonValue deepCopy(const JsonValue& source);

// Frees what the value holds; it is null then.
void release(JsonValue& value);

// The old value is released, the new one takes its place.
void replace(JsonValue& target, JsonValue&& fresh);

// In place when the object has the member, otherwise as its last one. The first of equal names counts.
void setMember(JsonValue& object, std::string_view key, JsonValue&& value);

// The object's last member moves into the gap. Nothing when there is no such member.
void removeMember(JsonValue& object, std::string_view key);

} // namespace em::json
