#!/usr/bin/env python3
"""check_includes.py ROOT: includes point down the floors only, and nowhere in a circle.

Reads src/, host/ and tests/ below ROOT. ROOMS names, for each room of the house, the rooms that its files may include
besides their own. A room is a folder, or a file that stands between two floors; the longest prefix tells.
"""

import pathlib
import re
import sys

BASE = {"src/base"}
CONTRACT = {"src/contract"}
TRACE = BASE | CONTRACT | {"src/trace"}
TABLE = {"src/platform/name_table"}
FILES = {"src/platform/files"}
EVENTS_AND_THREADS = {"src/platform/events", "src/platform/threads"}
PLATFORM = EVENTS_AND_THREADS | FILES | TABLE | {
    "src/platform/processes", "src/platform/registry", "src/platform/profile"}
SERVICES = TRACE | PLATFORM | {"src/tasks", "src/markup"}
ENVELOPE = {"src/frame/json", "src/frame/envelope"}
FRAME = ENVELOPE | {"src/frame/module", "src/frame/configuration"}

ROOMS = {
    # The product, from the ground up.
    "src/base": set(),
    "src/contract": set(),
    "src/trace": TRACE,
    "src/platform/name_table": TRACE,
    "src/platform/events": TRACE | TABLE,
    "src/platform/threads": TRACE,
    "src/platform/processes": TRACE,
    "src/platform/files": TRACE,
    "src/platform/registry": TRACE | TABLE | FILES,
    "src/platform/profile": TRACE | FILES,
    "src/platform/process_state": TRACE | PLATFORM,
    "src/tasks": TRACE | EVENTS_AND_THREADS,
    "src/markup": TRACE | FILES,
    "src/frame/json": SERVICES,
    "src/frame/envelope": SERVICES | {"src/frame/json"},
    "src/frame/module": SERVICES | ENVELOPE,
    "src/frame/configuration": SERVICES,
    "src/osshutdown": SERVICES | {"src/osshutdown/job_directory"},
    "src/osshutdown/job_directory": BASE | CONTRACT,
    "src/catalogue": SERVICES | FRAME | {"src/osshutdown"},
    "src/shutdown": SERVICES | FRAME | {"src/osshutdown", "src/catalogue"},
    "src/exports": SERVICES | FRAME | {"src/osshutdown", "src/catalogue", "src/shutdown"},
    # The development host. Nobody includes its command line.
    "host/common": BASE,
    "host/sandbox": BASE | CONTRACT | {"host/common"},
    "host/sandbox/recorder": {"host/sandbox"},
    "host/sandbox/gate": {"host/sandbox", "host/common"},
    "host/files": TRACE | PLATFORM | {"src/markup", "src/catalogue", "src/frame/configuration", "host/common"},
    "host/run": BASE | CONTRACT | {"host/common"},
    "host/story": CONTRACT | {"host/common", "host/run"},
    "host/picture": CONTRACT | {"host/common", "host/run"},
    "host/hosting": CONTRACT | ENVELOPE | {"host/common"},
    "host/check": TRACE | PLATFORM | {
        "src/markup", "src/catalogue", "src/frame/configuration", "src/osshutdown/job_directory", "host/common",
        "host/sandbox", "host/files", "host/hosting"},
    "host/rehearsal": BASE | CONTRACT | ENVELOPE | {
        "src/catalogue", "host/common", "host/run", "host/hosting", "host/sandbox"},
    "host/launch": BASE | CONTRACT | {
        "src/platform/processes", "host/common", "host/run", "host/hosting", "host/sandbox", "host/rehearsal"},
    "host/drive": BASE | CONTRACT | ENVELOPE | {
        "host/common", "host/hosting", "host/sandbox", "host/rehearsal", "host/launch"},
    "host/cli": {"host/common", "host/sandbox", "host/files", "host/check", "host/rehearsal", "host/launch",
                 "host/drive", "host/story", "host/picture"},
    # What tests are made with.
    "tests/fake": BASE,
    "tests/rig": CONTRACT | {"host/sandbox"},
    "tests/support": TRACE | ENVELOPE | {"src/platform/registry", "tests/fake", "tests/rig", "host/sandbox"},
    # Whole runs of the module object.
    "tests/simulation": CONTRACT | ENVELOPE | {
        "src/shutdown", "tests/fake", "tests/rig", "tests/support", "host/sandbox"},
    # From outside: nothing of the product but the contract.
    "tests/module": CONTRACT | {"tests/rig", "host/sandbox"},
    "tests/verdict": BASE | CONTRACT | {"tests/rig", "tests/module", "tests/verdict/ender", "host/sandbox", "host/common"},
    "tests/verdict/ender": {"host/sandbox", "host/sandbox/recorder"},
    "tests/vm": CONTRACT,
}
# A test may include what its room may, the room itself, headers beside it, and what tests are made with.
FOR_TESTS = {"tests/fake", "tests/rig", "tests/support", "host/sandbox"}
# A stand-in for a module is made of the frame's class.
BESIDES = {"tests/host/rehearsal": {"src/frame/module"}}
# Of a room with commands the command line sees only how to add them.
COMMAND_HEADERS = {"host/cli": re.compile(r"^(host/common/\w+|.*_command)\.h$")}
# What a host takes is headers that need nothing to be installed, but for the one that writes envelopes.
NEEDS_NOTHING = "src/contract/"
BUT_FOR = {"src/contract/host_envelope.h": {"rapidjson/document.h"}}
GENERATED = {"em_version.h"}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
OF_SYSTEM = re.compile(r"^\s*#\s*include\s+<([^>]+)>", re.MULTILINE)
SEARCHED = ("src/", "", "tests/", "tests/fake/")


