// Other stores of named values, each loading a file of the same values from the disk.
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

// Of the value that comes i-th.
size_t indexOf(size_t i, size_t count, Order order);
std::string valueName(size_t index);
std::string valueText(size_t index);
void writeFile(const std::string& path, const std::string& content);

} // namespace em::bench
