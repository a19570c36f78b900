"""sandbox_attacks_test.py VOLAD_DEV KERNEL_VERDICT: what a careless or hostile job tries, as root and as an
unprivileged user, and in the sandbox of KERNEL_VERDICT, whose commands call reboot(2).

Each attack is carried out inside and must come to nothing. None would do lasting harm if it succeeded: files are opened
for writing only, and modes are set to what they are.
"""

import json
import os
import pathlib
import pty
import resource
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

from tool_rig import NOBODY, VOLAD_DEV

KERNEL_VERDICT = sys.argv[2]
USAGE, NO_SANDBOX = 2, 3
COMMANDS = ("/sbin/poweroff", "/sbin/reboot", "/sbin/halt")
# What is to refuse out here could go on if its refusal was broken. So it finds no real command, and no right to reboot.
COVERED = ["bwrap", "--dev-bind", "/", "/", "--unshare-user", "--unshare-pid", "--cap-drop", "ALL"]
for real in {os.path.realpath(command) for command in COMMANDS if os.path.exists(command)}:
    COVERED += ["--ro-bind", "/bin/false", real]
COVERED += ["--", "sh", "-c", f"""for each in {' '.join(COMMANDS)}; do
    [ ! -e $each ] || cmp $each /bin/false || exit 9; done; exec "$@\"""", "sh"]
PRELUDE = """
import array, ctypes, fcntl, os, resource, socket, sys, termios
def tried(what, action, *arguments):
    try:
        action(*arguments)
        print("done:", what)
    except OSError:
        pass
def write(path):
    os.close(os.open(path, os.O_WRONLY | os.O_NONBLOCK))
def change(path):
    write(path)
def keep_mode(path):
    os.chmod(path, os.stat(path).st_mode & 0o7777)
def connect(path):
    socket.socket(socket.AF_UNIX).connect(path)
"""


class Attacker(unittest.TestCase):
    caller: list[str] = []
    sandbox = [VOLAD_DEV, "sandbox"]
    gate = [VOLAD_DEV + "-gate"]

    def setUp(self):
        self.directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        os.chmod(self.directory, 0o777)

    def tool(self, *arguments: str, around=(), **more) -> subprocess.CompletedProcess:
        return subprocess.run([*around, *self.caller, *self.sandbox, *arguments], capture_output=True, text=True,
                              timeout=50, **more)

    def sh(self, script: str, *options: str, **more) -> str:
        done = self.tool(*options, "--", "sh", "-c", script, **more)
        self.assertNotIn("no sandbox", done.stderr)
        return done.stdout

    def python(self, script: str, *options: str, after=(), **more) -> str:
        done = self.tool(*options, "--", "python3", "-c", PRELUDE + script, *after, **more)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout

    def refused(self, reason: str, *arguments: str, **more):
        done = self.tool(*arguments, "--", "true", **more)
        self.assertEqual((done.returncode, done.stdout, len(done.stderr.splitlines())), (USAGE, "", 1), done.stderr)
        self.assertIn(reason, done.stderr)
        self.assertNotIn("no sandbox", done.stderr)

    def entry(self, name: str, make=None) -> str:
        path = self.directory / name
        path.parent.mkdir(parents=True, exist_ok=True)
        (make or pathlib.Path.touch)(path)
        for each in (path, *path.parents[:len(path.relative_to(self.directory).parts) - 1]):
            if not each.is_symlink():  # else root would open to everybody what the link leads to
                os.chmod(each, 0o777)
        return str(path)

    def listening(self, name: str) -> str:
        server = socket.socket(socket.AF_UNIX)
        self.addCleanup(server.close)
        return self.entry(name, lambda path: (server.bind(str(path)), server.listen()))


