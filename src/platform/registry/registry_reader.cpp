#include "platform/registry/registry_reader.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/registry/registry_node.h"
#include "platform/registry/registry_value_text.h"

namespace em {
namespace {

struct Level {
    CRegistryNode* key;
    bool anyValue = false;
};

class Reader {
public:
    Reader(std::string_view text, CRegistryNode& root, const RegistryFindingSink& sink)
        : m_next(text.data()),
          m_end(text.data() + text.size()),
          m_holdsNul(std::memchr(text.data(), '\0', text.size()) != nullptr),
          m_sink(sink) {
        m_levels.push_back({&root});
    }

    RegistryReading run() {
        while (m_next != m_end && m_result.complete && !m_levels.empty()) {
            takeLine(nextLine());
        }
        if (m_result.complete) {
            reportEnd();
        }
        while (!m_levels.empty()) {
            closeKey();
        }
        return m_result;
    }

private:
    void report(const char* code, const char* reason) const { m_sink({m_line, code, reason}); }

    void reportEnd() {
        if (m_levels.size() > 1) {
            report("key-left-open", "is the last one, inside an open key");
            return;
        }
        const char* const more = std::find_if(m_next, m_end, [](char c) { return c != '\n'; });
        if (more != m_end) {
            m_line += static_cast<size_t>(more - m_next) + 1;
            report("behind-the-end",
                   "stands behind the end of the tree and is not read, with all that follows");
        }
    }

    // The text up to the newline or a NUL before it.
    std::string_view nextLine() {
        ++m_line;
        const auto left = static_cast<size_t>(m_end - m_next);
        const auto* const newline = static_cast<const char*>(std::memchr(m_next, '\n', left));
        const char* const lineEnd = newline != nullptr ? newline : m_end;
        std::string_view line(m_next, static_cast<size_t>(lineEnd - m_next));
        m_next = newline != nullptr ? newline + 1 : m_end;
        if (m_holdsNul) {
            const size_t nul = line.find('\0');
            if (nul != std::string_view::npos) {
                report("nul", "is cut at a NUL");
                line = line.substr(0, nul);
            }
        }
        return line;
    }

    void takeLine(std::string_view line) {
        if (line.empty()) {
            if (m_deeper > 0) {
                --m_deeper;
            } else {
                closeKey();
            }
            return;
        }
        if (line.front() == '[') {
            const size_t close = line.find(']');
            if (close != std::string_view::npos) {
                if (close + 1 != line.size()) {
                    report("behind-key-name", "is cut behind the \"]\" of a key's name");
                }
                openKey(line.substr(1, close - 1));
                return;
            }
        }
        if (m_deeper == 0) {
            takeValue(line);
        }
    }

    // What lies too deep is counted, not kept: its closing lines must not close a key above.
    void openKey(std::string_view name) {
        CRegistryNode& parent = *m_levels.back().key;
        if (m_deeper > 0 || parent.Depth() >= kRegistryDepth) {
            if (m_deeper == 0) {
                report("too-deep", "opens a key below the deepest level, skipped with all it holds");
            }
            ++m_deeper;
            return;
        }
        RegistryEntry entry = makeKeyEntry(name, parent.Depth() + 1);
        if (append(entry)) {
            m_levels.push_back({entry.value.key});
        }
    }

    void closeKey() {
        const Level closed = m_levels.back();
        // Sorted once a key is whole: entries come sorted in a file that the store wrote, in any order from
        // elsewhere.
        closed.key->UnsharedTable().sortAppended([&](const RegistryEntry& earlier,
                                                     const RegistryEntry& later) {
            const bool sameKind = (earlier.extra == REG_TYPE_KEY) == (later.extra == REG_TYPE_KEY);
            sameKind ? report("name-twice", "closes a key that held a name twice, the later one counts")
                     : report("name-of-value-and-key",
                              "closes a key that held a name as value and as sub-key, the later one counts");
        });
        m_levels.pop_back();
        if (m_levels.empty()) {
            m_result.anyValue = closed.anyValue;
        } else {
            m_levels.back().anyValue |= closed.anyValue;
        }
    }

    void takeValue(std::string_view line) {
        const size_t nameEnd = line.find('=');
        if (nameEnd == std::string_view::npos) {
            m_result.carriageLine |= line == "\r";
            line == "\r"
                ? report("lone-cr", "is a lone CR and closes no key: lines must end in a newline alone")
                : report("no-equals-sign", "has no \"=\" and is skipped");
            return;
        }
        const RegistryValueType* const type = valueTypeAt(line.substr(nameEnd));
        if (type == nullptr) {
            report("no-type", "has no known type behind its name and is skipped");
            return;
        }
        const std::string_view name = line.substr(0, nameEnd);
        const std::string_view data = line.substr(nameEnd + type->marker.size());
        m_levels.back().anyValue = true;
        switch (type->type) {
        case REG_TYPE_DWORD:
            takeNumber(name, data);
            break;
        case REG_TYPE_BINARY:
            takeBlock(name, data);
            break;
        default: {
            RegistryEntry entry = makeTextEntry(name, type->type, data);
            append(entry);
        }
        }
    }

    void takeNumber(std::string_view name, std::string_view data) {
        const ParsedNumber number = parseDecimal(data);
        if (!number.digits) {
            report("no-number", "holds no number and is skipped");
            return;
        }
        if (!number.whole) {
            report("number-too-large", "holds more than a number of 32 bits, the rest is dropped");
        }
        RegistryEntry entry = makeNumberEntry(name, number.value);
        append(entry);
    }

    void takeBlock(std::string_view name, std::string_view data) {
        // Counted first, then read into a block of just that size.
        const ParsedBlock counted = parseHex(data, nullptr);
        if (counted.endsEarly) {
            report("not-hexadecimal", "is cut at a character that is no hexadecimal digit");
        }
        if (counted.longNumber) {
            report("above-a-byte", "holds a number above a byte, its low byte counts");
        }
        RegistryEntry entry = makeBlockEntry(name, counted.length);
        if (entry.name != nullptr) {
            static_cast<void>(parseHex(data, entry.value.block->bytes()));
        }
        append(entry);
    }

    bool append(RegistryEntry& entry) {
        if (entry.name == nullptr) {
            m_result.complete = false;
        } else if (!m_levels.back().key->UnsharedTable().append(entry)) {
            destroyRegistryEntry(entry);
            m_result.complete = false;
        }
        return m_result.complete;
    }

    const char* m_next;
    const char* const m_end;
    const bool m_holdsNul;
    const RegistryFindingSink& m_sink;
    size_t m_line = 0;
    std::vector<Level> m_levels; // the open keys, the root first
    size_t m_deeper = 0;         // keys open below the deepest level
    RegistryReading m_result;
};

} // namespace

RegistryReading readRegistry(std::string_view text, CRegistryNode& root, const RegistryFindingSink& sink) {
    return Reader(text, root, sink).run();
}

} // namespace em
