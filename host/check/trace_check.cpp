#include "host/check/trace_check.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <system_error>

#include <fmt/format.h>

#include "contract/module_interface.h"
#include "contract/places.h"
#include "host/check/ini_look.h"
#include "trace/trace_files.h"

namespace volad_dev {
namespace {

namespace trace_file = em::trace_file;
using em::place::kTraceConfigDirectory;

std::string withoutLeadingZeros(const std::string& number) {
    const size_t last = number.empty() ? 0 : number.size() - 1;
    return number.substr(std::min(number.find_first_not_of('0'), last));
}

class Look {
public:
    Look(const MachineRoot& root, const Surroundings& host) : m_root(root), m_host(host) {}

    TraceConfiguration run() {
        const bool count = lookAtDirectory();
        for (const std::string& path : m_result.files) {
            lookAtFile(path);
        }
        if (count) {
            lookForSection();
            choose(m_result.level, em::place::kTraceLevelVariable, m_level, kHighestLevel);
            choose(m_result.interval, em::place::kTraceUpdateVariable, m_interval);
        }
        return std::move(m_result);
    }

private:
    struct FromFile {
        uint32_t value = trace_file::kNotConfigured;
        std::string file;
    };

    void add(const std::string& path, const char* code, const std::string& text) {
        m_result.findings.push_back({path, 0, code, text});
    }

    // False when not even the environment counts.
    bool lookAtDirectory() {
        std::vector<std::string> names;
        const int error = m_root.list(kTraceConfigDirectory, names);
        if (error == ENOENT) {
            add(kTraceConfigDirectory, "trace-directory-missing",
                "is not there: the trace stays off, unless the environment switches it on");
            return true;
        }
        if (error != 0) {
            add(kTraceConfigDirectory, "unreadable",
                "cannot be listed: " + std::generic_category().message(error));
            return true;
        }
        std::erase_if(names, [](const std::string& name) { return !trace_file::counts(name.c_str()); });
        std::ranges::transform(names, std::back_inserter(m_result.files),
                               [](const std::string& name) { return joined(kTraceConfigDirectory, name); });
        if (names.empty()) {
            add(kTraceConfigDirectory, "trace-directory-empty",
                "has no file with \".ini\" in its name: the trace is off, whatever the environment says");
        }
        m_listed = true;
        return !names.empty();
    }

    void lookAtFile(const std::string& path) {
        if (!path.ends_with(".ini")) {
            add(path, "trace-file-name", "is read as well, since \".ini\" stands within its name");
        }
        IniLook ini(m_root, path);
        m_damaged = m_damaged || ini.isDamaged();
        lookAtGlobalSection(path, ini);
        lookAtModuleSection(path, ini);
        std::ranges::move(ini.takeFindings(), std::back_inserter(m_result.findings));
    }

    static bool isGlobalFile(const std::string& path) {
        return path == joined(kTraceConfigDirectory, trace_file::kGlobalFile);
    }

    void lookAtGlobalSection(const std::string& path, IniLook& ini) {
        const std::vector<IniSection> sections = ini.sections(trace_file::kGlobalSection);
        for (const IniSection& section : sections) {
            if (!isGlobalFile(path)) {
                ini.add(section.at, "global-section-elsewhere",
                        fmt::format("[{}] is not read here, but in {} alone", section.name,
                                    trace_file::kGlobalFile));
            } else if (&section != sections.data()) {
                ini.add(section.at, "section-shadowed",
                        fmt::format("[{}] stands above already and is not read", section.name));
            } else {
                static_cast<void>(ini.isCut(section));
                take(m_interval, path, ini.number(section, trace_file::kDynamicUpdate));
            }
        }
    }

    void lookAtModuleSection(const std::string& path, IniLook& ini) {
        for (const IniSection& section : ini.sections(em::kModuleName)) {
            if (!m_result.section.empty()) {
                ini.add(section.at, "section-shadowed",
                        fmt::format("[{}] is not read, it stands {} already", section.name,
                                    m_result.section == path ? "above" : "in " + m_result.section));
                continue;
            }
            m_result.section = path;
            const bool cut = ini.isCut(section);
            const std::optional<uint32_t> level = ini.number(section, trace_file::kFileDebugLevel, true);
            take(m_level, path, level);
            if (!level && !cut) {
                ini.add(section.at, "trace-level-missing",
                        fmt::format("[{}] has no {}", section.name, trace_file::kFileDebugLevel));
            }
            static_cast<void>(ini.number(section, trace_file::kTraceFlags)); // nothing reads it
            lookAtReloaded(section, ini);
        }
    }

    static void lookAtReloaded(const IniSection& section, IniLook& ini) {
        const std::string body(section.body, em::sectionLength(section.body));
        if (const size_t at = body.find(trace_file::kMemoryTracesFlag); at != std::string::npos) {
            ini.add(section.at + static_cast<size_t>(section.name.size()) + 2 + at, "read-on-reload-only",
                    fmt::format("{} is not read when the module is loaded", trace_file::kMemoryTracesFlag));
        }
    }

    static void take(FromFile& number, const std::string& path, std::optional<uint32_t> value) {
        if (value) {
            number = {*value, path};
        }
    }

    // What was damaged may well have held it.
    void lookForSection() {
        if (m_listed && m_result.section.empty() && !m_damaged) {
            add(kTraceConfigDirectory, "trace-section-missing",
                fmt::format("none of its files has a section [{}]: the level is 0", em::kModuleName));
        }
    }

    void choose(TraceNumber& chosen, const char* name, const FromFile& fromFile,
                uint32_t highest = UINT32_MAX) {
        const std::optional<Surroundings::Variable> variable = m_host.variable(name);
        chosen.value = trace_file::variableOr(variable ? variable->value.c_str() : nullptr, fromFile.value);
        chosen.source = variable ? name : fromFile.file;
        if (!variable) {
            return;
        }
        const auto addHere = [&](const char* code, const std::string& text) {
            m_result.findings.push_back({m_host.environmentFile, variable->line, code, text});
        };
        if (withoutLeadingZeros(variable->value) != std::to_string(chosen.value)) {
            addHere("variable-not-decimal",
                    fmt::format("{} is \"{}\", taken as {}", name, variable->value, chosen.value));
        } else if (chosen.value > highest) {
            addHere("level-out-of-range", fmt::format("{} is {}", name, variable->value));
        }
    }

    const MachineRoot& m_root;
    const Surroundings& m_host;
    TraceConfiguration m_result;
    FromFile m_level, m_interval;
    bool m_listed = false;
    bool m_damaged = false;
};

} // namespace

TraceConfiguration checkTrace(const MachineRoot& root, const Surroundings& host) {
    return Look(root, host).run();
}

} // namespace volad_dev
