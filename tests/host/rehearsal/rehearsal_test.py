"""rehearsal_test.py VOLAD_DEV MODULE: whole rehearsals of the real module, by exit code, verdict and trace."""

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

VOLAD_DEV, MODULE = sys.argv[1:3]
JOB = '#!/bin/sh\necho done > "$VOLAD_SCRATCH/left"\npwd > "$VOLAD_SCRATCH/where"\n'
TYPING = pathlib.Path("/proc/sys/dev/tty/legacy_tiocsti")
# Types a character into each terminal that it has or can open, as if the operator had.
TYPING_JOB = """#!/usr/bin/python3
import fcntl, os, termios
typed = []
for place in ("/dev/stdin", "/dev/stdout", "/dev/stderr", "/dev/tty"):
    try:
        fcntl.ioctl(os.open(place, os.O_RDWR | os.O_NOCTTY), termios.TIOCSTI, b"#")
        typed.append(place)
    except OSError:
        pass
print("typed into:", typed)
"""


class Rehearsal(unittest.TestCase):
    def setUp(self):
        self.directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.settings = self.directory / "settings.json"
        job = self.directory / "job.sh"
        job.write_text(JOB)
        job.chmod(0o755)
        self.write(shutdownDelay=0, forceDelay=0, job={"name": "job.sh"})

    def write(self, **settings):
        self.settings.write_text(json.dumps(settings))

    def command(self, *arguments: str) -> list[str]:
        return [VOLAD_DEV, "rehearse", "--module", MODULE, "--settings", str(self.settings), *arguments]

    def run_tool(self, *arguments: str, **more) -> subprocess.CompletedProcess:
        return subprocess.run(self.command(*arguments), capture_output=True, text=True, timeout=50, **more)

    def rehearse(self, *arguments: str) -> tuple[int, dict, str]:
        verdict = self.directory / "verdict.json"
        done = self.run_tool(*arguments, "--json", str(verdict))
        self.assertEqual(done.stderr, "")
        return done.returncode, json.loads(verdict.read_text()), done.stdout

    def test_each_target_ends_in_its_command(self):
        for target, command, asked_by in (("reset", "/sbin/reboot", "request"), ("halt", "/sbin/halt", "reply")):
            with self.subTest(target=target):
                code, verdict, trace = self.rehearse(target, "--reason", "3")
                self.assertEqual(code, 0)
                self.assertTrue(verdict["asAsked"])
                self.assertEqual((verdict["command"]["line"], verdict["command"]["directory"]), (command, "/"))
                self.assertEqual((verdict["askedBy"], verdict["reason"]), (asked_by, 3))
                self.assertEqual([left["file"] for left in verdict["left"]], ["left", "where"])
                self.assertIn("Run shutdown job", trace)
                seconds, phases = verdict["command"]["seconds"], verdict["phases"]
                self.assertIn(f'  command    {command}, {seconds:.2f} s after the request, in "/"\n', trace)
                shown = ", ".join(f"{phase['name']} {phase['seconds']:.2f} s" for phase in phases)
                self.assertIn(f"  phases     {shown}\n", trace)
                self.assertAlmostEqual(sum(phase["seconds"] for phase in phases), seconds, delta=0.01)

    def test_the_reason_is_named_by_the_message_file(self):
        messages = self.directory / "texts.xml"
        messages.write_text("<EventMsg><Events><Event ErrorCode='0x0E0003'><Messages lang='en'><Summary>100%n late"
                            "</Summary></Messages></Event></Events></EventMsg>")
        code, verdict, trace = self.rehearse("--reason", "3", "--messages", str(messages))
        self.assertEqual((code, verdict["command"]["directory"]), (0, "/"))
        self.assertIn('Shutdown reason: "100%n late"', trace)
        self.assertEqual(verdict["reasonName"], "100%n late")
        self.assertEqual([left["file"] for left in verdict["left"]], ["left", "where"])

    def test_the_power_switch_property_reaches_the_module(self):
        for settings, asked in (({}, True), ({"powerSwitchNotifications": True}, True),
                                ({"powerSwitchNotifications": False}, False)):
            with self.subTest(settings=settings):
                self.write(shutdownDelay=0, **settings)
                code, _, trace = self.rehearse("--trace", "4")
                self.assertEqual(code, 0)
                self.assertEqual("EM_SHUTDOWN         : Enable Power switch notifications!" in trace, asked)
                value = 'Read module property "PowerSwitchEvent (ON/OFF)" = %d' % asked
                self.assertEqual(value in trace, bool(settings))

    def test_ends_that_are_asked(self):
        self.write(shutdownDelay=1)
        for arguments, end in ((["--maintenance", "off"], "refused at the gate"),
                               (["--cancel-after", "0.2"], "cancelled"),
                               (["--stop-after", "0.2"], "stopped before the command")):
            with self.subTest(end=end):
                code, verdict, _ = self.rehearse(*arguments)
                self.assertEqual((code, verdict["command"], verdict["left"]), (0, None, []))
                self.assertTrue(verdict["end"].startswith(end), verdict["end"])

    def test_an_end_that_is_not_the_asked_one_is_named(self):
        self.write(shutdownDelay=0)
        code, verdict, text = self.rehearse("--cancel-after", "30")
        self.assertEqual((code, verdict["asAsked"], verdict["end"]), (1, False, "the command was started"))
        self.assertIn("not what was asked", text)

    def test_a_scheduled_power_off_is_raised_by_the_module(self):
        late = time.localtime().tm_sec > 50  # a minute that the module may not see any more
        minute = time.localtime(time.time() + 60 * late)
        code, verdict, trace = self.rehearse("--schedule", time.strftime("%H:%M", minute), "--trace", "1")
        self.assertEqual((code, verdict["command"]["line"]), (0, "/sbin/poweroff"))
        self.assertEqual((verdict["askedBy"], verdict["reason"]), ("schedule", 3))
        self.assertIn("reached - Request system shutdown!", trace)

    def test_a_signal_stops_the_module_and_ends_with_130(self):
        self.write(shutdownDelay=50)
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(number=number):
                child = subprocess.Popen(self.command(), stdout=subprocess.PIPE, text=True)
                for line in child.stdout:
                    if "Start shutdown delay" in line:
                        break
                child.send_signal(number)
                rest = child.stdout.read()
                child.stdout.close()
                self.assertEqual(child.wait(20), 130)
                self.assertIn("Module destroyed successfully", rest)
                self.assertIn("Verdict: interrupted", rest)

    def on_a_terminal(self, *arguments: str) -> tuple[int, int]:
        """Like an operator's shell: the process, and the other end of the terminal that is its own."""
        child, terminal = pty.fork()
        if child == 0:
            os.execv(VOLAD_DEV, self.command(*arguments))
        self.addCleanup(os.close, terminal)
        return child, terminal

    @staticmethod
    def shown(terminal: int, until: bytes = b"") -> bytes:
        text = b""
        while not until or until not in text:
            try:
                text += os.read(terminal, 4096)
            except OSError:  # nobody has the terminal open any more
                break
        return text

    def test_an_interrupt_key_stops_the_module_and_ends_with_130(self):
        self.write(shutdownDelay=50)
        child, terminal = self.on_a_terminal()
        self.shown(terminal, until=b"Start shutdown delay")
        os.write(terminal, b"\x03")
        self.assertIn(b"Verdict: interrupted", self.shown(terminal))
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 130)

    @unittest.skipIf(TYPING.exists() and TYPING.read_text() == "0\n", "this kernel lets nobody type for others")
    def test_a_job_cannot_type_into_the_callers_shell(self):
        (self.directory / "job.sh").write_text(TYPING_JOB)
        child, terminal = self.on_a_terminal()
        self.assertIn(b"typed into: []", self.shown(terminal))
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 0)

    def test_usage_and_settings_errors(self):
        for arguments in (["sideways"], ["--reason", "256"], ["--trace", "6"], ["--schedule", "24:00"],
                          ["--cancel-after", "-1"]):
            self.assertEqual(self.run_tool(*arguments).returncode, 2, arguments)
        self.write(shutdownDelay="3")
        done = self.run_tool()
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn('"shutdownDelay": expected a number', done.stderr)

    def test_without_bubblewrap_nothing_is_rehearsed(self):
        without = ["bwrap", "--dev-bind", "/", "/", "--ro-bind", "/dev/null", "/usr/bin/bwrap", "--"]
        done = subprocess.run([*without, *self.command()], capture_output=True, text=True, timeout=50)
        self.assertEqual((done.returncode, done.stdout), (3, ""))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
