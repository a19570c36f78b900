"""timeline_test.py VOLAD_DEV ROOT: what is drawn of whole, hostile and partly known runs, and the picture of the README."""

import itertools
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

VOLAD_DEV, ROOT = sys.argv[1], pathlib.Path(sys.argv[2])
RUN = ROOT / "examples/rehearsal.json"
RESET_TRACE = ROOT / "tests/host/run/reset.trace"
STORIES = re.split(r"^= .*\n", (ROOT / "tests/host/story/stories.trace").read_text(errors="surrogateescape"), flags=re.MULTILINE)[1:]
HOSTILE = "<b>&\"']]>\n\r\t\x1b[2J\x7f\u0085\u2028\u202e\ufffe\uffff" + "\u65e5" * 200
SVG = "{http://www.w3.org/2000/svg}"
COLUMN = 6.7  # pixels of a character


def envelope(**members) -> dict:
    return {"SIP": {"V": 1, "CMD": [members]}}


def changed(change) -> str:
    run = json.loads(RUN.read_text())
    change(run)
    return json.dumps(run)


def hostile(run: dict):
    run["asked"] = {"by": HOSTILE, "operation": HOSTILE, "reason": 3, "reasonText": HOSTILE}
    run["job"].update(command=HOSTILE, output=[HOSTILE])
    run["command"]["line"] = HOSTILE
    run["messages"][2]["envelope"] = envelope(OC=517, DA=HOSTILE, X={HOSTILE: HOSTILE})
    for phase in run["phases"]:
        phase["name"] = HOSTILE


def ten_minutes(run: dict):
    late = [*run["messages"][-4:], run["statuses"][-1]]
    for thing in late:
        thing["at"] += 600
    run["phases"][-2]["seconds"] += 600
    run["phases"][-1]["start"] += 600
    run["job"]["seconds"] += 600
    run["command"]["seconds"] += 600


def questions(run: dict):
    run["messages"] += [{"at": 3.5, "direction": "to-module", "envelope": envelope(OC=523, DA=i)} for i in range(5000)]
    run["statuses"] += run["statuses"] * 500
    run["phases"] += run["phases"] * 500


def beyond(run: dict):
    for thing in (*run["messages"][:3], *run["statuses"][:1]):
        thing["at"] = -1e308
    run["phases"][2].update(start=-5e6, seconds=1e300)
    run["job"]["seconds"] = -3
    run["command"]["seconds"] = 9e6


def nothing(run: dict):
    run.update(job=None, command=None, phases=[], messages=[], statuses=[])


RUNS = {**{change.__name__: changed(change) for change in (hostile, ten_minutes, questions, beyond, nothing)},
        "example": RUN.read_text(), **{f"story {number}": story for number, story in enumerate(STORIES)}}


def timeline(text: str, *options: str, **environment: str) -> subprocess.CompletedProcess:
    return subprocess.run([VOLAD_DEV, "timeline", "-", *options], input=text.encode(errors="surrogateescape"), capture_output=True, timeout=30,
                          env={"LC_ALL": "C.UTF-8"} | environment)


def box(text: xml.etree.ElementTree.Element) -> tuple[float, float, float, float]:
    width = COLUMN * sum(2 if ord(character) >= 0x1100 else 1 for character in text.text or "")
    width *= 13 / 11 if text.get("class") == "title" else 1
    style = text.get("class").split()
    left = float(text.get("x")) - width * (1 if "right" in style else 0.5 if "middle" in style else 0)
    return left, float(text.get("y")) - 9, left + width, float(text.get("y")) + 2


