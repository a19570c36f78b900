// The host object as the module sees it: its first word points to a table of functions, of which it calls
// three.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "module/envelope.h"

namespace module_test {

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

// Records each call and answers the settings that a test gave it. The module may call on several threads at a
// time.
class ScriptedHost : public HostObject {
public:
    ScriptedHost();
    ScriptedHost(const ScriptedHost&) = delete;
    ScriptedHost& operator=(const ScriptedHost&) = delete;

    // What a settings read of that item is answered: JSON text of "DA", and "ST". Without an entry the
    // envelope stays as it came.
    void answer(uint32_t item, const std::string& data, uint32_t status = 0);
    // Called after the record of a message and before its answer, on the module's thread; may throw.
    void onMessage(std::function<void(uint32_t code, Envelope&)> hook);
    void throwAlways() { m_throws = true; }
    void setKind(int kind) { m_kind = kind; }

    void* expectedModule = nullptr; // the first argument of each call

private:
    struct Answer {
        std::string data;
        uint32_t status;
    };
    static void send(ScriptedHost* host, void* module, Envelope* envelope, uint32_t milliseconds);
    static void notice(ScriptedHost* host, void* module, bool value);
    static int kind(ScriptedHost* host);

    void record(void* module, std::string text) const;
    void answerTo(Envelope& envelope, bool isRequest);

    std::mutex m_mutex;
    std::map<uint32_t, Answer> m_answers;
    std::function<void(uint32_t, Envelope&)> m_hook;
    bool m_throws = false;
    int m_kind = 1;
};

} // namespace module_test
