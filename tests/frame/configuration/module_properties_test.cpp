// A module's properties and its configuration file, from a registry on disk.
#include "frame/configuration/module_properties.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "base/system_fake.h"
#include "catalogue/message_directory.h"
#include "contract/places.h"
#include "frame/configuration/installation_roots.h"
#include "platform/registry/registry.h"
#include "support/registry_directory.h"
#include "support/temporary_directory.h"
#include "support/trace_capture.h"

namespace em {
namespace {

const std::string kDefaultKey = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Aldmere\\Management\\Host Warden";
const std::string kLocatorKey = std::string("HKEY_LOCAL_MACHINE\\") + place::kLocatorKey;

class ModuleProperties : public ::testing::Test {
protected:
    template <class Value>
    static void set(const std::string& key, const char* name, Value value) {
        CRegistry registry;
        ASSERT_EQ(REG_SUCCESS, registry.CreateKey(nullptr, key.c_str()));
        ASSERT_EQ(1U, registry.SetValue(name, value));
    }
    static void locate(const char* product) { set(kLocatorKey, "Host Warden", product); }

    // The lines of module and search; the store writes its own between them.
    static std::string ownLines(const test::TraceCapture& capture) {
        std::string text;
        for (const test::TraceLine& line : capture.lines()) {
            text += line.text.find("CRegistry") == std::string::npos ? line.text : "";
        }
        return text;
    }

