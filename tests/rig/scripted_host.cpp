#include "rig/scripted_host.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <utility>

#include "rig/recording.h"

namespace em::test {
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

void ScriptedHost::attachTo(void* module) {
    m_module = module;
    const HostObject* const self = this;
    std::memcpy(static_cast<std::byte*>(module) + 8, &self, sizeof self);
}

void ScriptedHost::answer(uint32_t item, const std::string& data, const std::string& status) {
    const std::lock_guard guard(m_mutex);
    m_answers[item] = {data, status};
}

void ScriptedHost::answerPowerOffNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    answer(kPowerOffTime, std::to_string(local.tm_hour * 60 + local.tm_min));
}

void ScriptedHost::onMessage(Hook hook) {
    const std::lock_guard guard(m_mutex);
    m_hook = std::move(hook);
}

void ScriptedHost::record(void* module, std::string text) const {
    if (module != m_module) {
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
    const uint32_t item = numberOf(command, "OE", 0);
    std::unique_lock guard(m_mutex);
    if (const auto hook = m_hook) {
        guard.unlock(); // it may call the module, which may send again
        hook(code, item, envelope);
        guard.lock();
    }
    const auto found = m_answers.find(item);
    if (!isRequest || code != kSettings || found == m_answers.end()) {
        return;
    }
    for (const auto& [key, value] : {std::pair("ST", found->second.status), {"DA", found->second.data}}) {
        if (!value.empty()) {
            setMember(*command, key, value);
        }
    }
}

void ScriptedHost::notice(ScriptedHost* host, void* module, bool value) {
    host->record(module, value ? "notice true" : "notice false");
}

int ScriptedHost::kind(ScriptedHost* host) {
    host->record(host->m_module, "kind");
    return host->m_kind;
}

} // namespace em::test