class Timeline(unittest.TestCase):
    def test_the_picture_of_the_readme_is_of_the_present_program(self):
        committed = (ROOT / "docs/rehearsal.svg").read_bytes()
        self.assertEqual(timeline(RUN.read_text(), "--svg", "-").stdout, committed, "scripts/picture makes it anew")
        self.assertIn("(docs/rehearsal.svg)", (ROOT / "README.md").read_text())

    def test_the_text_of_the_page_is_of_the_present_program(self):
        shown = timeline(RUN.read_text()).stdout.decode()
        self.assertIn(f"```\n{shown}```\n", (ROOT / "docs/timeline.md").read_text())
        self.assertLessEqual(shown.count("\n"), 25)

    def test_each_picture_is_well_formed_bounded_and_readable(self):
        for name, run in RUNS.items():
            with self.subTest(name):
                done = timeline(run, "--svg", "-")
                self.assertEqual((done.returncode, done.stderr), (0, b""))
                self.assertLess(len(done.stdout), 250_000)
                root = xml.etree.ElementTree.fromstring(done.stdout)
                height = float(root.get("height"))
                self.assertEqual(root.get("viewBox"), f"0 0 800 {root.get('height')}")
                styled = set(re.findall(r"\.([\w-]+)", "".join(root.find(SVG + "style").itertext())))
                used = {style for element in root.iter() for style in element.get("class", "").split()}
                self.assertEqual(used - styled, set())
                boxes = [(*box(text), text.text) for text in root.iter(SVG + "text")]
                for left, top, right, bottom, text in boxes:
                    self.assertTrue(0 <= left and right <= 800 and 0 <= top and bottom <= height, (text, left, right, bottom))
                for one, other in itertools.combinations(boxes, 2):
                    apart = one[2] <= other[0] or other[2] <= one[0] or one[3] <= other[1] or other[3] <= one[1]
                    self.assertTrue(apart, (one, other))

    def test_each_text_stays_within_its_columns(self):
        for (name, run), (columns, most) in itertools.product(RUNS.items(), ((1, 50), (80, 80), (9999, 200))):
            with self.subTest(name, columns=columns):
                done = timeline(run, COLUMNS=str(columns))
                self.assertEqual((done.returncode, done.stderr), (0, b""))
                lines = done.stdout.decode().splitlines()
                self.assertLessEqual(max(map(len, lines)), most)
                self.assertLessEqual(len(lines), 50)
                self.assertFalse([line for line in lines if not line.isprintable()])

    def test_only_ascii_is_drawn_with_where_the_locale_has_no_more(self):
        text = changed(ten_minutes)
        drawn = [timeline(text, **environment).stdout
                 for environment in ({"LC_ALL": "C"}, {"LC_ALL": "", "LC_CTYPE": "POSIX", "LANG": "C.UTF-8"},
                                     {"LC_ALL": "", "LANG": "de_DE.utf8"})]
        self.assertEqual([text.isascii() for text in drawn], [True, True, False])
        self.assertRegex(drawn[0].decode(), r"(?m)^job +=+//=+ +601\.\d{3} s$")

    def test_trace_events_tell_what_has_a_time(self):
        for name, run in RUNS.items():
            with self.subTest(name):
                done = timeline(run, "--trace-events", "-")
                if b"no times" in timeline(run).stdout:
                    self.assertEqual((done.returncode, done.stdout, done.stderr.count(b"\n")), (1, b"", 1))
                    continue
                events = json.loads(done.stdout)["traceEvents"]
                self.assertTrue(all(event.get("ts", 0) >= 0 and event.get("dur", 0) >= 0 for event in events))
        events = json.loads(timeline(changed(questions), "--trace-events", "-").stdout)["traceEvents"]
        self.assertEqual(sum(event.get("cat") == "message" for event in events), 5025)
        hostile = json.loads(timeline(RUNS["hostile"], "--trace-events", "-").stdout)["traceEvents"]
        told = next(event for event in hostile if event["name"].startswith("517"))
        self.assertEqual(told["args"]["envelope"], envelope(OC=517, DA=HOSTILE, X={HOSTILE: HOSTILE}))

    def test_a_trace_is_drawn_as_far_as_it_tells(self):
        lines = [line.split(maxsplit=2) for line in RESET_TRACE.read_text().splitlines() if line[0].isdigit()]
        for level, timed in itertools.product(range(1, 6), (True, False)):
            with self.subTest(level=level, timed=timed):
                trace = "".join(f"{f'Nov 25 12:00:{int(second):02d} ' if timed else ''}{line}\n"
                                for of, second, line in lines if int(of) <= level)
                text = timeline(trace).stdout.decode()
                self.assertEqual("messages show from trace level 2 on; this one's seems to be 1" in text, level < 2)
                self.assertEqual("statuses show from trace level 3 on" in text, level < 3)
                self.assertEqual(len(re.findall(r"(?m)^  (?:to|from) module .*\d messages?$", text)), 2 * (level >= 2))
                self.assertEqual("status         1 requested, 2 delay running" in text, level >= 3)
                self.assertEqual(re.search(r"(?m)^job +\u2592+ +9\.000 s$", text) is not None, timed)
                bars = [bar.count("\u2588") for bar in re.findall(r"(?m)^  \S+ +(\u2588+)", text)]
                self.assertEqual(max(bars) - min(bars) <= 1, not timed)
                self.assertEqual("no times: equal steps" in text, not timed)

    def test_outputs_go_where_they_are_asked_for(self):
        directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        svg, events = str(directory / "a.svg"), str(directory / "a.json")
        done = timeline(RUN.read_text(), "--svg", svg, "--trace-events", events)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))
        self.assertTrue(pathlib.Path(svg).read_text().startswith("<svg ") and json.loads(pathlib.Path(events).read_text()))
        for options in (("-", "-"), ("-", "/dev/stdout"), (svg, svg)):
            done = timeline(RUN.read_text(), "--svg", options[0], "--trace-events", options[1])
            self.assertEqual((done.returncode, done.stdout), (2, b""), options)
            self.assertEqual(done.stderr, b"volad-dev: --svg and --trace-events must not go to the same place\n")
        before = sorted(os.listdir(directory))
        for text, options, line in (("", (), b'there is no shutdown in "-", nor any other line'),
                                    ("", ("--svg", svg), b'there is no shutdown in "-"'),
                                    (RUN.read_text()[:99], (), b'as JSON it is cut or malformed, at byte 9'),
                                    ('{"schema": 2}', (), b'its JSON is not of "schema" 1'),
                                    ('{"schema": 1, "findings": []}', (), b"its JSON is not the run of a rehearsal"),
                                    ('{"schema": 1, "runs": []}', (), b'it is what "explain --json" writes'),
                                    ("{" + " " * 4_200_000, (), b"longer than the 4194304 bytes"),
                                    (RUN.read_text(), ("--svg", "no/a"), b'--svg: "no/a" cannot be written: No such')):
            done = timeline(text, *options)
            self.assertEqual((done.returncode, done.stdout, done.stderr.count(b"\n")), (1, b"", 1))
            self.assertIn(line, done.stderr)
        self.assertEqual(sorted(os.listdir(directory)), before)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
