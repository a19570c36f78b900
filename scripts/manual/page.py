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

ABOUT = re.compile(r"^@about (.+)\n((?:[^@#\n].*\n|\n)*)", re.MULTILINE)


def escaped(text: str) -> str:
    return re.sub(r"([\\*_#`\[\]|~.]|^[-:;'<])", r"\\\1", text)


def inline(markdown: str) -> str:
    """One paragraph: code becomes bold, a link its text."""
    markdown = re.sub(r"\[([^\]]+)\]\([^)]+\)", r"\1", " ".join(markdown.split()))
    out = []
    for code, bold, plain in re.findall(r"`([^`]+)`|\*\*(.+?)\*\*|((?:(?!\*\*)[^`])+)", markdown):
        out.append(f"*{escaped((code or bold).replace('`', ''))}*" if code or bold else escaped(plain))
    return "".join(out)


def entries(lines: list[str]) -> str:
    """A row's first cell, and below it the others: the second alone, more of them behind a short name of the column."""
    heads, _, *rows = ([cell.strip().replace("\\|", "|") for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
                       for line in lines)
    out = []
    for name, *cells in rows:
        named = [0 < column and 0 < len(head.split()) <= 3 for column, head in enumerate(heads[1:])]
        told = [(f"_{escaped(head)}_: " if name_it else "") + inline(cell)
                for head, cell, name_it in zip(heads[1:], cells, named) if cell]
        out.append("\n".join([inline(name), "\t" + "++\n".join(told)]))
    return "\n\n".join(out)


def items(lines: list[str]) -> str:
    return "\n".join("- " + inline(item) for item in re.split(r"^- ", "\n".join(lines), flags=re.MULTILINE)[1:])


def blocks(page: str, heading: str) -> list[tuple[str, str]]:
    """What stands below the heading, as (kind, scdoc)."""
    found = re.search(rf"^#+ {re.escape(heading)}\n(.*?)(?=^#+ |\Z)", page, re.DOTALL | re.MULTILINE)
    if not found:
        sys.exit(f"page.py: there is no heading \"{heading}\"")
    parted = re.findall(r"^```\w*\n(.*?)^```$|^(\|.*?)(?:\n\n|\Z)|^(- .*?)(?:\n\n|\Z)|^(\S.*?)(?:\n\n|\Z)",
                        found[1] + "\n", re.DOTALL | re.MULTILINE)
    out = []
    for code, table, points, paragraph in parted:
        if code:
            out.append(("code", "```\n" + code.replace("\\", "\\\\") + "```"))
        elif table:
            out.append(("table", entries(table.strip().splitlines())))
        elif points:
            out.append(("list", items(points.splitlines())))
        else:
            out.append(("paragraph", inline(paragraph)))
    return out


def option_entries(options: list[dict]) -> list[str]:
    """As the help has them; flags and choices are bold, what stands for a value is underlined."""
    out = []
    for option in options:
        name = option["name"].split(" ")
        stands_for = [word.isupper() or (word is name[0] and not word.startswith("-")) for word in name]
        words = [f"_{escaped(word)}_" if it else f"*{escaped(word)}*" for word, it in zip(name, stands_for)]
        out.append(" ".join(words) + "\n\t" + escaped(option["description"]))
    return out


def commands(verb: dict, about: dict[str, str], above: list[dict]) -> list[str]:
    out = []
    for below in verb["verbs"]:
        own = [option for option in below["options"] if option not in above and "--help" not in option["long"]]
        entries_ = option_entries([a for a in below["arguments"] if a["description"]] + own)
        inherited = [option["name"] for option in above if option in below["options"]]
        out += [f"## {below['name']}", f"*{escaped(below['usage'])}*", escaped(sentence(below["description"]))]
        out += [about.pop(below["name"], "").strip(), *entries_]
        out += [f"Besides: {', '.join(f'*{escaped(name)}*' for name in inherited)}\\."] if inherited else []
        out += commands(below, about, own)
    return [paragraph for paragraph in out if paragraph]


def sentence(text: str) -> str:
    return text[:1].upper() + text[1:] + "."


def main() -> None:
    frame, docs, tree, out = map(pathlib.Path, sys.argv[1:5])
    about = dict(ABOUT.findall(frame.read_text()))
    text = ABOUT.sub("", frame.read_text())

    def replaced(line: re.Match) -> str:
        word, _, rest = line[1].partition(" ")
        if word in ("commands", "options"):
            tool = json.loads(tree.read_text())
            return "\n\n".join(commands(tool, about, []) if word == "commands" else option_entries(tool["options"]))
        if word not in ("table", "list", "text"):
            sys.exit(f"page.py: {frame}: \"@{line[1]}\"")
        which, name, heading = re.fullmatch(r"(?:(\d+) of )?(\S+): (.+)", rest).groups()
        found = [scdoc for kind, scdoc in blocks((docs / name).read_text(), heading) if word in (kind, "text")]
        found = found[int(which) - 1:int(which)] if which else found
        if not found:
            sys.exit(f"page.py: {frame}: nothing for \"@{line[1]}\"")
        return "\n\n".join(found)

    text = re.sub(r"^@(.+)$", replaced, text, flags=re.MULTILINE)
    if about:
        sys.exit(f"page.py: {frame}: there is no verb {', '.join(about)}")
    out.write_text(text)


if __name__ == "__main__":
    main()
