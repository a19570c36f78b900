#include "host/picture/svg_writer.h"

#include <fmt/format.h>

#include "host/common/visible_text.h"

namespace volad_dev {

std::string xmlText(std::string_view text) {
    std::string escaped;
    for (const char character : visibleText(text)) {
        switch (character) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += character;
        }
    }
    return escaped;
}

SvgWriter::Value::Value(double number) : text(fmt::format("{:.1f}", number)) {
    if (text.ends_with(".0")) {
        text.resize(text.size() - 2);
    }
}

SvgWriter::Value::Value(std::string_view value) : text(xmlText(value)) {}

void SvgWriter::open(const char* name, Attributes attributes) {
    m_text.append(m_open.size(), ' ').append(1, '<').append(name);
    for (const auto& [key, value] : attributes) {
        m_text += fmt::format(" {}=\"{}\"", key, value.text);
    }
}

void SvgWriter::begin(const char* name, Attributes attributes) {
    open(name, attributes);
    m_text += ">\n";
    m_open.push_back(name);
}

void SvgWriter::end() {
    const char* const name = m_open.back();
    m_open.pop_back();
    m_text.append(m_open.size(), ' ') += fmt::format("</{}>\n", name);
}

void SvgWriter::element(const char* name, Attributes attributes) {
    open(name, attributes);
    m_text += "/>\n";
}

void SvgWriter::element(const char* name, Attributes attributes, std::string_view text) {
    open(name, attributes);
    m_text += fmt::format(">{}</{}>\n", xmlText(text), name);
}

} // namespace volad_dev
