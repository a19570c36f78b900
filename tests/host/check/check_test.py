"""check_test.py VOLAD_DEV EXAMPLE: `volad-dev check` of a healthy installation, and of one with each fault in it."""

import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

from tool_rig import ToolTest, volad_dev

ROOT = pathlib.Path(sys.argv[2])
EXAMPLE = ROOT / "examples/EVENTMSG.XML"
TRACE = "opt/Orlendix/vital/etc/velcor/TellmarkSuite/TraceConfig"
STORE = "opt/Orlendix/vital/etc/ombrad"
GLOBAL, MODULE, REGISTRY = f"{TRACE}/global_trace.ini", f"{TRACE}/m.ini", f"{STORE}/registry"
MESSAGES, JOB = "opt/host/bin/EVENTMSG.XML", "opt/host/job.sh"
LOCATOR = "[SYSTEM]\n[CurrentControlSet]\n[Control]\n[UUID]\n[7E2D4A91-5B3C-41F8-9A6E-2C8B17D04F63]\n"
LOCATED = LOCATOR + "Host Warden=s=SOFTWARE\\Aldmere\\Management\\Host Warden\n" + 5 * "\n"
ROOTS = "[DATA]\nDataRoot=s=/opt/host/data\n\n[EM_SHUTDOWN]\nPowerSwitchEvent (ON/OFF)=d=1\n\n" \
        "[Setup]\nBinRoot=s=/opt/host/bin/\n\n"
PRODUCT = "[SOFTWARE]\n[Aldmere]\n[Management]\n[Host Warden]\n" + ROOTS + 4 * "\n"
TREE = "[HKEY_LOCAL_MACHINE]\n" + PRODUCT + LOCATED + "\n\n"
PROGRAMS = ("bin/sh", "sbin/poweroff", "sbin/reboot", "sbin/halt", "usr/bin/localcli", "usr/bin/systemctl",
            "usr/sbin/ombrad", "usr/bin/env", "usr/bin/python3")
SETTINGS = {"job": {"name": "/opt/host/job.sh", "timeout": 60}}


def healthy(root: pathlib.Path):
    for name, text in ((GLOBAL, "[GlobalDebugSettings]\nDynamicUpdate=30\n[EndOfFile]\n"),
                       (MODULE, "; the module\n[EM_SHUTDOWN]\nFileDebugLevel = 3 ; all\n\n[EndOfFile]\n"),
                       (REGISTRY, TREE), (JOB, "#!/bin/sh\nexit 0\n"), ("settings.json", json.dumps(SETTINGS)),
                       ("opt/host/data/none", ""), *((name, "#!\n") for name in PROGRAMS)):
        (root / name).parent.mkdir(parents=True, exist_ok=True)
        (root / name).write_text(text)
    for name in (*PROGRAMS, JOB):
        (root / name).chmod(0o755)
    (root / MESSAGES).parent.mkdir()
    shutil.copy(EXAMPLE, root / MESSAGES)


# Ways to do damage. Each takes the root.
def write(name: str, text: str | bytes):
    return lambda root: (root / name).write_bytes(text if isinstance(text, bytes) else text.encode())


def change(name: str, old: str, new: str):
    def replace(root: pathlib.Path):
        text = (root / name).read_text()
        assert old in text, name
        (root / name).write_text(text.replace(old, new))
    return replace


def remove(*names: str):
    def take_away(root: pathlib.Path):
        for path in (root / name for name in names):
            shutil.rmtree(path) if path.is_dir() else path.unlink()
    return take_away


def mode(name: str, bits: int):
    return lambda root: (root / name).chmod(bits)


def instead(name: str, make):
    def take_the_place(root: pathlib.Path):
        remove(name)(root)
        make(root / name)
    return take_the_place


def settings(**job):
    return write("settings.json", json.dumps({"job": {**SETTINGS["job"], **job}}))


def both(*ways):
    return lambda root: [way(root) for way in ways]


def give(name: str):
    return lambda root: os.chown(root / name, 1234, 1234)


def big(path: pathlib.Path):
    with open(path, "wb") as file:
        file.truncate(1 << 40)


