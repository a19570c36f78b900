#include "platform/registry/registry_path.h"

#include <algorithm>

#include "base/ascii.h"
#include "platform/registry/registry_names.h"

namespace em {

std::optional<std::string_view> RegistryPath::next() {
    m_rest.remove_prefix(std::min(m_rest.find_first_not_of(m_separator), m_rest.size()));
    if (m_rest.empty()) {
        return std::nullopt;
    }
    const std::string_view component = m_rest.substr(0, m_rest.find(m_separator));
    m_rest.remove_prefix(component.size());
    return component;
}

// Only the root's name: all others are told apart by case.
std::string withUpperCaseRoot(std::string_view path) {
    std::string result(path);
    if (const auto root = RegistryPath(path).next()) {
        const auto from = result.begin() + (root->data() - path.data());
        std::transform(from, from + static_cast<ptrdiff_t>(root->size()), from, asciiUpper);
    }
    return result;
}

bool beginsWithRoot(std::string_view path) {
    const std::string upper = withUpperCaseRoot(path);
    const auto root = RegistryPath(upper).next();
    return root &&
           std::find(kPredefinedRoots.begin(), kPredefinedRoots.end(), *root) != kPredefinedRoots.end();
}

bool holdsSeparator(std::string_view path) {
    return path.find_first_of("\\/") != std::string_view::npos;
}

} // namespace em
