// What is sent arrives, however the pipe cuts it; behind bytes that are no event nothing is taken.
#include "host/rehearsal/event_channel.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

namespace volad_dev {
namespace {

struct EventChannel : testing::Test {
    EventReceiver m_receiver{
        {.trace = [this](const std::string& line) { m_taken += "T " + line + "; "; },
         .failure = [this](const std::string& text,
                           int code) { m_taken += std::to_string(code) + " " + text + "; "; },
         .said = [this](const std::string& line) { m_taken += "S " + line + "; "; },
         .complaint = [this](const std::string& line) { m_taken += "E " + line + "; "; },
         .begun = [this](const std::string& what) { m_taken += "B " + what + "; "; }}};
    std::string m_taken;
};

TEST_F(EventChannel, TakesWhatWasSentByteByByte) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    {
        EventSender sender(ends[1]);
        sender.trace(1.5, "a\nline");
        sender.trace(std::nullopt, "");
        sender.said("for people");
        sender.complaint("for their attention");
        sender.begun("this");
        sender.failure("why not", kExitNoSandbox);
    }
    std::array<char, 1> byte;
    while (::read(ends[0], byte.data(), byte.size()) == 1) {
        m_receiver.take({byte.data(), byte.size()});
    }
    ::close(ends[0]);
    EXPECT_EQ(m_taken, "T [   1.500] a\\nline; T            ; S for people; E for their attention; B this; "
                       "3 why not; ");
}

TEST_F(EventChannel, TakesNothingBehindALineEndWhereAKindIsDue) {
    m_receiver.take("S2\nhi\n");
    m_receiver.take("S2\nho");
    EXPECT_EQ(m_taken, "S hi; ");
}

} // namespace
} // namespace volad_dev
