#include "host/drive/driving.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <optional>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include "host/common/failure.h"
#include "host/drive/line_buffer.h"
#include "host/drive/script_parser.h"
#include "host/drive/script_run.h"
#include "host/rehearsal/event_channel.h"
#include "host/rehearsal/inside_process.h"

namespace volad_dev {
namespace {

// The next line of the script, nothing at its end. Throws Failure, as Patience does.
std::optional<std::string> nextLine(int fd, LineBuffer& lines, const Patience& patience) {
    for (;;) {
        if (std::optional<std::string> line = lines.next()) {
            return line;
        }
        static_cast<void>(patience.wait(std::array{fd}, HUGE_VAL));
        std::array<char, 65536> buffer;
        const ssize_t count = read(fd, buffer.data(), buffer.size());
        if (count > 0) {
            lines.take({buffer.data(), static_cast<size_t>(count)});
        } else if (count == 0) {
            return lines.last();
        } else if (errno != EINTR && errno != EAGAIN) {
            throw std::system_error(errno, std::generic_category(), "the script");
        }
    }
}

// Whatever fails is told with the place in front.
template <class Action>
auto placed(const std::string& place, Action&& action) {
    try {
        return action();
    } catch (const Failure& failure) {
        throw Failure(fmt::format("{}: {}", place, failure.what()), failure.code());
    } catch (const std::exception& exception) {
        throw Failure(fmt::format("{}: {}", place, exception.what()));
    }
}

void carryOut(const Statement& statement, const ScriptParser& parser, ScriptRun& run, EventSender& events) {
    events.begun(fmt::format("{}: {}", parser.place(), statement.verb->name));
    placed(parser.place(), [&] { run.execute(statement, parser.directory()); });
}

void follow(const DriveOptions& options, ScriptRun& run, EventSender& events) {
    events.begun(options.script + ": the begin");
    ScriptParser parser(options.script, options.here);
    LineBuffer lines;
    const auto next = [&] {
        return placed(options.script, [&] { return nextLine(options.scriptFd, lines, run.patience()); });
    };
    while (const std::optional<std::string> line = next()) {
        std::optional<Statement> statement;
        try {
            statement = parser.next(*line);
        } catch (const Failure& failure) {
            if (!options.goesOn) {
                throw;
            }
            events.complaint(failure.what());
        }
        if (statement) {
            carryOut(*statement, parser, run, events);
        }
    }
    events.begun(options.script + ": the end");
    placed(options.script, [&] { run.finish(); });
}

// The failure is told first: the module's end may take its time.
void drive(const DriveOptions& options, EventSender& events) {
    startRecord();
    const Settings settings = takeSettings(options.settingsFd, options.settings);
    if (!options.messages.empty()) {
        standBesideMessages(options.messages);
    }
    ScriptRun run(options, settings, events);
    static_cast<void>(tellFailures(events, [&] { follow(options, run, events); }));
}

} // namespace

int runDriving(const DriveOptions& options) {
    enterInside({options.stopFd, options.eventsFd, options.scriptFd});
    EventSender events(options.eventsFd);
    const bool driven = tellFailures(events, [&] { drive(options, events); });
    removeRecord();
    return driven ? kExitAsAsked : kExitOtherwise;
}

} // namespace volad_dev
