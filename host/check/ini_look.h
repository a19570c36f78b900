// One file of the trace's configuration, looked through with the module's own reading of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/file_content.h"
#include "host/check/machine_root.h"
#include "host/files/findings.h"
#include "trace/ini_text.h"

namespace volad_dev {

inline constexpr uint32_t kHighestLevel = 5;

// A section as the module takes it.
struct IniSection {
    std::string name;
    size_t at;        // offset of its "["
    const char* body; // ends at the next "[" or at the end of what is read
};

class IniLook {
public:
    // Reads the file and looks at it as a whole: a finding for what keeps all or part of it from being read.
    IniLook(const MachineRoot& root, const std::string& path);

    [[nodiscard]] std::vector<Finding> takeFindings() { return m_findings.take(); }
    // Whether something of it is lost before any section is looked for.
    [[nodiscard]] bool isDamaged() const { return !m_findings.empty(); }
    // Those of the module or of all modules, in the file's order: only the first is ever read. None where the
    // file counts as absent.
    [[nodiscard]] std::vector<IniSection> sections(const char* name) const;

    // Whether a section that is read ends within a line, which is a finding.
    bool isCut(const IniSection& section);
    // The number that is taken for the key, if there is one. A finding where it is another than is written;
    // of a level also where it is none.
    std::optional<uint32_t> number(const IniSection& section, const char* key, bool isLevel = false);
    void add(size_t offset, const char* code, const std::string& text);

private:
    void lookAtMarker();
    void lookBehindMarker(size_t marker);
    void takeSections();
    [[nodiscard]] size_t offsetOf(const char* text) const {
        return static_cast<size_t>(text - m_cut.data.get());
    }
    [[nodiscard]] size_t lineOf(size_t offset);
    [[nodiscard]] std::string lineAt(size_t offset) const;

    std::string m_shown;
    std::string m_text;    // as it stands
    em::FileContent m_cut; // as the module cuts it, section by section
    std::vector<IniSection> m_sections;
    FileFindings m_findings;
    size_t m_countedTo = 0; // offset up to which the lines have been counted
    size_t m_countedLines = 0;
};

} // namespace volad_dev
