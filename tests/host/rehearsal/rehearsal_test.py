"""rehearsal_test.py VOLAD_DEV MODULE [CLASS]: whole rehearsals of the real module, by exit code, JSON and what is shown."""

import json
import os
import pathlib
import pty
import re
import signal
import subprocess
import sys
import termios
import time
import unittest

import jsonschema
from rehearsal_rig import SCHEMA, Rehearsal
from tool_rig import VOLAD_DEV, volad_dev


class Runs(Rehearsal):
    def test_each_target_ends_in_its_command(self):
        for target, reason, command, by in (("off", "3", "/sbin/poweroff", "request"),
                                            ("off", "1", "/sbin/poweroff", "power-switch"),
                                            ("reset", "0", "/sbin/reboot", "request"),
                                            ("halt", "1", "/sbin/halt", "reply")):
            with self.subTest(target=target, reason=reason):
                run, shown = self.rehearse(target, "--reason", reason)
                self.assertEqual((run["end"], run["asAsked"]), ("command", True))
                asked = run["asked"]
                self.assertEqual((asked["by"], asked["operation"], asked["reason"]), (by, target, int(reason)))
                seconds = run["command"]["seconds"]
                self.assertEqual((run["command"]["line"], run["command"]["directory"]), (command, "/"))
                self.assertIn(f'  command    {command}, {seconds:.2f} s after the request, in "/"\n', shown)
                self.assertIn("\nVerdict: the command was started, as asked\n", shown)
                names = [phase["name"] for phase in run["phases"]]
                self.assertEqual(names, ["gate", "settings", "delay", "job settings", "job", "command"])
                self.assertAlmostEqual(sum(phase["seconds"] for phase in run["phases"]), seconds, delta=0.001)
                self.assertEqual([left["file"] for left in run["left"]], ["left"])
                self.assertEqual([status["value"] for status in run["statuses"]], [1, 2, 3])

    def test_what_host_and_module_told_each_other(self):
        run, _ = self.rehearse("--reason", "3")
        told = [(message["direction"], message["envelope"]["SIP"]["CMD"][0]) for message in run["messages"]]
        request = next(i for i, (direction, command) in enumerate(told) if command["OC"] == 517)
        self.assertEqual((told[request][0], told[request][1]["DA"]), ("to-module", 3))
        job = [(direction, command.get("DA")) for direction, command in told if command.get("OE") == 0x1710]
        self.assertEqual(job, [("to-host", None), ("to-module", str(self.directory / "job.sh"))])
        times = [message["at"] for message in run["messages"]]
        self.assertEqual((times, run["messages"][request]["at"]), (sorted(times), 0))

    def test_a_run_is_explained_alike_from_its_trace_and_its_json(self):
        for level, arguments in ((1, ()), (2, ("reset",)), (3, ("halt",)), (4, ("--uid", "1000")), (5, ()),
                                 (3, ("--maintenance", "off")), (1, ("--uid", "1000"))):
            with self.subTest(arguments=arguments, level=level):
                file = str(self.directory / "run.json")
                shown = self.run_tool("--trace", str(level), "--json", file, *arguments).stdout
                run = json.loads(pathlib.Path(file).read_text())
                explain = [volad_dev("explain", *more, input=shown, check=True).stdout
                           for more in (("-", "--json", "-"), ("-",), (file,))]
                read, = json.loads(explain[0])["runs"]
                self.assertEqual((read["end"], read["level"]), (run["end"], level))
                for key in ("operation", "by", "reason"):
                    self.assertEqual(read["asked"][key], run["asked"][key] if level > 1 else read["asked"][key])
                for part, key in (("job", "command"), ("command", "line")):
                    self.assertEqual(read[part] and read[part][key], run[part] and run[part][key])
                told = [story.splitlines() for story in explain[1:]]
                self.assertEqual(told[0][1:3], told[1][1:3])
                self.assertLessEqual(max(len(story) for story in told), 12)

    def test_the_example_run_is_one_of_the_present_program(self):
        examples = pathlib.Path(__file__).parents[3] / "examples"
        kept = json.loads((examples / "rehearsal.json").read_text())
        jsonschema.validate(kept, SCHEMA)
        self.settings = self.directory / "example.json"
        settings = json.loads((examples / "settings.json").read_text()) | {"shutdownDelay": 0}
        self.settings.write_text(json.dumps(settings).replace("{here}", str(examples)))
        run, _ = self.rehearse("--reason", "3", "--messages", str(examples / "EVENTMSG.XML"))

        def told(of: dict) -> list[tuple]:
            commands = [(message["direction"], message["envelope"]["SIP"]["CMD"][0]) for message in of["messages"]]
            # The worker asks for the day's time when it comes to it.
            return sorted((way, command["OC"], command.get("OE", 0)) for way, command in commands if command.get("OE") != 0xA1)

        self.assertEqual(told(run), told(kept))
        for of in (lambda of: of["end"], lambda of: [phase["name"] for phase in of["phases"]], lambda of: of["asked"],
                   lambda of: [status["value"] for status in of["statuses"]], lambda of: of["command"]["line"]):
            self.assertEqual(of(run), of(kept))

    def test_what_holds_no_shutdown_is_no_story(self):
        for text, line in (("", "nor any other line of the module"), ('{"schema": 1}', "its JSON is not the run of a rehearsal"),
                           ("### Starting module EM_SHUTDOWN ###\n", "its level seems to be 1, and a request")):
            done = volad_dev("explain", "-", input=text)
            self.assertEqual((done.returncode, done.stdout, done.stderr.count("\n")), (1, "", 1))
            self.assertRegex(done.stderr, f'there is no shutdown in "-".*{line}')

    def test_the_reason_is_named_by_the_message_file(self):
        messages = self.directory / "texts.xml"
        messages.write_text("<EventMsg><Events><Event ErrorCode='0x0E0003'><Messages lang='en'><Summary>100%n late"
                            "</Summary></Messages></Event></Events></EventMsg>")
        run, shown = self.rehearse("--reason", "3", "--messages", str(messages), "--trace", "1")
        self.assertIn('Shutdown reason: "100%n late"', shown)
        self.assertEqual(run["asked"]["reasonText"], "100%n late")
        self.assertEqual([left["file"] for left in run["left"]], ["left"])

    def test_the_power_switch_property_reaches_the_module(self):
        for settings, asked in (({}, True), ({"powerSwitchNotifications": True}, True),
                                ({"powerSwitchNotifications": False}, False)):
            with self.subTest(settings=settings):
                self.write(**settings)
                _, shown = self.rehearse("--trace", "4")
                self.assertEqual("EM_SHUTDOWN         : Enable Power switch notifications!" in shown, asked)
                value = 'Read module property "PowerSwitchEvent (ON/OFF)" = %d' % asked
                self.assertEqual(value in shown, bool(settings))

    def test_ends_without_a_command(self):
        self.write(shutdownDelay=1)
        for arguments, end in ((["--maintenance", "off"], "gate-refused"), (["--maintenance", "missing"], "gate-refused"),
                               (["--cancel-after", "0.2"], "cancelled"), (["--stop-after", "0.2"], "stopped"),
                               (["--cancel-after", "0.2", "--stop-after", "30"], "cancelled"),
                               (["--cancel-after", "30", "--stop-after", "0.2"], "stopped"),
                               (["--maintenance", "off", "--cancel-after", "9", "--stop-after", "9"], "gate-refused"),
                               (["--cancel-after", "0.2", "--uid", "1000"], "cancelled"),
                               (["--uid", "1000"], "not-permitted")):
            with self.subTest(arguments=arguments):
                run, _ = self.rehearse(*arguments)
                self.assertEqual((run["end"], run["asAsked"]), (end, True))
                self.assertEqual((run["command"], run["job"], run["left"]), (None, None, []))

    def test_an_end_that_is_not_the_asked_one_is_named(self):
        run, shown = self.rehearse("--cancel-after", "30", code=1)
        self.assertEqual((run["asAsked"], run["end"]), (False, "command"))
        self.assertIn("which is not what was asked", shown)

    def test_a_scheduled_power_off_is_raised_by_the_module(self):
        late = time.localtime().tm_sec > 50  # a minute that the module may not see any more
        minute = time.localtime(time.time() + 60 * late)
        run, shown = self.rehearse("--schedule", time.strftime("%H:%M", minute), "--trace", "1")
        self.assertEqual((run["end"], run["command"]["line"]), ("command", "/sbin/poweroff"))
        self.assertEqual((run["asked"]["by"], run["asked"]["reason"]), ("schedule", 3))
        self.assertIn("reached - Request system shutdown!", shown)

    def test_what_never_came_has_no_phases(self):
        file = self.directory / "run.json"
        child = subprocess.Popen(self.command("--schedule", "in:2m", "--trace", "1", "--json", str(file)), text=True,
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        for line in child.stdout:
            if "completed successfully" in line:
                break
        child.send_signal(signal.SIGINT)
        child.communicate(timeout=20)
        run = json.loads(file.read_text())
        jsonschema.validate(run, SCHEMA)
        self.assertEqual((child.returncode, run["end"], run["phases"]), (130, "interrupted", []))
        self.assertTrue(run["messages"] and all(-60 < message["at"] <= 0 for message in run["messages"]))

    def test_what_this_machine_would_answer(self):
        tools = self.directory / "tools"
        tools.mkdir()
        words = {"on": "open", "off": "shut", "missing": "without its tool"}
        for answer, choice, end, assumed, here in ((None, "on", "command", "on", "missing"),
                                                   (None, "here", "gate-refused", "missing", "missing"),
                                                   ("Enabled", "on", "command", "on", "not-asked"),
                                                   ("Enabled", "here", "command", "on", "enabled"),
                                                   ("Disabled", "here", "gate-refused", "off", "disabled")):
            with self.subTest(answer=answer, choice=choice):
                if answer:
                    tool = tools / "localcli"
                    tool.write_text(f'#!/bin/sh\n[ "$*" = "system maintenanceMode get" ] && echo {answer}\n')
                    tool.chmod(0o755)
                run, shown = self.rehearse("--maintenance", choice, env={"PATH": f"{tools}:/usr/bin"},
                                           code=int(choice == "here" and end != "command"))
                self.assertEqual((run["end"], run["gate"]), (end, {"assumed": assumed, "here": here}))
                contradicted = "gate-missing-here" in {warning["code"] for warning in run["warnings"]}
                self.assertEqual(contradicted, answer is None and choice == "on")
                self.assertIn(f"  gate       assumed {words[assumed]}; here: ", shown)
        run, _ = self.rehearse(env={"PATH": ":/usr/bin"}, cwd=tools)  # an empty part is the working directory
        self.assertEqual(run["gate"]["here"], "not-asked")
        run, _ = self.rehearse(env={}, cwd=tools)  # none is what a shell takes instead
        self.assertEqual(run["gate"]["here"], "missing")
        tool.write_text("#!/bin/bash\nset -e\nprintf 'no\033[2J\n%09999d' 1 > /dev/stderr; echo Enabled\n")
        run, shown = self.rehearse("--maintenance", "here", env={"PATH": f"{tools}:/usr/bin"})
        self.assertEqual((run["gate"]["here"], self.warnings(run)), ("enabled", {"gate-tool-complained"}))
        self.assertIn("the maintenance tool complained: no\\x1B[2J\n", shown)


TYPING_JOB = """#!/usr/bin/python3
import os
opened = []
for place in ("/dev/stdin", "/dev/stdout", "/dev/stderr", "/dev/tty"):
    try:
        if os.isatty(os.open(place, os.O_RDWR | os.O_NOCTTY)):
            opened.append(place)
    except OSError:
        pass
print("opened:", opened)
"""


class Ways(Rehearsal):
    def test_a_signal_stops_the_module_and_ends_with_130(self):
        self.write(shutdownDelay=50)
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number=number):
                child = subprocess.Popen(self.command("--trace", "3"), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                         text=True)
                for line in child.stdout:
                    if "Start shutdown delay" in line:
                        break
                child.send_signal(number)
                rest, told = child.communicate(timeout=20)
                self.assertEqual(child.returncode, 130)
                self.assertIn("Module destroyed successfully", rest)
                self.assertIn("Verdict: interrupted", rest)
                self.assertIn("interrupted, stopping the module; once more ends all of it at once", told)

    def test_a_second_signal_ends_all_at_once_and_leaves_nothing(self):
        self.write_job("exec sleep 50")
        file = self.directory / "run.json"
        file.write_text("old")
        before = sorted(self.directory.iterdir())
        child = subprocess.Popen(self.command("--json", str(file)), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        for line in child.stdout:
            if "job settings" in line:
                break
        child.send_signal(signal.SIGTERM)
        child.stderr.readline()
        child.send_signal(signal.SIGTERM)
        child.communicate(timeout=20)
        self.assertEqual((child.returncode, file.read_text(), sorted(self.directory.iterdir())),
                         (-signal.SIGTERM, "old", before))

    def on_a_terminal(self, *arguments: str, **environment: str) -> tuple[int, int]:
        """Like an operator's shell: the process, and the other end of the terminal that is its own."""
        child, terminal = pty.fork()
        if child == 0:
            termios.tcsetwinsize(0, (24, 60))
            os.execve(VOLAD_DEV, self.command(*arguments), {"TERM": "xterm", "PATH": "/usr/bin"} | environment)
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

    def test_a_terminal_sees_the_delay_and_the_job_counted_and_a_first_interrupt_key_waits_for_the_job(self):
        self.write_job("sleep 2", timeout=30)
        self.write(shutdownDelay=1, job={"name": "{here}/job.sh", "timeout": 30})
        child, terminal = self.on_a_terminal()
        early = self.shown(terminal, until=b"s of at most 30 s")
        self.assertIn(b"s left of 1 s", early)
        early += self.shown(terminal, until=b"\033[K")
        self.assertEqual(len(re.search(rb"  job [^\r\n\033]* of at most [^\r\033]*", early)[0]), 59, early)  # one more would wrap
        os.write(terminal, b"\x03")
        rest = self.shown(terminal)
        self.assertIn(b"waiting for the job, at most ", rest)
        self.assertIn(b"Verdict: ", rest)
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 130)

    def test_a_job_has_no_terminal_to_type_into(self):
        self.write_job(TYPING_JOB)
        file = self.directory / "run.json"
        child, terminal = self.on_a_terminal("--json", str(file))
        self.shown(terminal)
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 0)
        self.assertEqual(json.loads(file.read_text())["job"]["output"], ["opened: []"])

    def test_plain_lines_where_they_are_wished_and_one_screen_of_them(self):
        self.write_job("for each in 1 2 3 4 5 6 7; do text=$(printf '%0190d' $each); touch $VOLAD_SCRATCH/$text\n"
                       "printf \"$text\\r\\377\\n\"; done")
        child, terminal = self.on_a_terminal(NO_COLOR="1")
        shown = self.shown(terminal)
        self.assertNotIn(b"\x1b", shown)
        rows = [-(-max(1, len(line)) // 60) for line in shown.decode().splitlines()]
        self.assertLess(sum(rows), 24 + 3, shown)  # three of the warnings' wrap at 60 columns
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 0)

    def test_a_reader_that_goes_away_costs_no_orderly_end(self):
        read, write = os.pipe()
        os.close(read)
        file = self.directory / "run.json"
        done = subprocess.run(self.command("--json", str(file)), stdout=write, stderr=subprocess.PIPE, timeout=30)
        os.close(write)
        self.assertEqual((done.returncode, json.loads(file.read_text())["end"]), (1, "command"))

    def test_settings_that_do_not_do(self):
        for text, verb, told in (("[" * 200000, "rehearse", ""), ("{}", "job", "there is no job in these settings")):
            self.settings.write_text(text)
            done = self.run_tool(verb=verb)
            self.assertEqual((done.returncode, done.stdout), (2, ""))
            self.assertIn(told, done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
