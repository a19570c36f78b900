// Any bytes as a registry file: they are read, to a bounded depth, and what was read is a fixed point after
// one save: it reads back without a finding and is written the same.
#include <string>
#include <string_view>

#include "input.h"
#include "platform/registry/registry_node.h"
#include "platform/registry/registry_reader.h"
#include "platform/registry/registry_writer.h"

namespace {

using fuzz::require;

struct Tree {
    explicit Tree(std::string_view text) {
        const em::RegistryReading reading =
            em::readRegistry(text, root, [&](const em::RegistryFinding& finding) {
                require(finding.line > 0 && finding.reason != nullptr);
                ++findings;
            });
        require(reading.complete);
    }

    em::CRegistryNode root{0};
    size_t findings = 0;
};

// Sorted, no name twice, no key below the deepest level.
void requireOrder(em::CRegistryNode& key) {
    require(key.Depth() <= em::kRegistryDepth);
    const auto entries = key.UnsharedTable().entries();
    for (size_t i = 0; i < entries.size(); ++i) {
        require(i == 0 || em::compareNames(entries[i - 1].name, entries[i].name) < 0);
        if (entries[i].extra == em::REG_TYPE_KEY) {
            requireOrder(*entries[i].value.key);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    Tree first({reinterpret_cast<const char*>(bytes), size});
    requireOrder(first.root);
    const std::string written(em::writeRegistry(first.root).view());
    // A byte of a "=b=" line takes three, a key a header and a line; nothing grows more.
    require(written.size() <= 4 * size + 16);
    Tree second(written);
    require(second.findings == 0);
    require(em::writeRegistry(second.root).view() == written);
    return 0;
}
