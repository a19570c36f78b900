// The host object as the module sees it: a table of virtual functions of which it calls three.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "module/envelope.h"

namespace module_test {

constexpr uint32_t kSettings = 0xE001;
constexpr uint32_t kDelay = 0x1700;
constexpr uint32_t kForceDelay = 0x1701;
constexpr uint32_t kJobName = 0x1710;
constexpr uint32_t kJobDirectory = 0x1711;
constexpr uint32_t kJobTimeout = 0x1712;
constexpr uint32_t kPowerOffTime = 0xA1;

// The order of the virtual functions is the interface. The module may call on several threads at a time.
class HostTable {
public:
    virtual void slot0() { unexpected(0); }
    virtual void slot1() { unexpected(1); }
    virtual void slot2() { unexpected(2); }
    virtual void slot3() { unexpected(3); }
    virtual void slot4() { unexpected(4); }
    virtual void slot5() { unexpected(5); }
    virtual void slot6() { unexpected(6); }
    virtual void slot7() { unexpected(7); }
    virtual void slot8() { unexpected(8); }
    virtual void send(void* module, Envelope* envelope, uint32_t milliseconds) = 0; // 9
    virtual void slot10() { unexpected(10); }
    virtual void notice(void* module, bool value) = 0; // 11
    virtual void slot12() { unexpected(12); }
    virtual void slot13() { unexpected(13); }
    virtual void slot14() { unexpected(14); }
    virtual void slot15() { unexpected(15); }
    virtual void slot16() { unexpected(16); }
    virtual void slot17() { unexpected(17); }
    virtual void slot18() { unexpected(18); }
    virtual void slot19() { unexpected(19); }
    virtual void slot20() { unexpected(20); }
    virtual void slot21() { unexpected(21); }
    virtual void slot22() { unexpected(22); }
    virtual void slot23() { unexpected(23); }
    virtual void slot24() { unexpected(24); }
    virtual void slot25() { unexpected(25); }
    virtual void slot26() { unexpected(26); }
    virtual int kind() = 0; // 27

protected:
    HostTable() = default;
    HostTable(const HostTable&) = default;
    HostTable& operator=(const HostTable&) = default;
    ~HostTable() = default;

private:
    static void unexpected(int slot);
};

// Records each call and answers the settings that a test gave it.
class ScriptedHost final : public HostTable {
public:
    // What a settings read of that item is answered: JSON text of "DA", and "ST". Without an entry the
    // envelope stays as it came.
    void answer(uint32_t item, const std::string& data, uint32_t status = 0);
    // Called after the record of a message and before its answer, on the module's thread; may throw.
    void onMessage(std::function<void(uint32_t code, Envelope&)> hook);
    void throwAlways() { m_bThrows = true; }
    void setKind(int kind) { m_nKind = kind; }

    void send(void* module, Envelope* envelope, uint32_t milliseconds) override;
    void notice(void* module, bool value) override;
    int kind() override;

    void* expectedModule = nullptr; // the first argument of each call

private:
    struct Answer {
        std::string data;
        uint32_t status;
    };
    void record(void* module, std::string text) const;

    std::mutex m_Mutex;
    std::map<uint32_t, Answer> m_Answers;
    std::function<void(uint32_t, Envelope&)> m_Hook;
    bool m_bThrows = false;
    int m_nKind = 1;
};

} // namespace module_test
