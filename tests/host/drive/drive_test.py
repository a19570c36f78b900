"""drive_test.py VOLAD_DEV MODULE ROOT [CLASS]: the real module driven by scripts, from files, pipes and terminals."""

import os
import pathlib
import pty
import re
import signal
import subprocess
import sys
import time
import unittest

from tool_rig import VOLAD_DEV, ToolTest, volad_dev

MODULE, ROOT = sys.argv[2], pathlib.Path(sys.argv[3])
NOBODY = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
STARTED = "answer shutdownDelay 0\ncreate\nstart\n"  # three lines
DELAYED = "answer shutdownDelay 30\ncreate\nstart\nrequest off\nwait status 2\n"  # five

# A script, and behind "SCRIPT:" what its failure is told with.
NOT_SO = (
    ("create\nwait status executing within 0.05",
     r"2: expected status executing within 0\.05 s, seen: status 0 \(none\)"),
    (DELAYED + "wait status 3 within 0.05", r"6: .*, seen: status 2 \(delay running\)"),
    (DELAYED + "wait status 1 within 0.05", "6: expected status 1 "),  # it was, but before what was waited for
    ("create\nwait trace no such line within 0.05",
     r'2: expected trace "no such line" within 0\.05 s, seen: "[^"]+" as the'),
    (STARTED + "wait message off within 0.05", r'4: expected message off within 0\.05 s, seen: {"SIP":.*} as the last'),
    (STARTED + "wait message 281 data=2 within 0.05", "4: expected message 281 data=2 within"),
    ("create\nwait trace no # line within  0.05  # for long", r'2: expected trace "no # line" within 0\.05 s, seen: "'),
    ('create\nwait trace "no \\"within 1" within 0.05 # for long',
     r'2: expected trace "no "within 1" within 0\.05 s, seen: "'),
    ("create\nwait command within 0.05", r"2: expected command within 0\.05 s, seen: no command"),
    (STARTED + "request reset\nwait command reboot\nwait command within 0.05",
     "6: expected command .*, seen: /sbin/reboot"),
    (STARTED + "request reset\nwait command\nexpect command poweroff",
     "6: expected command poweroff, seen: /sbin/reboot"),
    ("create\nexpect no trace EM_SHUTDOWN", r'2: expected no trace "EM_SHUTDOWN", seen: ".*EM_SHUTDOWN'),
    ("create\nexpect message HostSettings", "2: expected message HostSettings, seen: no message"),
    ("create\nstatus\nexpect answer 1", '3: expected answer 1, seen: handled, {"SIP":.*"ST":0'),
    ("create\nstatus\nexpect answer 0 data=1", "3: "),
    ("create\nstatus\nexpect answer unhandled", "3: "),
    ("create\nstatus\nexpect answer {}", "3: "),
    ('create\nstatus\nexpect answer "OC\\":5"\nexpect answer "none"', "4: "),
    ("create\nstatus\nexpect no answer handled 0", "3: "),
    (STARTED + "refuse trace Starting module within 30",
     r'4: expected no trace "Starting module" within 30 s, seen: "### Sta'),
    ("create\nrefuse status none", "2: expected no status none within 10 s"),
    (DELAYED + "refuse status 1 within 0.05\nrequest off\nrefuse message off within 5", "8: .*"),
    (STARTED + "request off\nrefuse command poweroff within 30",
     "5: expected no command poweroff within 30 s, seen: /sbin/p"),
)

