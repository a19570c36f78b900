"""A Debian root directory of its own, and commands that run with it as theirs.

They get it by a mount namespace and pivot_root, as a machine or a container does: a rehearsal makes user namespaces,
which the kernel refuses inside a chroot, and which bubblewrap, around it, forbids.
"""

import ctypes
import os
import pathlib
import subprocess
import sys

LIBC = ctypes.CDLL(None, use_errno=True)
CLONE_NEWNS, CLONE_NEWPID = 0x00020000, 0x20000000
MS_BIND, MS_REC, MS_PRIVATE, MNT_DETACH = 0x1000, 0x4000, 0x40000, 2
SYS_PIVOT_ROOT = 155  # of x86-64
LIMIT = 900  # seconds for one command


def checked(result: int) -> None:
    if result != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


def mount(source: str, target: str, kind: str | None, flags: int = 0) -> None:
    checked(LIBC.mount(source.encode(), target.encode(), kind.encode() if kind else None, flags, None))


def become(root: str, command: list[str]) -> None:
    """In a child of its own: process 1 of a process namespace, which ends with it, and nothing of the machine's files
    within reach but its devices."""
    mount("none", "/", None, MS_REC | MS_PRIVATE)
    mount(root, root, None, MS_BIND)
    mount("proc", root + "/proc", "proc")
    mount("/dev", root + "/dev", None, MS_BIND | MS_REC)
    mount("tmpfs", root + "/tmp", "tmpfs")
    os.chdir(root)
    checked(LIBC.syscall(SYS_PIVOT_ROOT, b".", b"."))
    checked(LIBC.umount2(b".", MNT_DETACH))
    os.chdir("/")
    os.execve(command[0], command, {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LANG": "C.UTF-8"})


class DebianRoot:
    """Made below a directory that the caller removes."""

    def __init__(self, directory: pathlib.Path, packages: list[pathlib.Path], further: list[str]):
        self.path = directory / "root"
        # apt works out what the packages need: one that is missing in them is missing in there.
        inside = [f"/var/cache/{package.name}" for package in packages]
        bring = "copy-in " + " ".join(map(str, packages)) + " /var/cache"
        install = 'chroot "$1" apt-get install -y -qq --no-install-recommends ' + " ".join(inside + further)
        subprocess.run(["mmdebstrap", "--quiet", "--variant=apt", "--mode=root", "--dpkgopt=force-unsafe-io",
                        f"--customize-hook={bring}", f"--customize-hook={install} >/dev/null", "bookworm",
                        self.path], check=True, timeout=LIMIT)

    def run(self, *command: str) -> subprocess.CompletedProcess:
        """With the outputs as text; the command is an absolute path."""
        return subprocess.run([sys.executable, "-B", __file__, self.path, *command], capture_output=True, text=True,
                              timeout=LIMIT)


if __name__ == "__main__":
    checked(LIBC.unshare(CLONE_NEWNS | CLONE_NEWPID))
    child = os.fork()
    if child == 0:
        become(sys.argv[1], sys.argv[2:])
    sys.exit(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
