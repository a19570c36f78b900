// What the parser knows of verbs and their options, as the command line and its help ask for it. The tool
// itself is the verb without a name.
#pragma once

#include <string>
#include <vector>

#include <CLI/App.hpp>

namespace volad_dev {

// In the order in which they were added, without the hidden ones (those in a group without a name).
[[nodiscard]] std::vector<const CLI::App*> verbsOf(const CLI::App& verb);
[[nodiscard]] std::vector<const CLI::Option*> argumentsOf(const CLI::App& verb);
// Those of the verbs above it, too, which it lets through to them.
[[nodiscard]] std::vector<const CLI::Option*> optionsOf(const CLI::App& verb);
// The verb above, where options are looked for that this one does not have; null for none.
[[nodiscard]] const CLI::App* optionsAbove(const CLI::App& verb);

[[nodiscard]] bool takesValue(const CLI::Option& option);
[[nodiscard]] bool takesMany(const CLI::Option& option); // as often as it is given

// "volad-dev registry get".
[[nodiscard]] std::string commandOf(const CLI::App& verb);
// "registry get"; the tool's own name for itself.
[[nodiscard]] std::string nameOf(const CLI::App& verb);

} // namespace volad_dev
