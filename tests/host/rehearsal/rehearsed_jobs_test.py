"""rehearsed_jobs_test.py VOLAD_DEV MODULE [CLASS]: what becomes of a job in a rehearsal of the real module."""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from rehearsal_rig import Rehearsal

MODULES_PROCESS = "p=/proc/$(sed -n 's/^PPid:.//p' /proc/$PPID/status)"  # a job's parent is the shell


class Jobs(Rehearsal):
    def test_what_became_of_the_job(self):
        for script, expected, strict in (("exit 0", {"exitCode": 0}, 0), ("exit 3", {"exitCode": 3}, 1),
                                         ("kill -9 $$", {"exitCode": 137}, 1),
                                         ("#!/no/such/interpreter", {"started": False, "exitCode": 127}, 1)):
            with self.subTest(script=script):
                self.write_job(script)
                run, _ = self.rehearse("--strict", code=strict)
                job = {"started": True, "exitCode": None, "signal": None, "timedOut": False} | expected
                self.assertEqual({key: run["job"][key] for key in job}, job)
                self.assertEqual(run["job"]["directory"], str(self.directory))
                self.assertEqual((run["end"], run["asAsked"]), ("command", not strict))
                done = self.run_tool(verb="job")
                self.assertEqual((done.returncode, done.stderr), (strict, ""))
                self.assertIn(f"exit code {expected['exitCode']}", done.stdout)

    def test_a_job_that_is_no_program_a_signal_of_the_shell_and_a_limit(self):
        plain = self.directory / "plain"
        plain.write_text("")
        long = "true " + 300 * "x"
        for name, limit, expected in ((str(plain), 30, {"started": False, "exitCode": 126}),
                                      ("kill -9 $$", 30, {"exitCode": None, "signal": 9}),
                                      ("sleep 9", 1, {"timedOut": True, "exitCode": None, "directory": "/"}),
                                      ("sleep 9", 0, {"started": None, "timedOut": False, "exitCode": None}),
                                      (long, 30, {"exitCode": 0, "command": long[:259]})):
            with self.subTest(name=name):
                self.write(job={"name": name, "timeout": limit})
                run, _ = self.rehearse()
                self.assertEqual({key: run["job"][key] for key in expected}, expected)
                self.assertEqual((run["end"], run["asAsked"]), ("command", True))
                self.assertAlmostEqual(run["job"]["seconds"], limit == 1, delta=20)
                self.assertEqual("job-not-waited-for" in self.warnings(run), limit == 0)

    def test_the_settings_reach_the_module_as_they_are(self):
        other = self.directory / "other"
        other.mkdir()
        missing, hidden = "job-directory-missing", "job-directory-not-shown"
        for job, directory, warning in (({"name": "pwd"}, "/", set()), ({"name": "{here}/job.sh x/y"}, "/", {missing}),
                                        ({"name": "pwd", "directory": "{here}/other"}, str(other), set()),
                                        ({"name": "pwd", "directory": "other"}, "/", {missing}),
                                        ({"name": "pwd", "directory": "/var"}, "/", {hidden}),
                                        ({"name": "pwd", "directory": "{here}/none"}, "/", {missing})):
            with self.subTest(job=job):
                self.write(job=job)
                run, shown = self.rehearse()
                self.assertEqual((run["job"]["command"], run["job"]["directory"]),
                                 (job["name"].replace("{here}", str(self.directory)), directory))
                if job["name"] == "pwd":
                    self.assertEqual(run["job"]["output"], [directory])
                self.assertEqual(self.warnings(run), warning)

    def test_settings_behind_a_link_or_dots_find_their_job(self):
        real, other = self.directory / "real", self.directory / "other"
        real.mkdir()
        other.mkdir()
        self.write_job("echo there")
        for name in ("job.sh", "settings.json"):
            (self.directory / name).rename(real / name)
        (other / "link").symlink_to(real)
        for directory, here in ((other / "../real", real), (other / "link/../real", real), (other / "link", other / "link")):
            with self.subTest(directory=directory):
                self.settings = directory / "settings.json"
                run, _ = self.rehearse()
                self.assertEqual((run["job"]["output"], run["job"]["command"], self.warnings(run)),
                                 (["there"], str(here / "job.sh"), set()))

    def test_the_jobs_last_lines_are_kept_and_shown_escaped(self):
        self.write_job("seq 2000; printf 'to \\033[31mred\\377\\n' >&2; printf end")
        run, shown = self.rehearse()
        self.assertEqual(run["job"]["output"][-3:], ["2000", "to \x1b[31mred\\xFF", "end"])
        self.assertEqual(len(run["job"]["output"]), 51)
        self.assertIn("  printed    2002 lines, of which the last\n", shown)
        self.assertIn("    | to \\x1B[31mred\\xFF\n    | end\n", shown)

    def test_the_jobs_own_interpreter_and_what_a_link_leads_to_are_found(self):
        with tempfile.TemporaryDirectory() as elsewhere:
            tool = pathlib.Path(elsewhere, "tool/bin/sh")
            tool.parent.mkdir(parents=True)
            shutil.copy("/bin/sh", tool)
            script = pathlib.Path(elsewhere, "real.sh")
            script.write_text(f"#!{tool} -e\necho found\n")
            script.chmod(0o755)
            os.symlink(script, self.directory / "link.sh")
            for job in {"name": "{here}/link.sh"}, {"name": "./link.sh", "directory": "{here}"}:
                self.write(job=job)
                run, _ = self.rehearse()
                self.assertEqual(run["job"]["output"], ["found"], job)

    def test_what_a_text_names_here_is_found_wherever_it_stands_in_it(self):
        self.write_job("echo found $1")
        (self.directory / "other/bin").mkdir(parents=True)
        shutil.copy("/bin/sh", self.directory / "other/bin/own")
        for name, line in (("nest.sh", "#!../other/bin/own"), ("twice.sh", f"#!{self.directory}/nest.sh")):
            (self.directory / name).write_text(f"{line}\n:\necho found\n")
            (self.directory / name).chmod(0o755)
        for name, directory in (("sh {here}/job.sh", "/"), ('"{here}/job.sh" --all', "/etc"), ("cd {here} && ./job.sh", "/"),
                                ("./job.sh", "{here}/other/.."), ("./../nest.sh", "{here}/other/."),
                                ("{here}/twice.sh", "{here}/other")):
            with self.subTest(name=name, directory=directory):
                self.write(job={"name": name, "directory": directory})
                run, _ = self.rehearse()
                self.assertEqual([line.split()[0] for line in run["job"]["output"]], ["found"])
                self.assertEqual(self.warnings(run), set())
        self.write(job={"name": "./job.sh"})  # in the root directory, as of a service
        run, _ = self.rehearse()
        self.assertEqual((run["job"]["exitCode"], run["job"]["directory"]), (127, "/"))

    def test_a_job_finds_what_a_service_would(self):
        self.write_job("readlink /proc/$$/fd/0; grep -E 'Sig(Blk|Ign)' /proc/self/status; env | grep -c LEVEL")
        ignoring = lambda: [signal.signal(number, signal.SIG_IGN) for number in (signal.SIGPIPE, signal.SIGUSR1)]
        run, _ = self.rehearse(preexec_fn=ignoring)
        self.assertEqual(run["job"]["output"], ["/dev/null", "SigBlk:\t" + "0" * 16, "SigIgn:\t" + "0" * 16, "0"])