# A line, and what is wrong with it.
NO_SCRIPT = (
    ("creat", 'there is no verb "creat"; there are create, start, '),
    ("create now", '"now" is too much for create'),
    ("start", "there is no module for start: create comes first"),
    ("expect status 0", "there is no module for expect: create comes first"),
    ("expect answer 0", "nothing was answered yet: request comes first"),
    ("cabinet", "the cabinet is missing"),
    ("cabinet -1", 'the cabinet must be a number from 0 to 4294967295, not "-1"'),
    ("request", "the operation is missing"),
    ("request of", 'the operation must be a code or one of reset, halt, off, PowerOn.*, not "of"'),
    ("request off reason", '"reason" is no KEY=VALUE; the keys are operation, data, reason, '),
    ("request off day=1", '"day" is no KEY=VALUE'),
    ('request off data="x', "no JSON: "),
    ('reply {"SIP":', "no JSON: "),
    ("request " + "[" * 1001 + "]" * 1001, "no JSON: it is too deep"),
    ("request {} 1", '"1" is too much for request JSON'),
    ("notify SCN", 'the notification must be a code or one of SCN_SWITCH_SHUTDOWN, .*, not "SCN"'),
    ("answer", "the key is missing"),
    ("answer cabinet", "the value is missing"),
    ("answer cabinets 1", 'unknown key "cabinets", expected one of cabinet, hostKind, '),
    ("answer shutdownDelay soon", '"shutdownDelay": expected a number from 0 to 4294967295'),
    ('answer job.name "x', "a text in quotes has no end"),
    ("maintenance yes", 'maintenance must be on, off or missing, not "yes"'),
    ("sleep", "the time is missing"),
    ("sleep 1s", 'the time must be a number of seconds from 0 to 86400, not "1s"'),
    ("wait", "what is waited for or expected is missing: one of status, trace, message, command$"),
    ("wait answer 0", 'must be one of status, trace, message, command, not "answer"'),
    ("wait status over", 'the status must be a number or one of none, requested, delay running, .*, not "over"'),
    ("wait trace", "the text is missing"),
    ("wait command off", 'the command must be one of reboot, halt, poweroff, not "off"'),
    ("wait message off within", "the time is missing"),
    ("refuse command within 1 2", '"2" is too much for refuse'),
    ("expect command within 1", r'"within 1" is too much for expect \[no\] CONDITION'),
    ("a\x1bb", r'there is no verb "a\\x1Bb"'),
    ("create\0", "a line may hold no NUL byte"),
)

# What is asked, and what must be in the line of its answer.
ANSWERED = (
    ("request CM_RequestShutdownAndHalt", 'handled, status 25, {"SIP":{"V":1,"CMD":[{"OC":522,"CA":7,"ST":25}]}}'),
    ("request 0x20B", '"OC":523,"CA":7,"DA":0,"ST":0}]}}, shutdown status 0 (none)'),
    ("request 999 extension=0x10 object=2 id=3 data={\"RAW\": [1, 2]} status=4 cabinet=5",
     'unhandled, status 1, {"SIP":{"V":1,"CMD":[{"OC":999,"CA":5,"OE":16,"OI":2,"MI":3,"DA":{"RAW":[1,2]},"ST":1}]}}'),
    ('request {"SIP":{"V":2,"CMD":[{}]}}', 'unhandled, status 20, {"SIP":{"V":2,"CMD":[{"ST":20}]}}'),
    ("request [1] # no envelope", "request [1]: unhandled, no status, [1]"),
    ("request " + "[" * 1000 + "]" * 1000, "unhandled, no status, [["),
    ("reply 521 data=x", ': {"SIP":{"V":1,"CMD":[{"OC":521,"CA":7,"DA":"x"}]}}'),
    ("notify SCN_POWERSTATE_RESUME", "notify SCN_POWERSTATE_RESUME: 1"),
    ("notify 0x12", "notify 0x12: 0"),
    ("cancel", "cancel: handled, status 0, "),
)


