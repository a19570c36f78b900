// How verbose the module is: read from the files of the trace configuration directory and from two
// environment variables, and read again while running.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>

#include "base/mutex.h"
#include "contract/module_interface.h"
#include "trace/ini_section_file.h"

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

    [[nodiscard]] bool Enabled() const { return m_bEnabled.load(std::memory_order_relaxed); }
    [[nodiscard]] const char* ModuleName() const { return m_pModuleName; }
    [[nodiscard]] uint32_t Level() const { return m_nLevel; }
    [[nodiscard]] uint32_t TraceFlags() const { return m_nTraceFlags; }
    [[nodiscard]] uint32_t MemoryTracesFlag() const { return m_nMemoryTracesFlag; }
    [[nodiscard]] uint32_t DynamicUpdate() const { return m_nDynamicUpdate; }

    // Looks for newer files when the interval has passed, then tells whether a line of this level is written.
    // Leaves errno alone.
    [[nodiscard]] bool WillWrite(uint32_t level);

    // Switches everything off and frees what is held; the object stays usable and silent.
    void TearDown() noexcept;

private:
    struct Name;
    static constexpr uint32_t kNotConfigured = 0xFFFFFFFF;
    static constexpr const char* kNameAtLoad = kModuleName;

    bool ReplaceModuleName(const char* name) EM_REQUIRES(m_FilesMutex);
    void ReadConfiguration() EM_REQUIRES(m_FilesMutex);
    void ReadModuleSection(const struct FileNames& files) EM_REQUIRES(m_FilesMutex);
    void UpdateWhenDue();
    void ReloadChanged() EM_REQUIRES(m_FilesMutex);

    // "Last writer wins" between threads: the values are read without a lock.
    std::atomic<uint32_t> m_nLevel{0};
    std::atomic<uint32_t> m_nStartupLevel{0};
    std::atomic<uint32_t> m_nFileLevel{kNotConfigured};
    std::atomic<uint32_t> m_nTraceFlags{0};
    std::atomic<bool> m_bEnabled{false};
    std::atomic<const char*> m_pModuleName{kNameAtLoad};
    Mutex m_FilesMutex; // nothing is traced under it
    // Given by Configure; they stay until the tear-down, since a host may keep them.
    Name* m_pNames EM_GUARDED_BY(m_FilesMutex) = nullptr;
    IniSectionFile m_GlobalIni EM_GUARDED_BY(m_FilesMutex);
    IniSectionFile m_ModuleIni EM_GUARDED_BY(m_FilesMutex);
    std::atomic<uint32_t> m_nDynamicUpdateFile{kNotConfigured};
    std::atomic<uint32_t> m_nDynamicUpdate{0}; // seconds, 0 = never
    std::atomic<int64_t> m_nLastCheck{0};
    std::atomic<uint32_t> m_nMemoryTracesFlag{0};
};

} // namespace em
