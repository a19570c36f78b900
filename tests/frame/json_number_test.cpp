#include "frame/json_number.h"

#include <gtest/gtest.h>

#include <string_view>
#include <utility>

#include "support/json.h"

namespace em::json {
namespace {

using namespace std::string_view_literals;

TEST(WordOfText, ReadsPrefixesAndStopsAtTheFirstStranger) {
    constexpr std::pair<std::string_view, uint32_t> kCases[] = {{"0x1F", 31},
                                                                {"0X1f", 31},
                                                                {"0xg", 0},
                                                                {"0x", 0},
                                                                {"0x0x1F", 0},
                                                                {"017", 15},
                                                                {"0177", 127},
                                                                {"018", 1},
                                                                {"07", 7},
                                                                {"08", 0},
                                                                {"00", 0},
                                                                {"0", 0},
                                                                {"7", 7},
                                                                {"12", 12},
                                                                {"120s", 120},
                                                                {"1f", 1},
                                                                {"", 0},
                                                                {"abc", 0},
                                                                {"-5", 0},
                                                                {"+5", 0},
                                                                {" 5", 0},
                                                                {"5 6", 5},
                                                                {"12\0003"sv, 12},
                                                                {"\xC1\xE1", 0},
                                                                {"4294967295", 0xFFFFFFFF},
                                                                {"4294967296", 0},
                                                                {"4294967813", 517},
                                                                {"0x100000005", 5},
                                                                {"18446744073709551615", 0xFFFFFFFF},
                                                                {"18446744073709551616", 0xFFFFFFFF},
                                                                {"99999999999999999999999", 0xFFFFFFFF},
                                                                {"0xFFFFFFFFFFFFFFFF0", 0xFFFFFFFF}};
    for (const auto& [text, word] : kCases) {
        EXPECT_EQ(wordOfText(text), word) << '"' << text << '"';
    }
}

TEST(WordOfNumber, TakesTheLow32BitsOfThe64BitValue) {
    constexpr std::pair<const char*, uint32_t> kCases[] = {{"0", 0},
                                                           {"4294967295", 0xFFFFFFFF},
                                                           {"4294967813", 517},
                                                           {"18446744073709551615", 0xFFFFFFFF},
                                                           {"-1", 0xFFFFFFFF},
                                                           {"-2147483649", 0x7FFFFFFF},
                                                           {"-9223372036854775808", 0},
                                                           {"5.0", 5},
                                                           {"5.99", 5},
                                                           {"-5.99", 0xFFFFFFFB},
                                                           {"-0.5", 0},
                                                           {"4294967301.5", 5},
                                                           {"9223372036854777856.0", 2048},
                                                           {"-9223372036854775808.0", 0},
                                                           {"18446744073709549568.0", 0xFFFFF800},
                                                           {"1.8446744073709552e19", 0},
                                                           {"-9.3e18", 0},
                                                           {"1e308", 0},
                                                           {"NaN", 0},
                                                           {"Inf", 0},
                                                           {"-Inf", 0},
                                                           {"\"5\"", 0},
                                                           {"true", 0}};
    for (const auto& [number, word] : kCases) {
        EXPECT_EQ(wordOfNumber(test::jsonOf(number)), word) << number;
    }
}

// A number made from its type alone claims to be integer and real at once.
TEST(WordOfNumber, TakesANumberOfEveryTypeAsAnInteger) {
    const JsonValue zero(rapidjson::kNumberType);
    EXPECT_EQ(wordOfNumber(zero), 0U);
    EXPECT_TRUE(isInteger(zero));
}

} // namespace
} // namespace em::json
