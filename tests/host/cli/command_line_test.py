"""command_line_test.py VOLAD_DEV: what the tool answers to wrong command lines, its help, and output that is lost."""

import os
import pathlib
import re
import sys
import unittest

from tool_rig import ToolTest, volad_dev

# Arguments, and the line on standard error behind "volad-dev: ".
WRONG = (
    ("profile", "profile needs a verb: get, set, delete, list; see volad-dev profile --help"),
    ("reherse off", 'there is no verb "reherse"; did you mean "rehearse"?'),
    ("sideways", 'there is no verb "sideways"; see volad-dev --help'),
    ("registry lst", 'registry has no verb "lst"; did you mean "list"?'),
    ("list", 'there is no verb "list"; it belongs to messages, profile, registry; see volad-dev --help'),
    ("rehearse --setings x", 'rehearse has no option "--setings"; did you mean "--settings"?'),
    ("rehearse --canc 1", 'rehearse has no option "--canc"; did you mean "--cancel-after"?'),
    ("check --inside", 'check has no option "--inside"; see volad-dev check --help'),
    ("check --schedule x", 'check has no option "--schedule"; it belongs to rehearse; see volad-dev check --help'),
    ("registry set --json x", 'registry set has no option "--json"; an argument that begins with "-" goes behind "--"'),
    ("check --dir", "--dir needs a value: DIR; see volad-dev check --help"),
    ("check --dir --json x", "--dir needs a value: DIR; see volad-dev check --help"),
    ("check --dir / --dir=/", "--dir is given twice"),
    ("check --dir /no", '--dir: there is no directory "/no"'),
    ("check --dir /dev/null", '--dir: "/dev/null" is no directory'),
    ("check --root /no", '--root: there is no directory "/no"'),
    ("check --settings no", '--settings: there is no file "no"'),
    ("check --cwd srv", '--cwd must be an absolute path, not "srv"'),
    ("check --cwd /no", '--cwd: there is no directory "/no"'),
    ("check --root /usr --cwd /usr", '--cwd: there is no directory "/usr" in /usr'),
    ("drive --verbs /etc/passwd", "--verbs goes without a script"),
    ("check --dir / --show", "--dir goes with --json only"),
    ("check x", '"x" is one argument too many for check; see volad-dev check --help'),
    ("check -- --dir", '"--dir" is one argument too many for check; see volad-dev check --help'),
    ("registry get A", "registry get needs a NAME; see volad-dev registry get --help"),
    ("registry get A B --raw=1", "--raw takes no value"),
    ("registry set A B 4 x", 'TYPE must be string, expand, binary or dword, not "4"'),
    ("rehearse o\nf\x1b", 'target must be off, reset or halt, not "o\\nf\\x1B"'),
    ("sandbox --maintenance 1 true", '--maintenance must be on, off or missing, not "1"'),
    ("rehearse --reason 256", '--reason must be a whole number from 0 to 255, not "256"'),
    ("rehearse --stop-after nan", '--stop-after must be a number of seconds from 0 to 86400, not "nan"'),
    ("rehearse --stop-after -1", '--stop-after must be a number of seconds from 0 to 86400, not "-1"'),
    ("rehearse --stop-after 86401", '--stop-after must be a number of seconds from 0 to 86400, not "86401"'),
    ("rehearse --settings /", '--settings: "/" is no file'),
    ("rehearse --settings no", '--settings: there is no file "no"'),
    ("sandbox --bind no -- true", '--bind: there is no file or directory "no"'),
    ("rehearse --trace 6", '--trace must be a whole number from 0 to 5, not "6"'),
    ("rehearse --schedule 24:00", '--schedule must be HH:MM, or in:Nm with 1 to 1439 minutes, not "24:00"'),
    ("rehearse reset --schedule in:1m", "--schedule goes with off only: a schedule of the host's powers off"),
    ("rehearse --reason 5 --schedule in:1m", "--reason goes with a request only: a scheduled power-off has reason 3"),
    ("rehearse --json ", '--json must be a file or -, not ""'),
    ("rehearse --maintenance 0", '--maintenance must be on, off, missing or here, not "0"'),
    ("drive no", 'there is no script "no"'),
    ("drive /", '"/" is no script'),
    ("sandbox", "sandbox needs a command; see volad-dev sandbox --help"),
)


