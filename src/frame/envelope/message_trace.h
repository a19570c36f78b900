// The message trace: one line for each request, answer and reply, with the command's header fields and its
// data.
//
// The module name is what slot 14 of the module gives. Nothing but the trace's settings is looked at when the
// line will not be written. A line that cannot be made or written is dropped.
#pragma once

#include <cstdint>

#include "frame/envelope/sip_json.h"

namespace em {

// A request on receipt.
void TraceRequest(const char* moduleName, const SipJson& envelope, uint32_t level);
// The answer to a request, on its way back.
void TraceReturn(const char* moduleName, const SipJson& envelope, uint32_t level);
// A reply of the host on receipt.
void TraceReply(const char* moduleName, const SipJson& envelope, uint32_t level);

} // namespace em
