#include "host/sandbox/environment_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "base/unique_fd.h"
#include "host/common/failure.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr size_t kMostBytes = size_t{1} << 20;

// As a shell can name them.
bool isName(std::string_view name) {
    const auto fits = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
    };
    return !name.empty() && std::ranges::all_of(name, fits) && (name[0] < '0' || name[0] > '9');
}

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos ? ""
                                           : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The value without its quotes; nothing when one of them is not closed.
std::optional<std::string> unquoted(std::string_view text) {
    std::string value;
    char quote = '\0';
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool last = i + 1 == text.size();
        if (c == '\\' && quote != '\'' && !last &&
            (quote == '\0' || std::string_view("\"\\`$").find(text[i + 1]) != std::string_view::npos)) {
            value += text[++i];
        } else if (c == quote) {
            quote = '\0';
        } else if (quote == '\0' && (c == '"' || c == '\'')) {
            quote = c;
        } else {
            value += c;
        }
    }
    return quote == '\0' ? std::optional(value) : std::nullopt;
}

// Of a file only, and of that no more than any environment holds: others end late or never.
std::string contentOf(const std::string& file) {
    const auto refuse = [&](const char* reason) { throw Failure(file + ": " + reason, kExitUsage); };
    const em::UniqueFd input(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    struct stat status = {};
    if (!input.valid() || fstat(input.get(), &status) != 0) {
        refuse("cannot be read");
    }
    if (!S_ISREG(status.st_mode)) {
        refuse("is no regular file");
    }
    std::string content(kMostBytes + 1, '\0');
    size_t size = 0;
    for (ssize_t count = 1; count > 0 && size < content.size(); size += static_cast<size_t>(count)) {
        count = read(input.get(), content.data() + size, content.size() - size);
        if (count < 0) {
            refuse("cannot be read");
        }
    }
    if (size > kMostBytes) {
        refuse("holds more than 1 MiB");
    }
    content.resize(size);
    return content;
}

} // namespace

std::string variableFault(const std::string& assignment) {
    const size_t equals = assignment.find('=');
    const std::string name = assignment.substr(0, equals);
    if (equals == std::string::npos || !isName(name)) {
        return fmt::format("expected NAME=value instead of \"{}\"", assignment);
    }
    if (name == layout::kScratchVariable) {
        return fmt::format("{} tells inside where the scratch directory is and may not be set", name);
    }
    // They would change the tool that asks the guard and holds the module.
    if (name.starts_with("LD_") || name.starts_with("GCOV_") || name == "GLIBC_TUNABLES") {
        return fmt::format("{} changes how the sandbox's own programs run and may not be set inside", name);
    }
    return "";
}

std::vector<EnvironmentLine> readEnvironmentLines(const std::string& file) {
    std::istringstream input(contentOf(file));
    std::vector<EnvironmentLine> variables;
    size_t number = 0;
    for (std::string line; std::getline(input, line);) {
        const size_t first = ++number;
        const bool comment = std::string_view("#;").find(trimmed(line + ' ')[0]) != std::string_view::npos;
        for (std::string next; !comment && line.ends_with('\\') && std::getline(input, next); ++number) {
            line.replace(line.size() - 1, 1, next);
        }
        const std::string_view text = trimmed(line);
        if (text.empty() || comment) {
            continue;
        }
        if (text.find('\0') != std::string_view::npos) {
            throw Failure(fmt::format("{}:{}: a NUL byte", file, first), kExitUsage);
        }
        const size_t equals = std::min(text.find('='), text.size());
        const std::string name(trimmed(text.substr(0, equals)));
        const std::string_view rest = text.substr(std::min(equals + 1, text.size()));
        const std::optional<std::string> value = unquoted(trimmed(rest));
        const std::string variable =
            equals < text.size() ? name + '=' + value.value_or("") : std::string(text);
        const std::string fault = value ? variableFault(variable) : "a quote is not closed";
        if (!fault.empty()) {
            throw Failure(fmt::format("{}:{}: {}", file, first, fault), kExitUsage);
        }
        variables.push_back({variable, first});
    }
    return variables;
}

std::vector<std::string> readEnvironmentFile(const std::string& file) {
    std::vector<EnvironmentLine> lines = readEnvironmentLines(file);
    std::vector<std::string> variables;
    variables.reserve(lines.size());
    for (EnvironmentLine& line : lines) {
        variables.push_back(std::move(line.variable));
    }
    return variables;
}

} // namespace volad_dev
