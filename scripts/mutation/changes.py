"""Which single changes a source file allows, found in its tokens.

The sources are formatted, so that a comparison has a blank on either side and a template's bracket never has both.
Left alone: comments, preprocessor lines, static_assert, attributes, `operator` names and language linkage.
"""

import dataclasses
import itertools
import pathlib
import random
import re

# The sandbox, its guard and recorder, and whatever starts or asks them: a changed one could let a real command out.
REFUSED_NAMES = re.compile(r"sandbox|recorder|host/cli/main\.cpp")
REFUSED_WORDS = re.compile(r"assertSandboxInForce|runInSandbox|sandboxFault|sandboxArguments")

TOKEN = re.compile(
    r"(?P<comment>//[^\n]*|/\*.*?\*/)"
    r"|(?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)"
    r'|(?P<raw>R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)")'
    r'|(?P<text>"(?:\\.|[^"\\\n])*")'
    r"|(?P<character>'(?:\\.|[^'\\\n])+')"
    r"|(?P<number>\.?\d(?:[eEpP][+-]|'(?=\w)|[\w.])*)"
    r"|(?P<word>[A-Za-z_]\w*)"
    r"|(?P<sign><=>|<<=|>>=|::|->|\+\+|--|[=!<>+*/%&|^-]=|&&|\|\||\S)",
    re.MULTILINE | re.DOTALL)

