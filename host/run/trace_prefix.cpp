#include "host/run/trace_prefix.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>

namespace volad_dev {
namespace {

constexpr int kLeapYear = 2000; // has every date
constexpr double kYear = 366.0 * 86400;
constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

bool isDigit(char byte) {
    return byte >= '0' && byte <= '9';
}

bool isPartOfWord(char byte) {
    return isDigit(byte) || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || byte == '.' ||
           byte == ':';
}

// Takes what it is asked for off the text, or nothing.
class Cursor {
public:
    explicit Cursor(std::string_view text) : m_begin(text.data()), m_rest(text) {}

    // So many digits.
    std::optional<unsigned> digits(size_t count) {
        unsigned value = 0;
        if (m_rest.size() < count || !std::all_of(m_rest.begin(), m_rest.begin() + count, isDigit)) {
            return std::nullopt;
        }
        std::from_chars(m_rest.data(), m_rest.data() + count, value);
        m_rest.remove_prefix(count);
        return value;
    }
    std::optional<char> oneOf(std::string_view bytes) {
        if (m_rest.empty() || bytes.find(m_rest.front()) == std::string_view::npos) {
            return std::nullopt;
        }
        const char byte = m_rest.front();
        m_rest.remove_prefix(1);
        return byte;
    }
    // Of a second; 0 when there is none.
    double fraction() {
        if (m_rest.size() < 2 || (m_rest[0] != '.' && m_rest[0] != ',') || !isDigit(m_rest[1])) {
            return 0;
        }
        double value = 0;
        double weight = 0.1;
        for (m_rest.remove_prefix(1); !m_rest.empty() && isDigit(m_rest[0]); m_rest.remove_prefix(1)) {
            value += weight * (m_rest[0] - '0');
            weight /= 10;
        }
        return value;
    }
    [[nodiscard]] std::string_view taken() const {
        return {m_begin, static_cast<size_t>(m_rest.data() - m_begin)};
    }

private:
    const char* m_begin;
    std::string_view m_rest;
};

std::optional<double> dayAsSeconds(int year, unsigned month, unsigned day) {
    namespace chrono = std::chrono;
    const chrono::year_month_day date = chrono::year(year) / chrono::month(month) / chrono::day(day);
    return date.ok()
               ? std::optional(static_cast<double>(chrono::sys_days(date).time_since_epoch().count()) * 86400)
               : std::nullopt;
}

// "12:00:00", with a fraction or without.
std::optional<double> timeOfDay(Cursor& cursor) {
    const auto hours = cursor.digits(2);
    if (!hours || !cursor.oneOf(":")) {
        return std::nullopt;
    }
    const auto minutes = cursor.digits(2);
    if (!minutes || !cursor.oneOf(":")) {
        return std::nullopt;
    }
    const auto seconds = cursor.digits(2);
    return seconds ? std::optional(*hours * 3600 + *minutes * 60 + *seconds + cursor.fraction())
                   : std::nullopt;
}

// "Z", "+01:00", "+0100", "+01", or nothing: seconds east of Greenwich.
double zone(Cursor& cursor) {
    if (cursor.oneOf("Zz")) {
        return 0;
    }
    Cursor ahead = cursor;
    const auto sign = ahead.oneOf("+-");
    const auto hours = sign ? ahead.digits(2) : std::nullopt;
    if (!hours) {
        return 0;
    }
    cursor = ahead;
    ahead.oneOf(":");
    const auto minutes = ahead.digits(2);
    if (minutes) {
        cursor = ahead;
    }
    return (*sign == '-' ? -1 : 1) * (*hours * 3600.0 + minutes.value_or(0) * 60.0);
}

std::optional<TraceTime> isoTime(std::string_view text) {
    Cursor cursor(text);
    const auto year = cursor.digits(4);
    const auto month = year && cursor.oneOf("-") ? cursor.digits(2) : std::nullopt;
    const auto day = month && cursor.oneOf("-") ? cursor.digits(2) : std::nullopt;
    const auto date = day ? dayAsSeconds(static_cast<int>(*year), *month, *day) : std::nullopt;
    const auto time = date && cursor.oneOf("T ") ? timeOfDay(cursor) : std::nullopt;
    if (!time) {
        return std::nullopt;
    }
    const double east = zone(cursor);
    return TraceTime{TraceTime::Clock::Date, *date + *time - east, cursor.taken()};
}

// "Nov 25 12:00:00", "Nov  5 12:00:00"
std::optional<TraceTime> syslogTime(std::string_view text) {
    const auto* const month = std::find(kMonths.begin(), kMonths.end(), text.substr(0, 3));
    if (month == kMonths.end()) {
        return std::nullopt;
    }
    Cursor cursor(text);
    cursor.oneOf(text.substr(0, 1));
    cursor.oneOf(text.substr(1, 1));
    cursor.oneOf(text.substr(2, 1));
    cursor.oneOf(" ");
    const auto day = cursor.digits(cursor.oneOf(" ") ? 1 : 2);
    const auto date = day ? dayAsSeconds(kLeapYear, static_cast<unsigned>(month - kMonths.begin()) + 1, *day)
                          : std::nullopt;
    const auto time = date && cursor.oneOf(" ") ? timeOfDay(cursor) : std::nullopt;
    return time ? std::optional(TraceTime{TraceTime::Clock::DateOfSomeYear, *date + *time, cursor.taken()})
                : std::nullopt;
}

// "123.456", and neither "10.0.0.1" nor the end of "12:00:00.1"
std::optional<TraceTime> plainSeconds(std::string_view text) {
    double seconds = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), seconds, std::chars_format::fixed);
    const std::string_view taken = text.substr(0, static_cast<size_t>(end - text.data()));
    const bool whole = taken.size() == text.size() || !isPartOfWord(text[taken.size()]);
    return error == std::errc() && whole && isDigit(text[0]) && taken.find('.') < taken.size() - 1
               ? std::optional(TraceTime{TraceTime::Clock::Seconds, seconds, taken})
               : std::nullopt;
}

