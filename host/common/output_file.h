// Where a document that a command makes goes: a file that is named by an option, or "-" for standard output,
// where nothing else is printed then.
#pragma once

#include <string>
#include <string_view>

#include <CLI/App.hpp>

#include "base/unique_fd.h"

namespace volad_dev {

// Refuses a name that is empty.
CLI::Option* addOutputOption(CLI::App& app, const char* option, std::string& target, const char* description);

// Opened before the work, so that none is done for a file that cannot be had. A file is replaced as a whole,
// by a rename of one that has no name until then, so that nothing is left of a tool that is killed; what is
// no file of its own (a device, a FIFO, a link such as /dev/fd/3), or cannot be replaced, is written in
// place.
class OutputFile {
public:
    enum class Way { Whole, InPlace }; // in place: for who may not rename in the directory later
    // Empty: nothing is asked for. Throws Failure, which names the option, when the file cannot be opened.
    OutputFile(const char* option, const std::string& file, Way way = Way::Whole);
    ~OutputFile(); // a file that was not written is left as it was
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    [[nodiscard]] bool asked() const { return !m_file.empty(); }
    [[nodiscard]] bool takesStandardOutput() const { return m_file == "-"; }

    // The whole of it, once. Throws Failure when it could not be written.
    void write(std::string_view document);

private:
    [[nodiscard]] bool isStandardOutput() const;
    void openBeside();
    void openUnnamed();
    [[nodiscard]] bool nameUnnamed();
    void writeInPlace(std::string_view document);
    void put(std::string_view document) const;
    [[noreturn]] void fail(int error) const;

    const char* m_option;
    std::string m_file;
    std::string m_beside; // takes the place of m_file when it is complete; empty: written in place
    bool m_named = false; // m_beside is there
    em::UniqueFd m_fd;
};

} // namespace volad_dev