COMPARISONS = {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"]}
BOOLEANS = {"&&": "||", "||": "&&", "true": "false", "false": "true"}
INTEGER = re.compile(r"(0[xX][\da-fA-F]+|\d+)([uUlLzZ]*)")
NO_CALL = {"return", "if", "for", "while", "switch", "throw", "delete", "catch", "sizeof", "using", "co_return", "else",
           "do", "new", "static_assert", "decltype", "alignas"}
DEFAULTS = {"0", "false", "nullptr", "{}", '""', "std::nullopt", "true", "1"}
PAIRS = {"(": ")", "[": "]", "{": "}"}


@dataclasses.dataclass(frozen=True)
class Change:
    file: str  # below the tree's root
    begin: int
    end: int
    kind: str
    after: str

    def apply(self, text: str) -> str:
        return text[:self.begin] + self.after + text[self.end:]


@dataclasses.dataclass(frozen=True)
class Token:
    kind: str
    text: str
    begin: int
    end: int


class Source:
    """One file's tokens without what is left alone, and the partner of each bracket."""

    def __init__(self, file: str, text: str):
        self.file, self.text = file, text
        self.tokens = [Token(m.lastgroup if m.lastgroup != "mark" else "raw", m.group(), *m.span())
                       for m in TOKEN.finditer(text) if m.lastgroup not in ("comment", "directive")]
        self.partner: dict[int, int] = {}
        self.in_code: list[bool] = []  # by token: inside a function's body, or an initializer
        open_brackets: list[int] = []
        bodies = [False]
        for number, token in enumerate(self.tokens):
            self.in_code.append(bodies[-1])
            if token.kind != "sign":
                continue
            if token.text in PAIRS:
                open_brackets.append(number)
            if token.text == "{":
                bodies.append(not self._declares(number))
            if token.text in PAIRS.values() and open_brackets:
                self.partner[open_brackets.pop()] = number
            if token.text == "}" and len(bodies) > 1:
                bodies.pop()
        self.skipped = self._skipped()

    def _declares(self, brace: int) -> bool:
        """Whether the brace opens a namespace, a type or a linkage block."""
        for token in reversed(self.tokens[:brace]):
            if token.text in ("{", "}", ";", ")"):
                return False
            if token.text in ("namespace", "class", "struct", "enum", "union", "extern"):
                return True
        return False

    def _skipped(self) -> set[int]:
        skipped: set[int] = set()
        for number, token in enumerate(self.tokens[:-1]):
            named = token.text in ("static_assert", "__attribute__")
            if named or (token.text == "[" and self.tokens[number + 1].text == "["):
                first = number + named
                skipped.update(range(number, self.partner.get(first, first) + 1))
            if token.text in ("operator", "extern"):
                skipped.add(number + 1)
            if token.text == "=" and self.tokens[number - 1].text in (")", "const", "noexcept"):
                skipped.add(number + 1)  # a pure virtual function
        return skipped

    def spaced(self, token: Token) -> bool:
        return self.text[token.begin - 1].isspace() and self.text[token.end].isspace()

    def end_of_statement(self, number: int) -> int | None:
        """The number of the `;` that ends the statement which token `number` begins."""
        while number < len(self.tokens) and self.tokens[number].text != ";":
            if self.tokens[number].text in PAIRS.values():
                return None
            number = self.partner.get(number, number) + 1
        return number if number < len(self.tokens) else None


def token_changes(source: Source, number: int, draw: random.Random):
    """(kind, begin, end, after) of what token `number` itself can be changed into."""
    token = source.tokens[number]
    span = (token.begin, token.end)
    if token.text in COMPARISONS and source.spaced(token):
        yield "comparison", *span, draw.choice(COMPARISONS[token.text])
    elif token.text in BOOLEANS and (token.kind == "word" or source.spaced(token)):
        yield "boolean", *span, BOOLEANS[token.text]
    elif token.text == "!":
        yield "boolean", *span, ""
    elif token.kind == "number":
        integer = INTEGER.fullmatch(token.text.replace("'", ""))
        if integer:
            value = int(integer[1], 16 if integer[1][:2] in ("0x", "0X") else 8 if integer[1][0] == "0" else 10)
            yield "constant", *span, str(max(value + draw.choice((-1, 1)), 0) if value else 1) + integer[2]
    elif token.kind == "text":
        places = [m.start() for m in re.finditer(r"\\(?:x[\da-fA-F]+|[0-7]{1,3}|.)|[^\\]", token.text[1:-1])
                  if not m.group().startswith("\\")]
        if places:
            place = token.begin + 1 + draw.choice(places)
            old = source.text[place]
            yield "text", place, place + 1, old.swapcase() if old.isalpha() else "7" if old != "7" else "3"


def statement_changes(source: Source, number: int):
    """(kind, begin, end, after) of the statement that token `number` begins."""
    tokens = source.tokens
    token = tokens[number]
    if token.text in ("if", "while") and number + 1 in source.partner:
        last = source.partner[number + 1]
        inner = source.text[tokens[number + 1].end:tokens[last].begin]
        if " = " not in inner and ";" not in inner:
            yield "boolean", tokens[number + 1].end, tokens[last].begin, f"!({inner})"
        return
    end = source.end_of_statement(number)
    if end is None or not source.in_code[number]:
        return
    if token.text == "return":
        value = source.text[token.end:tokens[end].begin].strip()
        if not value:
            yield "return", token.begin, tokens[end].begin, ""
        elif re.search(r" ([=!<>]=|[<>]|&&|\|\|) ", value) and not re.search(r"[?{]", value):
            yield "return", token.begin, tokens[end].begin, f"return !({value})"
        elif value not in DEFAULTS and not INTEGER.fullmatch(value):
            yield "return", token.begin, tokens[end].begin, "return {}"
        return
    before = tokens[number - 1].text if number else ";"
    if token.kind == "word" and token.text not in NO_CALL and before in (";", "{", "}", ")", "else"):
        statement = source.text[token.begin:tokens[end].begin]
        # A call's name has no blank, which tells it from a declaration.
        called = re.match(r"static_cast<void>|[\w:]+(?:(?:\.|->|::)\w+|\(\)|\[\w+\])*(?=\()", statement)
        if called and source.partner.get(end - 1) is None and tokens[end - 1].text == ")":
            yield "call", token.begin, tokens[end].begin, ""


def changes_of(file: str, text: str, draw: random.Random) -> list[Change]:
    source = Source(file, text)
    found = []
    for number in range(len(source.tokens)):
        if number not in source.skipped:
            for kind, begin, end, after in itertools.chain(token_changes(source, number, draw),
                                                           statement_changes(source, number)):
                found.append(Change(file, begin, end, kind, after))
    return found


def changeable(tree: pathlib.Path, folders: list[str]) -> list[str]:
    """The sources in these folders, or these files themselves, that may be changed."""
    files = []
    for folder in folders:
        path = tree / folder
        for file in [path] if path.is_file() else sorted(path.rglob("*")):
            name = file.relative_to(tree).as_posix()
            if file.suffix not in (".h", ".cpp") or not name.startswith(("src/", "host/")):
                continue
            if not REFUSED_NAMES.search(name) and not REFUSED_WORDS.search(file.read_text()):
                files.append(name)
    return files


def draw_changes(root: pathlib.Path, files: list[str], seed: int, count: int) -> list[Change]:
    """`count` changes, each kind as often as the others while it lasts; a higher count only adds to a lower one."""
    draw = random.Random(seed)
    by_kind: dict[str, list[Change]] = {}
    for file in sorted(files):
        for change in changes_of(file, (root / file).read_text(), draw):
            by_kind.setdefault(change.kind, []).append(change)
    for kind in sorted(by_kind):
        draw.shuffle(by_kind[kind])
    rounds = itertools.zip_longest(*(by_kind[kind] for kind in sorted(by_kind)))
    return list(itertools.islice((change for one in rounds for change in one if change), count))
