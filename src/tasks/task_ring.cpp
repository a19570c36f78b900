#include "tasks/task_ring.h"

#include <array>
#include <cstring>

namespace em {

TaskRing::TaskRing() : pBuffer(std::make_unique<uint8_t[]>(kCapacity)) {}

bool TaskRing::push(const void* record) {
    if (isFull()) {
        return false;
    }
    std::array<uint8_t, kPointerSize> bytes;
    std::memcpy(bytes.data(), &record, kPointerSize);
    for (const uint8_t byte : bytes) {
        putByte(byte);
    }
    setUsed(used() + kPointerSize);
    return true;
}

void* TaskRing::pop() {
    if (!holdsTask()) {
        return nullptr;
    }
    std::array<uint8_t, kPointerSize> bytes;
    for (uint8_t& byte : bytes) {
        byte = takeByte();
    }
    setUsed(used() - kPointerSize);
    void* record = nullptr;
    std::memcpy(&record, bytes.data(), kPointerSize);
    return record;
}

void TaskRing::reset() {
    setUsed(0);
    nRead = 0;
    nWrite = 0;
}

void TaskRing::putByte(uint8_t byte) {
    // Wrapped before use: an index may stand one past the end in between.
    if (nWrite == nCapacity) {
        nWrite = 0;
    }
    pBuffer[nWrite++] = byte;
}

uint8_t TaskRing::takeByte() {
    if (nRead == nCapacity) {
        nRead = 0;
    }
    return pBuffer[nRead++];
}

} // namespace em
