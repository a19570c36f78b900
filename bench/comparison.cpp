#include "bench/comparison.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <memory>
#include <string_view>
#include <vector>

namespace em::bench {
namespace {

struct Entry {
    std::string name;
    int rounds;
    std::function<void(benchmark::State&)> body;
};

std::vector<Entry>& entries() {
    static std::vector<Entry> all;
    return all;
}

double medianOf(std::vector<double>& values) {
    const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

void run(benchmark::State& state, Pair& pair) {
    std::vector<double> ours;
    std::vector<double> theirs;
    std::vector<double> ratios;
    std::vector<double> differences;
    static_cast<void>(pair.ours() +
                      pair.theirs()); // the memory and the caches that the first round has to get
    for ([[maybe_unused]] auto round : state) {
        // Who comes first takes turns.
        const bool oursFirst = ours.size() % 2 == 0;
        const double first = oursFirst ? pair.ours() : pair.theirs();
        const double second = oursFirst ? pair.theirs() : pair.ours();
        ours.push_back(oursFirst ? first : second);
        theirs.push_back(oursFirst ? second : first);
        ratios.push_back(ours.back() / theirs.back());
        differences.push_back(ours.back() - theirs.back());
        state.SetIterationTime(ours.back());
    }
    state.counters["seconds"] = medianOf(ours);
    state.counters["theirs"] = medianOf(theirs);
    state.counters["ratio"] = medianOf(ratios);
    state.counters["beyond"] = medianOf(differences);
}

// One that fails has no figures, and the others go on.
template <class Work>
void orTellFailure(benchmark::State& state, Work work) {
    try {
        work();
    } catch (const std::exception& failure) {
        state.SkipWithError(failure.what());
    }
}

} // namespace

void compare(const std::string& name, int rounds, std::function<Pair()> prepare) {
    entries().push_back({name, rounds, [prepare = std::move(prepare)](benchmark::State& state) {
                             orTellFailure(state, [&] {
                                 Pair pair = prepare();
                                 run(state, pair);
                             });
                         }});
}

void tell(const std::string& name, std::function<std::map<std::string, double>()> measure) {
    entries().push_back({name, 1, [measure = std::move(measure)](benchmark::State& state) {
                             orTellFailure(state, [&] {
                                 std::map<std::string, double> figures;
                                 for ([[maybe_unused]] auto round : state) {
                                     const Stopwatch watch;
                                     figures = measure();
                                     state.SetIterationTime(watch.seconds());
                                 }
                                 state.counters.insert(figures.begin(), figures.end());
                             });
                         }});
}

} // namespace em::bench

int main(int argc, char** argv) {
    using namespace em::bench;
    int rounds = 0;
    constexpr std::string_view kRounds = "--rounds=";
    const auto* const end = std::remove_if(argv + 1, argv + argc, [&](std::string_view argument) {
        if (!argument.starts_with(kRounds)) {
            return false;
        }
        argument.remove_prefix(kRounds.size());
        std::from_chars(argument.data(), argument.data() + argument.size(), rounds);
        return true;
    });
    argc = static_cast<int>(end - argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    addComparisons();
    for (const Entry& entry : entries()) {
        benchmark::RegisterBenchmark(entry.name.c_str(), entry.body)
            ->Iterations(rounds > 0 ? rounds : entry.rounds)
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