// Where a terminal's sequence ends that begins there, as "ESC [ 32 m" for a colour.
size_t behindSequence(std::string_view prefix, size_t at) {
    return std::min(prefix.find_first_not_of("[0123456789;", at + 1), prefix.size());
}

// At the start of each word.
std::optional<TraceTime> findWord(std::string_view prefix,
                                  std::optional<TraceTime> (*read)(std::string_view word)) {
    bool inside = false;
    for (size_t at = 0; at < prefix.size(); ++at) {
        if (prefix[at] == '\x1B') {
            at = behindSequence(prefix, at);
            inside = false;
            continue;
        }
        const bool part = isPartOfWord(prefix[at]);
        if (part && !inside) {
            if (const auto time = read(prefix.substr(at))) {
                return time;
            }
        }
        inside = part;
    }
    return std::nullopt;
}

} // namespace

std::optional<TraceTime> findTime(std::string_view prefix) {
    for (const auto read : {isoTime, syslogTime, plainSeconds}) {
        if (const auto time = findWord(prefix, read)) {
            return time;
        }
    }
    return std::nullopt;
}

std::string_view findProcess(std::string_view prefix) {
    for (size_t open = 0; (open = prefix.find('[', open)) != std::string_view::npos; ++open) {
        const size_t end = std::min(prefix.find_first_not_of("0123456789", open + 1), prefix.size());
        if (open > 0 && prefix[open - 1] != ' ' && end > open + 1 && end < prefix.size() &&
            prefix[end] == ']') {
            return prefix.substr(open + 1, end - open - 1);
        }
    }
    return {};
}

std::optional<double> secondsBetween(const TraceTime& from, const TraceTime& to) {
    if (from.clock != to.clock) {
        return std::nullopt;
    }
    double seconds = to.seconds - from.seconds;
    if (from.clock == TraceTime::Clock::DateOfSomeYear && seconds < -kYear / 2) {
        seconds += kYear; // past the turn of the year
    }
    return seconds;
}

} // namespace volad_dev
