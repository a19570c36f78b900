// The host as the module sees it: an object of which the slot order is the contract. The module calls three
// of the slots; the others are there so that these stand at their places, and are the host's own.
//
// The value that goes with a message is the time in milliseconds for which the host may work on the answer:
// kRequestTimeoutMs for a request, which the host answers in place, in the same envelope, before the slot
// returns; kNotification for a notification, which it takes and does not answer. The envelope stays the
// module's: what the host wants to keep, it copies. Of a notification it changes nothing: a shutdown request
// is sent to the host as an echo, and read on afterwards, its operation code too. A host that throws is
// traced, and what it had written into the envelope by then is the answer.
//
// The host object must outlive EM_Delete: threads of the module call it until these are joined.
//
// Threads: the send-message slot is called from the task handler, the worker, the watcher and from host
// threads that are inside the module, also at the same time, and never under a lock of the module. The
// module's slots 4, 7, 8 and 13 call it themselves, on the thread that called them; 5, 13 and EM_Delete wait
// for threads of the module that may be inside it. So in these the host must hold no lock that its own slot 9
// needs. Slot 9 may call the module's slots 7 and 8; a cancel from inside the message of status 1 comes too
// early and is lost. The slots for the notice and the kind are called inside Start only.
#pragma once

#include <cstdint>

namespace em {

class CIExtensionModule;
struct SipJson;

class HostObject {
public:
    HostObject() = default;
    HostObject(const HostObject&) = delete;
    HostObject& operator=(const HostObject&) = delete;
    virtual ~HostObject() = default; // 0, 1
    virtual void reserved2() {}
    virtual void reserved3() {}
    virtual void reserved4() {}
    virtual void reserved5() {}
    virtual void reserved6() {}
    virtual void reserved7() {}
    virtual void reserved8() {}
    virtual void sendMessage(CIExtensionModule* module, SipJson* envelope, uint32_t timeoutMs) = 0; // 9
    virtual void reserved10() {}
    virtual void notice(CIExtensionModule* module, bool value) = 0; // 11: true while the module starts
    virtual void reserved12() {}
    virtual void reserved13() {}
    virtual void reserved14() {}
    virtual void reserved15() {}
    virtual void reserved16() {}
    virtual void reserved17() {}
    virtual void reserved18() {}
    virtual void reserved19() {}
    virtual void reserved20() {}
    virtual void reserved21() {}
    virtual void reserved22() {}
    virtual void reserved23() {}
    virtual void reserved24() {}
    virtual void reserved25() {}
    virtual void reserved26() {}
    virtual int kind() = 0; // 27
};

// The slots by number: the module calls them through the raw table.
namespace host_slot {
inline constexpr unsigned kSendMessage = 9;
inline constexpr unsigned kNotice = 11;
inline constexpr unsigned kKind = 27;
} // namespace host_slot

inline constexpr uint32_t kRequestTimeoutMs = 5000;
inline constexpr uint32_t kNotification = 0;

// The kind that runs as the agentless service.
inline constexpr int kAgentlessService = 5;

} // namespace em
