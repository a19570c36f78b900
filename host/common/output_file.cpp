#include "host/common/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <random>
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

CLI::Option* addOutputOption(CLI::App& app, const char* option, std::string& target,
                             const char* description) {
    return mustBe(app.add_option(option, target, description)->type_name("FILE"), "a file or -",
                  [](const std::string& file) { return !file.empty(); });
}

OutputFile::OutputFile(const char* option, const std::string& file, Way way)
    : m_option(option), m_file(file) {
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

OutputFile::~OutputFile() {
    if (m_named) {
        ::unlink(m_beside.c_str());
    }
}

// By another name, such as /dev/stdout: what is printed and the JSON would overwrite each other.
bool OutputFile::isStandardOutput() const {
    struct stat named = {};
    struct stat standard = {};
    return ::stat(m_file.c_str(), &named) == 0 && ::fstat(STDOUT_FILENO, &standard) == 0 &&
           named.st_dev == standard.st_dev && named.st_ino == standard.st_ino;
}

// Opens nothing where the name is a link's or several files', is no file's or no writable one's, or where the
// directory takes no new file.
void OutputFile::openBeside() {
    struct stat old = {};
    const bool exists = ::lstat(m_file.c_str(), &old) == 0;
    if (!exists && errno != ENOENT) {
        fail(errno);
    }
    if (exists && (!S_ISREG(old.st_mode) || old.st_nlink > 1 ||
                   ::faccessat(AT_FDCWD, m_file.c_str(), W_OK, AT_EACCESS) != 0)) {
        return;
    }
    openUnnamed();
    if (!m_fd.valid()) { // not every file system has these
        m_beside = m_file + ".XXXXXX";
        m_fd.reset(::mkostemp(m_beside.data(), O_CLOEXEC));
        m_named = m_fd.valid();
    }
    if (!m_fd.valid()) {
        m_beside.clear();
    } else {
        // The owner first, who takes special bits away; only root may give a file to another.
        static_cast<void>(exists && ::fchown(m_fd.get(), old.st_uid, old.st_gid) == 0);
        static_cast<void>(::fchmod(m_fd.get(), exists ? old.st_mode & 07777 : modeOfNewFiles()));
    }
}

void OutputFile::openUnnamed() {
    const size_t slash = m_file.rfind('/');
    const std::string directory = slash == std::string::npos ? "./" : m_file.substr(0, slash + 1);
    m_fd.reset(::open(directory.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
    m_beside = directory + ".volad-dev.";
}

// Beside it, by a name that nobody has taken.
bool OutputFile::nameUnnamed() {
    constexpr int kMostTries = 100;
    const std::string unnamed = fmt::format("/proc/self/fd/{}", m_fd.get());
    const std::string begin = m_beside;
    for (int i = 0; i < kMostTries && !m_named; ++i) {
        m_beside = fmt::format("{}{:08x}", begin, std::random_device()());
        m_named = ::linkat(AT_FDCWD, unnamed.c_str(), AT_FDCWD, m_beside.c_str(), AT_SYMLINK_FOLLOW) == 0;
        if (!m_named && errno != EEXIST) {
            break;
        }
    }
    return m_named;
}

// Where it may be written and not replaced: another's in a directory like "/tmp", a mount, no "/proc". It was
// no link when it was looked at.
void OutputFile::writeInPlace(std::string_view document) {
    m_fd.reset(
        ::open(m_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW, 0666));
    if (!m_fd.valid()) {
        fail(errno);
    }
    put(document);
    if (!m_fd.closeChecked()) {
        fail(errno);
    }
}

void OutputFile::write(std::string_view document) {
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
    const bool named = m_beside.empty() || m_named || nameUnnamed();
    if (!m_fd.closeChecked()) {
        fail(errno);
    }
    if (!named || (!m_beside.empty() && ::rename(m_beside.c_str(), m_file.c_str()) != 0)) {
        writeInPlace(document);
        return;
    }
    m_named = false;
}

void OutputFile::put(std::string_view document) const {
    while (!document.empty()) {
        const ssize_t written = ::write(m_fd.get(), document.data(), document.size());
        if (written < 0 && errno != EINTR) {
            fail(errno);
        }
        document.remove_prefix(written > 0 ? static_cast<size_t>(written) : 0);
    }
}

void OutputFile::fail(int error) const {
    throw Failure(fmt::format("{}: \"{}\" cannot be written: {}", m_option, m_file,
                              std::generic_category().message(error)));
}

} // namespace volad_dev
