#!/usr/bin/env python3
"""page.py FRAME DOCS TREE OUT: a manual page for scdoc: the frame, which is written by hand, with what stands elsewhere.

A line of the frame that begins with "@" is replaced:

  @text FILE: HEADING    what stands below that heading of the Markdown file in DOCS, up to the next one
  @list FILE: HEADING    its lists only
  @table FILE: HEADING   its tables only, each row an entry; "@table 2 of FILE: HEADING" is the second one
  @commands              the tool's verbs, out of its command tree (the JSON file TREE); what follows "@about VERB" in
                         the frame, up to the next line with "@" or heading, stands below that verb's usage
  @options               those of the tool itself
"""

import json
import pathlib
import re
import sys

import from_docs
import from_tree

ABOUT = re.compile(r"^@about (.+)\n((?:[^@#\n].*\n|\n)*)", re.MULTILINE)
TAKEN = re.compile(r"(text|list|table) (?:(\d+) of )?(\S+): (.+)")


def main() -> None:
    frame, docs, tree, out = map(pathlib.Path, sys.argv[1:5])
    about = dict(ABOUT.findall(frame.read_text()))

    def replaced(line: re.Match) -> str:
        found = []
        if taken := TAKEN.fullmatch(line[1]):
            kind, which, name, heading = taken.groups()
            found = [scdoc for of_kind, scdoc in from_docs.blocks((docs / name).read_text(), heading)
                     if kind in ("text", of_kind)]
            found = found[int(which) - 1:int(which)] if which else found
        elif line[1] == "commands":
            found = from_tree.commands(json.loads(tree.read_text()), about, [])
        elif line[1] == "options":
            found = from_tree.options(json.loads(tree.read_text())["options"])
        if not found:
            sys.exit(f"page.py: {frame}: \"@{line[1]}\" gives nothing")
        return "\n\n".join(found)

    text = re.sub(r"^@(.+)$", replaced, ABOUT.sub("", frame.read_text()), flags=re.MULTILINE)
    if about:
        sys.exit(f"page.py: {frame}: there is no verb {', '.join(about)}")
    out.write_text(text)


if __name__ == "__main__":
    main()
