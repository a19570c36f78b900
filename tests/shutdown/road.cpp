#include "shutdown/road.h"

#include <sstream>

#include "base/clock.h"
#include "rig/sandbox.h"
#include "support/json.h"

namespace em::test {
namespace {

constexpr std::chrono::seconds kLimit{10}; // for the end of a task; a run takes milliseconds
constexpr int64_t kNsPerSecond = 1'000'000'000;

// The messages that tell how a shutdown goes. The number behind a status is its value.
constexpr std::pair<const char*, const char*> kMessages[] = {
    {R"("OC":527,"DA":)", "status "},
    {R"(5000 {"SIP":{"V":1,"CMD":[{"OC":521)", "withdrawal asked"},
    {R"(0 {"SIP":{"V":1,"CMD":[{"OC":521)", "withdrawn"},
    {R"("OC":279)", "reason"},
    {R"("OC":257)", "event"},
    {R"("OC":513)", "mode"},
    {R"("OC":523)", "disconnected"},
    {R"("OC":517)", "off"},
    {R"("OC":518)", "reset"},
    {R"("OC":522)", "halt"},
};

// Stands in for every shell: the gate is open, a job takes a moment, a command is written down.
constexpr const char* kShell = R"(#!/bin/sh
case "$2" in
localcli*) echo Enabled ;;
tidy) sleep 0.02; echo tidied >> "${0%/*}/ran" ;;
*) echo "$2" >> "${0%/*}/ran" ;;
esac
)";

} // namespace

RoadRun::RoadRun(const TemporaryDirectory& roadFiles, const CallFault& fault)
    : files(roadFiles), m_trace(std::in_place, 5), m_fault(fault), m_before({files.path()}) {
    files.write("ran", "");
    fake::setPath(place::kShell, files.pathOf("shell"));
    host.answer(kDelay, std::to_string(delaySeconds));
    host.answer(kForceDelay, "0");
    host.answer(kJobName, R"("")");
    host.onMessage([this](uint32_t, uint32_t item, Envelope&) {
        watchDelay(item);
        if (item == m_whenAsked.first && m_whenAsked.second) {
            m_whenAsked.second();
        }
    });
    fake::leapTimeOn(kMain | kHandler);
}

void RoadRun::prepare(const TemporaryDirectory& files) {
    files.writeScript("shell", kShell);
    files.write("ran", "");
}

RoadRun::~RoadRun() {
    recording().onLine(nullptr);
}

void RoadRun::watchDelay(uint32_t item) {
    if (item == kForceDelay) {
        m_delayBegins = Deadline::nowNs();
    } else if (item == kJobName && Deadline::nowNs() - m_delayBegins < delaySeconds * kNsPerSecond) {
        note("EARLY");
    }
}

void RoadRun::stretch(const std::function<void()>& body) {
    const CallFaultScope scope(m_fault);
    body();
}

void RoadRun::create() {
    module = std::make_unique<CShutdownExtensionModule>();
    host.attachTo(module.get());
}

bool RoadRun::ask(const char* command) {
    SipJson envelope = commandOf(command);
    bool handled = false;
    product([&] { handled = module->HandleRequest(&envelope); });
    const uint32_t status = envelope.GetUint("ST", 99);
    uint32_t data = 0;
    const bool query = handled && std::string_view(command).find("DA") == std::string_view::npos &&
                       envelope.GetDataUint(data);
    note(std::string(handled ? "true " : "false ") + std::to_string(status) +
         (query ? "=" + std::to_string(data) : ""));
    return handled && status == 0;
}

void RoadRun::request(const char* command) {
    if (ask(command)) {
        awaitTask();
    }
}

void RoadRun::reply(const char* command) {
    SipJson envelope = commandOf(command);
    product([&] { module->ApplicationReply(&envelope); });
    awaitTask();
}

void RoadRun::awaitTask() {
    if (recording().contains("Task with priority 0 inserted") && module->IsHandlerAlive()) {
        awaitLine(" at level 0 completed");
    }
}

void RoadRun::awaitLine(const char* part, size_t times) {
    if (!recording().waitFor(part, times, kLimit)) {
        note(std::string("WITHOUT END: ") + part);
    }
}

void RoadRun::leapPasses(unsigned threads, const char* line, size_t passes, const char* last, unsigned then) {
    fake::leapTimeOn(threads);
    m_passesLeft = passes;
    recording().onLine([=, this](const std::string& text) {
        if (m_passesLeft == 0 || text.find(line) == std::string::npos) {
            return;
        }
        m_passesLeft = text.find(last) != std::string::npos ? 0 : m_passesLeft - 1;
        if (m_passesLeft == 0) {
            fake::leapTimeOn(then);
            m_passed.set_value();
        }
    });
}

void RoadRun::awaitPasses() {
    if (m_passed.get_future().wait_for(kLimit) != std::future_status::ready) {
        note("WITHOUT END: passes");
    }
}

void RoadRun::whenAsked(uint32_t item, std::function<void()> hook) {
    m_whenAsked = {item, std::move(hook)};
}

void RoadRun::end() {
    fake::leapTimeOn(kMain);
    module.reset();
    const int uncollected = collectChildren() - commandsBegun();
    if (uncollected > 0) {
        note("UNCOLLECTED " + std::to_string(uncollected));
    }
}

// Of which nobody waits for the end.
int RoadRun::commandsBegun() const {
    std::istringstream ran(files.read("ran"));
    int commands = m_fault.call == "execv" ? 1 : 0; // a child that ran nothing
    for (std::string line; std::getline(ran, line);) {
        commands += line.starts_with('/') ? 1 : 0;
    }
    return commands;
}

void RoadRun::traceAgain() {
    m_trace.emplace(5);
}

void RoadRun::note(const std::string& text) {
    m_notes += (m_notes.empty() ? "" : ", ") + text;
}

std::string RoadRun::messages() const {
    std::string told;
    for (const std::string& call : recording().hostCalls()) {
        for (const auto& [part, name] : kMessages) {
            const size_t at = call.find(part);
            if (at == std::string::npos || call.find("57345") != std::string::npos) {
                continue;
            }
            const bool isStatus = std::string_view(name).ends_with(' ');
            told += (told.empty() ? "" : ", ") + std::string(name) +
                    (isStatus ? call.substr(at + std::strlen(part), 1) : "");
            break;
        }
    }
    return told;
}

std::string RoadRun::seen() const {
    std::string ran = files.read("ran");
    std::replace(ran.begin(), ran.end(), '\n', ';');
    return m_notes + " | " + messages() + " | " + ran;
}

} // namespace em::test
