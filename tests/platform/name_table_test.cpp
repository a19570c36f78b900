#include "platform/name_table.h"

#include <random>

#include "support/unit_test.h"

namespace em {
namespace {

std::multimap<std::string, int> destroyed;

void destroyEntry(NameTableEntry<int>& entry) noexcept {
    destroyed.emplace(entry.name != nullptr ? entry.name : "<null>", entry.value);
    std::free(entry.name);
}
using Table = NameTable<int, destroyEntry>;

Table::Entry make(const char* name, int value) {
    return {name != nullptr ? ::strdup(name) : nullptr, value, 0};
}

using Rows = std::vector<std::pair<std::string, int>>;

Rows rowsOf(const Table& table) {
    Rows rows;
    for (const Table::Entry& entry : table.entries()) {
        rows.emplace_back(entry.name != nullptr ? entry.name : "<null>", entry.value);
    }
    return rows;
}

struct NameTableTest : testing::Test {
    void SetUp() override { destroyed.clear(); }
    fake::Scope m_script;
};

TEST_F(NameTableTest, NullNamesSortLastAndBytesCountUnsigned) {
    Table table;
    constexpr const char* kNull = nullptr;
    for (int value = 0; const char* name : {"b", "\xC3\xA4", "", kNull, "ba", "B", kNull}) {
        ASSERT_NE(table.insert(make(name, value++)), nullptr);
    }
    EXPECT_EQ(rowsOf(table), (Rows{{"", 2}, {"B", 5}, {"b", 0}, {"ba", 4}, {"\xC3\xA4", 1}, {"<null>", 6}}));
    EXPECT_EQ(table.find(nullptr)->value, 6) << "two null names are equal";
}

// The table against a map, over random insertions, replacements and removals.
TEST_F(NameTableTest, BehavesAsAMapAndNeverShrinks) {
    std::minstd_rand random(7);
    Table table;
    std::map<std::string, int> model;
    uint32_t capacity = 0;
    size_t changes = 0;
    for (int step = 0; step < 4000; ++step) {
        const std::string name = std::to_string(random() % 600);
        Table::Entry* const found = table.find(name.c_str());
        ASSERT_EQ(found != nullptr, model.contains(name));
        if (found != nullptr && random() % 2 == 0) {
            ASSERT_EQ(found->value, model[name]);
            table.erase(found);
            model.erase(name);
            ++changes;
        } else {
            ASSERT_EQ(table.insert(make(name.c_str(), step))->value, step);
            changes += model.contains(name) ? 1 : 0;
            model[name] = step;
        }
        ASSERT_GE(table.capacity(), capacity);
        ASSERT_EQ(table.capacity() % 16, 0U);
        capacity = table.capacity();
    }
    EXPECT_EQ(rowsOf(table), Rows(model.begin(), model.end()));
    EXPECT_EQ(destroyed.size(), changes);
}

TEST_F(NameTableTest, AppendedEntriesEndAsIfInsertedOneByOne) {
    const std::pair<std::vector<std::string>, Rows> loadings[] = {
        {{}, {}}, // the names as they are appended, and the positions of those that are kept
        {{"a", "b", "c"}, {{"a", 0}, {"b", 1}, {"c", 2}}},
        {{"c", "a", "b"}, {{"a", 1}, {"b", 2}, {"c", 0}}},
        {{"b", "a", "b", "c", "b", "c"}, {{"a", 1}, {"b", 4}, {"c", 5}}},
    };
    for (const auto& [appended, kept] : loadings) {
        destroyed.clear();
        Table table;
        for (int position = 0; const std::string& name : appended) {
            ASSERT_TRUE(table.append(make(name.c_str(), position++)));
        }
        size_t replacements = 0;
        table.sortAppended([&](const Table::Entry& earlier, const Table::Entry& later) {
            EXPECT_STREQ(earlier.name, later.name);
            EXPECT_LT(earlier.value, later.value);
            ++replacements;
        });
        EXPECT_EQ(replacements, appended.size() - kept.size());
        EXPECT_EQ(destroyed.size(), replacements);
        EXPECT_EQ(rowsOf(table), kept);
    }
}

TEST_F(NameTableTest, WithoutMemoryTheEntryStaysTheCallers) {
    Table table;
    fake::failNth("realloc", 1, ENOMEM, 2);
    const Table::Entry entry = make("a", 1);
    EXPECT_EQ(table.insert(entry), nullptr);
    EXPECT_FALSE(table.append(entry));
    EXPECT_EQ(table.count(), 0U);
    ASSERT_NE(table.insert(entry), nullptr);
    // From here on there is room: neither look-ups nor insertions allocate.
    fake::failNth("realloc", 1, ENOMEM, 100);
    for (const char* name : {"c", "b"}) {
        EXPECT_EQ(table.find(name), nullptr);
        ASSERT_NE(table.insert(make(name, 1)), nullptr);
    }
    EXPECT_EQ(rowsOf(table), (Rows{{"a", 1}, {"b", 1}, {"c", 1}}));
}

} // namespace
} // namespace em
