// What the module does when the system goes down without its doing.
#pragma once

namespace em {

class HostMessages;
struct SipJson;
template <class Message>
class CTaskSerializer;

// Runs on the task handler thread. From its start on the queue takes no more tasks, for good. The host is
// told of a user's shutdown unless a request of its own is pending.
void runDisconnectProcedure(HostMessages& host, CTaskSerializer<SipJson>& queue,
                            const SipJson& pendingRequest);

} // namespace em
