// The host object as the module sees it: its first word points to a table of functions, of which it calls
// three. Each call goes into the recording.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "rig/envelope.h"

namespace em::test {

constexpr uint32_t kSettings = 0xE001;
constexpr uint32_t kDelay = 0x1700;
constexpr uint32_t kForceDelay = 0x1701;
constexpr uint32_t kJobName = 0x1710;
constexpr uint32_t kJobDirectory = 0x1711;
constexpr uint32_t kJobTimeout = 0x1712;
constexpr uint32_t kPowerOffTime = 0xA1;

struct HostObject {
    void* const* table;
};

// Answers the settings that a test gave it. The module may call on several threads at a time.
class ScriptedHost : public HostObject {
public:
    ScriptedHost();

    // Writes the host pointer where a host writes it, at byte 8 of the module.
    void attachTo(void* module);
    // What a settings read of that item is answered: JSON texts of "DA" and of "ST", an empty one leaves the
    // member alone. Without an entry the envelope stays as it came.
    void answer(uint32_t item, const std::string& data, const std::string& status = "0");
    // The power-off time is this minute.
    void answerPowerOffNow();
    // Called after the record of a message and before its answer, on the module's thread; may throw. The item
    // is "OE".
    using Hook = std::function<void(uint32_t code, uint32_t item, Envelope&)>;
    void onMessage(Hook hook);
    void throwAlways() { m_throws = true; }
    void setKind(int kind) { m_kind = kind; }

private:
    struct Answer {
        std::string data;
        std::string status;
    };
    static void send(ScriptedHost* host, void* module, Envelope* envelope, uint32_t milliseconds);
    static void notice(ScriptedHost* host, void* module, bool value);
    static int kind(ScriptedHost* host);

    void record(void* module, std::string text) const;
    void answerTo(Envelope& envelope, bool isRequest);

    void* m_module = nullptr; // the first argument of each call
    std::mutex m_mutex;
    std::map<uint32_t, Answer> m_answers;
    Hook m_hook;
    bool m_throws = false;
    int m_kind = 1;
};

} // namespace em::test
