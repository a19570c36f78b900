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
#include "trace/trace_files.h"

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

using namespace trace_file;

// Sorted, since the order of a directory is nobody's promise and the first section wins.
FileNames listConfigurationFiles() {
    FileNames files;
    DIR* const directory = sys::opendir(sys::path(place::kTraceConfigDirectory));
    if (directory == nullptr) {
        return files;
    }
    const bool complete = swallow([&] {
        while (const dirent* entry = sys::readdir(directory)) {
            if (trace_file::counts(entry->d_name)) {
                files.names.emplace_back(entry->d_name);
            }
        }
    });
    sys::closedir(directory);
    std::sort(files.names.begin(), files.names.end());
    files.listed = complete;
    return files;
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
    auto* const created = static_cast<Name*>(sys::malloc(sizeof(Name) + length));
    if (created == nullptr) {
        return false;
    }
    std::memcpy(created->text, name, length + 1);
    // Names are chained and kept: a host may have stored the pointer that a line gave it.
    created->older = m_names;
    m_names = created;
    m_moduleName = created->text;
    return true;
}

bool CDebugTraceConfig::Configure(const char* moduleName) {
    if (moduleName == nullptr || *moduleName == '\0') {
        return false;
    }
    const MutexLock lock(m_filesMutex);
    if (std::strcmp(moduleName, ModuleName()) != 0 && !ReplaceModuleName(moduleName)) {
        return false;
    }
    ReadConfiguration();
    m_enabled = m_level != 0;
    return true;
}

void CDebugTraceConfig::ReadConfiguration() {
    m_globalIni.Clear();
    m_moduleIni.Clear();
    const FileNames files = listConfigurationFiles();
    if (files.listed && files.names.empty()) {
        return; // an empty directory switches off the environment variables too
    }
    m_fileLevel = kNotConfigured;
    if (m_globalIni.LoadSection(kGlobalSection, kGlobalFile, sys::path(place::kTraceConfigDirectory))) {
        readInto(m_dynamicUpdateFile, m_globalIni, kDynamicUpdate);
    }
    m_dynamicUpdate = variableOr(sys::getenv(place::kTraceUpdateVariable), m_dynamicUpdateFile);
    ReadModuleSection(files);
    m_level = variableOr(sys::getenv(place::kTraceLevelVariable), m_fileLevel);
    m_startupLevel = m_level.load();
}

void CDebugTraceConfig::ReadModuleSection(const FileNames& files) {
    for (const std::string& file : files.names) {
        IniSectionFile candidate;
        if (candidate.LoadSection(ModuleName(), file.c_str(), sys::path(place::kTraceConfigDirectory))) {
            m_moduleIni = std::move(candidate);
            readInto(m_fileLevel, m_moduleIni, kFileDebugLevel);
            readInto(m_traceFlags, m_moduleIni, kTraceFlags);
            return;
        }
    }
}

// Newer settings are looked for before the level is compared: they may be what lets this line through.
bool CDebugTraceConfig::WillWrite(uint32_t level) {
    UpdateWhenDue();
    return level <= m_level;
}

void CDebugTraceConfig::UpdateWhenDue() {
    const int64_t interval = m_dynamicUpdate;
    if (interval == 0) {
        return;
    }
    const int64_t now = sys::time();
    int64_t last = m_lastCheck;
    // A clock that was set back counts as due. Whoever moves the time does the check, everybody else goes on.
    if ((now < last + interval && now >= last) || !m_lastCheck.compare_exchange_strong(last, now)) {
        return;
    }
    if (m_filesMutex.tryLock()) {
        const MutexLock lock(m_filesMutex, std::adopt_lock);
        const ErrnoKeeper keeper;
        ReloadChanged();
    }
}

void CDebugTraceConfig::ReloadChanged() {
    if (m_globalIni.HasPath() && m_globalIni.LoadIfNewer(kGlobalSection)) {
        uint32_t interval = 0;
        if (m_globalIni.GetIntValue(kDynamicUpdate, interval)) {
            m_dynamicUpdateFile = interval;
            m_dynamicUpdate = variableOr(nullptr, interval);
        }
    }
    if (m_moduleIni.HasPath() && m_moduleIni.LoadIfNewer(ModuleName())) {
        uint32_t level = 0;
        if (m_moduleIni.GetIntValue(kFileDebugLevel, level)) {
            m_fileLevel = level;
            m_level = variableOr(nullptr, level);
            m_startupLevel = m_level.load();
        }
        readInto(m_traceFlags, m_moduleIni, kTraceFlags);
        readInto(m_memoryTracesFlag, m_moduleIni, kMemoryTracesFlag);
    }
}

void CDebugTraceConfig::TearDown() noexcept {
    m_level = 0;
    m_enabled = false;
    m_dynamicUpdate = 0;
    // Held by a thread that the host did not stop: then it keeps the sections and the names.
    if (m_filesMutex.tryLock()) {
        const MutexLock lock(m_filesMutex, std::adopt_lock);
        m_globalIni.Clear();
        m_moduleIni.Clear();
        // Before the names are freed: readers take the pointer without the lock.
        m_moduleName = kNameAtLoad;
        while (m_names != nullptr) {
            std::free(std::exchange(m_names, m_names->older));
        }
    }
}

} // namespace em
