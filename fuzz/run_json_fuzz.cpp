// Any bytes as the JSON of a rehearsal: read, or refused in one line; what was read is a fixed point after it
// was written once, and can be told like any other run.
#include <cmath>
#include <string>
#include <string_view>

#include "host/run/run_json.h"
#include "host/run/run_text.h"
#include "input.h"
#include "run_telling.h"

namespace {

using fuzz::require;

// Lines of the job's output that are shown, and lines besides them that a verdict has.
constexpr size_t kOutputLines = 5;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::string why = volad_dev::whyNoRunJson(text);
    require(!why.empty() && volad_dev::visibleText(why) == why);
    const auto run = volad_dev::readRunJson(text);
    if (!run) {
        return 0;
    }
    const std::string written = volad_dev::runJson(*run);
    require(fuzz::isJson(written));
    const auto again = volad_dev::readRunJson(written);
    require(again && volad_dev::runJson(*again) == written);
    require(fuzz::isJson(volad_dev::jobJson(*run)));
    fuzz::requireLines(volad_dev::verdictText(*run, {kOutputLines, 80}, 0), std::string::npos);
    fuzz::requireTellable(volad_dev::knownRun(*run));
    return 0;
}
