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
        : m_pNext(text.data()),
          m_pEnd(text.data() + text.size()),
          m_bHoldsNul(std::memchr(text.data(), '\0', text.size()) != nullptr),
          m_Sink(sink) {
        m_Levels.push_back({&root});
    }

    RegistryReading Run() {
        while (m_pNext != m_pEnd && m_Result.complete && !m_Levels.empty()) {
            TakeLine(NextLine());
        }
        if (m_Result.complete) {
            ReportEnd();
        }
        while (!m_Levels.empty()) {
            CloseKey();
        }
        return m_Result;
    }

private:
    void Report(const char* reason) const { m_Sink({m_nLine, reason}); }

    void ReportEnd() {
        if (m_Levels.size() > 1) {
            Report("is the last one, inside an open key");
            return;
        }
        const char* const more = std::find_if(m_pNext, m_pEnd, [](char c) { return c != '\n'; });
        if (more != m_pEnd) {
            m_nLine += static_cast<size_t>(more - m_pNext) + 1;
            Report("stands behind the end of the tree and is not read, with all that follows");
        }
    }

    // The text up to the newline or a NUL before it.
    std::string_view NextLine() {
        ++m_nLine;
        const auto left = static_cast<size_t>(m_pEnd - m_pNext);
        const auto* const newline = static_cast<const char*>(std::memchr(m_pNext, '\n', left));
        const char* const lineEnd = newline != nullptr ? newline : m_pEnd;
        std::string_view line(m_pNext, static_cast<size_t>(lineEnd - m_pNext));
        m_pNext = newline != nullptr ? newline + 1 : m_pEnd;
        if (m_bHoldsNul) {
            const size_t nul = line.find('\0');
            if (nul != std::string_view::npos) {
                Report("is cut at a NUL");
                line = line.substr(0, nul);
            }
        }
        return line;
    }

    void TakeLine(std::string_view line) {
        if (line.empty()) {
            if (m_nDeeper > 0) {
                --m_nDeeper;
            } else {
                CloseKey();
            }
            return;
        }
        if (line.front() == '[') {
            const size_t close = line.find(']');
            if (close != std::string_view::npos) {
                if (close + 1 != line.size()) {
                    Report("is cut behind the \"]\" of a key's name");
                }
                OpenKey(line.substr(1, close - 1));
                return;
            }
        }
        if (m_nDeeper == 0) {
            TakeValue(line);
        }
    }

    // What lies too deep is counted, not kept: its closing lines must not close a key above.
    void OpenKey(std::string_view name) {
        CRegistryNode& parent = *m_Levels.back().key;
        if (m_nDeeper > 0 || parent.Depth() >= kRegistryDepth) {
            if (m_nDeeper == 0) {
                Report("opens a key below the deepest level, skipped with all it holds");
            }
            ++m_nDeeper;
            return;
        }
        RegistryEntry entry = makeKeyEntry(name, parent.Depth() + 1);
        if (Append(entry)) {
            m_Levels.push_back({entry.value.key});
        }
    }

    void CloseKey() {
        const Level closed = m_Levels.back();
        // Sorted once a key is whole: entries come sorted in a file that the store wrote, in any order from
        // elsewhere.
        closed.key->UnsharedTable().sortAppended([&](const RegistryEntry& earlier,
                                                     const RegistryEntry& later) {
            const bool sameKind = (earlier.extra == REG_TYPE_KEY) == (later.extra == REG_TYPE_KEY);
            Report(sameKind ? "closes a key that held a name twice, the later one counts"
                            : "closes a key that held a name as value and as sub-key, the later one counts");
        });
        m_Levels.pop_back();
        if (m_Levels.empty()) {
            m_Result.anyValue = closed.anyValue;
        } else {
            m_Levels.back().anyValue |= closed.anyValue;
        }
    }

    void TakeValue(std::string_view line) {
        const size_t nameEnd = line.find('=');
        if (nameEnd == std::string_view::npos) {
            m_Result.carriageLine |= line == "\r";
            Report(line == "\r" ? "is a lone CR and closes no key: lines must end in a newline alone"
                                : "has no \"=\" and is skipped");
            return;
        }
        const RegistryValueType* const type = valueTypeAt(line.substr(nameEnd));
        if (type == nullptr) {
            Report("has no known type behind its name and is skipped");
            return;
        }
        const std::string_view name = line.substr(0, nameEnd);
        const std::string_view data = line.substr(nameEnd + type->marker.size());
        m_Levels.back().anyValue = true;
        switch (type->type) {
        case REG_TYPE_DWORD:
            TakeNumber(name, data);
            break;
        case REG_TYPE_BINARY:
            TakeBlock(name, data);
            break;
        default: {
            RegistryEntry entry = makeTextEntry(name, type->type, data);
            Append(entry);
        }
        }
    }

    void TakeNumber(std::string_view name, std::string_view data) {
        const ParsedNumber number = parseDecimal(data);
        if (!number.digits) {
            Report("holds no number and is skipped");
            return;
        }
        if (!number.whole) {
            Report("holds more than a number of 32 bits, the rest is dropped");
        }
        RegistryEntry entry = makeNumberEntry(name, number.value);
        Append(entry);
    }

    void TakeBlock(std::string_view name, std::string_view data) {
        // Counted first, then read into a block of just that size.
        const ParsedBlock counted = parseHex(data, nullptr);
        if (counted.endsEarly) {
            Report("is cut at a character that is no hexadecimal digit");
        }
        if (counted.longNumber) {
            Report("holds a number above a byte, its low byte counts");
        }
        RegistryEntry entry = makeBlockEntry(name, counted.length);
        if (entry.name != nullptr) {
            static_cast<void>(parseHex(data, entry.value.block->bytes()));
        }
        Append(entry);
    }

    bool Append(RegistryEntry& entry) {
        if (entry.name == nullptr) {
            m_Result.complete = false;
        } else if (!m_Levels.back().key->UnsharedTable().append(entry)) {
            destroyRegistryEntry(entry);
            m_Result.complete = false;
        }
        return m_Result.complete;
    }

    const char* m_pNext;
    const char* const m_pEnd;
    const bool m_bHoldsNul;
    const RegistryFindingSink& m_Sink;
    size_t m_nLine = 0;
    std::vector<Level> m_Levels; // the open keys, the root first
    size_t m_nDeeper = 0;        // keys open below the deepest level
    RegistryReading m_Result;
};

} // namespace

RegistryReading readRegistry(std::string_view text, CRegistryNode& root, const RegistryFindingSink& sink) {
    return Reader(text, root, sink).Run();
}

} // namespace em