class Drive(ToolTest):
    def script(self, text: str, name="s.drive") -> str:
        path = self.directory / name
        path.write_text(text + "\n")
        return str(path)

    def drive(self, text: str, *arguments: str, **options) -> subprocess.CompletedProcess:
        return volad_dev("drive", "--module", MODULE, self.script(text), *arguments, **options)

    def driven(self, text: str, *arguments: str) -> str:
        """What is shown of a script that goes well."""
        done = self.drive(text, *arguments)
        self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)
        return done.stdout

    def open(self, *arguments: str, script="-", **options) -> subprocess.Popen:
        child = subprocess.Popen([VOLAD_DEV, "drive", "--module", MODULE, *arguments, script], text=True,
                                 **{name: subprocess.PIPE for name in ("stdin", "stdout", "stderr")} | options)
        self.addCleanup(child.wait)
        self.addCleanup(child.kill)
        for stream in (child.stdin, child.stdout, child.stderr):
            if stream:
                self.addCleanup(stream.close)
        return child

    def assert_told(self, done: subprocess.CompletedProcess, code: int, line: str, name: str):
        self.assertEqual((done.returncode, done.stderr.count("\n")), (code, 1), done.stdout + done.stderr)
        self.assertRegex(done.stderr, "^" + re.escape(name) + ":" + line)


class Failures(Drive):
    def test_what_is_not_so_ends_the_script_at_its_line(self):
        for text, line in NOT_SO:
            with self.subTest(text=text):
                done = self.drive(text + "\nmaintenance off")
                self.assert_told(done, 1, line, f"{self.directory}/s.drive")
                self.assertNotIn("maintenance", done.stdout)

    def test_what_no_script_may_say_is_found_before_anything_runs(self):
        for line, told in NO_SCRIPT:
            with self.subTest(line=line):
                done = self.drive("# nothing\n\nmaintenance off\n" + line)
                self.assert_told(done, 2, "4: .*" + told, f"{self.directory}/s.drive")
                self.assertEqual(done.stdout, "")
        long = "maintenance off\nwait trace " + 5_000_000 * "x"
        told = "2: a line must have fewer than 1048576 bytes$"
        self.assert_told(self.drive(long), 2, told, f"{self.directory}/s.drive")
        self.assert_told(volad_dev("drive", "--module", MODULE, "-", input=long), 2, told, "-")

    def test_a_wrong_line_of_a_pipe_ends_it_behind_those_before(self):
        done = volad_dev("drive", "--module", MODULE, "-", input="create\n\nsart\nstart\n")
        self.assert_told(done, 2, '3: there is no verb "sart"', "-")
        self.assertRegex(done.stdout, r"^\[ +0.\d+\]   1 create: EM_SHUTDOWN\n$")


