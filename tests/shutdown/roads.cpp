// The roads, and what each may end in.
#include "base/swallow.h"
#include "platform/events/event_state.h"
#include "platform/profile/profile_string.h"
#include "platform/registry/registry.h"
#include "platform/registry/registry_state.h"
#include "shutdown/road.h"
#include "support/json.h"

// src/exports
extern "C" bool EM_Create(em::CIExtensionModule** module, uint64_t hostValue);
extern "C" unsigned EM_Delete();

namespace em::test {
namespace {

using Module = CShutdownExtensionModule;

constexpr const char* kForceDelayAsked = R"("OE":5889)"; // behind which the delay begins
constexpr const char* kOff = R"({"OC":517,"DA":2})";

void started(RoadRun& run) {
    run.create();
    run.start();
}

void off(RoadRun& run) {
    started(run);
    run.stretch([&] { run.request(kOff); });
    run.end();
}

// With a message file in an encoding that has to be converted.
void reset(RoadRun& run) {
    run.files.write("EVENTMSG.XML",
                    "<?xml version='1.0' encoding='ISO-8859-1'?><EventMsg><Events>"
                    "<Event ErrorCode='0x0E0002'><Messages lang='en'><Summary>f\xFCr</Summary>"
                    "</Messages></Event></Events></EventMsg>");
    std::filesystem::current_path(run.files.path());
    started(run);
    run.host.answer(kForceDelay, "2");
    run.stretch([&] { run.request(R"({"OC":518,"DA":2})"); });
    run.end();
    std::filesystem::current_path("/");
    ::unlink(run.files.pathOf("EVENTMSG.XML").c_str());
}

void halt(RoadRun& run) {
    started(run);
    run.stretch([&] { run.reply(R"({"OC":522,"ST":0,"DA":9})"); });
    run.end();
}

void job(RoadRun& run) {
    started(run);
    run.host.answer(kJobName, R"("tidy")");
    run.host.answer(kJobDirectory, "\"" + run.files.path() + "\"");
    run.stretch([&] { run.request(kOff); });
    run.end();
}

// A request that stays in the hands of the host, asked for its delay, until the stretch is walked.
void whileAsked(RoadRun& run, void (*stretch)(RoadRun&)) {
    run.create();
    std::promise<void> walked;
    run.whenAsked(kForceDelay, [&] { walked.get_future().wait(); });
    run.start();
    run.ask(kOff);
    run.awaitLine(kForceDelayAsked);
    run.stretch([&] {
        stretch(run);
        walked.set_value();
        run.awaitTask();
    });
    run.end();
}

constexpr const char* kCancel = R"({"OC":521})";

void cancel(RoadRun& run) {
    whileAsked(run, [](RoadRun& walking) { walking.ask(kCancel); });
}

// The second request takes the cancel back, but not where it is refused itself.
void again(RoadRun& run) {
    whileAsked(run, [](RoadRun& walking) {
        walking.ask(kCancel);
        walking.ask(kOff);
    });
}

void disconnect(RoadRun& run) {
    started(run);
    fake::leapTimeOn(kHandler); // whose pause is leapt over; the caller waits for it as it is
    run.stretch([&] { run.product([&] { run.note(std::to_string(run.module->Notify(0x30000, 0, 0))); }); });
    run.end();
}

void watcher(RoadRun& run) {
    run.create();
    run.leapPasses(kHandler, "check maintenance thread sleeps", 2, "never", kMain); // it is the first thread
    run.stretch([&] {
        run.product([&] { run.module->AfterStart(); });
        if (!recording().contains("Failed to start check maintenance mode thread")) {
            run.awaitPasses();
        }
    });
    run.end();
}

void worker(RoadRun& run) {
    run.create();
    run.host.answerPowerOffNow();
    fake::setWallClock(::time(nullptr));
    run.leapPasses(kMain | kHandler | kWorker, "Worker thread sleeps", 3, "sleeps 91", kMain | kHandler);
    run.host.answer(kDelay, "0");
    run.delaySeconds = 0;
    run.stretch([&] {
        run.start();
        run.awaitPasses();
    });
    run.awaitTask();
    run.end();
}

void start(RoadRun& run) {
    run.create();
    run.stretch([&] { run.product([&] { run.note(std::to_string(run.module->Start())); }); });
    run.request(kOff);
    run.note(std::to_string(run.module->Stop()));
    run.end();
}

void stop(RoadRun& run) {
    started(run);
    fake::leapTimeOn(kMain); // the handler is in its delay
    run.ask(kOff);
    run.awaitLine("Start shutdown delay");
    run.stretch([&] { run.product([&] { run.note(std::to_string(run.module->Stop())); }); });
    run.end();
}

void deletion(RoadRun& run) {
    started(run);
    run.stretch([&] { run.product([&] { run.module.reset(); }); });
    run.end();
}

void gate(RoadRun& run) {
    run.create();
    run.stretch([&] { run.ask(R"({"OC":289})"); });
    run.end();
}

void agents(RoadRun& run, bool managed) {
    const std::string file = run.files.pathOf("action");
    run.files.write("action", "old");
    fake::setPath(place::kServiceManager, managed ? run.files.path() : run.files.pathOf("none"));
    fake::setPath(place::kRestartJobFile, file);
    run.create();
    fake::leapTime(); // another writer's lock is looked at again and again
    run.stretch([&] { run.reply(R"({"OC":551,"ST":0})"); });
    run.end();
    run.note(readFile(file));
    ::unlink(file.c_str());
}

// What the load-time initialiser does, and the export that makes the module.
void load(RoadRun& run) {
    const std::string directory = run.files.pathOf("trace");
    std::filesystem::create_directory(directory);
    run.files.write("trace/global_trace.ini", "[Global]\nDynamicUpdate=0\n");
    run.files.write("trace/em_shutdown.ini", "[EM_SHUTDOWN]\nFileDebugLevel=5\n[EndOfFile]\n");
    fake::setPath(place::kTraceConfigDirectory, directory);
    processTrace.value.TearDown();
    auto* created = reinterpret_cast<CIExtensionModule*>(&run); // taken back where there is none
    run.stretch([&] {
        run.product([&] {
            static_cast<void>(
                swallow([] { static_cast<void>(processTrace.value.Configure("EM_SHUTDOWN")); }));
            eventState.value.setUp();
            registryState.value.setUp();
            EM_Create(&created, 0);
        });
    });
    std::filesystem::remove_all(directory);
    const bool told =
        recording().contains("\nEM DLL (EM_SHUTDOWN) : ## ERROR: Module could not be created!\n");
    run.traceAgain();
    run.note(created != nullptr ? "created" : told ? "none" : "none, untold");
    if (created != nullptr) {
        run.module.reset(static_cast<Module*>(created));
        run.host.attachTo(created);
        run.start();
        run.request(kOff);
        run.note(std::to_string(run.module->Stop()));
        static_cast<void>(run.module.release());
        run.note(std::to_string(EM_Delete()));
    }
    run.end();
    eventState.value.setUp();
    registryState.value.setUp();
}

const std::string kOldProfile = "[S]\nJ=0\nK=1\n[T]\nX=1\n";
const std::string kNewProfile = "[S]\nJ=0\nK=234567\n[T]\nX=1\n";

// How a content is shown that must be one of two.
std::string versionOf(const std::string& content, const std::string& before, const std::string& after) {
    return content == before ? "old" : content == after ? "new" : "neither";
}

void profile(RoadRun& run, const std::string& before, const std::string& after, bool inPlace) {
    const std::string file = run.files.pathOf("profile.ini");
    const std::string link = run.files.pathOf("other_name.ini");
    if (!before.empty()) {
        run.files.write("profile.ini", before);
    }
    if (inPlace) {
        std::filesystem::create_hard_link(file, link);
    }
    fake::leapTime();
    uint32_t result = 0;
    run.stretch(
        [&] { run.product([&] { result = WritePrivateProfileString("S", "K", "234567", file.c_str()); }); });
    run.note(std::to_string(result) + " " + versionOf(readFile(file), before, after));
    ::unlink(file.c_str());
    ::unlink(link.c_str());
}

std::string registryWith(const std::string& value) {
    return "[HKEY_USERS]\nv=s=" + value + "\n\n\n";
}

constexpr const char* kRegistryFiles[] = {"registry", "registry.old", "registry.lock"};

// Prepares and sets the store up; what the road then does to it; what it holds afterwards, in memory and on
// disk.
void registry(RoadRun& run, void (*road)(RoadRun&)) {
    run.files.write("registry", registryWith("old"));
    run.files.write("registry.old", registryWith("older"));
    CRegistry::InitClass(run.files.path().c_str());
    fake::leapTime();
    road(run);
    std::thread([] { static_cast<void>(CRegistry().Open("HKEY_USERS")); }).join(); // no lock is left
    run.note(versionOf(run.files.read("registry"), registryWith("old"), registryWith("new")));
    run.note("backup " +
             versionOf(run.files.read("registry.old"), registryWith("older"), registryWith("old")));
    for (const char* name : kRegistryFiles) {
        ::unlink(run.files.pathOf(name).c_str());
    }
}

void save(RoadRun& run) {
    registry(run, [](RoadRun& saving) {
        unsigned result = 0;
        saving.stretch([&] {
            saving.product([&] {
                CRegistry key;
                result = key.CreateKey(nullptr, "HKEY_USERS") == 0 ? key.SetValue("v", "new") : 0;
            });
        });
        saving.note(std::to_string(result));
    });
}

// A store that could not be read must not be written over by the next save.
void read(RoadRun& run) {
    registry(run, [](RoadRun& reading) {
        reading.stretch(
            [&] { reading.product([&] { CRegistry::InitClass(reading.files.path().c_str()); }); });
        CRegistry key;
        std::string value = "none";
        if (key.Open("HKEY_USERS") == 0) {
            static_cast<void>(key.QueryText("v", value));
        }
        reading.note("read " + value);
        CRegistry other;
        if (other.CreateKey(nullptr, "HKEY_USERS") == 0) {
            reading.note("saved " + std::to_string(other.SetValue("v", "new")));
        }
    });
}

const std::vector<Road> kRoads = {
    {"Load", {0}, load},
    {"Start", {0}, start},
    {"Off", {0, 1}, off},
    {"Reset", {1, 3}, reset},
    {"Halt", {0, 1}, halt},
    {"Job", {1}, job},
    {"Cancel", {0, 1}, cancel},
    {"CancelAndRequest", {0}, again},
    {"Disconnect", {0, 1}, disconnect},
    {"Watcher", {0, 1}, watcher},
    {"Worker", {2}, worker},
    {"Stop", {0, 1, 2}, stop},
    {"Delete", {0, 1, 2}, deletion},
    {"Gate", {0}, gate},
    {"AgentsByJobFile", {0}, [](RoadRun& run) { agents(run, true); }},
    {"AgentsByCommand", {0}, [](RoadRun& run) { agents(run, false); }},
    {"ProfileReplaced", {0}, [](RoadRun& run) { profile(run, kOldProfile, kNewProfile, false); }},
    {"ProfileInPlace", {0}, [](RoadRun& run) { profile(run, kOldProfile, kNewProfile, true); }},
    {"ProfileMade", {0}, [](RoadRun& run) { profile(run, "", "\n[S]\n\nK=234567\n", false); }},
    {"RegistrySave", {0}, save},
    {"RegistryRead", {0}, read},
};

// What keeps the gate's query from an answer, and a thread from its start.
const std::string kNoAnswer = "pipe2 posix_spawn posix_spawn_file_actions_adddup2 poll read";
const std::string kNoThread = "pthread_create pthread_attr_init pthread_attr_setschedpolicy "
                              "pthread_attr_getschedparam pthread_attr_setschedparam";
const std::string kWritten = "open openat fstat fstatat fchmod fsync new read calloc write renameat2";

const std::vector<RoadEnd> kEnds = {
    {"Load", "created, true 0, 1, 1 | status 1, off, status 2, reason, event, status 3 | /sbin/poweroff;",
     ""},
    {"Load", "none |  | ", "new"},
    {"Load", "none, untold |  | ", "new+"}, // nor is there memory for the trace's configuration

    {"Start", "1, true 0, 1 | status 1, off, status 2, reason, event, status 3 | /sbin/poweroff;", ""},
    {"Start", "1, true 0, 1 | status 1 | ", kNoThread}, // no handler: the request waits until Stop drops it

    {"Off", "true 0 | status 1, off, status 2, reason, event, status 3 | /sbin/poweroff;", ""},
    {"Off", "false 1 | status 1, status 0 | ", "new"},
    {"Off", "true 0 | status 1, status 5, withdrawal asked, withdrawn | ", kNoAnswer},
    {"Off", "true 0 | status 1, off, status 2, status 5, withdrawal asked, withdrawn | ", "new"},
    {"Off", "true 0 | status 1, off, status 2, reason, event, status 3 | ", "execv fork"},

    {"Reset", "true 0 | status 1, reset, status 2, status 3 | /sbin/reboot;", ""},
    {"Reset", "true 0 | status 1, status 5, withdrawal asked, withdrawn | ", kNoAnswer},
    {"Reset", "true 0 | status 1, reset, status 2, status 5, withdrawal asked, withdrawn | ", "new"},
    {"Reset", "true 0 | status 1, reset, status 2, status 3 | ", "execv fork"},

    {"Halt", " | status 1, halt, status 2, status 3 | /sbin/halt;", ""},
    {"Halt", " | status 1, status 0 | ", "new"},
    {"Halt", " | status 1, status 5, withdrawal asked, withdrawn | ", kNoAnswer},
    {"Halt", " | status 1, halt, status 2, status 5, withdrawal asked, withdrawn | ", "new"},
    {"Halt", " | status 1, halt, status 2, status 3 | ", "execv fork"},

    {"Job", "true 0 | status 1, off, status 2, reason, event, status 3 | tidied;/sbin/poweroff;", ""},
    {"Job", "true 0 | status 1, status 5, withdrawal asked, withdrawn | ", kNoAnswer},
    {"Job", "true 0 | status 1, off, status 2, status 5, withdrawal asked, withdrawn | ", "new"},
    // A job that cannot be run does not keep the system up.
    {"Job", "true 0 | status 1, off, status 2, reason, event, status 3 | /sbin/poweroff;", "execv fork new"},
    {"Job", "true 0 | status 1, off, status 2, reason, event, status 3 | tidied;", "execv fork"},
    {"Job", "true 0 | status 1, off, status 2, reason, event, status 3 | ", "execv+ fork+"},

    {"Cancel", "true 0, true 0 | status 1, off, status 2, status 4, status 5, withdrawal asked, withdrawn | ",
     ""},

    {"CancelAndRequest",
     "true 0, true 0, true 0 | status 1, off, status 2, status 4, status 1, reason, event, status 3 | "
     "/sbin/poweroff;",
     ""},
    {"CancelAndRequest",
     "true 0, true 0, false 1 | status 1, off, status 2, status 4, status 1, status 4, status 5, withdrawal "
     "asked, withdrawn | ",
     "new"},

    {"Disconnect", "1 | off, reason, disconnected | ", ""},
    {"Disconnect", "0 |  | ", "new"},

    {"Watcher", " | mode | ", ""},
    {"Watcher", " |  | ", kNoThread},
    // A query that fails reads as "disabled": the mode is told again, or not at all.
    {"Watcher", " | mode, mode | ", kNoAnswer},
    {"Watcher", " |  | ", "pipe2+ posix_spawn+ posix_spawn_file_actions_adddup2+ poll+ read+"},

    {"Worker", " | off, status 2, reason, event, status 3 | /sbin/poweroff;", ""},
    {"Worker", " |  | ", "new+"},

    {"Stop", "true 0, 1 | status 1, off, status 2, status 3 | ", ""},
    {"Delete", " |  | ", ""},

    {"Gate", "true 0=1 |  | ", ""},
    {"Gate", "true 0=0 |  | ", kNoAnswer},

    {"AgentsByJobFile", "/usr/sbin/ombrad restart |  | ", ""},
    {"AgentsByJobFile", "old |  | ", kWritten},
    {"AgentsByJobFile", "old |  | /usr/sbin/ombrad restart;", "access"},
    {"AgentsByCommand", "old |  | /usr/sbin/ombrad restart;", ""},
    {"AgentsByCommand", "old |  | ", "execv fork new"},

    {"ProfileReplaced", "1 new |  | ", ""},
    {"ProfileReplaced", "0 old |  | ", kWritten},
    {"ProfileInPlace", "1 new |  | ", ""},
    {"ProfileInPlace", "0 old |  | ", kWritten + " posix_fallocate pwrite ftruncate"},
    {"ProfileInPlace", "0 neither |  | ", "pwrite+ ftruncate+"}, // nor can it be undone
    {"ProfileMade", "1 new |  | ", ""},
    {"ProfileMade", "0 old |  | ", kWritten},

    {"RegistrySave", "1, new, backup new |  | ", ""},
    {"RegistrySave", "1, new, backup old |  | ", "fstatat"}, // as if there were no old file
    {"RegistrySave", "1, old, backup old |  | ",
     "close fchmod flock fstat fstatat fsync open openat new realloc renameat renameat2 write"},
    {"RegistrySave", "0, old, backup new |  | ", "malloc"},

    {"RegistryRead", "read old, saved 1, new, backup new |  | ", ""},
    // What could not be read is not replaced.
    {"RegistryRead", "read older, saved 1, old, backup old |  | ",
     "calloc fstat malloc open new read realloc"},
    {"RegistryRead", "read none, saved 1, old, backup old |  | ",
     "calloc fstat malloc open new read realloc"},
    {"RegistryRead", "read older, saved 1, new, backup new |  | ", "open"}, // as if there were no main file
};

} // namespace

const std::vector<Road>& roads() {
    return kRoads;
}

const std::vector<RoadEnd>& roadEnds() {
    return kEnds;
}

} // namespace em::test
