// Names version and build in the file itself, so that a trace can be matched to what wrote it. Read with
// `strings`; nothing exports or calls it.
#include "em_version.h"

namespace {

[[gnu::used, gnu::retain]] const char* const buildName = em::kVersion;

} // namespace
