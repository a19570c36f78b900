#include "host/run/line_ends.h"

#include <gtest/gtest.h>

#include <string>

namespace volad_dev {
namespace {

// Byte by byte, from every place to every other, in texts that have newlines alone and in such that have not.
TEST(LineEnds, AreTheSameWhetherNewlinesAloneAreSearchedOrNot) {
    using namespace std::string_literals;
    for (const std::string& text :
         {""s, "abc"s, "\n"s, "a\n\nbc\nd"s, "a\r\nb\0c\rd\n"s, "\0"s, "a\0"s, "\rab"s}) {
        const LineEnds lines(text);
        for (size_t at = 0; at <= text.size(); ++at) {
            size_t next = at;
            while (next < text.size() && !isLineEnd(text[next])) {
                ++next;
            }
            EXPECT_EQ(lines.nextFrom(at), next) << testing::PrintToString(text) << ' ' << at;
            for (size_t least = 0; least <= at; ++least) {
                size_t begin = at;
                while (begin > least && !isLineEnd(text[begin - 1])) {
                    --begin;
                }
                EXPECT_EQ(lines.behindLast(least, at), begin)
                    << testing::PrintToString(text) << ' ' << least << ' ' << at;
            }
        }
    }
}

} // namespace
} // namespace volad_dev
