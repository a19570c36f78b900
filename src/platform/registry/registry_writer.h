// Writes a tree in the registry's file format.
#pragma once

#include "platform/files/growing_text.h"

namespace em {

class CRegistryNode;

// The whole file's text: of each key its values, then its sub-keys, both sorted by name, then an empty line.
// Each key's lock is held while what lies below it is written, so the text is a tree that was there. Throws
// std::bad_alloc.
[[nodiscard]] GrowingText writeRegistry(CRegistryNode& root);

} // namespace em
