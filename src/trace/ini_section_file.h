// One section of one trace configuration file, held in memory.
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>

#include "base/file_content.h"

namespace em {

class IniSectionFile {
public:
    constexpr IniSectionFile() = default;

    // Loads the section from directory/file. False when the file cannot be read (the object is then empty) or
    // holds no end marker or no such section (path, size and time are then known). A file must end with a
    // header [EndOfFile], in any case.
    [[nodiscard]] bool LoadSection(const char* section, const char* file, const char* directory);

    // Loads the section again from the same file when its modification time is later than at the last load.
    // True when that was done. A file that is gone or cannot be opened leaves the object empty; one whose new
    // content cannot be used changes nothing, so that the next call tries again. Needs a path.
    [[nodiscard]] bool LoadIfNewer(const char* section);

    // The first occurrence of the key as plain text in the section, the next "=" behind it, and the number
    // there in the base of its prefix (low 32 bits; no digits give 0). False without touching the value when
    // there is no key or no "=".
    [[nodiscard]] bool GetIntValue(const char* key, uint32_t& value) const;

    [[nodiscard]] bool HasPath() const { return m_path != nullptr; }
    void Clear();

private:
    enum class Outcome { NotOpened, NotRead, NoSection, Loaded };
    Outcome Read(const char* section);

    std::unique_ptr<char, FreeDeleter> m_buffer; // the whole file plus 16 zero bytes
    const char* m_body = nullptr;                // first byte behind the section's header
    std::unique_ptr<char, FreeDeleter> m_path;
    time_t m_modified = 0;
};

} // namespace em
