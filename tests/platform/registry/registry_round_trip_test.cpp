// What is written reads back: random trees of all that may be set, with the bytes that the format has a use
// for, come back equal, and a second save is the same to the last byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry/registry_node.h"
#include "platform/registry/registry_reader.h"
#include "platform/registry/registry_rules.h"
#include "platform/registry/registry_writer.h"

namespace em {
namespace {

class RandomTree {
public:
    explicit RandomTree(uint32_t seed) : m_random(seed) { Fill(root, 0); }

    CRegistryNode root{0};

private:
    uint32_t Below(uint32_t bound) { return static_cast<uint32_t>(m_random() % bound); }

    std::string Text(uint32_t longest) {
        static constexpr std::string_view odd = "=[]\r\t %sbde0a\xff\n"; // more often than any other byte
        std::string text(Below(longest + 1), '\0');
        for (char& c : text) {
            c = Below(2) == 0 ? odd[Below(odd.size())] : static_cast<char>(Below(256));
        }
        return text;
    }

    void Fill(CRegistryNode& key, uint32_t depth) {
        for (uint32_t values = Below(20); values > 0; --values) {
            const std::string name = Text(8);
            const auto type = static_cast<int32_t>(1 + Below(4));
            const std::string data =
                type == REG_TYPE_DWORD ? std::to_string(1000 + Below(9000)) : Text(Below(10) == 0 ? 400 : 12);
            if (refusalOfValue(name, type, data) == nullptr) {
                RegistryEntry entry = makeValueEntry(name, type, data);
                if (key.SetValue(entry) == nullptr) {
                    destroyRegistryEntry(entry); // a sub-key has the name
                }
            }
        }
        for (uint32_t keys = depth < 6 ? Below(4) : 0; keys > 0; --keys) {
            const std::string name = Text(8);
            bool created = false;
            if (refusalOfKeyName(name) == nullptr) {
                if (const RegistryKeyRef subKey = key.CreateSubKey(name.c_str(), created)) {
                    Fill(*subKey, depth + 1);
                }
            }
        }
    }

    std::mt19937 m_random;
};

size_t requireEqual(CRegistryNode& left, CRegistryNode& right) {
    const std::vector<RegistryItem> mine = left.Items();
    const std::vector<RegistryItem> others = right.Items();
    EXPECT_EQ(mine.size(), others.size());
    size_t count = mine.size();
    for (size_t i = 0; i < std::min(mine.size(), others.size()); ++i) {
        EXPECT_EQ(mine[i].name, others[i].name);
        EXPECT_EQ(mine[i].type, others[i].type);
        EXPECT_EQ(mine[i].data, others[i].data);
        if (mine[i].type == REG_TYPE_KEY && others[i].type == REG_TYPE_KEY) {
            count += requireEqual(*left.SubKey(mine[i].name.c_str()), *right.SubKey(others[i].name.c_str()));
        }
    }
    return count;
}

TEST(RegistryRoundTrip, RandomTreesComeBackEqual) {
    size_t entries = 0;
    for (uint32_t seed = 0; seed < 60 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        RandomTree tree(seed);
        const std::string written(writeRegistry(tree.root).view());
        CRegistryNode read(0);
        readRegistry(written, read, [](const RegistryFinding& finding) {
            ADD_FAILURE() << "line " << finding.line << " " << finding.reason;
        });
        entries += requireEqual(tree.root, read);
        EXPECT_EQ(writeRegistry(read).view(), written);
    }
    EXPECT_GT(entries, 1000U);
}

} // namespace
} // namespace em
