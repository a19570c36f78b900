// Handles of several threads at once: each change is on the disk when its handle has gone, none is lost, and
// no file is ever torn.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/registry/registry.h"
#include "platform/registry/registry_reader.h"
#include "support/registry_directory.h"

namespace em {
namespace {

TEST(RegistryThreads, NoUpdateOfAnotherThreadIsLost) {
    const test::RegistryDirectory directory;
    constexpr int kThreads = 4;
    constexpr int kValues = 25;
    {
        CRegistry key;
        ASSERT_EQ(key.CreateKey(nullptr, "HKEY_LOCAL_MACHINE\\shared"), 0);
    }
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread, &directory] {
            for (int value = 0; value < kValues; ++value) {
                const std::string name = std::to_string(thread) + "." + std::to_string(value);
                {
                    CRegistry key;
                    static_cast<void>(key.CreateKey(nullptr, "HKEY_LOCAL_MACHINE\\shared"));
                    static_cast<void>(key.SetValue(name.c_str(), static_cast<uint32_t>(value)));
                    CRegistry doomed;
                    static_cast<void>(doomed.CreateKey(nullptr, "HKEY_LOCAL_MACHINE\\doomed\\a\\b"));
                    static_cast<void>(doomed.SetValue("x", "y"));
                    static_cast<void>(doomed.Open("HKEY_LOCAL_MACHINE"));
                    static_cast<void>(doomed.DeleteKey("doomed"));
                }
                const std::string file = directory.read("registry");
                EXPECT_NE(file.find(name + "=d="), std::string::npos) << "on disk when the handle has gone";
                CRegistryNode read(0);
                readRegistry(file, read, [&](const RegistryFinding& finding) {
                    ADD_FAILURE() << "torn in line " << finding.line << ": " << finding.reason << "\n"
                                  << file;
                });
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    directory.load();
    CRegistry key;
    ASSERT_EQ(key.Open("HKEY_LOCAL_MACHINE\\shared"), 0);
    EXPECT_EQ(key.Node()->Items().size(), static_cast<size_t>(kThreads * kValues));
}

} // namespace
} // namespace em
