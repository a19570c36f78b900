#include "frame/envelope/message_trace.h"

#include "support/json.h"
#include "support/unit_test.h"

namespace em {
namespace {

using test::commandOf;
using test::TraceCapture;

TEST(MessageTrace, EveryFormOfDataHasItsLineWithAndWithoutCabinet) {
    const std::pair<const char*, const char*> cases[] = {
        // a command and its line behind the name
        {R"({"OC":256,"OE":2,"OI":0,"MI":65538,"ST":0})",
         "OC 0x0100-0x0002 OID 0x0000 MID 0x00010002 Stat 0x00"},
        {R"({"OC":256,"OE":2,"CA":3,"MI":65538,"ST":0})",
         "OC 0x0100-0x0002 OID 0x0000 CABID 0003 MID 0x00010002 Stat 0x00"},
        {"{}", "OC 0x0000-0x0000 OID 0x0000 MID 0x00000000 Stat 0x16"},
        {R"({"CA":null})", "OC 0x0000-0x0000 OID 0x0000 CABID 0000 MID 0x00000000 Stat 0x16"},
        // Only as many digits as the fields show.
        {R"({"OC":66053,"OE":-1,"OI":"0x12345","MI":4294967295,"ST":-2,"CA":4294967295})",
         "OC 0x0205-0xFFFF OID 0x2345 CABID -001 MID 0xFFFFFFFF Stat 0xFE"},
        {R"({"OC":517,"DA":5})", "OC 0x0205-0x0000 OID 0x0000 MID 0x00000000 Stat 0x16 Data 5"},
        {R"({"OC":517,"DA":4294967295,"CA":12345})",
         "OC 0x0205-0x0000 OID 0x0000 CABID 12345 MID 0x00000000 Stat 0x16 Data -1"},
        {R"({"DA":1.5})", "OC 0x0000-0x0000 OID 0x0000 MID 0x00000000 Stat 0x16 Data 0"},
        {R"({"DA":{"RAW":[1,2,3]}})", "OC 0x0000-0x0000 OID 0x0000 MID 0x00000000 Stat 0x16 Len 3"},
        {R"({"DA":"ab","CA":0})", "OC 0x0000-0x0000 OID 0x0000 CABID 0000 MID 0x00000000 Stat 0x16 Len 3"},
        {R"({"DA":null})", "OC 0x0000-0x0000 OID 0x0000 MID 0x00000000 Stat 0x16 Len 0"},
        {R"({"DA":{"a":1}})",
         "OC 0x0000-0x0000 OID 0x0000 MID 0x00000000 Stat 0x16 Data (JSON struct):\n{\"a\":1}"},
        {R"({"DA":[{"a":"%s%n"}],"CA":1})", "OC 0x0000-0x0000 OID 0x0000 CABID 0001 MID 0x00000000 Stat 0x16 "
                                            "Data (JSON struct):\n[{\"a\":\"%s%n\"}]"},
    };
    TraceCapture capture(2);
    for (const auto& [command, line] : cases) {
        capture.clear();
        TraceRequest("EM_SHUTDOWN", commandOf(command), 2);
        EXPECT_EQ(capture.text(), std::string("\nEM_SHUTDOWN (REQ)   : ") + line) << command;
    }
}

TEST(MessageTrace, TheTagTellsTheDirection) {
    TraceCapture capture(2);
    const SipJson envelope;
    TraceRequest("EM_XXX", envelope, 2);
    TraceReturn("EM_XXX", envelope, 2);
    TraceReply("A_LONGER_MODULE_NAME", envelope, 2);
    TraceReply(nullptr, envelope, 2);
    const std::string rest = ": OC 0x0000-0x0000 OID 0x0000 MID 0x00000000 Stat 0x16";
    EXPECT_EQ(capture.text(), "\nEM_XXX (REQ)        " + rest + "\nEM_XXX (RET)        " + rest +
                                  "\nA_LONGER_MODULE_NAME (RPL)" + rest + "\n (RPL)              " + rest);
}

TEST(MessageTrace, AnEnvelopeIsNotReadForALineThatIsNotWritten) {
    TraceCapture capture(1);
    // Reading through this address would end the test.
    const SipJson* const unreadable = reinterpret_cast<const SipJson*>(uintptr_t{alignof(SipJson)});
    TraceRequest("EM_SHUTDOWN", *unreadable, 2);
    EXPECT_EQ(capture.text(), "");
}

} // namespace
} // namespace em
