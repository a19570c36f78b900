#include "host/rehearsal/event_channel.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <exception>

#include <fmt/format.h>

#include "host/common/failure.h"
#include "host/common/visible_text.h"
#include "host/run/run_json.h"

namespace volad_dev {

void EventSender::trace(std::optional<double> since, const std::string& line) {
    const std::string time = since ? fmt::format("[{:8.3f}]", *since) : std::string(10, ' ');
    send('T', fmt::format("{} {}", time, visibleText(line)));
}

void EventSender::failure(const std::string& text, ExitCode code) {
    send('F', fmt::format("{} {}", static_cast<int>(code), visibleText(text)));
}

void EventSender::progress(const ShutdownRun& run) {
    send('P', runJson(run));
}

void EventSender::conclusion(const ShutdownRun& run) {
    send('C', runJson(run));
}

void EventSender::said(const std::string& line) {
    send('S', visibleText(line));
}

void EventSender::complaint(const std::string& line) {
    send('E', visibleText(line));
}

void EventSender::begun(const std::string& what) {
    send('B', visibleText(what));
}

void EventSender::send(char kind, const std::string& text) {
    const std::string event = fmt::format("{}{}\n{}", kind, text.size(), text);
    const MutexLock lock(m_mutex); // events of two threads must not mix
    for (size_t done = 0; done < event.size();) {
        const ssize_t count = write(m_fd.get(), event.data() + done, event.size() - done);
        if (count < 0 && errno != EINTR) {
            return;
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
}

bool tellFailures(EventSender& events, const std::function<void()>& work) {
    try {
        work();
        return true;
    } catch (const Failure& failure) {
        events.failure(failure.what(), failure.code());
    } catch (const std::exception& exception) {
        events.failure(exception.what(), kExitOtherwise);
    }
    return false;
}

void EventReceiver::take(std::string_view bytes) {
    m_rest.append(bytes);
    std::string_view rest = m_rest;
    for (;;) {
        const size_t header = rest.find('\n');
        size_t length = 0;
        if (header == std::string_view::npos || header == 0) {
            break;
        }
        std::from_chars(rest.data() + 1, rest.data() + header, length);
        if (rest.size() - header - 1 < length) {
            break;
        }
        handle(rest.front(), rest.substr(header + 1, length));
        rest.remove_prefix(header + 1 + length);
    }
    m_rest.erase(0, m_rest.size() - rest.size());
}

void EventReceiver::handle(char kind, std::string_view text) const {
    switch (kind) {
    case 'T':
        m_handlers.trace(std::string(text));
        break;
    case 'S':
        m_handlers.said(std::string(text));
        break;
    case 'E':
        m_handlers.complaint(std::string(text));
        break;
    case 'B':
        m_handlers.begun(std::string(text));
        break;
    case 'P':
    case 'C':
        if (const std::optional<ShutdownRun> run = readRunJson(text)) {
            (kind == 'P' ? m_handlers.progress : m_handlers.conclusion)(*run);
        }
        break;
    case 'F': {
        int code = kExitOtherwise;
        std::from_chars(text.data(), text.data() + text.size(), code);
        m_handlers.failure(std::string(text.substr(text.find(' ') + 1)), code);
        break;
    }
    default:
        break;
    }
}

} // namespace volad_dev
