"""What a guest's initramfs holds: for each of the two kinds of process 1 one that all of its guests share, and a small
one for each guest with what its case is about."""

import pathlib

from initramfs import Initramfs
from packages import Packages

APPLETS = ("sh", "echo", "sleep", "touch", "mount", "env")
COMMANDS = ("poweroff", "reboot", "halt")
UNITS = ("systemd-poweroff.service", "systemd-reboot.service", "systemd-halt.service")

SHELL = "#!/bin/sh\n"
SCRIPTS = {
    # A guest that is up says so, once a second.
    "beat": "count=0; while sleep 1; do count=$((count + 1)); echo \"guest: up $count\"; done >/dev/console 2>&1\n",
    "job": "echo 'job: begins'; sleep 1; touch /run/job_ended; echo 'job: ended'\n",
    "hung_job": "echo 'job: begins'; exec sleep 1000\n",
    # Run by process 1 on its own way down only: a command with -f goes past it.
    "way_down": "note='no job has ended'; [ -e /run/job_ended ] && note='the job has ended'\n"
                "echo \"process 1: way down, $note\" >/dev/console\n",
    "mounts": "mount -t proc proc /proc; mount -t sysfs sysfs /sys; mount -t devtmpfs devtmpfs /dev\n",
}

INITTAB = """\
::sysinit:/guest/mounts
::once:/guest/beat
::once:/case/run
::shutdown:/guest/way_down
"""

SYSTEMD_UNITS = {
    "default.target": "[Unit]\nWants=beat.service host.service\n",
    "beat.service": "[Service]\nExecStart=/guest/beat\n",
    # Stopped before way_down.service is, since it is started behind it.
    "host.service": "[Unit]\nRequires=way_down.service\nAfter=way_down.service\n"
                    "[Service]\nExecStart=/case/run\nStandardOutput=file:/dev/console\n"
                    "StandardError=file:/dev/console\nTimeoutStopSec=5\n",
    "way_down.service": "[Service]\nType=oneshot\nRemainAfterExit=yes\nExecStart=/bin/echo\n"
                        "ExecStop=/guest/way_down\n",
}


def common_files(packages: Packages, host: pathlib.Path, module: pathlib.Path) -> Initramfs:
    files = Initramfs()
    files.merge()
    for name in ("proc", "sys", "dev", "run", "tmp", "var", "case"):
        files.directory(name)
    files.device("dev/console", 5, 1)
    files.copy("bin/busybox", packages.file("bin/busybox"))
    for name in APPLETS:
        files.link(f"bin/{name}", "busybox")
    for name, text in SCRIPTS.items():
        files.file(f"guest/{name}", SHELL + text, 0o755)
    files.copy("guest/host", host)
    files.copy("guest/em_shutdown.so", module)
    for path, source in packages.libraries_of([host, module]).items():
        files.copy(path, source)
    return files


def busybox_files(files: Initramfs, _packages: Packages) -> None:
    files.link("init", "/bin/busybox")
    for name in COMMANDS:
        files.link(f"sbin/{name}", "/bin/busybox")
    files.file("etc/inittab", INITTAB)


def systemd_files(files: Initramfs, packages: Packages) -> None:
    programs = {path: packages.root / path for path in
                ("lib/systemd/systemd", "lib/systemd/systemd-shutdown", "bin/systemctl")}
    for path, source in programs.items():
        files.copy(path, source)
    for path, source in packages.libraries_of(list(programs.values())).items():
        files.copy(path, source)
    units = packages.root / "lib/systemd/system"
    for unit in [*units.glob("*.target"), *(units / name for name in UNITS)]:
        if unit.is_symlink():
            files.link(f"lib/systemd/system/{unit.name}", str(unit.readlink()))
        else:
            files.copy(f"lib/systemd/system/{unit.name}", unit)
    for name, text in SYSTEMD_UNITS.items():
        files.file(f"etc/systemd/system/{name}", text)
    files.link("init", "/lib/systemd/systemd")
    for name in COMMANDS:
        files.link(f"sbin/{name}", "/bin/systemctl")
    files.file("etc/machine-id", "0123456789abcdef0123456789abcdef\n")
    files.file("etc/passwd", "root:x:0:0::/:/bin/sh\n")
    files.file("etc/group", "root:x:0:\n")


FAMILIES = {"busybox": busybox_files, "systemd": systemd_files}


def case_files(token: str, run: str, gate: str | None) -> Initramfs:
    """run: the shell's line that starts the host. gate: what localcli answers; without one there is none."""
    files = Initramfs()
    files.file("em_guest_token", token + "\n")
    files.file("case/run", f"{SHELL}export PATH=/usr/sbin:/usr/bin TM_LOG_DEBUG_LEVEL=3\n{run}\n", 0o755)
    if gate is not None:
        files.file("bin/localcli", f"{SHELL}echo {gate}\n", 0o755)
    return files
