// A module's settings in the installation: its properties in the registry store, under the product key's
// sub-key named after the module, and its configuration file. Each call takes the registry lock for its whole
// look-up. Every result is 1 on success and 0 otherwise, and an out argument is written on 1 only. Null
// arguments are allowed and lead to 0. Any thread.
#pragma once

#include <cstdint>
#include <string>

namespace em {

// A text is a string or an expandable string, the latter expanded; a number is a DWORD. A property of another
// type counts as not there.
[[nodiscard]] unsigned GetModuleProperty(const char* module, const char* property, std::string& value);
[[nodiscard]] unsigned GetModuleProperty(const char* module, uint32_t& value, const char* property);

// The value is on disk when this returns 1, unless the save failed: the trace then says so and the value
// lives in memory only. Creates no key: a module that has none yet gets 0.
[[nodiscard]] unsigned SetModuleProperty(const char* module, const char* property, uint32_t value);

// Searches the current directory, the installation's data root and the directory of its binaries, in this
// order, for the file that the installation registered for the module (the module's own name when it
// registered none), a "." and the extension (null is ""). The first that exists and is no directory is taken.
[[nodiscard]] unsigned GetModuleConfigFile(const char* module, std::string& path, const char* extension);

} // namespace em
