// The host of the guests: guest_host MODULE OPTIONS. It has the module that ships take its guest down, or try
// to, tells on standard output what it sees, one line each, and refuses anywhere else.
//
// When the command was started it waits for process 1 to end it, as a host would. Then, and at once where
// none was, it stops, deletes and unloads the module; its last line is "host: done".
#include <dlfcn.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <functional>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>

#include "contract/debug_object.h"
#include "contract/host_envelope.h"
#include "contract/host_interface.h"
#include "contract/module_interface.h"
#include "contract/operation_codes.h"
#include "contract/settings.h"
#include "contract/shutdown_actions.h"
#include "contract/shutdown_status.h"
#include "vm/guest_guard.h"

namespace {

constexpr auto kLimit = std::chrono::minutes(2);

// One write, so that a line stays whole beside those of others on the console.
void say(const std::string& text) {
    const std::string line = text + "\n";
    if (write(STDOUT_FILENO, line.data(), line.size()) < 0) {
        std::abort();
    }
}

struct Plan {
    std::string module;
    std::string request;
    std::string reply;
    bool scheduled = false;
    bool cancelled = false;
    uint32_t delay = 1;
    std::string job;
    uint32_t jobLimit = 30;
    uid_t user = 0;
};

Plan readPlan(int argc, char** argv) {
    Plan plan;
    CLI::App options;
    options.add_option("MODULE", plan.module)->required();
    options.add_option("--request", plan.request);
    options.add_option("--reply", plan.reply);
    options.add_flag("--schedule", plan.scheduled);
    options.add_flag("--cancel", plan.cancelled, "in the delay");
    options.add_option("--delay", plan.delay, "seconds");
    options.add_option("--job", plan.job);
    options.add_option("--job-limit", plan.jobLimit, "seconds");
    options.add_option("--uid", plan.user, "of the process, before it loads the module");
    options.parse(argc, argv);
    return plan;
}

uint32_t codeOf(const std::string& actionName) {
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        if (actionName == action.name) {
            return action.operationCode;
        }
    }
    throw std::runtime_error("no action " + actionName);
}

uint32_t minuteOfDay() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return static_cast<uint32_t>(local.tm_hour * 60 + local.tm_min);
}

class Host final : public em::HostObject {
public:
    explicit Host(const Plan& plan) : m_plan(plan) {}

    void sendMessage(em::CIExtensionModule*, em::SipJson* envelope, uint32_t timeoutMs) override {
        em::EnvelopeValue& command = *em::HostEnvelope::commandOf(envelope); // the module's always have one
        const uint32_t code = em::numberOf(command, em::key::OperationCode);
        if (timeoutMs != em::kNotification) {
            em::setMember(command, em::key::Status, em::EnvelopeValue(em::status::kAccepted));
            if (code == em::opcode::kHostSettings) {
                answer(command);
            }
        } else if (code == em::opcode::kShutdownStatusChanged) {
            tell(static_cast<em::ShutdownStatus>(em::numberOf(command, em::key::Data)));
        }
    }
    void notice(em::CIExtensionModule*, bool) override {}
    int kind() override { return 1; }

    em::ShutdownStatus waitFor(const std::function<bool(em::ShutdownStatus)>& isMeant) {
        std::unique_lock lock(m_mutex);
        if (!m_changed.wait_for(lock, kLimit, [&] { return isMeant(m_status); })) {
            throw std::runtime_error("the status did not come");
        }
        return m_status;
    }

private:
    void answer(em::EnvelopeValue& command) const {
        const auto number = [&](uint32_t value) {
            em::setMember(command, em::key::Data, em::EnvelopeValue(value));
        };
        switch (em::numberOf(command, em::key::Extension)) {
        case em::setting::kPowerOffTime.item:
            number(m_plan.scheduled ? minuteOfDay() : em::kNoPowerOffTime);
            break;
        case em::setting::kShutdownDelay.item:
            number(m_plan.delay);
            break;
        case em::setting::kJobName.item:
            em::setMember(command, em::key::Data, em::textValue(m_plan.job));
            break;
        case em::setting::kJobTimeout.item:
            number(m_plan.jobLimit);
            break;
        default: // the module's own
            break;
        }
    }
    void tell(em::ShutdownStatus status) {
        say(std::string("host: status ") + em::kShutdownStatusNames.at(static_cast<size_t>(status)));
        const std::lock_guard lock(m_mutex);
        m_status = status;
        m_changed.notify_all();
    }

