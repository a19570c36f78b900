"""check_includes_test.py SCRIPTS: the check of the rooms finds what it is for."""

import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, sys.argv[1])
sys.dont_write_bytecode = True
import check_includes  # noqa: E402

HEADERS = ("src/base/a.h", "src/contract/a.h", "src/trace/a.h", "src/platform/name_table.h", "src/platform/files/a.h",
           "src/platform/events/a.h", "src/frame/envelope/a.h", "src/catalogue/a.h", "host/sandbox/a.h",
           "host/sandbox/a_command.h", "host/common/a.h", "host/cli/a.h", "tests/rig/a.h", "tests/fake/base/b.h")


class Includes(unittest.TestCase):
    def faults(self, name: str, text: str) -> list[str]:
        with tempfile.TemporaryDirectory() as root:
            for file in (*HEADERS, name):
                path = pathlib.Path(root, file)
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text("#include <vector>\n" + (text if file == name else ""))
            return check_includes.faults(pathlib.Path(root))

    def test_what_may_be_included(self):
        for name, included in (("src/shutdown/x.cpp", "catalogue/a.h"), ("src/platform/registry/x.h", "platform/files/a.h"),
                               ("src/platform/events/x.h", "platform/name_table.h"), ("src/exports/x.cpp", "em_version.h"),
                               ("host/cli/x.cpp", "host/sandbox/a_command.h"), ("host/hosting/x.h", "frame/envelope/a.h"),
                               ("tests/platform/events/x_test.cpp", "platform/events/a.h"),
                               ("tests/trace/x_test.cpp", "base/b.h"), ("tests/module/x.cpp", "contract/a.h")):
            with self.subTest(name=name):
                self.assertEqual(self.faults(name, f'#include "{included}"\n'), [])

    def test_each_fault_is_named_with_its_file(self):
        for name, included, said in (
                ("src/trace/x.h", "platform/files/a.h", "src/trace/x.h: may not include src/platform/files/a.h"),
                ("src/contract/x.h", "base/a.h", "src/contract/x.h: may not include src/base/a.h"),
                ("src/platform/events/x.h", "platform/files/a.h", "may not include src/platform/files/a.h"),
                ("host/hosting/x.h", "trace/a.h", "may not include src/trace/a.h"),
                ("host/cli/x.cpp", "host/sandbox/a.h", "may not include host/sandbox/a.h"),
                ("host/files/x.cpp", "host/cli/a.h", "may not include host/cli/a.h"),
                ("tests/module/x.cpp", "trace/a.h", "may not include src/trace/a.h"),
                ("tests/platform/events/x_test.cpp", "catalogue/a.h", "may not include src/catalogue/a.h"),
                ("src/contract/x.h", "contract/a.h\"\n#include <sys/types.h>\n//", "may not include <sys/types.h>"),
                ("src/contract/x.cpp", "contract/a.h", "only headers are taken by a host"),
                ("src/base/x.h", "base/missing.h", "base/missing.h is not there"),
                ("src/base/x.h", "base/x.h", "files in a circle: src/base/x.h -> src/base/x.h"),
                ("src/elsewhere/x.h", "base/a.h", "its folder is no room of the house")):
            with self.subTest(name=name, included=included):
                found = self.faults(name, f'#include "{included}"\n')
                self.assertEqual(len(found), 1, found)
                self.assertIn(said, found[0])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
