#include "vm/guest_guard.h"

#include <cpuid.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

namespace em::vm {
namespace {

constexpr size_t kTokenLength = 32;
constexpr std::string_view kTokenOnCommandLine = "em_guest.token=";

std::string firstLine(const char* path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

bool isEmulated() {
    constexpr unsigned kHypervisorBit = 1U << 31U;
    constexpr unsigned kHypervisorLeaf = 0x40000000U;
    std::array<unsigned, 4> registers{};
    auto& [a, b, c, d] = registers;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & kHypervisorBit) == 0) {
        return false;
    }
    __cpuid(kHypervisorLeaf, a, b, c, d);
    constexpr std::string_view kSignature = "TCGTCGTCGTCG";
    return std::memcmp(&registers[1], kSignature.data(), kSignature.size()) == 0;
}

bool isRootTheInitramfs() {
    std::ifstream mounts("/proc/self/mounts");
    std::string line;
    bool found = false; // a later mount over it would be the one that counts
    while (std::getline(mounts, line)) {
        std::istringstream words(line);
        std::string source;
        std::string target;
        words >> source >> target;
        if (target == "/") {
            found = source == "rootfs";
        }
    }
    return found;
}

bool isToken(const std::string& text) {
    if (text.size() != kTokenLength) {
        return false;
    }
    for (const char each : text) {
        if (std::isxdigit(static_cast<unsigned char>(each)) == 0) {
            return false;
        }
    }
    return true;
}

bool isOnCommandLine(const std::string& token) {
    std::istringstream words(firstLine("/proc/cmdline"));
    std::string word;
    while (words >> word) {
        if (word == std::string(kTokenOnCommandLine) + token) {
            return true;
        }
    }
    return false;
}

bool isFirstProcessNamespace() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/ns/pid", error) == "pid:[4026531836]";
}

} // namespace

std::optional<std::string> whyNotHere() {
    if (!isEmulated()) {
        return "the processor is not an emulated one";
    }
    if (!isRootTheInitramfs()) {
        return "the root is not the initramfs";
    }
    const std::string token = firstLine("/em_guest_token");
    if (!isToken(token)) {
        return "the initramfs names no guest";
    }
    if (!isOnCommandLine(token)) {
        return "the kernel's command line does not name this guest";
    }
    if (firstLine("/sys/class/dmi/id/product_name") != "em_shutdown guest" ||
        firstLine("/sys/class/dmi/id/product_serial") != token) {
        return "the firmware does not name this guest";
    }
    if (getppid() != 1 || !isFirstProcessNamespace()) {
        return "process 1 of the machine did not start this";
    }
    if (getuid() != 0) {
        return "not started as user 0";
    }
    return std::nullopt;
}

} // namespace em::vm
