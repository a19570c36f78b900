#!/usr/bin/env python3
"""coverage_report.py DATA: line coverage of src and host, per folder, from what an instrumented suite left below DATA.

DATA is the GCOV_PREFIX of the run: below it each .gcda file lies at the absolute path of its object file, where the
.gcno file of the build still is. A line counts as covered when any of the objects made of its file ran it, since the
core is compiled twice.
"""

import collections
import concurrent.futures
import gzip
import json
import os
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
ROOMS = ("src", "host")


def read_object(data: pathlib.Path, counts_file: pathlib.Path) -> list[tuple[pathlib.Path, list[dict]]]:
    """Source files below ROOT and their lines, as gcov counts them for one object."""
    object_path = pathlib.Path("/") / counts_file.relative_to(data)
    notes_file = object_path.with_suffix(".gcno")
    if not notes_file.exists():
        return []  # built anew or removed since that run
    with tempfile.TemporaryDirectory() as directory:
        for link, target in (("x.gcda", counts_file), ("x.gcno", notes_file)):
            (pathlib.Path(directory) / link).symlink_to(target.resolve())
        output = subprocess.run(["gcov", "--json-format", "--stdout", "x.gcda"], cwd=directory, check=True,
                                capture_output=True).stdout
    text = gzip.decompress(output) if output.startswith(b"\x1f\x8b") else output
    # The build maps the names of its sources to the tree's root.
    return [(pathlib.Path(os.path.normpath(file["file"])), file["lines"])
            for line in filter(None, text.splitlines()) for file in json.loads(line)["files"]]


def main() -> int:
    data = pathlib.Path(sys.argv[1]).resolve()
    files: dict[pathlib.Path, dict[int, bool]] = collections.defaultdict(dict)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for found in pool.map(lambda file: read_object(data, file), sorted(data.rglob("*.gcda"))):
            for path, counted in found:
                if path.parts[0] in ROOMS:
                    for line in counted:
                        number = line["line_number"]
                        files[path][number] = files[path].get(number, False) or line["count"] > 0
    if not files:
        print(f"coverage_report.py: nothing of {' or '.join(ROOMS)} was run below {data}", file=sys.stderr)
        return 1
    rows: dict[str, list[bool]] = {}
    for path, lines in sorted(files.items()):
        for row in (str(path.parent), f"{path.parts[0]}, all of it"):
            rows.setdefault(row, []).extend(lines.values())
    for row, ran in rows.items():
        print(f"{row:24} {sum(ran):6} of {len(ran):6} lines  {100 * sum(ran) / len(ran):5.1f} %")
    return 0


if __name__ == "__main__":
    sys.exit(main())
