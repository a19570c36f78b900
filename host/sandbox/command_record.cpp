#include "host/sandbox/command_record.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <rapidjson/document.h>

namespace volad_dev {
namespace {

using Clock = std::chrono::steady_clock;

constexpr off_t kReserved = off_t{64} << 10;
constexpr size_t kMostFiles = 16; // that are held; who puts more of them there hides something

bool isObject(const rapidjson::Value& value, const char* name) {
    return value.HasMember(name) && value[name].IsObject();
}

std::optional<std::string> textOf(const rapidjson::Value& value) {
    return value.IsString() ? std::optional<std::string>({value.GetString(), value.GetStringLength()})
                            : std::nullopt;
}

// Each tells whether the member is there with this type, and takes it.
bool take(const rapidjson::Value& object, const char* name, std::string& target) {
    const auto member = object.FindMember(name);
    const std::optional<std::string> text =
        member == object.MemberEnd() ? std::nullopt : textOf(member->value);
    target = text.value_or("");
    return text.has_value();
}

bool take(const rapidjson::Value& object, const char* name, double& target) {
    const auto member = object.FindMember(name);
    const bool there = member != object.MemberEnd() && member->value.IsNumber();
    target = there ? member->value.GetDouble() : 0;
    return there;
}

bool take(const rapidjson::Value& object, const char* name, int& target) {
    const auto member = object.FindMember(name);
    const bool there = member != object.MemberEnd() && member->value.IsInt();
    target = there ? member->value.GetInt() : 0;
    return there;
}

bool takeArguments(const rapidjson::Value& object, std::vector<std::string>& target) {
    const auto member = object.FindMember("arguments");
    if (member == object.MemberEnd() || !member->value.IsArray()) {
        return false;
    }
    for (const rapidjson::Value& argument : member->value.GetArray()) {
        const std::optional<std::string> text = textOf(argument);
        if (!text) {
            return false;
        }
        target.push_back(*text);
    }
    return true;
}

bool takeAncestors(const rapidjson::Value& object, std::vector<int>& target) {
    const auto member = object.FindMember("ancestors");
    if (member == object.MemberEnd() || !member->value.IsArray()) {
        return false;
    }
    for (const rapidjson::Value& ancestor : member->value.GetArray()) {
        if (!ancestor.IsInt()) {
            return false;
        }
        target.push_back(ancestor.GetInt());
    }
    return true;
}

bool takeDescriptors(const rapidjson::Value& object, std::map<int, std::string>& target) {
    if (!isObject(object, "descriptors")) {
        return false;
    }
    for (const auto& each : object["descriptors"].GetObject()) {
        const std::string number = textOf(each.name).value_or("");
        const std::optional<std::string> leadsTo = textOf(each.value);
        int descriptor = 0;
        const char* const end = number.data() + number.size();
        if (!leadsTo || number.empty() ||
            std::from_chars(number.data(), end, descriptor) != std::from_chars_result{end, {}}) {
            return false;
        }
        target.emplace(descriptor, *leadsTo);
    }
    return true;
}

// Iterative: a line of brackets is no way into our stack.
std::optional<CommandRecord> parse(std::string_view line) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(line.data(), line.size());
    CommandRecord record;
    const bool whole =
        !document.HasParseError() && document.IsObject() && take(document, "name", record.name) &&
        take(document, "file", record.file) && take(document, "pid", record.pid) &&
        takeAncestors(document, record.ancestors) && takeArguments(document, record.arguments) &&
        take(document, "time", record.time) && take(document, "monotonic", record.monotonic) &&
        take(document, "directory", record.directory) && take(document, "blocked", record.blocked) &&
        takeDescriptors(document, record.descriptors);
    return whole ? std::optional(record) : std::nullopt;
}

std::string contentOf(int file, size_t size) {
    std::string content(size, '\0');
    size_t done = 0;
    for (ssize_t count;
         done < content.size() &&
         (count = pread(file, content.data() + done, content.size() - done, static_cast<off_t>(done))) > 0;) {
        done += static_cast<size_t>(count);
    }
    content.resize(done);
    return content;
}

// The records of all whole lines; counts those that are none.
void takeRecords(const std::string& content, std::vector<CommandRecord>& records, size_t& garbled) {
    for (size_t begin = 0, end = 0; (end = content.find('\n', begin)) != std::string::npos; begin = end + 1) {
        std::optional<CommandRecord> record = parse(std::string_view(content).substr(begin, end - begin));
        if (record) {
            records.push_back(std::move(*record));
        } else {
            ++garbled;
        }
    }
}

// Takes the events out; which ones they are does not matter, the file is read anew.
void takeEvents(int fd) {
    alignas(inotify_event) std::array<char, 4096> buffer;
    while (::read(fd, buffer.data(), buffer.size()) > 0) {
    }
}

} // namespace

