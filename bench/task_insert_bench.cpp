// What refusing a task costs that finds the queue full, against one copy of its message.
#include <cstdlib>

#include "bench/paired_rounds.h"
#include "frame/envelope/sip_json.h"
#include "tasks/task_serializer.h"

namespace {

class FullQueue : public em::CTaskSerializer<em::SipJson> {
public:
    explicit FullQueue(const em::SipJson& message) {
        while (InsertTask(message, 0, nullptr)) {
        }
    }
    ~FullQueue() override { TerminateSerialization(); }
    void OnTaskExecution(em::SipJson& /*message*/, int /*level*/) override {}
};

em::SipJson requestOfSixMembers() {
    em::SipJson request;
    request.InitEnvelope();
    request.SetCommand(517, 1, 2, 3, 0);
    request.SetUintMember(em::key::Data, 0x10003);
    return request;
}

} // namespace

int main() {
    const em::SipJson request = requestOfSixMembers();
    FullQueue queue(request);
    int accepted = 0;
    constexpr int kCalls = 5000;
    em::bench::print("refused tenth task to one copy",
                     em::bench::comparePaired(
                         kCalls, [&](int) { accepted += queue.InsertTask(request, 0, nullptr) ? 1 : 0; },
                         [&](int) { const em::SipJson copy(request); }),
                     1.0);
    return accepted == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
