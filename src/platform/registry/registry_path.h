// Paths of registry keys: components between "\", or between "/" where there is no "\". All pure.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace em {

class RegistryPath {
public:
    explicit RegistryPath(std::string_view path)
        : m_rest(path), m_separator(path.find('\\') != std::string_view::npos ? '\\' : '/') {}

    // The next component that is not empty; none at the end.
    [[nodiscard]] std::optional<std::string_view> next();

private:
    std::string_view m_rest;
    char m_separator;
};

// The path with its first component in upper case (ASCII).
[[nodiscard]] std::string withUpperCaseRoot(std::string_view path);
// Whether the first component is a predefined root's name, letter case ignored.
[[nodiscard]] bool beginsWithRoot(std::string_view path);
[[nodiscard]] bool holdsSeparator(std::string_view path);

} // namespace em
