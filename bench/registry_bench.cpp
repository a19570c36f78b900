// What the registry store costs: loading beside a scan of the file's lines and beside other stores, saving
// beside a hand-written serialising of the same values with the same writes, renames and syncs, a look-up
// beside a plain binary search. Works in the current directory, whose file system the syncs measure.
#include <fcntl.h>
#include <malloc.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/file_content.h"
#include "bench/registry_peers.h"
#include "platform/registry/registry_node.h"
#include "platform/registry/registry_reader.h"
#include "platform/registry/registry_save.h"

namespace {

bool syncs = true;

} // namespace

// In place of the C library's, so that a save can be measured without what it waits for the disk.
extern "C" int fsync(int fd) {
    return syncs ? static_cast<int>(::syscall(SYS_fsync, fd)) : 0;
}

namespace em::bench {
namespace {

constexpr const char* kDirectory = "registry_bench.files";
constexpr int kRounds = 11;
constexpr size_t kCount = 100'000;
constexpr size_t kSmaller[] = {1'000, 10'000}; // for the growth

struct ScratchDirectory {
    ScratchDirectory() { std::filesystem::create_directory(kDirectory); }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory() { std::filesystem::remove_all(kDirectory); }
};

struct Tree {
    explicit Tree(std::string_view text) {
        require(readRegistry(text, root, [](const RegistryFinding&) {}).complete, "reading a registry");
    }
    CRegistryNode root{0};
};

std::string registryText(size_t count, Order order) {
    std::string text = "[HKEY_LOCAL_MACHINE]\n";
    for (size_t i = 0; i < count; ++i) {
        const std::string name = valueName(indexOf(i, count, order));
        const std::string value = name + "=s=" + valueText(i) + "\n";
        text += order == Order::Keys ? "[" + name + "]\n" + value + "\n" : value;
    }
    return text + "\n\n";
}

std::string registryFile(size_t count, Order order) {
    const std::string path = std::string(kDirectory) + "/load";
    writeFile(path, registryText(count, order));
    return path;
}

FileContent contentOf(const std::string& path) {
    FileContent content;
    require(readRegularFile(path.c_str(), SIZE_MAX, 0, content) == 0, "reading a file");
    return content;
}

double load(const std::string& path) {
    const Stopwatch watch;
    const FileContent content = contentOf(path);
    const Tree tree({content.data.get(), content.size});
    return watch.seconds();
}

double scanLines(const std::string& path) {
    const Stopwatch watch;
    const FileContent content = contentOf(path);
    size_t lines = 0;
    const char* const end = content.data.get() + content.size;
    for (const char* next = content.data.get(); next != end; ++lines) {
        const void* const newline = std::memchr(next, '\n', static_cast<size_t>(end - next));
        next = newline != nullptr ? static_cast<const char*>(newline) + 1 : end;
    }
    benchmark::DoNotOptimize(lines);
    return watch.seconds();
}

void compareLoad(const std::string& what, size_t count, Order order, const Peer& peer) {
    compare(what + " / " + peer.name, kRounds, [=] {
        const std::string path = registryFile(count, order);
        return Pair{[path] { return load(path); }, peer.prepare(kDirectory, count, order)};
    });
}

void addLoads() {
    constexpr std::pair<const char*, Order> kOrders[] = {
        {"load 100000 values", Order::Sorted},
        {"load 100000 values, shuffled", Order::Shuffled},
        {"load 100000 keys", Order::Keys},
    };
    for (const auto& [what, order] : kOrders) {
        for (const Peer& peer : kPeers) {
            compareLoad(what, kCount, order, peer);
        }
    }
    compare("load 100000 values / scan of the lines", kRounds, [] {
        const std::string path = registryFile(kCount, Order::Sorted);
        return Pair{[path] { return load(path); }, [path] { return scanLines(path); }};
    });
    for (const size_t count : kSmaller) {
        compareLoad("load " + std::to_string(count) + " values", count, Order::Sorted, kPeers.front());
    }
}

// The same values, each name and text terminated and in one block as the store's, in the file's order.
class PlainStore {
public:
    explicit PlainStore(size_t count) {
        for (size_t i = 0; i < count; ++i) {
            m_values.push_back(valueName(i) + '\0' + valueText(i));
            m_size += m_values.back().size() + kMark.size();
        }
    }

