"""registry_commands_test.py VOLAD_DEV: `volad-dev registry` and `volad-dev check` by output and exit code."""

import concurrent.futures
import json
import pathlib
import sys
import unittest

from tool_rig import ToolTest

KEY = "HKEY_LOCAL_MACHINE/SOFTWARE/A"
SETUP = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Aldmere\\Management\\Host Warden\\Setup"
TREE = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[A]\nCount=d=-1\nData=b=0a ff 03 \nPath=es=%PATH%%%\nText=s=two words\n" + 4 * "\n"


class RegistryCommands(ToolTest):
    def setUp(self):
        super().setUp()
        self.main = self.directory / "registry"

    def run_tool(self, *arguments: str) -> tuple[int, str, int]:
        return self.answer(*arguments, "--dir", str(self.directory), env={"PATH": "/bin"})

    def registry(self, *arguments: str) -> tuple[int, str, int]:
        return self.run_tool("registry", *arguments)

    def findings(self, *command: str) -> list[tuple[str, int | None, str]]:
        """File, line and code of each."""
        code, text, errors = self.run_tool(*command, "--json", "-")
        found = json.loads(text)["findings"]
        # A warning alone is no failure of the check of a whole installation.
        counts = found if command[0] == "registry" else [row for row in found if row["severity"] == "error"]
        self.assertEqual((code, errors), (1 if counts else 0, 0))
        return [(pathlib.Path(row["file"]).name, row["line"], row["code"]) for row in found]

    def test_what_is_set_is_read_listed_and_exported(self):
        (self.directory / "registry.new").write_text("left by a save that was cut short")
        for name, kind, value in (("Text", "string", "two words"), ("Path", "expand", "%PATH%%%"),
                                  ("Data", "binary", "0a FF 3"), ("Count", "dword", "0xFFFFFFFF")):
            self.assertEqual(self.registry("set", KEY, name, kind, value), (0, "", 0))
        for arguments, output in (
                (("get", "hkey_local_machine\\SOFTWARE\\A", "Text"), "two words\n"),
                (("get", KEY, "Path"), "/bin%\n"),
                (("get", KEY, "Path", "--raw"), "%PATH%%%\n"),
                (("get", KEY, "Data"), "0a ff 03\n"),
                (("get", KEY, "Count"), "-1\n"),
                (("list",), "[HKEY_LOCAL_MACHINE]\n"),
                (("list", KEY), "Count dword -1\nData binary 0a ff 03\nPath expand %PATH%%%\nText string two words\n"),
                (("list", "HKEY_LOCAL_MACHINE/SOFTWARE"), "[A]\n"), (("export",), TREE), (("check",), "")):
            self.assertEqual(self.registry(*arguments), (0, output, 0), arguments)
        self.assertEqual(self.main.read_text(), TREE)
        self.assertFalse((self.directory / "registry.new").exists())

    def test_what_is_not_there_or_refused_changes_nothing(self):
        self.main.write_text(TREE)
        for arguments in (("get", KEY, "No"), ("get", KEY + "/No", "Text"), ("get", "SOFTWARE/A", "Text"),
                          ("get", "HKEY_LOCAL_MACHINE/SOFTWARE", "A"), ("list", "HKEY_USERS"),
                          ("delete", KEY, "No"), ("delete", KEY, ""), ("delete", KEY + "/Text"),
                          ("delete", "HKEY_LOCAL_MACHINE/SOFTWARE", "A"),
                          ("set", "HKEY_LOCAL_MACHINE/SOFTWARE", "A", "string", "x"),
                          ("set", KEY + "/Text", "N", "string", "x"),
                          ("set", KEY + "/New/a]b", "N", "string", "x"),
                          ("set", KEY + "/New", "a=b", "string", "x"), ("set", KEY + "/New", "", "string", "x"),
                          ("set", KEY + "/New", "N", "string", "a\nb"),
                          ("set", KEY + "/New", "N", "string", "x" * 1019),
                          ("delete", "HKEY_LOCAL_MACHINE"), ("get", KEY, "a\nb\x1b[2J"), ("import", "no-such-file")):
            self.assertEqual(self.registry(*arguments), (1, "", 1), arguments)
            self.assertEqual(self.main.read_text(), TREE)
            self.assertFalse((self.directory / "registry.old").exists(), "nothing was saved")
        for kind, value in (("binary", "0a 100"), ("binary", "0x1"), ("dword", "4294967296"), ("dword", "1x")):
            self.assertEqual(self.registry("set", KEY + "/New", "N", kind, value), (2, "", 1), value)
        self.assertEqual(self.main.read_text(), TREE)

    def test_values_and_keys_are_deleted(self):
        # A tree without any value would not be read again: its backup would.
        self.main.write_text(TREE[:-1] + "[HKEY_USERS]\nText=s=u\n\n\n")
        self.assertEqual(self.registry("delete", KEY, "Text"), (0, "", 0))
        self.assertEqual(self.registry("get", KEY, "Text")[0], 1)
        self.assertEqual(self.registry("delete", "HKEY_LOCAL_MACHINE\\SOFTWARE\\A"), (0, "", 0))
        self.assertEqual(self.registry("list", "HKEY_LOCAL_MACHINE/SOFTWARE"), (0, "", 0))
        self.assertEqual(self.registry("delete", "HKEY_LOCAL_MACHINE", "--yes"), (0, "", 0))
        self.assertEqual(self.registry("list"), (0, "[HKEY_USERS]\n", 0))

    def test_commands_that_run_at_once_lose_nothing(self):
        names = [[f"{writer}.{value}" for value in range(10)] for writer in range(6)]
        with concurrent.futures.ThreadPoolExecutor(len(names)) as writers:
            codes = writers.map(lambda mine: [self.registry("set", KEY, n, "dword", "1")[0] for n in mine], names)
            self.assertEqual(list(codes), [10 * [0]] * 6)
        self.assertEqual(self.registry("list", KEY)[1].count("\n"), 60)

    def test_control_characters_are_shown_escaped(self):
        self.main.write_text("[HKEY_USERS]\na\x1b[2J=s=\r\n[b\x07]\nv=s=\n\n\n\n")
        self.assertEqual(self.registry("list", "HKEY_USERS")[1], "a\\x1B[2J string \\r\n[b\\x07]\n")

    def test_import_replaces_roots_and_takes_whole_files_only(self):
        self.main.write_text(TREE)
        other = self.directory / "other"
        other.write_text("[HKEY_USERS]\nText=s=u\n\n\n")
        self.assertEqual(self.registry("import", "other"), (0, "", 0))
        self.assertEqual(self.main.read_text(), TREE[:-1] + other.read_text())
        other.write_text("[HKEY_LOCAL_MACHINE]\nText=s=m\nlost\n\n\n")
        self.assertEqual(self.registry("import", "other"), (1, "", 1))
        self.assertEqual(self.registry("get", KEY, "Text"), (0, "two words\n", 0))

    def test_what_blocks_a_save_is_told_and_found_beforehand(self):
        def lock_of_others():
            (self.directory / "registry.lock").touch(0o644)

        def link():
            self.main.rename(self.directory / "target")
            self.main.symlink_to("target")

        for block, file, code, step, error in (
                (lock_of_others, "registry.lock", "lock-refused", "the lock file's mode is not 0600", "Operation not permitted"),
                ((self.directory / "registry.lock").mkdir, "registry.lock", "lock-refused", "open the lock file", "Is a directory"),
                (link, "registry", "symbolic-link", "it is a symbolic link", "Too many levels of symbolic links"),
                ((self.directory / "registry.new").mkdir, "registry.new", "name-of-a-directory", "open", "File exists"),
                ((self.directory / "registry.old").mkdir, "registry.old", "name-of-a-directory", "rename to backup", "Is a directory"),
                (self.main.mkdir, "registry", "unreadable", "read the old file", "Operation not supported")):
            for left in self.directory.iterdir():
                left.rmdir() if left.is_dir() and not left.is_symlink() else left.unlink()
            if block != self.main.mkdir:
                self.main.write_text(TREE)
            block()
            with self.subTest(file=file, step=step):
                self.assertIn((file, None, code), self.findings("registry", "check"))
                self.assertEqual(self.registry("set", KEY, "N", "string", "x"), (1, "", 1))
                self.assertIn(f"{step}: {error}\n", self.told)
                self.assertIn(f"{self.directory}/registry", self.told)
        for verb in (("list",), ("get", KEY, "N"), ("export",)):  # what cannot be read is not shown as empty
            self.assertEqual(self.registry(*verb), (1, "", 1))
            self.assertIn("/registry could not be read: read the old file: Operation not supported\n", self.told)

    def test_check_names_file_line_and_reason(self):
        self.main.write_bytes(b"[A]\nText=s=x\0\nlost\nCount=d=\nC=d=1x\nD=b=0g\nE=b=100\n[B] \nText=s=x\nText=s=y\n\n"
                              b"F=s=x\n[F]\n\nG=x\n\n\nH=s=x\n")
        (self.directory / "registry.old").write_bytes(b"[A]\r\nText=s=x\r\n\r\n")
        (self.directory / "registry.default").write_bytes(b"[A]\n" * 513)
        of_main = ((2, "nul", "is cut at a NUL"),
                   (3, "no-equals-sign", 'has no "=" and is skipped'),
                   (4, "no-number", "holds no number and is skipped"),
                   (5, "number-too-large", "holds more than a number of 32 bits, the rest is dropped"),
                   (6, "not-hexadecimal", "is cut at a character that is no hexadecimal digit"),
                   (7, "above-a-byte", "holds a number above a byte, its low byte counts"),
                   (8, "behind-key-name", 'is cut behind the "]" of a key\'s name'),
                   (11, "name-twice", "closes a key that held a name twice, the later one counts"),
                   (15, "no-type", "has no known type behind its name and is skipped"),
                   (16, "name-of-value-and-key",
                    "closes a key that held a name as value and as sub-key, the later one counts"),
                   (18, "behind-the-end", "stands behind the end of the tree and is not read, with all that follows"))
        self.assertEqual(self.run_tool("registry", "check")[1].splitlines()[:len(of_main)],
                         [f"{self.main}:{line}: {text}" for line, _, text in of_main])
        line = f'{self.main}:3: has no "=" and is skipped'
        for command, shown in ((("registry", "check"), line),
                               (("check",), f"error: {line}. Write NAME=TYPE=DATA, or remove the line.")):
            self.assertEqual(self.findings(*command), [
                *(("registry", line, code) for line, code, _ in of_main), ("registry.old", None, "crlf-line-ends"),
                ("registry.default", 513, "too-deep"), ("registry.default", 513, "key-left-open"),
                ("registry.default", None, "no-value")])
            code, text, _ = self.run_tool(*command)
            self.assertEqual((code, text.splitlines()[1]), (1, shown))
            self.assertNotIn("nothing is saved", text)

    def test_check_names_what_line_ends_keep_from_being_saved(self):
        self.main.write_text(TREE, newline="\r\n")
        self.assertEqual(self.registry("set", KEY, "N", "string", "x"), (1, "", 1))
        for command in (("registry", "check"), ("check",)):
            self.assertEqual(self.findings(*command), [("registry", None, "crlf-line-ends")])
            self.assertIn("nothing is saved", self.run_tool(*command)[1])

    def test_check_warns_of_a_binary_root_without_its_separator(self):
        problem = ("registry", None, "binroot-without-separator")
        for root, problems in (("/a/b/", []), ("/a/b", [problem]), ("b", [problem]), ("", [])):
            self.assertEqual(self.registry("set", SETUP, "BinRoot", "string", root), (0, "", 0))
            self.assertEqual(self.findings("check"), problems, root)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
