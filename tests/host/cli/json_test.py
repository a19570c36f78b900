"""json_test.py VOLAD_DEV ROOT: what the tool writes as JSON, and the examples of docs/json.md, against docs/schemas."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

import jsonschema
from tool_rig import ToolTest, volad_dev

ROOT = pathlib.Path(sys.argv[2])
PAGE = (ROOT / "docs/json.md").read_text()
REGISTRY = b"[HKEY_USERS]\n[K]\nB=b=0a ff \nD=d=-1\nE=es=%HOME%\n\xffS=s=\xfc\x1b\n\nlost\n\n\n"
STORIES = str(ROOT / "tests/host/story/stories.trace")
KEY = "HKEY_USERS/K"

# Shape, exit code, arguments, run in a directory with a registry and a message file.
OUTPUTS = (
    ("findings", 1, ("check", "--dir", ".")),
    ("findings", 1, ("check", "--root", ".", "--settings", "settings.json")),
    ("configuration", 0, ("check", "--show", "--root", ".", "--settings", "settings.json")),
    ("findings", 1, ("registry", "check", "--dir", ".")),
    ("findings", 0, ("messages", "check", "EVENTMSG.XML")),
    ("findings", 1, ("messages", "check", "registry")),
    ("registry-list", 0, ("registry", "list", "--dir", ".")),
    ("registry-list", 0, ("registry", "list", KEY, "--dir", ".")),
    *(("registry-get", 0, ("registry", "get", KEY, name, "--dir", ".")) for name in "BDE"),
    ("messages-list", 0, ("messages", "list")),
    ("messages-lookup", 0, ("messages", "lookup", "0xE0001")),
    ("run", 0, ("rehearse", "--settings", "settings.json", "--trace", "5")),
    ("runs", 0, ("explain", STORIES)),
    ("runs", 0, ("explain", "--all", STORIES)),
    ("trace-events", 0, ("timeline", str(ROOT / "examples/rehearsal.json"))),
    ("job", 1, ("job", "--settings", "settings.json")),
)


def schema(shape: str) -> dict:
    return json.loads((ROOT / f"docs/schemas/{shape}.schema.json").read_text())


class Json(ToolTest):
    def setUp(self):
        super().setUp()
        (self.directory / "registry").write_bytes(REGISTRY)
        shutil.copy(ROOT / "examples/EVENTMSG.XML", self.directory)
        (self.directory / "settings.json").write_text('{"shutdownDelay": 0, "job": {"name": "printf \\\\377; exit 3"}}')

    def run_tool(self, *arguments: str, **options) -> subprocess.CompletedProcess:
        return volad_dev(*arguments, cwd=self.directory, **options)

    def test_outputs_have_their_shape(self):
        for shape, code, arguments in OUTPUTS:
            with self.subTest(arguments=arguments):
                option = "--trace-events" if shape == "trace-events" else "--json"
                alone = self.run_tool(*arguments, option, "-")
                beside = self.run_tool(*arguments, option, "out.json")
                self.assertEqual((alone.returncode, beside.returncode, alone.stderr), (code, code, ""))
                self.assertNotIn('"schema"', beside.stdout)
                for text in (alone.stdout, (self.directory / "out.json").read_text()):
                    jsonschema.validate(json.loads(text), schema(shape))

    def test_values_and_bytes_that_are_no_text(self):
        items = json.loads(self.run_tool("registry", "list", KEY, "--dir", ".", "--json", "-").stdout)["items"]
        self.assertEqual([tuple(item.values()) for item in items],
                         [("B", "binary", "0a ff"), ("D", "dword", -1), ("E", "expand", "%HOME%"),
                          ("\\xFFS", "string", "\\xFC\x1b")])

    def test_the_file_is_opened_before_and_replaced_behind_the_work(self):
        out = self.directory / "out.json"
        out.write_text("old" * 1000)
        out.chmod(0o640)
        if os.geteuid() == 0:
            os.chown(out, 1, 2)
        kept = lambda status: (status.st_mode, status.st_uid, status.st_gid)
        old = kept(out.stat())
        (self.directory / "link").symlink_to("out.json")
        before = sorted(self.directory.iterdir())
        refused = self.run_tool("registry", "list", "--dir", ".", "--json", "no/out.json")
        self.assertEqual((refused.returncode, refused.stdout, refused.stderr),
                         (1, "", 'volad-dev: --json: "no/out.json" cannot be written: No such file or directory\n'))
        failed = self.run_tool("registry", "get", KEY, "N", "--dir", ".", "--json", "out.json")
        self.assertEqual((failed.returncode, failed.stdout, out.read_text()), (1, "", "old" * 1000))
        with open(out) as opened:
            self.run_tool("messages", "check", "EVENTMSG.XML", "--json", "out.json")
            self.assertEqual(opened.read(3), "old")
            self.assertEqual((json.loads(out.read_text())["findings"], kept(out.stat())), ([], old))
        out.write_text("old" * 1000)
        self.run_tool("messages", "check", "EVENTMSG.XML", "--json", "link")
        self.assertEqual(json.loads(out.read_text())["findings"], [])
        reader, writer = os.pipe()
        self.run_tool("messages", "check", "EVENTMSG.XML", "--json", f"/dev/fd/{writer}", pass_fds=(writer,))
        self.assertEqual(json.loads(os.read(reader, 1000))["findings"], [])
        self.assertEqual(sorted(self.directory.iterdir()), before)
        with open(out, "w") as itself:
            self.run_tool("registry", "list", "--dir", ".", "--json", "out.json", stdout=itself, check=True)
        jsonschema.validate(json.loads(out.read_text()), schema("registry-list"))

    def test_the_page_has_an_example_of_each_shape(self):
        examples = re.findall(r"^```json (\S+)\n(.*?)^```", PAGE, re.MULTILINE | re.DOTALL)
        for shape, text in examples:
            jsonschema.Draft202012Validator.check_schema(schema(shape))
            jsonschema.validate(json.loads(text), schema(shape))
        shapes = sorted(path.name.partition(".")[0] for path in (ROOT / "docs/schemas").iterdir())
        self.assertEqual(sorted(shape for shape, _ in examples), shapes)
        self.assertEqual(sorted({shape for shape, _, _ in OUTPUTS}), shapes)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
