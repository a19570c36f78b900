"""What bench/run shows: the operations, what each is measured beside, and what is aimed at."""

import dataclasses
import math

# Benchmarks that load the module or make its object.
IN_SANDBOX = {"request_bench", "load_bench", "footprint_bench", "idle_bench", "status_query_bench"}

# How a counter is shown, by the end of its name.
UNITS = (("cpu_ms_a_minute", "{:,.0f} ms a minute"), ("_ms", "{:.2f} ms"),
         ("_kib", "{:,.0f} KiB"), ("mib", "{:,.0f} MiB"),
         ("bytes", "{:,.0f} bytes"), ("per_second", "{:,.0f} a second"), ("", "{:,.0f}"))


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

    def holds(self, value: float) -> bool:
        return round(value, 2) <= self.mark  # as it is shown

    def shown(self, value: float) -> str:
        if self.counter.endswith("ratio"):
            return f"{value:.2f} ×" if value >= 0.1 else f"{value:.2g} ×"
        return next(form for end, form in UNITS if self.counter.endswith(end)).format(value)


@dataclasses.dataclass(frozen=True)
class OwnShare(Figure):
    """What ours takes beyond what it is measured beside, in ms."""

    def value(self, told: dict[str, dict[str, float]]) -> float:
        return told[self.comparison]["beyond"] * 1000


@dataclasses.dataclass(frozen=True)
class Growth(Figure):
    """The exponent with which the time grows, the larger of those between neighbouring sizes."""
    sizes: tuple[int, ...] = ()  # "{}" in the comparison's name stands for one

    @property
    def beside(self) -> str:
        return f"{self.sizes[0]:,} to {self.sizes[-1]:,}"

    def value(self, told: dict[str, dict[str, float]]) -> float:
        times = [told[self.comparison.format(size)]["seconds"] for size in self.sizes]
        return max(math.log(times[i] / times[i - 1]) / math.log(self.sizes[i] / self.sizes[i - 1])
                   for i in range(1, len(times)))

    def shown(self, value: float) -> str:
        return f"n^{value:.2f}"


def comparisons(operation: str, executable: str, what: str, marks: dict[str, float | None]) -> list[Figure]:
    return [Figure(operation, executable, f"{what} / {beside}", mark) for beside, mark in marks.items()]


# What the memory of a loaded and started module is made of.
FOOTPRINT = (("code", "file_code"), ("constants and texts", "file_rodata"), ("unwinding tables", "file_unwinding"),
             ("tables of the linker", "file_linkage"), ("relocated data", "file_relocated"), ("data", "file_data"),
             ("heap", "heap"), ("the threads' stacks", "stacks"), ("libraries' pages", "libraries"),
             ("the caller's stack", "own_stack"),
             ("other memory", "anonymous"))