class CommandLine(ToolTest):
    maxDiff = None  # of the help

    def test_wrong_usage_is_one_sentence(self):
        for arguments, line in WRONG:
            done = volad_dev(*arguments.split(" "))
            self.assertEqual((done.returncode, done.stdout, done.stderr), (2, "", f"volad-dev: {line}\n"), arguments)

    def test_without_a_verb_all_are_named(self):
        done = volad_dev()
        self.assertEqual((done.returncode, done.stdout, done.stderr.count("\n")), (2, "", 1))
        self.assertRegex(done.stderr, "^volad-dev: there must be a verb: .*, registry, check, explain, timeline; see volad-dev --help$")

    def test_the_options_end_where_a_command_begins(self):
        for arguments in (("echo", "--bind", "--", "[a,b]", "-h"), ("--", "echo", "--bind", "--", "[a,b]", "-h")):
            done = volad_dev("sandbox", *arguments)
            self.assertEqual((done.returncode, done.stdout), (0, "--bind -- [a,b] -h\n"), done.stderr)

    def test_each_help_fits_on_a_screen_and_is_the_agreed_one(self):
        verbs, seen, said = [()], [], volad_dev("drive", "--verbs").stdout
        for verb in verbs:
            done = volad_dev(*verb, "--help", "--nonsense")
            lines = done.stdout.splitlines()
            self.assertEqual((done.returncode, done.stderr), (0, ""), verb)
            self.assertTrue(lines[0].startswith(" ".join(("Usage: volad-dev", *verb))), lines[0])
            self.assertLessEqual(len(lines), 23, verb)  # and the shell's own line
            self.assertLessEqual(max(map(len, lines)), 80, done.stdout)
            self.assertEqual(lines, [line.rstrip() for line in lines])
            said += "\n" + done.stdout
            seen += [(verb, name) for name in re.findall(r"^  (\S+)", done.stdout, re.MULTILINE)]
            if "VERB" in lines[0]:
                verbs += [(*verb, name) for of, name in seen if of == verb and not name.startswith("-")]
        self.assertGreater(len(verbs), 20, verbs)
        for entry in ((("registry", "get"), "--dir"), (("registry", "set"), "TYPE"), (("rehearse",), "--json")):
            self.assertIn(entry, seen)
        self.assertNotIn((("rehearse",), "--inside"), seen)
        self.assertEqual(volad_dev("sandbox", "-h").stdout, volad_dev("sandbox", "--help").stdout)
        self.assertEqual(said, pathlib.Path(__file__).with_name("help.txt").read_text())

    def test_lost_output_is_told(self):
        (self.directory / "registry").write_text("[HKEY_USERS]\nText=s=x\nlost\n\n\n")
        (self.directory / "p.ini").write_text("[S]\nK=1\n")
        ours = ("--dir", str(self.directory))
        for arguments in (("--version",), ("--help",), ("registry", "set", "-h"), ("drive", "--verbs"),
                          ("registry", "list", *ours), ("registry", "export", *ours), ("check", *ours), ("check", *ours, "--json", "-"),
                          ("check", *ours, "--json", "/dev/stdout"), ("profile", "list", str(self.directory / "p.ini"))):
            reader, writer = os.pipe()
            os.close(reader)
            with open("/dev/full", "w") as full, open(writer, "w") as nobody:
                for options, error in (({"stdout": full}, "volad-dev: standard output: No space left on device\n"),
                                       ({"stdout": nobody}, ""),
                                       ({"stdout": None, "preexec_fn": lambda: os.close(1)},
                                        "volad-dev: standard output: Bad file descriptor\n")):
                    done = volad_dev(*arguments, **options)
                    self.assertEqual((done.returncode, done.stderr), (1, error), (arguments, options))
                self.assertEqual(volad_dev(*arguments, stdout=full, stderr=full).returncode, 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
