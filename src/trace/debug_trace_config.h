// How verbose the module is: read from the files of the trace configuration directory and from two
// environment variables, and read again while running.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>

#include "base/mutex.h"
#include "contract/module_interface.h"
#include "trace/ini_section_file.h"
#include "trace/trace_files.h"

namespace em {

class CDebugTraceConfig {
public:
    constexpr CDebugTraceConfig() = default;
    virtual ~CDebugTraceConfig();
    CDebugTraceConfig(const CDebugTraceConfig&) = delete;
    CDebugTraceConfig& operator=(const CDebugTraceConfig&) = delete;

    // The slot order of these virtual functions is fixed, here and in CDebugClient.
    virtual bool IsOutputSink();
    // Reads the whole configuration for that module name. False, and nothing changed, for a null or empty
    // name. Any thread, at any time.
    virtual bool Configure(const char* moduleName);

    [[nodiscard]] bool Enabled() const { return m_enabled.load(std::memory_order_relaxed); }
    [[nodiscard]] const char* ModuleName() const { return m_moduleName; }
    [[nodiscard]] uint32_t Level() const { return m_level; }
    [[nodiscard]] uint32_t TraceFlags() const { return m_traceFlags; }
    [[nodiscard]] uint32_t MemoryTracesFlag() const { return m_memoryTracesFlag; }
    [[nodiscard]] uint32_t DynamicUpdate() const { return m_dynamicUpdate; }

    // Looks for newer files when the interval has passed, then tells whether a line of this level is written.
    // Leaves errno alone.
    [[nodiscard]] bool WillWrite(uint32_t level);

    // Switches everything off and frees what is held; the object stays usable and silent.
    void TearDown() noexcept;

private:
    struct Name;
    static constexpr const char* kNameAtLoad = kModuleName;

    bool ReplaceModuleName(const char* name) EM_REQUIRES(m_filesMutex);
    void ReadConfiguration() EM_REQUIRES(m_filesMutex);
    void ReadModuleSection(const struct FileNames& files) EM_REQUIRES(m_filesMutex);
    void UpdateWhenDue();
    void ReloadChanged() EM_REQUIRES(m_filesMutex);

    // "Last writer wins" between threads: the values are read without a lock.
    std::atomic<uint32_t> m_level{0};
    std::atomic<uint32_t> m_startupLevel{0};
    std::atomic<uint32_t> m_fileLevel{trace_file::kNotConfigured};
    std::atomic<uint32_t> m_traceFlags{0};
    std::atomic<bool> m_enabled{false};
    std::atomic<const char*> m_moduleName{kNameAtLoad};
    Mutex m_filesMutex; // nothing is traced under it
    // Given by Configure; they stay until the tear-down, since a host may keep them.
    Name* m_names EM_GUARDED_BY(m_filesMutex) = nullptr;
    IniSectionFile m_globalIni EM_GUARDED_BY(m_filesMutex);
    IniSectionFile m_moduleIni EM_GUARDED_BY(m_filesMutex);
    std::atomic<uint32_t> m_dynamicUpdateFile{trace_file::kNotConfigured};
    std::atomic<uint32_t> m_dynamicUpdate{0}; // seconds, 0 = never
    std::atomic<int64_t> m_lastCheck{0};
    std::atomic<uint32_t> m_memoryTracesFlag{0};
};

} // namespace em
