// Puts a new content in the place of the registry's main file, atomically and durably, and keeps the one
// before as backup.
#pragma once

#include <string>
#include <string_view>

namespace em {

struct RegistrySaveOutcome {
    const char* failedAt = nullptr; // null: saved; otherwise the step, for the line
    int error = 0;
    bool notOpened = false; // the temporary file, or the directory to make it in, could not be opened
};

// Writes and syncs the temporary file, exchanges it with the main file and makes what was the main file the
// backup, then syncs the directory. An empty or missing main file is replaced and leaves the backup alone.
// Until the exchange a failure leaves main and backup as they were; after it, it is taken back where the
// system lets it. Writers of this kind exclude each other by a lock on the directory, for which this one
// waits a bounded time. Throws std::bad_alloc.
[[nodiscard]] RegistrySaveOutcome saveRegistryFile(const std::string& directory, std::string_view content);

} // namespace em
