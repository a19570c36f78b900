#include "host/common/visible_text.h"

#include <gtest/gtest.h>

#include <string>

namespace volad_dev {
namespace {

using namespace std::string_literals;

TEST(VisibleText, OneLineWhateverComes) {
    const struct {
        std::string text;
        const char* visible;
    } rows[] = {
        {"", ""},
        {"HKEY_USERS\\a b", "HKEY_USERS\\a b"},
        {"Netzschalter gedr\u00FCckt \u20AC \U0001F600", "Netzschalter gedr\u00FCckt \u20AC \U0001F600"},
        {"a\nb\r\n\tc\0d"s, "a\\nb\\r\\n\\tc\\x00d"},
        {"\x1B[2J\x7F", "\\x1B[2J\\x7F"},
        {"\u009B2J\u00A0", "\\xC2\\x9B2J\u00A0"},
        {"a\u2028b\u2029\u202F", "a\\xE2\\x80\\xA8b\\xE2\\x80\\xA9\u202F"},
        {"\u202E\u2065\u2066\u2069\u206A", "\\xE2\\x80\\xAE\u2065\\xE2\\x81\\xA6\\xE2\\x81\\xA9\u206A"},
        {"\uFFFD\uFFFE\uFFFF", "\uFFFD\\xEF\\xBF\\xBE\\xEF\\xBF\\xBF"},
        {"\xFF\u00FC\xC3", "\\xFF\u00FC\\xC3"},
        {"\xE2\x80", "\\xE2\\x80"},
        {"\xC0\x8A", "\\xC0\\x8A"}, // a line end in a form that is not allowed
        {"\xED\xA0\x80", "\\xED\\xA0\\x80"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.visible, visibleText(row.text));
    }
}

} // namespace
} // namespace volad_dev
