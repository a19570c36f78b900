"""packages_test.py PACKAGES SOURCE: the Debian packages as they lie in a directory: what they hold, how the module in
them is built, and all three at work in an empty Debian. The last needs root and mmdebstrap."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from debian_root import DebianRoot

if not pathlib.Path(sys.argv[1]).exists():
    sys.exit(f"{sys.argv[1]} is not there: scripts/package makes it")
PACKAGES, SOURCE = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
NAMES = ("em-shutdown", "volad-dev", "em-shutdown-dev")
MODULE = "usr/lib/x86_64-linux-gnu/volad/modules/em_shutdown.so"
EXAMPLE = "/usr/share/doc/em-shutdown-dev/examples/host"


def output(*command) -> str:
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def package(name: str) -> pathlib.Path:
    [found] = PACKAGES.glob(f"{name}_*")
    return found


class Contents(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.root = pathlib.Path(directory.name)

    def unpacked(self, name: str) -> pathlib.Path:
        subprocess.run(["dpkg-deb", "-x", package(name), self.root / name], check=True)
        return self.root / name

    def test_the_module_is_the_one_that_was_promised(self):
        module = self.unpacked("em-shutdown") / MODULE
        subprocess.run([sys.executable, "-B", SOURCE / "tests/exports/module_binary_test.py", module, "plain"],
                       check=True, capture_output=True)
        self.assertNotIn(".debug_info", output("readelf", "-SW", module))
        symbols = output("readelf", "-W", "--dyn-syms", module)
        self.assertIn("__stack_chk_fail", symbols)
        self.assertRegex(symbols, r"__\w+_chk\b")

    def test_its_debug_symbols_lie_in_a_package_of_their_own_and_tell_how_it_was_built(self):
        module = self.unpacked("em-shutdown") / MODULE
        build_id = re.search(r"Build ID: (\w\w)(\w+)", output("readelf", "-n", module))
        symbols = self.unpacked("em-shutdown-dbgsym") / "usr/lib/debug/.build-id" / build_id[1] / f"{build_id[2]}.debug"
        producers = set(re.findall(r"DW_AT_producer.*: (GNU C\+\+.*)", output("readelf", "--debug-dump=info", symbols)))
        self.assertTrue(producers)
        for producer in producers:
            for option in ("-O2", "-fstack-protector-strong", "-fstack-clash-protection", "-fPIC"):
                self.assertIn(option, producer)

    def test_each_source_of_the_module_is_compiled_with_the_strongest_fortification(self):
        commands = (PACKAGES.parent / "release/compile_commands.json").read_text()
        of_module = [line for line in commands.splitlines() if '"command"' in line and "em_core.dir" in line]
        self.assertGreater(len(of_module), 50)
        self.assertEqual([line for line in of_module if "-D_FORTIFY_SOURCE=3" not in line], [])

    def test_each_brings_its_manual_pages_and_the_tool_its_completion(self):
        for name, files in (("em-shutdown", {"em-shutdown.7", "em-shutdown-registry.5", "em-shutdown-trace.ini.5"}),
                            ("volad-dev", {"volad-dev.1", "volad-dev-settings.5"})):
            manual = self.unpacked(name) / "usr/share/man"
            self.assertEqual({str(path.relative_to(manual)) for path in manual.glob("*/*")},
                             {f"man{file[-1]}/{file}.gz" for file in files})
        completion = self.root / "volad-dev/usr/share/bash-completion/completions/volad-dev"
        subprocess.run(["bash", "-n", completion], check=True)

    def test_what_belongs_to_no_module_and_no_host_stays_out(self):
        headers = self.unpacked("em-shutdown-dev") / "usr/include/em-shutdown"
        self.assertEqual({path.name for path in headers.iterdir()}, {"contract"})
        for header in (headers / "contract").iterdir():
            included = re.findall(r'#include "(\w+)/', header.read_text())
            self.assertLessEqual(set(included), {"contract"}, header.name)


@unittest.skipUnless(os.geteuid() == 0, "to make a root directory and to enter it takes root")
@unittest.skipUnless(shutil.which("mmdebstrap"), "mmdebstrap is not there to make an empty Debian")
class InAnEmptyDebian(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory(prefix="em-packages-")
        cls.addClassCleanup(directory.cleanup)
        cls.debian = DebianRoot(pathlib.Path(directory.name), [package(name) for name in NAMES],
                                ["g++", "cmake", "make"])
        for name in ("settings.json", "save_state.sh"):
            shutil.copy(SOURCE / "examples" / name, cls.debian.path / "root")

    def inside(self, script: str, code: int = 0) -> str:
        done = self.debian.run("/bin/sh", "-ec", script)
        self.assertEqual(done.returncode, code, done.stdout + done.stderr)
        return done.stdout

    def test_a_shutdown_is_rehearsed_with_the_module_that_was_installed(self):
        self.assertIn("Verdict: the command was started, as asked",
                      self.inside("volad-dev rehearse off --settings /root/settings.json"))

    def test_a_host_is_built_against_the_headers_and_takes_the_machine_down(self):
        build = f"cmake -S {EXAMPLE} -B /tmp/host && cmake --build /tmp/host"
        self.assertIn("/sbin/reboot",
                      self.inside(f"{build}; volad-dev sandbox --bind /tmp/host -- /tmp/host/host /{MODULE}"))
        self.inside(f"{build}; /tmp/host/host /no/module.so", code=3)  # never with the module, should it not refuse


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