class Attack(Attacker):
    """As the user that runs the tests."""

    # The machine's files.

    def test_nothing_of_the_kernel_or_the_devices_can_be_changed(self):
        script = """
paths = ["/dev/" + name for name in ("null", "zero", "full", "random", "urandom", "tty")]
for path in paths:
    tried("mode of " + path, keep_mode, path)
tried("mode of standard input", os.fchmod, 0, 0o666)
tried("mode of process 1's program", keep_mode, "/proc/1/exe")
tried("a device", os.mknod, "/dev/new")
count = 0
for directory, below, names in os.walk("/proc"):
    if directory == "/proc":
        below[:] = [name for name in below if not name.isdigit() and not os.path.islink("/proc/" + name)]
    for path in [os.path.join(directory, name) for name in names + below]:
        count += 1
        tried(path, write, path)
        tried("mode of " + path, keep_mode, path)
print("looked at", count > 1000)"""
        for user in ("0", "1000"):
            with open("/dev/zero") as device:
                self.assertEqual(self.python(script, "--uid", user, stdin=device), "looked at True\n")

    def test_what_others_may_not_read_of_etc_cannot_be_read(self):
        script = """
for directory, below, names in os.walk("/etc"):
    for path in [os.path.join(directory, name) for name in names + below]:
        mode = os.lstat(path).st_mode & 0o170777
        if mode & 0o170000 == 0o100000 and not mode & 0o4 or mode & 0o170000 == 0o040000 and mode & 0o5 not in (0, 5):
            print(path)
tried("shadow", open, "/etc/shadow")"""
        self.assertEqual(self.python(script), "")

    @unittest.skipIf(os.geteuid() != 0, "needs a mount")
    def test_of_etc_what_is_named_is_shown_but_no_secret_below_it(self):
        self.entry("etc/top/secret", lambda path: path.write_text("s"))
        self.entry("etc/top/open", lambda path: path.write_text("o"))
        os.chmod(self.directory / "etc/top/secret", 0o600)
        os.chown(self.directory / "etc/top/secret", *([NOBODY] * 2 if self.caller else [0, 0]))
        for option in ("--bind", "--copy"):
            for named, shown in (("/etc/opt/top", "o"), ("/etc/opt/top/secret", "s")):
                done = self.tool(option, named, "--", "sh", "-c", f"cat {named} {named}/*", around=[
                    "bwrap", "--dev-bind", "/", "/", "--bind", str(self.directory / "etc"), "/etc/opt", "--"])
                self.assertEqual(done.stdout, shown, (option, named, done.stderr))

    def test_no_programs_of_the_service_manager_by_any_name(self):
        link = self.entry("bin", lambda path: path.symlink_to("/usr/bin"))
        script = f"for d in /usr/bin /run/bin {link}; do test -f $d/systemctl && echo $d; done; test -x $d/ls && pwd"
        self.assertEqual(self.sh(script, "--bind", link, "--bind", "/usr/bin", "--bind", "/usr/sbin"), "/\n")

    def test_as_nobody_owns_nothing_of_roots(self):
        done = self.sh("stat -c %u /etc/passwd; cat /scratch/x; id -u", "--as-nobody")
        self.assertEqual(done.split(), [str(NOBODY), "0"])

    def test_no_further_user_namespace_can_be_made(self):
        script = "import ctypes; print(ctypes.CDLL(None).unshare(0x10000000))"  # CLONE_NEWUSER
        self.assertEqual(self.python(script), "-1\n")

    # The terminal.

    def test_no_way_to_type_into_the_callers_terminal(self):
        script = PRELUDE + """
libc = ctypes.CDLL(None, use_errno=True)
for request in (termios.TIOCSTI, 0x541C, termios.TIOCSTI | 1 << 32):
    libc.syscall(16, 0, ctypes.c_ulong(request), b"#")
    print(os.strerror(ctypes.get_errno()), end=";")
print(os.tcgetpgrp(0) == os.getpgrp())"""
        child, terminal = pty.fork()
        if child == 0:
            os.execvp([*self.caller, *self.sandbox][0], [*self.caller, *self.sandbox, "--", "python3", "-c", script])
        with open(terminal, "rb", buffering=0) as screen:
            self.assertEqual(screen.readline(), b"Operation not permitted;" * 3 + b"True\r\n")
        os.waitpid(child, 0)

    def test_calls_by_another_abi_end_the_process(self):
        done = self.tool("--", "python3", "-c", "import ctypes; ctypes.CDLL(None).syscall(0x40000000 + 39)")
        self.assertEqual(done.returncode, 128 + signal.SIGSYS)

    # Ways that no namespace bars.

    def test_what_no_namespace_bars_is_refused(self):
        script = """
libc = ctypes.CDLL(None, use_errno=True)
seize, attach, one = 0x4206, 16, 1
calls = {"keyctl": (250, 0, -3, 0), "add_key": (248, b"user", b"x", b"x", 1, -3), "request_key": (249, b"user", b"x", 0, -3),
         "vsock": (41, 40, 1, 0), "vsock, high": (41, 40 | 1 << 32, 1, 0), "qrtr": (41, 42, 2, 0),
         "uring": (425, 1, bytes(120)), "seize": (101, seize, one, 0, 0), "seize, high": (101, seize, one | 1 << 32, 0, 0),
         "read": (310, one, 0, 0, 0, 0, 0), "write": (311, one, 0, 0, 0, 0, 0),
         # More segments than any kernel takes, flags that none knows, no files: where it is permitted, it is EINVAL.
         "kexec": (246, 0, 1 << 20, 0, 1 << 15), "kexec by file": (320, -1, -1, 0, 0, 1 << 15),
         # A thread and a parent's child at once, no room for what clone3 takes: EINVAL likewise.
         "sibling": (56, 0x18000, 0, 0, 0, 0), "sibling, high": (56, 0x18000 | 1 << 32, 0, 0, 0, 0), "clone3": (435, 0, 0)}
errors = {"vsock": 97, "vsock, high": 97, "qrtr": 97, "clone3": 38}
for name, numbers in calls.items():
    numbers = [each if isinstance(each, bytes) else ctypes.c_long(each) for each in numbers]
    error = ctypes.get_errno() if libc.syscall(*numbers) == -1 else 0
    if error != errors.get(name, 1):
        print(name, error)
child = os.fork() or os.execvp("sleep", ["sleep", "10"])
print(libc.syscall(101, attach, child, 0, 0))
os.kill(child, 9)
print(len(open("/proc/1/environ").read()))
print(resource.getrlimit(resource.RLIMIT_CORE))
print(0 < sum(libc.inotify_init() >= 0 for _ in range(200)) <= 32)"""
        least = (min(1, resource.getrlimit(resource.RLIMIT_CORE)[1]),) * 2  # nobody but root raises it
        self.assertIn(self.python(script), {f"0\n0\n{bound}\nTrue\n" for bound in ((1, 1), least)})

    # Ways out of what is bound.

    def test_no_socket_or_fifo_in_what_is_bound_leads_out(self):
        scratch = self.entry("scratch", pathlib.Path.mkdir)
        for top in ("bound", "scratch"):
            self.listening(f"{top}/below/socket")
            self.listening(f"{top}/closed/socket")
            os.chmod(self.directory / top / "closed", 0o711)
            fifo = self.entry(f"{top}/fifo", os.mkfifo)
            self.addCleanup(os.close, os.open(fifo, os.O_RDWR))
        # A container has services' sockets mounted so, on a file.
        mounted = [each for top in ("bound", "scratch") for each in ("--bind", self.listening(f"{top}.socket"),
                                                                    self.entry(f"{top}/mounted"))]
        script = f"""
for top in ("{self.directory}/bound", "/scratch"):
    tried("connect", connect, top + "/below/socket")
    tried("connect", connect, top + "/closed/socket")
    tried("connect to what is mounted", connect, top + "/mounted")
    tried("fifo", write, top + "/fifo")
tried("chmod", os.chmod, "/scratch/fifo", 0o777)
print(os.path.exists("{self.directory}/bound/below"))"""
        bound = str(self.directory / "bound")
        around = ["bwrap", "--dev-bind", "/", "/", *mounted, "--"]
        self.assertEqual(self.python(script, "--bind", bound, "--scratch", scratch, around=around), "True\n")
        os.chmod(f"{bound}/closed", 0o777)
        self.assertEqual(self.sh(f"cd {bound}; find . | sort", "--copy", bound), ".\n./below\n./closed\n./mounted\n")

    def test_no_socket_behind_a_directory_of_names_or_a_long_path_leads_out(self):
        self.listening("scratch/names/socket")
        os.chmod(self.directory / "scratch/names", 0o444)
        if self.caller:
            os.chown(self.directory / "scratch/names", NOBODY, NOBODY)
        script = """
os.chmod("/scratch/names", 0o755)
tried("connect", connect, "/scratch/names/socket")"""
        done = self.tool("--scratch", str(self.directory / "scratch"), "--", "python3", "-c", PRELUDE + script)
        self.assertNotIn("done", done.stdout)
        deep = str(self.directory / "deep")
        made = f"import os\nos.mkdir('{deep}'); os.chdir('{deep}')\nfor _ in range(22): os.mkdir('d' * 200); os.chdir('d' * 200)"
        subprocess.run([*self.caller, sys.executable, "-c", made], check=True)
        self.refused("File name too long", "--bind", deep)

    def test_a_way_out_is_not_bound_by_itself(self):
        for path in (self.listening("socket"), self.entry("fifo", os.mkfifo)):
            self.refused("leads out of the sandbox", "--bind", path)
            self.refused("neither file nor directory", "--copy", path)

    def test_a_link_that_is_swapped_in_is_not_followed(self):
        mine = self.entry("mine", pathlib.Path.mkdir)
        self.entry("mine/below")
        link = self.entry("link", lambda path: path.symlink_to("/run"))
        exchange = f"""
import ctypes
libc = ctypes.CDLL(None)
while True:
    libc.renameat2(-100, b"{mine}", -100, b"{link}", 2)"""
        with subprocess.Popen([sys.executable, "-c", exchange]) as swapping:
            seen = {self.tool(option, mine, "--", "ls", mine).stdout for option in ("--bind", "--copy") * 15}
            swapping.kill()
        self.assertLessEqual(seen, {"", "below\n"})

    # Places that may not be given.

    def test_the_machines_own_places_are_refused_by_any_name(self):
        link = self.entry("link", lambda path: path.symlink_to("/run"))
        anything = ("/", "/usr", "/usr/", "/usr/../run", "/run", "/proc", "/proc/self/root", "/proc/self/root/etc",
                    "/etc", "/dev", "/dev/shm", "/sys", "/sys/kernel", "/var", "/var/run", link)
        for option, paths in (("--bind", anything), ("--copy", (*anything, "/usr/bin", "/usr/sbin/")),
                              ("--scratch", (*anything, "/usr/lib", "/etc/opt", "/tmp", "/home", "/opt"))):
            for path in paths:
                with self.subTest(option=option, path=path):
                    self.refused(f"{option} {path}", option, path)
        self.refused("GCOV_PREFIX /etc", env={"GCOV_PREFIX": "/etc"})

    def test_no_open_stream_leads_out(self):
        named = socket.socket(socket.AF_UNIX)
        named.connect(self.listening("socket"))
        directory = os.open(self.directory, os.O_RDONLY)
        self.addCleanup(named.close)
        fifo = os.open(self.entry("fifo", os.mkfifo), os.O_RDWR)
        master, slave = pty.openpty()
        command = [*self.caller, *self.sandbox, "--", "true"]
        for reason, stream in (("a socket with a name", named.fileno()), ("a directory", directory),
                               ("a FIFO with a name", fifo), ("a device that is no terminal", master),
                               ("neither file, pipe, socket nor terminal", os.eventfd(0))):
            self.refused(reason, stdin=stream)
            done = subprocess.run(command, stdout=stream, stderr=subprocess.DEVNULL, timeout=50)
            self.assertEqual(done.returncode, USAGE, reason)
        for descriptor in (directory, fifo, master, slave):
            os.close(descriptor)
        with open(self.entry("input"), "r+") as file:
            file.write("first\nrest")
            file.seek(6)
            self.assertEqual(self.sh("cat; echo changed > /proc/self/fd/0", stdin=file), "rest")
            self.refused("--size", "--size", "3", stdin=file) if not file.seek(0) else None
        self.assertEqual((self.directory / "input").read_text(), "first\nrest")

    # The machine's memory.

    def test_what_is_in_memory_is_bounded(self):
        self.entry("copied/file")
        copied = str(self.directory / "copied")
        places = f"/tmp /opt /scratch /dev/shm {copied}"
        script = f"for d in {places}; do head -c 3000000 /dev/zero 2>/dev/null > $d/file; stat -c %s $d/file; done"
        sizes = list(map(int, self.sh(script, "--size", "1M", "--copy", copied).split()))
        self.assertEqual([size <= 1 << 20 for size in sizes], [True] * 5)
        self.assertEqual(os.stat(f"{copied}/file").st_size, 0)
        os.truncate(f"{copied}/file", 1 << 30)  # a hole
        self.refused("that --size allows", "--copy", copied)

    def test_entries_without_content_are_bounded(self):
        for number in range(257):
            self.entry(f"small/{number}", lambda path: path.write_text("x"))
        small = str(self.directory / "small")
        script = """
for place in sys.argv[1:]:
    try:
        for number in range(1100):
            os.symlink("x", f"{place}/link{number}")
        print("all in", place)
    except OSError:
        pass"""
        places = ["/tmp", "/opt", "/scratch", "/dev/shm", small]
        self.assertEqual(self.python(script, "--size", "2M", "--copy", small, after=places), "")
        self.refused("that --size allows", "--size", "1M", "--copy", small)

    def test_a_copy_is_whole_and_private(self):
        self.entry("top/below/script", lambda path: path.write_text("#!/bin/sh\necho ran\n"))
        os.symlink("below/script", self.directory / "top" / "link")
        top = str(self.directory / "top")
        single = self.entry("single", lambda path: path.write_text("before"))
        script = f"{top}/link; rm -r {top}/below; echo after > {single}; cat {single}; touch {top}/new && ls {top}"
        self.assertEqual(self.sh(script, "--copy", top, "--copy", single), "ran\nafter\nlink\nnew\n")
        self.assertEqual((sorted(os.listdir(top)), pathlib.Path(single).read_text()), (["below", "link"], "before"))

    def test_what_is_too_large_or_too_much_is_told(self):
        large = self.entry("large", lambda path: path.write_text(f"A={'x' * 140000}\n"))
        self.refused("the environment inside and the command are too large", "--env-from", large)
        for most in ("16", "20"):
            done = self.tool("--", "true", around=["sh", "-c", f'ulimit -n {most} && exec "$@"', "sh"])
            self.assertEqual(done.returncode, NO_SANDBOX)
            self.assertIn("Too many open files;", done.stderr)

    # Around the sandbox.

    def test_a_false_bubblewrap_is_not_taken(self):
        false = self.entry("bwrap", lambda path: path.write_text("#!/bin/sh\ntouch /tmp/false; exit 0\n"))
        done = self.tool("--", "sh", "-c", "echo $$", env={"PATH": f"{self.directory}:/usr/bin"})
        self.assertLess(int(done.stdout), 10)
        shutil.copy("/usr/bin/bwrap", false)
        link = self.entry("link", lambda path: path.symlink_to(false))
        os.chmod(false, 0o775)
        for instead in (false, "/dev/null", link):
            lay = ["--ro-bind", instead, "/usr/bin/bwrap"]
            done = self.tool("--", "true", around=["bwrap", "--dev-bind", "/", "/", *lay, "--"])
            self.assertEqual(done.returncode, NO_SANDBOX)
            self.assertIn("/usr/bin/bwrap is not a file that only root may change", done.stderr)

    def test_a_real_maintenance_tool_is_not_found(self):
        tool = self.entry("real/localcli", lambda path: path.write_text("#!/bin/sh\necho real\n"))
        real, link = os.path.dirname(tool), self.entry("link", lambda path: path.symlink_to("real"))
        place = "/usr/local/bin"
        lay = ["bwrap", "--dev-bind", "/", "/", "--tmpfs", place, "--ro-bind", tool, f"{place}/localcli", "--"]
        ask = ["--", "localcli", "system", "maintenanceMode", "get"]
        for path in (f"{place}:/usr/sbin", f"{real}:/usr/bin", f"{link}:/usr/bin", "/bin"):
            for option in ("--bind", "--copy"):
                done = self.tool("--path", path, option, link, *ask, around=lay)
                self.assertEqual(done.stdout, "Enabled\n", path)

    def test_the_command_starts_behind_the_guard_only(self):
        command = [*self.caller, *self.gate, "touch", str(self.directory / "started")]
        done = subprocess.run(command, capture_output=True, timeout=30)
        self.assertEqual((done.returncode, os.listdir(self.directory)), (NO_SANDBOX, []))


