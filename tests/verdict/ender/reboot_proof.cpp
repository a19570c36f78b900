#include "verdict/ender/reboot_proof.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

bool isProcessNamespace(std::string_view name) {
    constexpr std::string_view kBegin = "pid:[";
    constexpr std::string_view kEnd = "]";
    if (!name.starts_with(kBegin) || !name.ends_with(kEnd) || name.size() <= kBegin.size() + kEnd.size()) {
        return false;
    }
    name.remove_prefix(kBegin.size());
    name.remove_suffix(kEnd.size());
    return std::ranges::all_of(name, [](char digit) { return digit >= '0' && digit <= '9'; });
}

} // namespace

std::string rebootFault(const RebootFacts& facts) {
    if (!facts.guard.empty()) {
        return facts.guard;
    }
    if (!isProcessNamespace(facts.present) || !isProcessNamespace(facts.marked)) {
        return "the process namespace cannot be told";
    }
    const auto& first = layout::kFirstNamespaces;
    if (facts.present == facts.marked || std::ranges::find(first, facts.present) != first.end()) {
        return "the process namespace is the machine's own";
    }
    // In the first process namespace the kernel does it; in every other it knows no such request.
    const int error = facts.disableKeys();
    if (error == EINVAL) {
        return "";
    }
    return error == 0 ? "reboot(2) reaches the machine"
                      : std::string("reboot(2) answers ") + strerrorname_np(error);
}

} // namespace volad_dev
