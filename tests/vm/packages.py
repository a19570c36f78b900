"""Debian packages unpacked beside each other, never installed: installed, they would upgrade the machine's own
process 1 and hook its kernel."""

import os
import pathlib
import re
import shutil
import subprocess
import sys

LIST = pathlib.Path(__file__).parent / "packages.txt"
KERNEL = "linux-image-cloud-amd64"  # holds nothing, and depends on the kernel of the day
LIBRARIES = ("usr/lib/x86_64-linux-gnu", "lib/x86_64-linux-gnu", "usr/lib/x86_64-linux-gnu/systemd")
LIMIT = 600  # seconds for one command


def output(*command, **options) -> str:
    done = subprocess.run(command, capture_output=True, text=True, timeout=LIMIT, **options)
    if done.returncode != 0:
        last = "\n".join(done.stderr.strip().splitlines()[-5:])
        sys.exit(f"{' '.join(map(str, command[:3]))} ... failed:\n{last}")
    return done.stdout


class Packages:
    """The tree of all of them, kept and used again as long as the list is the same."""

    def __init__(self, directory: pathlib.Path):
        self.root = directory / "packages"
        stamp, wanted = self.root / "list", LIST.read_text()
        if not stamp.exists() or stamp.read_text() != wanted:
            shutil.rmtree(self.root, ignore_errors=True)
            self.root.mkdir(parents=True)
            self._fetch(wanted.split())
            stamp.write_text(wanted)
        self.environment = {"PATH": "/usr/bin:/bin", "LC_ALL": "C",
                            "LD_LIBRARY_PATH": ":".join(str(self.root / each) for each in LIBRARIES)}

    def _fetch(self, names: list[str]) -> None:
        english = os.environ | {"LC_ALL": "C"}
        kernel = re.search(r"Depends: (linux-image-\S+)", output("apt-cache", "depends", KERNEL, env=english))
        if kernel is None:
            sys.exit(f"{KERNEL} names no kernel: apt-get update?")
        archives = self.root / "archives"
        archives.mkdir()
        output("apt-get", "download", *(kernel[1] if each == KERNEL else each for each in names), cwd=archives,
               env=english)
        total = sum(each.stat().st_size for each in archives.iterdir())
        print(f"fetched {len(names)} packages, {total / 1e6:.0f} MB", flush=True)
        for each in sorted(archives.iterdir()):
            output("dpkg-deb", "-x", each, self.root)
        shutil.rmtree(archives)

    def file(self, pattern: str) -> pathlib.Path:
        [found] = self.root.glob(pattern)
        return found

    def libraries_of(self, programs: list[pathlib.Path]) -> dict[str, pathlib.Path]:
        """What these need, and the loader, each with its path in a guest."""
        found = {}
        for line in output("ldd", *programs, env=self.environment).splitlines():
            if "not found" in line:
                sys.exit(f"{line.strip()}: a package is missing in {LIST}")
            for name, path in re.findall(r"^\s+(\S+)(?: => (\S+))? \(0x", line):
                if path:
                    found[f"{LIBRARIES[0]}/{name}"] = pathlib.Path(path)
                elif name.startswith("/"):  # the loader; what is left is the kernel's own
                    found[name] = pathlib.Path(name)
        return found
