// Requests of the host, answered in their own envelope.
#pragma once

#include <cstdint>

namespace em {

class ShutdownProgress;
struct SipJson;

// Any host thread, several at a time.
class RequestHandler {
public:
    explicit RequestHandler(ShutdownProgress& progress) : m_progress(progress) {}

    // Answers: "ST", and "DA" for a query. True when the request was handled, refused ones included. An
    // exception passes through with the request unanswered.
    [[nodiscard]] bool handle(SipJson& request);

private:
    struct Answer {
        uint32_t status;
        bool handled;
    };
    struct Query;

    Answer answer(SipJson& request);
    Answer answerMaintenanceMode(SipJson& request);
    Answer answerCancel(SipJson& request);
    Answer answerStatus(SipJson& request);

    ShutdownProgress& m_progress;
};

} // namespace em