    void save() const {
        std::string text = "[HKEY_LOCAL_MACHINE]\n";
        text.reserve(m_size + 64); // more than a store knows that does not walk its tree twice
        for (const std::string& value : m_values) {
            const char* const name = value.c_str();
            const size_t length = std::strlen(name);
            text.append(name, length).append(kMark).append(name + length + 1).append("\n");
        }
        text += "\n\n";
        writeAndRename(text);
    }

private:
    static constexpr std::string_view kMark = "=s=";

    static void writeAndRename(const std::string& content) {
        const std::string main = std::string(kDirectory) + "/plain";
        const std::string fresh = main + ".new";
        const int file = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        require(::write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
                "write");
        require(fsync(file) == 0 && ::close(file) == 0, "fsync, close");
        static_cast<void>(::rename(main.c_str(), (main + ".old").c_str())); // none yet at first
        require(::rename(fresh.c_str(), main.c_str()) == 0, "rename");
        const int directory = ::open(kDirectory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        require(fsync(directory) == 0 && ::close(directory) == 0, "fsync of the directory");
    }

    std::vector<std::string> m_values;
    size_t m_size = 0; // of the text
};

Timed saveOurs(size_t count, clockid_t clock) {
    return timed(
        1,
        [tree = std::make_shared<Tree>(registryText(count, Order::Sorted))] {
            require(saveRegistryFile(kDirectory, tree->root, false).failedAt == nullptr, "saving");
        },
        clock);
}

void compareSave(size_t count, bool withSyncs) {
    compare("save " + std::to_string(count) + " values" + (withSyncs ? ", synced" : "") + " / hand-written",
            kRounds, [=] {
                syncs = withSyncs;
                // What a sync takes is waiting.
                const clockid_t clock = withSyncs ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID;
                return Pair{saveOurs(count, clock),
                            timed(
                                1, [plain = PlainStore(count)] { plain.save(); }, clock)};
            });
}

void addSaves() {
    for (const bool withSyncs : {false, true}) {
        compareSave(kCount, withSyncs);
    }
    for (const size_t count : kSmaller) {
        compareSave(count, false);
    }
    for (const SavingPeer& peer : kSavingPeers) {
        compare(std::string("save 100000 values / ") + peer.name, kRounds, [&peer] {
            syncs = false;
            return Pair{saveOurs(kCount, CLOCK_THREAD_CPUTIME_ID), peer.prepare(kDirectory, kCount)};
        });
    }
}

const RegistryEntry* plainSearch(std::span<const RegistryEntry> entries, const char* name) {
    size_t low = 0;
    size_t high = entries.size();
    while (low < high) {
        const size_t middle = (low + high) / 2;
        const int order = std::strcmp(entries[middle].name, name);
        if (order == 0) {
            return &entries[middle];
        }
        (order < 0 ? low : high) = order < 0 ? middle + 1 : middle;
    }
    return nullptr;
}

Pair lookUp() {
    const auto tree = std::make_shared<Tree>(registryText(kCount, Order::Sorted));
    const auto key = std::make_shared<RegistryKeyRef>(tree->root.SubKey("HKEY_LOCAL_MACHINE"));
    std::vector<std::string> names;
    for (size_t i = 0; i < 10'000; ++i) {
        names.push_back(valueName(i * 7919 % kCount));
    }
    const auto all = [&](auto search) {
        return timed(1, [tree, key, names, search] {
            for (const std::string& name : names) {
                benchmark::DoNotOptimize(search((*key)->UnsharedTable(), name.c_str()));
            }
        });
    };
    return {all([](RegistryTable& table, const char* name) { return table.find(name); }),
            all([](RegistryTable& table, const char* name) { return plainSearch(table.entries(), name); })};
}

} // namespace

void addComparisons() {
    // Memory stays with the process: what the kernel takes for fresh pages is the machine's, and no store's.
    ::mallopt(M_TRIM_THRESHOLD, INT_MAX);
    ::mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
    static const ScratchDirectory scratch;
    // Before the stores that leave the heap in pieces: where a tree's values lie is most of what a walk
    // costs.
    compare("10,000 look-ups in 100000 values / binary search", kRounds, lookUp);
    addSaves();
    addLoads();
}

} // namespace em::bench
