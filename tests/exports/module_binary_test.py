"""module_binary_test.py MODULE sanitized|plain: the shared object as its host's loader sees it, read from its tables."""

import re
import subprocess
import sys
import unittest

MODULE, SANITIZED = sys.argv[1], sys.argv[2] == "sanitized"
EXPORTS = {"EM_Create", "EM_Delete", "EM_GetModuleName", "EM_SetupAction"}


def readelf(*options: str) -> str:
    return subprocess.run(["readelf", "-W", *options, MODULE], check=True, capture_output=True, text=True).stdout


class Symbols(unittest.TestCase):
    def setUp(self):
        fields = [line.split() for line in readelf("--dyn-syms").splitlines()]
        self.symbols = [row for row in fields if len(row) >= 8 and row[0].rstrip(":").isdigit()]

    def test_exactly_the_four_entry_points_are_exported(self):
        defined = {row[7].split("@")[0] for row in self.symbols if row[6] != "UND"}
        self.assertEqual(defined, EXPORTS)

    def test_no_unique_symbol_keeps_it_from_being_unloaded(self):
        self.assertEqual([row[7] for row in self.symbols if row[4] == "UNIQUE"], [])


class Dynamics(unittest.TestCase):
    def setUp(self):
        self.section = readelf("--dynamic")

    def test_no_name_and_no_search_path_of_its_own(self):
        for tag in ("SONAME", "RPATH", "RUNPATH", "TEXTREL"):
            self.assertNotIn(f"({tag})", self.section)

    def test_everything_is_bound_at_load_and_then_read_only(self):
        self.assertRegex(self.section, r"\(FLAGS\).*BIND_NOW|\(BIND_NOW\)")
        headers = readelf("--program-headers")
        self.assertIn("GNU_RELRO", headers)
        stack = re.search(r"GNU_STACK\s+(?:\S+\s+){5}(\S+)", headers)
        self.assertEqual(stack and stack.group(1), "RW")

    @unittest.skipIf(SANITIZED, "the sanitizer's own libraries come along")
    def test_it_needs_the_language_and_system_libraries_only(self):
        needed = set(re.findall(r"\(NEEDED\).*\[(.*?)\.so", self.section))
        self.assertLessEqual(needed, {"libstdc++", "libgcc_s", "libc", "libm", "ld-linux-x86-64"})


class Build(unittest.TestCase):
    def test_version_and_build_can_be_read_from_the_file(self):
        with open(MODULE, "rb") as file:
            self.assertRegex(file.read(), rb"em_shutdown \d+\.\d+\.\d+ \([0-9a-zA-Z.-]+\)\0")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
