// What stands in the text of a record: a line by its format, a message to the host by its members.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace em::test {

// Whether the text was written by that format of printf, whose conversions stand for anything.
[[nodiscard]] bool isLine(const char* format, const char* text);
// The number behind the last place where that stands, 0 where none does.
[[nodiscard]] int64_t numberBehind(const std::string& text, const char* before);

struct Message {
    int64_t code;
    std::optional<int64_t> data; // where it is a number
};
// A call of the host that is no message has the code 0.
[[nodiscard]] Message messageIn(const std::string& hostCall);

} // namespace em::test
