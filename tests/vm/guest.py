"""One guest: a QEMU of our own, its console, and how its machine ended."""

import contextlib
import json
import pathlib
import selectors
import socket
import subprocess
import time

from packages import Packages

LIMIT = 240  # seconds, on a machine that has better to do
UP = 3  # beats behind the last word of what might have taken the machine down
LAST_WORDS = ("host: done", "host: refused", "host: failed")


class Guest:
    """Stands still until it is watched. `ending` is what the machine itself tells: the reason of QEMU's SHUTDOWN event
    ("guest-shutdown": powered off, "guest-reset"), "halted" by the kernel's last line, "up" when beats came on behind
    the last words; else "hung" at the limit, or "ended" for a QEMU that went without telling why."""

    def __init__(self, packages: Packages, kernel: str, initramfs: pathlib.Path, serial: str, processor: str):
        self.console: list[str] = []
        self.ending: str | None = None
        ours, theirs = socket.socketpair()
        command = [
            packages.root / "usr/bin/qemu-system-x86_64", "-nodefaults", "-no-user-config", "-display", "none",
            "-sandbox", "on,obsolete=deny,elevateprivileges=deny,spawn=deny", "-L", packages.root / "usr/share/seabios",
            "-L", packages.root / "usr/share/qemu", "-accel", "tcg", "-cpu", processor, "-m", "384",
            "-smbios", f"type=1,product=em_shutdown guest,serial={serial}",
            "-kernel", packages.file("boot/vmlinuz-*"), "-initrd", initramfs, "-append", kernel,
            "-chardev", "stdio,id=console,signal=off", "-serial", "chardev:console",
            "-chardev", f"socket,id=monitor,fd={theirs.fileno()}", "-mon", "chardev=monitor,mode=control",
            "-S", "-no-shutdown", "-action", "reboot=shutdown"]
        modules = {"QEMU_MODULE_DIR": str(packages.root / "usr/lib/x86_64-linux-gnu/qemu")}
        self._process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                         stderr=subprocess.STDOUT, pass_fds=[theirs.fileno()],
                                         env=packages.environment | modules)
        theirs.close()
        self._monitor = ours
        self._partial = {"console": b"", "monitor": b""}

    def __enter__(self) -> "Guest":
        return self

    def __exit__(self, *_exception) -> None:
        with contextlib.suppress(OSError):
            self._order("quit")
        try:
            rest, _ = self._process.communicate(timeout=10)
        except subprocess.TimeoutExpired:
            self._process.kill()
            rest, _ = self._process.communicate()
        self.console += (self._partial["console"] + rest).decode(errors="replace").splitlines()
        self._monitor.close()

    def _order(self, name: str) -> None:
        self._monitor.sendall(json.dumps({"execute": name}).encode())

    def watch(self) -> None:
        """Until it has ended, or has shown that it stays up."""
        deadline = time.monotonic() + LIMIT
        with selectors.DefaultSelector() as sources:
            sources.register(self._monitor, selectors.EVENT_READ, ("monitor", self._monitor.recv, self._answer))
            sources.register(self._process.stdout, selectors.EVENT_READ,
                             ("console", self._process.stdout.read1, self._line))
            # Events come only behind the first order.
            self._order("qmp_capabilities")
            self._order("cont")
            while self.ending is None:
                ready = sources.select(deadline - time.monotonic())
                if not ready and time.monotonic() >= deadline:
                    self.ending = "hung"
                for each, _ in ready:
                    name, read, take = each.data
                    data = read(65536)
                    if not data:
                        self.ending = self.ending or "ended"
                    *lines, self._partial[name] = (self._partial[name] + data).split(b"\n")
                    for line in lines:
                        take(line.decode(errors="replace").strip())

    def _answer(self, line: str) -> None:
        message = json.loads(line)
        if "error" in message:
            raise RuntimeError(f"QEMU: {message['error']}")
        if message.get("event") == "SHUTDOWN":
            self.ending = message["data"]["reason"]

    def _line(self, line: str) -> None:
        self.console.append(line)
        if "reboot: System halted" in line:
            self.ending = self.ending or "halted"
        last = [at for at, each in enumerate(self.console) if each.startswith(LAST_WORDS)]
        if last and sum("guest: up" in each for each in self.console[last[-1]:]) >= UP:
            self.ending = self.ending or "up"
