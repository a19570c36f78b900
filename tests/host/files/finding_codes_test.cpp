#include "host/files/finding_codes.h"

#include <fstream>
#include <set>
#include <string>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace volad_dev {
namespace {

// docs/check.md has a row for each code, as the tool tells it, in the table's order, and no other.
TEST(FindingCodes, AreThoseOfThePage) {
    std::ifstream page(EM_CHECK_PAGE);
    std::string rows;
    for (std::string line; std::getline(page, line);) {
        rows += line.starts_with("| `") && !line.starts_with("| `-") ? line + '\n' : "";
    }
    std::string expected;
    for (const FindingCode& row : findingCodes()) {
        expected +=
            fmt::format("| `{}` | {} | {} | {} |\n", row.code, nameOf(row.severity), row.meaning, row.remedy);
    }
    EXPECT_EQ(rows, expected);
}

TEST(FindingCodes, StandOnceEach) {
    std::set<std::string_view> codes;
    for (const FindingCode& row : findingCodes()) {
        EXPECT_TRUE(codes.insert(row.code).second) << row.code;
        EXPECT_EQ(&findingCode(row.code), &row);
        EXPECT_TRUE(std::string_view(row.remedy).ends_with('.')) << row.remedy;
    }
    EXPECT_THROW(static_cast<void>(findingCode("no-such-code")), std::logic_error);
}

} // namespace
} // namespace volad_dev
