// What is wrong with a registry's files: each line that their reader would skip or cut, and what would keep
// the next save from replacing them.
#pragma once

#include <string>
#include <vector>

namespace volad_dev {

struct RegistryComplaint {
    std::string file;
    size_t line; // 0: the file as a whole
    std::string reason;
};

// Looks through one file; a missing one has nothing to complain about.
[[nodiscard]] std::vector<RegistryComplaint> checkRegistryFile(const std::string& path);
// The files of a directory that the store reads, in the order in which it tries them, then what would block a
// save (registry_obstacles.h).
[[nodiscard]] std::vector<RegistryComplaint> checkRegistryFiles(const std::string& directory);

// "file:line: reason", without a line "file: reason"; one line, whatever the names hold.
[[nodiscard]] std::string complaintText(const RegistryComplaint& complaint);
// A line each, or as JSON. Returns the tool's exit code, 1 when there is one.
[[nodiscard]] int printComplaints(const std::vector<RegistryComplaint>& complaints, bool json);

// The store's directory that a command means: the fixed one when it gave none. Throws std::runtime_error when
// there is no such directory.
[[nodiscard]] std::string registryDirectory(const std::string& given);

} // namespace volad_dev
