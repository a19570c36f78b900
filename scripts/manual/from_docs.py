"""What stands below a heading of a Markdown page, as scdoc: paragraphs, lists, tables and code."""

import re

# A block ends at an empty line; a block of code at its fence.
BLOCK = re.compile(r"^```\w*\n(?P<code>.*?)^```$|^(?P<table>\|.*?)(?:\n\n|\Z)|^(?P<list>- .*?)(?:\n\n|\Z)"
                   r"|^(?P<paragraph>\S.*?)(?:\n\n|\Z)", re.DOTALL | re.MULTILINE)


def escaped(text: str) -> str:
    return re.sub(r"([\\*_#`\[\]|~.]|^[-:;'<])", r"\\\1", text)


def inline(markdown: str) -> str:
    """One paragraph: code becomes bold, a link its text."""
    markdown = re.sub(r"\[([^\]]+)\]\([^)]+\)", r"\1", " ".join(markdown.split()))
    out = []
    for code, bold, plain in re.findall(r"`([^`]+)`|\*\*(.+?)\*\*|((?:(?!\*\*)[^`])+)", markdown):
        out.append(f"*{escaped((code or bold).replace('`', ''))}*" if code or bold else escaped(plain))
    return "".join(out)


def entries(table: str) -> str:
    """A row's first cell, and below it the others: the second alone, more of them behind a short name of the column."""
    heads, _, *rows = ([cell.strip().replace("\\|", "|") for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
                       for line in table.strip().splitlines())
    out = []
    for name, *cells in rows:
        named = [0 < column and 0 < len(head.split()) <= 3 for column, head in enumerate(heads[1:])]
        told = [(f"_{escaped(head)}_: " if name_it else "") + inline(cell)
                for head, cell, name_it in zip(heads[1:], cells, named) if cell]
        out.append("\n".join([inline(name), "\t" + "++\n".join(told)]))
    return "\n\n".join(out)


def items(points: str) -> str:
    return "\n".join("- " + inline(item) for item in re.split(r"^- ", points, flags=re.MULTILINE)[1:])


def literal(code: str) -> str:
    return "```\n" + code.replace("\\", "\\\\") + "```"


def section(page: str, heading: str) -> str | None:
    """Up to the next heading; a "#" in a block of code is none."""
    out, inside, code = [], False, False
    for line in page.splitlines():
        code ^= line.startswith("```")
        if not code and re.match("#+ ", line):
            if inside:
                break
            inside = line.lstrip("#") == " " + heading
        elif inside:
            out.append(line)
    return "\n".join(out) + "\n" if inside else None


def blocks(page: str, heading: str) -> list[tuple[str, str]]:
    """Each as its kind (a group of BLOCK) and its scdoc; empty where there is no such heading."""
    writers = {"code": literal, "table": entries, "list": items, "paragraph": inline}
    return [(block.lastgroup, writers[block.lastgroup](block[block.lastgroup]))
            for block in BLOCK.finditer(section(page, heading) or "")]
