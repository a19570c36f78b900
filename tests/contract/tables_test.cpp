// The tables against docs/messages.md, which host writers read.

#include <fmt/format.h>

#include <fstream>

#include "contract/envelope.h"
#include "contract/notifications.h"
#include "contract/operation_codes.h"
#include "contract/reasons.h"
#include "contract/settings.h"
#include "contract/shutdown_actions.h"
#include "contract/shutdown_status.h"
#include "support/unit_test.h"

namespace em {
namespace {

std::vector<std::string> linesOfPage() {
    std::vector<std::string> lines;
    std::ifstream page(EM_MESSAGES_PAGE);
    for (std::string line; std::getline(page, line);) {
        lines.push_back(line);
    }
    return lines;
}

// How many rows of the page begin with the one text and end with the other.
long rows(const std::string& begin, const std::string& end = "") {
    static const std::vector<std::string> lines = linesOfPage();
    return std::ranges::count_if(
        lines, [&](const std::string& line) { return line.starts_with(begin) && line.ends_with(end); });
}

// How many rows of a table hold them all.
long rowsWith(const std::vector<std::string>& texts) {
    const std::vector<std::string> lines = linesOfPage();
    return std::ranges::count_if(lines, [&](const std::string& line) {
        return line.starts_with("| ") && std::ranges::all_of(texts, [&](const std::string& text) {
                   return line.find(text) != std::string::npos;
               });
    });
}

TEST(MessagesPage, HasARowForEachRow) {
    for (const Operation& operation : kOperations) {
        EXPECT_GE(rowsWith({fmt::format("{}", operation.code), fmt::format("0x{:X}", operation.code),
                            operation.text}),
                  1)
            << operation.text;
        EXPECT_GE(rows(fmt::format("| {0} | 0x{0:X} | `{1}` |", operation.code, operation.name)), 1)
            << operation.name;
    }
    EXPECT_EQ(rows(fmt::format("| {0}, {1} | 0x{0:X}, 0x{1:X} | ", opcode::kShutdownStatusQuery,
                               opcode::kShutdownStatusChanged)),
              1);
    for (const ShutdownAction& action : kShutdownActions) {
        EXPECT_NE(findOperation(action.operationCode), nullptr) << action.name;
        const std::string begin =
            fmt::format("| {0} | 0x{0:X} | `CM_RequestShutdownAnd", action.operationCode);
        EXPECT_EQ(rows(begin, action.requestStatus == 0 ? R"("ST" 0, queued | true |)"
                                                        : R"("ST" 25, refused on purpose | true |)"),
                  1)
            << action.name;
        EXPECT_EQ(rows(begin), 3) << action.name << ": as a request, as a reply and by its name";
    }
    for (const Setting& setting : kSettings) {
        EXPECT_EQ(rows(fmt::format("| 0x{:X} | {}", setting.item, setting.name),
                       setting.fallback ? fmt::format("| {} | {} |", setting.unit, *setting.fallback) : ""),
                  1)
            << setting.name;
    }
    for (size_t value = 0; value < kShutdownStatusNames.size(); ++value) {
        EXPECT_EQ(rows(fmt::format("| {} | {}", value, kShutdownStatusNames[value])), 1) << value;
    }
    for (const Notification& notification : kNotifications) {
        EXPECT_EQ(rows(fmt::format("| 0x{:X} | `{}` | ", notification.code, notification.name),
                       notification.effect == NotificationEffect::None ? "none | 0 |" : " | 1 |"),
                  1)
            << notification.name;
    }
}

TEST(MessagesPage, NamesEachReason) {
    std::string page;
    for (const std::string& line : linesOfPage()) {
        page += line;
    }
    for (unsigned reason = 0; reason < 256; ++reason) {
        const ReasonName name = lookUpReason(static_cast<uint8_t>(reason));
        const bool listed = reason < 0x28 || reason >= 0xF0;
        EXPECT_EQ(name.isDefault, !listed) << reason;
        const bool shown =
            page.find(fmt::format("| 0x{:02X} | `{}` |", reason, name.text)) != std::string::npos;
        const std::string others = listed ? "< ??? >" : "<Unknown>";
        EXPECT_TRUE(shown || name.text == others) << reason << ' ' << name.text;
    }
    EXPECT_NE(page.find("below 0x28 and from 0xF0 on are `< ??? >`"), std::string::npos);
}

} // namespace
} // namespace em
