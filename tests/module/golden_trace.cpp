#include "module/golden_trace.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <utility>

namespace em::test {
namespace {

// Lines of parts that have their own tests, and whose number in a scenario is nobody's promise.
constexpr std::array kLeftOut = {"event 0x",     "CRegistry",          "ModuleConfigFile ",
                                 "CLogMsgFile ", "CLogMsgXmlFileImpl", "CExtensionModule    : Check for"};

bool isLeftOut(const Record& record) {
    return record.kind != Kind::HostCall &&
           std::any_of(kLeftOut.begin(), kLeftOut.end(),
                       [&](const char* part) { return record.text.find(part) != std::string::npos; });
}

void readInto(GoldenScenario& scenario, const std::string& directory, const std::string& file) {
    std::ifstream stream(directory + "/" + file);
    if (!stream) {
        throw std::runtime_error("cannot read " + directory + "/" + file);
    }
    std::string section;
    for (std::string line; std::getline(stream, line);) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        if (line[0] == '@') {
            readInto(scenario, directory, line.substr(1));
            continue;
        }
        if (line[0] == '[') {
            section = line.substr(1, line.size() - 2);
            continue;
        }
        static const std::regex golden(R"((\??)([0-5P>]) (.*))");
        std::smatch parts;
        if (section.empty() || !std::regex_match(line, parts, golden)) {
            throw std::runtime_error("no golden line in " + file + ": " + line);
        }
        scenario[section].push_back({parts.str(2)[0], parts.length(1) != 0, parts.str(3)});
    }
}

// A line of each thread, and its section.
constexpr std::pair<const char*, const char*> kThreadMarks[] = {
    {"START THREAD TaskHandler()", "handler"},
    {"START THREAD WorkerThread()", "worker"},
    {"START THREAD CheckMaintenanceThreadProc()", "watcher"},
    {"HardShutdown: Thread", "hard"}};

// A thread is told by its first line; at a level that hides it, by its host calls and last lines.
std::string sectionOf(const std::vector<const Record*>& ofThread) {
    if (ofThread.front()->thread == ::getpid()) {
        return "host";
    }
    for (const auto& [line, section] : kThreadMarks) {
        for (const Record* record : ofThread) {
            if (record->text.find(line) != std::string::npos) {
                return section;
            }
        }
    }
    const bool asksForTheTime = ofThread.front()->text.find("\"OE\":161") != std::string::npos;
    return asksForTheTime ? "worker" : "handler";
}

std::map<std::string, std::vector<std::string>> bySection(const std::vector<Record>& records) {
    std::map<pid_t, std::vector<const Record*>> threads;
    for (const Record& record : records) {
        threads[record.thread].push_back(&record);
    }
    std::map<std::string, std::vector<std::string>> sections;
    for (const auto& [thread, ofThread] : threads) {
        std::vector<std::string>& lines = sections[sectionOf(ofThread)];
        for (const Record* record : ofThread) {
            if (!isLeftOut(*record)) {
                const char* const mark = record->kind == Kind::HostCall ? "> "
                                         : record->kind == Kind::Print  ? "P "
                                                                        : "T ";
                lines.push_back(mark + withVisibleNewlines(record->text));
            }
        }
    }
    return sections;
}

bool matchesLine(const GoldenLine& expected, const std::string& actual) {
    const char mark = std::isdigit(static_cast<unsigned char>(expected.level)) != 0 ? 'T' : expected.level;
    return mark == actual[0] && matches(expected.text, std::string_view(actual).substr(2));
}

std::string differenceIn(const std::string& section, const std::vector<GoldenLine>& expected,
                         const std::vector<std::string>& actual, unsigned traceLevel) {
    size_t at = 0;
    for (const GoldenLine& line : expected) {
        if (!isSeen(line, traceLevel)) {
            continue;
        }
        if (at < actual.size() && matchesLine(line, actual[at])) {
            ++at;
        } else if (!line.optional) {
            return "[" + section + "] record " + std::to_string(at) + "\n  expected: " + line.level + " " +
                   line.text + "\n  actual:   " + (at < actual.size() ? actual[at] : "(end)") + "\n";
        }
    }
    return at == actual.size() ? "" : "[" + section + "] more than expected: " + actual[at] + "\n";
}

} // namespace

bool matches(std::string_view pattern, std::string_view text) {
    if (pattern.empty()) {
        return text.empty();
    }
    if (pattern.substr(0, 3) == "{*}") {
        const std::string_view rest = pattern.substr(3);
        for (size_t skipped = 0; skipped <= text.size(); ++skipped) {
            if (matches(rest, text.substr(skipped))) {
                return true;
            }
        }
        return false;
    }
    if (pattern.substr(0, 3) == "{x}" || pattern.substr(0, 3) == "{d}") {
        const char* const allowed = pattern[1] == 'x' ? "0123456789ABCDEFabcdef" : "0123456789-";
        const size_t length = std::min(text.find_first_not_of(allowed), text.size());
        return length != 0 && matches(pattern.substr(3), text.substr(length));
    }
    return !text.empty() && pattern[0] == text[0] && matches(pattern.substr(1), text.substr(1));
}

bool isSeen(const GoldenLine& line, unsigned traceLevel) {
    return std::isdigit(static_cast<unsigned char>(line.level)) == 0 ||
           static_cast<unsigned>(line.level - '0') <= traceLevel;
}

GoldenScenario loadGolden(const std::string& directory, const std::string& file) {
    GoldenScenario scenario;
    readInto(scenario, directory, file);
    return scenario;
}

std::string differences(const GoldenScenario& scenario, const std::vector<Record>& records,
                        const std::vector<std::string>& commands, unsigned traceLevel) {
    std::map<std::string, std::vector<std::string>> actual = bySection(records);
    for (const std::string& command : commands) {
        actual["commands"].push_back("P " + command);
    }
    std::string text;
    for (const auto& [section, lines] : scenario) {
        text += differenceIn(section, lines, actual[section], traceLevel);
    }
    for (const auto& [section, lines] : actual) {
        if (scenario.count(section) == 0 && !lines.empty()) {
            text += "[" + section + "] not expected at all: " + lines.front() + "\n";
        }
    }
    return text;
}

} // namespace em::test