@unittest.skipIf(os.geteuid() != 0, "the first run was one")
class AttackAsUnprivilegedUser(Attack):
    caller = ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups"]


class AttackOnWhatTheToolAloneOffers(Attacker):
    """Jobs and variables: the other sandbox is given none."""

    def test_a_first_line_with_nul_bytes_mounts_nothing(self):
        self.entry("link/shell", lambda path: path.symlink_to("/bin/sh"))
        line = f"#!{self.directory}/link/shell\0--ro-bind\0/\0/tmp/machine/x\nls /tmp/machine\n"
        job = self.entry("job/job", lambda path: path.write_text(line))
        settings = self.entry("settings", lambda path: path.write_text(json.dumps({"job": {"name": job}})))
        command = [*self.caller, VOLAD_DEV, "job", "--settings", settings]
        done = subprocess.run(command, capture_output=True, text=True, timeout=50)
        self.assertIn("cannot access '/tmp/machine'", done.stdout, done.stderr)

    def test_a_refusal_names_whose_the_path_is(self):
        job = {"name": "true", "directory": "/run/lock"}
        settings = self.entry("settings", lambda path: path.write_text(json.dumps({"job": job})))
        done = subprocess.run([*self.caller, VOLAD_DEV, "job", "--settings", settings], capture_output=True, text=True)
        self.assertEqual(done.returncode, USAGE)
        self.assertIn("volad-dev: the job needs /run/lock: refused, /run is where services listen", done.stderr)

    def test_what_the_sandbox_relies_on_is_not_replaced(self):
        for option, value, reason in (
                ("--setenv", "PATH=/tmp", "--path"), ("--setenv", "VOLAD_SCRATCH=/", "VOLAD_SCRATCH"),
                ("--setenv", "LD_PRELOAD=x", "LD_PRELOAD"), ("--setenv", "x", "NAME=value"),
                ("--setenv", "GCOV_PREFIX=/", "GCOV_PREFIX"), ("--path", "/opt/bin", "/usr/sbin"),
                ("--path", "/usr/bin:", "absolute"), ("--path", "bin:/usr/bin", "absolute")):
            self.refused(reason, option, value)


