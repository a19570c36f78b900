#include "host/run/trace_line.h"

#include <algorithm>
#include <vector>

#include "contract/module_interface.h"
#include "contract/trace_lines.h"

namespace volad_dev {
namespace {

namespace line = em::line;

struct Row {
    TraceEvent event;
    unsigned level;
    const char* format;
};

// The "ExecuteCmd" lines come at every level. A longer form of a line stands before a shorter one.
constexpr Row kTagged[] = {
    {TraceEvent::OffTimeReached, 1, line::kOffTimeReached},
    {TraceEvent::QueueFull, 1, line::kQueueFull},
    {TraceEvent::QueueShut, 4, line::kQueueShut},
    {TraceEvent::QueueRaised, 4, line::kTaskRaised},
    {TraceEvent::Queued, 5, line::kTaskInserted},
    {TraceEvent::CancelRequested, 2, line::kCancelRequest},
    {TraceEvent::LevelOnly, 2, line::kCancelTaken},
    {TraceEvent::LevelOnly, 1, line::kCancelTooLate},
    {TraceEvent::LevelOnly, 1, line::kNothingToCancel},
    {TraceEvent::Status, 3, line::kStatusChanged},
    {TraceEvent::TaskBegins, 1, line::kTaskBegins},
    {TraceEvent::LevelOnly, 5, line::kGateAnswer},
    {TraceEvent::GateRefuses, 1, line::kGateRefuses},
    {TraceEvent::ReasonNumber, 3, line::kReasonNumber},
    {TraceEvent::ReasonText, 1, line::kReasonText},
    {TraceEvent::LevelOnly, 2, line::kSettingsAsked},
    {TraceEvent::DelayGiven, 3, line::kDelayGiven},
    {TraceEvent::NoDelayGiven, 3, line::kNoDelayGiven},
    {TraceEvent::ForceDelay, 3, line::kForceDelayGiven},
    {TraceEvent::ForceDelay, 3, line::kNoForceDelayGiven},
    {TraceEvent::DelayBegins, 3, line::kDelayBegins},
    {TraceEvent::DelayOver, 3, line::kDelayOver},
    {TraceEvent::EndsCancelled, 1, line::kEndsCancelled},
    {TraceEvent::Performing, 1, line::kPerforming},
    {TraceEvent::JobDirectory, 3, line::kJobDirectory},
    {TraceEvent::JobLimit, 3, line::kJobTimeout},
    {TraceEvent::NoJob, 2, line::kNoJob},
    {TraceEvent::JobFound, 1, line::kJobFound},
    {TraceEvent::JobFound, 2, line::kJobBegins},
    {TraceEvent::JobEnded, 1, line::kJobEnded},
    {TraceEvent::JobTimedOut, 1, line::kJobTimedOut},
    {TraceEvent::JobFailed, 1, line::kJobFailed},
    {TraceEvent::CommandBegins, 0, line::kCommandBegins},
    {TraceEvent::CommandForked, 0, line::kCommandForked},
    {TraceEvent::CommandFailed, 0, line::kCommandFailed},
    {TraceEvent::CommandEnded, 0, line::kCommandEnded},
    {TraceEvent::Privilege, 1, line::kPrivilege},
    {TraceEvent::Disconnect, 1, line::kDisconnectBegins},
    {TraceEvent::LevelOnly, 2, line::kShutdownByUser},
    {TraceEvent::Exception, 1, line::kException},
};

struct MessageRow {
    const char* format;
    MessageFields fields;
};
constexpr MessageRow kMessages[] = {
    {line::kMessageWithNumber, messageFields(false, MessageData::Number)},
    {line::kMessageOfCabinetWithNumber, messageFields(true, MessageData::Number)},
    {line::kMessageWithBytes, messageFields(false, MessageData::None)},
    {line::kMessageOfCabinetWithBytes, messageFields(true, MessageData::None)},
    {line::kMessageWithStructure, messageFields(false, MessageData::Structure)},
    {line::kMessageOfCabinetWithStructure, messageFields(true, MessageData::Structure)},
    {line::kMessage, messageFields(false, MessageData::None)},
    {line::kMessageOfCabinet, messageFields(true, MessageData::None)},
};
constexpr unsigned kMessageLevel = 2;

// A byte behind the colon and the blank, where the lines of a tag differ most.
constexpr size_t kTellingByte = kTagColumns + 2;

// The name, then in what is left of the columns the direction.
constexpr std::string_view kMessageTags = "EM_SHUTDOWN (";
static_assert(kMessageTags.substr(0, kMessageTags.size() - 2) == em::kModuleName);
static_assert(std::string_view(line::kRequestTag).starts_with(kMessageTags.substr(kMessageTags.size() - 2)));

class LineTable {
public:
    LineTable() {
        for (const Row& row : kTagged) {
            addTagged({row.event, row.level, TracePattern(row.format)});
        }
        for (const em::ShutdownAction& action : em::kShutdownActions) {
            addTagged({TraceEvent::Requested, 2, TracePattern(action.requestLine), &action});
            addTagged({TraceEvent::Replied, 1, TracePattern(action.replyLine), &action});
            if (action.powerLine != nullptr) {
                addTagged({TraceEvent::Executing, 3, TracePattern(action.powerLine), &action});
            }
            addTagged({TraceEvent::Executing, 3, TracePattern(action.executeLine), &action});
            addTagged({TraceEvent::SystemShutdown, 1, TracePattern(action.commandLine), &action});
        }
        for (const MessageRow& row : kMessages) {
            m_messages.push_back(
                {TraceEvent::Message, kMessageLevel, TracePattern(row.format), nullptr, row.fields});
        }
        m_tags.push_back(kMessageTags); // last, since they are the fewest
        m_untagged.push_back({TraceEvent::Starting, 1, TracePattern(line::kStarting)});
        m_untagged.push_back({TraceEvent::Stopping, 1, TracePattern(line::kStopping)});
    }

