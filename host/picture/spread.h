// Labels that belong to places which lie closer together than the labels are large.
#pragma once

#include <algorithm>
#include <vector>

namespace volad_dev {

// The places, in ascending order, moved apart by `gap` at least and between 0 and `last`: each as little as
// can be behind its own, and before it only where it must. Where they have not room enough they are closer.
[[nodiscard]] inline std::vector<double> spread(std::vector<double> places, double gap, double last) {
    if (places.size() > 1) {
        gap = std::min(gap, last / static_cast<double>(places.size() - 1));
    }
    double least = 0;
    for (double& place : places) {
        place = std::max(place, least);
        least = place + gap;
    }
    double most = last;
    for (auto place = places.rbegin(); place != places.rend(); ++place) {
        *place = std::min(*place, most);
        most = *place - gap;
    }
    return places;
}

} // namespace volad_dev
