#include "frame/json/json_tree.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace em::json {

namespace {

// Deep enough for every real message, shallow enough for any stack.
constexpr unsigned kRecursionLimit = 64;

bool isContainer(const JsonValue& value) {
    return isObject(&value) || isArray(&value);
}

// RapidJSON tells by flags which types a number fits, and sets them by its value.
// By type and not by bits: the flags that a host's library set are its own.
JsonValue copyOfNumber(const JsonValue& source) {
    JsonValue copy;
    if (const auto natural = unsignedNumber(source)) {
        copy.SetUint64(*natural);
    } else if (const auto integer = signedNumber(source)) {
        copy.SetInt64(*integer);
    } else if (const auto real = realNumber(source)) {
        copy.SetDouble(*real);
    }
    return copy;
}

JsonValue copyOfScalar(const JsonValue& source) {
    if (isNumber(&source)) {
        return copyOfNumber(source);
    }
    if (const auto string = text(source)) {
        return ownedText(*string);
    }
    const auto truth = boolean(source);
    return truth ? JsonValue(*truth) : JsonValue();
}

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
        if (!isContainer(source)) {
            target = copyOfScalar(source);
        } else if (depth == kRecursionLimit) {
            m_putAside.push_back({&source, &target});
        } else if (isArray(&source)) {
            copyElements(target, source, depth + 1);
        } else {
            copyMembers(target, source, depth + 1);
        }
    }

    // Only what holds others needs its place before it is filled.
    void copyElements(JsonValue& target, const JsonValue& source, unsigned depth) {
        const auto all = elements(&source);
        target = newArray(static_cast<uint32_t>(all.size()));
        for (const JsonValue& element : all) {
            if (isContainer(element)) {
                copyInto(append(target, JsonValue()), element, depth);
            } else {
                append(target, copyOfScalar(element));
            }
        }
    }

    void copyMembers(JsonValue& target, const JsonValue& source, unsigned depth) {
        const auto all = members(&source);
        target = newObject(static_cast<uint32_t>(all.size()));
        for (const JsonMember& each : all) {
            const std::string_view name = text(each.name).value_or("");
            if (isContainer(each.value)) {
                copyInto(append(target, name, JsonValue()), each.value, depth);
            } else {
                append(target, name, copyOfScalar(each.value));
            }
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
        if (isContainer(element)) {
            takeOutDeep(element, depth + 1, deep);
        }
    }
    for (JsonMember& each : members(&value)) {
        if (isContainer(each.value)) {
            takeOutDeep(each.value, depth + 1, deep);
        }
    }
}

} // namespace

JsonValue deepCopy(const JsonValue& source) {
    return Copier().copy(source);
}

// What lies deep is moved out first, so that no destructor below recurses further than the limit.
void release(JsonValue& value) {
    if (!isContainer(value)) {
        value.SetNull();
        return;
    }
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
