#include "host/run/run_order.h"

namespace volad_dev {

uint64_t RunOrder::begin() {
    if (m_places.size() == kMostWaiting) {
        dropFirst();
        giveEnded();
    }
    m_places.emplace_back();
    return m_first + m_places.size() - 1;
}

void RunOrder::end(uint64_t place, KnownRun&& run) {
    if (place < m_first) {
        m_sink(std::move(run));
        return;
    }
    m_places[place - m_first] = std::move(run);
    giveEnded();
}

void RunOrder::giveEnded() {
    while (!m_places.empty() && m_places.front()) {
        m_sink(std::move(*m_places.front()));
        dropFirst();
    }
}

void RunOrder::dropFirst() {
    m_places.pop_front();
    ++m_first;
}

} // namespace volad_dev
