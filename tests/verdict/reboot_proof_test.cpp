// The ender's proof, fact by fact: each by itself keeps it from reboot(2).
#include "verdict/ender/reboot_proof.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace volad_dev {
namespace {

constexpr const char* kInside = "pid:[4026532183]";
constexpr const char* kOutside = "pid:[4026532000]";
constexpr const char* kFirst = "pid:[4026531836]";
constexpr const char* kUntold = "the process namespace cannot be told";
constexpr const char* kMachines = "the process namespace is the machine's own";

TEST(RebootProof, RefusesUnlessEveryFactIsThere) {
    const struct {
        const char* guard;
        const char* present;
        const char* marked;
        int error;
        int asked; // how often reboot(2) itself is
        const char* fault;
    } cases[] = {
        {"", kInside, kOutside, EINVAL, 1, ""},
        {"", kInside, kFirst, EINVAL, 1, ""},
        {"no marker", kInside, kOutside, EINVAL, 0, "no marker"},
        {"", kFirst, kOutside, EINVAL, 0, kMachines},
        {"", kFirst, kFirst, EINVAL, 0, kMachines},
        {"", kInside, kInside, EINVAL, 0, kMachines},
        {"", "", kOutside, EINVAL, 0, kUntold},
        {"", kInside, "", EINVAL, 0, kUntold},
        {"", "pid:[]", kOutside, EINVAL, 0, kUntold},
        {"", "pid:[40265321x3]", kOutside, EINVAL, 0, kUntold},
        {"", "user:[4026532183]", kOutside, EINVAL, 0, kUntold},
        {"", kInside, "mnt:[4026532000]", EINVAL, 0, kUntold},
        {"", kInside, "pid:[4026532000", EINVAL, 0, kUntold},
        {"", kInside, kOutside, 0, 1, "reboot(2) reaches the machine"},
        {"", kInside, kOutside, EPERM, 1, "reboot(2) answers EPERM"},
        {"", kInside, kOutside, ENOSYS, 1, "reboot(2) answers ENOSYS"},
    };
    for (const auto& [guard, present, marked, error, asked, fault] : cases) {
        int times = 0;
        EXPECT_EQ(rebootFault({guard, present, marked,
                               [&times, error = error] {
                                   ++times;
                                   return error;
                               }}),
                  fault)
            << guard << ' ' << present << ' ' << marked << ' ' << error;
        EXPECT_EQ(times, asked);
    }
}

} // namespace
} // namespace volad_dev
