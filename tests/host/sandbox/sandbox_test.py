"""sandbox_test.py VOLAD_DEV SUITE: what is and what is not there inside the sandbox. Runs outside of it.

SUITE is any executable of tests; here it only shows that it refuses to start.
"""

import json
import os
import pathlib
import pty
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from tool_rig import VOLAD_DEV, volad_dev

SUITE = sys.argv[2]
NO_SANDBOX = 3


def inside(script: str, *options: str, environment: dict | None = None, **more) -> subprocess.CompletedProcess:
    return volad_dev("sandbox", *options, "--", "sh", "-c", script, env=environment, **more)


class Refusal(unittest.TestCase):
    def test_a_suite_refuses_outside_its_list_of_tests_included(self):
        for arguments in ([], ["--gtest_list_tests"]):
            done = subprocess.run([SUITE, *arguments], capture_output=True, text=True, timeout=30)
            self.assertEqual((done.returncode, done.stdout), (NO_SANDBOX, ""))
            self.assertEqual(len(done.stderr.splitlines()), 1, done.stderr)
            self.assertIn("refused outside the sandbox", done.stderr)

    def test_without_bubblewrap_one_line_and_nothing_is_started(self):
        with tempfile.TemporaryDirectory() as scratch:
            for command in (["sandbox", "--scratch", scratch, "--", "touch", "/scratch/started"], ["rehearse", "off"]):
                done = subprocess.run(["bwrap", "--dev-bind", "/", "/", "--ro-bind", "/dev/null", "/usr/bin/bwrap", "--",
                                       VOLAD_DEV, *command], capture_output=True, text=True, timeout=30)
                self.assertEqual((done.returncode, done.stdout), (NO_SANDBOX, ""))
                self.assertEqual(len(done.stderr.splitlines()), 1, done.stderr)
                self.assertIn("kernel.unprivileged_userns_clone", done.stderr)
            self.assertEqual(os.listdir(scratch), [])


class Inside(unittest.TestCase):
    def test_exit_code_signal_and_streams_pass(self):
        done = inside("cat; echo to-stderr >&2; exit 7", input="through\n")
        self.assertEqual((done.returncode, done.stdout, done.stderr), (7, "through\n", "to-stderr\n"))
        self.assertEqual(inside("kill -KILL $$").returncode, 128 + signal.SIGKILL)

    def test_who_one_is_and_what_one_may(self):
        for user in ("0", "1000"):
            done = inside("id -u; grep -E '^Cap' /proc/self/status | cut -f2 | sort -u; ls /opt",
                          "--uid", user)
            self.assertEqual(done.stdout.split(), [user, "0" * 16])

    def test_reboot_is_not_permitted(self):
        # LINUX_REBOOT_CMD_CAD_OFF only changes what a key chord does, should the kernel take it after all.
        script = ("import ctypes, errno; c = ctypes.CDLL(None, use_errno=True);"
                  "print(c.reboot(0), ctypes.get_errno() == errno.EPERM)")
        self.assertEqual(inside(f"python3 -c '{script}'").stdout, "-1 True\n")

    def test_nothing_of_the_environment_comes_in_but_what_is_listed(self):
        listed = {"GTEST_COLOR": "no", "ASAN_OPTIONS": "a=1", "TSAN_OPTIONS": "t=1", "UBSAN_OPTIONS": "u=1"}
        leaks = {"TM_LOG_DEBUG_LEVEL": "5", "TZ": "UTC", "LANG": "de_DE", "LD_PRELOAD": "", "PATH": os.environ["PATH"]}
        done = inside("env -0", "--setenv", "TZ=Asia/Tokyo", environment={**listed, **leaks})
        present = dict(pair.split("=", 1) for pair in done.stdout.split("\0") if pair)
        self.assertEqual(present, {**listed, "TZ": "Asia/Tokyo", "HOME": "/tmp", "VOLAD_SCRATCH": "/scratch",
                                   "PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin", "PWD": "/"})

    def test_no_descriptor_comes_in_but_the_standard_ones(self):
        with open(os.devnull) as extra:
            os.set_inheritable(extra.fileno(), True)
            done = inside("for n in $(seq 0 99); do [ -e /proc/$$/fd/$n ] && echo $n; done", close_fds=False)
        self.assertEqual(done.stdout.split(), ["0", "1", "2"])

    def test_no_process_of_the_machine_no_network_no_service_manager(self):
        done = inside("ls -d /proc/[0-9]* | wc -l; ls /sys /run/systemd /run/dbus 2>/dev/null; grep -c : /proc/net/dev")
        processes, interfaces = map(int, done.stdout.split())
        self.assertLessEqual(processes, 5)
        self.assertEqual(interfaces, 1)  # the loopback

    def test_only_the_scratch_directory_reaches_the_machine(self):
        tree = os.path.dirname(VOLAD_DEV)
        with tempfile.TemporaryDirectory() as scratch, tempfile.TemporaryDirectory() as bound:
            places = ["/", "/usr", "/usr/bin", "/usr/sbin", "/etc", "/run", tree, bound, "/proc/sys/kernel"]
            script = f"for d in {' '.join(places)}; do touch $d/probe 2>/dev/null && echo $d; done; touch /scratch/here"
            done = inside(script, "--scratch", scratch, "--bind", bound)
            self.assertEqual((done.stdout, os.listdir(scratch), os.listdir(bound)), ("", ["here"], []))

    def test_what_is_bound_is_seen_at_its_own_path_below_a_laid_over_directory(self):
        with tempfile.TemporaryDirectory() as bound:
            pathlib.Path(bound, "file").write_text("seen")
            os.symlink(bound, bound + ".link")
            self.addCleanup(os.unlink, bound + ".link")
            done = inside(f"cat {bound}/file {bound}.link/file", "--bind", bound + ".link")
            self.assertEqual(done.stdout, "seenseen")

    def test_a_command_on_a_terminal_keeps_it_for_its_job_control(self):
        child, terminal = pty.fork()
        if child == 0:
            os.execv(VOLAD_DEV, [VOLAD_DEV, "sandbox", "--", "sh", "-c", "exec 3<>/dev/tty && echo its own"])
        with open(terminal, "rb", buffering=0) as screen:
            self.assertEqual(screen.read(100), b"its own\r\n")
            self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 0)

    def test_a_relative_command_is_the_callers(self):
        done = volad_dev("sandbox", "--", "./" + os.path.basename(VOLAD_DEV), "--version", cwd=os.path.dirname(VOLAD_DEV))
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_the_end_of_the_launcher_is_the_end_of_the_sandbox(self):
        with subprocess.Popen([VOLAD_DEV, "sandbox", "--", "sh", "-c", "echo up; exec sleep 60"],
                              stdout=subprocess.PIPE, text=True) as launcher:
            self.assertEqual(launcher.stdout.readline(), "up\n")
            launcher.kill()
            self.assertEqual(launcher.stdout.read(), "")  # returns once the last writer inside is gone
        self.assertEqual(launcher.returncode, -signal.SIGKILL)


