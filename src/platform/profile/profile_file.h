// A profile file by its name: numbers and lists on top of the two profile calls.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace em {

// Texts returned belong to the object, are never null and are valid until its next call. Without a file name
// every read gives the default (a list nothing) and every write 0; so does a missing section where one is
// needed. Used by one thread at a time. Does not throw.
class CProfileFile {
public:
    // A null name is "no file name".
    explicit CProfileFile(const char* fileName);

    // The number as strtoul reads it in the base of its prefix, low 32 bits ("-5" gives 4294967291, "abc" 0);
    // the default when nothing was read. At most 31 characters count.
    [[nodiscard]] uint32_t ReadInteger(const char* section, const char* key, uint32_t defaultNumber);
    [[nodiscard]] const char* ReadString(const char* section, const char* key, const char* defaultText);
    // Lists: each name with its terminator, one more at the end; without any name the default.
    [[nodiscard]] const char* ReadSectionList(const char* defaultText);
    [[nodiscard]] const char* ReadKeyList(const char* section, const char* defaultText);

    // The same as separate texts, in place of what the list held; true when there is any.
    [[nodiscard]] bool KeyNames(const char* section, std::vector<std::string>& names);
    [[nodiscard]] bool SectionNames(std::vector<std::string>& names);

    // Results of WritePrivateProfileString: 1, or 0 after a failure.
    uint32_t WriteValue(const char* section, const char* key, const char* value);
    uint32_t WriteUnsigned(const char* section, const char* key, uint32_t number);
    uint32_t WriteSigned(const char* section, const char* key, int32_t number);
    uint32_t DeleteKey(const char* section, const char* key);
    uint32_t DeleteSection(const char* section);

private:
    [[nodiscard]] const char* File() const { return m_named ? m_fileName.c_str() : nullptr; }
    uint32_t Write(const char* section, const char* key, const char* value);
    // Reads into the scratch buffer until the result fits; the count without the final terminator.
    uint32_t ReadList(const char* section);
    bool Names(const char* section, std::vector<std::string>& names);
    // What the call read into the scratch buffer, or the default, copied.
    template <class Read>
    const char* ReadOr(const char* defaultText, Read&& read);

    std::string m_fileName;
    bool m_named;
    std::string m_scratch;
};

} // namespace em
