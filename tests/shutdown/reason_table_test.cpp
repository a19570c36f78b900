#include "shutdown/reason_table.h"

#include <gtest/gtest.h>

#include <string>

namespace em::test {
namespace {

TEST(ReasonTable, EdgesOfBothTables) {
    const struct {
        uint8_t reason;
        const char* name;
        bool isDefault;
    } cases[] = {
        {0, "<Software command>", false},
        {1, "<Power Switch>", false},
        {6, "< ??? >", false},
        {0x22, "<MBB continuous operation>", false},
        {39, "<Repeated Temperature Critical>", false},
        {40, "<Unknown>", true},
        {239, "<Unknown>", true},
        {240, "<Firmware Restart>", false},
        {0xF5, "< ??? >", false},
        {255, "<Unknown>", false},
    };
    for (const auto& row : cases) {
        const ReasonName name = LookUpReason(row.reason);
        EXPECT_STREQ(name.text, row.name) << unsigned{row.reason};
        EXPECT_EQ(name.isDefault, row.isDefault) << unsigned{row.reason};
    }
}

} // namespace
} // namespace em::test
