// What the registry store costs, as ratios of pairs that run one after the other: loading against a scan of
// the file's lines and against other stores, saving against writing and renaming the same bytes, a look-up
// against a plain binary search. Works in the current directory, whose file system the syncs measure.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/file_content.h"
#include "bench/registry_peers.h"
#include "bench/stopwatch.h"
#include "platform/registry/registry_node.h"
#include "platform/registry/registry_reader.h"
#include "platform/registry/registry_save.h"

namespace {

bool syncs = true;

} // namespace

// In place of the C library's, so that a save can be measured without what it waits for the disk.
extern "C" int fsync(int fd) {
    return syncs ? static_cast<int>(::syscall(SYS_fsync, fd)) : 0;
}

namespace em::bench {
namespace {

constexpr const char* kDirectory = "registry_bench.files";

double medianOf(std::vector<double>& values) {
    const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// The time that is shown is ours. Counters: the median ratio of the pairs, and the ratio that is wanted at
// most.
void runPairs(benchmark::State& state, const Timed& ours, const Timed& theirs, double mark) {
    std::vector<double> ratios;
    for (int i = 0; i < 3; ++i) {
        static_cast<void>(ours() + theirs()); // the memory and the caches that the first pairs have to get
    }
    for ([[maybe_unused]] auto round : state) {
        const double seconds = ours();
        state.SetIterationTime(seconds);
        ratios.push_back(seconds / theirs());
    }
    state.counters["ratio"] = medianOf(ratios);
    state.counters["mark"] = mark;
}

struct Tree {
    explicit Tree(std::string_view text) {
        require(readRegistry(text, root, [](const RegistryFinding&) {}).complete, "reading a registry");
    }
    CRegistryNode root{0};
};

// A registry file of values of one key, or of as many keys with one value each.
std::string registryText(size_t count, bool tree) {
    std::string text = "[HKEY_LOCAL_MACHINE]\n";
    for (size_t i = 0; i < count; ++i) {
        const std::string value = valueName(i) + "=s=" + valueText(i) + "\n";
        text += tree ? "[" + valueName(i) + "]\n" + value + "\n" : value;
    }
    return text + "\n\n";
}

std::string registryFile(size_t count, bool tree) {
    const std::string path = std::string(kDirectory) + "/load";
    writeFile(path, registryText(count, tree));
    return path;
}

FileContent contentOf(const std::string& path) {
    FileContent content;
    require(readRegularFile(path.c_str(), SIZE_MAX, 0, content) == 0, "reading a file");
    return content;
}

double load(const std::string& path) {
    const Stopwatch watch;
    const FileContent content = contentOf(path);
    const Tree tree({content.data.get(), content.size});
    return watch.seconds();
}

double scanLines(const std::string& path) {
    const Stopwatch watch;
    const FileContent content = contentOf(path);
    size_t lines = 0;
    const char* const end = content.data.get() + content.size;
    for (const char* next = content.data.get(); next != end; ++lines) {
        const void* const newline = std::memchr(next, '\n', static_cast<size_t>(end - next));
        next = newline != nullptr ? static_cast<const char*>(newline) + 1 : end;
    }
    benchmark::DoNotOptimize(lines);
    return watch.seconds();
}

template <class Body>
void add(const std::string& name, Body&& body) {
    benchmark::RegisterBenchmark(name.c_str(), std::forward<Body>(body))
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

void addLoads(size_t count, bool tree) {
    const std::string what = "load " + std::to_string(count) + (tree ? " keys" : " values") + " / ";
    add(what + "scan of the lines", [=](benchmark::State& state) {
        const std::string path = registryFile(count, tree);
        runPairs(
            state, [&] { return load(path); }, [&] { return scanLines(path); }, 6.5);
    });
    for (const Peer& peer : kPeers) {
        add(what + peer.name, [=](benchmark::State& state) {
            const std::string path = registryFile(count, tree);
            runPairs(
                state, [&] { return load(path); }, peer.prepare(kDirectory, count, tree), peer.mark);
        });
    }
}

// Of the load time from 1,000 to 100,000 values.
void growth(benchmark::State& state, bool tree) {
    constexpr size_t kSteps = 100;
    const std::string small = std::string(kDirectory) + "/small";
    writeFile(small, registryText(1'000, tree));
    const std::string large = registryFile(1'000 * kSteps, tree);
    std::vector<double> exponents;
    static_cast<void>(load(large)); // gets the memory
    for ([[maybe_unused]] auto round : state) {
        double seconds = 0;
        for (size_t i = 0; i < kSteps; ++i) {
            seconds += load(small);
        }
        const double whole = load(large);
        state.SetIterationTime(whole);
        exponents.push_back(1 + std::log(whole / seconds) / std::log(double{kSteps}));
    }
    state.counters["exponent"] = medianOf(exponents);
    state.counters["mark"] = 1.05;
}

void writeAndRename(const std::string& content) {
    const std::string fresh = std::string(kDirectory) + "/plain.new";
    const int file = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    require(::write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()), "write");
    require(fsync(file) == 0 && ::close(file) == 0, "fsync, close");
    require(::rename(fresh.c_str(), (std::string(kDirectory) + "/plain").c_str()) == 0, "rename");
    const int directory = ::open(kDirectory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(fsync(directory) == 0 && ::close(directory) == 0, "fsync of the directory");
}

void save(benchmark::State& state, size_t count, bool withSyncs) {
    const std::string text = registryText(count, false);
    Tree tree(text);
    syncs = withSyncs;
    // What a sync takes is waiting.
    const clockid_t clock = withSyncs ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID;
    runPairs(
        state,
        [&] {
            const Stopwatch watch(clock);
            require(saveRegistryFile(kDirectory, tree.root, false).failedAt == nullptr, "saving");
            return watch.seconds();
        },
        [&] {
            const Stopwatch watch(clock);
            writeAndRename(text);
            return watch.seconds();
        },
        withSyncs ? 1.1 : 2.0);
    syncs = true;
}

const RegistryEntry* plainSearch(std::span<const RegistryEntry> entries, const char* name) {
    size_t low = 0;
    size_t high = entries.size();
    while (low < high) {
        const size_t middle = (low + high) / 2;
        const int order = std::strcmp(entries[middle].name, name);
        if (order == 0) {
            return &entries[middle];
        }
        (order < 0 ? low : high) = order < 0 ? middle + 1 : middle;
    }
    return nullptr;
}

void lookUp(benchmark::State& state, size_t count) {
    Tree tree(registryText(count, false));
    const RegistryKeyRef key = tree.root.SubKey("HKEY_LOCAL_MACHINE");
    const RegistryTable& table = key->UnsharedTable();
    std::vector<std::string> names;
    for (size_t i = 0; i < 10'000; ++i) {
        names.push_back(valueName(i * 7919 % count));
    }
    const auto timed = [&names](auto&& search) {
        const Stopwatch watch;
        for (const std::string& name : names) {
            benchmark::DoNotOptimize(search(name.c_str()));
        }
        return watch.seconds();
    };
    const size_t before = ::mallinfo2().uordblks;
    static_cast<void>(timed([&](const char* name) { return table.find(name); }));
    state.counters["bytes"] = static_cast<double>(::mallinfo2().uordblks - before);
    runPairs(
        state, [&] { return timed([&](const char* name) { return table.find(name); }); },
        [&] { return timed([&](const char* name) { return plainSearch(table.entries(), name); }); }, 1.15);
}

void addAll() {
    for (const size_t count : {1'000, 10'000, 100'000}) {
        addLoads(count, false);
    }
    addLoads(100'000, true);
    for (const bool tree : {false, true}) {
        add(tree ? "growth of load, keys" : "growth of load, values",
            [=](benchmark::State& state) { growth(state, tree); });
    }
    for (const size_t count : {1'000, 10'000, 100'000}) {
        const std::string values = std::to_string(count) + " values";
        for (const bool withSyncs : {false, true}) {
            add("save " + values + (withSyncs ? ", synced" : "") + " / write, rename",
                [=](benchmark::State& state) { save(state, count, withSyncs); });
        }
        add("10000 look-ups in " + values + " / binary search",
            [=](benchmark::State& state) { lookUp(state, count); });
    }
}

} // namespace
} // namespace em::bench

int main(int argc, char** argv) {
    // Memory stays with the process: what the kernel takes for fresh pages is the machine's, and no store's.
    ::mallopt(M_TRIM_THRESHOLD, INT_MAX);
    ::mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
    std::filesystem::create_directory(em::bench::kDirectory);
    em::bench::addAll();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all(em::bench::kDirectory);
    return 0;
}
