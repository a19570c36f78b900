#include "support/scripted_host.h"

#include <array>
#include <chrono>
#include <cstring>

#include "frame/json/json_text.h"

namespace em::test {

ScriptedHost::ScriptedHost() {
    static const std::array<const void*, 28> table = [] {
        std::array<const void*, 28> slots{};
        slots[9] = reinterpret_cast<const void*>(&ScriptedHost::sendMessage);
        slots[11] = reinterpret_cast<const void*>(&ScriptedHost::notice);
        slots[27] = reinterpret_cast<const void*>(&ScriptedHost::hostKind);
        return slots;
    }();
    m_table = table.data();
}

void ScriptedHost::attachTo(void* module) {
    void* const self = object();
    std::memcpy(static_cast<char*>(module) + 8, &self, sizeof self);
}

void ScriptedHost::answer(Answer answer) {
    const std::lock_guard guard(m_mutex);
    m_answer = std::move(answer);
}

void ScriptedHost::sendMessage(ScriptedHost* self, void* /*module*/, SipJson* envelope, uint32_t timeoutMs) {
    Answer answer;
    {
        const std::lock_guard guard(self->m_mutex);
        self->m_messages.push_back((timeoutMs != 0 ? "request " : "notification ") +
                                   json::compactText(envelope->root));
        answer = self->m_answer;
        self->m_changed.notify_all();
    }
    if (answer) {
        answer(*envelope, timeoutMs);
    }
}

void ScriptedHost::notice(ScriptedHost* self, void* /*module*/, bool value) {
    const std::lock_guard guard(self->m_mutex);
    self->m_notices.push_back(value);
}

int ScriptedHost::hostKind(ScriptedHost* self) {
    return self->m_kind;
}

std::vector<std::string> ScriptedHost::messages() const {
    const std::lock_guard guard(m_mutex);
    return m_messages;
}

bool ScriptedHost::waitForMessage(const std::string& part) const {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(10), [&] {
        for (const std::string& message : m_messages) {
            if (message.find(part) != std::string::npos) {
                return true;
            }
        }
        return false;
    });
}

std::vector<bool> ScriptedHost::notices() const {
    const std::lock_guard guard(m_mutex);
    return m_notices;
}

} // namespace em::test
