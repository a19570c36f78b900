#include "markup/xml_cursor.h"

#include "base/utf8.h"
#include "markup/xml_document.h"

namespace em {

XmlCursor::XmlCursor(const XmlDocument& document) {
    if (document.m_tree != nullptr) {
        m_level = *document.m_tree;
    }
}

bool XmlCursor::findNext(const char* name) {
    pugi::xml_node found = m_element ? m_element.next_sibling(name) : m_level.child(name);
    while (found && found.type() != pugi::node_element) {
        found = found.next_sibling(name); // an instruction has a name too
    }
    if (!found) {
        return false;
    }
    m_element = found;
    return true;
}

bool XmlCursor::goIn() {
    if (!m_element) {
        return false;
    }
    m_level = m_element;
    m_element = pugi::xml_node();
    return true;
}

const char* XmlCursor::attribute(const char* name) const {
    const pugi::xml_attribute attribute = m_element.attribute(name);
    return attribute ? attribute.value() : nullptr;
}

std::string XmlCursor::characterData() const {
    std::string text;
    for (const pugi::xml_node& child : m_element.children()) {
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
            text += child.value();
        }
    }
    // From a spoilt character on there is no text.
    text.resize(validUtf8Length(text));
    return text;
}

} // namespace em
