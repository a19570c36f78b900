// A save under faults: every call on the file system fails in turn, with several errors, alone and together
// with a later one, and the power goes at every call. Whatever then is on the disk, the next start reads the
// complete old tree or the complete new one.

#include "platform/registry/registry.h"
#include "platform/registry/registry_state.h"
#include "platform/registry/registry_writer.h"
#include "support/simulated_disk.h"
#include "support/unit_test.h"

namespace em {
namespace {

using test::SimulatedDisk;
using Image = SimulatedDisk::Image;

constexpr size_t kWriteLimit = 60; // so that a save needs several writes

std::string fileWith(const std::string& value) {
    return "[HKEY_LOCAL_MACHINE]\nfirst=s=" + value + "\nlast=s=" + std::string(70, 'x') + value + "\n\n\n";
}

struct Scenario {
    const char* name;
    Image before; // and the factory's file
};
const std::array<Scenario, 5> kScenarios{{
    {"all files", {{"registry", fileWith("old")}, {"registry.old", fileWith("older")}}},
    {"the first save", {{"registry", fileWith("old")}}},
    {"no main file", {{"registry.old", fileWith("old")}}},
    {"an empty main file", {{"registry", ""}, {"registry.old", fileWith("old")}}},
    {"left by a save that did not end",
     {{"registry", fileWith("old")},
      {"registry.old", fileWith("older")},
      {"registry.new", fileWith("torn").substr(0, 20)},
      {"registry.lock", ""}}},
}};
const std::string kOldTree = fileWith("old");
const std::string kNewTree = fileWith("new");

// What a process reads that starts with this on its disk.
std::string treeOf(const Image& image) {
    SimulatedDisk disk(image, true, kWriteLimit);
    fake::setFiles(&disk);
    CRegistry::InitClass(SimulatedDisk::kDirectory);
    return std::string(writeRegistry(registryState.value.root()).view());
}

struct Fault {
    int call;  // from the first one of the save, 1 = that
    int error; // kPowerLoss, or what it fails with
};
constexpr int kPowerLoss = 0;
constexpr Fault kNone{0, kPowerLoss};

struct RegistryFaultsTest : testing::TestWithParam<bool> {
    // Saves once under these faults and checks what is left. Returns how many calls the save made.
    int Save(const Scenario& scenario, const Fault& first, const Fault& second = kNone) {
        Image before = scenario.before;
        before["registry.default"] = fileWith("factory");
        SimulatedDisk disk(before, GetParam(), kWriteLimit);
        fake::setFiles(&disk);
        CRegistry::InitClass(SimulatedDisk::kDirectory);
        const int callsBefore = disk.calls();
        for (const Fault& fault : {first, second}) {
            if (fault.call != 0) {
                fault.error == kPowerLoss ? disk.losePowerAt(fault.call)
                                          : disk.failCall(fault.call, fault.error);
            }
        }
        const bool saved = Change("new");
        disk.endFaults();
        const int made = disk.calls() - callsBefore;
        SCOPED_TRACE(testing::Message()
                     << scenario.name << ": call " << first.call << " error " << first.error << ", call "
                     << second.call << " error " << second.error << (saved ? ", saved" : ""));
        const std::set<Image> possible = disk.afterPowerLoss();
        if (!disk.powerLost()) {
            CheckRunning(before, disk, saved, second.call == 0);
        }
        for (const Image& image : possible) {
            const std::string tree = treeOf(image);
            EXPECT_TRUE(tree == kNewTree || (!saved && tree == kOldTree)) << tree;
        }
        return made;
    }

    static bool Change(const std::string& value) {
        CRegistry key;
        EXPECT_EQ(key.Open("HKEY_LOCAL_MACHINE"), 0);
        EXPECT_EQ(key.SetValue("first", value.c_str()), 1U);
        EXPECT_EQ(key.SetValue("last", (std::string(70, 'x') + value).c_str()), 1U);
        return CRegistry::SaveTree();
    }

    // The process goes on: what it left is whole, and its next save brings all to the disk.
    void CheckRunning(Image expected, SimulatedDisk& disk, bool saved, bool oneFault) const {
        EXPECT_EQ(disk.openDescriptors(), 0U);
        const Image left = disk.now();
        const auto main = left.find("registry");
        const bool replaced = main != left.end() && main->second == kNewTree;
        if (GetParam() && oneFault && !replaced) {
            if (!left.contains("registry.new")) {
                expected.erase("registry.new"); // what an earlier save left
            }
            if (left.contains("registry.lock")) {
                expected["registry.lock"] = ""; // stays for good
            }
            EXPECT_EQ(left, expected) << "main and backup as they were, nothing left behind";
        }
        if (saved) {
            EXPECT_EQ(disk.modeOf("registry"), 0644U);
        }
        EXPECT_TRUE(Change("newer"));
        EXPECT_EQ(disk.now().at("registry"), fileWith("newer"));
        EXPECT_FALSE(disk.now().contains("registry.new"));
        const std::string tree = treeOf(left);
        EXPECT_TRUE(tree == kNewTree || (!saved && tree == kOldTree)) << tree;
    }

    fake::Scope m_script;
};

TEST_P(RegistryFaultsTest, OneFailingCallOrALossOfPower) {
    for (const Scenario& scenario : kScenarios) {
        for (const int error : {kPowerLoss, EIO, ENOSPC, EINTR, EACCES, EINVAL, EDQUOT}) {
            for (int call = 1; Save(scenario, {call, error}) >= call; ++call) {
            }
        }
    }
}

TEST_P(RegistryFaultsTest, AFailingCallAndAnotherOneOrALossOfPower) {
    for (const Scenario& scenario : kScenarios) {
        for (const int firstError : {EIO, EINVAL}) {
            for (const int secondError : {EIO, kPowerLoss}) {
                int made = 1;
                for (int call = 1; made >= call; ++call) {
                    for (int later = call + 1; later == call + 1 || made >= later - 1; ++later) {
                        made = Save(scenario, {call, firstError}, {later, secondError});
                    }
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(FileSystem, RegistryFaultsTest, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Exchanges" : "OnlyRenames"; });

} // namespace
} // namespace em
