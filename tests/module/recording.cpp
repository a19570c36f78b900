#include "module/recording.h"

#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace module_test {

Recording& recording() {
    static Recording& instance = *new Recording; // threads of the module may outlive main
    return instance;
}

void Recording::add(Kind kind, const std::string& text) {
    std::unique_lock guard(m_Mutex);
    const bool thrown = !m_strThrowOn.empty() && text.find(m_strThrowOn) != std::string::npos;
    m_Records.push_back({kind, text, ::gettid()});
    const auto hook = m_Hook;
    guard.unlock();
    m_Added.notify_all();
    if (hook) {
        hook(text);
    }
    if (thrown) {
        throw std::runtime_error("thrown at: " + text);
    }
}

void Recording::clear() {
    const std::lock_guard guard(m_Mutex);
    m_Records.clear();
}

void Recording::throwOn(std::string_view part) {
    const std::lock_guard guard(m_Mutex);
    m_strThrowOn = part;
}

void Recording::onLine(std::function<void(const std::string&)> hook) {
    const std::lock_guard guard(m_Mutex);
    m_Hook = std::move(hook);
}

std::vector<Record> Recording::all() const {
    const std::lock_guard guard(m_Mutex);
    return m_Records;
}

size_t Recording::countLocked(std::string_view part) const {
    return static_cast<size_t>(std::count_if(m_Records.begin(), m_Records.end(), [&](const Record& record) {
        return record.text.find(part) != std::string::npos;
    }));
}

size_t Recording::count(std::string_view part) const {
    const std::lock_guard guard(m_Mutex);
    return countLocked(part);
}

bool Recording::waitFor(std::string_view part, size_t times, std::chrono::milliseconds limit) const {
    std::unique_lock guard(m_Mutex);
    return m_Added.wait_for(guard, limit, [&] { return countLocked(part) >= times; });
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
        if (character == '\n') {
            visible += "\\n";
        } else {
            visible += character;
        }
    }
    return visible;
}

} // namespace module_test
