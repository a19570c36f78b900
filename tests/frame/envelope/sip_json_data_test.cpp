#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "frame/json/json_text.h"
#include "support/json.h"

namespace em {
namespace {

using test::dataOf;
using Bytes = std::vector<uint8_t>;
constexpr auto kNone = std::nullopt;

struct DataCase {
    const char* data;
    size_t length;
    std::optional<Bytes> bytes;   // none: no data
    std::optional<uint32_t> word; // none: no number
};

TEST(SipJsonData, EveryTypeHasItsLengthBytesAndNumber) {
    const std::vector<DataCase> cases = {
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
    for (const DataCase& each : cases) {
        const SipJson envelope = dataOf(each.data);
        EXPECT_EQ(envelope.GetDataLength(), each.length) << each.data;

        Bytes bytes = {0xEE};
        EXPECT_EQ(envelope.GetDataBytes(bytes), each.bytes.has_value()) << each.data;
        EXPECT_EQ(bytes, each.bytes.value_or(Bytes{})) << each.data;
        EXPECT_EQ(envelope.GetDataByteCount(), bytes.size()) << each.data;

        uint32_t word = 0xEEEE;
        EXPECT_EQ(envelope.GetDataUint(word), each.word.has_value()) << each.data;
        EXPECT_EQ(word, each.word.value_or(0xEEEE)) << each.data;
    }
}

TEST(SipJsonData, ATextReplacesAndABlockIsAppended) {
    struct Case {
        const char* data;
        std::optional<std::string> text; // of "x" before
        std::optional<std::string> answer;
    };
    using namespace std::string_literals;
    for (const Case& each : std::vector<Case>{{R"("a\u0000b")", "a\0b"s, "a"},
                                              {R"("")", "", ""},
                                              {R"({"RAW":[97,354,0,99]})", "xab\0c"s, "ab"},
                                              {R"({"RAW":[0]})", "x\0"s, ""},
                                              {R"({"RAW":[]})", "x", ""},
                                              {R"({"RAW":{}})", kNone, kNone},
                                              {"{}", kNone, kNone},
                                              {R"(["a"])", kNone, kNone},
                                              {"null", kNone, kNone}}) {
        std::string text = "x";
        EXPECT_EQ(dataOf(each.data).GetDataString(text), each.text.has_value()) << each.data;
        EXPECT_EQ(text, each.text.value_or("x")) << each.data;

        std::string answer = "x";
        EXPECT_EQ(dataOf(each.data).GetAnswerText(answer), each.answer.has_value()) << each.data;
        EXPECT_EQ(answer, each.answer.value_or("")) << each.data;
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
