// Carries out the statements of a script, one after the other.
#pragma once

#include <string>

#include "host/drive/drive_options.h"
#include "host/drive/driven_module.h"
#include "host/drive/maintenance_tool.h"
#include "host/drive/patience.h"
#include "host/drive/sightings.h"
#include "host/drive/statement.h"
#include "host/drive/trace_log.h"
#include "host/hosting/debug_object.h"
#include "host/hosting/development_host.h"
#include "host/rehearsal/event_channel.h"

namespace volad_dev {

// One thread, from the first statement to the end: at the latest the destructor stops and deletes the module.
class ScriptRun {
public:
    ScriptRun(const DriveOptions& options, const Settings& settings, EventSender& events);

    // Returns when it is done, and has told what came of it. Throws Failure, with the reason and without the
    // place: kExitOtherwise for an expectation that was not met, what Patience throws, and for a module that
    // cannot be made.
    void execute(const Statement& statement, const std::string& directory);
    // The module is stopped and deleted where the script has not done so.
    void finish();

    [[nodiscard]] const Patience& patience() const { return m_patience; }

private:
    [[nodiscard]] std::string carryOut(const Statement& statement, const std::string& directory);
    [[nodiscard]] std::string request(const EnvelopeForm& form);
    [[nodiscard]] std::string reply(const EnvelopeForm& form);
    [[nodiscard]] std::string answer(const SettingChange& change, const std::string& directory);
    [[nodiscard]] std::string wait(const Expectation& expectation);
    [[nodiscard]] std::string expect(const Expectation& expectation);
    [[nodiscard]] std::string refuse(const Expectation& expectation);
    [[nodiscard]] bool isAnswered(const Expectation& expectation) const;
    [[nodiscard]] uint32_t askStatus() const;
    void tell(const std::string& text) const;
    void traced(const std::string& line);
    void told(const Message& message) const;

    EventSender& m_events;
    const double m_begin; // on the monotonic clock
    const bool m_shown;   // trace and messages
    const Patience m_patience;
    Settings m_settings;
    MaintenanceTool m_maintenance;
    TraceLog m_trace;
    const TraceSinkScope m_sink;
    DevelopmentHost m_host;
    Sightings m_sightings;
    DrivenModule m_module;
    em::SipJson m_answer; // to the last request
    bool m_handled = false;
};

} // namespace volad_dev
