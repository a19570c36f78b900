// Reads the registry's file format.
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

namespace em {

class CRegistryNode;

// What the reader could not take as it stands.
struct RegistryFinding {
    size_t line;        // from 1
    const char* code;   // a word for programs
    const char* reason; // continues "line N "
};
using RegistryFindingSink = std::function<void(const RegistryFinding&)>;

struct RegistryReading {
    bool complete = true;      // false: memory ran out on the way
    bool anyValue = false;     // a value was read, at any level
    bool carriageLine = false; // a line of one lone CR: with such line ends no key is ever closed
};

// Reads a whole file's text into a key that nobody else knows. A line is of any length; a newline ends it,
// and a NUL ends its text. Takes O(n) for text that the writer made, O(n log n) for any other; memory is
// linear in the text. Throws what the sink throws.
RegistryReading readRegistry(std::string_view text, CRegistryNode& root, const RegistryFindingSink& sink);

} // namespace em
