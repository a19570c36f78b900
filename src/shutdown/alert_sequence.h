// The shutdown alert sequence: from an accepted request to the command that ends the system.
#pragma once

#include <cstdint>
#include <string>

#include "frame/envelope/sip_json.h"

namespace em {

class CShutdownExtensionModule;

// One object a request, run once, on the task handler thread. It reads as the list of its steps in Run();
// each step tells only whether the sequence goes on or how it ended.
class AlertSequence {
public:
    AlertSequence(CShutdownExtensionModule& module, SipJson& request)
        : m_Module(module), m_Request(request) {}
    void Run();

private:
    enum class Outcome {
        GoOn,
        Ended,   // cancelled, or refused at the gate
        Stopped, // Stop has begun: no command, but the status and the queue end as after one
    };

    Outcome Prepare(); // up to the point of no return
    Outcome Execute(); // from there on
    void Finish();

    void Announce();
    [[nodiscard]] bool PassesGate();
    void AcceptRequest();
    void ReadReason();
    void ReadDelays();
    void WaitDelay();
    [[nodiscard]] bool EndsCancelled();
    void AnnounceShutdown();
    void RunJob();
    void ShutDown();

    void PowerOff();
    std::string CatalogueText() const;
    std::string TableText() const;

    CShutdownExtensionModule& m_Module;
    SipJson& m_Request;
    uint8_t m_nReason = 0;
    std::string m_strReason;    // its name
    uint32_t m_nDelay = 0;      // seconds
    uint32_t m_nForceDelay = 0; // seconds
    std::string m_strMessage;
};

} // namespace em