class StandIns(unittest.TestCase):
    def test_each_command_is_written_down_with_how_it_was_called(self):
        with tempfile.TemporaryDirectory() as scratch:
            before = time.time()
            script = "cd /tmp; exec 7</dev/null; for c in poweroff reboot halt; do /sbin/$c -f 'a \"b\\'; done"
            self.assertEqual(inside(script, "--scratch", scratch).returncode, 0)
            lines = pathlib.Path(scratch, "command-record.jsonl").read_text().splitlines()
        records = [json.loads(line) for line in lines]
        self.assertEqual([record["name"] for record in records], ["/sbin/poweroff", "/sbin/reboot", "/sbin/halt"])
        for record in records:
            self.assertEqual(record["arguments"], ["-f", 'a "b\\'])
            self.assertEqual((record["directory"], record["blocked"]), ("/tmp", "0" * 16))
            self.assertEqual(sorted(record["descriptors"]), ["0", "1", "2", "7"])
            self.assertEqual(record["descriptors"]["7"], "/dev/null")
            self.assertLess(abs(record["time"] - before), 30)

    def test_the_service_manager_is_there_only_on_request_and_is_the_recorder(self):
        self.assertNotEqual(inside("test -e /usr/bin/systemctl").returncode, 0)
        self.assertEqual(inside("cmp /usr/bin/systemctl /sbin/poweroff", "--systemctl").returncode, 0)

    def test_the_maintenance_tool_answers_as_chosen(self):
        ask = "localcli system maintenanceMode get"
        script = f"printf '#!/bin/sh\\nexit 9\\n' > /scratch/localcli; chmod +x /scratch/localcli; {ask}; echo $?"
        for options, command, answer in (
                ([], ask, "Enabled\n"),
                (["--maintenance", "on"], ask, "Enabled\n"),
                (["--maintenance", "off"], ask, "Disabled\n"),
                (["--maintenance", "missing"], f"{ask} 2>/dev/null; echo $?", "127\n"),
                ([], f"echo Disabled > /scratch/maintenance; {ask}", "Disabled\n"),
                ([], script, "9\n"),
                ([], "localcli something else; echo $?", "2\n")):
            with self.subTest(options=options, command=command):
                self.assertEqual(inside(command, *options).stdout, answer)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
