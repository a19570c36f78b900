#include "module/scripted_host.h"

#include <array>
#include <stdexcept>
#include <utility>

#include "module/recording.h"

namespace module_test {

namespace {

void unexpected(ScriptedHost* /*host*/) {
    recording().add(Kind::HostCall, "unexpected slot");
}

} // namespace

ScriptedHost::ScriptedHost() : HostObject{nullptr} {
    static const std::array<void*, 28> slots = [] {
        std::array<void*, 28> all;
        all.fill(reinterpret_cast<void*>(&unexpected));
        all[9] = reinterpret_cast<void*>(&send);
        all[11] = reinterpret_cast<void*>(&notice);
        all[27] = reinterpret_cast<void*>(&kind);
        return all;
    }();
    table = slots.data();
}

void ScriptedHost::answer(uint32_t item, const std::string& data, uint32_t status) {
    const std::lock_guard guard(m_mutex);
    m_answers[item] = {data, status};
}

void ScriptedHost::onMessage(std::function<void(uint32_t, Envelope&)> hook) {
    const std::lock_guard guard(m_mutex);
    m_hook = std::move(hook);
}

void ScriptedHost::record(void* module, std::string text) const {
    if (module != expectedModule) {
        text += " from another module";
    }
    recording().add(Kind::HostCall, std::move(text));
    if (m_throws) {
        throw std::runtime_error("host");
    }
}

void ScriptedHost::send(ScriptedHost* host, void* module, Envelope* envelope, uint32_t milliseconds) {
    host->record(module, std::to_string(milliseconds) + " " + textOf(*envelope));
    host->answerTo(*envelope, milliseconds != 0);
}

void ScriptedHost::answerTo(Envelope& envelope, bool isRequest) {
    Json* const command = commandOf(envelope);
    const uint32_t code = numberOf(command, "OC", 0);
    std::unique_lock guard(m_mutex);
    if (const auto hook = m_hook) {
        guard.unlock(); // it may call the module, which may send again
        hook(code, envelope);
        guard.lock();
    }
    const auto found = code == kSettings ? m_answers.find(numberOf(command, "OE", 0)) : m_answers.end();
    if (isRequest && found != m_answers.end()) {
        setMember(*command, "ST", std::to_string(found->second.status));
        if (!found->second.data.empty()) {
            setMember(*command, "DA", found->second.data);
        }
    }
}

void ScriptedHost::notice(ScriptedHost* host, void* module, bool value) {
    host->record(module, value ? "notice true" : "notice false");
}

int ScriptedHost::kind(ScriptedHost* host) {
    host->record(host->expectedModule, "kind");
    return host->m_kind;
}

} // namespace module_test
