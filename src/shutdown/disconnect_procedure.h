// What the module does when the system goes down without its doing.
#pragma once

namespace em {

class CShutdownExtensionModule;

// Runs on the task handler thread. From its start on the queue takes no more tasks, for good.
class DisconnectProcedure {
public:
    explicit DisconnectProcedure(CShutdownExtensionModule& module) : m_Module(module) {}
    void Run();

private:
    [[nodiscard]] bool ShutdownUnderWay() const;
    void ReportUserShutdown();
    void SendStatus();

    CShutdownExtensionModule& m_Module;
};

} // namespace em
