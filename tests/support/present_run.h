// What a test that makes many runs names when the process ends in the middle of one: by a crash, an abort, a
// sanitizer's report or an alarm.
#pragma once

#include <string>

namespace em::test {

// From here on such an end writes that text on standard error, where it has at most 255 bytes; SIGALRM says
// that it hangs, and ends the process. Any thread, one at a time.
void setPresentRun(const std::string& text);

} // namespace em::test
