// Keys, values and handles, as callers see them.
#include "platform/registry/registry.h"

#include "platform/registry/registry_reader.h"
#include "support/registry_directory.h"
#include "support/unit_test.h"

namespace em {
namespace {

constexpr const char* kSample = "[HKEY_LOCAL_MACHINE]\n"
                                "[SOFTWARE]\n"
                                "Count=d=-5\n"
                                "Data=b=0a ff \n"
                                "Empty=b=\n"
                                "Name=s=a=b [c]\n"
                                "Path=es=%HOME%/x%%\n"
                                "[Sub]\n"
                                "x=s=y\n"
                                "\n"
                                "\n"
                                "\n"
                                "\n";

struct RegistryTest : testing::Test {
    void useSample() {
        m_directory.write("registry", kSample);
        m_directory.load();
    }

    fake::Scope m_script;
    test::RegistryDirectory m_directory;
};

TEST_F(RegistryTest, ReadsWhatTheFileHoldsAndWritesItBackByteForByte) {
    useSample();
    ::setenv("HOME", "/root", 1);
    {
        CRegistry key;
        ASSERT_EQ(key.Open("HKEY_LOCAL_MACHINE\\SOFTWARE"), 0);
        uint32_t number = 0;
        EXPECT_EQ(key.QueryNumber("Count", number), 0);
        EXPECT_EQ(static_cast<int32_t>(number), -5);
        EXPECT_EQ(key.GetValue("Data"), 0);
        EXPECT_EQ(key.Data(), "\x0a\xff");
        EXPECT_EQ(key.ValueType(), REG_TYPE_BINARY);
        EXPECT_EQ(key.GetValue("Empty"), 0);
        EXPECT_EQ(key.Data(), "");
        std::string text;
        EXPECT_EQ(key.QueryText("Path", text), 0);
        EXPECT_EQ(text, "/root/x%");
        key.SetExpand(false);
        EXPECT_EQ(key.QueryText("Path", text), 0);
        EXPECT_EQ(text, "%HOME%/x%%");
        EXPECT_EQ(key.SetValue("Count", uint32_t(-5)), 1U);
    }
    EXPECT_EQ(m_directory.read("registry"), kSample);
    EXPECT_EQ(m_directory.read("registry.old"), kSample);
    EXPECT_FALSE(m_directory.has("registry.new"));
}

TEST_F(RegistryTest, QueriesGiveSizesAndResultsInTheirOrder) {
    useSample();
    CRegistry key;
    std::array<char, 16> buffer;
    buffer.fill('#');
    uint32_t size = 16;
    EXPECT_EQ(key.QueryValue(buffer.data(), "Name", &size), 22) << "no key is open";
    ASSERT_EQ(key.Open("HKEY_LOCAL_MACHINE/SOFTWARE"), 0);
    EXPECT_EQ(key.QueryValue(buffer.data(), nullptr, &size), 22);
    EXPECT_EQ(key.QueryValue(buffer.data(), "Missing", nullptr), 61) << "before the null size";
    EXPECT_EQ(key.QueryValue(buffer.data(), "Count", &size), 61) << "a number is no text";
    EXPECT_EQ(key.QueryValue(buffer.data(), "Sub", &size), 61) << "nor is a sub-key";
    EXPECT_EQ(key.QueryValue(buffer.data(), "Name", nullptr), 34);
    EXPECT_EQ(key.QueryValue(nullptr, "Name", &size), 0);
    EXPECT_EQ(size, 8U) << "a size query counts the terminator";
    size = 7;
    EXPECT_EQ(key.QueryValue(buffer.data(), "Name", &size), 34);
    EXPECT_EQ(size, 7U);
    EXPECT_EQ(std::string(buffer.data(), 8), "a=b [c]#") << "no terminator, not one byte more";
    size = 8;
    EXPECT_EQ(key.QueryValue(buffer.data(), "Name", &size), 0);
    EXPECT_EQ(size, 7U) << "a query does not";
    EXPECT_STREQ(buffer.data(), "a=b [c]");
    uint32_t number = 0;
    EXPECT_EQ(key.QueryNumber("Name", number), 61);
    EXPECT_EQ(key.QueryNumber("Missing", number), 61);
    EXPECT_EQ(key.Result(), 61);
}

TEST_F(RegistryTest, PathsSkipEmptyComponentsAndNeedKeysAllTheWay) {
    useSample();
    const std::pair<const char*, int32_t> cases[] = {
        {"HKEY_LOCAL_MACHINE\\SOFTWARE\\Sub", 0},
        {"\\\\HKEY_LOCAL_MACHINE\\\\SOFTWARE\\", 0},
        {"/HKEY_LOCAL_MACHINE//SOFTWARE/Sub/", 0},
        {"", 0},
        {nullptr, 0},
        {"HKEY_LOCAL_MACHINE\\SOFTWARE/Sub", -1}, // "/" is a character beside "\"
        {"hkey_local_machine\\SOFTWARE", -1},
        {"HKEY_LOCAL_MACHINE\\SOFTWARE\\Name", -1},
        {"HKEY_USERS", -1}};
    for (const auto& [path, result] : cases) {
        CRegistry key;
        EXPECT_EQ(key.Open(path), result) << (path != nullptr ? path : "<null>");
        EXPECT_EQ(key.Result(), result);
    }
    CRegistry key;
    const RegistryKeyRef machine = CRegistry::Root(PredefinedRoot::LocalMachine);
    EXPECT_EQ(key.Open("SOFTWARE\\Sub", machine.get()), 0);
    EXPECT_FALSE(CRegistry::Root(PredefinedRoot::Users)) << "nothing is made on load";
    EXPECT_EQ(key.CreateKey(nullptr, "HKEY_USERS\\a\\b"), 0);
    EXPECT_TRUE(CRegistry::Root(PredefinedRoot::Users));
    EXPECT_EQ(key.CreateKey(nullptr, "HKEY_LOCAL_MACHINE\\SOFTWARE\\Name\\x"), -1) << "a value is no key";
}

TEST_F(RegistryTest, PointersOpenTheirKey) {
    m_directory.write("registry", std::string("[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[X]\nv=s=found\n\n\n"
                                              "[SYSTEM]\n[CurrentControlSet]\n[Control]\n[UUID]\n"
                                              "[7E2D4A91-5B3C-41F8-9A6E-2C8B17D04F63]\n"
                                              "Flat=s=hkey_local_machine\n"
                                              "Good=s=hkey_local_machine\\SOFTWARE\\X\n"
                                              "Number=d=1\n"
                                              "Slash=es=/Hkey_Local_Machine/SOFTWARE/X\n"
                                              "Wrong=s=HKEY_LOCAL_MACHINE\\software\\X\n"
                                              "\n\n\n\n\n\n\n"));
    m_directory.load();
    const test::TraceCapture trace(2);
    for (const char* name : {"Good", "Slash"}) {
        CRegistry key;
        std::string text;
        EXPECT_EQ(key.OpenPointer(name), 0) << name;
        EXPECT_EQ(key.QueryText("v", text), 0) << name;
    }
    for (const char* name : {"Flat", "Number", "Wrong", "Missing", static_cast<const char*>(nullptr)}) {
        CRegistry key;
        ASSERT_EQ(key.Open("HKEY_LOCAL_MACHINE\\SOFTWARE\\X"), 0);
        EXPECT_EQ(key.OpenPointer(name), -1) << (name != nullptr ? name : "<null>");
        EXPECT_EQ(key.GetValue("v"), 0) << "still on the key that it had";
    }
    EXPECT_TRUE(trace.contains("CRegistry::OpenPointer \"Good\"\n"));
    EXPECT_TRUE(trace.contains("CRegistry::OpenPointer \"<null>\"\n"));
}

TEST_F(RegistryTest, EachFileThatGivesNoTreeIsToldOnTheWayToTheNext) {
    m_directory.write("registry.old", "");
    m_directory.write("registry.default", "[HKEY_USERS]\n\n\n\n[late]\n");
    const test::TraceCapture trace(1);
    m_directory.load();
    std::string told = trace.text();
    for (size_t at; (at = told.find(m_directory.path())) != std::string::npos;) {
        told.erase(at, m_directory.path().size());
    }
    EXPECT_EQ(told,
              "CRegistry: WARNING: Could not open \"/registry\"\n"
              "CRegistry: WARNING: Could not restore tree from \"/registry\", trying backup\n"
              "CRegistry: WARNING: The length of \"/registry.old\" is not sufficient\n"
              "CRegistry: WARNING: Could not restore tree from \"/registry.old\", trying default\n"
              "CRegistry: WARNING: Line 5 of \"/registry.default\" stands behind the end of the tree "
              "and is not read, with all that follows\n"
              "CRegistry: WARNING: Node restoring from \"/registry.default\" failed - check the "
              "content of this file\n"
              "CRegistry: ERROR: Could not restore tree from \"/registry.default\", restoring failed\n");
}

TEST_F(RegistryTest, WhatTheFileCannotCarryBackIsRefusedWithItsReason) {
    test::TraceCapture trace(1);
    CRegistry key;
    ASSERT_EQ(key.CreateKey(nullptr, "HKEY_LOCAL_MACHINE\\a"), 0);
    const std::string longest(1022 - 1 - 3, 'x');
    using namespace std::string_literals;
    const struct {
        std::string name;
        int32_t type;
        std::string data;
        unsigned result;
    } cases[] = {// With a terminator of the caller's; the marker of a text to expand is longer.
                 {"n", REG_TYPE_STRING, "text\0"s, 1},
                 {"n", REG_TYPE_STRING, "te\0xt"s, 0},
                 {"n", REG_TYPE_STRING, "te\nxt", 0},
                 {"n", REG_TYPE_STRING, "\r=[]", 1},
                 {"n", REG_TYPE_STRING, longest, 1},
                 {"n", REG_TYPE_STRING, longest + "x", 0},
                 {"n", REG_TYPE_EXPAND, longest, 0},
                 {"n", REG_TYPE_BINARY, std::string(339, '\0'), 1},
                 {"n", REG_TYPE_BINARY, std::string(340, '\0'), 0},
                 {"n", REG_TYPE_DWORD, "123", 0},
                 {"n", REG_TYPE_DWORD, "1234", 1},
                 {"n", REG_TYPE_KEY, "", 0},
                 {"n", 0, "", 0},
                 {"", REG_TYPE_STRING, "", 0},
                 {"[n", REG_TYPE_STRING, "", 0},
                 {"n]", REG_TYPE_STRING, "", 1},
                 {"n=", REG_TYPE_STRING, "", 0},
                 {"n\n", REG_TYPE_STRING, "", 0},
                 {std::string(1022 - 3 - 9, 'n'), REG_TYPE_DWORD, "1234", 1}, // 875770417
                 {std::string(1022 - 3 - 8, 'n'), REG_TYPE_DWORD, "1234", 0}};
    for (const auto& test : cases) {
        trace.clear();
        EXPECT_EQ(key.SetValue(test.name.c_str(), test.data.data(), static_cast<uint32_t>(test.data.size()),
                               test.type),
                  test.result)
            << test.name << " " << test.type << " " << test.data.size();
        EXPECT_EQ(key.Result(), test.result != 0 ? 0 : 22);
        EXPECT_EQ(trace.contains("is refused: "), test.result == 0) << trace.text();
    }
    EXPECT_EQ(key.SetValue("n", nullptr, 1, REG_TYPE_STRING), 0U);
    std::string tooDeep = "x";
    for (uint32_t level = 2; level < kRegistryDepth; ++level) {
        tooDeep += "\\x";
    }
    for (const std::string& name : {"a]b"s, "[a"s, "a=b"s, "a\nb"s, tooDeep}) {
        trace.clear();
        const std::string path = "HKEY_LOCAL_MACHINE\\way\\" + name;
        EXPECT_EQ(key.CreateKey(nullptr, path.c_str()), -1) << name;
        EXPECT_TRUE(trace.contains("is refused: "));
        EXPECT_NE(key.Refusal(), nullptr);
        EXPECT_EQ(key.Open("HKEY_LOCAL_MACHINE\\way"), -1) << "not the keys on its way";
    }
    ASSERT_EQ(key.CreateKey(nullptr, "HKEY_LOCAL_MACHINE\\a\\sub"), 0);
    ASSERT_EQ(key.Open("HKEY_LOCAL_MACHINE\\a"), 0);
    EXPECT_EQ(key.SetValue("sub", "text"), 0U) << "replacing a key would lose a whole subtree";
}

// A save holds the locks of all levels; the thread sanitizer's order check knows 64.
TEST_F(RegistryTest, KeysEndAtTheDeepestLevel) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP();
#endif
    CRegistry key;
    std::string path = "HKEY_LOCAL_MACHINE";
    for (uint32_t level = 1; level < kRegistryDepth; ++level) {
        path += "\\k";
    }
    EXPECT_EQ(key.CreateKey(nullptr, path.c_str()), 0);
    EXPECT_EQ(key.SetValue("deep", "down"), 1U);
    EXPECT_EQ(key.CreateKey(nullptr, (path + "\\k").c_str()), -1);
    EXPECT_TRUE(CRegistry::SaveTree());
    m_directory.load();
    EXPECT_EQ(key.Open(path.c_str()), 0);
    EXPECT_EQ(key.GetValue("deep"), 0);
}

TEST_F(RegistryTest, ADeletedKeyIsGoneForWhoStillHoldsIt) {
    useSample();
    test::TraceCapture trace(2);
    CRegistry key;
    CRegistry held;
    ASSERT_EQ(key.Open("HKEY_LOCAL_MACHINE"), 0);
    ASSERT_EQ(held.Open("HKEY_LOCAL_MACHINE\\SOFTWARE\\Sub"), 0);
    EXPECT_EQ(key.DeleteKey("Missing"), 22);
    EXPECT_EQ(key.DeleteValue("SOFTWARE"), 22) << "a key is no value";
    EXPECT_EQ(key.DeleteKey("SOFTWARE"), 0);
    EXPECT_TRUE(trace.contains("CRegistryNode::deleteNode \"Sub\"\n"));
    EXPECT_TRUE(trace.contains("CRegistryNode::deleteNode \"SOFTWARE\"\n"));
    EXPECT_EQ(held.GetValue("x"), 61);
    EXPECT_EQ(held.SetValue("x", "y"), 0U);
    EXPECT_TRUE(trace.contains("CRegistry::SetValue oEntry = (nil)\n"));
    EXPECT_EQ(held.CreateKey(held.Node(), "new"), -1);
    EXPECT_EQ(CRegistry().DeleteValue("x"), 22) << "nothing is open";
    EXPECT_EQ(key.Open("HKEY_LOCAL_MACHINE\\SOFTWARE"), -1);
}

TEST_F(RegistryTest, WithoutItsDirectoryAChangeIsInMemoryOnly) {
    test::TraceCapture trace(1);
    CRegistry::InitClass("/no/such/directory");
    trace.clear();
    {
        CRegistry key;
        EXPECT_EQ(key.CreateKey(nullptr, "HKEY_USERS"), 0);
    }
    EXPECT_EQ(trace.text(),
              "CRegistry: ERROR: Cannot open \"/no/such/directory/registry.new\" for writing\n"
              "CRegistry: ERROR: Saving \"/no/such/directory/registry\" failed (open directory, "
              "error 2), the change is in memory only\n");
    EXPECT_TRUE(CRegistry::Root(PredefinedRoot::Users));
}

TEST_F(RegistryTest, SetUpAgainKeepsWhatTheFileDoesNotReplace) {
    useSample();
    CRegistry held;
    ASSERT_EQ(held.Open("HKEY_LOCAL_MACHINE\\SOFTWARE"), 0);
    {
        CRegistry key;
        ASSERT_EQ(key.CreateKey(nullptr, "HKEY_USERS"), 0);
    }
    m_directory.write("registry", kSample);
    CRegistry::SetupTree(true);
    CRegistry key;
    EXPECT_EQ(key.Open("HKEY_USERS"), 0);
    EXPECT_EQ(held.GetValue("Name"), 61) << "its key was replaced";
    EXPECT_EQ(key.Open("HKEY_LOCAL_MACHINE\\SOFTWARE"), 0);
    EXPECT_EQ(key.GetValue("Name"), 0);
    m_directory.load();
    EXPECT_EQ(key.Open("HKEY_USERS"), -1);
}

// Each change is on the disk when its handle has gone, none is lost, and no file is ever torn.
TEST_F(RegistryTest, NoUpdateOfAnotherThreadIsLost) {
    constexpr int kThreads = 4;
    constexpr int kValues = 25;
    const auto change = [&](const std::string& name) {
        {
            CRegistry key;
            static_cast<void>(key.CreateKey(nullptr, "HKEY_LOCAL_MACHINE\\shared"));
            static_cast<void>(key.SetValue(name.c_str(), uint32_t{1}));
            CRegistry doomed;
            static_cast<void>(doomed.CreateKey(nullptr, "HKEY_LOCAL_MACHINE\\doomed\\a\\b"));
            static_cast<void>(doomed.SetValue("x", "y"));
            static_cast<void>(doomed.Open("HKEY_LOCAL_MACHINE"));
            static_cast<void>(doomed.DeleteKey("doomed"));
        }
        const std::string file = m_directory.read("registry");
        EXPECT_NE(file.find(name + "=d="), std::string::npos) << "on disk when the handle has gone";
        CRegistryNode read(0);
        readRegistry(file, read, [&](const RegistryFinding& finding) {
            ADD_FAILURE() << "torn in line " << finding.line << ": " << finding.reason << "\n" << file;
        });
    };
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int value = 0; value < kValues; ++value) {
                change(std::to_string(thread) + "." + std::to_string(value));
            }
        });
    }
    threads.clear(); // joins
    m_directory.load();
    CRegistry key;
    ASSERT_EQ(key.Open("HKEY_LOCAL_MACHINE\\shared"), 0);
    EXPECT_EQ(key.Node()->Items().size(), static_cast<size_t>(kThreads * kValues));
}

} // namespace
} // namespace em
