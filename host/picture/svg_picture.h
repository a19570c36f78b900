// A run as an SVG picture: time runs down, each of those who take part has a lane.
#pragma once

#include <string>

#include "host/picture/run_picture.h"

namespace volad_dev {

// A document of its own: no fonts, scripts or files from elsewhere; light or dark as the viewer asks. No two
// of its texts overlap.
[[nodiscard]] std::string svgPicture(const RunPicture& picture);

} // namespace volad_dev
