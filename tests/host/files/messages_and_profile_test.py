"""messages_and_profile_test.py VOLAD_DEV EXAMPLE: `volad-dev messages` and `volad-dev profile` by output and exit code."""

import json
import shutil
import sys
import unittest

from tool_rig import ToolTest

EXAMPLE = sys.argv[2]


class MessagesAndProfile(ToolTest):
    def test_profile(self):
        steps = [
            (("get", "p.ini", "S", "K"), (1, "", 1)),
            (("set", "p.ini", "S", "K", "1"), (0, "", 0)),
            (("set", "p.ini", "S", "E", ""), (0, "", 0)),
            (("set", "p.ini", "T", "K", "two words"), (0, "", 0)),
            (("get", "p.ini", "T", "K"), (0, "two words\n", 0)),
            (("get", "p.ini", "T", "N"), (1, "", 1)),
            (("get", "p.ini", "S", "E"), (0, "\n", 0)),
            (("get", "p.ini", "T", "N", "--default", "x" * 5000), (0, "x" * 5000 + "\n", 0)),
            (("list", "p.ini"), (0, "S\nT\n", 0)),
            (("list", "p.ini", "S"), (0, "K\nE\n", 0)),
            (("delete", "p.ini", "S", "N"), (1, "", 1)),
            (("delete", "p.ini", "S", "E"), (0, "", 0)),
            (("delete", "p.ini", "S", "K"), (0, "", 0)),
            (("list", "p.ini", "S"), (0, "", 0)),
            (("delete", "p.ini", "S"), (0, "", 0)),
            (("list", "p.ini", "S"), (1, "", 1)),
            (("set", "p.ini", "S]", "K", "1"), (1, "", 1)),
            (("list", "p.ini"), (0, "T\n", 0)),
        ]
        for arguments, expected in steps:
            self.assertEqual(self.answer("profile", *arguments), expected, arguments[:4])

    def test_profile_says_why(self):
        (self.directory / "directory").mkdir()
        (self.directory / "empty.ini").touch()
        for arguments, line in (
                (("list", "empty.ini"), "empty.ini: no section"),
                (("get", "p.ini", "S", "K"), "p.ini: cannot read the file: No such file or directory"),
                (("set", "no/p.ini", "S", "K", "1"), "no/p.ini: cannot find its directory: No such file or directory"),
                (("set", "directory", "S", "K", "1"), "directory: cannot open the file: Is a directory"),
                (("delete", "directory", "S"), "directory: cannot read the file: Operation not supported"),
                (("set", "p.ini", "S", "K;", "a\nb\x1b"),
                 "p.ini: [S] K; = a\\nb\\x1B is not written: it would not read back")):
            self.assertEqual(self.answer("profile", *arguments), (1, "", 1))
            self.assertEqual(self.told, f"volad-dev: {line}\n")

    def test_profile_appends_nothing_behind_the_end_marker(self):
        file = self.directory / "p.ini"
        marked = "[S]\nJ=0\nK=1\n[EndOfFile]\n"
        for content, section, key, written in (
                (marked, "T", "K", None),  # a new section
                (marked.replace("EndOfFile", "endoffile"), "T", "K", None),
                (marked + "; see [1\n", "T", "K", None),
                (marked + "; [x]\n", "T", "K", None),
                (marked, "EndOfFile", "K", None),  # a new key of the marker's own
                ("[S]\nK=1\n; [EndOfFile]\n", "S", "N", None),  # which counts in a comment
                (marked, "S", "K", "[S]\nJ=0\nK=2\n[EndOfFile]\n"),
                (marked, "S", "N", "[S]\nJ=0\nK=1\nN=2\n[EndOfFile]\n"),
                (marked + "[S]\n", "S", "N", "[S]\nJ=0\nK=1\nN=2\n[EndOfFile]\n[S]\n"),
                (marked + "X=1\nK=1\n", "EndOfFile", "K", marked + "X=1\nK=2\n"),
                ("[EndOfFile]\n[S]\n", "S", "K", "[EndOfFile]\n[S]\nK=2\n")):
            with self.subTest(content=content, section=section, key=key):
                file.write_text(content)
                before = file.stat()
                done = self.answer("profile", "set", "p.ini", section, key, "2")
                self.assertEqual(done, (1, "", 1) if written is None else (0, "", 0))
                self.assertEqual(file.read_text(), written or content)
                if written is None:
                    self.assertEqual((file.stat().st_ino, file.stat().st_mtime_ns), (before.st_ino, before.st_mtime_ns))
                    self.assertIn(f"p.ini: [{section}] {key} is not written: it would stand behind the last header "
                                  "[EndOfFile]", self.told)
        self.assertEqual(self.answer("profile", "delete", "p.ini", "EndOfFile"), (0, "", 0))

    def test_messages(self):
        self.assertEqual(self.answer("messages", "lookup", "0x0E0001"), (1, "", 1))
        shutil.copy(EXAMPLE, self.directory / "EVENTMSG.XML")
        self.assertEqual(self.answer("messages", "lookup", "0x0e0001"), (0, "The power switch was pressed\n", 0))
        self.assertEqual(self.answer("messages", "lookup", "0x0E0001", "--lang", "de"),
                         (0, "Der Netzschalter wurde gedrückt\n", 0))
        self.assertEqual(self.answer("messages", "lookup", "0x0E0001", "--index", "1"), (1, "", 1))
        self.assertEqual(self.answer("messages", "lookup", "0x0E0028"), (1, "", 1))
        for form in ("0xE0001", "0XE0001", "0x00e0001"):  # as a trace may show it
            self.assertEqual(self.answer("messages", "lookup", form), (0, "The power switch was pressed\n", 0))
        code, text, errors = self.answer("messages", "list")
        self.assertEqual((code, text.count("\n"), errors), (0, 112, 0))
        self.assertIn("\n0x0E0001 en The power switch was pressed\n", text)
        zero = (self.directory / "EVENTMSG.XML").read_text().replace('"0x0E0001"', '"0x000000"')
        (self.directory / "EVENTMSG.XML").write_text(zero)
        for number in ("0x", "0x100000000", "0x0E0001"):  # none of them is zero
            self.assertEqual(self.answer("messages", "lookup", number), (1, "", 1))

    def test_check(self):
        self.assertEqual(self.answer("messages", "check", EXAMPLE)[0], 0)
        file = self.directory / "bad.xml"
        english = "<Messages lang='EN'><Summary>x</Summary></Messages>"
        for content, codes in (
                (f"<Event ErrorCode='0xA'>{english}</Event>", []),
                (f"<Event ErrorCode='0xA'>{english}</Event><Event ErrorCode='0xa'/>", ["code-twice"]),
                ("<Event ErrorCode='0xA'/><Event ErrorCode='0xB'/>", 2 * ["no-english-summary"]),
                ("<Event ErrorCode='0xA'><Messages lang='en'/>" + english + "</Event>", ["no-english-summary"]),
                ("<Event/>", ["no-code"]), ("", ["no-events"]), ("\udcfc", ["not-loaded"])):
            with self.subTest(content=content):
                file.write_text(f"<EventMsg><Events>{content}</Events></EventMsg>", errors="surrogateescape")
                code, text, errors = self.answer("messages", "check", str(file), "--json", "-")
                self.assertEqual((code, errors), (1 if codes else 0, 0))
                self.assertEqual([row["code"] for row in json.loads(text)["findings"]], codes)
                self.assertEqual(self.answer("messages", "check", str(file))[1].count("\n"), max(len(codes), 1))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
