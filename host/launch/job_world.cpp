#include "host/launch/job_world.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "contract/settings.h"
#include "host/common/interpreter_line.h"
#include "host/common/visible_text.h"
#include "host/sandbox/refused_places.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

// What every sandbox has, in its own way: nothing below is to be bound for a job.
constexpr std::array<std::string_view, 9> kThereAnyway = {"/usr",   "/etc",  "/bin", "/sbin", "/lib",
                                                          "/lib64", "/proc", "/dev", "/sys"};
// Shared by all: of these the one file is bound, never the place.
constexpr std::array<std::string_view, 7> kShared = {"/",    "/tmp",     "/opt",    "/run",
                                                     "/var", "/var/tmp", "/var/lib"};

bool isThereAnyway(const fs::path& path) {
    return std::ranges::any_of(kThereAnyway,
                               [&](std::string_view place) { return isWithin(path, std::string(place)); });
}

bool isShared(const fs::path& path) {
    return std::ranges::find(kShared, path.string()) != kShared.end();
}

// Not more than can be looked at before it is shown; a home directory may well hold more.
bool isSmall(const fs::path& directory) {
    constexpr int kMost = 50'000;
    std::error_code failed;
    fs::recursive_directory_iterator entry(directory, fs::directory_options::skip_permission_denied, failed);
    int seen = 0;
    for (; !failed && entry != fs::recursive_directory_iterator() && seen < kMost; ++seen) {
        entry.increment(failed);
    }
    return seen < kMost;
}

bool isDirectory(const fs::path& path) {
    std::error_code failed;
    return fs::is_directory(path, failed);
}

// Without "." and double "/"; ".." stays, since behind a link it leads elsewhere.
fs::path plain(const fs::path& path) {
    fs::path shorter;
    for (const fs::path& part : path) {
        if (!part.empty() && part != ".") {
            shorter /= part;
        }
    }
    return shorter;
}

class Places {
public:
    // A directory with all that lies in it.
    void addDirectory(const fs::path& named) {
        const fs::path directory = plain(named);
        addWayOf(directory);
        addItself(directory);
    }
    // A file with its neighbours, where those are its own; behind a link the real one as well.
    void addFile(const fs::path& file) {
        addWayOf(plain(file));
        std::error_code failed;
        const fs::path real = fs::canonical(file, failed);
        for (const fs::path& each : {file.lexically_normal(), real}) {
            if (each.empty() || !fs::exists(each, failed) || isThereAnyway(each)) {
                continue;
            }
            const fs::path around = each.parent_path();
            m_paths.push_back(isShared(around) || !isSmall(around) ? each : around);
        }
    }
    // A program brings its installation: "/opt/tool" of "/opt/tool/bin/python3".
    void addInterpreter(const fs::path& file) {
        addFile(file);
        const fs::path directory = file.parent_path();
        if (directory.filename() == "bin" || directory.filename() == "sbin") {
            addDirectory(directory.parent_path());
        }
    }

    // Without those that lie below another one.
    [[nodiscard]] std::vector<std::string> take() {
        std::ranges::sort(m_paths);
        std::vector<std::string> kept;
        for (const fs::path& path : m_paths) {
            if (std::ranges::none_of(kept, [&](const std::string& above) { return isWithin(path, above); })) {
                kept.push_back(path);
            }
        }
        return kept;
    }

private:
    void addItself(const fs::path& directory) {
        if (isDirectory(directory) && !isThereAnyway(directory) && !isShared(directory) &&
            isSmall(directory)) {
            m_paths.push_back(directory);
        }
    }
    // What stands in front of a ".." has to be there too.
    void addWayOf(const fs::path& path) {
        fs::path way;
        for (const fs::path& part : path) {
            if (part == "..") {
                addItself(way);
            }
            way /= part;
        }
    }

    std::vector<fs::path> m_paths;
};

std::optional<std::string> interpreterOf(const fs::path& program) {
    struct stat status = {};
    if (stat(program.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt; // a pipe would be waited for
    }
    std::ifstream file(program, std::ios::binary);
    std::string line(kInterpreterLine, '\0');
    file.read(line.data(), static_cast<std::streamsize>(line.size()));
    line.resize(static_cast<size_t>(file.gcount()));
    return interpreterIn(std::move(line));
}

// Where the module will stand: what is set, else the job's own text up to its last "/". Nothing: it stays.
std::optional<std::string> directoryOf(const Settings& settings) {
    std::string directory = settings.jobDirectory.value_or("");
    const size_t slash = settings.jobName->rfind('/');
    if (directory.empty() && slash != std::string::npos && slash != 0) {
        directory = settings.jobName->substr(0, slash);
    }
    // The host stands in the root directory, as a service does.
    return directory.empty() ? std::nullopt : std::optional((fs::path("/") / directory).string());
}

// As the shell takes it: a path counts from where the module stands, a name alone is searched in PATH.
std::optional<fs::path> programOf(const Settings& settings, const fs::path& directory) {
    const std::string program = settings.jobName->substr(0, settings.jobName->find(' '));
    return program.find('/') == std::string::npos ? std::nullopt : std::optional(directory / program);
}

// As the kernel: an interpreter counts from where the module stands, and may be a script itself.
void lookAtProgram(fs::path program, const fs::path& stands, Places& places, std::vector<Warning>& warnings) {
    constexpr int kMostInterpreters = 4;
    places.addFile(program);
    for (int i = 0; i < kMostInterpreters; ++i) {
        const std::optional<std::string> interpreter = interpreterOf(program);
        if (!interpreter) {
            return;
        }
        program = stands / *interpreter;
        std::error_code failed;
        if (!fs::exists(program, failed)) {
            warnings.push_back(
                {"job-interpreter-missing",
                 fmt::format("the job's interpreter \"{}\" is not there", visibleText(*interpreter))});
            return;
        }
        places.addInterpreter(program);
    }
}

} // namespace

JobWorld jobWorld(const Settings& settings) {
    JobWorld world;
    if (settings.jobName.value_or("").empty()) {
        return world;
    }
    if (settings.jobName->size() > em::kLongestJob) {
        world.warnings.push_back(
            {"job-text-cut", fmt::format("the job's text is cut behind {} bytes: the rest is "
                                         "not run",
                                         em::kLongestJob)});
    }
    Places places;
    // Wherever a text names it: a shell finds it behind "sh ", too.
    places.addDirectory(settings.here);
    fs::path stands = "/";
    if (const std::optional<std::string> directory = directoryOf(settings)) {
        places.addDirectory(*directory);
        if (isDirectory(*directory)) {
            std::error_code failed;
            world.directory = fs::canonical(*directory, failed);
            stands = *directory;
        } else {
            world.warnings.push_back(
                {"job-directory-missing",
                 fmt::format(
                     "the job's directory \"{}\" is not there: the module goes on without a word, and "
                     "the job runs where the host stands",
                     visibleText(*directory))});
        }
    }
    if (const std::optional<fs::path> program = programOf(settings, stands)) {
        lookAtProgram(*program, stands, places, world.warnings);
    }
    world.places = places.take();
    return world;
}

} // namespace volad_dev
