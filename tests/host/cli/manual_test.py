"""manual_test.py MANUAL ROOT: the completion of bash and the manual pages, as the build has made them in MANUAL."""

import collections
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

MANUAL, ROOT = (pathlib.Path(argument) for argument in sys.argv[1:3])
PAGES = sorted(MANUAL.glob("*.gz"))

# The shell's own part: words as it parts them, the cursor behind the last one. What it is asked to complete by itself
# stands among the answers; without its function library only the first of two functions is there.
BASH = """
source "$1"; shift
compopt() { COMPREPLY+=("shell: $*"); }
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
_volad_dev
printf '%s\\n' "${COMPREPLY[@]}"
"""
LIBRARY = '_command_offset() { COMPREPLY=("offset $1"); }\n'
FILES, DIRECTORIES = "shell: -o default", "shell: -o dirnames -o filenames"

# Words behind "volad-dev", parted by blanks ("^" is an empty one), and what is offered.
OFFERED = (
    ("reh", "rehearse"),
    ("registry e", "export"),
    ("registry --dir /tmp e", "export"),
    ("list", ""),
    ("rehearse-", ""),
    ("--v", "--version"),
    ("rehearse --set", "--settings"),
    ("check --set-nothing", ""),
    ("registry get --r", "--raw"),
    ("rehearse ^", "off reset halt"),
    ("rehearse --strict h", "halt"),
    ("rehearse --reason 3 --json = out.json r", "reset"),
    ("rehearse off ^", ""),
    ("rehearse --reason ^", ""),
    ("rehearse --schedule in : 1m h", "halt"),
    ("rehearse --settings se", FILES),
    ("rehearse --settings =", FILES),
    ("rehearse --bind ^", FILES),
    ("rehearse --maintenance o", "on off"),
    ("rehearse --maintenance = m", "missing"),
    ("rehearse --maintenance =", "on off missing here"),
    ("nonsense --v", ""),
    ("registry list --dir ^", DIRECTORIES),
    ("registry import ^", FILES),
    ("registry list HK", ""),
    ("registry set HKEY_USERS/K N ^", "string expand binary dword"),
    ("registry set -- HKEY_USERS/K --name d", "dword"),
    ("explain --all ^", FILES),
    ("explain - ^", ""),
    ("sandbox --maint", "--maintenance"),
    ("sandbox -- gzi", "gzip"),
    ("sandbox -- /usr/bin/gzi", FILES),
    ("sandbox -- gzip --he", FILES),
)


def words(text: str) -> collections.Counter:
    return collections.Counter(re.findall(r"\w+", text))


class Completion(unittest.TestCase):
    def offered(self, line: str, library: str = "") -> list[str]:
        typed = ["" if word == "^" else word for word in line.split(" ")]
        done = subprocess.run(["bash", "--norc", "-c", library + BASH, "bash", MANUAL / "volad-dev", "volad-dev", *typed],
                              capture_output=True, text=True, timeout=20)
        self.assertEqual((done.returncode, done.stderr), (0, ""), line)
        return done.stdout.splitlines()

    def test_what_may_stand_next_is_offered(self):
        for line, answers in OFFERED:
            wanted = [answers] if answers.startswith("shell") else answers.split(" ")
            offered = self.offered(line)
            # A machine may have more commands of that name.
            self.assertEqual(offered if wanted != ["gzip"] else sorted({*offered} & {"gzip"}),
                             wanted, line)

    def test_a_command_is_left_to_the_function_library_where_it_is_there(self):
        self.assertEqual(self.offered("sandbox --bind /x -- gzip --he", LIBRARY), ["offset 5"])
        self.assertEqual(self.offered("sandbox gzip --he", LIBRARY), ["offset 2"])


@unittest.skipUnless(shutil.which("man") and shutil.which("groff"), "man or groff is not there")
class Pages(unittest.TestCase):
    def shown(self, page: pathlib.Path, option: str) -> str:
        done = subprocess.run(["man", option, "--encoding=UTF-8", "--local-file", page], capture_output=True, text=True,
                              timeout=60, env={"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"})
        self.assertEqual((done.returncode, done.stderr), (0, ""), page)
        return done.stdout

    def test_each_is_shown_without_a_warning_and_names_pages_that_are_there(self):
        names = {re.sub(r"\.(\d)\.gz$", r"(\1)", page.name) for page in PAGES}
        self.assertEqual(len(names), 5)
        for page in PAGES:
            named = set(re.findall(r"\b(?:volad|em)-[\w.-]+\(\d\)", self.shown(page, "--warnings")))
            self.assertEqual(named - names, set(), page)

    def test_what_they_take_from_the_docs_is_there_to_the_last_word(self):
        taken = 0
        for page in PAGES:
            frame = (MANUAL / f"{page.name.removesuffix('.gz')}.frame").read_text()
            shown = words(self.shown(page, "--no-hyphenation"))
            for name, heading in re.findall(r"^@text (\S+): (.+)$", frame, re.MULTILINE):
                section = (ROOT / "docs" / name).read_text().split(f"# {heading}\n")[1].partition("\n#")[0]
                section = re.sub(r"\]\([^)]*\)|^```\w*|^\|.*\n\|---.*", "", section, flags=re.MULTILINE)
                self.assertEqual(words(section) - shown, collections.Counter(), (page, heading))
                taken += 1
        self.assertGreater(taken, 5)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
