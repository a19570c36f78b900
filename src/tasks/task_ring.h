// A ring of bytes that holds pointers to task records, first in, first out. No lock of its own.
#pragma once

#include <cstdint>
#include <memory>

namespace em {

class TaskRing {
public:
    // Ten pointers' worth of bytes, of which nine tasks are accepted.
    static constexpr uint64_t kCapacity = 80;

    TaskRing();

    // False when the ring is full: a pointer that would fill the last byte is refused.
    [[nodiscard]] bool Push(const void* record);
    // The oldest pointer; null when there is none.
    [[nodiscard]] void* Pop();
    [[nodiscard]] bool HoldsTask() const { return nUsed >= kPointerSize; }
    [[nodiscard]] bool IsFull() const { return nUsed + kPointerSize >= nCapacity; }
    [[nodiscard]] bool IsEmpty() const { return nUsed == 0; }
    // Forgets what it holds.
    void Reset();

private:
    static constexpr uint64_t kPointerSize = sizeof(void*);

    void PutByte(uint8_t byte);
    uint8_t TakeByte();

    uint64_t nUsed = 0;  // bytes held
    uint64_t nRead = 0;  // index of the next byte to read
    uint64_t nWrite = 0; // index of the next byte to write; at nCapacity both wrap before use
    std::unique_ptr<uint8_t[]> pBuffer;
    uint64_t nCapacity = kCapacity; // bytes
};

} // namespace em
