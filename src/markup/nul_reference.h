// Character references to NUL, which the parser would turn into the end of a text's piece, unseen.
#pragma once

#include <span>

namespace em {

// Overwrites each such reference in character data and attribute values with bytes that are no UTF-8, so that
// a text is cut there as a whole (see XmlCursor::CharacterData). Comments, CDATA sections and instructions,
// where a reference is none, stay as they are. Throws nothing.
void spoilNulReferences(std::span<char> document);

} // namespace em
