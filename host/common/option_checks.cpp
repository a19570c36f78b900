#include "host/common/option_checks.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include <fmt/format.h>

#include "host/common/failure.h"

namespace volad_dev {
namespace {

constexpr int kMostSeconds = 24 * 60 * 60;

template <class Number>
std::optional<Number> parsed(const std::string& text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, number);
    return result.ec == std::errc() && result.ptr == end ? std::optional<Number>(number) : std::nullopt;
}

std::string enumerated(const std::vector<std::string>& names) {
    const std::string& last = names.back();
    return names.size() == 1 ? last
                             : fmt::format("{} or {}", fmt::join(names.begin(), names.end() - 1, ", "), last);
}

} // namespace

CLI::Option* refuse(CLI::Option* option, std::function<std::string(const std::string& value)> sentence) {
    return option->check([sentence = std::move(sentence)](const std::string& value) {
        const std::string refusal = sentence(value);
        if (!refusal.empty()) {
            throw Failure(refusal, kExitUsage);
        }
        return std::string();
    });
}

CLI::Option* mustBe(CLI::Option* option, const std::string& wanted,
                    std::function<bool(const std::string& value)> fits) {
    return refuse(option, [option, wanted, fits = std::move(fits)](const std::string& value) {
        return fits(value) ? std::string()
                           : fmt::format("{} must be {}, not \"{}\"", option->get_name(), wanted, value);
    });
}

CLI::Option* mustBeOneOf(CLI::Option* option, const std::vector<std::string>& names) {
    option->type_name(fmt::format("{}", fmt::join(names, "|")));
    return mustBe(option, enumerated(names), [names](const std::string& value) {
        return std::find(names.begin(), names.end(), value) != names.end();
    });
}

std::vector<std::string> choicesOf(const CLI::Option& option) {
    const std::string names = option.get_type_name();
    const bool placeholder =
        std::any_of(names.begin(), names.end(), [](char letter) { return letter >= 'A' && letter <= 'Z'; });
    return placeholder || names.empty() ? std::vector<std::string>() : CLI::detail::split(names, '|');
}

CLI::Option* mustExist(CLI::Option* option, Existing what) {
    const char* const word = what == Existing::File        ? "file"
                             : what == Existing::Directory ? "directory"
                                                           : "file or directory";
    option->type_name(what == Existing::File ? "FILE" : what == Existing::Directory ? "DIR" : "PATH");
    return refuse(option, [option, what, word](const std::string& value) {
        std::error_code ignored; // what cannot be looked at is not there for this tool
        const std::filesystem::file_status status = std::filesystem::status(value, ignored);
        const bool directory = std::filesystem::is_directory(status);
        if (!std::filesystem::exists(status)) {
            return fmt::format("{}: there is no {} \"{}\"", option->get_name(), word, value);
        }
        const bool fits = what == Existing::FileOrDirectory || directory == (what == Existing::Directory);
        return fits ? std::string() : fmt::format("{}: \"{}\" is no {}", option->get_name(), value, word);
    });
}

std::optional<int64_t> wholeNumber(const std::string& text) {
    return parsed<int64_t>(text);
}

std::optional<double> plainNumber(const std::string& text) {
    return text.starts_with('-') ? std::nullopt : parsed<double>(text);
}

CLI::Option* addSeconds(CLI::App& app, const char* name, std::optional<double>& target,
                        const char* description) {
    CLI::Option* const option = app.add_option_function<std::string>(
        name, [&target](const std::string& text) { target = plainNumber(text); }, description);
    option->type_name("SECONDS");
    return mustBe(option, fmt::format("a number of seconds from 0 to {}", kMostSeconds),
                  [](const std::string& text) {
                      const std::optional<double> seconds = plainNumber(text);
                      return seconds && *seconds <= kMostSeconds; // not so for "nan"
                  });
}

} // namespace volad_dev