def elf(interpreter: bytes, table: int = 64) -> bytes:
    """As much of a binary as says which loader it wants."""
    header = struct.pack("<16sHHIQQQIHHHHHH", b"\x7fELF\2\1\1", 2, 62, 1, 0, table, 0, 0, 64, 56, 1, 0, 0, 0)
    return header + struct.pack("<IIQQQQQQ", 3, 4, 120, 0, 0, len(interpreter), len(interpreter), 1) + interpreter


ini = "[EM_SHUTDOWN]\nFileDebugLevel=3\n{}\n[EndOfFile]\n".format
level = "; a\n[EM_SHUTDOWN]\n{}\n[EndOfFile]\n".format
root_key = lambda old, new: change(REGISTRY, old, new)  # noqa: E731

# The fault, and the finding: file, line and code; the severity stands in the table of the codes.
FAULTS = (
    (remove(TRACE), TRACE, None, "trace-directory-missing"),
    (remove(GLOBAL, MODULE), TRACE, None, "trace-directory-empty"),
    (remove(MODULE), TRACE, None, "trace-section-missing"),
    (instead(TRACE, lambda path: path.touch()), TRACE, None, "unreadable"),
    (write(MODULE, "[EM_SHUTDOWN]\nFileDebugLevel=3\n"), MODULE, 2, "end-marker-missing"),
    (write(MODULE, ""), MODULE, None, "end-marker-missing"),
    (write(MODULE, ini("") + "[M]\n"), MODULE, 5, "end-marker-not-last"),
    (write(MODULE, ini("") + "; see x]\n"), MODULE, 5, "end-marker-not-last"),
    (write(MODULE, ini("") + "\n; a comment\n TraceFlags=1\n"), MODULE, 7, "behind-end-marker"),
    (write(MODULE, ini("; \0")), MODULE, 3, "nul-in-file"),
    (write(MODULE, level("MyFileDebugLevel=9\nFileDebugLevel=3")), MODULE, 3, "key-inside-text"),
    (write(MODULE, level(";FileDebugLevel=3")), MODULE, 3, "key-inside-text"),
    (write(MODULE, level("FileDebugLevel 3\nTraceFlags=7")), MODULE, 3, "key-inside-text"),
    (write(MODULE, level("FileDebugLevel=\nTraceFlags=0")), MODULE, 3, "number-not-whole"),
    (write(MODULE, level("FileDebugLevel=3x")), MODULE, 3, "number-not-whole"),
    (write(MODULE, level("FileDebugLevel=03")), MODULE, 3, "number-not-whole"),
    (write(MODULE, level("FileDebugLevel=-1")), MODULE, 3, "number-not-whole"),
    (write(MODULE, level("FileDebugLevel=0x100000001")), MODULE, 3, "number-not-whole"),
    (write(MODULE, level("FileDebugLevel=6")), MODULE, 3, "level-out-of-range"),
    (write(MODULE, level("FileDebugLevel=0xFFFFFFFF")), MODULE, 3, "level-out-of-range"),
    (write(MODULE, level("filedebuglevel=3")), MODULE, 2, "trace-level-missing"),
    (write(MODULE, ini("MemoryTracesFlag=1")), MODULE, 3, "read-on-reload-only"),
    (write(MODULE, level("; from [0 on\n]\nFileDebugLevel=3")), MODULE, 3, "header-hidden"),
    (write(MODULE, level("; 0 [off] to 5\nFileDebugLevel=3")), MODULE, 3, "section-cut"),
    (write(MODULE, "; an [open bracket\n" + ini("")), MODULE, 1, "header-hidden"),
    (write(MODULE, ini("[em_shutdown]\nFileDebugLevel=1")), MODULE, 3, "section-shadowed"),
    (write(f"{TRACE}/z.ini", "\n" + ini("")), f"{TRACE}/z.ini", 2, "section-shadowed"),
    (write(f"{TRACE}/a.ini.old", "[EndOfFile]"), f"{TRACE}/a.ini.old", None, "trace-file-name"),
    (write(f"{TRACE}/a.ini", "[globaldebugsettings]\n[EndOfFile]"), f"{TRACE}/a.ini", 1, "global-section-elsewhere"),
    (change(GLOBAL, "30", "30s"), GLOBAL, 2, "number-not-whole"),
    (instead(MODULE, os.mkfifo), MODULE, None, "unreadable"),
    (instead(MODULE, os.mkdir), MODULE, None, "unreadable"),
    (instead(MODULE, big), MODULE, None, "unreadable"),
    (instead(MODULE, lambda path: path.symlink_to("/etc/passwd")), MODULE, None, "unreadable"),
    (remove(STORE), STORE, None, "store-directory-missing"),
    (remove(REGISTRY), STORE, None, "registry-missing"),
    (lambda root: (root / REGISTRY).rename(root / f"{REGISTRY}.old"), REGISTRY, None, "registry-fallback"),
    (write(f"{REGISTRY}.default", "[A]\n\n\n"), f"{REGISTRY}.default", None, "no-value"),
    (root_key("[Setup]\n", "[Setup]\nlost\n"), REGISTRY, 13, "no-equals-sign"),
    (write(REGISTRY, TREE.replace("\n", "\r\n")), REGISTRY, None, "crlf-line-ends"),
    (write(f"{REGISTRY}.old", TREE.replace("\n", "\r\n")), f"{REGISTRY}.old", None, "crlf-line-ends"),
    (both(write(REGISTRY, "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Aldmere]\n[Management]\n[Host Warden]\n[DATA]\r\n"
                          "EM_SHUTDOWN=s=own\n\r\n")), REGISTRY, None, "crlf-line-ends"),
    (instead(REGISTRY, os.mkfifo), REGISTRY, None, "unreadable"),
    (both(lambda root: (root / REGISTRY).rename(root / "opt/host/r"),
          lambda root: (root / REGISTRY).symlink_to("/opt/host/r")), REGISTRY, None, "symbolic-link"),
    (lambda root: (root / f"{REGISTRY}.lock").touch(0o644), f"{REGISTRY}.lock", None, "lock-refused"),
    (lambda root: (root / f"{REGISTRY}.new").mkdir(), f"{REGISTRY}.new", None, "name-of-a-directory"),
    (root_key("Warden=s=SOFT", "Warden=s=SELT"), REGISTRY, None, "locator-leads-nowhere"),
    (root_key("Warden=s=SOFTWARE\\Aldmere\\Management\\Host Warden", "Warden=d=1"), REGISTRY, None, "locator-not-text"),
    (write(REGISTRY, "[HKEY_LOCAL_MACHINE]\nA=s=b\n\n\n"), REGISTRY, None, "product-key-missing"),
    (root_key("BinRoot=s=/opt/host/bin/", "BinRoot=d=1"), REGISTRY, None, "root-not-text"),
    (root_key("BinRoot=s=/opt/host/bin/", "Other=s=1"), REGISTRY, None, "roots-missing"),
    (root_key("/opt/host/bin/", "/opt/host/bin"), REGISTRY, None, "binroot-without-separator"),
    (root_key("/opt/host/bin/", "opt/host/bin/"), REGISTRY, None, "root-not-absolute"),
    (root_key("/opt/host/bin/", "/opt/host/nowhere/"), REGISTRY, None, "root-directory-missing"),
    (remove("opt/host/data"), REGISTRY, None, "root-directory-missing"),
    (root_key("(ON/OFF)=d=1", "(ON/OFF)=s=1"), REGISTRY, None, "property-not-a-number"),
    (both(write("opt/host/data/EM_SHUTDOWN.x", ""), write("opt/host/bin/EM_SHUTDOWN.x", "")),
     "opt/host/bin/EM_SHUTDOWN.x", None, "config-file-shadowed"),
    (both(write("EM_SHUTDOWN.x", ""), write("opt/host/data/EM_SHUTDOWN.x", "")),
     "opt/host/data/EM_SHUTDOWN.x", None, "config-file-shadowed"),
    (lambda root: (root / "opt/host/data/EM_SHUTDOWN.x").mkdir(), "opt/host/data/EM_SHUTDOWN.x", None,
     "config-file-is-directory"),
    (root_key("DataRoot=s", "EM_SHUTDOWN=s=own\nDataRoot=s"), REGISTRY, None, "config-file-missing"),
    (remove(MESSAGES), MESSAGES, None, "message-file-missing"),
    (write(MESSAGES, "<a>"), MESSAGES, None, "not-loaded"),
    (instead(MESSAGES, os.mkfifo), MESSAGES, None, "unreadable"),
    (lambda root: shutil.copy(EXAMPLE, root / "EVENTMSG.XML"), MESSAGES, None, "message-file-shadowed"),
    (change(MESSAGES, '"0x0E0001"', '"0x0E0000"'), MESSAGES, None, "code-twice"),
    (settings(name="/opt/host/job.sh " + 300 * "x", directory="/opt/host"), "settings.json", None, "job-text-cut"),
    (settings(name="/opt/host/no.sh"), "settings.json", None, "job-missing"),
    (settings(name="no.sh"), "settings.json", None, "job-missing"),
    (settings(name="exec ./no.sh", directory="/opt"), "settings.json", None, "job-missing"),
    (mode(JOB, 0o644), JOB, None, "job-not-executable"),
    (instead(JOB, os.mkfifo), JOB, None, "job-not-executable"),
    (write(JOB, "#!/bin/no\n"), JOB, 1, "job-interpreter-missing"),
    (write(JOB, "#!/bin/sh\r\n"), JOB, 1, "job-interpreter-missing"),
    (write(JOB, "#!/usr/bin/env no\n"), JOB, 1, "job-interpreter-missing"),
    (write(JOB, elf(b"/lib64/ld-no.so\0")), JOB, None, "job-interpreter-missing"),
    (write(JOB, elf(b"/usr/bin/env\0")), None, None, None),
    (write(JOB, elf(b"/no", table=2**64 - 1)), None, None, None),
    (write(JOB, elf(b"/no")[:100]), None, None, None),
    (settings(directory="/opt/none"), "settings.json", None, "job-directory-missing"),
    (settings(name="/opt/host/job.sh --to /srv/x"), "settings.json", None, "job-directory-from-arguments"),
    (settings(timeout=91), "settings.json", None, "job-limit-too-long"),
    (settings(timeout=0), "settings.json", None, "job-not-waited-for"),
    (remove("usr/bin/localcli"), "PATH", None, "gate-tool-missing"),
    (mode("usr/bin/localcli", 0o644), "PATH", None, "gate-tool-missing"),
    (mode("bin/sh", 0o644), "bin/sh", None, "shell-missing"),
    (remove("sbin/halt"), "sbin/halt", None, "power-command-missing"),
    (lambda root: (root / f"{STORE}/ombradAction.file").mkdir(), f"{STORE}/ombradAction.file", None,
     "restart-file-blocked"),
    (remove("usr/sbin/ombrad"), "usr/sbin/ombrad", None, "restart-command-missing"),
    (mode("sbin/halt", 0o757), "sbin/halt", None, "others-can-replace"),
    (mode("usr/bin", 0o777), "usr/bin", None, "others-can-replace"),
    (mode("usr/bin", 0o1777), "usr/bin", None, "others-can-replace"),
    (mode("opt", 0o777), "opt", None, "others-can-replace"),
    (both(lambda root: (root / "sbin").rename(root / "usr/s"), lambda root: (root / "sbin").symlink_to("usr/s"),
          mode("usr/s", 0o777)), "sbin", None, "others-can-replace"),
    (mode("opt", 0o1777), None, None, None),
    (mode(STORE, 0o775), None, None, None),
    (mode(MODULE, 0o666), MODULE, None, "others-can-write"),
    (mode(TRACE, 0o1777), TRACE, None, "others-can-write"),
    (mode(REGISTRY, 0o646), REGISTRY, None, "others-can-write"),
    (mode(MESSAGES, 0o646), MESSAGES, None, "others-can-write"),
)
# Of these only root can make one.
GIVEN = ((give(JOB), JOB, None, "others-can-replace"),
         (both(lambda root: os.chown(root / "opt", 0, 1234), mode("opt", 0o775)), "opt", None, "others-can-replace"),
         (lambda root: os.chown(root / "opt", 0, 1234), None, None, None),
         (both(give(MODULE), mode(MODULE, 0o664)), MODULE, None, "others-can-write"))

