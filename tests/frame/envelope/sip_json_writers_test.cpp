#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/json.h"

namespace em {
namespace {

using test::commandOf;
using test::commandText;
using test::documentOf;
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
    struct Case {
        uint32_t operationCode, extension, objectId, cabinet, status;
        const char* command;
    };
    for (const Case& each : std::vector<Case>{
             {0x0100, 0, 0, 0, 0, R"({"OC":256,"CA":0,"ST":0})"},
             {57345, 0x1700, 0, 3, 22, R"({"OC":57345,"OE":5888,"CA":3,"ST":22})"},
             {1, 0, 2, 3, status::kKeep, R"({"OC":1,"OI":2,"CA":3})"},
             {0xFFFFFFFF, 1, 1, 0x80000000, 255,
              R"({"OC":4294967295,"OE":1,"OI":1,"CA":2147483648,"ST":255})"},
         }) {
        SipJson envelope = freshEnvelope();
        envelope.SetCommand(each.operationCode, each.extension, each.objectId, each.cabinet, each.status);
        EXPECT_EQ(commandText(envelope), each.command);
    }
}

TEST(SipJsonWriters, MembersKeepTheirPlaceAndTheLastOneFillsAGap) {
    SipJson envelope = commandOf(R"({"ST":7,"OE":1,"OI":2,"MI":9,"DA":"x"})");
    envelope.SetCommand(5, 0, 0, 6, status::kKeep);
    // "OC" is appended, then moves to where "OE" was; "DA" moves to where "OI" was; "CA" is appended.
    EXPECT_EQ(commandText(envelope), R"({"ST":7,"OC":5,"DA":"x","MI":9,"CA":6})");
    envelope.SetStatus(8);
    EXPECT_EQ(commandText(envelope), R"({"ST":8,"OC":5,"DA":"x","MI":9,"CA":6})");
}

TEST(SipJsonWriters, OfEqualKeysTheFirstIsSetAndRemoved) {
    SipJson envelope = commandOf(R"({"ST":1,"OE":1,"ST":2,"OE":2})");
    envelope.SetStatus(9);
    envelope.SetOpcode(5, 0, 0);
    EXPECT_EQ(commandText(envelope), R"({"ST":9,"OC":5,"ST":2,"OE":2})");
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

TEST(SipJsonWriters, WhatIsNoObjectAtTheCursorBecomesOne) {
    for (const char* element : {"null", "true", "5", "\"text\"", "[1,{\"ST\":3}]"}) {
        SipJson envelope = commandOf(element);
        envelope.SetStatus(1);
        EXPECT_EQ(textOf(envelope), R"({"SIP":{"V":1,"CMD":[{"ST":1}]}})") << element;
    }
}

TEST(SipJsonWriters, CommandsAreAppendedUpToTheCursorUnlessItIsAbsurd) {
    SipJson near = commandOf(R"({"OC":1})");
    near.cursor = 2;
    near.SetStatus(1);
    EXPECT_EQ(textOf(near), R"({"SIP":{"V":1,"CMD":[{"OC":1},{},{"ST":1}]}})");
    SipJson far = commandOf("{}");
    for (const int32_t cursor : {-1, INT32_MIN, INT32_MAX, 65536 + 1}) { // one command is there already
        far.cursor = cursor;
        EXPECT_EQ(far.CommandAt(), nullptr) << cursor;
    }
    EXPECT_EQ(textOf(far), R"({"SIP":{"V":1,"CMD":[{}]}})");
    far.cursor = 65536;
    EXPECT_NE(far.CommandAt(), nullptr);
}

TEST(SipJsonWriters, AnEnvelopeWithoutItsShapeIsLeftAlone) {
    const std::vector<uint8_t> bytes = {1};
    for (const char* document :
         {"null", "true", "5", "\"SIP\"", "[]", "{}", R"({"SIP":null})", R"({"SIP":[{"CMD":[]}]})",
          R"({"SIP":{}})", R"({"SIP":{"CMD":{}}})", R"({"SIP":{"CMD":"[]"}})", R"({"sip":{"CMD":[]}})",
          R"({"SIP":1,"SIP":{"CMD":[]}})"}) {
        SipJson envelope = documentOf(document);
        envelope.SetCommand(1, 2, 3, 4, 5);
        envelope.SetOpcode(1, 2, 3);
        envelope.SetUintMember("MI", 1);
        envelope.SetStatus(1);
        envelope.SetNumberData(1, 1);
        envelope.SetRawData(bytes.data(), 1);
        EXPECT_EQ(textOf(envelope), document);
    }
}

} // namespace
} // namespace em
