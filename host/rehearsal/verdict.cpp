#include "host/rehearsal/verdict.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "contract/operation_codes.h"
#include "contract/settings.h"
#include "contract/shutdown_status.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;
using em::ShutdownStatus;

constexpr std::array<const char*, 9> kEndTexts = {"the command was started",
                                                  "cancelled",
                                                  "refused at the gate: the maintenance mode is not set",
                                                  "stopped before the command",
                                                  "reported as executed, but no command was started",
                                                  "the request was not accepted",
                                                  "the scheduled time passed without a request",
                                                  "timed out",
                                                  "interrupted"};
static_assert(kEndTexts.size() == static_cast<size_t>(End::Interrupted) + 1);

// Measured at the host, not read from the trace: the trace may be off, and its lines are the module's own.
// A stage and the message with which it ends. data counts where it is not kAny.
constexpr uint32_t kAny = 0xFFFFFFFF;
struct Landmark {
    const char* stage;
    uint32_t opcode, extension, data;
};
constexpr std::array<Landmark, 5> kLandmarks = {
    {{"gate", em::opcode::kShutdownStatusChanged, 0, static_cast<uint32_t>(ShutdownStatus::DelayRunning)},
     {"settings", em::opcode::kHostSettings, em::setting::kForceDelay.item, kAny},
     {"delay", em::opcode::kHostSettings, em::setting::kJobName.item, kAny},
     {"job settings", em::opcode::kHostSettings, em::setting::kJobTimeout.item, kAny},
     {"job", em::opcode::kSetPowerOffReason, 0, kAny}}};
constexpr const char* kLastStage = "command";

bool isStatus(const Message& message) {
    return message.opcode == em::opcode::kShutdownStatusChanged;
}

bool isReported(const std::vector<Message>& messages, ShutdownStatus status) {
    return std::any_of(messages.begin(), messages.end(), [status](const Message& message) {
        return isStatus(message) && message.data == static_cast<uint32_t>(status);
    });
}

// When the run ended: at the command, else with the last status.
double endTime(const std::vector<Message>& messages, double begin,
               const std::optional<CommandRecord>& command) {
    double end = begin;
    for (const Message& message : messages) {
        end = isStatus(message) ? std::max(end, message.time) : end;
    }
    return command ? command->monotonic : end;
}

} // namespace

const char* textOf(End end) {
    return kEndTexts[static_cast<size_t>(end)];
}

End askedEnd(const RehearsalOptions& options) {
    if (options.maintenance != Maintenance::On) {
        return End::Refused;
    }
    if (options.stopAfter && (!options.cancelAfter || *options.stopAfter < *options.cancelAfter)) {
        return End::Stopped;
    }
    return options.cancelAfter ? End::Cancelled : End::Command;
}

uint8_t lastStatus(const std::vector<Message>& messages) {
    const auto last = std::find_if(messages.rbegin(), messages.rend(), isStatus);
    return last == messages.rend() ? 0 : static_cast<uint8_t>(last->data);
}

std::optional<End> endOf(const std::vector<Message>& messages, bool stopAsked, bool commandSeen) {
    const auto status = static_cast<ShutdownStatus>(lastStatus(messages));
    // Its own cancel comes before the abort that every cancel ends in; a refusal at the gate has the abort
    // alone.
    if (status == ShutdownStatus::Aborted) {
        return commandSeen                                       ? End::Command
               : isReported(messages, ShutdownStatus::Cancelled) ? End::Cancelled
                                                                 : End::Refused;
    }
    // The module says "executing" once the command was started, and also where Stop kept it from that: only
    // the record knows.
    if (status == ShutdownStatus::Executing) {
        return commandSeen ? End::Command : stopAsked ? End::Stopped : End::NothingRan;
    }
    return std::nullopt;
}

std::vector<Phase> phasesOf(const std::vector<Message>& messages, double requestTime,
                            const std::optional<CommandRecord>& command) {
    std::vector<Phase> phases;
    const double end = endTime(messages, requestTime, command);
    double begin = requestTime;
    auto from = std::find_if(messages.begin(), messages.end(),
                             [&](const Message& message) { return message.time >= requestTime; });
    for (const Landmark& landmark : kLandmarks) {
        from = std::find_if(from, messages.end(), [&](const Message& message) {
            return message.opcode == landmark.opcode && message.extension == landmark.extension &&
                   (landmark.data == kAny || message.data == landmark.data);
        });
        // The run ended within this stage, and what would follow did not begin.
        if (from == messages.end()) {
            phases.push_back({landmark.stage, std::max(0.0, end - begin)});
            return phases;
        }
        phases.push_back({landmark.stage, from->time - begin});
        begin = from->time;
    }
    phases.push_back({kLastStage, std::max(0.0, end - begin)});
    return phases;
}

std::vector<LeftFile> filesLeft(const std::string& directory) {
    const std::string record = fs::path(layout::kCommandRecord).filename();
    std::vector<LeftFile> files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory)) {
        const std::string name = entry.path().lexically_relative(directory);
        if (entry.is_regular_file() && name != record) {
            files.push_back({name, entry.file_size()});
        }
    }
    std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return files;
}

} // namespace volad_dev