class HostileJobs(Rehearsal):
    def test_what_is_left_behind_costs_and_forges_nothing(self):
        self.write_job('cd "$VOLAD_SCRATCH"; ln -s . loop; mkfifo pipe; mkdir -p a/b; ln -s .. a/b/up; echo > "$(printf '
                       "'x\\nVerdict: y\\033[m')\"; mkdir shut; chmod 0 shut; echo '{garbled' >> command-record.jsonl")
        run, shown = self.rehearse()
        self.assertEqual([left["file"] for left in run["left"]], ["x\nVerdict: y\x1b[m"])
        self.assertEqual(shown.count("\nVerdict: "), 1)
        self.assertIn("left       x\\nVerdict: y\\x1B[m (1 bytes)", shown)
        self.assertEqual(self.warnings(run), {"record-garbled"})

    def test_a_command_of_the_jobs_is_not_the_modules(self):
        for script in "/sbin/reboot -f; (sleep 0.5; /sbin/halt) &", "/sbin/poweroff; rm $VOLAD_SCRATCH/*":
            self.write_job(script)
            run, _ = self.rehearse(code=1)
            self.assertEqual((run["end"], run["command"]["line"], run["asAsked"]), ("command", "/sbin/poweroff", False))
            self.assertIn("command-by-job", self.warnings(run))

    def test_the_service_manager_ends_the_system_by_some_of_its_verbs_only(self):
        other, ending = (0, "service-manager-not-real"), (1, "command-by-job")
        for words, (code, warning) in (("systemctl stop app.service", other), ("systemctl -q is-active poweroff", other),
                                       ("systemctl restart app reload", other), ("systemctl --message bye reboot", ending),
                                       ("systemctl isolate other", ending), ("systemctl start systemd-halt.service", ending),
                                       ("systemctl start runlevel6.target", ending),
                                       ("systemctl --message status reboot", ending),
                                       ("systemctl kill -s SIGRTMIN+4 init.scope", ending),
                                       ("systemctl -p Jobs show reboot.target", other),
                                       ("exec -a halt systemctl -f", ending),
                                       ("exec -a systemctl /sbin/poweroff status", ending)):
            with self.subTest(words=words):
                self.write(job={"name": f"bash -c '{words}'", "directory": "/"})
                run, _ = self.rehearse("--systemctl", code=code)
                self.assertEqual((run["asAsked"], self.warnings(run)), (not code, {warning}))

    def test_the_process_that_holds_the_module_cannot_be_entered(self):
        self.write_job(f"{MODULES_PROCESS}; echo > $p/fd/11; cat $p/environ; ls -d $p | wc -l")
        run, _ = self.rehearse()
        self.assertEqual([line.rsplit(": ", 1)[-1] for line in run["job"]["output"]], ["Permission denied"] * 2 + ["1"])

    def test_a_forged_record_is_not_the_modules_and_a_lost_one_is_told(self):
        forged = {"name": "/sbin/poweroff", "file": "/sbin/poweroff", "arguments": [], "time": 1, "monotonic": 1e300, "directory": "/forged",
                  "blocked": "", "descriptors": {}, "pid": 99}
        for lock, warning in (("", "command-by-job"), ("; chmod 444 $f", "command-by-job"),
                              ("; : > $f; chmod 444 $f", "command-not-recorded")):
            with self.subTest(lock=lock):
                self.write_job(f"""{MODULES_PROCESS}; f=$VOLAD_SCRATCH/command-record.jsonl; rm -f $f
                    echo '{json.dumps(forged)[:-1]}, "ancestors": ['${{p#/proc/}}', 1]}}' > $f{lock}""")
                run, _ = self.rehearse(code=1)
                self.assertEqual((run["end"], run["asAsked"]), ("command", False))
                self.assertNotEqual((run["command"] or {"directory": ""})["directory"], "/forged")
                self.assertIn(warning, self.warnings(run))

    def test_what_is_in_a_scratch_directory_already_tells_nothing(self):
        scratch = self.directory / "scratch"
        scratch.mkdir()
        for _ in range(2):
            run, _ = self.rehearse("--scratch", str(scratch))
            self.assertEqual((run["end"], [left["file"] for left in run["left"]]), ("command", ["left"]))
        self.assertEqual([path.name for path in scratch.iterdir()], ["left"])
        done = self.run_tool("--scratch", str(scratch), "--json", str(scratch / "run.json"))
        self.assertEqual((done.returncode, "--scratch" in done.stderr), (2, True))

    def test_a_module_that_was_stopped_is_ended_from_outside(self):
        self.write_job(f"{MODULES_PROCESS}; kill -STOP ${{p#/proc/}}", timeout=1)
        child = subprocess.Popen(self.command(), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        for line in child.stdout:
            if "job settings" in line:
                break
        time.sleep(0.5)  # the stop itself tells nobody
        child.send_signal(signal.SIGTERM)
        shown, _ = child.communicate(timeout=45)
        self.assertEqual((child.returncode, "Verdict: interrupted" in shown), (130, True))

    def test_a_killed_module_is_told_with_what_was_seen(self):
        # A while after its start, of which nobody tells it that the launcher has heard.
        self.write_job(f"{MODULES_PROCESS}; sleep 0.5; kill -9 ${{p#/proc/}}")
        run, _ = self.rehearse(code=130)
        self.assertEqual((run["end"], run["asAsked"], run["command"]), ("interrupted", False, None))
        self.assertEqual((run["phases"][-1]["name"], self.warnings(run)), ("job", {"module-process-ended"}))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
