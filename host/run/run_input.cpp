#include "host/run/run_input.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "base/unique_fd.h"
#include "host/common/failure.h"
#include "host/run/run_json.h"
#include "host/run/trace_reader.h"

namespace volad_dev {
namespace {

constexpr size_t kChunk = 262'144;
constexpr size_t kLongestJson = 4'194'304; // of a rehearsal; its document takes several times as much

class Input {
public:
    explicit Input(const std::string& file) : m_file(file) {
        if (file != "-") {
            m_own.reset(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
            if (!m_own.valid()) {
                fail();
            }
        }
    }

    // The next bytes, none at the end; they live until the next call.
    std::string_view next() {
        for (;;) {
            const ssize_t count =
                ::read(m_own.valid() ? m_own.get() : STDIN_FILENO, m_bytes.data(), m_bytes.size());
            if (count >= 0) {
                return {m_bytes.data(), static_cast<size_t>(count)};
            }
            if (errno != EINTR) {
                fail();
            }
        }
    }

private:
    [[noreturn]] void fail() const {
        throw Failure(
            fmt::format("\"{}\" cannot be read: {}", m_file, std::generic_category().message(errno)));
    }

    std::string m_file;
    em::UniqueFd m_own;
    std::vector<char> m_bytes = std::vector<char>(kChunk);
};

bool mayBeJson(std::string_view start) {
    const size_t first = start.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && start[first] == '{';
}

} // namespace

RunInput readRuns(const std::string& file, const std::function<void(KnownRun&&)>& sink) {
    RunInput result;
    const auto give = [&](KnownRun&& run) {
        ++result.shutdowns;
        sink(std::move(run));
    };
    Input input(file);
    TraceReader reader(give);
    std::string_view bytes = input.next();
    std::string document;
    if (mayBeJson(bytes)) {
        for (; !bytes.empty() && document.size() + bytes.size() <= kLongestJson; bytes = input.next()) {
            document += bytes;
        }
        const auto run = bytes.empty() ? readRunJson(document) : std::nullopt;
        if (run && !run->asked.operation.empty()) {
            give(knownRun(*run));
            return result;
        }
        result.noJson =
            bytes.empty() ? whyNoRunJson(document)
                          : fmt::format("as JSON it is longer than the {} bytes that are read", kLongestJson);
        reader.take(document);
    }
    for (; !bytes.empty(); bytes = input.next()) {
        reader.take(bytes);
    }
    reader.finish();
    result.level = reader.level();
    return result;
}

std::string nothingFoundText(const std::string& file, const RunInput& input) {
    std::string text = fmt::format("there is no shutdown in \"{}\"", file);
    if (!input.noJson.empty()) {
        return text + ": " + input.noJson;
    }
    if (!input.level) {
        return text + ", nor any other line of the module that tells of one";
    }
    text += fmt::format("; its level seems to be {}", *input.level);
    return *input.level < known_from::kRequest
               ? text + fmt::format(", and a request that is refused shows from level {} on",
                                    known_from::kRequest)
               : text;
}

} // namespace volad_dev
