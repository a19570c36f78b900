// Replies and notifications of other applications that the host hands on: the one way to a halt, and the
// restart of the management agents.
#pragma once

namespace em {

class ShutdownProgress;
struct SipJson;

// Any host thread, several at a time. Nothing is written into the reply.
void handleReply(const SipJson& reply, ShutdownProgress& progress);

} // namespace em
