#include "frame/json_text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <vector>

#include "support/json.h"

namespace em::json {
namespace {

TEST(CompactText, WritesEveryTypeWithoutBlanksInMemberOrder) {
    const char* const same =
        R"({"b":1,"a":[null,true,false,-5,18446744073709551615,{},[],""],"b":{"c":"d"}})";
    EXPECT_EQ(compactText(test::jsonOf(same)), same);
    EXPECT_EQ(compactText(JsonValue()), "null");
}

TEST(CompactText, EscapesAsTheLibraryDoesAndPassesOtherBytesThrough) {
    EXPECT_EQ(compactText(ownedText(std::string_view("\b\t\n\f\r\"\\/\x01\x1F\0", 11))),
              R"("\b\t\n\f\r\"\\/\u0001\u001F\u0000")");
    EXPECT_EQ(compactText(ownedText("\xC3\xA4 \xFF\x7F")), "\"\xC3\xA4 \xFF\x7F\"");
}

TEST(CompactText, ShowsRealNumbersAsPercentGWhateverTheLocale) {
    struct Case {
        double value;
        const char* text;
    };
    // Not installed everywhere: then the locale stays as it was and the table holds all the same.
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
    for (const Case& each : std::vector<Case>{{3.0, "3"},
                                              {1.5, "1.5"},
                                              {-0.0, "-0"},
                                              {0.1 + 0.2, "0.3"},
                                              {1234567.0, "1.23457e+06"},
                                              {1e-5, "1e-05"},
                                              {std::numeric_limits<double>::max(), "1.79769e+308"},
                                              {std::numeric_limits<double>::denorm_min(), "4.94066e-324"},
                                              {std::nan(""), "nan"},
                                              {-std::numeric_limits<double>::infinity(), "-inf"}}) {
        EXPECT_EQ(compactText(JsonValue(each.value)), each.text);
    }
    std::setlocale(LC_NUMERIC, "C");
}

// The library's own writer stops in the middle of the text there.
TEST(CompactText, GoesOnBehindWhatIsNotFinite) {
    EXPECT_EQ(compactText(test::jsonOf("[1,NaN,{\"a\":Inf}]")), "[1,nan,{\"a\":inf}]");
}

} // namespace
} // namespace em::json
