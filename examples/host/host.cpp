// A host that has em_shutdown.so restart the machine: host MODULE
#include <contract/debug_object.h>
#include <contract/host_envelope.h>
#include <contract/host_interface.h>
#include <contract/module_interface.h>
#include <contract/operation_codes.h>
#include <contract/settings.h>
#include <contract/shutdown_status.h>
#include <dlfcn.h>
#include <err.h>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>

// Only while this host is under work; in production it goes.
void refuseOutsideSandbox() {
    std::ifstream marker("/run/volad-dev/marker");
    std::string outside; // the process namespace of the machine itself
    if (!std::getline(marker, outside) || outside == std::filesystem::read_symlink("/proc/self/ns/pid")) {
        errx(3, "only inside volad-dev sandbox");
    }
}

// What is answered, a number as a text; of the rest the module takes its defaults.
const std::map<uint32_t, const char*> settings = {{em::setting::kShutdownDelay.item, "2"},
                                                  {em::setting::kJobName.item, "/bin/echo state saved"}};

struct Host final : em::HostObject {
    void sendMessage(em::CIExtensionModule*, em::SipJson* envelope, uint32_t timeoutMs) override {
        em::EnvelopeValue& command = *em::HostEnvelope::commandOf(envelope); // the module's always have one
        const uint32_t code = em::numberOf(command, em::key::OperationCode);
        const auto status = static_cast<em::ShutdownStatus>(em::numberOf(command, em::key::Data));
        if (timeoutMs != em::kNotification) {
            em::setMember(command, em::key::Status, em::EnvelopeValue(em::status::kAccepted));
            const auto known = settings.find(em::numberOf(command, em::key::Extension)); // 0: no setting
            if (known != settings.end()) {
                em::setMember(command, em::key::Data, em::textValue(known->second));
            }
        } else if (code == em::opcode::kShutdownStatusChanged && !em::IsShutdownPending(status)) {
            ended.set_value(status); // once: there is one request, and nobody cancels it
        }
    }
    void notice(em::CIExtensionModule*, bool) override {}
    int kind() override { return 1; }
    std::promise<em::ShutdownStatus> ended;
};

struct Lines final : em::DebugObject {
    bool takesLines() override { return true; }
    void print(const char* format, va_list values, const char*) override { std::vprintf(format, values); }
    void trace(const char* format, va_list values, const char*) override { std::vprintf(format, values); }
} Debug; // the symbol that the module looks for

int main(int argc, char** argv) {
    refuseOutsideSandbox();
    void* const library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    if (library == nullptr) {
        errx(2, "%s", argc == 2 ? dlerror() : "usage: host MODULE");
    }
    const auto create = reinterpret_cast<em::CreateFunction>(dlsym(library, em::kCreateSymbol));
    const auto remove = reinterpret_cast<em::DeleteFunction>(dlsym(library, em::kDeleteSymbol));
    em::CIExtensionModule* module = nullptr;
    if (create == nullptr || remove == nullptr || !create(&module, 0)) {
        errx(2, "%s: no entry point, or no object", argv[1]);
    }
    Host host;
    reinterpret_cast<em::HostObject**>(module)[em::kHostPointerOffset / sizeof(void*)] = &host;
    module->Start();
    module->AfterStart();
    em::HostEnvelope request(em::opcode::CM_RequestShutdownAndReset);
    module->HandleRequest(request.handle());
    auto ended = host.ended.get_future();
    const bool hasEnded = ended.wait_for(std::chrono::minutes(1)) == std::future_status::ready;
    module->Stop();
    remove();
    dlclose(library);
    return hasEnded && ended.get() == em::ShutdownStatus::Executing ? 0 : 1;
}
