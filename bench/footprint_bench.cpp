// What the module adds to a host once it runs: threads, and memory by what it is. The file's parts go by
// their pages, each counted to the section that has most of it; the heap by the host's step that took it.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/comparison.h"
#include "bench/hosted_module.h"
#include "bench/resident_memory.h"
#include "host/sandbox/sandbox_layout.h"

namespace em::bench {
namespace {

using Figures = std::map<std::string, double>;

constexpr useconds_t kTwoPasses = 1'500'000; // of the watcher
constexpr uint64_t kArenaAlignment = uint64_t{64} << 20;
constexpr uint64_t kLeastStack = uint64_t{1} << 20;

double residentKib(const std::vector<Mapping>& all) {
    double sum = 0;
    for (const Mapping& mapping : all) {
        sum += mapping.residentKib;
    }
    return sum;
}

std::string partOf(std::string_view section) {
    static constexpr std::pair<std::string_view, const char*> kParts[] = {{".text", "code"},
                                                                          {".plt", "code"},
                                                                          {".init", "code"},
                                                                          {".fini", "code"},
                                                                          {".rodata", "rodata"},
                                                                          {".eh_frame", "unwinding"},
                                                                          {".gcc_except", "unwinding"},
                                                                          {".data.rel.ro", "relocated"},
                                                                          {".dynamic", "relocated"},
                                                                          {".got", "relocated"},
                                                                          {".init_array", "relocated"},
                                                                          {".fini_array", "relocated"},
                                                                          {".data", "data"},
                                                                          {".bss", "data"}};
    const std::pair<std::string_view, const char*>* best = nullptr;
    for (const auto& part : kParts) {
        if (section.starts_with(part.first) && (best == nullptr || part.first.size() > best->first.size())) {
            best = &part;
        }
    }
    return std::string("file_") + (best == nullptr ? "linkage" : best->second) + "_kib";
}

// By what most of the page is.
std::string partOfPage(const std::vector<Section>& sections, uint64_t begin, uint64_t size) {
    std::string name;
    uint64_t most = 0;
    for (const Section& section : sections) {
        const uint64_t from = std::max(begin, section.begin);
        const uint64_t to = std::min(begin + size, section.end);
        if (to > from && to - from > most) {
            most = to - from;
            name = section.name;
        }
    }
    return partOf(name);
}

void addFile(Figures& figures, const std::vector<Mapping>& after) {
    const std::vector<Section> sections = sectionsOf(HostedModule::path());
    const auto pageSize = static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
    uint64_t base = 0;
    for (const Mapping& mapping : after) {
        if (mapping.file != HostedModule::path()) {
            continue;
        }
        base = base == 0 ? mapping.begin : base;
        for (const uint64_t page : residentPages(mapping)) {
            figures[partOfPage(sections, page - base, pageSize)] += static_cast<double>(pageSize) / 1024;
        }
    }
}

std::string partOf(const Mapping& mapping) {
    if (mapping.file == "[heap]" || (mapping.file.empty() && mapping.begin % kArenaAlignment == 0)) {
        return "heap_kib";
    }
    if (mapping.file.empty()) {
        return mapping.end - mapping.begin >= kLeastStack ? "stacks_kib" : "anonymous_kib";
    }
    return mapping.file.starts_with("[") ? "own_stack_kib" : "libraries_kib";
}

// All that is not the module's file.
void addRest(Figures& figures, const std::vector<Mapping>& before, const std::vector<Mapping>& after) {
    for (const Mapping& mapping : after) {
        if (mapping.file != HostedModule::path()) {
            figures[partOf(mapping)] += mapping.residentKib;
        }
    }
    for (const Mapping& mapping : before) {
        figures[partOf(mapping)] -= mapping.residentKib;
    }
}

double threads() {
    using Entries = std::filesystem::directory_iterator;
    return static_cast<double>(std::distance(Entries("/proc/self/task"), Entries()));
}

double strippedKib() {
    const std::string stripped = std::string(volad_dev::layout::kScratch) + "/stripped.so";
    // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): a fixed command, in the sandbox
    require(std::system(("strip -o " + stripped + " " + HostedModule::path()).c_str()) == 0, "strip failed");
    return static_cast<double>(std::filesystem::file_size(stripped)) / 1024;
}

std::map<std::string, double> measure() {
    Figures figures;
    static_cast<void>(mappings()); // what it takes itself is there then
    const std::vector<Mapping> before = mappings();
    const double threadsBefore = threads();
    double used = 0;
    const auto heapSince = [&used] {
        const auto now = static_cast<double>(::mallinfo2().uordblks) / 1024;
        return now - std::exchange(used, now);
    };
    heapSince();
    HostedModule module;
    const double heapOfLoad = heapSince();
    module.create();
    const double heapOfObject = heapSince();
    module.start();
    module.afterStart();
    ::usleep(kTwoPasses);
    const double heapOfRun = heapSince();
    const std::vector<Mapping> after = mappings();
    figures["threads"] = threads() - threadsBefore;
    figures["resident_kib"] = residentKib(after) - residentKib(before);
    figures["heap_used_by_load_kib"] = heapOfLoad;
    figures["heap_used_by_object_kib"] = heapOfObject;
    figures["heap_used_by_run_kib"] = heapOfRun;
    addFile(figures, after);
    addRest(figures, before, after);
    figures["stripped_kib"] = strippedKib();
    return figures;
}

} // namespace

void addComparisons() {
    refuseOutsideSandbox();
    tell("footprint", measure);
}

} // namespace em::bench
