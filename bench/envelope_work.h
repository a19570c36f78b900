// Copying, setting and printing an envelope with a command of six members: our side, and the same of a peer,
// which has a Document and static functions set, copy and print.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "bench/comparison.h"
#include "frame/envelope/sip_json.h"
#include "frame/json/json_text.h"

namespace em::bench {

constexpr int kRounds = 101;
constexpr int kCalls = 2'000;
constexpr std::string_view kText =
    R"({"SIP":{"V":1,"CMD":[{"OC":517,"OE":1,"OI":2,"CA":3,"ST":0,"DA":65539}]}})";

struct Ours {
    using Document = SipJson;

    static SipJson set() {
        SipJson envelope;
        envelope.InitEnvelope();
        envelope.SetCommand(517, 1, 2, 3, 0);
        envelope.SetUintMember(key::Data, 0x10003);
        return envelope;
    }
    static SipJson copy(const SipJson& envelope) { return envelope; }
    static auto print(const SipJson& envelope) { return json::compactText(envelope.root); }
};

template <class Side>
Timed setting() {
    return timed(kCalls, [] { benchmark::DoNotOptimize(Side::set()); });
}
template <class Side>
Timed copying() {
    const auto document = std::make_shared<const typename Side::Document>(Side::set());
    return timed(kCalls, [document] { benchmark::DoNotOptimize(Side::copy(*document)); });
}
template <class Side>
Timed printing() {
    const auto document = std::make_shared<const typename Side::Document>(Side::set());
    require(std::string_view(Side::print(*document)) == kText, "the text");
    return timed(kCalls, [document] { benchmark::DoNotOptimize(Side::print(*document)); });
}

template <class Peer>
void compareWith(const std::string& peer) {
    compare("copy / " + peer, kRounds, [] { return Pair{copying<Ours>(), copying<Peer>()}; });
    compare("set / " + peer, kRounds, [] { return Pair{setting<Ours>(), setting<Peer>()}; });
    compare("print / " + peer, kRounds, [] { return Pair{printing<Ours>(), printing<Peer>()}; });
}

} // namespace em::bench
