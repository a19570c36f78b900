// Options whose refusals are whole sentences: "--reason must be a whole number from 0 to 255, not "256"". A
// refused value ends the parsing with a Failure of kExitUsage. Each returns the option that was added or
// given.
#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <CLI/App.hpp>

namespace volad_dev {

// The general form: the sentence with which a value is refused, empty for one that is taken.
CLI::Option* refuse(CLI::Option* option, std::function<std::string(const std::string& value)> sentence);
// "OPTION must be WANTED, not "VALUE"" for what does not fit.
CLI::Option* mustBe(CLI::Option* option, const std::string& wanted,
                    std::function<bool(const std::string& value)> fits);
// "OPTION must be off, reset or halt, not "VALUE"". The help shows the names in place of the value.
CLI::Option* mustBeOneOf(CLI::Option* option, const std::vector<std::string>& names);
// Those names, empty for any other option: what stands for a value ("FILE", "in:Nm|HH:MM") has capitals.
[[nodiscard]] std::vector<std::string> choicesOf(const CLI::Option& option);

enum class Existing { File, Directory, FileOrDirectory };
// "OPTION: there is no file "VALUE"".
CLI::Option* mustExist(CLI::Option* option, Existing what);

// Decimal, a minus sign or none; nothing but the number.
[[nodiscard]] std::optional<int64_t> wholeNumber(const std::string& text);
// Decimal with or without fraction and exponent, no sign.
[[nodiscard]] std::optional<double> plainNumber(const std::string& text);

// A whole number; the help shows what the target holds as the default.
template <std::integral Number>
CLI::Option* addNumber(CLI::App& app, const char* name, Number& target, int64_t least, int64_t most,
                       const char* description) {
    CLI::Option* const option = app.add_option_function<std::string>(
        name, [&target](const std::string& text) { target = static_cast<Number>(*wholeNumber(text)); },
        description);
    option->type_name("N")->default_str(std::to_string(target));
    return mustBe(option, "a whole number from " + std::to_string(least) + " to " + std::to_string(most),
                  [least, most](const std::string& text) {
                      const std::optional<int64_t> number = wholeNumber(text);
                      return number && *number >= least && *number <= most;
                  });
}

// Seconds, at most a day.
CLI::Option* addSeconds(CLI::App& app, const char* name, std::optional<double>& target,
                        const char* description);

} // namespace volad_dev
