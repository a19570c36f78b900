// The module as a host sees it: four exported functions, and the object that the first of them hands out.
//
// Life of an object: EM_Create, then the host writes the address of its host object to byte 8 of the module
// object, then slot 10 (cabinet number), 4 (start), 6 (second start step), and whatever it likes of 7, 8, 10
// and 13; at the end slot 5 (stop), EM_Delete, and only then dlclose: the module's threads run its code. The
// exports are called by one thread at a time. An object that was stopped is not started again.
//
// Slots 7, 8 and 13 may be called by several host threads at the same time; SCN_SYSTEM_SHUTDOWN by one: a
// second one may wait its five seconds out. Slots 4, 5, 7, 8, 13 and EM_Delete call the host or wait for a
// thread that does: host_interface.h tells which locks the host must not hold then. No exception leaves a
// slot or an export; the unwinding of a thread that is cancelled inside one does.
//
// An envelope (SipJson) that goes in stays the caller's. Texts that come out live as long as the library.
#pragma once

#include <cstddef>
#include <cstdint>

namespace em {

struct SipJson;

// The order of the virtual functions is the contract, slots without a role included, and so are their
// signatures. The destructor makes slots 0 and 1; it is EM_Delete's to call.
class CIExtensionModule {
public:
    virtual ~CIExtensionModule() = default;      // 0, 1
    virtual const char* ModuleDescription() = 0; // 2: for people; may be null
    virtual unsigned Reserved3() = 0;            // 3: 1
    virtual bool Start() = 0;                    // 4: starts task handler and worker; true
    virtual unsigned Stop() = 0;                 // 5: ends all, a shutdown's delay too; waits for a job; 1
    // 6: the second start step: starts the watcher, unless SCN_SWITCH_SHUTDOWN has come
    virtual void AfterStart() = 0;
    virtual void ApplicationReply(SipJson* reply) = 0; // 7: null is ignored
    // 8: answers in the request itself ("ST", "DA"); true when it was handled, false for null
    virtual bool HandleRequest(SipJson* request) = 0;
    virtual unsigned Reserved9() = 0;                       // 9: 0, as all that have no role and a result
    virtual unsigned SetCabinetNumber(uint32_t number) = 0; // 10: 1
    virtual unsigned Reserved11() = 0;                      // 11
    virtual unsigned Reserved12() = 0;                      // 12
    // 13: a notification (notifications.h); 1 when it is one that the module acts on, whatever came of it.
    // Takes as long as the host's slot 9; SCN_SYSTEM_SHUTDOWN up to 5 s. The two values are not used.
    virtual unsigned Notify(uint32_t code, uint64_t parameter, uint64_t extra) = 0;
    virtual const char* ModuleName() = 0;                                                         // 14
    virtual void Reserved15() = 0;                                                                // 15
    virtual void Reserved16() = 0;                                                                // 16
    virtual void Reserved17() = 0;                                                                // 17
    virtual void Reserved18() = 0;                                                                // 18
    virtual unsigned Reserved19() = 0;                                                            // 19
    virtual unsigned Reserved20() = 0;                                                            // 20
    virtual unsigned Reserved21() = 0;                                                            // 21
    virtual unsigned Reserved22() = 0;                                                            // 22
    virtual unsigned OnModuleNotification(uint32_t code, uint64_t parameter, uint64_t extra) = 0; // 23
    // 24 is the module's own: it carries out a queued task.
};

// Of every module object, in bytes: the host's pointer (null: its messages are dropped), four unused bytes, a
// flag that SCN_SWITCH_SHUTDOWN sets, and where the module's own members may begin.
inline constexpr size_t kHostPointerOffset = 8;
inline constexpr size_t kReservedOffset = 16;
inline constexpr size_t kSwitchShutdownOffset = 20;
inline constexpr size_t kModuleHeadSize = 24;

inline constexpr char kModuleName[] = "EM_SHUTDOWN";

// The exports, C linkage. Creating a second object hands out the first one again; the host's value is not
// used.
inline constexpr char kCreateSymbol[] = "EM_Create"; // false, and null, when there is no object
using CreateFunction = bool (*)(CIExtensionModule** module, uint64_t hostValue);
inline constexpr char kDeleteSymbol[] = "EM_Delete"; // 1; 0 when there is nothing to delete or it threw
using DeleteFunction = unsigned (*)();
inline constexpr char kNameSymbol[] = "EM_GetModuleName";
using NameFunction = const char* (*)();
// 1 to 4: back up, restore, convert, clean up. A line each, and nothing done; 1.
inline constexpr char kSetupSymbol[] = "EM_SetupAction";
using SetupFunction = unsigned (*)(uint32_t action);

} // namespace em
