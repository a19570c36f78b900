// What counts in an installation, value by value, and where each comes from.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "host/check/inspection.h"
#include "host/common/json_output.h"

namespace volad_dev {

struct EffectiveValue {
    std::string name;
    std::variant<std::monostate, uint32_t, std::string> value; // none: there is nothing
    std::string source; // a file, a variable, "default", or empty where the value tells by itself
};

// Several of one name stand in the order in which they are looked at.
[[nodiscard]] std::vector<EffectiveValue> effectiveConfiguration(const Inspection& inspection);

// A line each on standard output, unless the JSON goes there, and as JSON where that is asked for.
void printConfiguration(const std::vector<EffectiveValue>& values, JsonOutput& json);

} // namespace volad_dev