FIGURES: list[Figure] = [
    *comparisons("message file, last of 10,000 codes, UTF-8", "message_file_bench", "10000 codes, UTF-8",
                 {"by hand": 1.15, "pugixml": None, "libxml2": None, "expat": None}),
    Figure("the same, memory at its peak", "message_file_bench", "peak of 10000 codes", 13 * 1024, "peak_kib"),
    *(figure for encoding in ("UTF-16", "ISO-8859-1") for figure in comparisons(
        f"the same in {encoding}", "message_file_bench", f"10000 codes, {encoding}",
        {"by hand": 1.15, "pugixml": None, "libxml2": None, "expat": None})),
    Growth("message file, growth", "message_file_bench", "{} codes, UTF-8 / by hand", 1.1, sizes=(100, 1_000, 10_000)),

    *comparisons("profile read, last key of 1,000 lines", "profile_bench", "last key of 1000 lines",
                 {"by hand": 1.2, "GKeyFile": None, "SimpleIni": None, "inih": None}),
    Figure("profile read, last key of 100,000 lines", "profile_bench", "last key of 100000 lines / by hand", 1.2),
    Figure("profile read, first key of 100,000 lines", "profile_bench", "first key of 100000 lines / by hand", 1.2),
    Growth("profile read, first key, growth", "profile_bench", "first key of {} lines / by hand", 0.08,
           sizes=(1_000, 10_000, 100_000)),
    Growth("profile read, last key, growth", "profile_bench", "last key of {} lines / by hand", 1.05,
           sizes=(1_000, 10_000, 100_000)),
    Figure("profile write, 10 lines", "profile_bench", "write in 10 lines / by hand", 1.2),
    *comparisons("profile write, 1,000 lines", "profile_bench", "write in 1000 lines",
                 {"by hand": 1.2, "GKeyFile": None}),

    *comparisons("registry load, 100,000 values", "registry_bench", "load 100000 values",
                 {"scan of the lines": None, "GKeyFile": 0.5, "SimpleIni": None, "inih and std::map": None,
                  "Boost property_tree": None, "sqlite3": 0.5}),
    *comparisons("registry load, 100,000 values, shuffled", "registry_bench", "load 100000 values, shuffled",
                 {"GKeyFile": 1.1, "SimpleIni": None, "inih and std::map": None, "Boost property_tree": None,
                  "sqlite3": None}),
    *comparisons("registry load, 100,000 keys", "registry_bench", "load 100000 keys",
                 {"GKeyFile": 0.5, "SimpleIni": None, "inih and std::map": None, "Boost property_tree": None,
                  "sqlite3": None}),
    Growth("registry load, growth", "registry_bench", "load {} values / GKeyFile", 1.1, sizes=(1_000, 10_000, 100_000)),
    *comparisons("registry save, 100,000 values", "registry_bench", "save 100000 values",
                 {"hand-written": 1.15, "GKeyFile": None, "SimpleIni": None, "sqlite3": None}),
    Growth("registry save, growth", "registry_bench", "save {} values / hand-written", 1.1,
           sizes=(1_000, 10_000, 100_000)),
    *comparisons("the same with syncs", "registry_bench", "save 100000 values, synced", {"hand-written": 1.15}),
    *comparisons("10,000 look-ups in 100,000 values", "registry_bench", "10,000 look-ups in 100000 values",
                 {"binary search": 1.15}),

    *comparisons("event: check", "event_bench", "check", {"one atomic load": 1.15}),
    *comparisons("event: reset", "event_bench", "reset", {"a mutex": 1.15, "GLib": None}),
    *comparisons("event: signalled wait", "event_bench", "signalled wait", {"a mutex": 1.15, "GLib": None}),
    *comparisons("event: set", "event_bench", "set", {"a mutex and a yield": 1.05, "GLib and a yield": None}),
    *comparisons("event: wake of one", "event_wake_bench", "wake of one",
                 {"signal and yield under the lock": 1.1, "the same with GLib": None}),
    *comparisons("event: wake of 16", "event_wake_bench", "wake of 16",
                 {"signal and yield under the lock": 1.1, "the same with GLib": None}),

    *comparisons("queue: a task on two processors", "queue_bench", "task",
                 {"ring, event, yield and copy": 1.15, "the ring with its wake-up behind the lock": None,
                  "GLib's queue": None}),
    *comparisons("queue: a refused task", "queue_bench", "refused tenth task", {"one copy": 1.0}),

    *(figure for work, mark in (("copy", 5.0), ("set", 5.0), ("print", 4.5)) for figure in (
        Figure(f"envelope: {work}", "envelope_bench", f"{work} / four exact blocks", mark),
        Figure(f"envelope: {work}", "envelope_bench", f"{work} / jansson"),
        Figure(f"envelope: {work}", "envelope_json_c_bench", f"{work} / json-c"))),
    Figure("envelope: memory of a copy", "envelope_bench", "heap of a copy", 450, "bytes"),
    Figure("status query, allocations", "status_query_bench", "status query", 0, "allocations"),
    Figure("status query", "status_query_bench", "status query", None, "per_second"),

    *comparisons("trace: a line that is switched off", "trace_bench", "line switched off",
                 {"one predicted branch": 1.2}),
    *comparisons("trace: a line that is written", "trace_bench", "line switched on", {"vsnprintf": 1.15}),

    Figure("child start, memory that is touched where it says \"large\"", "child_process_bench", "a large process",
           None, "mib"),
    *(figure for process in ("small", "50 MiB touched", "large", "many descriptors") for figure in (
        Figure("child start", "child_process_bench", f"start / vfork + close_range, {process}", 1.1),
        Figure("child start", "child_process_bench", f"start / posix_spawn, {process}"),
        Figure("child start", "child_process_bench", f"start / fork, {process}"),
        Figure("query through the shell", "child_process_bench", f"query / popen, {process}", 1.05))),

    Figure("request to command", "request_bench", "request to command / its parts alone", 1.2),
    OwnShare("request to command, own share", "request_bench", "request to command / its parts alone", 0.11,
             "own_ms"),
    Figure("load to started, beyond the 100 ms of settling", "load_bench", "load to started", 0.7, "started_ms"),
    Figure("of it the pause itself, which ends late", "load_bench", "load to started", None, "sleep_late_ms"),
    Figure("load, processor time of dlopen", "load_bench", "load to started", 0.23, "dlopen_ms"),

    Figure("added to a host: memory", "footprint_bench", "footprint", 656, "resident_kib"),
    *(Figure(f"of it {part}", "footprint_bench", "footprint", None, f"{counter}_kib") for part, counter in FOOTPRINT),
    Figure("added to a host: threads", "footprint_bench", "footprint", 3, "threads"),
    Figure("the module's file, stripped", "footprint_bench", "footprint", 515, "stripped_kib"),

    Figure("idle watcher: processor time", "idle_bench", "idle / the poll alone", 1.1, "cpu_ratio"),
    Figure("idle watcher: wake-ups", "idle_bench", "idle / the poll alone", 1.1, "wake_ups_ratio"),
    Figure("idle watcher: processor time", "idle_bench", "idle / the poll alone", None, "cpu_ms_a_minute"),

    *comparisons("explain, 1 GiB of trace", "explain_bench", "explain, 1 GiB",
                 {"memchr and a memmem a line": 2.0, "grep -c of one text": None}),
    Figure("the same, memory at its peak", "explain_bench", "explain, 1 GiB", 64 * 1024, "peak_kib"),
]
