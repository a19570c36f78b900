#include "host/sandbox/system_call_filter.h"

#include <sched.h>
#include <sys/socket.h>

#include <array>
#include <memory>
#include <system_error>

#include <seccomp.h>

namespace volad_dev {
namespace {

struct RefusedCall {
    int call;
    int error;
    int argument; // which one tells, kAny: the call is refused whatever it is asked for
    unsigned value;
    unsigned mask = 0xFFFFFFFF; // the bits that are compared
};

constexpr int kAny = -1;
constexpr int kFamilyQualcomm = 42; // AF_QIPCRTR, younger than some C libraries
constexpr unsigned kProcessOne = 1;

// A job that made a sibling of itself would have made a child of the process that holds the module, whose
// record would pass for the module's. clone3 has its flags where no filter sees them; the C library does
// without.
constexpr std::array<RefusedCall, 15> kRefused = {{
    {SCMP_SYS(clone), EPERM, 0, CLONE_PARENT, CLONE_PARENT},
    {SCMP_SYS(clone3), ENOSYS, kAny, 0},
    {SCMP_SYS(ioctl), EPERM, 1, TIOCSTI},
    {SCMP_SYS(ioctl), EPERM, 1, TIOCLINUX},
    {SCMP_SYS(keyctl), EPERM, kAny, 0},
    {SCMP_SYS(add_key), EPERM, kAny, 0},
    {SCMP_SYS(request_key), EPERM, kAny, 0},
    {SCMP_SYS(socket), EAFNOSUPPORT, 0, AF_VSOCK},
    {SCMP_SYS(socket), EAFNOSUPPORT, 0, kFamilyQualcomm},
    {SCMP_SYS(io_uring_setup), EPERM, kAny, 0},
    {SCMP_SYS(kexec_load), EPERM, kAny, 0},
    {SCMP_SYS(kexec_file_load), EPERM, kAny, 0},
    {SCMP_SYS(ptrace), EPERM, 1, kProcessOne},
    {SCMP_SYS(process_vm_readv), EPERM, 0, kProcessOne},
    {SCMP_SYS(process_vm_writev), EPERM, 0, kProcessOne},
}};

// libseccomp returns a negative errno.
void check(int result) {
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), "filter of system calls");
    }
}

} // namespace

void writeSystemCallFilter(int fd) {
    const std::unique_ptr<void, void (*)(scmp_filter_ctx)> filter(seccomp_init(SCMP_ACT_ALLOW),
                                                                  seccomp_release);
    check(filter ? 0 : -ENOMEM);
    check(seccomp_attr_set(filter.get(), SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS));
    for (const RefusedCall& refused : kRefused) {
        const bool any = refused.argument == kAny;
        const scmp_arg_cmp compared = {any ? 0 : static_cast<unsigned>(refused.argument), SCMP_CMP_MASKED_EQ,
                                       refused.mask, refused.value};
        check(seccomp_rule_add_array(filter.get(), SCMP_ACT_ERRNO(static_cast<unsigned>(refused.error)),
                                     refused.call, any ? 0 : 1, &compared));
    }
    check(seccomp_export_bpf(filter.get(), fd));
}

} // namespace volad_dev
