// Any bytes as the trace's configuration: a section is loaded only from a file that has both it and the end
// marker, a number only from a key that stands there; what stands in front of hostile bytes is read as if
// they were not there; and the level of the module is what its section says, at once and when the file is
// newer.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

#include "base/ascii.h"
#include "base/system_fake.h"
#include "contract/module_interface.h"
#include "contract/places.h"
#include "input.h"
#include "trace/debug_trace_config.h"
#include "trace/ini_section_file.h"
#include "trace/trace_files.h"

namespace {

using fuzz::require;
namespace trace_file = em::trace_file;

constexpr const char* kModuleFile = "module.ini"; // behind the global one, which may have the section, too
constexpr const char* kOwnFile = "own.txt";       // which the module does not look at

// The one directory of the process, in memory inside the sandbox.
class Directory {
public:
    Directory() { require(::mkdtemp(m_path.data()) != nullptr); }
    ~Directory() {
        for (const char* file : {trace_file::kGlobalFile, kModuleFile, kOwnFile}) {
            ::unlink(pathOf(file).c_str());
        }
        ::rmdir(m_path.c_str());
    }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    [[nodiscard]] const std::string& path() const { return m_path; }
    void write(const char* file, const std::string& content, time_t modified) const {
        const int fd = ::open(pathOf(file).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        require(fd >= 0 &&
                ::write(fd, content.data(), content.size()) == static_cast<ssize_t>(content.size()));
        const timespec times[] = {{modified, 0}, {modified, 0}};
        require(::futimens(fd, times) == 0 && ::close(fd) == 0);
    }

private:
    [[nodiscard]] std::string pathOf(const char* file) const { return m_path + "/" + file; }

    std::string m_path = "/tmp/trace-ini-XXXXXX";
};

bool holdsInAnyCase(std::string_view text, std::string_view part) {
    return std::search(text.begin(), text.end(), part.begin(), part.end(), [](char left, char right) {
               return em::asciiLower(left) == em::asciiLower(right);
           }) != text.end();
}

constexpr uint32_t kUntouched = 0xA5A5A5A5;

uint32_t numberOf(const em::IniSectionFile& section, const char* key) {
    uint32_t value = kUntouched;
    require(section.GetIntValue(key, value) || value == kUntouched);
    return value;
}

// The section of the first file that has it, as numberOf() its key; nothing else counts for the level.
uint32_t levelIn(const Directory& directory, const std::string& name) {
    for (const char* file : {trace_file::kGlobalFile, kModuleFile}) {
        em::IniSectionFile section;
        if (section.LoadSection(name.c_str(), file, directory.path().c_str())) {
            const uint32_t level = numberOf(section, trace_file::kFileDebugLevel);
            return level == kUntouched || level == trace_file::kNotConfigured ? 0 : level;
        }
    }
    return 0;
}

void readSection(const Directory& directory, const std::string& content, const std::string& name,
                 const std::string& key) {
    em::IniSectionFile section;
    const bool loaded = section.LoadSection(name.c_str(), kModuleFile, directory.path().c_str());
    require(section.HasPath());
    if (loaded) {
        require(holdsInAnyCase(content, "[EndOfFile]") && holdsInAnyCase(content, "[" + name + "]"));
    }
    require(numberOf(section, key.c_str()) == kUntouched ||
            (loaded && content.find(key) != std::string::npos));
}

void readInFrontOf(const Directory& directory, const std::string& hostile) {
    directory.write(kOwnFile, "[Own]\nKey = 0x1F\n" + hostile + "\n[endoffile]", 1000);
    em::IniSectionFile section;
    require(section.LoadSection("OWN", kOwnFile, directory.path().c_str()) && numberOf(section, "Key") == 31);
    // What is torn changes nothing; what is whole does.
    directory.write(kOwnFile, "[Own]\nKey = 8\n" + hostile + "\n[endoffile", 1001);
    const bool torn = !section.LoadIfNewer("OWN");
    require(!torn || numberOf(section, "Key") == 31);
    directory.write(kOwnFile, "[Own]\nKey = 8\n" + hostile + "\n[endoffile]", 1002);
    require(section.LoadIfNewer("OWN") && numberOf(section, "Key") == 8);
}

void configure(const Directory& directory, const std::string& name) {
    em::fake::setPath(em::place::kTraceConfigDirectory, directory.path());
    em::fake::setWallClock(5000);
    em::CDebugTraceConfig config;
    require(config.Configure(name.c_str()) == !name.empty());
    if (name.empty()) {
        return;
    }
    require(config.ModuleName() == name);
    const uint32_t level = levelIn(directory, name);
    require(config.Level() == level && config.Enabled() == (level != 0));
    for (const uint32_t asked : {0U, 1U, 5U, 0x7FFFFFFFU}) {
        require(config.WillWrite(asked) == (asked <= config.Level()));
    }
    if (config.DynamicUpdate() != 0) {
        em::fake::setWallClock(5000 + int64_t{config.DynamicUpdate()});
        directory.write(kModuleFile, "[" + name + "]\nFileDebugLevel=77\n[endoffile]", 1001);
        static_cast<void>(config.WillWrite(1));
        require(config.Level() == 77 || config.Level() == level);
    }
}

} // namespace

// The input: the module's name and a key as texts that each end in a NUL, then the two files with a byte 0xFF
// between them.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static const Directory directory;
    const em::fake::Scope script;
    for (const char* variable : {em::place::kTraceLevelVariable, em::place::kTraceUpdateVariable}) {
        ::unsetenv(variable);
    }
    fuzz::Input input(bytes, size);
    const std::string name = input.cText();
    const std::string key = input.cText();
    const std::string both(input.take(size));
    const size_t cut = std::min(both.find('\xFF'), both.size());
    const std::string content = both.substr(std::min(cut + 1, both.size()));
    directory.write(trace_file::kGlobalFile, both.substr(0, cut), 1000);
    directory.write(kModuleFile, content, 1000);
    readSection(directory, content, name, key);
    readInFrontOf(directory, content);
    configure(directory, name);
    return 0;
}
