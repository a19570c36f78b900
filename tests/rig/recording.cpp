#include "rig/recording.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace em::test {

Recording& recording() {
    static Recording& instance = *new Recording; // threads of the module may outlive main
    return instance;
}

void Recording::add(Kind kind, const std::string& text) {
    std::unique_lock guard(m_mutex);
    bool thrown = !m_throwOn.empty() && text.find(m_throwOn) != std::string::npos;
    if (kind != Kind::HostCall && m_linesToThrow != 0 && --m_linesToThrow == 0) {
        m_thrown = text;
        thrown = true;
    }
    m_records.push_back({kind, text, ::gettid()});
    const auto hook = m_hook;
    guard.unlock();
    m_added.notify_all();
    if (hook) {
        hook(text);
    }
    if (thrown) {
        throw std::runtime_error("thrown at: " + text);
    }
}

void Recording::clear() {
    const std::lock_guard guard(m_mutex);
    m_records.clear();
}

void Recording::throwOn(std::string_view part) {
    const std::lock_guard guard(m_mutex);
    m_throwOn = part;
}

void Recording::throwAt(size_t line) {
    const std::lock_guard guard(m_mutex);
    m_linesToThrow = line;
    m_thrown.clear();
}

std::string Recording::thrownLine() const {
    const std::lock_guard guard(m_mutex);
    return m_thrown;
}

void Recording::onLine(std::function<void(const std::string&)> hook) {
    const std::lock_guard guard(m_mutex);
    m_hook = std::move(hook);
}

std::vector<Record> Recording::all() const {
    const std::lock_guard guard(m_mutex);
    return m_records;
}

std::vector<Record> Recording::lines() const {
    std::vector<Record> lines = all();
    std::erase_if(lines, [](const Record& record) { return record.kind == Kind::HostCall; });
    return lines;
}

std::vector<std::string> Recording::hostCalls() const {
    std::vector<std::string> calls;
    for (const Record& record : all()) {
        if (record.kind == Kind::HostCall) {
            calls.push_back(record.text);
        }
    }
    return calls;
}

size_t Recording::countLocked(std::string_view part) const {
    return static_cast<size_t>(std::count_if(m_records.begin(), m_records.end(), [&](const Record& record) {
        return record.text.find(part) != std::string::npos;
    }));
}

size_t Recording::count(std::string_view part) const {
    const std::lock_guard guard(m_mutex);
    return countLocked(part);
}

bool Recording::waitFor(std::string_view part, size_t times, std::chrono::milliseconds limit) const {
    std::unique_lock guard(m_mutex);
    return m_added.wait_for(guard, limit, [&] { return countLocked(part) >= times; });
}

std::string Recording::shown() const {
    std::string text;
    for (const Record& record : all()) {
        text += std::to_string(record.thread) + (record.kind == Kind::HostCall ? " > " : "   ") +
                withVisibleNewlines(record.text) + "\n";
    }
    return text;
}

std::string withVisibleNewlines(std::string_view text) {
    std::string visible;
    for (const char character : text) {
        visible += character == '\n' ? "\\n" : std::string(1, character);
    }
    return visible;
}

namespace {

[[gnu::format(printf, 2, 0)]] void add(Kind kind, const char* format, va_list arguments, const char* module) {
    va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<size_t>(std::vsnprintf(nullptr, 0, format, arguments)), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    const bool ours = std::string("EM_SHUTDOWN") == module;
    recording().add(kind, (ours ? "" : "wrong module name: ") + text);
}

} // namespace

void RecordingDebugObject::print(const char* format, va_list arguments, const char* module) {
    add(Kind::Print, format, arguments, module);
}

void RecordingDebugObject::trace(const char* format, va_list arguments, const char* module) {
    add(Kind::Trace, format, arguments, module);
}

} // namespace em::test