    bool isTag(std::string_view text) const {
        return std::any_of(m_tags.begin(), m_tags.end(), [text](std::string_view tag) {
            return text.front() == tag.front() && text.starts_with(tag);
        });
    }

    const std::vector<TraceLineKind>& kindsOf(std::string_view text, bool tagged) const {
        if (!tagged) {
            return m_untagged;
        }
        if (text.starts_with(kMessageTags)) {
            return m_messages;
        }
        return m_tagged[text.size() > kTellingByte ? static_cast<unsigned char>(text[kTellingByte]) : 0];
    }

private:
    void addTagged(TraceLineKind kind) {
        const std::string_view tag = kind.pattern.head().substr(0, kTagColumns + 1);
        if (std::find(m_tags.begin(), m_tags.end(), tag) == m_tags.end()) {
            m_tags.push_back(tag);
        }
        m_tagged[static_cast<unsigned char>(kind.pattern.head()[kTellingByte])].push_back(std::move(kind));
    }

    std::vector<std::string_view> m_tags;
    std::array<std::vector<TraceLineKind>, 256> m_tagged;
    std::vector<TraceLineKind> m_messages, m_untagged;
};

const LineTable& lineTable() {
    static const LineTable table;
    return table;
}

} // namespace

bool beginsWithTag(std::string_view text) {
    return !text.empty() && lineTable().isTag(text);
}

std::optional<TraceLine> findTraceLine(std::string_view text, bool tagged) {
    for (const TraceLineKind& kind : lineTable().kindsOf(text, tagged)) {
        if (text.starts_with(kind.pattern.head())) {
            if (const std::optional<TraceFields> fields = kind.pattern.match(text)) {
                return TraceLine{&kind, *fields, {}};
            }
        }
    }
    return std::nullopt;
}

} // namespace volad_dev
