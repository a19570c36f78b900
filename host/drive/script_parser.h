// Reads a script line by line.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/drive/statement.h"

namespace volad_dev {

class ScriptParser {
public:
    // name: of the script, as failures show it. directory: what "{here}" stands for in a setting.
    ScriptParser(std::string name, std::string directory)
        : m_name(std::move(name)), m_directory(std::move(directory)) {}

    // The next line; nothing for a blank line or a comment. Throws Failure (kExitUsage) with the line's place
    // for what no script may say, and for what needs a module or a request where there is none yet; the next
    // line may be read all the same.
    [[nodiscard]] std::optional<Statement> next(std::string_view line);
    // "SCRIPT:LINE", of the line that was read last.
    [[nodiscard]] std::string place() const;
    [[nodiscard]] const std::string& directory() const { return m_directory; }

private:
    [[nodiscard]] Statement parse(std::string_view line);
    void checkOrder(const Statement& statement);

    const std::string m_name;
    const std::string m_directory;
    unsigned m_line = 0;
    bool m_hasModule = false;
    bool m_hasAnswer = false;
};

} // namespace volad_dev
