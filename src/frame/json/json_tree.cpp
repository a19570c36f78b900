#include "frame/json/json_tree.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace em::json {

namespace {

// Deep enough for every real message, shallow enough for any stack.
constexpr unsigned kRecursionLimit = 64;

class Copier {
public:
    JsonValue copy(const JsonValue& source) {
        JsonValue result;
        copyInto(result, source, 0);
        while (!m_putAside.empty()) {
            const Subtree next = m_putAside.back();
            m_putAside.pop_back();
            copyInto(*next.target, *next.source, 0);
        }
        return result;
    }

private:
    // The target stays where it is: its block was made for all that will be in it.
    struct Subtree {
        const JsonValue* source;
        JsonValue* target;
    };

    void copyInto(JsonValue& target, const JsonValue& source, unsigned depth) {
        switch (typeOf(source)) {
        case JsonType::Object:
        case JsonType::Array:
            if (depth == kRecursionLimit) {
                m_putAside.push_back({&source, &target});
            } else {
                copyChildren(target, source, depth + 1);
            }
            break;
        case JsonType::String:
            target = ownedText(*text(source));
            break;
        case JsonType::Number:
            copyNumber(target, source);
            break;
        case JsonType::Null:
            break;
        case JsonType::False:
        case JsonType::True:
            target.SetBool(*boolean(source));
            break;
        }
    }

    void copyChildren(JsonValue& target, const JsonValue& source, unsigned depth) {
        if (isArray(&source)) {
            const auto all = elements(&source);
            target = newArray(static_cast<uint32_t>(all.size()));
            for (const JsonValue& element : all) {
                copyInto(append(target, JsonValue()), element, depth);
            }
            return;
        }
        const auto all = members(&source);
        target = newObject(static_cast<uint32_t>(all.size()));
        for (const JsonMember& each : all) {
            copyInto(append(target, text(each.name).value_or(""), JsonValue()), each.value, depth);
        }
    }

    // RapidJSON tells by flags which types a number fits, and sets them by its value.
    // By type and not by bits: the flags that a host's library set are its own.
    static void copyNumber(JsonValue& target, const JsonValue& source) {
        if (const auto natural = unsignedNumber(source)) {
            target.SetUint64(*natural);
        } else if (const auto integer = signedNumber(source)) {
            target.SetInt64(*integer);
        } else if (const auto real = realNumber(source)) {
            target.SetDouble(*real);
        }
    }

    std::vector<Subtree> m_putAside;
};

// Moves the subtrees that lie too deep out of the tree.
void takeOutDeep(JsonValue& value, unsigned depth, std::vector<JsonValue>& deep) {
    if (depth == kRecursionLimit) {
        if (!elements(&value).empty() || !members(&value).empty()) {
            deep.push_back(std::move(value));
        }
        return;
    }
    for (JsonValue& element : elements(&value)) {
        takeOutDeep(element, depth + 1, deep);
    }
    for (JsonMember& each : members(&value)) {
        takeOutDeep(each.value, depth + 1, deep);
    }
}

} // namespace

JsonValue deepCopy(const JsonValue& source) {
    return Copier().copy(source);
}

// What lies deep is moved out first, so that no destructor below recurses further than the limit.
void release(JsonValue& value) {
    std::vector<JsonValue> deep;
    takeOutDeep(value, 0, deep);
    value.SetNull();
    while (!deep.empty()) {
        JsonValue next = std::move(deep.back());
        deep.pop_back();
        takeOutDeep(next, 0, deep);
    }
}

void replace(JsonValue& target, JsonValue&& fresh) {
    release(target);
    target = std::move(fresh);
}

void setMember(JsonValue& object, std::string_view key, JsonValue&& value) {
    if (JsonValue* const present = member(&object, key)) {
        replace(*present, std::move(value));
    } else {
        append(object, key, std::move(value));
    }
}

// Released before it is removed: the library destroys the value that it drops by recursion.
void removeMember(JsonValue& object, std::string_view key) {
    const auto all = members(&object);
    const auto found =
        std::ranges::find_if(all, [key](const JsonMember& each) { return text(each.name) == key; });
    if (found != all.end()) {
        release(found->value);
        object.RemoveMember(object.MemberBegin() + (found - all.begin()));
    }
}

} // namespace em::json
