#include "shutdown/reason_table.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace em::test {
namespace {

const std::map<unsigned, std::string> kNamed = {
    {0x00, "Software command"},
    {0x01, "Power Switch"},
    {0x02, "Power Failure"},
    {0x03, "Realtime Clock"},
    {0x04, "Fan Failure"},
    {0x05, "Critical Temperature"},
    {0x07, "Power Supply Failure"},
    {0x08, "Watchdog"},
    {0x09, "Remote Request"},
    {0x0A, "Hardware Failure"},
    {0x0B, "Peripherial Bus Error"},
    {0x0C, "CPU Error"},
    {0x0E, "Server Off"},
    {0x12, "NMI"},
    {0x15, "Hardware Reset"},
    {0x16, "Warm Start"},
    {0x17, "Reset Button"},
    {0x18, "Power Failure"},
    {0x19, "Management Controller Failure"},
    {0x1B, "Keyboard Button"},
    {0x1D, "Remote Manager Power Off"},
    {0x1E, "Remote Manager Reset"},
    {0x1F, "Power Cycle"},
    {0x21, "Power Limiting"},
    {0x22, "MBB continuous operation"},
    {0x23, "Watchdog Power Cycle"},
    {0x24, "PLEXA Inventory Board"},
    {0x25, "PLEXA Init Boot"},
    {0x26, "Repeated Fan Fail"},
    {0x27, "Repeated Temperature Critical"},
    {0xF0, "Firmware Restart"},
    {0xF1, "Housing Opened"},
    {0xFF, "Unknown"},
};

TEST(ReasonTable, NamesEachReason) {
    for (unsigned reason = 0; reason < 256; ++reason) {
        const bool listed = reason < 40 || reason >= 240;
        const auto named = kNamed.find(reason);
        const std::string expected = named != kNamed.end() ? "<" + named->second + ">"
                                     : listed              ? "< ??? >"
                                                           : "<Unknown>";
        const ReasonName name = LookUpReason(static_cast<uint8_t>(reason));
        EXPECT_EQ(name.text, expected) << reason;
        EXPECT_EQ(name.isDefault, !listed) << reason;
    }
}

} // namespace
} // namespace em::test
