// Requests of the host, answered in their own envelope.
#include <algorithm>
#include <iterator>

#include "frame/envelope/message_trace.h"
#include "shutdown/operation_codes.h"
#include "shutdown/shutdown_module.h"
#include "trace/boundary.h"

namespace em {
namespace {

constexpr uint32_t kTraceLevel = 2;

} // namespace

// Every other code is refused as malformed. A code of 519, 520, 524, 525 or 526 is none of ours either.
const CShutdownExtensionModule::RequestRow CShutdownExtensionModule::kRequests[] = {
    {opcode::CM_GetMaintenanceMode, &CShutdownExtensionModule::AnswerMaintenanceMode},
    {opcode::CM_RequestShutdownAndOff, &CShutdownExtensionModule::AnswerOff},
    {opcode::CM_RequestShutdownAndReset, &CShutdownExtensionModule::AnswerReset},
    {opcode::CM_ShutdownRequestCancelled, &CShutdownExtensionModule::AnswerCancel},
    {opcode::CM_RequestShutdownAndHalt, &CShutdownExtensionModule::AnswerHalt},
    {opcode::kShutdownStatusQuery, &CShutdownExtensionModule::AnswerStatus},
    {opcode::kShutdownStatusChanged, &CShutdownExtensionModule::AnswerStatus},
};

bool CShutdownExtensionModule::HandleRequest(SipJson* request) {
    if (request == nullptr) {
        return false;
    }
    bool handled = false;
    const bool completed = atBoundary("HandleRequest()", [&] {
        TraceRequest(ModuleName(), *request, kTraceLevel);
        const Answer answer = AnswerRequest(*request);
        request->SetStatus(answer.status);
        TraceReturn(ModuleName(), *request, kTraceLevel);
        handled = answer.handled;
    });
    if (!completed) {
        request->SetStatus(status::kMalformed);
    }
    return completed && handled;
}

CShutdownExtensionModule::Answer CShutdownExtensionModule::AnswerRequest(SipJson& request) {
    if (!request.CheckEnvelope()) {
        return {status::kEnvelopeCheckFailed, false};
    }
    uint32_t code = 0;
    if (!request.GetOpcode(code)) {
        return {status::kMalformed, false};
    }
    const RequestRow* const row =
        std::find_if(std::begin(kRequests), std::end(kRequests),
                     [code](const RequestRow& candidate) { return candidate.code == code; });
    return row == std::end(kRequests) ? Answer{status::kMalformed, false} : (this->*row->answer)(request);
}

CShutdownExtensionModule::Answer CShutdownExtensionModule::AnswerMaintenanceMode(SipJson& request) {
    EM_TRACE(2, "\nEM_SHUTDOWN         :  # CM_GetMaintenanceMode #");
    request.SetUintMember("DA", getMaintenanceMode() == MaintenanceMode::Enabled ? 1 : 0);
    return {status::kAccepted, true};
}

CShutdownExtensionModule::Answer CShutdownExtensionModule::AnswerOff(SipJson& request) {
    EM_TRACE(2, "\nEM_SHUTDOWN         :  #Request CM_RequestShutdownAndOff #");
    QueueShutdown(request);
    return {status::kAccepted, true};
}

CShutdownExtensionModule::Answer CShutdownExtensionModule::AnswerReset(SipJson& request) {
    EM_TRACE(2, "\nEM_SHUTDOWN         :  # Request CM_RequestShutdownAndReset #");
    QueueShutdown(request);
    return {status::kAccepted, true};
}

// A cancel that comes too early or too late shows in the trace only; the host gets status 0 all the same.
CShutdownExtensionModule::Answer CShutdownExtensionModule::AnswerCancel(SipJson& /*request*/) {
    EM_TRACE(2, "\nEM_SHUTDOWN         :  # Request CM_ShutdownRequestCancelled #");
    const ShutdownStatus met = m_State.Cancel();
    if (IsShutdownInProgress(met)) {
        EM_TRACE(1, "\nEM_SHUTDOWN         : ERROR! Shutdown already in progress and cannot be cancelled");
    } else if (!IsShutdownPending(met)) {
        EM_TRACE(1, "\nEM_SHUTDOWN         : ERROR! No pending system shutdown found!");
    } else {
        EM_TRACE(2, "\nEM_SHUTDOWN         : Cancel pending system shutdown");
        ReportStatus(ShutdownStatus::Cancelled);
    }
    return {status::kAccepted, true};
}

// Refused on purpose: a halt comes as a reply only.
CShutdownExtensionModule::Answer CShutdownExtensionModule::AnswerHalt(SipJson& /*request*/) {
    EM_TRACE(2, "\nEM_SHUTDOWN         :  # Request CM_RequestShutdownAndHalt #");
    return {status::kNotSupported, true};
}

CShutdownExtensionModule::Answer CShutdownExtensionModule::AnswerStatus(SipJson& request) {
    request.SetUintMember("DA", static_cast<uint32_t>(m_State.Status()));
    return {status::kAccepted, true};
}

} // namespace em
