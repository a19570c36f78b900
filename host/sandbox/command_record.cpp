#include "host/sandbox/command_record.h"

#include <poll.h>
#include <sys/inotify.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <rapidjson/document.h>

namespace volad_dev {
namespace {

using Clock = std::chrono::steady_clock;

std::string textMember(const rapidjson::Value& object, const char* name) {
    const auto member = object.FindMember(name);
    if (member == object.MemberEnd() || !member->value.IsString()) {
        throw std::runtime_error(std::string("command record: no text ") + name);
    }
    return {member->value.GetString(), member->value.GetStringLength()};
}

double numberMember(const rapidjson::Value& object, const char* name) {
    const auto member = object.FindMember(name);
    if (member == object.MemberEnd() || !member->value.IsNumber()) {
        throw std::runtime_error(std::string("command record: no number ") + name);
    }
    return member->value.GetDouble();
}

CommandRecord parse(const std::string& line) {
    rapidjson::Document document;
    document.Parse(line.data(), line.size());
    if (document.HasParseError() || !document.IsObject() || !document.HasMember("arguments") ||
        !document["arguments"].IsArray() || !document.HasMember("descriptors") ||
        !document["descriptors"].IsObject()) {
        throw std::runtime_error("command record: no record in \"" + line + '"');
    }
    CommandRecord record;
    record.name = textMember(document, "name");
    for (const rapidjson::Value& argument : document["arguments"].GetArray()) {
        record.arguments.emplace_back(argument.GetString(), argument.GetStringLength());
    }
    record.time = numberMember(document, "time");
    record.monotonic = numberMember(document, "monotonic");
    record.directory = textMember(document, "directory");
    record.pid = static_cast<pid_t>(numberMember(document, "pid"));
    for (const rapidjson::Value& ancestor : document["ancestors"].GetArray()) {
        record.ancestors.push_back(ancestor.GetInt());
    }
    record.blocked = textMember(document, "blocked");
    // Members lie in a row; RapidJSON's iterators compare ambiguously for clang.
    const auto& descriptors = document["descriptors"];
    for (const auto* each = &*descriptors.MemberBegin();
         each < &*descriptors.MemberBegin() + descriptors.MemberCount(); ++each) {
        record.descriptors.emplace(std::stoi(each->name.GetString()), each->value.GetString());
    }
    return record;
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
}

std::vector<CommandRecord> CommandRecorder::read() const {
    takeEvents(m_watch.get()); // first: what is appended while reading is an event again
    std::vector<CommandRecord> records;
    std::ifstream file(m_file);
    m_garbled = 0;
    for (std::string line; std::getline(file, line) && !file.eof();) {
        try {
            records.push_back(parse(line));
        } catch (const std::runtime_error&) {
            ++m_garbled;
        }
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
