// What it takes to read and to write a value of a profile file: reading beside a scan by hand that reads
// blocks, obeys the rules for lines and stops at the value; writing beside the least that replaces a file
// durably; both beside stores that load the whole file. Works in the current directory, whose file system the
// syncs measure.
#define SI_NO_CONVERSION // its letters are bytes here
#include <SimpleIni.h>
#include <fcntl.h>
#include <glib.h>
#include <ini.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "base/file_content.h"
#include "base/unique_fd.h"
#include "bench/comparison.h"
#include "platform/profile/profile_string.h"

namespace em::bench {
namespace {

constexpr int kRounds = 21;
constexpr const char* kSection = "Section";

// Keys of one section, in a file that goes with it.
class ProfileFile {
public:
    ProfileFile(size_t lines, bool last)
        : m_key(keyOf(last ? lines - 1 : 0)), m_text(std::string("[") + kSection + "]\n") {
        for (size_t i = 0; i < lines; ++i) {
            m_text += keyOf(i) + " = value " + std::to_string(i) + " ; a comment\n";
        }
        require(static_cast<bool>(std::ofstream(path(), std::ios::binary) << m_text), "writing the file");
    }
    ProfileFile(const ProfileFile&) = delete;
    ProfileFile& operator=(const ProfileFile&) = delete;
    ~ProfileFile() { std::filesystem::remove(path()); }

    [[nodiscard]] static const char* path() { return "profile_bench.ini"; }
    [[nodiscard]] const std::string& key() const { return m_key; }
    [[nodiscard]] const std::string& text() const { return m_text; }

private:
    static std::string keyOf(size_t index) { return "Key" + std::to_string(1'000'000 + index); }

