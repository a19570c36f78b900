// The module as a host drives it, called with envelopes and notifications of every kind, beside a host that
// writes what it likes into what it is sent, or throws. Each answer is the one that the contract names and
// changes nothing else of the envelope; the status goes the way that the requests tell, and each change is
// told to the host.
//
// Nothing is carried out: the module is not started, so there is no thread that takes a task, and the seam
// refuses to start one, or a process.
#include <fcntl.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <string>

#include "base/system_fake.h"
#include "contract/host_interface.h"
#include "contract/notifications.h"
#include "contract/operation_codes.h"
#include "contract/shutdown_actions.h"
#include "contract/shutdown_status.h"
#include "envelope_builder.h"
#include "frame/json/json_text.h"
#include "input.h"
#include "shutdown/shutdown_module.h"
#include "trace_sink.h"

namespace {

using em::ShutdownStatus;
using em::SipJson;
using fuzz::require;
namespace opcode = em::opcode;

constexpr unsigned kMostCalls = 24;
// An envelope whose cursor is far away gets 65,536 commands: as costly as so many calls with others.
constexpr int32_t kFar = 1000;
constexpr unsigned kFarCalls = 12;

class HostileHost final : public em::HostObject {
public:
    explicit HostileHost(fuzz::Input& input) : m_input(input) {}

    void sendMessage(em::CIExtensionModule* /*module*/, SipJson* envelope, uint32_t timeoutMs) override {
        require(envelope->CheckEnvelope() && envelope->CommandCount() == 1);
        if (envelope->GetUint("OC", 0) == opcode::kShutdownStatusChanged) {
            require(timeoutMs == em::kNotification && envelope->HasMember("CA"));
            lastStatus = static_cast<ShutdownStatus>(envelope->GetUint("DA", 99));
            ++statuses;
        }
        switch (m_input.below(8)) {
        case 0:
            fuzz::EnvelopeBuilder(m_input).fill(*envelope);
            break;
        case 1:
            throw std::runtime_error("host");
        case 2:
            envelope->SetStatus(m_input.number<uint8_t>());
            break;
        default:
            break;
        }
    }
    void notice(em::CIExtensionModule* /*module*/, bool /*value*/) override {}
    int kind() override { return m_input.number<uint8_t>(); }

    ShutdownStatus lastStatus = ShutdownStatus::None;
    unsigned statuses = 0;

private:
    fuzz::Input& m_input;
};

class Session {
public:
    explicit Session(fuzz::Input& input) : m_input(input), m_host(input) {
        void* const host = &m_host;
        em::CIExtensionModule* const module = &m_module;
        std::memcpy(reinterpret_cast<std::byte*>(module) + em::kHostPointerOffset, &host, sizeof host);
    }

    // Calls once; gives for how many calls that counts.
    unsigned call() {
        m_cost = 1;
        m_host.statuses = 0;
        const ShutdownStatus before = m_status;
        switch (m_input.below(8)) {
        case 0:
            notify();
            break;
        case 1:
        case 2:
            reply();
            break;
        default:
            request();
            break;
        }
        require(m_host.statuses <= 1 && (m_host.statuses == 1 || m_status == before));
        require(m_host.statuses == 0 || m_host.lastStatus == m_status);
        return m_cost;
    }

private:
    // Its code is one of the contract's half of the time, since little happens at others.
    void fill(SipJson& envelope) {
        fuzz::EnvelopeBuilder(m_input).fill(envelope);
        if (m_input.flag()) {
            envelope.SetUintMember("OC", em::kOperations[m_input.below(em::kOperations.size())].code);
        }
        m_cost = envelope.cursor > kFar ? kFarCalls : 1;
    }

    // "ST" of the answer; what is changed besides is written into `answer`, a copy of the request.
    uint32_t expect(SipJson& answer, bool& handled) {
        uint32_t code = 0;
        handled = false;
        if (!answer.CheckEnvelope()) {
            return em::status::kEnvelopeCheckFailed;
        }
        if (!answer.GetOpcode(code)) {
            return em::status::kMalformed;
        }
        handled = true;
        switch (code) {
        case opcode::CM_RequestShutdownAndOff:
        case opcode::CM_RequestShutdownAndReset:
            m_status = ShutdownStatus::Requested;
            return em::status::kAccepted;
        case opcode::CM_RequestShutdownAndHalt:
            return em::status::kNotSupported;
        case opcode::CM_ShutdownRequestCancelled:
            m_status = em::IsShutdownPending(m_status) ? ShutdownStatus::Cancelled : m_status;
            return em::status::kAccepted;
        case opcode::kShutdownStatusQuery:
        case opcode::kShutdownStatusChanged:
            answer.SetUintMember("DA", static_cast<uint32_t>(m_status));
            return em::status::kAccepted;
        case opcode::CM_GetMaintenanceMode: // the tool cannot be started
            answer.SetUintMember("DA", 0);
            return em::status::kAccepted;
        default:
            handled = false;
            return em::status::kMalformed;
        }
    }

    void request() {
        SipJson request;
        fill(request);
        SipJson answer(request);
        bool handled = false;
        answer.SetStatus(expect(answer, handled));
        require(module().HandleRequest(&request) == handled);
        require(em::json::compactText(request.root) == em::json::compactText(answer.root));
        require(request.cursor == answer.cursor);
    }

    void reply() {
        SipJson reply;
        fill(reply);
        const std::string before = em::json::compactText(reply.root);
        if (em::findShutdownAction(reply.GetUint("OC", 0)) != nullptr) {
            m_status = ShutdownStatus::Requested;
        }
        module().ApplicationReply(&reply);
        require(em::json::compactText(reply.root) == before);
    }

    void notify() {
        const em::Notification& known = em::kNotifications[m_input.below(em::kNotifications.size())];
        const uint32_t code = m_input.below(4) == 0 ? m_input.number<uint32_t>() : known.code;
        const em::Notification* const found = em::findNotification(code);
        const bool does = found != nullptr && found->effect != em::NotificationEffect::None;
        require(module().Notify(code, m_input.number<uint32_t>(), 0) == (does ? 1 : 0));
    }

    em::CIExtensionModule& module() { return m_module; }

    fuzz::Input& m_input;
    HostileHost m_host;
    em::CShutdownExtensionModule m_module;
    ShutdownStatus m_status = ShutdownStatus::None;
    unsigned m_cost = 1;
};

// The seam at its most refusing. Waits are over at once.
void refuseToStartAnything() {
    for (const char* call : {"fork", "clone", "posix_spawn", "execv", "pthread_create"}) {
        em::fake::failNth(call, 1, EAGAIN, 0);
    }
    for (const char* place : {em::place::kRegistryDirectory, em::place::kServiceManager,
                              em::place::kRestartJobFile, em::place::kShell}) {
        em::fake::setPath(place, "/nonexistent");
    }
    em::fake::setUserId(65534);
    em::fake::leapTime();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const em::fake::Scope script;
    refuseToStartAnything();
    const int lowestFree = ::fcntl(STDERR_FILENO, F_DUPFD, 0);
    ::close(lowestFree);
    {
        fuzz::Trace trace(5);
        fuzz::Input input(bytes, size);
        Session session(input);
        for (unsigned calls = 0; calls < kMostCalls && !input.empty();) {
            calls += session.call();
            trace.lines().clear();
        }
    }
    const int nowFree = ::fcntl(STDERR_FILENO, F_DUPFD, 0);
    ::close(nowFree);
    require(nowFree == lowestFree);
    require(::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD);
    return 0;
}