    const fake::Scope m_scope;
    const test::RegistryDirectory m_registry;
};

TEST_F(ModuleProperties, NumbersAndTextsAreReadAndWritten) {
    set(kDefaultKey + "\\MODULE", "Number", uint32_t{0xFFFFFFFF});
    set(kDefaultKey + "\\MODULE", "Text", "100%n");
    const test::TraceCapture capture(4);
    uint32_t number = 7;
    std::string text = "as it was";
    EXPECT_EQ(0U, GetModuleProperty("MODULE", number, "Text"));
    EXPECT_EQ(0U, GetModuleProperty("MODULE", "Number", text));
    EXPECT_EQ(0U, GetModuleProperty("OTHER", "Text", text));
    EXPECT_EQ(0U, SetModuleProperty("OTHER", "Number", 5));
    EXPECT_EQ(7U, number);
    EXPECT_EQ("as it was", text);
    EXPECT_EQ(1U, GetModuleProperty("MODULE", number, "Number"));
    EXPECT_EQ(1U, GetModuleProperty("MODULE", "Text", text));
    EXPECT_EQ(1U, SetModuleProperty("MODULE", "Number", 5));
    EXPECT_EQ(0xFFFFFFFFU, number);
    EXPECT_EQ("100%n", text);
    EXPECT_EQ("\nModuleConfigFile    : GetModuleProperty: \"Text\""
              "\nModuleConfigFile    : GetModuleProperty: \"Number\""
              "\nModuleConfigFile    : GetModuleProperty: \"Text\""
              "\nModuleConfigFile    : SetModuleProperty: \"Number\""
              "\nOTHER               : Write module property \"Number\" = 5 (FAILED)"
              "\nModuleConfigFile    : GetModuleProperty: \"Number\""
              "\nMODULE              : Read module property \"Number\" = -1 (0xFFFFFFFF)"
              "\nModuleConfigFile    : GetModuleProperty: \"Text\""
              "\nMODULE              : Read module property \"Text\" = \"100%n\""
              "\nModuleConfigFile    : SetModuleProperty: \"Number\""
              "\nMODULE              : Write module property \"Number\" = 5 (OK)",
              ownLines(capture));
    EXPECT_NE(std::string::npos, m_registry.read("registry").find("\nNumber=d=5\n")) << "on disk by now";
}

TEST_F(ModuleProperties, WithoutNamesTheStoreIsLeftAlone) {
    const test::TraceCapture capture(5);
    uint32_t number = 7;
    std::string text;
    EXPECT_EQ(0U, GetModuleProperty("MODULE", number, nullptr));
    EXPECT_EQ(0U, GetModuleProperty("MODULE", "", text));
    EXPECT_EQ(0U, GetModuleProperty(nullptr, "Text", text));
    EXPECT_EQ(0U, SetModuleProperty("", "Number", 1));
    EXPECT_EQ(0U, SetModuleProperty("MODULE", "", 1));
    EXPECT_EQ(0U, GetModuleConfigFile(nullptr, text, "ini"));
    EXPECT_EQ("\nModuleConfigFile    : GetModuleProperty: \"<null>\""
              "\nModuleConfigFile    : GetModuleProperty: \"\""
              "\nModuleConfigFile    : GetModuleProperty: \"Text\""
              "\nModuleConfigFile    : SetModuleProperty: \"Number\""
              "\nModuleConfigFile    : SetModuleProperty: \"\""
              "\nMODULE              : Write module property \"\" = 1 (FAILED)"
              "\nModuleConfigFile    : GetModuleConfigFile: \"<null>\"",
              capture.text());
}

TEST_F(ModuleProperties, TheLocatorNamesTheProductKey) {
    set(kDefaultKey + "\\M", "P", uint32_t{1});
    set("HKEY_LOCAL_MACHINE\\Here", "unused", "");
    set("HKEY_LOCAL_MACHINE\\Here\\There\\M", "P", uint32_t{2});
    set("HKEY_USERS\\Here\\M", "P", uint32_t{3});
    for (const auto& [locator, expected] : {std::pair{"", 0U}, // an empty value is one, too
                                            {"Here\\There", 2U},
                                            {"Here/There", 0U}, // a backslash is put behind it all the same
                                            {"\\Here\\There\\", 2U},
                                            {"hkey_users\\Here", 3U},
                                            {"HKEY_Users/Here", 0U},
                                            {"here\\There", 0U},
                                            {"HKEY_CURRENT_USER\\Here", 0U}}) {
        locate(locator);
        uint32_t number = 0;
        EXPECT_EQ(expected != 0, GetModuleProperty("M", number, "P")) << locator;
        EXPECT_EQ(expected, number) << locator;
    }
    locate("Here\\There");
    const test::TraceCapture capture(4);
    uint32_t number = 0;
    EXPECT_EQ(1U, GetModuleProperty("M", number, "P"));
    const std::string text = capture.text();
    const std::string read = "CRegistry::GetValue \"Host Warden\" --> len 10\n";
    EXPECT_NE(text.find(read), text.rfind(read)) << "its size, then its value: " << text;
}

// A missing root must not be taken for "from the root node".
TEST_F(ModuleProperties, WithoutTheMachinesRootNothingIsThere) {
    set("SOFTWARE\\Aldmere\\Management\\Host Warden\\M", "P", uint32_t{1});
    uint32_t number = 0;
    EXPECT_EQ(0U, GetModuleProperty("M", number, "P"));
    EXPECT_EQ(0U, SetModuleProperty("M", "P", 2));
}

class ModuleConfigFile : public ModuleProperties {
protected:
    ModuleConfigFile() {
        for (const char* directory : {"current", "data", "bin", "files/Bin"}) {
            std::filesystem::create_directories(m_files.pathOf(directory));
        }
        std::filesystem::current_path(m_files.pathOf("current"));
        set(kDefaultKey + "\\DATA", "DataRoot", m_files.pathOf("data").c_str());
        set(kDefaultKey + "\\Setup", "BinRoot", m_files.pathOf("bin/").c_str());
    }
    ~ModuleConfigFile() override { std::filesystem::current_path("/"); }

