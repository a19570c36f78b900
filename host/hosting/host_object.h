// The host as a module sees it: a virtual class of which the slot order is the contract. A module calls three
// of the slots, the others are there so that these stand at their places; a production host has uses for
// them.
//
// The value that goes with a message is the time in milliseconds for which the host may work on the answer:
// 5000 for a request, which the host answers in place, in the same envelope, before the slot returns; 0 for a
// notification, which it takes and does not answer. The envelope stays the module's: what the host wants to
// keep, it copies.
//
// Threads: the send-message slot is called by the module's threads and by host threads that are inside the
// module, also at the same time. While the host is inside slots 4, 5, 6, 8 or 13 of the module or inside
// EM_Delete, it holds no lock that its own slot 9 needs: Stop waits for threads that may be in there. Nor may
// the debug object, to which trace lines go under the module's locks, call back into the module or wait for
// one of its threads.
#pragma once

#include <cstdint>

namespace em {
class CIExtensionModule;
struct SipJson;
} // namespace em

namespace volad_dev {

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
    virtual void sendMessage(em::CIExtensionModule* module, em::SipJson* envelope,
                             uint32_t timeoutMs) = 0; // 9
    virtual void reserved10() {}
    virtual void notice(em::CIExtensionModule* module, bool value) = 0; // 11
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
    virtual int kind() = 0; // 27; 5 is the agentless service
};

} // namespace volad_dev