def room_of(path: str) -> str | None:
    stem = path.rpartition(".")[0]
    fitting = [room for room in ROOMS if path.startswith(room + "/") or stem == room]
    return max(fitting, key=len, default=None)


def mirrored(path: str) -> set[str] | None:
    """The rooms that a test may include: those of the room that it mirrors."""
    below = path.removeprefix("tests/")
    for tested in ("src/" + below, below):
        stem = tested.rpartition(".")[0].removesuffix("_test")
        room = stem if stem in ROOMS else room_of(tested)
        if room is not None:
            return ROOMS[room] | {room} | FOR_TESTS | BESIDES.get(path.rpartition("/")[0], set())
    return None


def allowed_for(path: str) -> set[str] | None:
    room = room_of(path)
    if room is not None:
        return ROOMS[room] | {room}
    return mirrored(path) if path.startswith("tests/") else None


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


def resolve(files: set[str], includer: str, included: str) -> str | None:
    beside = f"{includer.rpartition('/')[0]}/{included}"
    return next((path for path in [*(prefix + included for prefix in SEARCHED), beside] if path in files), None)


def needs(name: str, text: str) -> list[str]:
    """What keeps a file of the contract from standing alone; a header of the standard library has no extension."""
    if not name.startswith(NEEDS_NOTHING):
        return []
    found = [f"{name}: may not include <{included}>" for included in OF_SYSTEM.findall(text)
             if re.search(r"[/.]", included) and included not in BUT_FOR.get(name, ())]
    return found + ([] if name.endswith(".h") else [f"{name}: only headers are taken by a host"])


def faults(root: pathlib.Path) -> list[str]:
    files = {path.relative_to(root).as_posix() for top in ("src", "host", "tests")
             for path in root.joinpath(top).rglob("*") if path.suffix in (".h", ".cpp")}
    result = []
    graph: dict[str, set[str]] = {}
    for name in sorted(files):
        allowed = allowed_for(name)
        if allowed is None:
            result.append(f"{name}: its folder is no room of the house")
            continue
        text = root.joinpath(name).read_text()
        result += needs(name, text)
        for included in INCLUDE.findall(text):
            target = resolve(files, name, included)
            if target is None:
                if included not in GENERATED:
                    result.append(f"{name}: {included} is not there")
                continue
            visible = COMMAND_HEADERS.get(room_of(name) or "")
            beside = target.rpartition("/")[0] == name.rpartition("/")[0]
            if not beside and (room_of(target) not in allowed or (visible and not visible.match(target))):
                result.append(f"{name}: may not include {target}")
            graph.setdefault(name, set()).add(target)
    found = circle(graph)
    if found:
        result.append("files in a circle: " + " -> ".join(found))
    return result


def main() -> int:
    found = faults(pathlib.Path(sys.argv[1]))
    print("\n".join(found) if found else "includes: all point down")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
