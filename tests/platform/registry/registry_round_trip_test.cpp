// What is written reads back: random trees of all that may be set, with the bytes that the format has a use
// for, come back equal, and a second save is the same to the last byte.

#include <random>

#include "platform/registry/registry_node.h"
#include "platform/registry/registry_reader.h"
#include "platform/registry/registry_rules.h"
#include "platform/registry/registry_writer.h"
#include "support/unit_test.h"

namespace em {
namespace {

struct RandomTree {
    std::mt19937 random;

    uint32_t Below(uint32_t bound) { return static_cast<uint32_t>(random() % bound); }

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
};

// Name, type and data of all of it, in its order; a sub-key ends with an empty row.
using Rows = std::vector<std::tuple<std::string, int32_t, std::string>>;

void addRows(CRegistryNode& key, Rows& rows) {
    for (const RegistryItem& item : key.Items()) {
        rows.emplace_back(item.name, item.type, item.data);
        if (item.type == REG_TYPE_KEY) {
            addRows(*key.SubKey(item.name.c_str()), rows);
            rows.emplace_back();
        }
    }
}

TEST(RegistryRoundTrip, RandomTreesComeBackEqual) {
    size_t entries = 0;
    for (uint32_t seed = 0; seed < 60 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        CRegistryNode tree(0);
        RandomTree{std::mt19937(seed)}.Fill(tree, 0);
        const std::string written(writeRegistry(tree).view());
        CRegistryNode read(0);
        readRegistry(written, read, [](const RegistryFinding& finding) {
            ADD_FAILURE() << "line " << finding.line << " " << finding.reason;
        });
        Rows mine;
        Rows others;
        addRows(tree, mine);
        addRows(read, others);
        EXPECT_EQ(mine, others);
        EXPECT_EQ(writeRegistry(read).view(), written);
        entries += mine.size();
    }
    EXPECT_GT(entries, 1000U);
}

} // namespace
} // namespace em
