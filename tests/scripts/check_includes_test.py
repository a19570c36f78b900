"""check_includes_test.py SCRIPTS: the check of the floors finds what it is for."""

import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, sys.argv[1])
sys.dont_write_bytecode = True
import check_includes  # noqa: E402


class Includes(unittest.TestCase):
    def faults(self, files: dict[str, list[str]]) -> list[str]:
        with tempfile.TemporaryDirectory() as root:
            for name, includes in files.items():
                path = pathlib.Path(root, name)
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text("".join(f'#include "{included}"\n' for included in includes) + "#include <vector>\n")
            return check_includes.faults(pathlib.Path(root))

    def test_down_and_beside_is_fine(self):
        self.assertEqual(self.faults({"shutdown/a.cpp": ["frame/b.h", "base/c.h"],
                                      "tasks/d.h": ["platform/e.h"], "exports/f.cpp": ["em_version.h"]}), [])

    def test_each_fault_is_named_with_its_file(self):
        for files, said in (
                ({"trace/a.h": ["platform/b.h"]}, "trace/a.h: includes platform/b.h of a floor above"),
                ({"base/a.h": ["trace/b.h"]}, "base/a.h: includes trace/b.h of a floor above"),
                ({"frame/a.h": ["frame/b.h"], "frame/b.h": ["frame/a.h"]}, "files in a circle"),
                ({"frame/a.h": ["catalogue/b.h"], "catalogue/c.h": ["frame/d.h"]}, "folders in a circle"),
                ({"frame/a.h": ["host/sandbox/sandbox.h"]}, "host/sandbox/sandbox.h is no part of the product"),
                ({"elsewhere/a.h": []}, "on no floor")):
            with self.subTest(files=files):
                found = self.faults(files)
                self.assertEqual(len(found), 1, found)
                self.assertIn(said, found[0])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
