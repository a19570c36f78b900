"""What bench/run shows: the operations, what each is measured beside, and what is aimed at."""

import dataclasses
import math

# Benchmarks that load the module.
IN_SANDBOX: set[str] = set()


@dataclasses.dataclass(frozen=True)
class Figure:
    operation: str
    executable: str
    comparison: str  # as the benchmark names it: "what / beside what"
    mark: float | None = None  # at most; none for what is shown beside only
    counter: str = "ratio"

    @property
    def beside(self) -> str:
        return self.comparison.partition(" / ")[2]

    def value(self, told: dict[str, dict[str, float]]) -> float:
        return told[self.comparison][self.counter]

    def shown(self, value: float) -> str:
        if self.counter == "ratio":
            return f"{value:.2f} ×"
        if self.counter == "milliseconds":
            return f"{value:.2f} ms"
        if self.counter == "kibibytes":
            return f"{value:,.0f} KiB"
        return f"{value:,.0f} {self.counter}"


@dataclasses.dataclass(frozen=True)
class Growth(Figure):
    """The exponent with which the time grows from the first size to the last."""
    sizes: tuple[int, ...] = ()  # "{}" in the comparison's name stands for one

    @property
    def beside(self) -> str:
        return f"{self.sizes[0]:,} to {self.sizes[-1]:,}"

    def value(self, told: dict[str, dict[str, float]]) -> float:
        times = [told[self.comparison.format(size)]["seconds"] for size in self.sizes]
        return math.log(times[-1] / times[0]) / math.log(self.sizes[-1] / self.sizes[0])

    def shown(self, value: float) -> str:
        return f"n^{value:.2f}"


def comparisons(operation: str, executable: str, what: str, marks: dict[str, float | None]) -> list[Figure]:
    return [Figure(operation, executable, f"{what} / {beside}", mark) for beside, mark in marks.items()]


FIGURES: list[Figure] = [
    *comparisons("message file, last of 10,000 codes, UTF-8", "message_file_bench", "10000 codes, UTF-8",
                 {"by hand": 1.15, "pugixml": None, "libxml2": None, "expat": None}),
    Figure("the same, memory at its peak", "message_file_bench", "peak of 10000 codes", 13 * 1024, "kibibytes"),
    Figure("the same in UTF-16", "message_file_bench", "10000 codes, UTF-16 / by hand", 1.15),
    Figure("the same in ISO-8859-1", "message_file_bench", "10000 codes, ISO-8859-1 / by hand", 1.15),
    Growth("message file, growth", "message_file_bench", "{} codes, UTF-8 / by hand", 1.1, sizes=(100, 1_000, 10_000)),

    *comparisons("profile read, last key of 1,000 lines", "profile_bench", "last key of 1000 lines",
                 {"by hand": 1.2, "GKeyFile": None, "SimpleIni": None, "inih": None}),
    Figure("profile read, last key of 100,000 lines", "profile_bench", "last key of 100000 lines / by hand", 1.2),
    Figure("profile read, first key of 100,000 lines", "profile_bench", "first key of 100000 lines / by hand", 1.2),
    Growth("profile read, first key, growth", "profile_bench", "first key of {} lines / by hand", 0.05,
           sizes=(1_000, 10_000, 100_000)),
    Growth("profile read, last key, growth", "profile_bench", "last key of {} lines / by hand", 1.05,
           sizes=(1_000, 10_000, 100_000)),
    Figure("profile write, 10 lines", "profile_bench", "write in 10 lines / by hand", 1.2),
    *comparisons("profile write, 1,000 lines", "profile_bench", "write in 1000 lines",
                 {"by hand": 1.2, "GKeyFile": None}),

    *comparisons("registry load, 100,000 values", "registry_bench", "load 100000 values",
                 {"scan of the lines": None, "GKeyFile": 0.5, "SimpleIni": None, "inih and std::map": None,
                  "Boost property_tree": None, "sqlite3": None}),
    *comparisons("registry load, 100,000 values, shuffled", "registry_bench", "load 100000 values, shuffled",
                 {"GKeyFile": 1.1, "SimpleIni": None, "sqlite3": None}),
    *comparisons("registry load, 100,000 keys", "registry_bench", "load 100000 keys", {"GKeyFile": 0.5}),
    Growth("registry load, growth", "registry_bench", "load {} values / GKeyFile", 1.1, sizes=(1_000, 10_000, 100_000)),
    *comparisons("registry save, 100,000 values", "registry_bench", "save 100000 values", {"hand-written": 1.15}),
    *comparisons("the same with syncs", "registry_bench", "save 100000 values, synced", {"hand-written": 1.15}),
    *comparisons("10,000 look-ups in 100,000 values", "registry_bench", "10,000 look-ups in 100000 values",
                 {"binary search": 1.15}),

    *comparisons("event: check", "event_bench", "check", {"one atomic load": 1.15}),
    *comparisons("event: reset", "event_bench", "reset", {"a mutex": 1.15}),
    *comparisons("event: signalled wait", "event_bench", "signalled wait", {"a mutex": 1.15}),
    *comparisons("event: set", "event_bench", "set", {"a mutex and a yield": 1.05}),
]
