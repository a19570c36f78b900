"""host_programs_test.py COMPILER VOLAD_DEV MODULE SOURCE sanitized|plain: the hosts that are shown to who writes one.

The pieces of code of docs/host.md, in their order, are one program; examples/host is the other. Both are built with
nothing but the headers of contract/, and take the machine down in the sandbox and nowhere else.
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

COMPILER, TOOL, MODULE, SOURCE = sys.argv[1:5]
SANITIZED = sys.argv[5] == "sanitized"
LIMIT = 120


class Hosts(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        headers = self.directory / "include"
        headers.mkdir()
        (headers / "contract").symlink_to(pathlib.Path(SOURCE) / "src/contract")

    def check(self, code: str, command: str) -> None:
        source, program = self.directory / "host.cpp", self.directory / "host"
        source.write_text(code)
        options = ["-fsyntax-only"] if SANITIZED else ["-rdynamic", "-o", program]
        built = subprocess.run([COMPILER, "-std=c++20", "-Wall", "-Wextra", "-Werror", "-I", self.directory / "include",
                                *options, source, *([] if SANITIZED else ["-ldl"])],
                               capture_output=True, text=True, timeout=LIMIT)
        self.assertEqual(built.returncode, 0, built.stderr)
        if SANITIZED:  # such a module needs a program that brings the sanitizer along
            return
        # Never with the module: a host whose refusal is broken would take this machine down.
        outside = subprocess.run([program, "/no/module.so"], capture_output=True, text=True, timeout=LIMIT)
        self.assertEqual((outside.returncode, outside.stdout, outside.stderr.count("\n")), (3, "", 1))
        for maintenance, code in (("on", 0), ("off", 1)):
            inside = subprocess.run([TOOL, "sandbox", "--maintenance", maintenance, "--bind", self.directory, "--",
                                     program, MODULE], capture_output=True, text=True, timeout=LIMIT)
            self.assertEqual(inside.returncode, code, inside.stdout + inside.stderr)
            self.assertEqual(f"ExecuteCmd finished: {command}" in inside.stdout, code == 0, inside.stdout)

    def test_the_page(self):
        page = (pathlib.Path(SOURCE) / "docs/host.md").read_text()
        self.check("\n".join(re.findall(r"```cpp\n(.*?)```", page, re.DOTALL)), "/sbin/poweroff")

    def test_the_example(self):
        example = (pathlib.Path(SOURCE) / "examples/host/host.cpp").read_text()
        self.assertLess(example.count("\n"), 80)
        self.check(example, "/sbin/reboot")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
