// Where a command's JSON goes: `--json FILE`, or `--json -` for standard output, where nothing else is
// printed then.
#pragma once

#include <string>

#include "host/common/output_file.h"

namespace volad_dev {

CLI::Option* addJsonOption(CLI::App& app, std::string& target);

class JsonOutput : public OutputFile {
public:
    explicit JsonOutput(const std::string& file, Way way = Way::Whole) : OutputFile("--json", file, way) {}
};

} // namespace volad_dev
