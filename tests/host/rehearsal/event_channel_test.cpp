// What becomes of bytes that are no event.
#include "host/rehearsal/event_channel.h"

#include <gtest/gtest.h>

namespace volad_dev {
namespace {

TEST(EventChannel, NothingIsTakenBehindALineEndWhereAKindIsDue) {
    std::string taken;
    EventReceiver receiver({.said = [&taken](const std::string& line) { taken += line + ";"; }});
    receiver.take("S2\nhi");
    receiver.take("\nS2\nho");
    EXPECT_EQ(taken, "hi;");
}

} // namespace
} // namespace volad_dev
