#include "tasks/task_ring.h"

#include <array>
#include <cstring>

namespace em {

TaskRing::TaskRing() : pBuffer(std::make_unique<uint8_t[]>(kCapacity)) {}

bool TaskRing::Push(const void* record) {
    if (IsFull()) {
        return false;
    }
    std::array<uint8_t, kPointerSize> bytes;
    std::memcpy(bytes.data(), &record, kPointerSize);
    for (const uint8_t byte : bytes) {
        PutByte(byte);
    }
    return true;
}

void* TaskRing::Pop() {
    if (!HoldsTask()) {
        return nullptr;
    }
    std::array<uint8_t, kPointerSize> bytes;
    for (uint8_t& byte : bytes) {
        byte = TakeByte();
    }
    void* record = nullptr;
    std::memcpy(&record, bytes.data(), kPointerSize);
    return record;
}

void TaskRing::Reset() {
    nUsed = 0;
    nRead = 0;
    nWrite = 0;
}

void TaskRing::PutByte(uint8_t byte) {
    // Wrapped before use: an index may stand one past the end in between.
    if (nWrite == nCapacity) {
        nWrite = 0;
    }
    pBuffer[nWrite++] = byte;
    ++nUsed;
}

uint8_t TaskRing::TakeByte() {
    if (nRead == nCapacity) {
        nRead = 0;
    }
    --nUsed;
    return pBuffer[nRead++];
}

} // namespace em