@unittest.skipIf(os.geteuid() != 0, "the first run was one")
class AttackOnTheToolAsUnprivilegedUser(AttackOnWhatTheToolAloneOffers):
    caller = AttackAsUnprivilegedUser.caller


class SandboxThatEnds(Attack):
    """The sandbox whose commands call reboot(2) is attacked in the same ways, and neither is taken for the other."""
    sandbox = [KERNEL_VERDICT, "sandbox"]
    gate = [VOLAD_DEV + "-gate", "--ending"]

    def test_its_one_right_is_there_for_its_own_namespaces_only(self):
        script = "id -u; grep ^Cap /proc/self/status | cut -f2 | sort -u; readlink /proc/self/ns/pid /proc/self/ns/user"
        for user in ("0", "1000"):
            seen = self.sh(script, "--uid", user).split()
            self.assertEqual(seen[:2], [user, f"{1 << 22:016x}"])
            self.assertEqual(len({*seen[2:], os.readlink("/proc/self/ns/pid"), os.readlink("/proc/self/ns/user")}), 4)

    def test_what_belongs_into_one_sandbox_does_not_run_in_the_other_nor_outside(self):
        claims = {"VOLAD_DEV_MODE": "ending", "SANDBOX_MODE": "ending", "VOLAD_SCRATCH": "/scratch"}
        host = [KERNEL_VERDICT, "inside", "nothing asked for"]  # never one that asks: the refusal may be broken
        gate = [*self.gate, "true"]
        for command, reason in (([*COVERED, *host], "no marker"), ([*COVERED, *gate], "no marker"),
                                ([VOLAD_DEV, "sandbox", "--", *host], "is not the ender"),
                                ([VOLAD_DEV, "sandbox", "--", *gate], "is not the ender"),
                                ([*self.sandbox, "--", VOLAD_DEV + "-gate", "true"], "is not the recorder"),
                                ([*self.sandbox, "--", VOLAD_DEV, "rehearse-inside"], "is not the recorder")):
            done = subprocess.run([*self.caller, *command], capture_output=True, text=True, timeout=50,
                                  env={**os.environ, **claims})
            self.assertEqual((done.returncode, done.stdout), (NO_SANDBOX, ""), command)
            self.assertIn(reason, done.stderr)

    def test_the_ender_refuses_in_the_other_sandbox(self):
        ender = os.path.join(os.path.dirname(KERNEL_VERDICT), "namespace-ender")
        for name, reason in (("/sbin/poweroff", "/usr/sbin/reboot is not the ender"), ("x", "called by another name")):
            script = f"try: os.spawnv(os.P_WAIT, '{ender}', ['{name}'])\nfinally: print(open('/scratch/verdict').read())"
            done = subprocess.run([VOLAD_DEV, "sandbox", "--", "python3", "-c", PRELUDE + script], capture_output=True,
                                  text=True, timeout=50)
            self.assertEqual(done.stdout, f"refused: {reason}\n\n", done.stderr)

    def test_a_command_that_was_replaced_keeps_everything_from_starting(self):
        other = self.entry("other", lambda path: path.write_bytes(pathlib.Path("/bin/true").read_bytes()))
        ender = os.path.join(os.path.dirname(KERNEL_VERDICT), "namespace-ender")
        lay = ["bwrap", "--dev-bind", "/", "/", "--ro-bind", other, ender, "--"]
        done = self.tool("--", "echo", "started", around=lay)
        self.assertEqual((done.returncode, done.stdout), (NO_SANDBOX, ""))
        self.assertIn("is not the ender", done.stderr)


@unittest.skipIf(os.geteuid() != 0, "the first run was one")
class SandboxThatEndsForAnUnprivilegedUser(SandboxThatEnds):
    caller = AttackAsUnprivilegedUser.caller


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
