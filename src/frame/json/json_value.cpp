#include "frame/json/json_value.h"

namespace em::json {
struct ExactBlocks;
}

// RapidJSON 1.1 cannot reserve members: the first one added brings a block for sixteen, 512 bytes. Its values
// are friends with every GenericDocument, so this one, of a tag of ours, may give an object a block of the
// size it needs. The library's own AddMember fills it and takes over from there.
template <>
class rapidjson::GenericDocument<em::json::ExactBlocks, em::JsonAllocator, em::JsonAllocator> {
public:
    static void reserve(em::JsonValue& object, SizeType capacity) {
        object.SetMembersPointer(
            static_cast<em::JsonMember*>(em::json::allocator.Malloc(capacity * sizeof(em::JsonMember))));
        object.data_.o.capacity = capacity;
    }
};

namespace em::json {

JsonValue newObject(uint32_t capacity) {
    using Blocks = rapidjson::GenericDocument<ExactBlocks, JsonAllocator, JsonAllocator>;
    JsonValue object(rapidjson::kObjectType);
    if (capacity != 0) {
        Blocks::reserve(object, capacity);
    }
    return object;
}

JsonValue newArray(uint32_t capacity) {
    JsonValue array(rapidjson::kArrayType);
    array.Reserve(capacity, allocator);
    return array;
}

} // namespace em::json
