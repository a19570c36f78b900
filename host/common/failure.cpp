#include "host/common/failure.h"

#include <fmt/format.h>

#include "host/common/visible_text.h"

namespace volad_dev {

void printFailure(const std::string& text) {
    fmt::print(stderr, "volad-dev: {}\n", visibleText(text));
}

} // namespace volad_dev
