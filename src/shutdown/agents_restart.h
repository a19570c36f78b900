// Restarts the server management agents: by a job file for their own action script where a service manager
// runs the system, else by a command of their own.
#pragma once

namespace em {

class CTellmarkAgents {
public:
    // The product identifier tells which agents these are: "brix" and "BRIX" mean the agentless service. It
    // must outlive the object.
    explicit CTellmarkAgents(const char* productIdentifier = "em_shutdown")
        : m_productIdentifier(productIdentifier) {}

    // True when the job file was written or the command was started; what becomes of either is not looked at.
    // Throws only for want of memory, before anything was changed. Any thread.
    [[nodiscard]] bool RestartAgents() const;

private:
    [[nodiscard]] bool IsAgentlessService() const;

    const char* m_productIdentifier;
};

} // namespace em
