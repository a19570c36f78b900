"""sandbox_mounts_test.py VOLAD_DEV: attacks by what is mounted on the machine, each in a mount namespace of its own."""

import os
import shlex
import subprocess
import tempfile
import unittest

from tool_rig import VOLAD_DEV

USAGE = 2


@unittest.skipIf(os.geteuid() != 0, "needs mounts")
class SecondMounts(unittest.TestCase):
    def setUp(self):
        self.directory = self.enterContext(tempfile.TemporaryDirectory())
        self.mounted = f"{self.directory}/mounted"
        os.mkdir(self.mounted)

    def test_the_machines_places_are_refused_where_they_are_mounted_once_more(self):
        here = self.directory
        engine = f"mount -t tmpfs none /var/lib; mkdir {self.mounted}/below; ln -s {self.mounted} /var/lib/docker"
        lock = f"mount -t tmpfs none /run/lock; mount --bind /run/lock {self.mounted}"
        moved = f"mkdir {here}/old; mount --bind /etc {here}/old; mount -t tmpfs none {self.mounted}; mount --move {here}/old "
        odd = f"mkdir '{self.mounted}/\v'; mount --bind /proc '{self.mounted}/\v'"
        for prepared, option in ((moved + self.mounted, "--bind"), (odd, "--bind"), (lock, "--bind"),
                                 *((f"mount --bind {source} {self.mounted}", "--bind")
                                   for source in ("/", "/usr", "/run", "/run/lock", "/proc", "/dev/pts")),
                                 (f"mount --bind /etc/opt {self.mounted}", "--scratch"), (engine, "--bind")):
            for path in (here, self.mounted) + (f"{self.mounted}/below",) * (prepared == engine):
                with self.subTest(prepared=prepared, path=path):
                    command = shlex.join([VOLAD_DEV, "sandbox", option, path, "--", "true"])
                    done = subprocess.run(["unshare", "-m", "sh", "-c", f"{prepared}; {command}"], capture_output=True,
                                          text=True)
                    self.assertEqual((done.returncode, done.stdout), (USAGE, ""), done.stderr)
                    self.assertRegex(done.stderr, "by another name|file system of the kernel")

    def test_what_is_mounted_after_the_start_does_not_come_in(self):
        mount = f"mount --bind {self.directory} {self.directory}; mount --make-shared {self.directory}; exec "
        script = f"echo begun; read go; touch {self.mounted}/x && echo written; touch {self.directory}/x || echo refused"
        command = shlex.join([VOLAD_DEV, "sandbox", "--bind", self.directory, "--", "sh", "-c", script])
        with subprocess.Popen(["unshare", "-m", "sh", "-c", mount + command], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True) as child:
            self.assertEqual(child.stdout.readline(), "begun\n")
            subprocess.run(["nsenter", "-t", str(child.pid), "-m", "mount", "-t", "tmpfs", "none", self.mounted], check=True)
            self.assertEqual(child.communicate("go\n", timeout=50)[0], "refused\n")


if __name__ == "__main__":
    unittest.main(argv=["sandbox_mounts_test.py"])
