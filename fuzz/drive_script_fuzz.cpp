// Any bytes as a script: its lines do not hang on where the bytes are cut; each is understood, or refused
// with its place in one visible line; and what was understood of a line is a line that is understood as the
// same.
#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/common/failure.h"
#include "host/common/visible_text.h"
#include "host/drive/envelope_form.h"
#include "host/drive/line_buffer.h"
#include "host/drive/script_parser.h"
#include "input.h"

namespace {

using fuzz::require;
using volad_dev::Statement;

std::vector<std::string> linesOf(std::string_view bytes, size_t chunk) {
    std::vector<std::string> lines;
    volad_dev::LineBuffer buffer;
    for (; !bytes.empty(); bytes.remove_prefix(std::min(chunk, bytes.size()))) {
        buffer.take(bytes.substr(0, chunk));
        while (auto line = buffer.next()) {
            lines.push_back(std::move(*line));
        }
    }
    if (auto line = buffer.last()) {
        lines.push_back(std::move(*line));
    }
    return lines;
}

// Envelopes are made, so that a value that is none is found here.
void requireSame(const Statement& first, const Statement& second) {
    require(first.verb == second.verb && first.text == second.text && first.line == second.line);
    require(first.arguments.index() == second.arguments.index());
    if (const auto* const form = std::get_if<volad_dev::EnvelopeForm>(&first.arguments)) {
        const auto& other = std::get<volad_dev::EnvelopeForm>(second.arguments);
        require(volad_dev::envelopeOf(*form, 7).root == volad_dev::envelopeOf(other, 7).root);
    } else if (const auto* const expectation = std::get_if<volad_dev::Expectation>(&first.arguments)) {
        const auto& other = std::get<volad_dev::Expectation>(second.arguments);
        require(expectation->seen == other.seen && expectation->within == other.within &&
                expectation->code == other.code && expectation->handled == other.handled &&
                expectation->sought == other.sought && expectation->action == other.action &&
                expectation->absent == other.absent && expectation->json == other.json &&
                expectation->members.size() == other.members.size());
    } else if (const auto* const change = std::get_if<volad_dev::SettingChange>(&first.arguments)) {
        const auto& other = std::get<volad_dev::SettingChange>(second.arguments);
        require(change->key == other.key && change->value == other.value);
    }
}

// The same line as the third of a script that has what it may need.
std::optional<Statement> asThird(std::string_view line) {
    volad_dev::ScriptParser parser("script", "/tmp");
    static_cast<void>(parser.next("create"));
    static_cast<void>(parser.next("status"));
    return parser.next(line);
}

void parse(volad_dev::ScriptParser& parser, const std::string& line, unsigned number) {
    try {
        if (std::optional<Statement> statement = parser.next(line)) {
            require(!statement->text.empty() && statement->line == number);
            const std::optional<Statement> again = asThird(statement->text);
            statement->line = 3;
            require(again.has_value());
            requireSame(*statement, *again);
        }
    } catch (const volad_dev::Failure& failure) {
        const std::string text = failure.what();
        require(failure.code() == volad_dev::kExitUsage && volad_dev::visibleText(text) == text);
        require(text.starts_with("script:" + std::to_string(number) + ": "));
    }
    require(parser.place() == "script:" + std::to_string(number));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const size_t chunk = input.below(64) + 1;
    const std::string_view script = input.take(size);
    const std::vector<std::string> lines = linesOf(script, script.size() + 1);
    require(lines == linesOf(script, chunk));
    volad_dev::ScriptParser parser("script", "/tmp");
    for (size_t i = 0; i < lines.size(); ++i) {
        parse(parser, lines[i], static_cast<unsigned>(i) + 1);
    }
    return 0;
}
