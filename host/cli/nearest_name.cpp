#include "host/cli/nearest_name.h"

#include <algorithm>
#include <cstddef>

namespace volad_dev {
namespace {

constexpr size_t kLettersForOneSlip = 3;

// How many slips lie between the two, by the distances of all their beginnings.
size_t slipsBetween(std::string_view a, std::string_view b) {
    std::vector<std::vector<size_t>> slips(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) {
        for (size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                slips[i][j] = i + j;
                continue;
            }
            const size_t other = a[i - 1] == b[j - 1] ? 0 : 1;
            slips[i][j] = std::min({slips[i - 1][j] + 1, slips[i][j - 1] + 1, slips[i - 1][j - 1] + other});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                slips[i][j] = std::min(slips[i][j], slips[i - 2][j - 2] + 1);
            }
        }
    }
    return slips[a.size()][b.size()];
}

} // namespace

std::string nearestName(std::string_view typed, const std::vector<std::string>& names) {
    std::string nearest;
    // Long words are no slips, and the table of distances grows with them.
    size_t limit = typed.size() > 100 ? 0 : std::max<size_t>(typed.size() / kLettersForOneSlip, 1) + 1;
    for (const std::string& name : names) {
        const bool begun = typed.size() >= kLettersForOneSlip && name.starts_with(typed);
        const size_t slips = begun ? 1 : limit > 0 ? slipsBetween(typed, name) : limit;
        if (slips < limit) {
            limit = slips;
            nearest = name;
        }
    }
    return nearest;
}

} // namespace volad_dev
