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
        EXPECT_EQ(envelope.GetUint("ST", 22), 22U);
        EXPECT_FALSE(envelope.HasData());
        EXPECT_EQ(envelope.GetDataLength(), 0U);
        EXPECT_FALSE(envelope.GetDataBytes(bytes));
        EXPECT_TRUE(bytes.empty());
        EXPECT_FALSE(envelope.GetAnswerUint(number));
        EXPECT_EQ(number, 9U);
        EXPECT_FALSE(envelope.GetDataString(string));
        EXPECT_EQ(string, "kept");
        EXPECT_FALSE(envelope.HasValidData());
    }
}

TEST(SipJsonReaders, GetUintTakesNumbersAndTexts) {
    struct Case {
        uint32_t result; // 99: the default
        std::vector<const char*> values;
    };
    const std::vector<Case> cases = {
        {0,
         {"0", "-0.5", "4294967296", "-9223372036854775808.0", "1.8446744073709552e19", "1e308", "NaN",
          "-Inf"}},
        {517, {"517", "517.9", "4294967813", "4294967813.5"}},
        {0xFFFFFFFF, {"-1", "4294967295", "18446744073709551615"}},
        {0xFFFFFFFB, {"-5", "-5.99"}},
        // Texts with C's prefixes; two characters that begin with 0 are octal.
        {31,
         {R"("31")", R"("0x1F")", R"("0X1f")", R"("037")", R"("31s")", R"("31\u00002")", R"("0x10000001F")"}},
        {7, {R"("7")", R"("07")", R"("078")"}},
        {0,
         {R"("")", R"("08")", R"("0x")", R"("0xg")", R"("0x0x1F")", R"("abc")", R"(" 5")", R"("-5")",
          R"("+5")", "\"\xC1\"", R"("4294967296")"}},
        // Saturates at 64 bits.
        {0xFFFFFFFF, {R"("18446744073709551615")", R"("18446744073709551616")", R"("0xFFFFFFFFFFFFFFFF0")"}},
        {99, {"null", "true", "[5]", R"({"RAW":[5]})"}},
    };
    for (const Case& each : cases) {
        for (const char* value : each.values) {
            EXPECT_EQ(dataOf(value).GetUint("DA", 99), each.result) << value;
        }
    }
    EXPECT_EQ(commandOf(R"({"OCX":1,"oc":2,"OC":3,"OC":4})").GetUint("OC", 99), 3U);
}

TEST(SipJsonReaders, DataHasItsTypeAndMayBeStructured) {
    struct Case {
        JsonType type;
        const char* data;
        bool structured;
    };
    for (const Case& each : std::vector<Case>{{JsonType::Null, "null", false},
                                              {JsonType::False, "false", false},
                                              {JsonType::True, "true", false},
                                              {JsonType::Object, R"({"raw":[1]})", true},
                                              {JsonType::Object, R"({"RAW":null})", false},
                                              {JsonType::Array, "[]", false},
                                              {JsonType::Array, "[{},1]", true},
                                              {JsonType::Array, "[1,{}]", false},
                                              {JsonType::String, R"("x")", false},
                                              {JsonType::Number, "1.5", false}}) {
        EXPECT_TRUE(dataOf(each.data).HasData()) << each.data;
        EXPECT_EQ(dataOf(each.data).GetDataType(), each.type) << each.data;
        EXPECT_EQ(dataOf(each.data).IsStructuredData(), each.structured) << each.data;
    }
}

TEST(SipJsonReaders, ValidDataNeedsASuccessAndANumberOrALength) {
    for (const char* valid :
         {R"({"ST":0,"DA":0})", R"({"ST":12,"DA":"x"})", R"({"ST":21,"DA":-1.5})",
          R"({"ST":255,"DA":{"RAW":[0]}})", R"({"ST":"0","DA":false})", R"({"ST":0,"DA":""})"}) {
        EXPECT_TRUE(commandOf(valid).HasValidData()) << valid;
    }
    for (const char* invalid :
         {R"({"ST":1,"DA":5})", R"({"ST":256,"DA":5})", R"({"DA":5})", R"({"ST":null,"DA":5})", R"({"ST":0})",
          R"({"ST":0,"DA":null})", R"({"ST":0,"DA":{"a":1}})", R"({"ST":0,"DA":[]})"}) {
        EXPECT_FALSE(commandOf(invalid).HasValidData()) << invalid;
    }
}

TEST(SipJsonReaders, TheEnvelopeCheckLooksAtRootAndVersionOnly) {
    for (const char* good :
         {"{}", R"({"SIP":5})", R"({"SIP":{}})", R"({"SIP":{"V":1}})", R"({"SIP":{"V":1,"V":2}})"}) {
        EXPECT_TRUE(documentOf(good).CheckEnvelope()) << good;
    }
    for (const char* bad : {"null", "[]", R"("SIP")", R"({"SIP":{"V":2}})", R"({"SIP":{"V":1.0}})",
                            R"({"SIP":{"V":4294967297}})", R"({"SIP":{"V":"1"}})", R"({"SIP":{"V":null}})"}) {
        EXPECT_FALSE(documentOf(bad).CheckEnvelope()) << bad;
    }
}

} // namespace
} // namespace em
