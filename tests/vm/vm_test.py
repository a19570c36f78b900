"""vm_test.py DIRECTORY HOST MODULE [NAME...]: the module takes machines down, and leaves them up.

Each case is a guest of its own, in emulation. DIRECTORY keeps what they are made of, and what each said on its console.
With names only the cases that hold one of them are run."""

import concurrent.futures
import dataclasses
import pathlib
import re
import resource
import secrets
import sys
import tempfile
import time

from cases import CASES, COMMAND, TOKEN, Case
from guest import Guest
from guest_files import FAMILIES, case_files, common_files
from packages import Packages

AT_A_TIME = 2
KERNEL = "console=ttyS0 loglevel=1 systemd.show_status=0 systemd.log_target=console systemd.log_level=warning "


@dataclasses.dataclass
class Run:
    case: Case
    family: str
    ending: str
    seconds: float
    console: list[str]

    def faults(self) -> list[str]:
        found = [] if self.ending == self.case.ending else [f"ended {self.ending}, not {self.case.ending}"]
        at = 0
        for text in self.case.says:
            place = next((at for at in range(at, len(self.console)) if text in self.console[at]), None)
            if place is None:
                found.append(f"does not say \"{text}\" in its turn")
                break
            at = place + 1
        commands = sum(COMMAND in line for line in self.console)
        if commands != self.case.commands:
            found.append(f"{commands} commands, not {self.case.commands}")
        found += [f"says \"{text}\"" for text in self.case.never if any(text in line for line in self.console)]
        return found


def run(case: Case, family: str, packages: Packages, common: bytes) -> Run:
    token = secrets.token_hex(16)
    begin = time.monotonic()
    with tempfile.NamedTemporaryFile(prefix="em_guest.") as initramfs:
        initramfs.write(common)
        initramfs.write(case_files(token, case.script(), case.gate).packed())
        initramfs.flush()
        with Guest(packages, KERNEL + case.marker.replace(TOKEN, token), pathlib.Path(initramfs.name),
                   case.serial.replace(TOKEN, token), case.processor) as guest:
            guest.watch()
    return Run(case, family, guest.ending, time.monotonic() - begin, guest.console)


def report(done: Run, consoles: pathlib.Path) -> bool:
    faults = done.faults()
    name = re.sub(r"\W+", "_", f"{done.family} {done.case.name}")
    (consoles / f"{name}.txt").write_text("\n".join(done.console) + "\n")
    print(f"{'FAILED' if faults else 'ok':7}{done.family:8} {done.case.name:34} {done.ending:15}{done.seconds:6.1f} s",
          flush=True)
    if faults:
        print("\n".join([*(f"    {fault}" for fault in faults), *(f"    | {line}" for line in done.console)]))
    return not faults


def main() -> None:
    directory, host, module = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
    names = sys.argv[4:]
    chosen = [(case, family) for case in CASES for family in case.families
              if not names or any(name in f"{family} {case.name}" for name in names)]
    if not chosen:
        sys.exit(f"no case holds {' or '.join(names)}")
    consoles = directory / "consoles"
    consoles.mkdir(parents=True, exist_ok=True)
    packages = Packages(directory)
    begin = time.monotonic()
    common = {}
    for family in {family for _, family in chosen}:
        files = common_files(packages, host, module)
        FAMILIES[family](files, packages)
        common[family] = files.packed()
    with concurrent.futures.ThreadPoolExecutor(AT_A_TIME) as pool:
        jobs = [pool.submit(run, case, family, packages, common[family]) for case, family in chosen]
        passed = [report(job.result(), consoles) for job in concurrent.futures.as_completed(jobs)]
    sizes = ", ".join(f"{family} {len(packed) / 1e6:.1f} MB" for family, packed in sorted(common.items()))
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    print(f"{sum(passed)} of {len(passed)} guests as they must, {time.monotonic() - begin:.0f} s, "
          f"{used.ru_utime + used.ru_stime:.0f} s of processor time; initramfs: {sizes}")
    sys.exit(0 if all(passed) else 1)


if __name__ == "__main__":
    main()
