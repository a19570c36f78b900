// Other stores of named values, each loading a file of the same values from the disk, or saving them there.
#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "bench/comparison.h"

namespace em::bench {

enum class Order {
    Sorted,
    Shuffled,
    Keys, // sorted, each value in a section of its own
};

struct Peer {
    const char* name;
    // Writes the peer's own file of `count` values "value000000" ... into the directory and returns the
    // loading of it, without what it takes to put away the result.
    Timed (*prepare)(const std::string& directory, size_t count, Order order);
};
extern const std::array<Peer, 5> kPeers;

struct SavingPeer {
    const char* name;
    // Takes `count` sorted values in and returns the saving of all of them, without a sync.
    Timed (*prepare)(const std::string& directory, size_t count);
};
extern const std::array<SavingPeer, 3> kSavingPeers;

// Of the value that comes i-th.
size_t indexOf(size_t i, size_t count, Order order);
std::string valueName(size_t index);
std::string valueText(size_t index);
void writeFile(const std::string& path, const std::string& content);

} // namespace em::bench
