#include "shutdown/request_handler.h"

#include <array>

#include "contract/envelope.h"
#include "contract/shutdown_actions.h"
#include "contract/trace_lines.h"
#include "frame/envelope/sip_json.h"
#include "shutdown/maintenance_mode.h"
#include "shutdown/shutdown_progress.h"
#include "trace/table_line.h"

namespace em {

// What is no shutdown action. Every code that stands neither here nor among the actions is refused as
// malformed.
struct RequestHandler::Query {
    uint32_t code;
    Answer (RequestHandler::*answer)(SipJson&);
};

bool RequestHandler::handle(SipJson& request) {
    const Answer given = answer(request);
    request.SetStatus(given.status);
    return given.handled;
}

RequestHandler::Answer RequestHandler::answer(SipJson& request) {
    static constexpr std::array<Query, 4> kQueries = {{
        {opcode::CM_GetMaintenanceMode, &RequestHandler::answerMaintenanceMode},
        {opcode::CM_ShutdownRequestCancelled, &RequestHandler::answerCancel},
        {opcode::kShutdownStatusQuery, &RequestHandler::answerStatus},
        {opcode::kShutdownStatusChanged, &RequestHandler::answerStatus},
    }};
    if (!request.CheckEnvelope()) {
        return {status::kEnvelopeCheckFailed, false};
    }
    uint32_t code = 0;
    if (!request.GetOpcode(code)) {
        return {status::kMalformed, false};
    }
    if (const ShutdownAction* const action = findShutdownAction(code)) {
        traceTableLine(2, action->requestLine);
        if (action->requestStatus == status::kAccepted) {
            m_progress.queue(request);
        }
        return {action->requestStatus, true};
    }
    for (const Query& query : kQueries) {
        if (query.code == code) {
            return (this->*query.answer)(request);
        }
    }
    return {status::kMalformed, false};
}

// On the host's own thread: nothing but the query's own limit cuts it short.
RequestHandler::Answer RequestHandler::answerMaintenanceMode(SipJson& request) {
    EM_TRACE(2, "\nEM_SHUTDOWN         :  # CM_GetMaintenanceMode #");
    request.SetUintMember(key::Data, getMaintenanceMode() == MaintenanceMode::Enabled ? 1 : 0);
    return {status::kAccepted, true};
}

// Whatever the cancel meets, the host gets status 0.
RequestHandler::Answer RequestHandler::answerCancel(SipJson& /*request*/) {
    EM_TRACE(2, line::kCancelRequest);
    m_progress.cancel();
    return {status::kAccepted, true};
}

RequestHandler::Answer RequestHandler::answerStatus(SipJson& request) {
    request.SetUintMember(key::Data, static_cast<uint32_t>(m_progress.status()));
    return {status::kAccepted, true};
}

} // namespace em
