// What the module calls on the host object: three of its slots, each through one function that lets no
// exception of the host's in. A host that throws is traced and counts as one that did not answer.
//
// The send-message slot is called from the task handler, the worker, the watcher and from host threads, also
// at the same time, and never under a lock of the module. While the host is inside the module's slots 4, 5,
// 6, 8, 13 or EM_Delete it must hold no lock that this slot needs: they may wait for a thread that is in
// there. The envelope stays the module's own: the host copies what it wants to keep before it returns.
//
// The host's debug object also gets lines while the module holds a lock. It must neither call back into the
// module nor wait for one of its threads.
#pragma once

#include <cstdint>

namespace em {

class CIExtensionModule;
struct SipJson;

// What goes with a message as its 32-bit value: the time in milliseconds for which the host may work on the
// answer. A request is answered in place, in the same envelope, before the slot returns; a notification is
// taken and not answered.
constexpr uint32_t kRequestTimeoutMs = 5000;
constexpr uint32_t kNotification = 0;

// The kind that runs as the agentless service.
constexpr int kAgentlessService = 5;

// With a null host the call is not made; the kind is then 0.
void SendMessageToHost(void* host, CIExtensionModule* module, SipJson& envelope, uint32_t timeoutMs);
void NoticeToHost(void* host, CIExtensionModule* module, bool value);
[[nodiscard]] int KindOfHost(void* host);

} // namespace em
