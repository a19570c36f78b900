// Keys, values and handles, as callers see them.
#include "platform/registry/registry.h"
#include "support/registry_directory.h"
#include "support/unit_test.h"

namespace em {
namespace {

using namespace std::string_literals;

constexpr const char* kSample = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n"
                                "Count=d=-5\n"
                                "Data=b=0a ff \n"
                                "Empty=b=\n"
                                "Name=s=a=b [c]\n"
                                "Path=es=%HOME%/x%%\n"
                                "[Sub]\nx=s=y\n\n\n\n\n";

struct RegistryTest : testing::Test {
    void load(const std::string& content) const {
        m_directory.write("registry", content);
        m_directory.load();
    }

    fake::Scope m_script;
    test::RegistryDirectory m_directory;
};

TEST_F(RegistryTest, ReadsWhatTheFileHoldsAndWritesItBackByteForByte) {
    load(kSample);
    ::setenv("HOME", "/root", 1);
    {
        CRegistry key;
        ASSERT_EQ(key.Open("HKEY_LOCAL_MACHINE\\SOFTWARE"), 0);
        const std::tuple<const char*, int32_t, std::string> values[] = {
            {"Count", REG_TYPE_DWORD, "\xfb\xff\xff\xff"},
            {"Data", REG_TYPE_BINARY, "\x0a\xff"},
            {"Empty", REG_TYPE_BINARY, ""},
            {"Name", REG_TYPE_STRING, "a=b [c]"},
            {"Path", REG_TYPE_EXPAND, "/root/x%"},
        };
        for (const auto& [name, type, data] : values) {
            EXPECT_EQ(key.GetValue(name), 0);
            EXPECT_EQ(key.ValueType(), type) << name;
            EXPECT_EQ(key.Data(), data) << name;
        }
        key.SetExpand(false);
        EXPECT_EQ(key.GetValue("Path"), 0);
        EXPECT_EQ(key.Data(), "%HOME%/x%%");
        EXPECT_EQ(key.SetValue("Count", uint32_t(-5)), 1U);
    }
    EXPECT_EQ(m_directory.read("registry"), kSample);
    EXPECT_EQ(m_directory.read("registry.old"), kSample);
    EXPECT_FALSE(m_directory.has("registry.new"));
}

TEST_F(RegistryTest, QueriesGiveSizesAndResultsInTheirOrder) {
    load(kSample);
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
    EXPECT_EQ(key.QueryNumber("Count", number), 0);
    EXPECT_EQ(number, uint32_t(-5));
    EXPECT_EQ(key.QueryNumber("Name", number), 61);
    EXPECT_EQ(key.Result(), 61);
}

TEST_F(RegistryTest, PathsSkipEmptyComponentsAndNeedKeysAllTheWay) {
    load(kSample);
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
    load("[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[X]\nv=s=found\n\n\n"
         "[SYSTEM]\n[CurrentControlSet]\n[Control]\n[UUID]\n[7E2D4A91-5B3C-41F8-9A6E-2C8B17D04F63]\n"
         "Flat=s=hkey_local_machine\n"
         "Good=s=hkey_local_machine\\SOFTWARE\\X\n"
         "Number=d=1\n"
         "Slash=es=/Hkey_Local_Machine/SOFTWARE/X\n"
         "Wrong=s=HKEY_LOCAL_MACHINE\\software\\X\n\n\n\n\n\n\n\n");
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
    std::filesystem::current_path(m_directory.path());
    const test::TraceCapture trace(1);
    CRegistry::InitClass(".");
    std::filesystem::current_path("/");
    EXPECT_EQ(trace.text(),
              "CRegistry: WARNING: Could not open \"./registry\"\n"
              "CRegistry: WARNING: Could not restore tree from \"./registry\", trying backup\n"
              "CRegistry: WARNING: The length of \"./registry.old\" is not sufficient\n"
              "CRegistry: WARNING: Could not restore tree from \"./registry.old\", trying default\n"
              "CRegistry: WARNING: Line 5 of \"./registry.default\" stands behind the end of the tree "
              "and is not read, with all that follows\n"
              "CRegistry: WARNING: Node restoring from \"./registry.default\" failed - check the "
              "content of this file\n"
              "CRegistry: ERROR: Could not restore tree from \"./registry.default\", restoring failed\n");
}

TEST_F(RegistryTest, WhatTheFileCannotCarryBackIsRefusedWithItsReason) {
    test::TraceCapture trace(1);
    CRegistry key;
    ASSERT_EQ(key.CreateKey(nullptr, "HKEY_LOCAL_MACHINE\\a"), 0);
    const std::string longest(1022 - 1 - 3, 'x');
    const std::tuple<std::string, int32_t, std::string, unsigned> cases[] = {
        // With a terminator of the caller's; the marker of a text to expand is longer.
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
    for (const auto& [name, type, data, result] : cases) {
        trace.clear();
        const auto size = static_cast<uint32_t>(data.size());
        EXPECT_EQ(key.SetValue(name.c_str(), data.data(), size, type), result)
            << name << " " << type << " " << size;
        EXPECT_EQ(key.Result(), result != 0 ? 0 : 22);
        EXPECT_EQ(trace.contains("is refused: "), result == 0) << trace.text();
    }
    EXPECT_EQ(key.SetValue("n", nullptr, 1, REG_TYPE_STRING), 0U);
    for (const char* name : {"a]b", "[a", "a=b", "a\nb"}) {
        trace.clear();
        EXPECT_EQ(key.CreateKey(nullptr, ("HKEY_LOCAL_MACHINE\\way\\"s + name).c_str()), -1) << name;
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
    EXPECT_EQ(key.CreateKey(nullptr, (path + "\\k").c_str()), -1);
    EXPECT_EQ(key.Open("HKEY_LOCAL_MACHINE"), -1) << "nor are the keys on its way";
    EXPECT_EQ(key.CreateKey(nullptr, path.c_str()), 0);
    EXPECT_EQ(key.SetValue("deep", "down"), 1U);
    EXPECT_EQ(key.CreateKey(nullptr, (path + "\\k").c_str()), -1);
    EXPECT_TRUE(CRegistry::SaveTree());
    m_directory.load();
    EXPECT_EQ(key.Open(path.c_str()), 0);
    EXPECT_EQ(key.GetValue("deep"), 0);
}

TEST_F(RegistryTest, ADeletedKeyIsGoneForWhoStillHoldsIt) {
    load(kSample);
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

// The memory ends at each allocation of the set-up: a line tells it, and no save replaces the file by what
// there is.
TEST_F(RegistryTest, ASetUpWithoutMemoryIsToldAndReplacesNothing) {
    test::TraceCapture trace(2);
    m_directory.write("registry", kSample);
    int nth = 0;
    for (bool whole = false; !whole;) {
        EXPECT_EQ(m_directory.read("registry"), kSample);
        trace.clear();
        fake::failNth("realloc", ++nth, ENOMEM, 0);
        m_directory.load();
        fake::reset();
        CRegistry key;
        whole = key.Open("HKEY_LOCAL_MACHINE\\SOFTWARE\\Sub") == 0;
        EXPECT_EQ(trace.contains("CRegistry: SetupTree(): ## ERROR during Setup\n"), !whole && nth > 1)
            << nth
            << ": where not even the first key was read there is nothing to take over, which could fail";
        EXPECT_EQ(key.CreateKey(nullptr, "HKEY_USERS"), 0);
    }
    EXPECT_GE(nth, 3);
}

TEST_F(RegistryTest, SetUpAgainKeepsWhatTheFileDoesNotReplace) {
    load(kSample);
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

TEST_F(RegistryTest, NamesSixteenBadLinesOfAFileAndThatThereAreMore) {
    const test::TraceCapture capture(1);
    std::string bad;
    for (int i = 0; i < 20; ++i) {
        bad += "bad\n";
    }
    load("[HKEY_USERS]\n" + bad + "v=s=x\n\n\n");
    EXPECT_EQ(test::recording().count("has no \"=\" and is skipped\n"), 16U);
    EXPECT_EQ(test::recording().count("CRegistry: WARNING: More lines of \"" + m_directory.path() +
                                      "/registry\" could not be taken as they stand\n"),
              1U);
}

TEST_F(RegistryTest, SaysWhatItDoes) {
    load(kSample);
    const test::TraceCapture capture(2);
    CRegistry::InitClass(m_directory.path().c_str());
    {
        CRegistry key;
        ASSERT_EQ(key.CreateKey(nullptr, "HKEY_USERS\\K"), 0);
        EXPECT_EQ(key.SetValue("n", "x"), 1U);
        EXPECT_NE(key.QueryValue(nullptr, "n", nullptr), 0);
        EXPECT_EQ(key.DeleteValue("n"), 0);
    }
    {
        CRegistry root;
        ASSERT_EQ(root.Open("HKEY_USERS"), 0);
        EXPECT_EQ(root.DeleteKey("K"), 0);
    }
    const std::string file = m_directory.path() + "/registry";
    const std::string saved =
        "\nCRegistry::SaveTree MPRegistryTemp[" + file + ".new] \t MPRegistry[" + file + "]";
    EXPECT_EQ(capture.text("oEntry"), "CRegistry::InitClass() : re-initialize the registry-tree\n"
                                      "CRegistryNode::deleteNode \"Sub\"\n"
                                      "CRegistryNode::deleteNode \"SOFTWARE\"\n"
                                      "CRegistryNode::deleteNode \"HKEY_LOCAL_MACHINE\"\n"
                                      "CRegistry: SetupTree(): ForceSetup=1, MIsSetup=1, MIsDirty=0\n"
                                      "CRegistry::CreateKey \"HKEY_USERS\\K\"\n"
                                      "CRegistry::SetValue \"n\" 1 1\n"
                                      "CRegistry::QueryValue: ** ERROR **  pdwCount is a NULL pointer\n"
                                      "CRegistry::DeleteValue \"n\"\n" +
                                          saved +
                                          "\nCRegistry::Open \"HKEY_USERS\", hKey = 0\n"
                                          "CRegistry::DeleteKey \"K\"\n"
                                          "CRegistryNode::deleteNode \"K\"\n" +
                                          saved);
}

} // namespace
} // namespace em