# These have no row here: the tests of registry and messages find them.
ELSEWHERE = {"nul", "behind-key-name", "too-deep", "no-type", "no-number", "number-too-large",
             "not-hexadecimal", "above-a-byte", "behind-the-end", "key-left-open", "name-twice",
             "name-of-value-and-key", "no-events", "no-code", "no-english-summary",
             "path-not-absolute", "variable-not-decimal",  # tests of their own, below
             "directory-not-writable",  # likewise
             # And these want a full memory, a tree of 64 MiB, ten seconds.
             "no-memory", "tree-too-large", "lock-held"}

# Ten at once, by file and code, of each subject one at least: none of them hides another.
TEN = ((MODULE, "section-cut"), (f"{TRACE}/z.ini", "section-shadowed"), (GLOBAL, "number-not-whole"),
       (f"{REGISTRY}.new", "name-of-a-directory"), (REGISTRY, "binroot-without-separator"),
       (REGISTRY, "property-not-a-number"), (MESSAGES, "code-twice"), (JOB, "job-not-executable"),
       ("sbin/halt", "power-command-missing"), (MODULE, "others-can-write"))


class Check(ToolTest):
    def setUp(self):
        super().setUp()
        self.root = self.directory
        healthy(self.root)

    def check(self, *arguments: str, settings: bool = True) -> subprocess.CompletedProcess:
        given = ("--settings", str(self.root / "settings.json")) if settings else ()
        return volad_dev("check", "--root", str(self.root), *given, *arguments, cwd="/",
                         env={"PATH": "/bin", "TM_LOG_DEBUG_LEVEL": "1"})

    def findings(self, *arguments: str) -> list[dict]:
        done = self.check(*arguments, "--json", "-")
        self.assertEqual(done.stderr, "")
        found = json.loads(done.stdout)["findings"]
        errors = [row for row in found if row["severity"] == "error"]
        self.assertEqual(done.returncode, 1 if errors else 0)
        return found

    def places(self, *arguments: str) -> list[tuple[str, int | None, str]]:
        found = self.findings(*arguments)
        self.assertNotIn(str(self.root), str(found), "all paths are those of the machine")
        self.said = [f"{row['code']}: {row['text']} | {row['do']}".replace("\r", "\\r") for row in found]
        return [(row["file"].removeprefix("/"), row["line"], row["code"]) for row in found]

    def test_a_healthy_installation_has_no_finding(self):
        done = self.check()
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
        self.assertEqual(self.findings(), [])

    def test_each_code_has_its_fault(self):
        page = (ROOT / "docs/check.md").read_text()
        codes = set(re.findall(r"^\| `([a-z-]+)` \| (?:error|warning) \|", page, re.MULTILINE))
        self.assertEqual(codes, ELSEWHERE | {row[3] for row in FAULTS + GIVEN if row[3]})

    def test_ten_faults_are_ten_findings(self):
        chosen = [next(row for row in FAULTS if row[1::2] == ten) for ten in TEN]
        for fault, *_ in chosen:
            fault(self.root)
        self.assertEqual(sorted(self.places(), key=str), sorted((row[1:] for row in chosen), key=str))
        text = self.check().stdout.splitlines()
        self.assertEqual(len(text), 10)
        self.assertIn(f"error: /{GLOBAL}:2: DynamicUpdate is \"30s\", taken as 30. "
                      "Write a decimal number without leading zeros, or one behind 0x.", text)

    def test_a_file_that_is_wrong_throughout_does_not_fill_the_screen(self):
        write(REGISTRY, 1200 * "x\n")(self.root)
        found = self.findings()
        self.assertEqual([row["code"] for row in found], 1000 * ["no-equals-sign"] + ["no-value"])
        self.assertEqual(found[999]["text"], 'has no "=" and is skipped, and 200 findings more in this file')

    def test_what_others_may_write_is_named_by_its_link_and_where_that_leads(self):
        (self.root / "sbin").rename(self.root / "usr/s")
        (self.root / "sbin").symlink_to("usr/s")
        for path, text in (("usr/s", 'is "/usr/s", which may be'), ("usr/bin", "may be")):
            mode(path, 0o777)(self.root)
            found = {row["file"]: row["text"] for row in self.findings()}
            named = "/sbin" if path == "usr/s" else f"/{path}"
            self.assertEqual(found[named], f"{text} written by everybody (mode 0777)")

    def test_links_stay_inside_the_root(self):
        for name, target in ((MODULE, "/srv/m"), (MESSAGES, "../../../srv/messages"), ("usr/bin/localcli", "/srv/tool"),
                             (JOB, "/../../srv/job"), (REGISTRY.removesuffix("/registry"), "/srv/store")):
            (self.root / "srv").mkdir(exist_ok=True)
            (self.root / name).rename(self.root / "srv" / pathlib.Path(target).name)
            (self.root / name).symlink_to(target)
        self.assertEqual(self.findings(), [])
        (self.root / MODULE).unlink()
        (self.root / MODULE).symlink_to("/usr/bin/env")  # which is there outside
        self.assertEqual(self.places(), [(MODULE, 1, "end-marker-missing")])

    def test_where_the_host_stands_and_what_its_environment_is(self):
        shutil.copy(EXAMPLE, self.root / "opt/host/data/EVENTMSG.XML")
        self.assertEqual(self.places("--cwd", "/opt/host/data"), [(MESSAGES, None, "message-file-shadowed")])
        self.assertEqual(self.places("--path", "/usr/bin:"), [("PATH", None, "path-not-absolute")])
        environment = self.root / "environment"
        environment.write_text("PATH=/sbin\nTM_LOG_DEBUG_LEVEL=5\n")
        self.assertEqual(self.places("--env-from", str(environment)), [("environment", None, "gate-tool-missing")])
        self.assertEqual(self.places("--env-from", str(environment), "--path", "/usr/bin"), [])
        self.assertEqual(self.shown("--env-from", str(environment))["trace.level"], [(5, "TM_LOG_DEBUG_LEVEL")])

    def test_the_variables_of_the_trace_are_read_as_the_module_reads_them(self):
        environment = self.root / "environment"
        for text, found in (("TM_LOG_DEBUG_LEVEL=9\n", [(1, "level-out-of-range")]),
                            ("TM_LOG_DEBUG_LEVEL=9\n\nTM_LOG_DEBUG_LEVEL=05\n", []),
                            ("A=1\nTM_LOG_DEBUG_LEVEL=high\n", [(2, "variable-not-decimal")]),
                            ("TM_LOG_DEBUG_LEVEL=\n", [(1, "variable-not-decimal")]),
                            ("TM_LOG_DEBUG_LEVEL=0x3\n", [(1, "variable-not-decimal")]),
                            ("TM_LOG_DEBUG_LEVEL=4294967299\n", [(1, "variable-not-decimal")]),
                            ("TM_LOG_DYNAMIC_UPDATE=x\nTM_LOG_DEBUG_LEVEL=-1\n",
                             [(2, "variable-not-decimal"), (1, "variable-not-decimal")]),
                            ("TM_LOG_DYNAMIC_UPDATE=600\nTM_LOG_DEBUG_LEVEL=0\n", [])):
            environment.write_text(text)
            self.assertEqual(self.places("--env-from", str(environment), "--path", "/usr/bin"),
                             [("environment", *each) for each in found], text)
        remove(MODULE, GLOBAL)(self.root)  # no variable counts
        environment.write_text("TM_LOG_DEBUG_LEVEL=9\n")
        self.assertEqual(self.places("--env-from", str(environment)), [(TRACE, None, "trace-directory-empty")])

    def shown(self, *arguments: str) -> dict[str, list[tuple]]:
        done = self.check("--show", "--json", "-", *arguments)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        shown: dict[str, list[tuple]] = {}
        for row in json.loads(done.stdout)["values"]:
            shown.setdefault(row["name"], []).append((row["value"], row["source"]))
        return shown

    def test_what_counts_is_shown(self):
        (self.root / "opt/host/data/EM_SHUTDOWN.ini").touch()
        root_key("[Setup]\n", "[Setup]\nFileRoot=s=/opt/host\n")(self.root)
        settings = "/settings.json"
        expected = {
            "trace.level": [(3, f"/{MODULE}")], "trace.interval": [(30, f"/{GLOBAL}")],
            "trace.section": [(f"/{MODULE}", None)], "trace.file": [(f"/{GLOBAL}", None), (f"/{MODULE}", None)],
            "registry.productKey": [("SOFTWARE\\Aldmere\\Management\\Host Warden", None)],
            "registry.binRoot": [("/opt/host/bin/", None)], "registry.fileRoot": [("/opt/host", None)],
            "registry.dataRoot": [("/opt/host/data", None)],
            "registry.powerSwitchEvents": [(1, f"/{REGISTRY}")], "messages.file": [(f"/{MESSAGES}", None)],
            "configuration.file": [("/opt/host/data/EM_SHUTDOWN.ini", None)],
            "gate.tool": [("/usr/bin/localcli", None)], "settings.shutdownDelay": [(60, "default")],
            "settings.forceDelay": [(120, "default")], "settings.job.name": [("/opt/host/job.sh", settings)],
            "settings.job.timeout": [(60, settings)], "settings.powerOffTimes.sunday": [(None, "default")]}
        shown = self.shown()
        self.assertEqual({name: shown.get(name) for name in expected}, expected)
        self.assertNotIn(str(self.root), str(shown))
        lines = self.check("--show").stdout.splitlines()
        self.assertIn(f"trace.level                       3  (/{MODULE})", lines)
        self.assertEqual(len(lines), sum(map(len, shown.values())))
        remove(MODULE, GLOBAL)(self.root)  # and no variable counts either
        (self.root / "environment").write_text("TM_LOG_DEBUG_LEVEL=5\n")
        self.assertEqual(self.shown("--env-from", str(self.root / "environment"))["trace.level"], [(0, "default")])
        remove(TRACE)(self.root)
        self.assertEqual(self.shown("--env-from", str(self.root / "environment"))["trace.level"],
                         [(5, "TM_LOG_DEBUG_LEVEL")])

    def test_the_store_of_a_directory_is_looked_at_alone(self):
        remove(MODULE)(self.root)
        mend = root_key("/opt/host/bin/", "/opt/host/bin")
        mend(self.root)
        done = volad_dev("check", "--dir", str(self.root / STORE))
        self.assertEqual((done.returncode, done.stdout.count("\n"), done.stderr), (0, 1, ""))
        self.assertIn("warning: ", done.stdout)
        refused = self.check("--dir", str(self.root / STORE))
        self.assertEqual((refused.returncode, refused.stderr.count("\n")), (2, 1))
        self.root.chmod(0o755)
        mode(STORE, 0o555)(self.root)
        done = volad_dev("check", "--dir", str(self.root / STORE), "--json", "-",
                         **({"user": 65534} if os.getuid() == 0 else {}))
        self.assertEqual([(row["line"], row["code"], row["text"]) for row in json.loads(done.stdout)["findings"]][0],
                         (None, "directory-not-writable", "no file can be made in it, nothing is saved: Permission denied"))

    def test_here_is_where_the_settings_lie_in_the_root(self):
        shutil.copy(self.root / JOB, self.root / "srv.sh")
        settings(name="{here}/srv.sh")(self.root)
        self.assertEqual(self.findings(), [])

    def test_each_fault_is_one_finding_in_its_words(self):
        said = []
        for number, (fault, file, line, codes) in enumerate(FAULTS + (GIVEN if os.getuid() == 0 else ())):
            with self.subTest(number=number, codes=codes):
                with tempfile.TemporaryDirectory() as directory:
                    self.root = pathlib.Path(directory)
                    healthy(self.root)
                    fault(self.root)
                    self.assertEqual(self.places(), [(file, line, code) for code in (codes or "").split()])
                    said += self.said if number < len(FAULTS) else []
        self.assertEqual("\n".join(said) + "\n", pathlib.Path(__file__).with_name("said.txt").read_text())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
