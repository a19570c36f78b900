"""The tests, as ctest knows them: grouped to suites, ordered by nearness, run until one fails."""

import concurrent.futures
import contextlib
import dataclasses
import json
import pathlib
import re
import threading
import time

from .cell import LAUNCHER, TREE, Cell, Hang, Stopped

BUILD = f"{TREE}/build/mutation"
TOOL = f"{BUILD}/volad-dev"
# These scripts use only commands of the tool that need no sandbox: they get the changed one.
SCRIPTS_OF_FILE_COMMANDS = ("registry_commands", "messages_and_profile")
# They look at nothing that a change in the product reaches.
SCRIPTS_OF_OTHERS = ("sandbox", "unprivileged.sandbox", "sandbox_mounts", "check_includes", "mutation")
# Its commands call reboot(2) where its own launcher says: nothing that was changed has a say in that.
NEVER = ("kernel_verdict", "sandbox_attacks")
AT_ONCE = 6  # tests of one process each mostly wait
LONGEST = 60.0
FAR = 99  # the rank of a suite that is not near


@dataclasses.dataclass
class Test:
    name: str
    command: list[str]
    directory: str
    environment: dict[str, str]
    seconds: float = 0.0  # of the unchanged tree


@dataclasses.dataclass
class Suite:
    name: str
    tests: list[Test]
    targets: list[str]
    seconds: float = 0.0


def run_test(cell: Cell, test: Test, limit: float, stop: threading.Event | None = None) -> str | None:
    """None when it passes, else what failed."""
    try:
        code, output = cell.run(test.command, limit, test.directory, stop, GTEST_FAIL_FAST="1", GTEST_BRIEF="0",
                                **test.environment)
    except Hang as hang:
        return f"{test.name} (hang, {hang})"
    if code == 0:
        return None
    failed = re.findall(r"\[  FAILED  \] ([\w./]+)", output) or re.findall(r"^(?:FAIL|ERROR): (\w+)", output, re.M)
    begun = re.findall(r"\[ RUN      \] ([\w./]+)", output)
    return failed[0] if failed else f"{begun[-1] if begun else test.name} (exit code {code})"


def run_suites(cell: Cell, suites: list[Suite], slack: float) -> str | None:
    """The first failure that a second run shows too: on a busy machine a test may fail by chance."""
    stop = threading.Event()

    def run(one: tuple[Suite, Test]) -> str | None:
        suite, test = one
        failed = None
        with contextlib.suppress(Stopped):
            for _ in range(2):
                failed = run_test(cell, test, slack * (5 + 5 * test.seconds), stop)
                if failed is None or "(hang" in failed:
                    break
            if failed:
                stop.set()
                return f"{suite.name}: {failed}"
        return None

    with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
        return next(filter(None, pool.map(run, [(suite, test) for suite in suites for test in suite.tests])), None)


def target_of(word: str) -> str | None:
    path = word.removeprefix(BUILD + "/")
    return path if path != word and "/" not in path else None


def with_launcher(suite: Suite, host_changes: bool) -> None:
    """The launcher of the sandbox is the one from before any change, in each command."""
    for test in suite.tests:
        keeps = suite.name in SCRIPTS_OF_FILE_COMMANDS or (host_changes and test.command[0] != TOOL)
        if not keeps:
            test.command = [f"{LAUNCHER}/volad-dev" if word == TOOL else word for word in test.command]


def read_suites(cell: Cell, host_changes: bool) -> list[Suite]:
    """One suite an executable or script, each of its tests by itself as ctest runs it."""
    code, output = cell.run(["ctest", "--test-dir", BUILD, "-LE", "^(packages|long|vm|valgrind)$", "--show-only=json-v1"], 300)
    if code != 0:
        raise SystemExit(output)
    groups: dict[tuple, list[Test]] = {}
    for entry in json.loads(output[output.index("{"):])["tests"]:
        properties = {item["name"]: item["value"] for item in entry["properties"]}
        environment = dict(item.split("=", 1) for item in properties.get("ENVIRONMENT", []))
        key = tuple(word for word in entry["command"] if not word.startswith("--gtest"))
        groups.setdefault(key, []).append(
            Test(entry["name"], entry["command"], properties["WORKING_DIRECTORY"], environment))
    suites = []
    for key, tests in groups.items():
        name = pathlib.Path(key[-1]).name if len(tests) > 1 else tests[0].name
        wrapped = key[0] == TOOL
        targets = [target for target in map(target_of, key[wrapped:]) if target]
        if name not in NEVER and (host_changes or name not in SCRIPTS_OF_OTHERS):
            suites.append(Suite(name, tests, targets))
            with_launcher(suites[-1], host_changes)
    return suites


def measure(cell: Cell, suite: Suite) -> list[str]:
    """Runs the unchanged suite in as few processes as it stands, and keeps what passes; the names of the rest."""

    def run(test: Test) -> str | None:
        begin = time.monotonic()
        failed = run_test(cell, test, LONGEST)
        test.seconds = time.monotonic() - begin
        return failed

    begin = time.monotonic()
    command = [word for word in suite.tests[0].command if not word.startswith("--gtest")]
    whole = Test(suite.name, command, suite.tests[0].directory, suite.tests[0].environment)
    lost = []
    if len(suite.tests) > 1 and not run(whole):
        suite.tests = [whole]
    else:
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            results = list(pool.map(run, suite.tests))
        lost = [result for result in results if result]
        passed = [test for test, result in zip(suite.tests, results) if not result]
        suite.tests = sorted(passed, key=lambda test: -test.seconds)
    suite.seconds = time.monotonic() - begin
    return lost


def nearness(suite: Suite, file: str) -> tuple:
    """Sorts the suites for a change in `file`: its folder's, the module's, then the quick ones first."""
    parts = pathlib.PurePath(file).parts[:-1]
    folders = ["_".join(parts[1:end]) for end in range(len(parts), 1, -1)] + [parts[0]]
    script = next((word for word in suite.tests[0].command if word.endswith(".py")), "")
    for rank, folder in enumerate(folders):
        if suite.name == f"test_{folder}":
            return rank, 0.0
        if f"/tests/{folder}/" in script:
            return len(folders) + rank, suite.seconds
    return (2 * len(folders) if suite.name == "test_module" else FAR), suite.seconds


def in_steps(suites: list[Suite], file: str) -> list[list[Suite]]:
    """The suites that are run together: each near one by itself, then all the others, which mostly wait."""
    ranks = {suite.name: nearness(suite, file) for suite in suites}
    near = sorted((suite for suite in suites if ranks[suite.name][0] < FAR), key=lambda suite: ranks[suite.name])
    far = sorted((suite for suite in suites if ranks[suite.name][0] >= FAR), key=lambda suite: -suite.seconds)
    return [[suite] for suite in near] + ([far] if far else [])
