#include "host/common/json_output.h"

namespace volad_dev {

CLI::Option* addJsonOption(CLI::App& app, std::string& target) {
    return addOutputOption(app, "--json", target, "write JSON to FILE, - is standard output");
}

} // namespace volad_dev
