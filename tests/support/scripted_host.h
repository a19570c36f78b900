// A host object for tests of the module's parts: a raw table of 28 slots, of which 9, 11 and 27 do something.
// It keeps each message as text, in the order of its arrival.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "frame/envelope/sip_json.h"

namespace em::test {

class ScriptedHost {
public:
    // Called for each message, before it is kept; may write an answer and may throw.
    using Answer = std::function<void(SipJson&, uint32_t timeoutMs)>;

    ScriptedHost();
    ScriptedHost(const ScriptedHost&) = delete;
    ScriptedHost& operator=(const ScriptedHost&) = delete;

    // What the module gets as its host pointer.
    void* object() { return this; }
    // Writes the host pointer where a host writes it: at byte 8 of the module.
    void attachTo(void* module);

    void answer(Answer answer);
    // "request {...}" or "notification {...}", as the module sent it.
    [[nodiscard]] std::vector<std::string> messages() const;
    [[nodiscard]] bool waitForMessage(const std::string& part) const;
    [[nodiscard]] std::vector<bool> notices() const;

    void setKind(int kind) { m_kind = kind; }

private:
    static void sendMessage(ScriptedHost* self, void* module, SipJson* envelope, uint32_t timeoutMs);
    static void notice(ScriptedHost* self, void* module, bool value);
    static int hostKind(ScriptedHost* self);

    const void* const* m_table; // first, as in any object with virtual functions
    int m_kind = 0;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    Answer m_answer;
    std::vector<std::string> m_messages;
    std::vector<bool> m_notices;
};

} // namespace em::test