    const test::TemporaryDirectory m_files;
};

TEST_F(ModuleConfigFile, TheFirstOfThreeDirectoriesWins) {
    std::filesystem::create_directory(m_files.pathOf("current/M.ini")); // no file
    for (const char* place : {"bin", "data"}) {
        m_files.write(place + std::string("/M.ini"), "");
        std::string path;
        EXPECT_EQ(1U, GetModuleConfigFile("M", path, "ini"));
        EXPECT_EQ(m_files.pathOf(place + std::string("/M.ini")), path);
    }
    set(kDefaultKey + "\\DATA", "M", "own.name");
    m_files.write("current/own.name.", "");
    std::string path;
    const test::TraceCapture capture(3);
    EXPECT_EQ(1U, GetModuleConfigFile("M", path, nullptr));
    EXPECT_EQ("\nModuleConfigFile    : GetModuleConfigFile: \"M\""
              "\nModuleConfigFile    : Extension module config file requested: \"own.name.\""
              "\nCExtensionModule    : Check for config file in current directory " +
                  m_files.pathOf("current") + "..." + "\nModuleConfigFile    : Config file path: \"" +
                  m_files.pathOf("current/own.name.") + "\"",
              ownLines(capture));
}

TEST_F(ModuleConfigFile, FoundNowhere) {
    std::string path = "as it was";
    {
        const test::TraceCapture capture(3);
        EXPECT_EQ(0U, GetModuleConfigFile("M", path, "ini"));
        EXPECT_EQ("\nModuleConfigFile    : GetModuleConfigFile: \"M\""
                  "\nModuleConfigFile    : Extension module config file requested: \"M.ini\""
                  "\nCExtensionModule    : Check for config file in current directory " +
                      m_files.pathOf("current") +
                      "..."
                      "\nModuleConfigFile    : Check for config file in Hostwarden/volad data root " +
                      m_files.pathOf("data") +
                      "..."
                      "\nModuleConfigFile    : Check for config file in Hostwarden/volad binary path " +
                      m_files.pathOf("bin") +
                      "..."
                      "\nModuleConfigFile    : ## ERROR! Module specific config file M.ini not found!",
                  ownLines(capture));
    }
    locate("Nowhere");
    const test::TraceCapture capture(3);
    fake::failNth("getcwd", 1, ENOENT);
    EXPECT_EQ(0U, GetModuleConfigFile("M", path, "ini"));
    EXPECT_EQ("\nModuleConfigFile    : GetModuleConfigFile: \"M\""
              "\nModuleConfigFile    : Extension module config file requested: \"M.ini\""
              "\nModuleConfigFile    : ## ERROR 0x2! GetCurrentDir() FAILED!"
              "\nModuleConfigFile    : Could not find data root directory"
              "\nModuleConfigFile    : Could not find the Hostwarden binary path"
              "\nModuleConfigFile    : ## ERROR! Module specific config file M.ini not found!",
              ownLines(capture));
    EXPECT_EQ("as it was", path);
}

// The same roots, joined in two ways: by the search for a configuration file and by that for message files.
TEST_F(ModuleConfigFile, TwoWaysToJoinTheRoots) {
    struct Case {
        const char *binRoot, *fileRoot;
        const char* searched; // null: there is no such path
        const char* messages;
    };
    for (const Case& row : {
             Case{"/a/b/", "/f", "/a/b", "/a/b"},
             Case{"/a/b", "/f", "/a", "/a/b"},
             Case{"/a//", "", "/a/", "/a"},
             Case{"/a\\", "", "", "/a"},
             Case{"/", "/f", "", ""},
             Case{"a", "/f", nullptr, "a"},
             Case{"", "/f", "/f/Bin", "/f/Bin"},
             Case{"", "/f/", "/f/Bin", "/f/Bin"},
             Case{"", "/f//", "/f//Bin", "/f/Bin"},
             Case{"", "/", "/Bin", "/Bin"},
             Case{"", "f", "f/Bin", "f/Bin"},
             Case{"", "", nullptr, "otherwise"},
         }) {
        set(kDefaultKey + "\\Setup", "BinRoot", row.binRoot);
        set(kDefaultKey + "\\Setup", "FileRoot", row.fileRoot);
        EXPECT_EQ(row.messages, messageDirectory(findInstallationRoots(), "otherwise"));
        const test::TraceCapture capture(3);
        std::string path;
        EXPECT_EQ(0U, GetModuleConfigFile("M", path, "ini"));
        EXPECT_TRUE(capture.contains(
            row.searched == nullptr
                ? std::string("\nModuleConfigFile    : Could not find the Hostwarden binary path")
                : "\nModuleConfigFile    : Check for config file in Hostwarden/volad binary path " +
                      std::string(row.searched) + "..."))
            << row.binRoot << "|" << row.fileRoot << capture.text();
    }
}

} // namespace
} // namespace em
