// A module's properties and its configuration file, from a registry on disk.
#include "frame/configuration/module_properties.h"

#include "platform/registry/registry.h"
#include "support/registry_directory.h"
#include "support/unit_test.h"

namespace em {
namespace {

const std::string kDefaultKey = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Aldmere\\Management\\Host Warden";
const std::string kLocatorKey = std::string("HKEY_LOCAL_MACHINE\\") + place::kLocatorKey;

struct ModuleProperties : testing::Test {
    template <class Value>
    static void set(const std::string& key, const char* name, Value value) {
        CRegistry registry;
        ASSERT_EQ(REG_SUCCESS, registry.CreateKey(nullptr, key.c_str()));
        ASSERT_EQ(1U, registry.SetValue(name, value));
    }
    static void locate(const char* product) { set(kLocatorKey, "Host Warden", product); }

    // 0 when there is no such property.
    static uint32_t numberOf(const char* module, const char* name) {
        uint32_t number = 0;
        const unsigned result = GetModuleProperty(module, number, name);
        EXPECT_EQ(result, number != 0 ? 1U : 0U);
        return number;
    }
    // The lines of module and search; the store writes its own between them.
    static std::string ownLines(const test::TraceCapture& capture) { return capture.text("CRegistry"); }

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
        EXPECT_EQ(expected, numberOf("M", "P")) << locator;
    }
    locate("Here\\There");
    const test::TraceCapture capture(4);
    EXPECT_EQ(2U, numberOf("M", "P"));
    const std::string text = capture.text();
    const std::string read = "CRegistry::GetValue \"Host Warden\" --> len 10\n";
    EXPECT_NE(text.find(read), text.rfind(read)) << "its size, then its value: " << text;
}

// A missing root must not be taken for "from the root node".
TEST_F(ModuleProperties, WithoutTheMachinesRootNothingIsThere) {
    set("SOFTWARE\\Aldmere\\Management\\Host Warden\\M", "P", uint32_t{1});
    EXPECT_EQ(0U, numberOf("M", "P"));
    EXPECT_EQ(0U, SetModuleProperty("M", "P", 2));
}

struct ModuleConfigFile : ModuleProperties {
    ModuleConfigFile() {
        for (const char* directory : {"current", "data", "bin", "files/Bin"}) {
            std::filesystem::create_directories(m_files.pathOf(directory));
        }
        std::filesystem::current_path(m_files.pathOf("current"));
        set(kDefaultKey + "\\DATA", "DataRoot", m_files.pathOf("data").c_str());
        set(kDefaultKey + "\\Setup", "BinRoot", m_files.pathOf("bin/").c_str());
    }
    ~ModuleConfigFile() override { std::filesystem::current_path("/"); }

    // The lines of a search for M's file; the path is touched only where there is one.
    std::string linesOfSearch(const char* extension, const std::string& expected) {
        const test::TraceCapture capture(3);
        std::string path = "as it was";
        EXPECT_EQ(expected != "as it was", GetModuleConfigFile("M", path, extension) == 1);
        EXPECT_EQ(expected, path);
        return ownLines(capture);
    }

    const test::TemporaryDirectory m_files;
    const std::string m_begin = "\nModuleConfigFile    : GetModuleConfigFile: \"M\""
                                "\nModuleConfigFile    : Extension module config file requested: ";
    const std::string m_inCurrent = "\nCExtensionModule    : Check for config file in current directory " +
                                    m_files.pathOf("current") + "...";
};

TEST_F(ModuleConfigFile, TheFirstOfThreeDirectoriesWins) {
    std::filesystem::create_directory(m_files.pathOf("current/M.ini")); // no file
    for (const char* file : {"bin/M.ini", "data/M.ini"}) {
        m_files.write(file, "");
        linesOfSearch("ini", m_files.pathOf(file));
    }
    set(kDefaultKey + "\\DATA", "M", "own.name");
    m_files.write("current/own.name.", "");
    const std::string found = m_files.pathOf("current/own.name.");
    EXPECT_EQ(m_begin + "\"own.name.\"" + m_inCurrent + "\nModuleConfigFile    : Config file path: \"" +
                  found + "\"",
              linesOfSearch(nullptr, found));
}

TEST_F(ModuleConfigFile, FoundNowhere) {
    const std::string end = "\nModuleConfigFile    : ## ERROR! Module specific config file M.ini not found!";
    EXPECT_EQ(m_begin + "\"M.ini\"" + m_inCurrent +
                  "\nModuleConfigFile    : Check for config file in Hostwarden/volad data root " +
                  m_files.pathOf("data") +
                  "...\nModuleConfigFile    : Check for config file in Hostwarden/volad binary path " +
                  m_files.pathOf("bin") + "..." + end,
              linesOfSearch("ini", "as it was"));
    locate("Nowhere");
    fake::failNth("getcwd", 1, ENOENT);
    EXPECT_EQ(m_begin +
                  "\"M.ini\""
                  "\nModuleConfigFile    : ## ERROR 0x2! GetCurrentDir() FAILED!"
                  "\nModuleConfigFile    : Could not find data root directory"
                  "\nModuleConfigFile    : Could not find the Hostwarden binary path" +
                  end,
              linesOfSearch("ini", "as it was"));
}

TEST_F(ModuleConfigFile, TheBinaryPathIsJoinedFromTheRoots) {
    // Null: there is no such path.
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"/a/b/", "/f", "/a/b"}, {"/a/b", "/f", "/a"}, {"/a//", "", "/a/"},  {"/a\\", "", ""},
        {"/", "/f", ""},         {"a", "/f", nullptr}, {"", "/f", "/f/Bin"}, {"", "/f/", "/f/Bin"},
        {"", "/f//", "/f//Bin"}, {"", "/", "/Bin"},    {"", "f", "f/Bin"},   {"", "", nullptr},
    };
    for (const auto& [binRoot, fileRoot, searched] : cases) {
        set(kDefaultKey + "\\Setup", "BinRoot", binRoot);
        set(kDefaultKey + "\\Setup", "FileRoot", fileRoot);
        const std::string wanted =
            searched == nullptr
                ? "Could not find the Hostwarden binary path"
                : "Check for config file in Hostwarden/volad binary path " + std::string(searched) + "...";
        const std::string lines = linesOfSearch("ini", "as it was");
        EXPECT_NE(std::string::npos, lines.find("\nModuleConfigFile    : " + wanted + "\n")) << lines;
    }
}

} // namespace
} // namespace em
