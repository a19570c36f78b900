// What the readers make of a command's members and of its data.

#include "frame/json/json_text.h"
#include "support/json.h"
#include "support/unit_test.h"

namespace em {
namespace {

using namespace std::string_literals;
using test::commandOf;
using test::dataOf;
using test::documentOf;
using Bytes = std::vector<uint8_t>;
constexpr auto kNone = std::nullopt;

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
        Bytes bytes = {1};
        std::string string = "kept";
        uint32_t number = 9;
        EXPECT_EQ(envelope.GetUint("ST", 22), 22U);
        EXPECT_FALSE(envelope.HasData() || envelope.GetAnswerUint(number) || envelope.HasValidData());
        EXPECT_FALSE(envelope.GetDataBytes(bytes) || envelope.GetDataString(string));
        EXPECT_EQ(envelope.GetDataLength(), 0U);
        EXPECT_TRUE(bytes.empty() && number == 9 && string == "kept");
    }
}

TEST(SipJsonReaders, GetUintTakesNumbersAndTexts) {
    // The result, 99 for the default, and what gives it.
    const std::vector<std::pair<uint32_t, std::vector<const char*>>> cases = {
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
    for (const auto& [result, values] : cases) {
        for (const char* value : values) {
            EXPECT_EQ(dataOf(value).GetUint("DA", 99), result) << value;
        }
    }
    EXPECT_EQ(commandOf(R"({"OCX":1,"oc":2,"OC":3,"OC":4})").GetUint("OC", 99), 3U);
    uint32_t code = 7;
    EXPECT_FALSE(commandOf("{}").GetOpcode(code) || commandOf(R"({"OC":[517]})").GetOpcode(code));
    EXPECT_EQ(code, 7U);
}

TEST(SipJsonReaders, DataHasItsTypeAndMayBeStructured) {
    const std::tuple<JsonType, const char*, bool> cases[] = {
        {JsonType::Null, "null", false},
        {JsonType::False, "false", false},
        {JsonType::True, "true", false},
        {JsonType::Object, R"({"raw":[1]})", true},
        {JsonType::Object, R"({"RAW":null})", false},
        {JsonType::Array, "[]", false},
        {JsonType::Array, "[{},1]", true},
        {JsonType::Array, "[1,{}]", false},
        {JsonType::String, R"("x")", false},
        {JsonType::Number, "1.5", false},
    };
    for (const auto& [type, data, structured] : cases) {
        EXPECT_TRUE(dataOf(data).HasData()) << data;
        EXPECT_EQ(dataOf(data).GetDataType(), type) << data;
        EXPECT_EQ(dataOf(data).IsStructuredData(), structured) << data;
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

TEST(SipJsonData, EveryTypeHasItsLengthBytesAndNumber) {
    // Length, bytes, and number; none: there are none.
    const std::tuple<const char*, size_t, std::optional<Bytes>, std::optional<uint32_t>> cases[] = {
        {"null", 0, kNone, kNone},
        {"false", 1, Bytes{0}, 0},
        {"true", 1, Bytes{1}, 1},
        {"255", 8, Bytes{255}, 255},
        {"300", 8, Bytes{0x2C, 0x01}, 300},
        {"65536", 8, Bytes{0, 0, 1, 0}, 65536},
        {"4294967295", 8, Bytes{255, 255, 255, 255}, 0xFFFFFFFF},
        {"4294967296", 8, Bytes{0, 0, 0, 0, 1, 0, 0, 0}, kNone},
        {"18446744073709551615", 8, Bytes(8, 255), kNone},
        {"-1", 8, kNone, 0xFFFFFFFF},
        {"-2147483648", 8, kNone, 0x80000000},
        {"-2147483649", 8, kNone, kNone},
        {"5.0", 0, kNone, kNone},
        {"NaN", 0, kNone, kNone},
        {R"("ab")", 3, Bytes{'a', 'b', 0}, kNone},
        {R"("")", 1, Bytes{0}, kNone},
        {R"("a\u0000b")", 4, Bytes{'a', 0, 'b', 0}, kNone},
        {"[]", 0, Bytes{}, kNone},
        {R"(["ab","c"])", 6, Bytes{'a', 'b', 0, 'c', 0, 0}, kNone},
        {R"(["",5,null,"c"])", 4, Bytes{0, 'c', 0, 0}, kNone},
        {"[255,256,65535,65536,4294967295,4294967296]", 1 + 2 + 2 + 4 + 4 + 8, Bytes{}, kNone},
        {R"([1,-1,1.5,"x",null,[]])", 1 + 8 + 8, Bytes{}, kNone},
        {R"([null,"x"])", 0, Bytes{}, kNone},
        {R"([{"RAW":[1]}])", 0, Bytes{}, kNone},
        {R"({"a":1})", 0, Bytes{}, kNone},
        {R"({"RAW":[]})", 0, Bytes{}, kNone},
        {R"({"RAW":[7]})", 1, Bytes{7}, 7},
        {R"({"RAW":[1,2]})", 2, Bytes{1, 2}, 0x0201},
        {R"({"RAW":[1,2,3]})", 3, Bytes{1, 2, 3}, 0x030201},
        {R"({"RAW":[1,2,3,4]})", 4, Bytes{1, 2, 3, 4}, 0x04030201},
        {R"({"RAW":[1,2,3,4,5]})", 5, Bytes{1, 2, 3, 4, 5}, 0x04030201},
        {R"({"RAW":[257,-1,"9",2.5]})", 4, Bytes{1, 255, 0, 2}, 0x02000001},
        {R"({"RAW":[-1,2]})", 2, Bytes{}, 0x1FF},
        {R"({"RAW":["1",2]})", 2, Bytes{}, 0x200}};
    for (const auto& [data, length, itsBytes, itsWord] : cases) {
        const SipJson envelope = dataOf(data);
        EXPECT_EQ(envelope.GetDataLength(), length) << data;

        Bytes bytes = {0xEE};
        EXPECT_EQ(envelope.GetDataBytes(bytes), itsBytes.has_value()) << data;
        EXPECT_EQ(bytes, itsBytes.value_or(Bytes{})) << data;
        EXPECT_EQ(envelope.GetDataByteCount(), bytes.size()) << data;

        uint32_t word = 0xEEEE;
        EXPECT_EQ(envelope.GetDataUint(word), itsWord.has_value()) << data;
        EXPECT_EQ(word, itsWord.value_or(0xEEEE)) << data;
    }
}

TEST(SipJsonData, ATextReplacesAndABlockIsAppended) {
    // The text and the answer of "x" before; none: refused.
    const std::tuple<const char*, std::optional<std::string>, std::optional<std::string>> cases[] = {
        {R"("a\u0000b")", "a\0b"s, "a"},
        {R"("")", "", ""},
        {R"({"RAW":[97,354,0,99]})", "xab\0c"s, "ab"},
        {R"({"RAW":[0]})", "x\0"s, ""},
        {R"({"RAW":[]})", "x", ""},
        {R"({"RAW":{}})", kNone, kNone},
        {"{}", kNone, kNone},
        {R"(["a"])", kNone, kNone},
        {"null", kNone, kNone},
    };
    for (const auto& [data, itsText, itsAnswer] : cases) {
        std::string text = "x";
        EXPECT_EQ(dataOf(data).GetDataString(text), itsText.has_value()) << data;
        EXPECT_EQ(text, itsText.value_or("x")) << data;

        std::string answer = "x";
        EXPECT_EQ(dataOf(data).GetAnswerText(answer), itsAnswer.has_value()) << data;
        EXPECT_EQ(answer, itsAnswer.value_or("")) << data;
    }
}

// Read as 0, a text that is no number would mean "now".
TEST(SipJsonData, AnAnswersNumberMayBeATextOnlyWhenItBeginsWithADigit) {
    uint32_t number = 77;
    for (const char* refused :
         {R"("abc")", R"("-5")", R"(" 5")", R"("")", "1.5", "4294967296", "[5]", "{}", "null"}) {
        EXPECT_FALSE(dataOf(refused).GetAnswerUint(number)) << refused;
    }
    EXPECT_EQ(number, 77U);
    for (const char* taken : {"30", R"({"RAW":[30,0]})", R"("30")", R"("0x1E s")"}) {
        number = 77;
        EXPECT_TRUE(dataOf(taken).GetAnswerUint(number)) << taken;
        EXPECT_EQ(number, 30U) << taken;
    }
}

TEST(SipJsonData, AnObjectIsHandedOutAsACopy) {
    JsonValue object(true);
    {
        const SipJson envelope = dataOf(R"({"a long enough name":["and a long enough text"]})");
        envelope.GetDataObject(object);
    }
    EXPECT_EQ(json::compactText(object), R"({"a long enough name":["and a long enough text"]})");
    dataOf("[1]").GetDataObject(object);
    EXPECT_EQ(json::typeOf(object), JsonType::Null);
}

} // namespace
} // namespace em
