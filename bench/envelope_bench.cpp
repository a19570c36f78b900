// An envelope's operations beside the four blocks that it consists of, each of exactly its size, and beside
// jansson.
#include <jansson.h>
#include <malloc.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/envelope_work.h"

namespace em::bench {
namespace {

struct Jansson {
    struct Free {
        void operator()(json_t* value) const { ::json_decref(value); }
        void operator()(char* text) const { std::free(text); }
    };
    using Document = std::unique_ptr<json_t, Free>;

    static Document set() {
        json_t* const command = ::json_object();
        ::json_object_set_new(command, "OC", ::json_integer(517));
        ::json_object_set_new(command, "OE", ::json_integer(1));
        ::json_object_set_new(command, "OI", ::json_integer(2));
        ::json_object_set_new(command, "CA", ::json_integer(3));
        ::json_object_set_new(command, "ST", ::json_integer(0));
        ::json_object_set_new(command, "DA", ::json_integer(0x10003));
        json_t* const commands = ::json_array();
        ::json_array_append_new(commands, command);
        json_t* const envelope = ::json_object();
        ::json_object_set_new(envelope, "V", ::json_integer(1));
        ::json_object_set_new(envelope, "CMD", commands);
        Document document(::json_object());
        ::json_object_set_new(document.get(), "SIP", envelope);
        return document;
    }
    static Document copy(const Document& source) { return Document(::json_deep_copy(source.get())); }
    struct Text {
        std::unique_ptr<char, Free> characters;
        operator std::string_view() const { return characters.get(); }
    };
    static Text print(const Document& document) {
        return {std::unique_ptr<char, Free>(::json_dumps(document.get(), JSON_COMPACT))};
    }
};

// The document's three objects and its list, as a hand-written copy takes them: allocated, filled, freed.
class FourBlocks {
public:
    void operator()() const {
        std::array<void*, kSizes.size()> blocks;
        for (size_t at = 0; at < blocks.size(); ++at) {
            blocks[at] = std::malloc(kSizes[at]);
            std::memcpy(blocks[at], m_content.data(), kSizes[at]);
            benchmark::DoNotOptimize(blocks[at]);
        }
        for (void* const block : blocks) {
            std::free(block);
        }
    }

private:
    static constexpr std::array<size_t, 4> kSizes = {1 * sizeof(JsonMember), 2 * sizeof(JsonMember),
                                                     1 * sizeof(JsonValue), 6 * sizeof(JsonMember)};
    std::array<char, 6 * sizeof(JsonMember)> m_content{};
};

// In use, with what the C library adds to each block; of so many that its caches of free blocks do not count.
double bytesOfACopy() {
    constexpr size_t kCopies = 10'000;
    const SipJson envelope = Ours::set();
    std::vector<SipJson> copies;
    copies.reserve(kCopies);
    const size_t before = ::mallinfo2().uordblks;
    for (size_t made = 0; made < kCopies; ++made) {
        copies.push_back(envelope);
    }
    return static_cast<double>(::mallinfo2().uordblks - before) / kCopies;
}

} // namespace

void addComparisons() {
    compare("copy / four exact blocks", kRounds, [] {
        return Pair{copying<Ours>(), timed(kCalls, FourBlocks())};
    });
    compare("set / four exact blocks", kRounds, [] {
        return Pair{setting<Ours>(), timed(kCalls, FourBlocks())};
    });
    compare("print / four exact blocks", kRounds, [] {
        return Pair{printing<Ours>(), timed(kCalls, FourBlocks())};
    });
    compareWith<Jansson>("jansson");
    tell("heap of a copy", [] { return std::map<std::string, double>{{"bytes", bytesOfACopy()}}; });
}

} // namespace em::bench
