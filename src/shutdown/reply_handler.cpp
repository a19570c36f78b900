#include "shutdown/reply_handler.h"

#include "contract/envelope.h"
#include "contract/shutdown_actions.h"
#include "frame/envelope/sip_json.h"
#include "shutdown/agents_restart.h"
#include "shutdown/shutdown_progress.h"
#include "trace/table_line.h"

namespace em {
namespace {

void restartAgents(const SipJson& reply) {
    if (reply.IsSuccess()) {
        uint32_t reason = 0;
        static_cast<void>(reply.GetDataUint(reason)); // no reason counts as 0
        EM_TRACE(2, "\nEM_SHUTDOWN         : Agent service restart request reason: %d", asInt(reason & 0xFF));
    }
    static_cast<void>(CTellmarkAgents().RestartAgents()); // its own lines tell
}

} // namespace

void handleReply(const SipJson& reply, ShutdownProgress& progress) {
    const uint32_t code = reply.GetUint(key::OperationCode, 0);
    if (const ShutdownAction* const action = findShutdownAction(code)) {
        traceTableLine(1, action->replyLine);
        // Whatever its status says: a reply is the one way to a halt, and always taken.
        progress.queue(reply);
        return;
    }
    switch (code) {
    case opcode::CM_ShutdownRequestCancelled:
        EM_TRACE(2, "\nEM_SHUTDOWN         :  #Reply CM_ShutdownRequestCancelled #");
        break;
    case opcode::CM_AgentServiceRestartRequested:
        EM_TRACE(2, "\nEM_SHUTDOWN         :  #CM_AgentServiceRestartRequested #");
        restartAgents(reply);
        break;
    default:
        break;
    }
}

} // namespace em
