// Any bytes as a profile file, read with any size of buffer: not a byte is written behind the buffer, it is
// always terminated, and a list ends in two terminators. What was written reads back, and what it did not
// concern stays.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "input.h"
#include "platform/profile/profile_edit.h"
#include "platform/profile/profile_string.h"

namespace {

using fuzz::require;

// A file in memory that has a path.
class MemoryFile {
public:
    MemoryFile() : m_fd(::memfd_create("profile", MFD_CLOEXEC)) { require(m_fd >= 0); }
    ~MemoryFile() { ::close(m_fd); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    void fill(const std::string& content) const {
        require(::ftruncate(m_fd, 0) == 0);
        require(::pwrite(m_fd, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()));
    }
    [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(m_fd); }

private:
    int m_fd;
};

void readInto(const char* section, const char* key, const char* defaultText, uint32_t size,
              const std::string& file) {
    // Its own block of memory, so that the sanitizer sees the first byte behind it.
    const std::unique_ptr<char[]> out(new char[size]);
    std::memset(out.get(), 'x', size);
    const uint32_t count =
        em::GetPrivateProfileString(section, key, defaultText, out.get(), size, file.c_str());
    if (size == 0) {
        require(count == 0);
        return;
    }
    require(count < size && out[count] == '\0');
    const bool list = section == nullptr || key == nullptr;
    require(list ? count == 0 || out[count - 1] == '\0' || out[count + 1] == '\0'
                 : std::strlen(out.get()) == count);
}

// All that reading finds, by section and key. A list holds what a file of a fuzzer's size may have.
using Values = std::map<std::pair<std::string, std::string>, std::string>;

std::string readWhole(const char* section, const char* key, const std::string& file) {
    std::string out(16384, '\0');
    out.resize(em::GetPrivateProfileString(section, key, nullptr, out.data(),
                                           static_cast<uint32_t>(out.size()), file.c_str()));
    return out;
}

std::vector<std::string> namesIn(const std::string& list) {
    std::vector<std::string> names;
    for (size_t at = 0; at < list.size(); at += names.back().size() + 1) {
        names.emplace_back(list.c_str() + at);
    }
    return names;
}

Values valuesIn(const std::string& file) {
    Values values;
    for (const std::string& section : namesIn(readWhole(nullptr, nullptr, file))) {
        for (const std::string& key : namesIn(readWhole(section.c_str(), nullptr, file))) {
            values[{section, key}] = readWhole(section.c_str(), key.c_str(), file);
        }
    }
    return values;
}

void writeAndReadBack(const std::string& content, const em::ProfileWrite& write, const std::string& section,
                      const std::string& key, const MemoryFile& file) {
    const auto change = em::editProfile(content, write);
    if (!em::readsBack(write) || !change) {
        return;
    }
    require(change->from <= change->to && change->to <= content.size());
    // A header that only reading or only writing sees would part what is written from where it is read.
    const bool comments = content.find(';') != std::string::npos;
    Values before = comments ? Values() : valuesIn(file.path());
    std::string changed = content;
    changed.replace(change->from, change->to - change->from, change->text);
    file.fill(changed);
    if (comments) {
        return;
    }
    // A ";" cuts a value at reading, and blanks around it do not count.
    const bool plain = write.value && write.value->find_first_of("; \t\v\f") == std::string_view::npos;
    require(!plain || !write.key || readWhole(section.c_str(), key.c_str(), file.path()) == *write.value);
    Values after = valuesIn(file.path());
    for (Values* const values : {&before, &after}) {
        std::erase_if(*values, [&](const auto& each) {
            return each.first.first == section && (!write.key || each.first.second == key);
        });
    }
    require(before == after);
}

} // namespace

// The input: a byte for the buffer's size, a byte that tells which arguments are given (section 1, key 2,
// value 4), these three as texts that each end in a NUL, and the file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static const MemoryFile file;
    fuzz::Input input(bytes, size);
    const uint32_t room = input.number<uint8_t>();
    const unsigned given = input.number<uint8_t>();
    const std::string section = input.cText();
    const std::string key = input.cText();
    const std::string value = input.cText();
    const std::string content(input.take(size));
    file.fill(content);
    readInto((given & 1) != 0 ? section.c_str() : nullptr, (given & 2) != 0 ? key.c_str() : nullptr,
             (given & 4) != 0 ? value.c_str() : nullptr, room, file.path());
    em::ProfileWrite write{section, {}, {}};
    if ((given & 2) != 0) {
        write.key = key;
    }
    if ((given & 4) != 0) {
        write.value = value;
    }
    writeAndReadBack(content, write, section, key, file);
    return 0;
}
