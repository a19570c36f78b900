"""Where changed code is built and run: a cell around the sandbox.

A changed tree may do anything, so nothing of it runs on the machine as it is. In the cell the file system is read-only
but for the tree and an empty /tmp, there is no network and no service's socket, the commands that end a system are
/bin/false, reboot(2) is not permitted, and when the cell ends so does every process in it. The tests' own sandbox is
made inside the cell, by the launcher of the tree as it was before any change.
"""

import contextlib
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import threading
import time

# Each worker's tree stands at the same place, so that a built one can be copied.
TREE = "/mnt/tree"
LAUNCHER = "/mnt/launcher"
CACHE = "/mnt/cache"
ENDING_COMMANDS = ("poweroff", "reboot", "halt", "shutdown", "telinit", "init", "runlevel")
SHOWN_AT_MOST = 10_000_000


class Hang(Exception):
    pass


class Stopped(Exception):
    pass


def masked() -> list[str]:
    """What would end the system, as the files that the names lead to."""
    names = [shutil.which(name, path="/usr/sbin:/sbin:/usr/bin:/bin") for name in ("systemctl", *ENDING_COMMANDS)]
    return sorted({os.path.realpath(name) for name in names if name})


class Cell:
    def __init__(self, tree: pathlib.Path, launcher: pathlib.Path, cache: pathlib.Path, nice: int):
        self.tree = tree
        # The processes' namespace is unshare's work: in a /proc of bubblewrap's no second bubblewrap can lay its own.
        user = [] if os.geteuid() == 0 else ["--map-root-user"]
        # Signals as a terminal has them: in the background some are ignored, and the tests send them.
        self.prefix = ["env", "--default-signal", "setpriv", "--pdeathsig", "KILL", "nice", "-n", str(nice), "unshare", *user, "--pid", "--fork", "--mount-proc", "--kill-child",
                       "bwrap", "--ro-bind", "/", "/", "--dev-bind", "/dev", "/dev", "--bind", "/proc", "/proc",
                       "--tmpfs", "/run", "--tmpfs", "/tmp", "--tmpfs", "/mnt", "--bind", str(tree), TREE,
                       "--ro-bind", str(launcher), LAUNCHER, "--bind", str(cache), CACHE]
        for path in masked():
            self.prefix += ["--ro-bind", "/bin/false", path]
        self.prefix += ["--unshare-ipc", "--unshare-net", "--die-with-parent",
                        "--cap-drop", "CAP_SYS_BOOT", "--setenv", "CCACHE_DIR", CACHE]

    def run(self, command: list[str], limit: float, directory: str = TREE, stop: threading.Event | None = None,
            **environment: str) -> tuple[int, str]:
        """Exit code and output; raises Hang when the limit in seconds is over, and Stopped when `stop` is set."""
        end = time.monotonic() + limit
        with tempfile.TemporaryFile() as output:
            running = subprocess.Popen([*self.prefix, "--chdir", directory, "--", *command],
                                       stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                       env={**os.environ, **environment}, start_new_session=True)
            try:
                while running.poll() is None:
                    if time.monotonic() > end:
                        raise Hang(f"{limit:.0f} s")
                    if stop is not None and stop.is_set():
                        raise Stopped
                    with contextlib.suppress(subprocess.TimeoutExpired):
                        running.wait(0.5)
            finally:
                if running.poll() is None:
                    os.killpg(running.pid, signal.SIGKILL)
                    running.wait()
            output.seek(0)
            return running.returncode, output.read(SHOWN_AT_MOST).decode(errors="replace")
