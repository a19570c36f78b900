#include "support/trace_capture.h"
#include "support/environment.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "base/system_fake.h"
#include "contract/places.h"
#include "trace/debug_client.h"

namespace em::test {
namespace {

class Recorder {
public:
    void attach() {
        const std::lock_guard guard(m_mutex);
        if (std::exchange(m_attached, true)) {
            std::fputs("two trace captures at a time\n", stderr);
            std::abort();
        }
        m_lines.clear();
        throwNothing();
    }
    void detach() {
        const std::lock_guard guard(m_mutex);
        m_attached = false;
        throwNothing();
    }

    void record(TraceLine line) {
        std::unique_lock guard(m_mutex);
        if (!m_attached) {
            return;
        }
        const bool thrown = (!m_throwOn.empty() && line.text.find(m_throwOn) != std::string::npos) ||
                            (m_linesToThrow != 0 && --m_linesToThrow == 0);
        const std::string text = line.text;
        if (thrown) {
            m_thrown = text;
        }
        m_lines.push_back(std::move(line));
        guard.unlock();
        m_written.notify_all();
        if (thrown) {
            throw std::runtime_error("debug object refused: " + text);
        }
    }

    std::vector<TraceLine> lines() {
        const std::lock_guard guard(m_mutex);
        return m_lines;
    }
    void clear() {
        const std::lock_guard guard(m_mutex);
        m_lines.clear();
    }
    void throwOn(std::string_view part) {
        const std::lock_guard guard(m_mutex);
        m_throwOn = part;
    }
    void throwAt(size_t number) {
        const std::lock_guard guard(m_mutex);
        throwNothing();
        m_linesToThrow = number;
    }
    std::string thrownLine() {
        const std::lock_guard guard(m_mutex);
        return m_thrown;
    }
    bool waitFor(std::string_view part, std::chrono::milliseconds timeout) {
        std::unique_lock guard(m_mutex);
        return m_written.wait_for(guard, timeout, [&] { return holds(part); });
    }

private:
    void throwNothing() {
        m_throwOn.clear();
        m_thrown.clear();
        m_linesToThrow = 0;
    }
    bool holds(std::string_view part) const {
        return std::any_of(m_lines.begin(), m_lines.end(),
                           [&](const TraceLine& line) { return line.text.find(part) != std::string::npos; });
    }

    std::mutex m_mutex;
    std::condition_variable m_written;
    bool m_attached = false;
    std::vector<TraceLine> m_lines;
    std::string m_throwOn;
    std::string m_thrown;
    size_t m_linesToThrow = 0; // down to the line that is thrown
};

// Threads that outlive a test may still write at the process's end, so it is never destroyed.
Recorder& recorder() {
    static Recorder& instance = *new Recorder;
    return instance;
}

__attribute__((format(printf, 1, 0))) std::string formatted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<size_t>(std::max(0, std::vsnprintf(nullptr, 0, format, arguments))), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

constexpr unsigned kIsOutputSink = 2;
constexpr unsigned kPrint = 7;
constexpr unsigned kTrace = 8;

bool isOutputSink(void*) {
    return true;
}

template <unsigned Slot>
__attribute__((format(printf, 2, 0))) void write(void*, const char* format, va_list arguments,
                                                 const char* module) {
    recorder().record({formatted(format, arguments), Slot, module, std::this_thread::get_id()});
}

// The debug object as the host's compiler would lay it out: its first word is the table.
struct DebugObject {
    std::array<void*, 9> table{};
    void** firstWord = table.data();

    DebugObject() {
        table[kIsOutputSink] = reinterpret_cast<void*>(&isOutputSink);
        table[kPrint] = reinterpret_cast<void*>(&write<kPrint>);
        table[kTrace] = reinterpret_cast<void*>(&write<kTrace>);
    }
};

void* debugObject() {
    static DebugObject& instance = *new DebugObject;
    return &instance.firstWord;
}

// Through the environment alone, as with no configuration directory; the caller's own setting is put back.
void configureLevel(uint32_t level) {
    constexpr const char* kVariable = "TM_LOG_DEBUG_LEVEL";
    // No trace configuration of this machine has a say in a test.
    fake::setPath(place::kTraceConfigDirectory, "/nonexistent");
    const char* const value = std::getenv(kVariable);
    const std::string former = value == nullptr ? "" : value;
    setEnvironment(kVariable, std::to_string(level));
    static_cast<void>(processTrace.value.Configure("EM_SHUTDOWN"));
    if (value == nullptr) {
        unsetEnvironment(kVariable);
    } else {
        setEnvironment(kVariable, former);
    }
}

} // namespace

TraceCapture::TraceCapture(uint32_t level) {
    fake::setSymbol("Debug", debugObject());
    // The trace finds the recorder by this line, so that a test may reset the fake's script afterwards.
    processTrace.value.Print("%s", "");
    recorder().attach();
    configureLevel(level);
}

TraceCapture::~TraceCapture() {
    configureLevel(0);
    recorder().detach();
}

std::vector<TraceLine> TraceCapture::lines() const {
    return recorder().lines();
}

std::string TraceCapture::text() const {
    std::string all;
    for (const TraceLine& line : lines()) {
        all += line.text;
    }
    return all;
}

bool TraceCapture::contains(std::string_view part) const {
    return WaitForLine(part, std::chrono::milliseconds(0));
}

void TraceCapture::clear() {
    recorder().clear();
}

void TraceCapture::throwOn(std::string_view part) {
    recorder().throwOn(part);
}

void TraceCapture::throwAt(size_t number) {
    recorder().throwAt(number);
}

std::string TraceCapture::thrownLine() const {
    return recorder().thrownLine();
}

bool TraceCapture::WaitForLine(std::string_view part, std::chrono::milliseconds timeout) const {
    return recorder().waitFor(part, timeout);
}

} // namespace em::test
