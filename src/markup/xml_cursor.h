// A place in an XML document, for walking it element by element.
#pragma once

#include <pugixml.hpp>

#include <string>

namespace em {

class XmlDocument;

// Stands on an element, or in front of the first element of the level it is on. An operation that returns
// false leaves it where it was. The document must stay loaded and unchanged while the cursor is used; any
// number of cursors may walk it at the same time, on any threads. To come back to a place, keep a copy of it.
class XmlCursor {
public:
    // In front of the document element.
    explicit XmlCursor(const XmlDocument& document);

    // The next element of that name on this level, behind the one it stands on.
    [[nodiscard]] bool findNext(const char* name);
    // Into the element it stands on, in front of its first child element.
    [[nodiscard]] bool goIn();

    // Of the element it stands on; null when there is no such attribute. Lives as long as the document.
    [[nodiscard]] const char* attribute(const char* name) const;
    // All text and CDATA directly in the element it stands on, in order, untrimmed, entities resolved: UTF-8.
    // Cut where a character reference named what is no character. May throw bad_alloc.
    [[nodiscard]] std::string characterData() const;

private:
    pugi::xml_node m_level;   // whose children are walked; null when the document is empty
    pugi::xml_node m_element; // null in front of the first
};

} // namespace em
