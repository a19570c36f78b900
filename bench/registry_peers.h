// Other stores of named values, each loading a file of the same values from the disk.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>

namespace em::bench {

// Seconds that a piece of work took, without what it took to put away its result.
using Timed = std::function<double()>;

struct Peer {
    const char* name;
    // Writes the peer's own file of `count` values "value000000" ... into the directory and returns the
    // loading of it. Values of one section, or, in a tree, one value in each section.
    Timed (*prepare)(const std::string& directory, size_t count, bool tree);
    double mark; // of our time to its; 0: for comparison only
};
extern const std::array<Peer, 5> kPeers;

void require(bool holds, const char* what); // throws otherwise
std::string valueName(size_t index);
std::string valueText(size_t index);
void writeFile(const std::string& path, const std::string& content);

} // namespace em::bench
