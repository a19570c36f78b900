#include "module/scripted_host.h"

#include <stdexcept>
#include <utility>

#include "module/recording.h"

namespace module_test {

void HostTable::unexpected(int slot) {
    recording().add(Kind::HostCall, "unexpected slot " + std::to_string(slot));
}

void ScriptedHost::answer(uint32_t item, const std::string& data, uint32_t status) {
    const std::lock_guard guard(m_Mutex);
    m_Answers[item] = {data, status};
}

void ScriptedHost::onMessage(std::function<void(uint32_t, Envelope&)> hook) {
    const std::lock_guard guard(m_Mutex);
    m_Hook = std::move(hook);
}

void ScriptedHost::record(void* module, std::string text) const {
    if (module != expectedModule) {
        text += " from another module";
    }
    recording().add(Kind::HostCall, std::move(text));
    if (m_bThrows) {
        throw std::runtime_error("host");
    }
}

void ScriptedHost::send(void* module, Envelope* envelope, uint32_t milliseconds) {
    record(module, std::to_string(milliseconds) + " " + textOf(*envelope));
    Json* const command = commandOf(*envelope);
    const uint32_t code = numberOf(command, "OC", 0);
    std::unique_lock guard(m_Mutex);
    if (const auto hook = m_Hook) {
        guard.unlock(); // it may call the module, which may send again
        hook(code, *envelope);
        guard.lock();
    }
    const auto found = code == kSettings ? m_Answers.find(numberOf(command, "OE", 0)) : m_Answers.end();
    if (found != m_Answers.end() && milliseconds != 0) {
        setMember(*command, "ST", std::to_string(found->second.status));
        if (!found->second.data.empty()) {
            setMember(*command, "DA", found->second.data);
        }
    }
}

void ScriptedHost::notice(void* module, bool value) {
    record(module, value ? "notice true" : "notice false");
}

int ScriptedHost::kind() {
    record(expectedModule, "kind");
    return m_nKind;
}

} // namespace module_test
