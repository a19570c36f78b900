"""What is done to a guest, and what must come of it."""

import dataclasses
import shlex

DOWN, RESET, HALTED, UP = "guest-shutdown", "guest-reset", "halted", "up"
BOTH = ("busybox", "systemd")
WAY_DOWN = "process 1: way down"
COMMAND = "ExecuteCmd initiated /sbin/"  # written before the command runs
TOKEN = "{token}"


@dataclasses.dataclass(frozen=True)
class Case:
    name: str
    host: str  # the host's options
    ending: str
    says: tuple[str, ...] = ()  # on the console, in this order
    never: tuple[str, ...] = ()
    commands: int = 0  # that the module starts
    gate: str | None = "Enabled"
    families: tuple[str, ...] = BOTH
    run: str = "exec /guest/host /guest/em_shutdown.so {host}"
    marker: str = f"em_guest.token={TOKEN}"
    serial: str = TOKEN
    processor: str = "qemu64"

    def script(self) -> str:
        return self.run.format(host=self.host)


def down(name: str, host: str, ending: str, command: str, before: tuple[str, ...] = (), note: str = "no job has ended",
         **further) -> Case:
    """The command is started, once, and process 1 goes its way down behind it."""
    return Case(name, host, ending, (*before, f"{COMMAND}{command}", f"{WAY_DOWN}, {note}"), commands=1, **further)


def up(name: str, host: str, *says: str, never: tuple[str, ...] = (), **further) -> Case:
    return Case(name, host, UP, says, (WAY_DOWN, *never), **further)


def with_job(job: str) -> str:
    return f"--job {shlex.quote(job)}"


ENDED_JOB = ("job: begins", "job: ended")
REFUSED = "Maintenance Mode not set. Shutdown aborted!"
UNDER_GUARD = {"families": ("busybox",), "never": ("module:",)}

CASES = (
    down("off", "--request off", DOWN, "poweroff"),
    down("reset", "--request reset", RESET, "reboot"),
    down("halt by reply", "--reply halt", HALTED, "halt"),
    down("off by reply", "--reply off", DOWN, "poweroff"),
    down("schedule", "--schedule", DOWN, "poweroff", ("Request system shutdown!",)),
    down("off behind a job", f"--request off {with_job('/guest/job')}", DOWN, "poweroff", ENDED_JOB,
         "the job has ended"),
    down("reset behind a job", f"--request reset {with_job('/guest/job')}", RESET, "reboot", ENDED_JOB,
         "the job has ended"),
    down("halt behind a job", f"--reply halt {with_job('/guest/job')}", HALTED, "halt", ENDED_JOB,
         "the job has ended"),
    down("off behind a job past its limit", f"--request off --job-limit 1 {with_job('/guest/hung_job')}", DOWN,
         "poweroff", ("job: begins", "Timeout waiting for cleanup program")),
    up("no maintenance tool", "--request off", REFUSED, "host: status aborted", "host: done", gate=None),
    up("maintenance mode off", "--request reset", REFUSED, "host: status aborted", "host: done", gate="Disabled"),
    up("maintenance mode in lower case", "--request off", REFUSED, "host: status aborted", "host: done",
       gate="enabled"),
    up("maintenance mode off, by reply", "--reply halt", REFUSED, "host: status aborted", "host: done",
       gate="Disabled"),
    up("cancelled in the delay", "--request off --delay 3 --cancel", "host: status delay running",
       "host: status cancelled", "System shutdown was cancelled by ORBA call!", "host: status aborted", "host: done"),
    up("not root", "--request off --uid 1000", "PrepareSystemShutdown(): FAILED!", "host: status executing",
       "host: done"),
    up("halt as a request", "--request halt", "host: answered with 25", "host: done"),
    # That the judge can tell: the same machine ended by force shows no way down.
    *(Case(f"{command} by force, without a host", "", ending, ("guest: up",), (WAY_DOWN,),
           run=f"sleep 3; exec /sbin/{command} -f") for command, ending in
      (("poweroff", DOWN), ("reboot", RESET), ("halt", HALTED))),
    # That the host works in its guest only.
    up("guard: another command line", "--request off", "host: refused: the kernel's command line",
       marker="em_guest.token=" + 32 * "0", **UNDER_GUARD),
    up("guard: another machine", "--request off", "host: refused: the firmware", serial=32 * "0", **UNDER_GUARD),
    up("guard: another processor", "--request off", "host: refused: the processor",
       processor="qemu64,tcg-cpuid=off", **UNDER_GUARD),
    up("guard: not by process 1", "--request off", "host: refused: process 1",
       run="/guest/host /guest/em_shutdown.so {host}; exit", **UNDER_GUARD),
)