    const std::string m_key;
    std::string m_text;
};

using Read = void (*)(const ProfileFile& file);

void ours(const ProfileFile& file) {
    std::array<char, 64> value{};
    require(GetPrivateProfileString(kSection, file.key().c_str(), "", value.data(), value.size(),
                                    ProfileFile::path()) > 0,
            "reading");
}

const char* skipBlanks(const char* at, const char* end) {
    while (at != end && (*at == ' ' || *at == '\t' || *at == '\r')) {
        ++at;
    }
    return at;
}
const char* find(const char* at, const char* end, char wanted) {
    const void* const found = std::memchr(at, wanted, static_cast<size_t>(end - at));
    return found != nullptr ? static_cast<const char*>(found) : end;
}

// Whether the line holds the key's value, which it copies.
bool takeValue(const char* line, const char* end, const std::string& key, std::string& value) {
    const auto size = static_cast<size_t>(end - line);
    if (size < key.size() || std::memcmp(line, key.data(), key.size()) != 0) {
        return false;
    }
    const char* const equals = find(line, end, '=');
    const char* keyEnd = equals;
    while (keyEnd != line && keyEnd[-1] == ' ') {
        --keyEnd;
    }
    if (equals == end || static_cast<size_t>(keyEnd - line) != key.size()) {
        return false;
    }
    const char* valueEnd = find(equals, end, ';');
    const char* const begin = skipBlanks(equals + 1, valueEnd);
    while (valueEnd != begin && (valueEnd[-1] == ' ' || valueEnd[-1] == '\r')) {
        --valueEnd;
    }
    value.assign(begin, valueEnd);
    return true;
}

void byHand(const ProfileFile& file) {
    constexpr size_t kBlock = 65'536;
    constexpr size_t kLongestLine = 1024;
    const UniqueFd fd(::open(ProfileFile::path(), O_RDONLY | O_CLOEXEC));
    struct stat status = {};
    require(fd.valid() && ::fstat(fd.get(), &status) == 0, "opening by hand");
    const std::unique_ptr<char, FreeDeleter> buffer(static_cast<char*>(std::malloc(kBlock + kLongestLine)));
    const std::string section(kSection);
    std::string value;
    bool inside = false;
    size_t kept = 0;
    for (size_t block = 4096;; block = kBlock) {
        const ssize_t got = ::read(fd.get(), buffer.get() + kept, block);
        require(got > 0, "finding by hand");
        const char* line = buffer.get();
        const char* const filled = line + kept + got;
        for (const char* end = line; (end = find(line, filled, '\n')) != filled; line = end + 1) {
            const char* const first = skipBlanks(line, end);
            if (*first == '[') {
                const char* const close = find(first, end, ']');
                require(!inside, "finding by hand");
                inside = section == std::string_view(first + 1, static_cast<size_t>(close - first - 1));
            } else if (inside && takeValue(first, end, file.key(), value)) {
                benchmark::DoNotOptimize(value.data());
                return;
            }
        }
        kept = static_cast<size_t>(filled - line);
        std::memmove(buffer.get(), line, kept);
    }
}

void byGKeyFile(const ProfileFile& file) {
    const std::unique_ptr<GKeyFile, void (*)(GKeyFile*)> store(g_key_file_new(), g_key_file_unref);
    require(g_key_file_load_from_file(store.get(), ProfileFile::path(), G_KEY_FILE_NONE, nullptr) != 0,
            "GKeyFile");
    const std::unique_ptr<char, void (*)(void*)> value(
        g_key_file_get_value(store.get(), kSection, file.key().c_str(), nullptr), g_free);
    require(value != nullptr, "GKeyFile");
}

void bySimpleIni(const ProfileFile& file) {
    CSimpleIniCaseA store;
    require(store.LoadFile(ProfileFile::path()) == SI_OK &&
                store.GetValue(kSection, file.key().c_str()) != nullptr,
            "SimpleIni");
}

void byInih(const ProfileFile& file) {
    struct Wanted {
        const std::string& key;
        std::string value;
    } wanted{file.key(), {}};
    const auto take = [](void* user, const char*, const char* name, const char* value) {
        auto& search = *static_cast<Wanted*>(user);
        if (search.key == name) {
            search.value = value;
        }
        return 1;
    };
    require(ini_parse(ProfileFile::path(), take, &wanted) == 0 && !wanted.value.empty(), "inih");
}

void compareReads(const std::string& name, size_t lines, bool last, Read theirs) {
    compare(name, kRounds, [=] {
        const auto file = std::make_shared<const ProfileFile>(lines, last);
        const int count = last && lines > 10'000 ? 3 : 100;
        return Pair{timed(count, [=] { ours(*file); }), timed(count, [=] { theirs(*file); })};
    });
}

// A text that is known already, in the file's place, durable before it is there.
void replaceByHand(const ProfileFile& file) {
    const std::string fresh = std::string(ProfileFile::path()) + ".new";
    UniqueFd fd(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    require(::write(fd.get(), file.text().data(), file.text().size()) ==
                    static_cast<ssize_t>(file.text().size()) &&
                ::fsync(fd.get()) == 0 && ::rename(fresh.c_str(), ProfileFile::path()) == 0,
            "replacing by hand");
}

void writeOurs(const ProfileFile& file) {
    static int number = 0; // a value that is there already is not written
    const std::string value = std::to_string(1'000'000 + ++number % 1'000'000);
    require(WritePrivateProfileString(kSection, file.key().c_str(), value.c_str(), ProfileFile::path()) == 1,
            "writing");
}

void writeByGKeyFile(const ProfileFile& file) {
    const std::unique_ptr<GKeyFile, void (*)(GKeyFile*)> store(g_key_file_new(), g_key_file_unref);
    require(g_key_file_load_from_file(store.get(), ProfileFile::path(), G_KEY_FILE_KEEP_COMMENTS, nullptr) !=
                0,
            "GKeyFile");
    g_key_file_set_value(store.get(), kSection, file.key().c_str(), "1000000");
    require(g_key_file_save_to_file(store.get(), ProfileFile::path(), nullptr) != 0, "GKeyFile");
}

void compareWrites(const std::string& name, size_t lines, Read theirs) {
    compare(name, kRounds, [=] {
        const auto file = std::make_shared<const ProfileFile>(lines, true);
        return Pair{timed(
                        5, [=] { writeOurs(*file); }, CLOCK_MONOTONIC),
                    timed(
                        5, [=] { theirs(*file); }, CLOCK_MONOTONIC)};
    });
}

} // namespace

void addComparisons() {
    for (const size_t lines : {1'000, 10'000, 100'000}) {
        for (const bool last : {false, true}) {
            const std::string what =
                std::string(last ? "last" : "first") + " key of " + std::to_string(lines) + " lines / ";
            compareReads(what + "by hand", lines, last, byHand);
        }
    }
    compareReads("last key of 1000 lines / GKeyFile", 1'000, true, byGKeyFile);
    compareReads("last key of 1000 lines / SimpleIni", 1'000, true, bySimpleIni);
    compareReads("last key of 1000 lines / inih", 1'000, true, byInih);
    compareWrites("write in 10 lines / by hand", 10, replaceByHand);
    compareWrites("write in 1000 lines / by hand", 1'000, replaceByHand);
    compareWrites("write in 1000 lines / GKeyFile", 1'000, writeByGKeyFile);
}

} // namespace em::bench
