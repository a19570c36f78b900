#include "host/common/json_output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include <fmt/format.h>

#include "host/common/failure.h"
#include "host/common/option_checks.h"
#include "host/common/standard_streams.h"

namespace volad_dev {
namespace {

// What a new file may be for whom; of the process, so asked while there is one thread.
mode_t modeOfNewFiles() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace

CLI::Option* addJsonOption(CLI::App& app, std::string& target) {
    CLI::Option* const option =
        app.add_option("--json", target, "write JSON to FILE, - is standard output")->type_name("FILE");
    return mustBe(option, "a file or -", [](const std::string& file) { return !file.empty(); });
}

JsonOutput::JsonOutput(const std::string& file, Way way) : m_file(file) {
    if (!asked() || takesStandardOutput()) {
        return;
    }
    if (isStandardOutput()) {
        m_file = "-";
        return;
    }
    if (way == Way::Whole) {
        openBeside();
    }
    if (m_beside.empty()) {
        m_fd.reset(::open(m_file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY, 0666));
    }
    if (!m_fd.valid()) {
        fail(errno);
    }
}

JsonOutput::~JsonOutput() {
    if (!m_beside.empty()) {
        ::unlink(m_beside.c_str());
    }
}

// By another name, such as /dev/stdout: what is printed and the JSON would overwrite each other.
bool JsonOutput::isStandardOutput() const {
    struct stat named = {};
    struct stat standard = {};
    return ::stat(m_file.c_str(), &named) == 0 && ::fstat(STDOUT_FILENO, &standard) == 0 &&
           named.st_dev == standard.st_dev && named.st_ino == standard.st_ino;
}

// Opens nothing where the name is a link's or several files', is no file's or no writable one's, or where the
// directory takes no new file.
void JsonOutput::openBeside() {
    struct stat old = {};
    const bool exists = ::lstat(m_file.c_str(), &old) == 0;
    if (exists && (!S_ISREG(old.st_mode) || old.st_nlink > 1 ||
                   ::faccessat(AT_FDCWD, m_file.c_str(), W_OK, AT_EACCESS) != 0)) {
        return;
    }
    std::string name = m_file + ".XXXXXX";
    m_fd.reset(::mkostemp(name.data(), O_CLOEXEC));
    if (m_fd.valid()) {
        m_beside = name;
        // The owner first, who takes special bits away; only root may give a file to another.
        static_cast<void>(exists && ::fchown(m_fd.get(), old.st_uid, old.st_gid) == 0);
        static_cast<void>(::fchmod(m_fd.get(), exists ? old.st_mode & 07777 : modeOfNewFiles()));
    }
}

void JsonOutput::write(std::string_view document) {
    if (takesStandardOutput()) {
        printWhole(document);
        return;
    }
    struct stat status = {};
    if (m_beside.empty() && ::fstat(m_fd.get(), &status) == 0 && S_ISREG(status.st_mode) &&
        ::ftruncate(m_fd.get(), 0) != 0) {
        fail(errno);
    }
    put(document);
    if (!m_fd.closeChecked() || (!m_beside.empty() && ::rename(m_beside.c_str(), m_file.c_str()) != 0)) {
        fail(errno);
    }
    m_beside.clear();
}

void JsonOutput::put(std::string_view document) const {
    while (!document.empty()) {
        const ssize_t written = ::write(m_fd.get(), document.data(), document.size());
        if (written < 0 && errno != EINTR) {
            fail(errno);
        }
        document.remove_prefix(written > 0 ? static_cast<size_t>(written) : 0);
    }
}

void JsonOutput::fail(int error) const {
    throw Failure(
        fmt::format("--json: \"{}\" cannot be written: {}", m_file, std::generic_category().message(error)));
}

} // namespace volad_dev
