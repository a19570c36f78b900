// What of this process is in memory, as the kernel tells it, and which part of a loaded file each page is.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace em::bench {

struct Mapping {
    uint64_t begin, end;
    std::string file; // "[heap]" and the like too; empty: memory without a file
    double residentKib;
};

// /proc/self/smaps, in its order.
[[nodiscard]] std::vector<Mapping> mappings();
// The pages of a mapping that are in memory, by their addresses.
[[nodiscard]] std::vector<uint64_t> residentPages(const Mapping& mapping);

struct Section {
    std::string name;
    uint64_t begin, end; // in memory, from where the file is loaded
};

// Those that are loaded.
[[nodiscard]] std::vector<Section> sectionsOf(const std::string& elfFile);

} // namespace em::bench
