// The binary interface between the host and an extension module: the order of the virtual functions is the
// contract, slots without a role included, and so are their signatures. The destructor makes slots 0 and 1.
#pragma once

#include <cstdint>

namespace em {

struct SipJson;

// Slots may be called from any host thread, slots 7, 8 and 13 also at the same time. host_interface.h tells
// which locks the host must not hold meanwhile.
class CIExtensionModule {
public:
    virtual ~CIExtensionModule() = default;                                                       // 0, 1
    virtual const char* ModuleDescription() = 0;                                                  // 2
    virtual unsigned Reserved3() = 0;                                                             // 3
    virtual bool Start() = 0;                                                                     // 4
    virtual unsigned Stop() = 0;                                                                  // 5
    virtual void AfterStart() = 0;                                                                // 6
    virtual void ApplicationReply(SipJson* reply) = 0;                                            // 7
    virtual bool HandleRequest(SipJson* request) = 0;                                             // 8
    virtual unsigned Reserved9() = 0;                                                             // 9
    virtual unsigned SetCabinetNumber(uint32_t number) = 0;                                       // 10
    virtual unsigned Reserved11() = 0;                                                            // 11
    virtual unsigned Reserved12() = 0;                                                            // 12
    virtual unsigned Notify(uint32_t code, uint64_t parameter, uint64_t extra) = 0;               // 13
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
};

} // namespace em
