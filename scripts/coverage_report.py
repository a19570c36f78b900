#!/usr/bin/env python3
"""coverage_report.py DATA: line coverage of src/, per folder, from what an instrumented suite left below DATA.

DATA is the GCOV_PREFIX of the run: below it each .gcda file lies at the absolute path of its object file, where the
.gcno file of the build still is. A line counts as covered when any of the objects made of its file ran it, since the
core is compiled twice.
"""

import collections
import gzip
import json
import os
import pathlib
import subprocess
import sys
import tempfile

SOURCES = pathlib.Path(__file__).resolve().parent.parent / "src"


def read_object(data: pathlib.Path, counts_file: pathlib.Path, directory: pathlib.Path) -> list[tuple]:
    """Source files and their lines, as gcov counts them for one object; `directory` takes links to its files."""
    object_path = pathlib.Path("/") / counts_file.relative_to(data)
    notes_file = object_path.with_suffix(".gcno")
    if not notes_file.exists():
        return []  # built anew or removed since that run
    for link, target in (("x.gcda", counts_file), ("x.gcno", notes_file)):
        (directory / link).unlink(missing_ok=True)
        (directory / link).symlink_to(target.resolve())
    output = subprocess.run(["gcov", "--json-format", "--stdout", "x.gcda"], cwd=directory, check=True,
                            capture_output=True).stdout
    text = gzip.decompress(output) if output.startswith(b"\x1f\x8b") else output
    found = []
    for line in filter(None, text.splitlines()):
        for file in json.loads(line)["files"]:
            # The build maps the names of its sources to the tree's root.
            found.append((pathlib.Path(os.path.normpath(SOURCES.parent / file["file"])), file["lines"]))
    return found


def main() -> int:
    data = pathlib.Path(sys.argv[1]).resolve()
    lines: dict[pathlib.Path, dict[int, bool]] = collections.defaultdict(dict)
    with tempfile.TemporaryDirectory() as directory:
        for counts_file in sorted(data.rglob("*.gcda")):
            for path, counted in read_object(data, counts_file, pathlib.Path(directory)):
                if path.is_relative_to(SOURCES):
                    for line in counted:
                        number = line["line_number"]
                        lines[path][number] = lines[path].get(number, False) or line["count"] > 0
    if not lines:
        print(f"coverage_report.py: nothing of {SOURCES} was run below {data}", file=sys.stderr)
        return 1
    folders: dict[str, list[bool]] = collections.defaultdict(list)
    for path, ran in lines.items():
        folders[str(path.parent.relative_to(SOURCES))] += ran.values()
    folders["total"] = [ran for file in lines.values() for ran in file.values()]
    for folder, ran in folders.items():
        print(f"{folder:20} {sum(ran):6} of {len(ran):6} lines  {100 * sum(ran) / len(ran):5.1f} %")
    return 0


if __name__ == "__main__":
    sys.exit(main())