class Scripts(Drive):
    def test_each_line_of_a_pipe_is_answered_before_the_next_one(self):
        child = self.open()
        for line, answer in (("create", "1 create: EM_SHUTDOWN"), ("start", "2 start: true"),
                             ("status # so far", r"3 status: handled, .*, shutdown status 0 \(none\)"),
                             ("answer shutdownDelay 0", "4 answer shutdownDelay 0"),
                             ("request off", "5 request off: handled"),
                             ("wait command", "6 wait command: after "), ("wait status 3", "7 wait status 3: after ")):
            child.stdin.write(line + "\n")
            child.stdin.flush()
            self.assertRegex(child.stdout.readline(), rf"^\[ +\d+\.\d+\]   {answer}")
        child.stdin.write("expect command halt")  # the last line needs no end
        rest, told = child.communicate(timeout=30)
        self.assertEqual((child.returncode, rest), (1, ""))
        self.assertEqual(told, "-:8: expected command halt, seen: /sbin/poweroff\n")

    def test_the_end_of_the_input_takes_the_module_down(self):
        for text, ended in (("create\nstart\n", True), ("create\nstart\nstop\n", True), ("create\ndelete\n", False),
                            ("", False)):
            shown = self.driven(text, "--trace", "1")
            self.assertEqual("end of the script: the module was stopped and deleted\n" in shown, ended, text)
            self.assertEqual(shown.count("Module destroyed successfully"), "create" in text, text)
            self.assertEqual(shown.count("Stop of module EM_SHUTDOWN completed"), "start" in text, text)

    def test_a_terminal_goes_on_behind_a_wrong_line(self):
        ours, theirs = pty.openpty()
        child = self.open(stdin=theirs)
        os.close(theirs)
        os.write(ours, b"creat\nstart\ncreate\nstart\n")
        while "start: true" not in (line := child.stdout.readline()):
            self.assertTrue(line)
        os.write(ours, b"\x04")
        _, told = child.communicate(timeout=30)
        os.close(ours)
        self.assertEqual(child.returncode, 0, told)
        self.assertRegex(told, '^-:1: there is no verb "creat".*\n-:2: there is no module for start: .*\n$')

    def test_the_forms_of_a_request(self):
        shown = self.driven("create\ncabinet 7\n" + "\n".join(line for line, _ in ANSWERED)).splitlines()
        for at, (line, answer) in enumerate(ANSWERED, 2):
            self.assertIn(answer, shown[at], line)

    def test_a_mark_stands_behind_what_was_waited_for(self):
        self.driven(STARTED + 'wait trace Starting module\nexpect trace Starting module\nrequest off\nwait status 1\n'
                    "wait status 2\nwait status executing\nwait status 3\n"
                    "wait message off\nrefuse message off within 0\n"
                    "expect message off\nwait command\nrefuse command within 0\ndelete\n"
                    # and a new module begins anew
                    "create\nexpect no command\nexpect no message off\nwait status none\n"
                    "refuse trace Starting module within 0\n"
                    "start\nwait trace Starting module\nrequest reset\nwait command reboot\nexpect no command poweroff")

    def test_answers_count_from_the_next_question_on(self):
        settings = self.directory / "settings.json"
        settings.write_text('{"cabinet": 3, "shutdownDelay": 40, "job": {"name": "{here}/no"}, '
                            '"powerSwitchNotifications": false}')
        job = self.directory / "job.sh"
        job.write_text("#!/bin/sh\necho ran $1; echo ended\n")
        job.chmod(0o755)
        shown = self.driven('create\nstart\nexpect no message 281\nwait message HostSettings cabinet=3\n'
                            'answer job {"name": "{here}/job.sh one"}\nanswer shutdownDelay 4 # less\nrequest off\n'
                            "wait trace Start shutdown delay 4 sec\nanswer job.name {here}/job.sh two\nwait command\n"
                            "answer shutdownDelay none\nanswer forceDelay 9\n"
                            "answer powerSwitchNotifications none\ndelete\n"
                            "answer cabinet 4\ncreate\nstart\nwait message 281 data=1\nrequest reset\n"
                            'wait trace No shutdown delay specified\nwait trace "force delay (ORBA) = 9 sec."',
                            "--settings", str(settings))
        self.assertIn("\n  | ran two\n  | ended\n", shown)
        self.assertNotIn("ran one", shown)

    def test_the_maintenance_tool_leaves_nothing_in_a_directory_of_the_machine(self):
        scratch = self.directory / "scratch"
        scratch.mkdir()
        self.driven("maintenance missing\ncreate\nrequest CM_GetMaintenanceMode\nexpect answer data=0\nmaintenance on\n"
                    "request 289 data=[1]\nexpect answer data=1\nmaintenance off\nrequest 289\nexpect answer data=0\n"
                    'expect trace "EM_SHUTDOWN         :  # CM_GetMaintenanceMode #"',
                    "--scratch", str(scratch))
        self.assertEqual(list(scratch.iterdir()), [])

    def test_the_limit_ends_whatever_is_on(self):
        hanging = (STARTED + 'answer job.name "sleep 100"\nanswer job.timeout 90\nrequest off\n'
                   "wait trace Run shutdown job\nstop")
        for text, limit, code, told in (("create\nsleep 90", 1, 1, "2: the limit of 1 s is over"),
                                        ("wait command within 90", 1, 1, "1: the limit of 1 s is over"),
                                        ("refuse command within 90", 1, 1, "1: the limit of 1 s is over"),
                                        (hanging, 6, 130, "8: stop: did not end, and was ended: the limit of 6 s")):
            with self.subTest(text=text):
                begin = time.monotonic()
                self.assert_told(self.drive(text, "--limit", str(limit)), code, told, f"{self.directory}/s.drive")
                self.assertLess(time.monotonic() - begin, 30)
        child = self.open("--limit", "1")  # and nobody writes
        self.assertEqual((child.stdout.read(), child.stderr.read()), ("", "-: the limit of 1 s is over\n"))
        self.assertEqual(child.wait(20), 1)

    def test_a_signal_takes_the_module_down_in_good_order(self):
        child = self.open("--trace", "1", script=self.script("create\nstart\nsleep 50"))
        while "start: true" not in child.stdout.readline():
            pass
        child.send_signal(signal.SIGINT)
        rest, told = child.communicate(timeout=30)
        self.assertEqual((child.returncode, told.count("\n")), (130, 1), told)
        self.assertIn("Module destroyed successfully", rest)

    def test_a_module_that_takes_its_process_down_is_told(self):
        kill = 'for p in /proc/[0-9]*; do grep -qs drive-inside $p/cmdline && kill -9 ${p#/proc/}; done'
        done = self.drive(STARTED + f"answer job.name {kill}\nrequest off\nwait command")
        self.assert_told(done, 130, r"6: wait: the process that held the module ended \(exit code 137\)",
                         f"{self.directory}/s.drive")

    def test_trace_and_messages_are_shown_where_they_are_wished(self):
        text = STARTED + 'request off\nwait trace "ExecuteCmd finished"'
        self.assertNotIn("|", self.driven(text))
        shown = self.driven(text, "--trace", "2")
        self.assertRegex(shown, r'\[ +[\d.]+\]   < 527 ShutdownStatusChanged {"SIP":')
        self.assertRegex(shown, r'\[ +[\d.]+\]   > 57345 HostSettings {"SIP":')
        self.assertRegex(shown, r"\[ +[\d.]+\]   \| EM_SHUTDOWN +: CAB 0000: ## CM_RequestShutdownAndXXX ##\n")
        self.assertNotIn("System shutdown status changed to", shown)  # level 3

    def test_outside_of_the_sandbox_nothing_is_driven(self):
        done = volad_dev("drive-inside", "--module", MODULE, "--script=-", "--script-fd=0", "--events-fd=1", "--stop-fd=2",
                         input="create\n")
        self.assertEqual((done.returncode, done.stdout), (3, ""))

    def test_the_page_lists_what_a_script_may_say(self):
        listed = volad_dev("drive", "--verbs", check=True).stdout
        self.assertLessEqual(max(map(len, listed.splitlines())), 80)
        forms = [re.split(" {2,}", line.strip())[0] for line in listed.splitlines() if line.startswith("  ")]
        page = (ROOT / "docs/drive.md").read_text()
        rows = [row.replace("\\|", "|") for row in re.findall(r"^\| `((?:[^`|]|\\\|)*)` \|", page, re.MULTILINE)]
        self.assertEqual(rows[:len(forms)], forms)


class Examples(Drive):
    def test_a_job_that_is_not_there_is_noticed(self):
        self.assertIn("expected no trace \"Cleanup program finished\"",
                      self.drive((ROOT / "examples/off.drive").read_text()).stderr)

    def test_a_script_behind_dots_finds_its_job(self):
        done = volad_dev("drive", "--module", MODULE, "../examples/off.drive", cwd=ROOT / "docs")
        self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)

    def test_the_examples(self):
        scripts = sorted((ROOT / "examples").glob("*.drive"))
        self.assertGreater(len(scripts), 5)
        for caller in ([],) + ((NOBODY,) if os.geteuid() == 0 else ()):
            running = [subprocess.Popen([*caller, VOLAD_DEV, "drive", "--module", MODULE, str(script)], text=True,
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT) for script in scripts]
            for script, child in zip(scripts, running):
                with self.subTest(script=script.name, caller=caller):
                    shown, _ = child.communicate(timeout=90)
                    self.assertEqual(child.returncode, 0, shown)
                    self.assertRegex(shown, r"\n\[ +[\d.]+\] +\d+ delete: 1\n$")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[4:])
