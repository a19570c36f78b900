#include "frame/json/json_text.h"

#include <clocale>

#include "support/json.h"
#include "support/unit_test.h"

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
    // Not installed everywhere: then the locale stays as it was and the text is the same.
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
    EXPECT_EQ(compactText(test::jsonOf("[3.0,1.5,-0.0,0.30000000000000004,1234567.0,1e-5,NaN,{\"a\":-Inf}]")),
              R"([3,1.5,-0,0.3,1.23457e+06,1e-05,nan,{"a":-inf}])");
    std::setlocale(LC_NUMERIC, "C");
}

} // namespace
} // namespace em::json