std::string CommandRecord::commandLine() const {
    std::string line = name;
    for (const std::string& argument : arguments) {
        line += ' ' + argument;
    }
    return line;
}

CommandRecorder::CommandRecorder(std::string file)
    : m_file(std::move(file)), m_watch(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    const std::string directory = std::filesystem::path(m_file).parent_path();
    if (!m_watch.valid() ||
        inotify_add_watch(m_watch.get(), directory.c_str(), IN_MODIFY | IN_MOVED_TO) < 0) {
        throw std::system_error(errno, std::generic_category(), directory);
    }
    // Room for a few records, which a job that fills the directory does not get. Where a file system has no
    // such thing, there is none.
    const em::UniqueFd record(
        open(m_file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW, 0644));
    static_cast<void>(fallocate(record.get(), FALLOC_FL_KEEP_SIZE, 0, kReserved));
    holdWhatIsThere();
}

// A file only, and without waiting. Held, so that a job that removes it takes nothing back; made anew where
// it is gone, so that what comes next is held from its begin.
void CommandRecorder::holdWhatIsThere() const {
    em::UniqueFd file(open(m_file.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW, 0644));
    struct stat status = {};
    if (!file.valid() || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return;
    }
    const bool held = std::ranges::any_of(m_held, [&](const Held& each) {
        return each.inode == status.st_ino && each.device == status.st_dev;
    });
    if (held) {
        return;
    }
    if (m_held.size() == kMostFiles) {
        m_cut = true;
        return;
    }
    m_held.push_back({std::move(file), status.st_dev, status.st_ino, 0});
}

std::vector<CommandRecord> CommandRecorder::read(size_t* skipped) const {
    takeEvents(m_watch.get()); // first: what is appended while reading is an event again
    std::vector<CommandRecord> records;
    size_t garbled = 0;
    holdWhatIsThere();
    size_t left = kMostRead;
    for (Held& held : m_held) {
        struct stat status = {};
        if (fstat(held.file.get(), &status) != 0) {
            continue;
        }
        m_cut = m_cut || status.st_size < held.largest;
        held.largest = std::max(held.largest, status.st_size);
        const size_t size = std::min(static_cast<size_t>(status.st_size), left);
        left -= size;
        takeRecords(contentOf(held.file.get(), size), records, garbled);
    }
    if (skipped != nullptr) {
        *skipped = garbled;
    }
    return records;
}

std::optional<CommandRecord> CommandRecorder::waitForRecord(std::chrono::milliseconds timeout,
                                                            size_t index) const {
    const Clock::time_point deadline = Clock::now() + timeout;
    for (;;) {
        std::vector<CommandRecord> records = read();
        if (records.size() > index) {
            return std::move(records[index]);
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            return std::nullopt;
        }
        pollfd watched = {m_watch.get(), POLLIN, 0};
        if (poll(&watched, 1, static_cast<int>(std::min<int64_t>(left.count(), 60'000))) < 0 &&
            errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
    }
}

} // namespace volad_dev
