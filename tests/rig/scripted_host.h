// The host object as the module sees it: its first word points to a table of functions, of which it calls
// three. Each call goes into the recording.
#pragma once

#include <array>
#include <cstring>
#include <ctime>
#include <map>

#include "rig/envelope.h"
#include "rig/recording.h"
#include "rig/tests_own.h"

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
    ScriptedHost() : HostObject{nullptr} {
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

    // Writes the host pointer where a host writes it, at byte 8 of the module.
    void attachTo(void* module) {
        m_module = module;
        const HostObject* const self = this;
        std::memcpy(static_cast<std::byte*>(module) + 8, &self, sizeof self);
    }
    // What a settings read of that item is answered: JSON texts of "DA" and of "ST", an empty one leaves the
    // member alone. Without an entry the envelope stays as it came.
    void answer(uint32_t item, const std::string& data, const std::string& status = "0") {
        const std::lock_guard guard(m_mutex);
        m_answers[item] = {data, status};
    }
    // The power-off time is this minute.
    void answerPowerOffNow() {
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        ::localtime_r(&now, &local);
        answer(kPowerOffTime, std::to_string(local.tm_hour * 60 + local.tm_min));
    }
    // Called after the record of a message and before its answer, on the module's thread; may throw. The item
    // is "OE".
    using Hook = std::function<void(uint32_t code, uint32_t item, Envelope&)>;
    void onMessage(Hook hook) {
        const std::lock_guard guard(m_mutex);
        m_hook = std::move(hook);
    }
    void throwAlways() { m_throws = true; }
    void setKind(int kind) { m_kind = kind; }

private:
    struct Answer {
        std::string data;
        std::string status;
    };

    static void unexpected(ScriptedHost* /*host*/) { recording().add(Kind::HostCall, "unexpected slot"); }
    static void send(ScriptedHost* host, void* module, Envelope* envelope, uint32_t milliseconds) {
        const TestsOwn notTheProducts;
        host->record(module, std::to_string(milliseconds) + " " + textOf(*envelope));
        host->answerTo(*envelope, milliseconds != 0);
    }
    static void notice(ScriptedHost* host, void* module, bool value) {
        const TestsOwn notTheProducts;
        host->record(module, value ? "notice true" : "notice false");
    }
    static int kind(ScriptedHost* host) {
        const TestsOwn notTheProducts;
        host->record(host->m_module, "kind");
        return host->m_kind;
    }

    void record(void* module, std::string text) const {
        if (module != m_module) {
            text += " from another module";
        }
        recording().add(Kind::HostCall, std::move(text));
        if (m_throws) {
            throw std::runtime_error("host");
        }
    }
    void answerTo(Envelope& envelope, bool isRequest) {
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

    void* m_module = nullptr; // the first argument of each call
    std::mutex m_mutex;
    std::map<uint32_t, Answer> m_answers;
    Hook m_hook;
    bool m_throws = false;
    int m_kind = 1;
};

} // namespace em::test
