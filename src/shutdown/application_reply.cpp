// Replies and notifications of other applications that the host hands on: the one way to a halt, and the
// restart of the management agents.
#include "frame/envelope/message_trace.h"
#include "shutdown/agents_restart.h"
#include "shutdown/operation_codes.h"
#include "shutdown/shutdown_module.h"
#include "trace/boundary.h"

namespace em {

void CShutdownExtensionModule::ApplicationReply(SipJson* reply) {
    if (reply == nullptr) {
        return;
    }
    atBoundary("ApplicationReply()", [&] {
        TraceReply(ModuleName(), *reply, 2);
        EM_TRACE(5, "\nEM_SHUTDOWN         :   -> ApplicationReply()");
        DispatchReply(*reply);
        EM_TRACE(5, "\nEM_SHUTDOWN         :   <- ApplicationReply()");
    });
}

void CShutdownExtensionModule::DispatchReply(SipJson& reply) {
    switch (reply.GetUint("OC", 0)) {
    case opcode::CM_RequestShutdownAndOff:
        EM_TRACE(1, "\nEM_SHUTDOWN         :  #Reply CM_RequestShutdownAndOff #");
        QueueShutdown(reply);
        break;
    case opcode::CM_RequestShutdownAndReset:
        EM_TRACE(1, "\nEM_SHUTDOWN         :  #Reply CM_RequestShutdownAndReset #");
        QueueShutdown(reply);
        break;
    case opcode::CM_RequestShutdownAndHalt:
        EM_TRACE(1, "\nEM_SHUTDOWN         :  #Reply CM_RequestShutdownAndHalt #");
        QueueShutdown(reply);
        break;
    case opcode::CM_ShutdownRequestCancelled:
        EM_TRACE(2, "\nEM_SHUTDOWN         :  #Reply CM_ShutdownRequestCancelled #");
        break;
    case opcode::CM_AgentServiceRestartRequested:
        EM_TRACE(2, "\nEM_SHUTDOWN         :  #CM_AgentServiceRestartRequested #");
        RestartAgents(reply);
        break;
    default:
        break;
    }
}

void CShutdownExtensionModule::RestartAgents(SipJson& reply) {
    if (reply.IsSuccess()) {
        uint32_t reason = 0;
        static_cast<void>(reply.GetDataUint(reason)); // no reason counts as 0
        EM_TRACE(2, "\nEM_SHUTDOWN         : Agent service restart request reason: %d", asInt(reason & 0xFF));
    }
    static_cast<void>(CTellmarkAgents().RestartAgents()); // its own lines tell
}

} // namespace em
