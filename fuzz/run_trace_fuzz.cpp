// Any bytes as a host's trace: what is read does not hang on where the bytes are cut, what is told fits its
// bounds, and the JSON is one.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "host/run/trace_reader.h"
#include "input.h"
#include "run_telling.h"

namespace {

using fuzz::require;

std::vector<volad_dev::KnownRun> readIn(std::string_view bytes, size_t chunk) {
    std::vector<volad_dev::KnownRun> runs;
    volad_dev::TraceReader reader([&](volad_dev::KnownRun&& run) { runs.push_back(std::move(run)); });
    for (; !bytes.empty(); bytes.remove_prefix(std::min(chunk, bytes.size()))) {
        reader.take(bytes.substr(0, chunk));
    }
    reader.finish();
    return runs;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const size_t chunk = input.below(64) + 1;
    const std::string_view trace = input.take(size);
    const std::vector<volad_dev::KnownRun> runs = readIn(trace, trace.size() + 1);
    const std::string json = volad_dev::knownRunsJson(runs);
    require(json == volad_dev::knownRunsJson(readIn(trace, chunk)));
    require(fuzz::isJson(json));
    // Each costs as much as reading all of them, and a trace of sixteen kilobytes may hold hundreds.
    constexpr size_t kTold = 4;
    for (size_t i = 0; i < std::min(runs.size(), kTold); ++i) {
        fuzz::requireTellable(runs[i]);
    }
    return 0;
}
