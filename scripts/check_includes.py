#!/usr/bin/env python3
"""check_includes.py SRC: includes point down the floors only, and nowhere in a circle.

A file may include files of its own floor and of those below. Folders that share a floor may use one another in one
direction; nothing of the product includes the development host or the tests.
"""

import pathlib
import re
import sys

# From the ground up; the longest prefix of a file's path tells its folder.
FLOORS = [
    ["base"],
    ["trace"],
    ["platform", "tasks", "markup"],
    ["frame", "osshutdown", "catalogue"],
    ["shutdown"],
    ["exports"],
]
FLOOR_OF = {folder: number for number, floor in enumerate(FLOORS) for folder in floor}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def folder_of(path: str) -> str | None:
    fitting = [folder for folder in FLOOR_OF if path.startswith(folder + "/")]
    return max(fitting, key=len, default=None)


def circle(graph: dict[str, set[str]]) -> list[str] | None:
    """The nodes of one circle, the first one repeated at the end."""
    done: set[str] = set()

    def walk(node: str, path: list[str]) -> list[str] | None:
        if node in path:
            return path[path.index(node):] + [node]
        if node in done:
            return None
        for following in sorted(graph.get(node, ())):
            found = walk(following, path + [node])
            if found:
                return found
        done.add(node)
        return None

    for start in sorted(graph):
        found = walk(start, [])
        if found:
            return found
    return None


def faults(source: pathlib.Path) -> list[str]:
    result = []
    files: dict[str, set[str]] = {}
    folders: dict[str, set[str]] = {}
    for path in sorted(source.rglob("*")):
        if path.suffix not in (".h", ".cpp"):
            continue
        name = path.relative_to(source).as_posix()
        folder = folder_of(name)
        if folder is None:
            result.append(f"{name}: its folder is on no floor")
            continue
        for included in INCLUDE.findall(path.read_text()):
            target = folder_of(included)
            if target is None:
                # What the build makes stands in no folder.
                if "/" in included:
                    result.append(f"{name}: {included} is no part of the product")
                continue
            if FLOOR_OF[target] > FLOOR_OF[folder]:
                result.append(f"{name}: includes {included} of a floor above")
            files.setdefault(name, set()).add(included)
            if target != folder:
                folders.setdefault(folder, set()).add(target)
    for kind, graph in (("files", files), ("folders", folders)):
        found = circle(graph)
        if found:
            result.append(f"{kind} in a circle: " + " -> ".join(found))
    return result


def main() -> int:
    found = faults(pathlib.Path(sys.argv[1]))
    print("\n".join(found) if found else "includes: all point down")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
