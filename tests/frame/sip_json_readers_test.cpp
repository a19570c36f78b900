#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/json.h"

namespace em {
namespace {

using test::commandOf;
using test::dataOf;
using test::documentOf;

TEST(SipJsonReaders, WithoutACommandEveryReaderFindsNothing) {
    std::vector<SipJson> envelopes;
    for (const char* document :
         {"null", "5", "[]", "{}", R"({"SIP":[]})", R"({"SIP":{"CMD":{"0":{"ST":1}}}})",
          R"({"SIP":{"CMD":[]}})", R"({"SIP":{"CMD":[5,{"ST":1,"DA":5}]}})", R"({"SIP":{"CMD":["ST"]}})",
          R"({"SIP":{"CMD":[[{"ST":1}]]}})", R"({"Sip":{"CMD":[{"ST":1}]}})"}) {
        envelopes.push_back(documentOf(document));
    }
    for (const int32_t cursor : {-1, 1, INT32_MIN, INT32_MAX}) {
        envelopes.push_back(commandOf(R"({"ST":1,"DA":5})"));
        envelopes.back().cursor = cursor;
    }
    for (const SipJson& envelope : envelopes) {
        std::vector<uint8_t> bytes = {1};
        std::string string = "kept";
        uint32_t number = 9;
        JsonValue object(true);
        EXPECT_EQ(envelope.GetUint("ST", 22), 22U);
        EXPECT_FALSE(envelope.HasMember("ST"));
        EXPECT_FALSE(envelope.HasData());
        EXPECT_EQ(envelope.GetDataType(), JsonType::Null);
        EXPECT_FALSE(envelope.IsStructuredData());
        EXPECT_EQ(envelope.GetDataLength(), 0U);
        EXPECT_FALSE(envelope.GetDataBytes(bytes));
        EXPECT_TRUE(bytes.empty());
        EXPECT_EQ(envelope.GetDataByteCount(), 0U);
        EXPECT_FALSE(envelope.GetDataUint(number));
        EXPECT_FALSE(envelope.GetDataString(string));
        EXPECT_EQ(string, "kept");
        EXPECT_FALSE(envelope.GetAnswerUint(number));
        EXPECT_EQ(number, 9U);
        EXPECT_FALSE(envelope.GetAnswerText(string));
        envelope.GetDataObject(object);
        EXPECT_EQ(json::typeOf(object), JsonType::Null);
        EXPECT_FALSE(envelope.HasValidData());
    }
}

TEST(SipJsonReaders, GetUintTakesNumbersAndTexts) {
    struct Case {
        const char* value;
        uint32_t result;
    };
    for (const Case& each : std::vector<Case>{{"517", 517},
                                              {"4294967813", 517},
                                              {"-1", 0xFFFFFFFF},
                                              {"2.9", 2},
                                              {"\"0x205\"", 517},
                                              {"\"\"", 0},
                                              {"null", 99},
                                              {"true", 99},
                                              {"[5]", 99},
                                              {"{\"RAW\":[5]}", 99}}) {
        EXPECT_EQ(dataOf(each.value).GetUint("DA", 99), each.result) << each.value;
    }
    EXPECT_EQ(commandOf(R"({"OCX":1,"oc":2,"OC":3,"OC":4})").GetUint("OC", 99), 3U);
}

TEST(SipJsonReaders, TheCursorSelectsTheCommand) {
    SipJson envelope = documentOf(R"({"SIP":{"CMD":[{"OC":1},{"OC":2}]}})");
    envelope.cursor = 1;
    EXPECT_EQ(envelope.GetUint("OC", 0), 2U);
}

TEST(SipJsonReaders, ANullMemberIsThereButHoldsNoValidData) {
    const SipJson envelope = commandOf(R"({"DA":null,"ST":0})");
    EXPECT_TRUE(envelope.HasMember("DA"));
    EXPECT_TRUE(envelope.HasData());
    EXPECT_FALSE(envelope.HasValidData());
}

TEST(SipJsonReaders, StructuredDataIsAnObjectOrAListThatBeginsWithOne) {
    struct Case {
        const char* data;
        JsonType type;
        bool structured;
    };
    for (const Case& each : std::vector<Case>{{"null", JsonType::Null, false},
                                              {"false", JsonType::False, false},
                                              {"true", JsonType::True, false},
                                              {"{}", JsonType::Object, true},
                                              {R"({"RAW":null})", JsonType::Object, false},
                                              {R"({"raw":[1]})", JsonType::Object, true},
                                              {"[]", JsonType::Array, false},
                                              {"[{},1]", JsonType::Array, true},
                                              {"[1,{}]", JsonType::Array, false},
                                              {"\"x\"", JsonType::String, false},
                                              {"1.5", JsonType::Number, false}}) {
        EXPECT_EQ(dataOf(each.data).GetDataType(), each.type) << each.data;
        EXPECT_EQ(dataOf(each.data).IsStructuredData(), each.structured) << each.data;
    }
}

TEST(SipJsonReaders, ValidDataNeedsASuccessAndANumberOrALength) {
    struct Case {
        const char* command;
        bool valid;
    };
    for (const Case& each : std::vector<Case>{{R"({"ST":0,"DA":0})", true},
                                              {R"({"ST":12,"DA":"x"})", true},
                                              {R"({"ST":21,"DA":-1.5})", true},
                                              {R"({"ST":255,"DA":{"RAW":[0]}})", true},
                                              {R"({"ST":"0","DA":false})", true},
                                              {R"({"ST":1,"DA":5})", false},
                                              {R"({"ST":256,"DA":5})", false},
                                              {R"({"ST":22,"DA":5})", false},
                                              {R"({"DA":5})", false},
                                              {R"({"ST":null,"DA":5})", false},
                                              {R"({"ST":0})", false},
                                              {R"({"ST":0,"DA":{"a":1}})", false},
                                              {R"({"ST":0,"DA":[]})", false},
                                              {R"({"ST":0,"DA":""})", true}}) {
        EXPECT_EQ(commandOf(each.command).HasValidData(), each.valid) << each.command;
    }
}

TEST(SipJsonReaders, TheEnvelopeCheckLooksAtRootAndVersionOnly) {
    struct Case {
        const char* document;
        bool good;
    };
    for (const Case& each : std::vector<Case>{{"null", false},
                                              {"[]", false},
                                              {"\"SIP\"", false},
                                              {"{}", true},
                                              {R"({"SIP":5})", true},
                                              {R"({"SIP":{}})", true},
                                              {R"({"SIP":{"V":1}})", true},
                                              {R"({"SIP":{"V":1,"V":2}})", true},
                                              {R"({"SIP":{"V":2}})", false},
                                              {R"({"SIP":{"V":1.0}})", false},
                                              {R"({"SIP":{"V":4294967297}})", false},
                                              {R"({"SIP":{"V":"1"}})", false},
                                              {R"({"SIP":{"V":true}})", false},
                                              {R"({"SIP":{"V":null}})", false}}) {
        EXPECT_EQ(documentOf(each.document).CheckEnvelope(), each.good) << each.document;
    }
}

} // namespace
} // namespace em
