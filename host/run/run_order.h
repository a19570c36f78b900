// Gives the shutdowns in the order in which they began, whichever ends first.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <utility>

#include "host/run/known_run.h"

namespace volad_dev {

class RunOrder {
public:
    // So many wait for an older one. It comes behind them when there are more.
    static constexpr size_t kMostWaiting = 256;

    explicit RunOrder(std::function<void(KnownRun&&)> sink) : m_sink(std::move(sink)) {}

    // The place of a shutdown that begins now; each is ended once.
    [[nodiscard]] uint64_t begin();
    void end(uint64_t place, KnownRun&& run);

private:
    void giveEnded();
    void dropFirst();

    std::function<void(KnownRun&&)> m_sink;
    std::deque<std::optional<KnownRun>> m_places; // nothing for one that goes on
    uint64_t m_first = 0;
};

} // namespace volad_dev
