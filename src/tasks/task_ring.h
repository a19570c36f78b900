// A ring of bytes that holds pointers to task records, first in, first out. No lock of its own; isFull may
// also be asked without the one that guards it, and its answer has then passed already.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace em {

class TaskRing {
public:
    // Ten pointers' worth of bytes, of which nine tasks are accepted.
    static constexpr uint64_t kCapacity = 80;

    TaskRing();

    // False when the ring is full: a pointer that would fill the last byte is refused.
    [[nodiscard]] bool push(const void* record);
    // The oldest pointer; null when there is none.
    [[nodiscard]] void* pop();
    [[nodiscard]] bool holdsTask() const { return used() >= kPointerSize; }
    [[nodiscard]] bool isFull() const { return used() + kPointerSize >= nCapacity; }
    [[nodiscard]] bool isEmpty() const { return used() == 0; }
    // Forgets what it holds.
    void reset();

private:
    static constexpr uint64_t kPointerSize = sizeof(void*);

    [[nodiscard]] uint64_t used() const { return nUsed.load(std::memory_order_relaxed); }
    void setUsed(uint64_t bytes) { nUsed.store(bytes, std::memory_order_relaxed); }
    void putByte(uint8_t byte);
    uint8_t takeByte();

    std::atomic<uint64_t> nUsed{0}; // bytes held
    uint64_t nRead = 0;             // index of the next byte to read
    uint64_t nWrite = 0;            // index of the next byte to write; at nCapacity both wrap before use
    std::unique_ptr<uint8_t[]> pBuffer;
    uint64_t nCapacity = kCapacity; // bytes
};

} // namespace em
