#include "host/cli/command_line.h"

#include <algorithm>
#include <map>

#include <fmt/format.h>

#include "host/cli/nearest_name.h"
#include "host/cli/verbs.h"
#include "host/common/failure.h"

namespace volad_dev {
namespace {

constexpr size_t kMostHolders = 3; // above that a list of them tells nothing

using Names = std::vector<std::string>;

// A minus sign and a digit begin a number; a single "-" stands for a standard stream.
bool isOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && (word[1] < '0' || word[1] > '9');
}

Names namesOf(const std::vector<const CLI::App*>& verbs) {
    Names names;
    for (const CLI::App* verb : verbs) {
        names.push_back(verb->get_name());
    }
    return names;
}

Names namesOf(const std::vector<const CLI::Option*>& options) {
    Names names;
    for (const CLI::Option* option : options) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

bool contains(const Names& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// The verbs of the whole tool that have an option or a verb of that name themselves.
void findHolders(const CLI::App& verb, const std::string& name, Names& holders) {
    const CLI::Option* const option = verb.get_option_no_throw(name);
    if (isOption(name) ? option != nullptr && !option->get_group().empty()
                       : verb.get_parent() != nullptr && contains(namesOf(verbsOf(verb)), name)) {
        holders.push_back(nameOf(verb));
    }
    for (const CLI::App* below : verbsOf(verb)) {
        findHolders(*below, name, holders);
    }
}

class Reader {
public:
    Reader(CLI::App& tool, const Names& words) : m_tool(tool), m_given(words) { m_line.verb = &tool; }

    CommandLine read() {
        while (m_next < m_given.size() && m_line.asks == CommandLine::Asks::Work) {
            take(m_given[m_next++]);
        }
        if (m_line.asks == CommandLine::Asks::Work) {
            requireAll();
        }
        if (!m_arguments.empty()) {
            countMany();
            m_line.words.emplace_back("--");
            m_line.words.insert(m_line.words.end(), m_arguments.begin(), m_arguments.end());
        }
        return m_line;
    }

private:
    [[noreturn]] static void fail(const std::string& sentence) { throw Failure(sentence, kExitUsage); }
    [[noreturn]] void failWithHelp(const std::string& sentence) const {
        fail(fmt::format("{}; see {} --help", sentence, commandOf(*m_line.verb)));
    }

    void take(const std::string& word) {
        if (m_onlyArguments || !isOption(word)) {
            verbsOf(*m_line.verb).empty() ? takeArgument(word) : takeVerb(word);
        } else if (word == "--") {
            m_onlyArguments = true;
        } else {
            takeOption(word);
        }
    }

    void takeVerb(const std::string& word) {
        for (CLI::App* below : m_line.verb->get_subcommands([](CLI::App* /*hidden, too*/) { return true; })) {
            if (below->get_name() == word) {
                m_line.verb = below;
                m_line.words.push_back(word);
                return;
            }
        }
        failUnknown("verb", word, namesOf(verbsOf(*m_line.verb)));
    }

    void takeArgument(const std::string& word) {
        const std::vector<const CLI::Option*> places = argumentsOf(*m_line.verb);
        const bool many = !places.empty() && takesMany(*places.back());
        if (!many && m_arguments.size() == places.size()) {
            failWithHelp(fmt::format("\"{}\" is one argument too many for {}", word, nameOf(*m_line.verb)));
        }
        m_arguments.push_back(word);
        m_onlyArguments = m_onlyArguments || many;
    }

    void takeOption(const std::string& word) {
        const size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        const CLI::Option* const option = find(name);
        if (option == nullptr) {
            failUnknown("option", name, namesOf(optionsOf(*m_line.verb)));
        }
        if (option->check_lname("help")) {
            m_line.asks = CommandLine::Asks::Help;
        } else if (option->check_lname("version")) {
            m_line.asks = CommandLine::Asks::Version;
        } else if (!takesMany(*option) && ++m_count[option] > 1) {
            fail(fmt::format("{} is given twice", name));
        }
        m_line.words.push_back(name);
        if (!takesValue(*option)) {
            if (equals != std::string::npos) {
                fail(fmt::format("{} takes no value", name));
            }
        } else if (equals != std::string::npos) {
            m_line.words.push_back(word.substr(equals + 1));
        } else if (m_next < m_given.size() && find(m_given[m_next]) == nullptr && m_given[m_next] != "--") {
            m_line.words.push_back(m_given[m_next++]);
        } else {
            failWithHelp(fmt::format("{} needs a value: {}", name, option->get_type_name()));
        }
    }

    // Where the parser takes any number of arguments, it would take "[a,b]" for two.
    void countMany() {
        const auto many = m_line.verb->get_options(
            [](CLI::Option* option) { return option->get_positional() && takesMany(*option); });
        for (CLI::Option* option : many) {
            const size_t others = argumentsOf(*m_line.verb).size() - 1;
            option->allow_extra_args(false)->expected(static_cast<int>(m_arguments.size() - others));
        }
    }

    // By its whole name.
    [[nodiscard]] const CLI::Option* find(const std::string& name) const {
        for (const CLI::App* holder = m_line.verb; holder != nullptr; holder = optionsAbove(*holder)) {
            const CLI::Option* const option = isOption(name) ? holder->get_option_no_throw(name) : nullptr;
            if (option != nullptr) {
                return option;
            }
        }
        return nullptr;
    }

    [[noreturn]] void failUnknown(const char* what, const std::string& word, const Names& known) const {
        const std::string missing =
            m_line.verb == &m_tool ? fmt::format("there is no {} \"{}\"", what, word)
                                   : fmt::format("{} has no {} \"{}\"", nameOf(*m_line.verb), what, word);
        Names holders;
        findHolders(m_tool, word, holders);
        if (!holders.empty() && holders.size() <= kMostHolders) {
            failWithHelp(fmt::format("{}; it belongs to {}", missing, fmt::join(holders, ", ")));
        }
        const std::string nearest = holders.empty() ? nearestName(word, known) : "";
        if (!nearest.empty()) {
            fail(fmt::format("{}; did you mean \"{}\"?", missing, nearest));
        }
        if (isOption(word) && !argumentsOf(*m_line.verb).empty()) {
            fail(missing + "; an argument that begins with \"-\" goes behind \"--\"");
        }
        failWithHelp(missing);
    }

    void requireAll() const {
        const std::vector<const CLI::App*> verbs = verbsOf(*m_line.verb);
        if (!verbs.empty()) {
            failWithHelp(fmt::format(
                "{} a verb: {}", m_line.verb == &m_tool ? "there must be" : nameOf(*m_line.verb) + " needs",
                fmt::join(namesOf(verbs), ", ")));
        }
        const std::vector<const CLI::Option*> places = argumentsOf(*m_line.verb);
        for (size_t i = m_arguments.size(); i < places.size(); ++i) {
            if (places[i]->get_required()) {
                failWithHelp(fmt::format("{} needs a {}", nameOf(*m_line.verb), places[i]->get_name(true)));
            }
        }
    }

    const CLI::App& m_tool;
    const Names& m_given;
    size_t m_next = 0;
    CommandLine m_line{};
    Names m_arguments;
    bool m_onlyArguments = false;
    std::map<const CLI::Option*, int> m_count;
};

} // namespace

CommandLine readCommandLine(CLI::App& tool, const std::vector<std::string>& words) {
    return Reader(tool, words).read();
}

} // namespace volad_dev
