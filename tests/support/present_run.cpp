#include "support/present_run.h"

#include <unistd.h>

#ifdef EM_SANITIZED
#include <sanitizer/common_interface_defs.h>
#endif

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>

namespace em::test {
namespace {

std::array<char, 256> present;
std::atomic<size_t> presentSize{0};
std::atomic<bool> named{false}; // a report that aborts comes by twice

void write(const char* text, size_t size) {
    if (::write(STDERR_FILENO, text, size) < 0) {
        ::_exit(EXIT_FAILURE); // nobody is left to be told
    }
}

void namePresent() {
    if (!named.exchange(true)) {
        constexpr char kIn[] = "\nin the midst of: ";
        write(kIn, sizeof kIn - 1);
        write(present.data(), presentSize);
        write("\n", 1);
    }
}

// Its action is the default one again: a fault comes once more and ends the process, abort() does so too.
void endOf(int) {
    namePresent();
}

void endHanging(int) {
    constexpr char kHangs[] = "hangs\n";
    write(kHangs, sizeof kHangs - 1);
    std::abort();
}

bool install() {
    struct sigaction action = {};
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    action.sa_handler = endOf;
#ifdef EM_SANITIZED
    // Its report is worth more than ours, which comes behind it.
    ::__sanitizer_set_death_callback(namePresent);
#else
    ::sigaction(SIGSEGV, &action, nullptr);
    ::sigaction(SIGBUS, &action, nullptr);
#endif
    ::sigaction(SIGABRT, &action, nullptr);
    action.sa_handler = endHanging;
    ::sigaction(SIGALRM, &action, nullptr);
    return true;
}

} // namespace

#ifdef EM_SANITIZED
// Called by the undefined behaviour sanitizer, whose run-time knows nothing of the callback above.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" [[gnu::visibility("default")]] void __ubsan_on_report() {
    namePresent();
}
#endif

void setPresentRun(const std::string& text) {
    static const bool installed = install();
    static_cast<void>(installed);
    presentSize = 0;
    const size_t size = std::min(text.size(), present.size() - 1);
    std::copy_n(text.data(), size, present.data());
    presentSize = size;
}

} // namespace em::test
