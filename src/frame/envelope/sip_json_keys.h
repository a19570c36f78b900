// Keys of the envelope that only its own operations use.
#pragma once

#include <string_view>

namespace em::key {

constexpr std::string_view Envelope = "SIP";
constexpr std::string_view Version = "V";
constexpr std::string_view Commands = "CMD";
constexpr std::string_view Raw = "RAW";

} // namespace em::key
