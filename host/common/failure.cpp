#include "host/common/failure.h"

#include <cstdio>

#include <fmt/format.h>

#include "host/common/visible_text.h"

namespace volad_dev {

void printFailure(const std::string& text) {
    // No fmt::print, which would throw where standard error is lost: there is nobody left to tell.
    static_cast<void>(std::fputs(fmt::format("volad-dev: {}\n", visibleText(text)).c_str(), stderr));
}

} // namespace volad_dev