    const Plan& m_plan;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    em::ShutdownStatus m_status = em::ShutdownStatus::None;
};

} // namespace

class Lines final : public em::DebugObject {
public:
    bool takesLines() override { return true; }
    [[gnu::format(printf, 2, 0)]] void print(const char* format, va_list values, const char*) override {
        write(format, values);
    }
    [[gnu::format(printf, 2, 0)]] void trace(const char* format, va_list values, const char*) override {
        write(format, values);
    }

private:
    [[gnu::format(printf, 1, 0)]] static void write(const char* format, va_list values) {
        std::array<char, 1024> text{};
        if (std::vsnprintf(text.data(), text.size(), format, values) < 0) {
            std::abort();
        }
        std::istringstream lines(text.data());
        for (std::string line; std::getline(lines, line);) {
            if (!line.empty()) {
                say("module: " + line);
            }
        }
    }
};
__attribute__((visibility("default"))) Lines Debug; // the symbol that the module looks for

namespace {

// Loaded and started; unload() stops and deletes it first.
class LoadedModule {
public:
    LoadedModule(const std::string& path, em::HostObject& host)
        : m_library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        if (m_library == nullptr) {
            throw std::runtime_error(dlerror());
        }
        if (!entry<em::CreateFunction>(em::kCreateSymbol)(&m_module, 0)) {
            throw std::runtime_error("no module object");
        }
        reinterpret_cast<em::HostObject**>(m_module)[em::kHostPointerOffset / sizeof(void*)] = &host;
        m_module->Start();
        m_module->AfterStart();
    }
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;

    em::CIExtensionModule* operator->() { return m_module; }

    void unload() {
        m_module->Stop();
        if (entry<em::DeleteFunction>(em::kDeleteSymbol)() != 1 || dlclose(m_library) != 0) {
            throw std::runtime_error("the module did not go");
        }
    }

private:
    template <class Function>
    Function entry(const char* name) {
        return reinterpret_cast<Function>(dlsym(m_library, name));
    }

    void* m_library;
    em::CIExtensionModule* m_module = nullptr;
};

// Whether an end is to come.
bool ask(LoadedModule& module, const Plan& plan) {
    if (plan.scheduled) {
        return true;
    }
    if (!plan.reply.empty()) {
        em::HostEnvelope reply(codeOf(plan.reply));
        module->ApplicationReply(reply.handle());
        return true;
    }
    em::HostEnvelope request(codeOf(plan.request));
    module->HandleRequest(request.handle());
    const uint32_t answer = em::numberOf(*request.command(), em::key::Status);
    say("host: answered with " + std::to_string(answer));
    return answer == em::status::kAccepted;
}

void cancelInTheDelay(LoadedModule& module, Host& host) {
    host.waitFor([](em::ShutdownStatus status) { return status == em::ShutdownStatus::DelayRunning; });
    em::HostEnvelope cancel(em::opcode::CM_ShutdownRequestCancelled);
    module->HandleRequest(cancel.handle());
}

void run(const Plan& plan) {
    sigset_t byProcess1; // no thread of the module's takes it
    sigemptyset(&byProcess1);
    sigaddset(&byProcess1, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &byProcess1, nullptr);
    if (setresuid(plan.user, plan.user, plan.user) != 0) {
        throw std::runtime_error("no such user");
    }
    Host host(plan);
    LoadedModule module(plan.module, host);
    if (ask(module, plan)) {
        if (plan.cancelled) {
            cancelInTheDelay(module, host);
        }
        const em::ShutdownStatus end = host.waitFor([](em::ShutdownStatus status) {
            return status == em::ShutdownStatus::Executing || status == em::ShutdownStatus::Aborted;
        });
        if (end == em::ShutdownStatus::Executing && plan.user == 0) {
            int signal = 0;
            sigwait(&byProcess1, &signal);
            say("host: ended by process 1");
        }
    }
    module.unload();
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (const auto why = em::vm::whyNotHere()) {
            say("host: refused: " + *why);
            return 3;
        }
        run(readPlan(argc, argv));
        say("host: done");
        return 0;
    } catch (const std::exception& failure) {
        say(std::string("host: failed: ") + failure.what());
        std::_Exit(1); // the module's threads may be at work
    }
}
