// Envelopes as their writers leave them, and their copies.
#include <malloc.h>

#include "frame/json/json_tree.h"
#include "support/json.h"
#include "support/unit_test.h"

namespace em {
namespace {

using test::commandOf;
using test::commandText;
using test::textOf;

SipJson freshEnvelope() {
    SipJson envelope;
    envelope.InitEnvelope();
    return envelope;
}

TEST(SipJsonWriters, InitEnvelopeReplacesTheDocumentAndNothingElse) {
    SipJson envelope = commandOf(R"({"OC":1})");
    envelope.cursor = 3;
    envelope.text = strdup("kept");
    envelope.InitEnvelope();
    EXPECT_EQ(textOf(envelope), R"({"SIP":{"V":1,"CMD":[]}})");
    EXPECT_EQ(envelope.cursor, 3);
    EXPECT_STREQ(envelope.text, "kept");
}

TEST(SipJsonWriters, SetCommandLeavesOutZeroExtensionAndObjectId) {
    const std::tuple<uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, const char*> cases[] = {
        {0x0100, 0, 0, 0, 0, R"({"OC":256,"CA":0,"ST":0})"},
        {57345, 0x1700, 0, 3, 22, R"({"OC":57345,"OE":5888,"CA":3,"ST":22})"},
        {1, 0, 2, 3, status::kKeep, R"({"OC":1,"OI":2,"CA":3})"},
        {~0U, 1, 1, 0x80000000, 255, R"({"OC":4294967295,"OE":1,"OI":1,"CA":2147483648,"ST":255})"},
    };
    for (const auto& [code, extension, objectId, cabinet, status, command] : cases) {
        SipJson envelope = freshEnvelope();
        envelope.SetCommand(code, extension, objectId, cabinet, status);
        EXPECT_EQ(commandText(envelope), command);
    }
}

TEST(SipJsonWriters, MembersKeepTheirPlaceAndTheLastOneFillsAGap) {
    SipJson envelope = commandOf(R"({"ST":7,"OE":1,"OI":2,"MI":9,"DA":"x"})");
    envelope.SetCommand(5, 0, 0, 6, status::kKeep);
    // "OC" is appended, then moves to where "OE" was; "DA" moves to where "OI" was; "CA" is appended.
    EXPECT_EQ(commandText(envelope), R"({"ST":7,"OC":5,"DA":"x","MI":9,"CA":6})");
    envelope.SetStatus(8);
    EXPECT_EQ(commandText(envelope), R"({"ST":8,"OC":5,"DA":"x","MI":9,"CA":6})");
    SipJson twice = commandOf(R"({"ST":1,"OE":1,"ST":2,"OE":2})");
    twice.SetStatus(9);
    twice.SetOpcode(5, 0, 0);
    EXPECT_EQ(commandText(twice), R"({"ST":9,"OC":5,"ST":2,"OE":2})") << "the first of equal keys";
}

TEST(SipJsonWriters, DataIsReplacedWhereItStands) {
    SipJson envelope = freshEnvelope();
    envelope.SetNumberData(255, -1);
    EXPECT_EQ(commandText(envelope), R"({"DA":255,"ST":4294967295})");
    const std::vector<uint8_t> bytes = {0, 127, 128, 255};
    envelope.SetRawData(bytes.data(), 4);
    EXPECT_EQ(commandText(envelope), R"({"DA":{"RAW":[0,127,128,255]},"ST":4294967295})");
    envelope.SetRawData(nullptr, 0);
    EXPECT_EQ(commandText(envelope), R"({"DA":{"RAW":[]},"ST":4294967295})");
}

TEST(SipJsonWriters, CommandsAreAppendedUpToTheCursorUnlessItIsAbsurd) {
    SipJson envelope = commandOf("{}");
    for (const int32_t cursor : {INT32_MIN, INT32_MAX, 65536 + 1}) { // one command is there already
        envelope.cursor = cursor;
        EXPECT_EQ(envelope.CommandAt(), nullptr) << cursor;
    }
    EXPECT_EQ(textOf(envelope), R"({"SIP":{"V":1,"CMD":[{}]}})");
    envelope.cursor = 65536;
    EXPECT_NE(envelope.CommandAt(), nullptr);
}

TEST(SipJsonCopy, BringsDocumentAndCursorAndKeepsTheTextOverANullOne) {
    SipJson source = commandOf(R"({"DA":"a text that lies on the heap"})");
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

    SipJson constructed(source);
    const SipJson& alias = constructed;
    constructed = alias; // changes nothing
    EXPECT_EQ(textOf(constructed), textOf(source));
    EXPECT_STREQ(constructed.text, "theirs");
    EXPECT_NE(constructed.text, source.text);
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
    const size_t inside = blockOf(envelope["CMD"]) + blockOf(*copy.FindCommand());
    EXPECT_LE(blockOf(copy.root) + blockOf(envelope) + inside, 600U);
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
