#include <gtest/gtest.h>
#include <malloc.h>

#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "frame/json/json_tree.h"
#include "support/json.h"

namespace em {
namespace {

using test::commandOf;
using test::textOf;

TEST(SipJsonCopy, BringsDocumentAndCursorAndKeepsTheTextOverANullOne) {
    SipJson source = commandOf(R"({"OC":1})");
    source.cursor = 4;
    SipJson destination = commandOf(R"({"OC":2})");
    destination.text = strdup("own");

    destination = source;
    EXPECT_EQ(textOf(destination), textOf(source));
    EXPECT_EQ(destination.cursor, 4);
    EXPECT_STREQ(destination.text, "own");

    source.text = strdup("theirs");
    destination = source;
    EXPECT_STREQ(destination.text, "theirs");
    EXPECT_NE(destination.text, source.text);

    const SipJson constructed(source);
    EXPECT_EQ(textOf(constructed), textOf(source));
    EXPECT_STREQ(constructed.text, "theirs");
    EXPECT_NE(constructed.text, source.text);
}

TEST(SipJsonCopy, AssignedToItselfAnEnvelopeStaysTheSame) {
    SipJson envelope = commandOf(R"({"DA":"a text that lies on the heap"})");
    envelope.text = strdup("text");
    const SipJson& alias = envelope;
    envelope = alias;
    EXPECT_EQ(textOf(envelope), R"({"SIP":{"V":1,"CMD":[{"DA":"a text that lies on the heap"}]}})");
    EXPECT_STREQ(envelope.text, "text");
}

// The library's own copy shares texts and names that were set as references.
TEST(SipJsonCopy, OwnsTextsThatTheSourceOnlyRefersTo) {
    char name[] = "a name that lies elsewhere";
    char text[] = "a text that lies elsewhere";
    SipJson source;
    source.root.SetObject();
    JsonValue value(rapidjson::StringRef(&text[0]));
    source.root.AddMember(rapidjson::StringRef(&name[0]), value, json::allocator);
    const SipJson copy(source);
    std::memset(name, '#', sizeof(name) - 1);
    std::memset(text, '#', sizeof(text) - 1);
    EXPECT_EQ(textOf(copy), R"({"a name that lies elsewhere":"a text that lies elsewhere"})");
}

std::string_view bytesOf(const JsonValue& value) {
    return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

TEST(SipJsonCopy, KeepsWhatEachNumberIs) {
    const JsonValue source = test::jsonOf(
        "[0,2147483647,2147483648,4294967295,4294967296,9223372036854775808,-1,-2147483648,-2147483649,2.0]");
    const JsonValue copy = json::deepCopy(source);
    ASSERT_EQ(copy.Size(), source.Size());
    for (rapidjson::SizeType index = 0; index < copy.Size(); ++index) {
        EXPECT_EQ(bytesOf(copy[index]), bytesOf(source[index])) << index;
    }
}

size_t blockOf(const JsonValue& value) {
    const void* const block = json::isArray(&value) ? static_cast<const void*>(json::elements(&value).data())
                                                    : json::members(&value).data();
    return ::malloc_usable_size(const_cast<void*>(block));
}

// The library's own blocks for an object hold sixteen members: 512 bytes each.
TEST(SipJsonCopy, HasNoRoomToSpare) {
    const SipJson copy(commandOf(R"({"OC":517,"OE":1,"OI":2,"CA":3,"ST":4,"DA":5})"));
    const JsonValue& envelope = copy.root["SIP"];
    EXPECT_LE(blockOf(copy.root) + blockOf(envelope) + blockOf(envelope["CMD"]) +
                  blockOf(*copy.FindCommand()),
              600U);
}

// An object in a list in an object ...: one call a level would overflow any thread's stack.
constexpr int kPairs = 100000;

JsonValue deepValue() {
    JsonValue value(5);
    for (int level = 0; level < kPairs; ++level) {
        JsonValue list = json::newArray(1);
        json::append(list, std::move(value));
        value = json::newObject(1);
        json::append(value, "a", std::move(list));
    }
    return value;
}

TEST(SipJsonCopy, NoDepthOverflowsTheStack) {
    SipJson source = commandOf(R"({"ST":0})");
    json::append(*source.CommandAt(), "DA", deepValue());
    SipJson copy(source);
    const std::string text = textOf(copy);
    EXPECT_EQ(text.size(),
              std::string(R"({"SIP":{"V":1,"CMD":[{"ST":0,"DA":5}]}})").size() + size_t{kPairs} * 8);
    EXPECT_EQ(text, textOf(source));

    JsonValue data;
    copy.GetDataObject(data);
    json::release(data);
    copy.SetUintMember("DA", 1); // releases what was there
    EXPECT_EQ(copy.GetUint("DA", 0), 1U);
}

} // namespace
} // namespace em
