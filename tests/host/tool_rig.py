"""What the tests stand on that go by the tool's outputs and exit codes; their first argument is VOLAD_DEV.

The suite puts this directory on Python's path.
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

VOLAD_DEV = sys.argv[1]
NOBODY = 65534
if os.environ.pop("EM_UNPRIVILEGED", None):
    if os.geteuid() != 0:
        sys.exit(77)  # skipped: the other run was one
    os.setgroups([])
    os.setresgid(NOBODY, NOBODY, NOBODY)
    os.setresuid(NOBODY, NOBODY, NOBODY)


def volad_dev(*arguments: str, **options) -> subprocess.CompletedProcess:
    return subprocess.run([VOLAD_DEV, *arguments], text=True,
                          **{"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "timeout": 60} | options)


class ToolTest(unittest.TestCase):
    def setUp(self):
        self.directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def answer(self, *arguments: str, **options) -> tuple[int, str, int]:
        """Exit code, standard output, lines on standard error, which stay in self.told."""
        done = volad_dev(*arguments, cwd=self.directory, **options)
        self.told = done.stderr
        return done.returncode, done.stdout, done.stderr.count("\n")
