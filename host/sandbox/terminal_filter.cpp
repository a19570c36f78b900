#include "host/sandbox/terminal_filter.h"

#include <memory>
#include <system_error>

#include <seccomp.h>

namespace volad_dev {
namespace {

// libseccomp returns a negative errno.
void check(int result) {
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), "terminal filter");
    }
}

} // namespace

void writeTerminalFilter(int fd) {
    const std::unique_ptr<void, void (*)(scmp_filter_ctx)> filter(seccomp_init(SCMP_ACT_ALLOW),
                                                                  seccomp_release);
    check(filter ? 0 : -ENOMEM);
    check(seccomp_attr_set(filter.get(), SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS));
    for (const scmp_datum_t request : {scmp_datum_t{TIOCSTI}, scmp_datum_t{TIOCLINUX}}) {
        const scmp_arg_cmp compared = {1, SCMP_CMP_MASKED_EQ, 0xFFFFFFFF, request};
        check(seccomp_rule_add_array(filter.get(), SCMP_ACT_ERRNO(EPERM), SCMP_SYS(ioctl), 1, &compared));
    }
    check(seccomp_export_bpf(filter.get(), fd));
}

} // namespace volad_dev
