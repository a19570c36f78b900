// An SVG document, written from front to back.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace volad_dev {

// Text from outside as XML: what it forbids, even as a reference, is made visible (visible_text.h).
[[nodiscard]] std::string xmlText(std::string_view text);

class SvgWriter {
public:
    // Values are numbers, in tenths, or texts.
    struct Value {
        Value(double number);
        Value(std::string_view words);
        Value(const std::string& words) : Value(std::string_view(words)) {}
        Value(const char* words) : Value(std::string_view(words)) {}
        std::string text;
    };
    using Attributes = std::initializer_list<std::pair<const char*, Value>>;

    void begin(const char* name, Attributes attributes = {});
    void end();
    // Without content.
    void element(const char* name, Attributes attributes);
    void element(const char* name, Attributes attributes, std::string_view text);
    // As it stands: of this program, not from outside.
    void raw(std::string_view text) { m_text += text; }

    [[nodiscard]] const std::string& document() const { return m_text; }

private:
    void open(const char* name, Attributes attributes);

    std::string m_text;
    std::vector<const char*> m_open;
};

} // namespace volad_dev
