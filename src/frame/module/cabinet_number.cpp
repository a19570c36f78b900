#include "frame/module/cabinet_number.h"

#include <atomic>

namespace em {
namespace {

constinit std::atomic<uint32_t> current{0};
constinit std::atomic<bool> known{false};

} // namespace

uint32_t cabinetNumber() {
    return current;
}

bool cabinetNumberKnown() {
    return known;
}

// The number before the flag: who sees the flag finds the number.
void setCabinetNumber(uint32_t number) {
    current = number;
    known = true;
}

} // namespace em
