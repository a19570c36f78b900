#include "platform/profile/profile_scan.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/ascii.h"
#include "base/system.h"
#include "platform/profile/profile_line.h"

namespace em {
namespace {

// Most files end within the first block, and most values stand in it.
constexpr size_t kFirstBlock = 4UL * 1024;
constexpr size_t kBlock = 64UL * 1024;
constexpr size_t kBuffer = kBlock + kLongestProfileLine; // a block behind the begin of a line

} // namespace

ProfileScan::ProfileScan(const char* file) : m_error(open(file)) {}

int ProfileScan::open(const char* file) {
    if (file == nullptr) {
        return ENOENT;
    }
    // Not blocking, so that a FIFO in the file's place is refused below instead of waited for.
    m_file = UniqueFd(sys::open(file, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!m_file.valid() || sys::fstat(m_file.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return ENOTSUP;
    }
    m_unread = static_cast<size_t>(status.st_size);
    if (m_unread > kLargestProfile) {
        return EFBIG;
    }
    m_buffer.reset(static_cast<char*>(sys::malloc(kBuffer)));
    return m_buffer == nullptr ? ENOMEM : 0;
}

bool ProfileScan::refill() {
    if (m_error != 0 || m_unread == 0) {
        return false;
    }
    char* const buffer = m_buffer.get();
    const size_t kept = m_filled - m_at;
    std::memmove(buffer, buffer + m_at, kept);
    const size_t block = std::min(m_begun ? kBlock : kFirstBlock, m_unread);
    m_error = readExactly(m_file.get(), buffer + kept, block);
    if (m_error != 0) {
        return false;
    }
    m_unread -= block;
    m_at = 0;
    m_filled = kept + block;
    if (!m_begun) {
        m_begun = true;
        m_at = std::string_view(buffer, m_filled).starts_with("\xEF\xBB\xBF") ? 3 : 0;
    }
    return true;
}

// A line that ends within the buffer costs one search, for its end.
bool ProfileScan::next(std::string_view& line) {
    const std::string_view rest(m_buffer.get() + m_at, m_filled - m_at);
    const size_t end = rest.find('\n');
    if (end != std::string_view::npos && !m_behindCut) {
        m_at += end + 1;
        line = rest.substr(0, end);
    } else if (!nextAcrossBlocks(line)) {
        return false;
    }
    line = line.substr(0, kLongestProfileLine);
    while (!line.empty() && isAsciiBlank(line.front())) {
        line.remove_prefix(1);
    }
    return true;
}

bool ProfileScan::nextAcrossBlocks(std::string_view& line) {
    for (;;) {
        const std::string_view rest(m_buffer.get() + m_at, m_filled - m_at);
        const size_t end = rest.find('\n');
        if (end != std::string_view::npos) {
            m_at += end + 1;
            line = rest.substr(0, end);
            if (!std::exchange(m_behindCut, false)) {
                return true;
            }
        } else if (m_behindCut) {
            m_at = m_filled;
            if (!refill()) {
                return false;
            }
        } else if (rest.size() >= kLongestProfileLine) {
            m_at = m_filled;
            m_behindCut = true;
            line = rest;
            return true;
        } else if (!refill()) {
            m_at = m_filled; // the last line, without an end
            line = rest;
            return !rest.empty() && m_error == 0;
        }
    }
}

} // namespace em
