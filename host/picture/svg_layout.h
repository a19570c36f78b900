// Where things lie in the SVG picture, and how they look.
#pragma once

#include <cstddef>
#include <string_view>

namespace volad_dev::svg_layout {

// Pixels at the picture's own width. A text's width is reckoned from its columns, so all fonts are of one
// width.
inline constexpr double kWidth = 800;
inline constexpr double kColumn = 6.7; // of a character of 11 pixels, in the widest of the fonts
inline constexpr double kTop = 106;    // where the axis begins
inline constexpr double kLeastHeight = 280;
inline constexpr double kMessageRow = 18;
inline constexpr double kLabelRow = 14;
inline constexpr double kStatusRow = 17;
inline constexpr double kLine = 16; // of the texts above and below
inline constexpr double kMargin = 14;

// The lanes, from left to right.
inline constexpr double kTicks = 58; // their right end
inline constexpr double kAxis = 64;
inline constexpr double kStatus = 87;
inline constexpr double kPhaseLabels = 240; // their right end
inline constexpr double kModule = 254, kModuleWidth = 16;
inline constexpr double kModuleRight = kModule + kModuleWidth;
inline constexpr double kArrowFrom = 296;
inline constexpr double kHost = 606;
inline constexpr double kJob = 656;
inline constexpr double kCommand = 740;
inline constexpr double kBarWidth = 14;
inline constexpr double kLeastBar = 2;

inline constexpr size_t kTickColumns = 8, kPhaseColumns = 21, kMessageColumns = 44, kJobColumns = 11,
                        kCommandColumns = 14;
inline constexpr auto kLineColumns = static_cast<size_t>((kWidth - 2 * kMargin) / kColumn);
inline constexpr size_t kLongestHover = 600;

inline constexpr std::string_view kStyle = R"( <style>
  svg { --ground: #ffffff; --edge: #d0d7de; --ink: #1f2328; --dim: #59636e;
   --first: #8250df; --second: #1a7f37; --third: #0969da; --job: #bc4c00; --command: #cf222e }
  @media (prefers-color-scheme: dark) {
   svg { --ground: #0d1117; --edge: #3d444d; --ink: #f0f6fc; --dim: #9198a1;
    --first: #ab7df8; --second: #3fb950; --third: #4493f8; --job: #f0883e; --command: #ff7b72 }
  }
  text { font: 11px ui-monospace, SFMono-Regular, Menlo, Consolas, "Liberation Mono", "DejaVu Sans Mono",
   monospace; fill: var(--ink) }
  .title { font-size: 13px; font-weight: bold }
  .dim { fill: var(--dim) } .middle { text-anchor: middle } .right { text-anchor: end }
  .ground { fill: var(--ground); stroke: var(--edge) }
  .line { stroke: var(--dim); fill: none } .leader { stroke: var(--edge); fill: none }
  .first { fill: var(--first) } .second { fill: var(--second) } .third { fill: var(--third) }
  .job { fill: var(--job) } .command { fill: var(--command) }
  .to-host { stroke: var(--second); fill: var(--second) } .to-module { stroke: var(--third); fill: var(--third) }
  .mark { fill: var(--ground); stroke: var(--ink) } .gap { stroke: var(--ground); stroke-width: 7; fill: none }
 </style>
)";

} // namespace volad_dev::svg_layout
