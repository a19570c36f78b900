// Places of the machine that a sandbox may not be given, by whatever name.
#pragma once

#include <string>

namespace volad_dev {

// What shall become of a path inside.
enum class PathUse { Show, Copy, Write };

// The real path, links resolved. Throws Failure (kExitUsage), with `option` in front and the reason behind,
// when the path is not there or may not be used so: it is, holds or lies in a place of the machine's own
// workings, is one under another name, or a file system of the kernel is mounted in it.
[[nodiscard]] std::string allowedPath(const std::string& option, const std::string& path, PathUse use);

// Whether `path` is `place` or lies below it, both without links.
[[nodiscard]] bool isWithin(const std::string& path, const std::string& place);

} // namespace volad_dev
