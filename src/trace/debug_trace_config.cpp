#include "trace/debug_trace_config.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "base/errno_keeper.h"
#include "base/swallow.h"
#include "base/system.h"
#include "contract/places.h"

namespace em {

struct CDebugTraceConfig::Name {
    Name* older;
    char text[1]; // the rest of the text lies behind
};

struct FileNames {
    bool listed = false; // false: the directory could not be listed
    std::vector<std::string> names;
};

namespace {

constexpr const char* kGlobalFile = "global_trace.ini";
constexpr const char* kGlobalSection = "GlobalDebugSettings";
constexpr const char* kDynamicUpdate = "DynamicUpdate";
constexpr const char* kFileDebugLevel = "FileDebugLevel";
constexpr const char* kTraceFlags = "TraceFlags";
constexpr const char* kMemoryTracesFlag = "MemoryTracesFlag";

FileNames listConfigurationFiles() {
    FileNames files;
    DIR* const directory = sys::opendir(sys::path(place::kTraceConfigDirectory));
    if (directory == nullptr) {
        return files;
    }
    const bool complete = swallow([&] {
        while (const dirent* entry = sys::readdir(directory)) {
            if (std::strstr(entry->d_name, ".ini") != nullptr && std::strncmp(entry->d_name, ".#", 2) != 0) {
                files.names.emplace_back(entry->d_name);
            }
        }
    });
    sys::closedir(directory);
    std::sort(files.names.begin(), files.names.end());
    files.listed = complete;
    return files;
}

uint32_t configuredOrZero(uint32_t value) {
    return value == UINT32_MAX ? 0 : value;
}

// The decimal value of the variable, or the number from the files, where 0xFFFFFFFF stands for none.
uint32_t environmentOr(const char* variable, uint32_t fromFile) {
    if (const char* const value = sys::getenv(variable)) {
        return static_cast<uint32_t>(std::strtoul(value, nullptr, 10));
    }
    return configuredOrZero(fromFile);
}

void readInto(std::atomic<uint32_t>& field, const IniSectionFile& section, const char* key) {
    uint32_t value = 0;
    if (section.GetIntValue(key, value)) {
        field = value;
    }
}

} // namespace

CDebugTraceConfig::~CDebugTraceConfig() {
    TearDown();
}

bool CDebugTraceConfig::IsOutputSink() {
    return false;
}

bool CDebugTraceConfig::ReplaceModuleName(const char* name) {
    const size_t length = std::strlen(name);
    auto* const created = static_cast<Name*>(std::malloc(sizeof(Name) + length));
    if (created == nullptr) {
        return false;
    }
    std::memcpy(created->text, name, length + 1);
    // Names are chained and kept: a host may have stored the pointer that a line gave it.
    created->older = m_pNames;
    m_pNames = created;
    m_pModuleName = created->text;
    return true;
}

bool CDebugTraceConfig::Configure(const char* moduleName) {
    if (moduleName == nullptr || *moduleName == '\0') {
        return false;
    }
    const MutexLock lock(m_FilesMutex);
    if (std::strcmp(moduleName, ModuleName()) != 0 && !ReplaceModuleName(moduleName)) {
        return false;
    }
    ReadConfiguration();
    m_bEnabled = m_nLevel != 0;
    return true;
}

void CDebugTraceConfig::ReadConfiguration() {
    m_GlobalIni.Clear();
    m_ModuleIni.Clear();
    const FileNames files = listConfigurationFiles();
    if (files.listed && files.names.empty()) {
        return; // an empty directory switches off the environment variables too
    }
    m_nFileLevel = kNotConfigured;
    if (m_GlobalIni.LoadSection(kGlobalSection, kGlobalFile, sys::path(place::kTraceConfigDirectory))) {
        readInto(m_nDynamicUpdateFile, m_GlobalIni, kDynamicUpdate);
    }
    m_nDynamicUpdate = environmentOr(place::kTraceUpdateVariable, m_nDynamicUpdateFile);
    ReadModuleSection(files);
    m_nLevel = environmentOr(place::kTraceLevelVariable, m_nFileLevel);
    m_nStartupLevel = m_nLevel.load();
}

void CDebugTraceConfig::ReadModuleSection(const FileNames& files) {
    for (const std::string& file : files.names) {
        IniSectionFile candidate;
        if (candidate.LoadSection(ModuleName(), file.c_str(), sys::path(place::kTraceConfigDirectory))) {
            m_ModuleIni = std::move(candidate);
            readInto(m_nFileLevel, m_ModuleIni, kFileDebugLevel);
            readInto(m_nTraceFlags, m_ModuleIni, kTraceFlags);
            return;
        }
    }
}

bool CDebugTraceConfig::WillWrite(uint32_t level) {
    UpdateWhenDue();
    return level <= m_nLevel;
}

void CDebugTraceConfig::UpdateWhenDue() {
    const int64_t interval = m_nDynamicUpdate;
    if (interval == 0) {
        return;
    }
    const int64_t now = sys::time();
    int64_t last = m_nLastCheck;
    // A clock that was set back counts as due. Whoever moves the time does the check, everybody else goes on.
    if ((now < last + interval && now >= last) || !m_nLastCheck.compare_exchange_strong(last, now)) {
        return;
    }
    if (m_FilesMutex.tryLock()) {
        const MutexLock lock(m_FilesMutex, std::adopt_lock);
        const ErrnoKeeper keeper;
        ReloadChanged();
    }
}

void CDebugTraceConfig::ReloadChanged() {
    if (m_GlobalIni.HasPath() && m_GlobalIni.LoadIfNewer(kGlobalSection)) {
        uint32_t interval = 0;
        if (m_GlobalIni.GetIntValue(kDynamicUpdate, interval)) {
            m_nDynamicUpdateFile = interval;
            m_nDynamicUpdate = configuredOrZero(interval);
        }
    }
    if (m_ModuleIni.HasPath() && m_ModuleIni.LoadIfNewer(ModuleName())) {
        uint32_t level = 0;
        if (m_ModuleIni.GetIntValue(kFileDebugLevel, level)) {
            m_nFileLevel = level;
            m_nLevel = configuredOrZero(level);
            m_nStartupLevel = m_nLevel.load();
        }
        readInto(m_nTraceFlags, m_ModuleIni, kTraceFlags);
        readInto(m_nMemoryTracesFlag, m_ModuleIni, kMemoryTracesFlag);
    }
}

void CDebugTraceConfig::TearDown() noexcept {
    m_nLevel = 0;
    m_bEnabled = false;
    m_nDynamicUpdate = 0;
    // Held by a thread that the host did not stop: then it keeps the sections and the names.
    if (m_FilesMutex.tryLock()) {
        const MutexLock lock(m_FilesMutex, std::adopt_lock);
        m_GlobalIni.Clear();
        m_ModuleIni.Clear();
        // Before the names are freed: readers take the pointer without the lock.
        m_pModuleName = kNameAtLoad;
        while (m_pNames != nullptr) {
            std::free(std::exchange(m_pNames, m_pNames->older));
        }
    }
}

} // namespace em
