// A host that loads the module, starts it and ends, for load_bench: prints the milliseconds of dlopen, and
// those from there to the end of Start.
#include <cstdio>

#include "bench/comparison.h"
#include "bench/hosted_module.h"

int main() {
    using namespace em::bench;
    refuseOutsideSandbox();
    const Stopwatch watch(CLOCK_MONOTONIC);
    const Stopwatch busy;
    HostedModule module;
    const double dlopenMs = busy.seconds() * 1e3; // all of it is work, and another's does not count
    module.create();
    module.start();
    std::printf("%.6f %.6f\n", dlopenMs, watch.seconds() * 1e3);
    return 0;
}
