// The module's calls on the host object (contract/host_interface.h), each through one function that lets no
// exception of the host's in. A host that throws is traced and counts as one that did not answer.
#pragma once

#include <cstdint>

namespace em {

class CIExtensionModule;
struct SipJson;

// With a null host the call is not made; the kind is then 0. Any thread.
void sendMessageToHost(void* host, CIExtensionModule* module, SipJson& envelope, uint32_t timeoutMs);
void noticeToHost(void* host, CIExtensionModule* module, bool value);
[[nodiscard]] int kindOfHost(void* host);

} // namespace em
