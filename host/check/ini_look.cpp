#include "host/check/ini_look.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "base/ascii.h"
#include "contract/module_interface.h"
#include "trace/trace_files.h"

namespace volad_dev {
namespace {

constexpr size_t kPadding = 16;
constexpr std::string_view kBlanks = " \t\r\v\f";

size_t lineBegin(std::string_view text, size_t offset) {
    const size_t end = text.substr(0, offset).rfind('\n');
    return end == std::string_view::npos ? 0 : end + 1;
}

// Whether nothing but blanks stands in front of it in its line.
bool beginsLine(std::string_view text, size_t offset) {
    const size_t begin = lineBegin(text, offset);
    return text.substr(begin, offset - begin).find_first_not_of(kBlanks) == std::string_view::npos;
}

// Its "[" found a "]" in another line only.
bool hidesHeaders(const em::IniHeader& header) {
    return std::find(header.open, header.close, '\n') != header.close;
}

// A key of a line of its own: "KEY = ...".
bool isKeyOfLine(std::string_view text, size_t offset, std::string_view key) {
    const size_t behind = text.find_first_not_of(kBlanks, offset + key.size());
    return beginsLine(text, offset) && behind != std::string_view::npos && text[behind] == '=';
}

// Written as it is taken: decimal without leading zeros, or behind "0x"; blanks and a comment may follow.
bool isWholeNumber(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const std::string digits(text.substr(hexadecimal ? 2 : 0));
    const std::string_view allowed = hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
    const size_t length = std::min(digits.find_first_not_of(allowed), digits.size());
    if (length == 0 || (!hexadecimal && length > 1 && digits[0] == '0')) {
        return false;
    }
    if (std::strtoull(digits.substr(0, length).c_str(), nullptr, hexadecimal ? 16 : 10) > UINT32_MAX) {
        return false;
    }
    const size_t behind = digits.find_first_not_of(kBlanks, length);
    return behind == std::string::npos || digits[behind] == ';' || digits[behind] == '#';
}

} // namespace

IniLook::IniLook(const MachineRoot& root, const std::string& path) : m_shown(path) {
    const int error = root.read(path, em::kLargestIniFile, kPadding, m_cut);
    if (error != 0) {
        m_findings.add(
            {m_shown, 0, "unreadable", "cannot be read: " + std::generic_category().message(error)});
        return;
    }
    m_text.assign(m_cut.data.get(), m_cut.size);
    if (const size_t nul = m_text.find('\0'); nul != std::string::npos) {
        add(nul, "nul-in-file", "holds a NUL byte, nothing behind it is read");
    }
    lookAtMarker();
}

void IniLook::lookAtMarker() {
    if (em::cutAtEndMarker(m_cut.data.get(), m_cut.size)) {
        takeSections();
        lookBehindMarker(m_text.rfind('[', m_text.rfind(']')));
        return;
    }
    const bool elsewhere = em::findSectionBody(m_cut.data.get(), em::kIniEndMarker) != nullptr;
    if (elsewhere) {
        add(m_text.rfind(']'), "end-marker-not-last", "stands behind [EndOfFile]: the file is not read");
    } else {
        const size_t last = m_text.find_last_not_of('\n');
        add(last == std::string::npos ? 0 : last, "end-marker-missing",
            "the file does not end with [EndOfFile] and is not read");
    }
}

void IniLook::lookBehindMarker(size_t marker) {
    const size_t end = m_text.find(']', marker) + 1;
    for (size_t at = end; (at = m_text.find_first_not_of(" \t\r\v\f\n", at)) != std::string::npos;
         at = std::min(m_text.find('\n', at), m_text.size())) {
        if (m_text[at] != ';' && m_text[at] != '#') {
            add(at, "behind-end-marker", "stands behind [EndOfFile] and is not read");
            return;
        }
    }
}

// As the module walks from "[" to "]", but to the end instead of to the section that it wants.
void IniLook::takeSections() {
    bool hides = false;
    for (em::IniHeader header = em::nextIniHeader(m_cut.data.get()); header.open != nullptr;
         header = em::nextIniHeader(header.close + 1)) {
        if (!hides && hidesHeaders(header)) {
            hides = true; // one is enough: a bracket that is left open moves all the others
            add(offsetOf(header.open), "header-hidden",
                "holds a \"[\" without its \"]\": what follows up to the next \"]\" is taken for a name");
        }
        if (header.isOf(em::kModuleName) || header.isOf(em::trace_file::kGlobalSection)) {
            m_sections.push_back({{header.open + 1, header.close}, offsetOf(header.open), header.close + 1});
        }
    }
}

std::vector<IniSection> IniLook::sections(const char* name) const {
    std::vector<IniSection> found;
    std::ranges::copy_if(m_sections, std::back_inserter(found), [&](const IniSection& section) {
        return em::equalsIgnoringAsciiCase(section.name, name);
    });
    return found;
}

bool IniLook::isCut(const IniSection& section) {
    const size_t end = offsetOf(section.body) + em::sectionLength(section.body);
    if (m_cut.data.get()[end] != '[' || beginsLine(m_text, end)) {
        return false;
    }
    const em::IniHeader next = em::nextIniHeader(m_cut.data.get() + end);
    const bool isTold = next.open != nullptr && hidesHeaders(next);
    if (!isTold) {
        add(end, "section-cut",
            fmt::format("holds a \"[\" that ends the section [{}]: what follows is not part of it",
                        section.name));
    }
    return true;
}

std::optional<uint32_t> IniLook::number(const IniSection& section, const char* key, bool isLevel) {
    const std::string body(section.body, em::sectionLength(section.body));
    em::IniNumber number = em::findIniNumber(body.c_str(), key);
    if (number.key == nullptr) {
        return std::nullopt;
    }
    const size_t at = offsetOf(section.body) + static_cast<size_t>(number.key - body.c_str());
    const std::string_view value = number.text == nullptr
                                       ? std::string_view()
                                       : std::string_view(number.text, std::strcspn(number.text, "\n"));
    if (!isKeyOfLine(m_text, at, key)) {
        add(at, "key-inside-text",
            fmt::format("{} is found in \"{}\"{}", key, lineAt(at),
                        number.text == nullptr ? std::string()
                                               : fmt::format(", and its value is {}", number.value)));
    } else if (!isWholeNumber(value)) {
        add(at, "number-not-whole", fmt::format("{} is \"{}\", taken as {}", key, value, number.value));
    } else if (isLevel && number.value > kHighestLevel) {
        add(at, "level-out-of-range", fmt::format("{} is {}", key, value));
    }
    return number.text == nullptr ? std::nullopt : std::optional(number.value);
}

void IniLook::add(size_t offset, const char* code, const std::string& text) {
    m_findings.add({m_shown, m_text.empty() ? 0 : lineOf(offset), code, text});
}

// From where the last one was counted: findings mostly come in the file's order, and may be many.
size_t IniLook::lineOf(size_t offset) {
    if (offset < m_countedTo) {
        m_countedTo = 0;
        m_countedLines = 0;
    }
    const auto begin = m_text.begin();
    const size_t end = std::min(offset, m_text.size());
    m_countedLines += static_cast<size_t>(
        std::count(begin + static_cast<ptrdiff_t>(m_countedTo), begin + static_cast<ptrdiff_t>(end), '\n'));
    m_countedTo = end;
    return m_countedLines + 1;
}

std::string IniLook::lineAt(size_t offset) const {
    const size_t begin = lineBegin(m_text, offset);
    return m_text.substr(begin, std::min(m_text.find('\n', offset), m_text.size()) - begin);
}

} // namespace volad_dev
