#include "markup/xml_cursor.h"

#include "base/utf8.h"
#include "markup/xml_document.h"

namespace em {

XmlCursor::XmlCursor(const XmlDocument& document) {
    if (document.m_pTree != nullptr) {
        m_Start = *document.m_pTree;
    }
    Reset();
}

void XmlCursor::Reset() {
    m_Level = m_Start;
    m_Element = pugi::xml_node();
}

bool XmlCursor::FindNext(const char* name) {
    const pugi::xml_node found = m_Element ? m_Element.next_sibling(name) : m_Level.child(name);
    if (!found) {
        return false;
    }
    m_Element = found;
    return true;
}

bool XmlCursor::GoIn() {
    if (!m_Element) {
        return false;
    }
    m_Level = m_Element;
    m_Element = pugi::xml_node();
    return true;
}

bool XmlCursor::GoOut() {
    if (m_Level == m_Start) {
        return false;
    }
    m_Element = m_Level;
    m_Level = m_Level.parent();
    return true;
}

const char* XmlCursor::Attribute(const char* name) const {
    const pugi::xml_attribute attribute = m_Element.attribute(name);
    return attribute ? attribute.value() : nullptr;
}

std::string XmlCursor::CharacterData() const {
    std::string text;
    for (const pugi::xml_node& child : m_Element.children()) {
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
            text += child.value();
        }
    }
    // From a spoilt character on there is no text.
    text.resize(ValidUtf8Length(text));
    return text;
}

} // namespace em
